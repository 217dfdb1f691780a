// Reads a procedure file record by record, the one reader of the program
// (Open, the command-line tool and the syntax test all use it):
//
//   - the first word decides the format: 0xFFFF is the current format (800-byte
//     records), anything else the old one (768-byte records, converted while
//     reading); an empty or one-byte file counts as old;
//   - the first record is taken whatever its length (its missing bytes are
//     zero), so even an empty file gives one record;
//   - every later record only when it is whole: a partial last record is
//     dropped;
//   - the file is read until its end, whatever its size was when it was
//     opened, and only what was read becomes a record;
//   - an I/O error is an error, never the end of the file;
//   - a file with more records than step numbers exist (65535) is refused.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/file_io.h"
#include "model/record.h"
#include "model/status.h"

namespace quelvari {

// Step numbers are 16-bit: the largest procedure has 65535 steps, a file of
// 65535 * 800 bytes (plus a partial record that is dropped).
inline constexpr std::size_t kMaxProcedureSteps = 65535;

class RecordReader {
  public:
    RecordReader() = default;
    ~RecordReader();
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    // Opens `path` (regular files only). Failures carry message 93.
    Status open(const std::string& path, Access access = Access::ReadOnly);
    bool oldFormat() const { return oldFormat_; }
    // The next record, or null at the end of the file or on an error (then
    // status() is not ok). The record stays valid until the next call.
    const ComponentRecord* next();
    // Current format only, and instead of next() (a reader is read one way):
    // reads up to `count` whole records straight into `records`, under the
    // same rules as next() (the first record whatever its length, a partial
    // last record dropped, the step limit). Returns how many were filled; 0 at
    // the end or on an error (then status() is not ok). Buffers past the
    // returned count may hold the bytes of a dropped partial record.
    std::size_t readInto(ComponentRecord* const* records, std::size_t count);
    const Status& status() const { return status_; }
    // After next() gave null at the end: the last record of the file.
    const ComponentRecord& last() const { return last_; }
    // Records given so far.
    std::size_t count() const { return given_; }

  private:
    bool fill();
    void close();

    static constexpr std::size_t kChunkRecords = 256;
    int fd_ = -1;
    std::string path_;
    std::uint64_t sizeAtOpen_ = 0;
    bool oldFormat_ = false;
    bool ended_ = false;
    Status status_;
    std::vector<std::uint8_t> chunk_;  // raw bytes of the file
    std::size_t count_ = 0;            // whole records in the chunk
    std::size_t index_ = 0;
    std::size_t given_ = 0;
    ComponentRecord current_;
    ComponentRecord last_;
};

// Reads every record of `path`. Failures carry message 93.
struct RecordFile {
    std::vector<ComponentRecord> records;
    bool oldFormat = false;
};
Status readRecordFile(const std::string& path, RecordFile& out, Access access = Access::ReadOnly);

}  // namespace quelvari
