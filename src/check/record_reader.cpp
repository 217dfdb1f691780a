#include "check/record_reader.h"

#include <cstring>

#include "model/procedure_file.h"

namespace quelvari {

RecordReader::~RecordReader() {
    if (file_)
        std::fclose(file_);
}

bool RecordReader::open(const std::string& path) {
    file_ = std::fopen(path.c_str(), "rb");
    if (!file_)
        return false;
    std::uint8_t word[2];
    const std::size_t got = std::fread(word, 1, 2, file_);
    oldFormat_ = IsOldFormat(word, got);
    std::rewind(file_);
    chunk_.resize(kChunkRecords);
    return true;
}

bool RecordReader::fill() {
    const std::size_t step = oldFormat_ ? kOldRecordSize : rec::kRecordSize;
    auto* bytes = reinterpret_cast<unsigned char*>(chunk_.data());
    const std::size_t got = std::fread(bytes, 1, kChunkRecords * step, file_);
    count_ = got / step;
    index_ = 0;
    if (first_ && count_ == 0) {
        // The first record is taken whatever is left; its missing bytes are zero.
        std::memset(bytes + got, 0, step - got);
        count_ = 1;
    }
    first_ = false;
    return count_ > 0;
}

const ComponentRecord* RecordReader::next() {
    if (!file_)
        return nullptr;
    if (index_ == count_) {
        if (previous_)
            last_ = *previous_;  // the chunk is about to be overwritten
        if (!fill())
            return nullptr;
    }
    const std::size_t i = index_++;
    if (!oldFormat_) {
        previous_ = &chunk_[i];
    } else {
        const auto* bytes = reinterpret_cast<const unsigned char*>(chunk_.data());
        converted_.clear();
        convertOldRecord(bytes + i * kOldRecordSize, converted_);
        previous_ = &converted_;
    }
    return previous_;
}

}  // namespace quelvari
