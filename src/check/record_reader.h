// Reads a procedure file record by record, the way Open reads it (the first
// word decides the format, the first record is taken whatever its length, the
// later ones only when whole, old records converted), without holding the
// whole file in memory: the syntax test streams every file once.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "model/record.h"

namespace quelvari {

class RecordReader {
  public:
    RecordReader() = default;
    ~RecordReader();
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    // False when the file cannot be opened for reading.
    bool open(const std::string& path);
    bool oldFormat() const { return oldFormat_; }
    // The next record, or null at the end. The record stays valid until the
    // next call.
    const ComponentRecord* next();
    // After next() gave null: the last record of the file (every file has one).
    const ComponentRecord& last() const { return last_; }

  private:
    bool fill();

    static constexpr std::size_t kChunkRecords = 256;
    std::FILE* file_ = nullptr;
    bool oldFormat_ = false;
    bool first_ = true;
    std::vector<ComponentRecord> chunk_;  // raw bytes of the file, 800-byte aligned or not
    std::size_t count_ = 0;               // records in the chunk
    std::size_t index_ = 0;
    ComponentRecord converted_;
    ComponentRecord last_;
    const ComponentRecord* previous_ = nullptr;
};

}  // namespace quelvari
