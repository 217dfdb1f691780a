#include "check/check_support.h"

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "model/file_io.h"
#include "model/numbers.h"

namespace quelvari {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int readNumber(std::string_view s, std::size_t& pos) {
    int n = 0;
    while (pos < s.size() && isDigit(s[pos])) {
        if (n < 100000)
            n = n * 10 + (s[pos] - '0');
        ++pos;
    }
    return n;
}

}  // namespace

PictureInfo ProbePicture(const std::string& path) {
    PictureInfo info;
    // Only a regular file is a picture: a FIFO or a device named in a record
    // must not stop the test.
    Status status;
    std::uint64_t size = 0;
    const int fd = OpenRegularFile(path, Access::ReadOnly, kErrPictureAccess, status, &size);
    if (fd < 0)
        return info;
    info.found = true;
    unsigned char head[30] = {};
    const long read = ReadFully(fd, head, sizeof head);
    ::close(fd);
    const std::size_t got = read < 0 ? 0 : static_cast<std::size_t>(read);
    info.size = static_cast<long>(size);
    if (got >= 2 && head[0] == 'B' && head[1] == 'M') {
        info.bitmap = true;
        // The info header follows the 14-byte file header; its size tells the
        // old core header (12 bytes, bit count at 24) from the later ones (at 28).
        const std::uint32_t headerSize = GetLe32(head + 14);
        const std::size_t at = headerSize == 12 ? 24 : 28;
        if (got >= at + 2)
            info.bitsPerPixel = GetLe16(head + at);
    } else if (got >= 2 && head[0] == 0xFF && head[1] == 0xD8) {
        info.jpeg = true;
    }
    return info;
}

bool IsTransferCommand(std::string_view line, bool& wellFormed) {
    std::size_t pos = 0;
    auto skipBlanks = [&] {
        std::size_t from = pos;
        while (pos < line.size() && line[pos] == ' ')
            ++pos;
        return pos > from;
    };
    auto take = [&](std::string_view word) {
        if (line.substr(pos, word.size()) != word)
            return false;
        pos += word.size();
        return true;
    };
    skipBlanks();
    if (line.size() - pos < 4)
        return false;
    for (std::size_t i = 0; i < 4; ++i)
        if (AsciiUpper(line[pos + i]) != "SAVE"[i])
            return false;
    pos += 4;
    if (pos < line.size() && line[pos] != ' ')
        return false;

    wellFormed = false;
    if (!skipBlanks())
        return true;
    if (take("-ir")) {
        // Interrupt procedure number 1 to 4, then the memory number.
        if (pos >= line.size() || line[pos] < '1' || line[pos] > '4')
            return true;
        ++pos;
    } else if (!take("-m")) {
        return true;
    }
    const std::size_t digitsFrom = pos;
    readNumber(line, pos);
    if (pos == digitsFrom || !skipBlanks() || !take("-S"))
        return true;
    const std::size_t nameFrom = pos;
    while (pos < line.size() && line[pos] != ' ')
        ++pos;
    if (pos == nameFrom)
        return true;
    skipBlanks();
    wellFormed = pos == line.size();
    return true;
}

}  // namespace quelvari
