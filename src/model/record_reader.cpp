#include "model/record_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "model/procedure_file.h"

namespace quelvari {
namespace {
constexpr const char* kTooLarge = "too large for a procedure (at most 65535 steps)";
}

RecordReader::~RecordReader() {
    close();
}

void RecordReader::close() {
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

Status RecordReader::open(const std::string& path, Access access) {
    close();
    path_ = path;
    oldFormat_ = ended_ = false;
    count_ = index_ = given_ = 0;
    fd_ = OpenRegularFile(path, access, kErrFileOpen, status_, &sizeAtOpen_);
    if (fd_ < 0)
        return status_;
    // The format word. A short read is retried until the file ends; a file
    // that had two bytes but gives fewer changed under our feet and is not
    // taken for data.
    std::uint8_t word[2] = {};
    const long got = ReadFully(fd_, word, 2);
    if (got < 0) {
        status_ = Status::system(kErrFileOpen, errno, path);
        close();
        return status_;
    }
    if (got < 2 && sizeAtOpen_ >= 2) {
        close();
        return status_ =
                   Status::refused(kErrFileOpen, path + ": the file changed while it was read");
    }
    oldFormat_ = IsOldFormat(word, static_cast<std::size_t>(got));
    const std::uint64_t step = oldFormat_ ? kOldRecordSize : rec::kRecordSize;
    if (sizeAtOpen_ / step > kMaxProcedureSteps) {
        close();
        return status_ = Status::refused(kErrFileOpen, path + ": " + kTooLarge);
    }
    if (::lseek(fd_, 0, SEEK_SET) != 0) {
        status_ = Status::system(kErrFileOpen, errno, path);
        close();
        return status_;
    }
    return status_;
}

bool RecordReader::fill() {
    const std::size_t step = oldFormat_ ? kOldRecordSize : rec::kRecordSize;
    chunk_.resize(kChunkRecords * step);
    const long got = ReadFully(fd_, chunk_.data(), chunk_.size());
    if (got < 0) {
        status_ = Status::system(kErrFileOpen, errno, path_);
        return false;
    }
    const auto bytes = static_cast<std::size_t>(got);
    count_ = bytes / step;
    index_ = 0;
    if (given_ == 0 && count_ == 0) {
        // The first record is taken whatever is left; its missing bytes are zero.
        std::memset(chunk_.data() + bytes, 0, step - bytes);
        count_ = 1;
    }
    // A chunk that is not full is the end of the file.
    if (bytes < chunk_.size())
        ended_ = true;
    return count_ > 0;
}

const ComponentRecord* RecordReader::next() {
    if (fd_ < 0 || !status_.ok())
        return nullptr;
    if (index_ == count_) {
        if (given_ > 0)
            last_ = current_;
        if (ended_ || !fill()) {
            close();
            return nullptr;
        }
    }
    if (given_ == kMaxProcedureSteps) {
        // The file grew past what step numbers can count.
        status_ = Status::refused(kErrFileOpen, path_ + ": " + kTooLarge);
        close();
        return nullptr;
    }
    const std::size_t i = index_++;
    if (oldFormat_) {
        convertOldRecord(&chunk_[i * kOldRecordSize], current_);
    } else {
        std::memcpy(current_.data(), &chunk_[i * rec::kRecordSize], rec::kRecordSize);
    }
    ++given_;
    return &current_;
}

std::size_t RecordReader::readInto(ComponentRecord* const* records, std::size_t count) {
    if (fd_ < 0 || !status_.ok() || oldFormat_ || count == 0)
        return 0;
    if (ended_) {
        close();
        return 0;
    }
    std::uint8_t* buffers[kChunkRecords];
    count = std::min(count, kChunkRecords);
    for (std::size_t i = 0; i < count; ++i)
        buffers[i] = records[i]->data();
    const long got = ReadFullyInto(fd_, buffers, count, rec::kRecordSize);
    if (got < 0) {
        status_ = Status::system(kErrFileOpen, errno, path_);
        close();
        return 0;
    }
    const auto bytes = static_cast<std::size_t>(got);
    std::size_t whole = bytes / rec::kRecordSize;
    if (given_ == 0 && whole == 0) {
        // The first record is taken whatever is left; its missing bytes are zero.
        std::memset(buffers[0] + bytes, 0, rec::kRecordSize - bytes);
        whole = 1;
    }
    if (bytes < count * rec::kRecordSize)
        ended_ = true;
    if (given_ + whole > kMaxProcedureSteps) {
        // The file grew past what step numbers can count.
        status_ = Status::refused(kErrFileOpen, path_ + ": " + kTooLarge);
        close();
        return 0;
    }
    given_ += whole;
    if (whole > 0)
        last_ = *records[whole - 1];
    return whole;
}

Status readRecordFile(const std::string& path, RecordFile& out, Access access) {
    out = RecordFile{};
    RecordReader reader;
    if (Status s = reader.open(path, access); !s.ok())
        return s;
    out.oldFormat = reader.oldFormat();
    while (const ComponentRecord* r = reader.next())
        out.records.push_back(*r);
    if (!reader.status().ok()) {
        out.records.clear();
        return reader.status();
    }
    return {};
}

}  // namespace quelvari
