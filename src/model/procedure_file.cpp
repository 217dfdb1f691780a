#include "model/procedure_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

namespace quelvari {
namespace {

std::map<std::uint8_t, PayloadConverter>& converters() {
    static std::map<std::uint8_t, PayloadConverter> table = [] {
        std::map<std::uint8_t, PayloadConverter> t;
        // Types whose old payload is carried over. Until a type gives its old
        // layout, its payload moves unchanged to the new payload offset.
        for (char type : std::string_view("ABDGIMNPSTUZbdiu")) {
            t[static_cast<std::uint8_t>(type)] = [](const std::uint8_t* old, ComponentRecord& r) {
                std::memcpy(r.data() + rec::kPayload, old, kOldPayloadSize);
            };
        }
        return t;
    }();
    return table;
}

// Copies a zero-terminated text of at most `size` bytes up to its terminator.
void copyText(const std::uint8_t* src, std::size_t size, std::uint8_t* dst) {
    for (std::size_t i = 0; i < size && src[i] != 0; ++i)
        dst[i] = src[i];
}

}  // namespace

bool IsOldFormat(const std::uint8_t* head, std::size_t got) {
    std::uint8_t word[2] = {};
    for (std::size_t i = 0; i < got && i < 2; ++i)
        word[i] = head[i];
    return (word[0] | (word[1] << 8)) != kCurrentFormatMark;
}

bool hasPayloadConverter(std::uint8_t typeCode) {
    return converters().count(typeCode) != 0;
}

void setPayloadConverter(std::uint8_t typeCode, PayloadConverter converter) {
    converters()[typeCode] = std::move(converter);
}

void convertDosComment(const std::uint8_t* src, std::size_t srcSize, std::uint8_t* dst,
                       std::size_t dstSize) {
    std::size_t out = 0;
    auto put = [&](std::uint8_t b, bool advance) {
        if (out < dstSize)
            dst[out] = b;
        if (advance)
            ++out;
    };
    for (std::size_t i = 0; i < srcSize && src[i] != 0; ++i) {
        const std::uint8_t c = src[i];
        switch (c) {
            case 0x81:
                put(0xFC, true);
                break;
            case 0x84:
                put(0xE4, true);
                break;
            case 0x8E:
                put(0xC4, true);
                break;
            case 0x94:
                put(0xF6, true);
                break;
            case 0x99:
                put(0xD6, true);
                break;
            case 0x9A:
                put(0xDC, true);
                break;
            case 0xE1:
                put(0xDF, true);
                break;
            case 0xB3:
                put(0xA6, true);
                break;
            case 0xC4:
                put('-', true);
                break;
            case 0xBF:
            case 0xC0:
            case 0xD9:
            case 0xDA:
                put('+', true);
                break;
            case 0xAE:
                put(0xAB, false);
                break;
            case 0xAF:
                put(0xBB, false);
                break;
            case 0x1B:
                // The escape and the two bytes after it are copied as they are.
                put(c, true);
                for (int k = 0; k < 2 && i + 1 < srcSize; ++k)
                    put(src[++i], true);
                put(0xAB, false);
                break;
            default:
                put(c, true);
                break;
        }
    }
}

void convertOldRecord(const std::uint8_t* old, ComponentRecord& out) {
    out.clear();
    out.setFormatMark(kCurrentFormatMark);
    out.setRecordMark(kRecordMarkMemory);
    out.setNumber(static_cast<std::uint16_t>(old[0] | (old[1] << 8)));
    copyText(old + 2, rec::kConditionSize, out.data() + rec::kInputCondition);
    copyText(old + 13, rec::kConditionSize, out.data() + rec::kBranchCondition);
    out.setGotoTarget(static_cast<std::uint16_t>(old[24] | (old[25] << 8)));
    convertDosComment(old + 26, rec::kCommentSize, out.data() + rec::kComment, rec::kCommentSize);
    out.setTypeCode(old[77]);
    auto& table = converters();
    if (auto it = table.find(old[77]); it != table.end())
        it->second(old + kOldPayloadOffset, out);
}

namespace {

// An open procedure file: its size and its format, told by the first word.
struct Source {
    int fd = -1;
    std::size_t size = 0;
    bool oldFormat = false;
    ~Source() {
        if (fd >= 0)
            ::close(fd);
    }
    std::size_t step() const { return oldFormat ? kOldRecordSize : rec::kRecordSize; }
    // The first record is taken whatever its length (an empty file still gives
    // one); the following ones only while a whole record is left.
    std::size_t recordCount() const { return size < step() ? 1 : size / step(); }
};

bool openSource(const std::string& path, bool needWriteAccess, Source& src) {
    src.fd = ::open(path.c_str(), (needWriteAccess ? O_RDWR : O_RDONLY) | O_CLOEXEC);
    if (src.fd < 0)
        return false;
    struct stat st {};
    if (::fstat(src.fd, &st) != 0 || !S_ISREG(st.st_mode))
        return false;
    src.size = static_cast<std::size_t>(st.st_size);
    std::uint8_t word[2];
    const ssize_t got = ::pread(src.fd, word, 2, 0);
    if (got < 0)
        return false;
    src.oldFormat = IsOldFormat(word, static_cast<std::size_t>(got));
    return true;
}

// Fills the buffers of `iov` from the start of the file; bytes past the end
// of the file are zeroed. Returns false on a read error.
bool readInto(int fd, std::vector<iovec>& iov) {
    off_t offset = 0;
    std::size_t first = 0;
    while (first < iov.size()) {
        const int count = static_cast<int>(std::min<std::size_t>(iov.size() - first, IOV_MAX));
        const ssize_t got = ::preadv(fd, &iov[first], count, offset);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        if (got == 0)
            return true;  // the file ended early (it shrank meanwhile)
        offset += got;
        for (auto left = static_cast<std::size_t>(got); left > 0 && first < iov.size();) {
            const std::size_t take = std::min(left, iov[first].iov_len);
            iov[first].iov_base = static_cast<std::uint8_t*>(iov[first].iov_base) + take;
            iov[first].iov_len -= take;
            left -= take;
            if (iov[first].iov_len == 0)
                ++first;
        }
    }
    return true;
}

// Reads the old records one after another and converts each.
bool readOldRecords(const Source& src, std::vector<ComponentRecord>& out) {
    std::vector<std::uint8_t> data(src.recordCount() * kOldRecordSize, 0);
    std::vector<iovec> iov{{data.data(), std::min(data.size(), src.size)}};
    if (!readInto(src.fd, iov))
        return false;
    out.resize(src.recordCount());
    for (std::size_t i = 0; i < out.size(); ++i)
        convertOldRecord(&data[i * kOldRecordSize], out[i]);
    return true;
}

}  // namespace

bool readRecordFile(const std::string& path, RecordFile& out, bool needWriteAccess) {
    out = RecordFile{};
    Source src;
    if (!openSource(path, needWriteAccess, src))
        return false;
    out.oldFormat = src.oldFormat;
    if (src.oldFormat)
        return readOldRecords(src, out.records);
    // Current records are read straight into the vector: the file layout is
    // the memory layout.
    static_assert(sizeof(ComponentRecord) == rec::kRecordSize);
    out.records.resize(src.recordCount());
    std::vector<iovec> iov{
        {out.records.data(), std::min(out.records.size() * rec::kRecordSize, src.size)}};
    return readInto(src.fd, iov);
}

int loadProcedure(const std::string& path, ProcedureList& list) {
    list.freeProcedure();
    list.componentCount = 0;
    list.documentOpen = 0;
    list.viewRecord.clear();
    Source src;
    if (!openSource(path, true, src))
        return ErrorCode(kErrFileOpen);
    list.oldFormat = src.oldFormat ? 1 : 0;
    if (src.oldFormat) {
        std::vector<ComponentRecord> records;
        if (!readOldRecords(src, records))
            return ErrorCode(kErrFileOpen);
        list.procedureHead.record = records.front();
        list.componentCount = 1;
        for (std::size_t i = 1; i < records.size(); ++i)
            list.appendNode(records[i]);
    } else {
        // Link the nodes first, then read every record straight into its node.
        const std::size_t count = src.recordCount();
        std::vector<iovec> iov;
        iov.reserve(count);
        iov.push_back({list.procedureHead.record.data(), std::min(rec::kRecordSize, src.size)});
        list.componentCount = 1;
        for (std::size_t i = 1; i < count; ++i) {
            iov.push_back({list.appendUnfilledNode().data(), rec::kRecordSize});
        }
        if (!readInto(src.fd, iov)) {
            list.freeProcedure();
            list.componentCount = 0;
            return ErrorCode(kErrFileOpen);
        }
    }
    list.documentPath = path;
    list.currentNode = &list.procedureHead;
    list.viewRecord = list.procedureHead.record;
    list.currentNumber = 1;
    list.documentOpen = 1;
    return 0;
}

namespace {

std::string directoryOf(const std::string& path) {
    const auto pos = path.find_last_of('/');
    if (pos == std::string::npos)
        return ".";
    if (pos == 0)
        return "/";
    return path.substr(0, pos);
}

bool writeAll(const WriteFn& write, int fd, const std::uint8_t* data, std::size_t size) {
    while (size > 0) {
        const long n = write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        // A short write with no error is how a full disk shows itself: stop.
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

int writeProcedure(const std::string& pathIn, ProcedureList& list, const WriteFn& writeFn) {
    // Saving through a symbolic link replaces the file it points to, not the link.
    std::string path = pathIn;
    if (char* real = ::realpath(pathIn.c_str(), nullptr)) {
        path = real;
        std::free(real);
    }
    const WriteFn write = writeFn ? writeFn : [](int fd, const void* d, std::size_t s) {
        return static_cast<long>(::write(fd, d, s));
    };

    // Keep the target's permissions; a new file gets the usual 0666 & ~umask.
    mode_t mode;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        if (!S_ISREG(st.st_mode))
            return ErrorCode(kErrFileWrite);
        mode = st.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }

    std::string tmp = directoryOf(path) + "/.quelvari-save-XXXXXX";
    const int fd = ::mkstemp(tmp.data());
    if (fd < 0)
        return ErrorCode(kErrFileWrite);

    bool ok = true;
    std::vector<std::uint8_t> buffer;
    buffer.reserve(64 * rec::kRecordSize);
    std::uint16_t n = 1;
    for (ComponentNode* node = &list.procedureHead; node && ok; node = node->next, ++n) {
        ComponentRecord& r = node->record;
        r.setFormatMark(kCurrentFormatMark);
        r.setRecordMark(kRecordMarkSaved);
        r.setNumber(n);
        buffer.insert(buffer.end(), r.bytes.begin(), r.bytes.end());
        if (buffer.size() >= 64 * rec::kRecordSize || !node->next) {
            ok = writeAll(write, fd, buffer.data(), buffer.size());
            buffer.clear();
        }
    }
    ok = ok && ::fchmod(fd, mode) == 0 && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (ok)
        ok = ::rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) {
        ::unlink(tmp.c_str());
        return ErrorCode(kErrFileWrite);
    }
    // Make the rename itself durable.
    const int dirFd = ::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return 0;
}

}  // namespace quelvari
