// The text form of a procedure: UTF-8, one [[step]] table per component, one
// line per named field, in a fixed order, so that a change of one field
// changes one line. Bytes that no named field covers (reserved bytes, unknown
// types, what lies behind a text's terminator) are kept as hexadecimal runs,
// so that the text converts back to exactly the records it came from.
//
// The lines are written here; the text is read with toml++.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "model/record.h"

namespace quelvari::exchange {

// A named field's value as the text shows it: a number, or a text (UTF-8).
struct FieldValue {
    std::variant<long long, double, std::string> value;
    bool operator==(const FieldValue&) const = default;
};

// One named field of a record, as found in it.
struct NamedField {
    std::string name;
    FieldValue value;
    bool operator==(const NamedField&) const = default;
};

// The named fields of a record, in the order the text form lists them. Fields
// whose bytes cannot be written back exactly from their value are left out;
// their bytes then count as uncovered.
std::vector<NamedField> RecordFields(const ComponentRecord& r);

// The bytes of `r` that none of its named fields covers and that are not 0,
// without the format mark, record mark and step number (saving writes those).
// Each entry is a record offset and the run of bytes from there.
struct RawRun {
    std::size_t offset = 0;
    std::vector<std::uint8_t> bytes;
};
std::vector<RawRun> UncoveredBytes(const ComponentRecord& r);

// A field's value as one line of the text: 12, -3, 0.25, "E1".
std::string ValueText(const FieldValue& v);

// The whole text of `records`; `title` goes into the head comment.
std::string ExportText(const std::vector<ComponentRecord>& records, const std::string& title = {});

// A text that could not be read: the line (1-based, 0 when the text as a
// whole is at fault) and what was expected there. `expected` is in English,
// for the command line; `textId` names the own text it comes from (0 when it
// is the TOML parser's description) and `args` fill its %s in order.
struct TextError {
    std::size_t line = 0;
    std::string expected;
    std::uint32_t textId = 0;
    std::vector<std::string> args;
};

// A refusal of the text form, its line and what was expected in English.
TextError MakeTextError(std::size_t line, std::uint32_t textId, std::vector<std::string> args = {});

// What was expected, in `lang` (UTF-8).
std::string ExpectedText(const TextError& e, std::uint32_t lang);

struct ImportResult {
    std::vector<ComponentRecord> records;  // record mark 35, numbered by position
    std::vector<TextError> errors;         // empty on success; the first one is the cause
    bool ok() const { return errors.empty(); }
};

// Reads a text form back into records. Unknown keys, wrong value kinds,
// numbers out of their field's range, texts longer than their field or
// holding characters that Windows-1252 cannot represent are refused with
// their line.
ImportResult ImportText(const std::string& utf8);

}  // namespace quelvari::exchange
