#include "link/link_files.h"

#include <unistd.h>

#include <cerrno>

#include "model/file_io.h"

namespace quelvari::link {

bool ReadBoundedFile(const std::string& path, std::uint64_t maxBytes,
                     std::vector<std::uint8_t>& out, Status* status) {
    out.clear();
    Status s;
    std::uint64_t size = 0;
    const int fd = OpenRegularFile(path, Access::ReadOnly, kErrFileOpen, s, &size);
    if (fd < 0) {
        if (status)
            *status = s;
        return false;
    }
    bool ok = size <= maxBytes;
    if (!ok && status)
        *status = Status::refused(kErrFileOpen,
                                  path + ": larger than " + std::to_string(maxBytes) + " bytes");
    if (ok) {
        out.resize(static_cast<std::size_t>(size));
        const long got = ReadFully(fd, out.data(), out.size());
        // A file that shrank while it was read is taken as far as it goes.
        ok = got >= 0;
        if (ok)
            out.resize(static_cast<std::size_t>(got));
        else if (status)
            *status = Status::system(kErrFileOpen, errno, path);
    }
    ::close(fd);
    if (!ok)
        out.clear();
    return ok;
}

std::uint64_t RegularFileSize(const std::string& path) {
    Status s;
    std::uint64_t size = 0;
    const int fd = OpenRegularFile(path, Access::ReadOnly, kErrFileOpen, s, &size);
    if (fd < 0)
        return 0;
    ::close(fd);
    return size;
}

}  // namespace quelvari::link
