// Procedure files (.PAD, .PAM, .IR1 to .IR4): a bare sequence of component
// records, 800 bytes each in the current format, 768 bytes each in the old
// format that older editors wrote. Old records are converted while reading;
// writing always produces the current format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/procedure.h"
#include "model/record_reader.h"
#include "model/status.h"

namespace quelvari {

inline constexpr std::size_t kOldRecordSize = 768;
inline constexpr std::size_t kOldPayloadOffset = 78;
inline constexpr std::size_t kOldPayloadSize = 690;

// Converts one old 768-byte record into a new record (which starts all zero,
// with format mark 0xFFFF and record mark 35).
void convertOldRecord(const std::uint8_t* old, ComponentRecord& out);

// Converts the comment of an old record from the DOS code page to
// Windows-1252, source byte by source byte up to the source terminator or the
// end of the field. The guillemets and the escape sequence write a byte
// without advancing, so the next character overwrites it.
void convertDosComment(const std::uint8_t* src, std::size_t srcSize, std::uint8_t* dst,
                       std::size_t dstSize);

// Payload converters: one per type letter that has one. Each carries the old
// 690-byte payload (old offset 78) to the new payload (offset 88). A type with
// its own old layout replaces its entry with `setPayloadConverter`.
using PayloadConverter = std::function<void(const std::uint8_t* oldPayload, ComponentRecord& out)>;
bool hasPayloadConverter(std::uint8_t typeCode);
void setPayloadConverter(std::uint8_t typeCode, PayloadConverter converter);

// The format of a file by its first `got` bytes: a first word of 0xFFFF is
// the current format. The word is read into a zeroed buffer, so an empty or
// one-byte file counts as old format.
bool IsOldFormat(const std::uint8_t* head, std::size_t got);

// Fills `list` from `path` (steps 3 to 8 of Open, without dialogs) through
// the RecordReader. The file must be readable and writable (a write-protected
// file cannot be opened in the editor). Failures carry message 93 and the
// system's reason; the list is freed either way, and nodes are made only for
// records that were read.
Status loadProcedure(const std::string& path, ProcedureList& list);

// Writes every record of `list` (format mark 0xFFFF, record mark 1, number =
// position, set in the list as well) to `path` through an AtomicFile: on any
// failure the old file is untouched and the status carries message 92 and the
// system's reason. The target's permission bits are kept.
Status writeProcedure(const std::string& path, ProcedureList& list);

}  // namespace quelvari
