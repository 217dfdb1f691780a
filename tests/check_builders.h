// Builders of procedure files for the syntax-test tests and the examples.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "check/syntax_test.h"
#include "components/form.h"
#include "components/layouts.h"
#include "model/procedure_file.h"
#include "test_util.h"

namespace quelvari::test {

using Records = std::vector<ComponentRecord>;

// "id=text" sets a text, "+id" checks a button, "#id=n" selects combo entry n.
inline MapForm formOf(const std::vector<std::string>& controls) {
    MapForm f;
    for (const std::string& c : controls) {
        if (c[0] == '+') {
            f.setChecked(static_cast<std::uint32_t>(std::stoul(c.substr(1))), true);
            continue;
        }
        const bool combo = c[0] == '#';
        const auto eq = c.find('=');
        const auto id = static_cast<std::uint32_t>(std::stoul(c.substr(combo, eq - combo)));
        if (combo)
            f.setCurrentIndex(id, std::stoi(c.substr(eq + 1)));
        else
            f.setText(id, c.substr(eq + 1));
    }
    return f;
}

// A bare record of type `code` with `byte88` as the first payload byte.
inline ComponentRecord typed(char code, std::uint8_t byte88 = 0) {
    ComponentRecord r;
    r.setTypeCode(static_cast<std::uint8_t>(code));
    r.setU8(88, byte88);
    return r;
}

// `r` with the bytes from `offset` on set to `bytes`.
inline ComponentRecord withBytes(ComponentRecord r, std::size_t offset,
                                 const std::vector<std::uint8_t>& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
        r.setU8(offset + i, bytes[i]);
    return r;
}

inline ComponentRecord withEntry(ComponentRecord r, const std::string& condition) {
    storeInputCondition(r, condition);
    return r;
}

// Measuring component; `vars` as (letter, number) one-letter names.
inline ComponentRecord measuring(char mode,
                                 const std::vector<std::pair<char, int>>& vars = {{'P', 1}},
                                 std::uint32_t count = 1) {
    ComponentRecord r = makeRecord('M');
    r.setU8(layout::measuring::kMode, static_cast<std::uint8_t>(mode));
    std::size_t at = layout::measuring::kVariables;
    if (mode != 'T') {
        for (const auto& [letter, number] : vars) {
            r.setU8(at, static_cast<std::uint8_t>(letter));
            r.setU8(at + 1, static_cast<std::uint8_t>(number));
            at += 3;
        }
    }
    r.setU32(layout::measuring::kCount, mode == 'S' ? count : (mode == 'M' ? 1 : 0));
    return r;
}

struct Routine {
    int k;               // 0..3
    std::uint8_t state;  // 1 enable, 2 disable
    char kind = 'B';
    std::uint8_t base = 0;  // 0 ms, 1 s
    std::uint16_t time = 100;
};
inline ComponentRecord interrupt(const std::vector<Routine>& routines) {
    ComponentRecord r = makeRecord('I');
    for (const Routine& x : routines) {
        const std::size_t e = layout::interrupt::entry(static_cast<std::size_t>(x.k));
        r.setU8(e + layout::interrupt::kState, x.state);
        r.setU8(e + layout::interrupt::kKind, static_cast<std::uint8_t>(x.kind));
        r.setU8(e + layout::interrupt::kTimeBase, x.base);
        if (x.state == 1)
            r.setU16(e + layout::interrupt::kTime, x.time);
    }
    return r;
}

inline ComponentRecord breakAt(char letter, int number) {
    ComponentRecord r = makeRecord('u');
    r.setU8(layout::brk::kReferenceLetter, static_cast<std::uint8_t>(letter));
    r.setU8(layout::brk::kReferenceNumber, static_cast<std::uint8_t>(number));
    r.setU8(layout::brk::kRegistrationLetter, 'B');
    r.setU8(layout::brk::kRegistrationNumber, 1);
    return r;
}

inline ComponentRecord section(std::uint8_t kind, const std::string& name, char refLetter = 'Z',
                               int refNumber = 1) {
    ComponentRecord r = makeRecord('C');
    r.setU8(layout::section::kKind, kind);
    if (kind == 0) {
        r.setU8(layout::section::kReferenceLetter, static_cast<std::uint8_t>(refLetter));
        r.setU8(layout::section::kReferenceNumber, static_cast<std::uint8_t>(refNumber));
    }
    r.setText(layout::section::kName, name);
    r.setU8(layout::section::kIdentLetter, 'B');
    r.setU8(layout::section::kIdentNumber, 2);
    return r;
}

inline ComponentRecord moduleCall(const std::string& name) {
    ComponentRecord r = makeRecord('U');
    r.setText(layout::module::kName, name);
    return r;
}

inline ComponentRecord command(const std::vector<std::string>& lines) {
    ComponentRecord r = makeRecord('D');
    for (std::size_t i = 0; i < lines.size(); ++i)
        r.setText(layout::command::line(i), lines[i]);
    return r;
}

inline ComponentRecord picture(const std::string& path) {
    ComponentRecord r = makeRecord('p');
    r.setU8(layout::picture::kPictureSet, 1);
    r.setU8(layout::picture::kOutputMedium, 'D');
    r.setU8(layout::picture::kPictureKind, path.find(".bmp") != std::string::npos ? 'B' : 'J');
    r.setText(layout::picture::kFile, path);
    return r;
}

// A graphic, text print or statistic component naming step `step`; `off` sets
// the mode byte that switches the reference off.
inline ComponentRecord stepReference(char type, int step, bool off = false,
                                     const std::string& comment = "") {
    ComponentRecord r = makeRecord(type, comment);
    const std::size_t mode = type == 'G' ? 89 : type == 'P' ? 90 : 152;
    if (type == 'T')
        r.setI16(154, static_cast<std::int16_t>(step));
    else
        r.setU16(type == 'G' ? 92 : 94, static_cast<std::uint16_t>(step));
    r.setU8(mode, off ? 1 : 0);
    return r;
}

inline ComponentRecord interbus(char function) {
    ComponentRecord r = makeRecord('i');
    r.setU8(88, static_cast<std::uint8_t>(function));
    return r;
}

// `list` holding `records`, numbered 1..n.
inline void fill(ProcedureList& list, const Records& records) {
    list.freeProcedure();
    list.componentCount = 0;
    for (const ComponentRecord& r : records)
        list.appendRecord(r);
}

// Writes `records` in the current format, numbered as a save numbers them.
inline void writeRecords(const std::string& path, Records records) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].setFormatMark(kCurrentFormatMark);
        records[i].setRecordMark(kRecordMarkSaved);
        records[i].setNumber(static_cast<std::uint16_t>(i + 1));
        bytes.insert(bytes.end(), records[i].bytes.begin(), records[i].bytes.end());
    }
    writeBytes(path, bytes);
}

// A bitmap file of `size` bytes whose info header gives `bitsPerPixel`.
inline std::vector<std::uint8_t> bitmapBytes(int bitsPerPixel, std::size_t size = 118) {
    std::vector<std::uint8_t> b(size, 0);
    b[0] = 'B';
    b[1] = 'M';
    b[14] = 40;  // BITMAPINFOHEADER
    b[28] = static_cast<std::uint8_t>(bitsPerPixel);
    return b;
}

inline std::vector<std::uint8_t> jpegBytes() {
    return {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F',  0,
            1,    1,    0,    0,    1, 0,  1,   0,   0,   0xFF, 0xD9};
}

}  // namespace quelvari::test
