#include "model/file_io.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace quelvari {
namespace {

IoFault& faultSeam() {
    static IoFault seam;
    return seam;
}

// The errno the fault seam injects into the next `kind` call, or 0.
int injected(IoCall kind) {
    const IoFault& seam = faultSeam();
    return seam ? seam(kind) : 0;
}

// Runs one step of a save through the fault seam: the injected errno, or the
// call's own result and errno.
template <typename Call>
auto guarded(IoCall kind, Call&& call) -> decltype(call()) {
    if (const int err = injected(kind)) {
        errno = err;
        return -1;
    }
    return call();
}

// A size limit (RLIMIT_FSIZE) would kill the program with SIGXFSZ in the
// middle of a save; ignored, the write fails with EFBIG and the save reports
// it like a full disk.
void ignoreFileSizeSignal() {
    static const bool done = [] {
        struct sigaction old {};
        if (::sigaction(SIGXFSZ, nullptr, &old) == 0 && old.sa_handler == SIG_DFL)
            std::signal(SIGXFSZ, SIG_IGN);
        return true;
    }();
    static_cast<void>(done);
}

bool writeProtected(const struct stat& st) {
    return (st.st_mode & 0222) == 0;
}

}  // namespace

// ---- Reading --------------------------------------------------------------

int OpenRegularFile(const std::string& path, Access access, int message, Status& status,
                    std::uint64_t* size) {
    // Anything but a regular file is refused before it is opened: opening a
    // device can have effects of its own (a serial port raises its lines).
    struct stat before {};
    if (::stat(path.c_str(), &before) == 0 && !S_ISREG(before.st_mode)) {
        status = Status::refused(
            message,
            path + ": " + (S_ISDIR(before.st_mode) ? "is a directory" : "is not a regular file"));
        return -1;
    }
    // What was checked may be replaced before the open: O_NONBLOCK keeps a
    // FIFO from waiting for a writer, O_NOCTTY a terminal from becoming ours,
    // and fstat below decides. For a regular file the flags change nothing.
    const int flags =
        (access == Access::ReadWrite ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    const int fd = ::open(path.c_str(), flags);
    if (fd < 0) {
        const int err = errno;
        struct stat link {};
        if (err == ENOENT && ::lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode))
            status = Status::refused(message, path + ": symbolic link to a missing file");
        else
            status = Status::system(message, err, path);
        return -1;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        status = Status::system(message, errno, path);
        ::close(fd);
        return -1;
    }
    if (!S_ISREG(st.st_mode)) {
        status = Status::refused(
            message,
            path + ": " + (S_ISDIR(st.st_mode) ? "is a directory" : "is not a regular file"));
        ::close(fd);
        return -1;
    }
    if (access == Access::ReadWrite && writeProtected(st)) {
        status = Status::system(message, EACCES, path);
        ::close(fd);
        return -1;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    if (size)
        *size = static_cast<std::uint64_t>(st.st_size);
    status = {};
    return fd;
}

Status ReadRegularFile(const std::string& path, std::size_t limit, std::string& data, int message,
                       bool* truncated) {
    data.clear();
    if (truncated)
        *truncated = false;
    Status status;
    std::uint64_t size = 0;
    const int fd = OpenRegularFile(path, Access::ReadOnly, message, status, &size);
    if (fd < 0)
        return status;
    // One byte more than the limit tells whether the file goes on; the size
    // from fstat only sizes the buffer (a file may grow while it is read).
    const std::size_t want = limit == SIZE_MAX ? limit : limit + 1;
    data.resize(static_cast<std::size_t>(std::min<std::uint64_t>(size, want)));
    std::size_t got = 0;
    for (;;) {
        if (got == data.size()) {
            if (data.size() >= want)
                break;
            data.resize(std::min(want, std::max<std::size_t>(data.size() * 2, 4096)));
        }
        const long n = ReadFully(fd, data.data() + got, data.size() - got);
        if (n < 0) {
            status = Status::system(message, errno, path);
            ::close(fd);
            data.clear();
            return status;
        }
        got += static_cast<std::size_t>(n);
        if (got < data.size())
            break;  // the end of the file
    }
    ::close(fd);
    data.resize(got);
    if (got > limit) {
        data.resize(limit);
        if (truncated)
            *truncated = true;
    }
    return {};
}

bool IsReadableRegularFile(const std::string& path) {
    Status ignored;
    const int fd = OpenRegularFile(path, Access::ReadOnly, kErrFileOpen, ignored);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

long ReadFullyInto(int fd, std::uint8_t* const* buffers, std::size_t count, std::size_t size) {
    constexpr std::size_t kMaxVectors = 256;
    iovec vectors[kMaxVectors];
    std::size_t got = 0;
    const std::size_t total = count * size;
    while (got < total) {
        // The buffers not yet full, the first one from where the last read
        // ended; buffers that adjoin in memory are read as one.
        std::size_t i = got / size;
        std::size_t n = 0;
        vectors[0] = {buffers[i] + got % size, size - got % size};
        while (++i < count) {
            iovec& last = vectors[n];
            if (static_cast<std::uint8_t*>(last.iov_base) + last.iov_len == buffers[i]) {
                last.iov_len += size;
            } else if (++n < kMaxVectors) {
                vectors[n] = {buffers[i], size};
            } else {
                break;
            }
        }
        n = std::min(n + 1, kMaxVectors);
        const ssize_t r =
            guarded(IoCall::Read, [&] { return ::readv(fd, vectors, static_cast<int>(n)); });
        if (r < 0 && errno == EINTR)
            continue;
        if (r < 0)
            return -1;
        if (r == 0)
            break;
        got += static_cast<std::size_t>(r);
    }
    return static_cast<long>(got);
}

long ReadFully(int fd, void* data, std::size_t size) {
    std::uint8_t* buffer = static_cast<std::uint8_t*>(data);
    return ReadFullyInto(fd, &buffer, 1, size);
}

// ---- Writing --------------------------------------------------------------

void SetIoFault(IoFault fault) {
    faultSeam() = std::move(fault);
}

std::string DirectoryOf(const std::string& path) {
    const auto pos = path.find_last_of('/');
    if (pos == std::string::npos)
        return ".";
    if (pos == 0)
        return "/";
    return path.substr(0, pos);
}

bool CreateDirectories(const std::string& directory) {
    struct stat st {};
    if (::stat(directory.c_str(), &st) == 0)
        return S_ISDIR(st.st_mode);
    const std::string parent = DirectoryOf(directory);
    if (parent != directory && parent != "." && parent != "/")
        if (!CreateDirectories(parent))
            return false;
    if (::mkdir(directory.c_str(), 0777) == 0 || errno == EEXIST)
        return ::stat(directory.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
    return false;
}

int RemoveStaleTemporaries(const std::string& directory) {
    DIR* dir = ::opendir(directory.c_str());
    if (!dir)
        return 0;
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name(entry->d_name);
        // Exactly our pattern: the prefix and the six characters of mkstemp.
        if (name.size() == kTempPrefix.size() + 6 &&
            name.substr(0, kTempPrefix.size()) == kTempPrefix)
            names.emplace_back(name);
    }
    ::closedir(dir);
    const auto now = std::chrono::system_clock::now();
    int removed = 0;
    for (const std::string& name : names) {
        const std::string path = directory + "/" + name;
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (fd < 0)
            continue;
        struct stat st {};
        const bool candidate =
            ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
            now - std::chrono::system_clock::from_time_t(st.st_mtime) >= kStaleTempAge;
        // A running save holds the lock on its temporary file.
        if (candidate && ::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::unlink(path.c_str()) == 0)
            ++removed;
        ::close(fd);
    }
    return removed;
}

AtomicFile::~AtomicFile() {
    discard();
}

void AtomicFile::discard() {
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
    if (!temp_.empty())
        ::unlink(temp_.c_str());
    temp_.clear();
}

Status AtomicFile::fail(int err, const std::string& what) {
    failed_ = Status::system(message_, err, what);
    discard();
    return failed_;
}

Status AtomicFile::begin(const std::string& path, int message) {
    discard();
    failed_ = {};
    message_ = message;
    ignoreFileSizeSignal();
    // Saving through a symbolic link replaces the file it points to.
    target_ = path;
    if (char* real = ::realpath(path.c_str(), nullptr)) {
        target_ = real;
        std::free(real);
    } else if (struct stat link{}; ::lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
        // A link to a missing file is neither replaced nor followed.
        return failed_ = Status::refused(message, path + ": symbolic link to a missing file");
    }
    struct stat st {};
    if (::stat(target_.c_str(), &st) == 0) {
        if (!S_ISREG(st.st_mode))
            return failed_ = Status::refused(
                       message, target_ + (S_ISDIR(st.st_mode) ? ": is a directory"
                                                               : ": is not a regular file"));
        // A file that cannot be opened for writing is not replaced either: a
        // write-protected file stays as it is. No write bit at all counts as
        // write-protected for every user, root included.
        if (writeProtected(st))
            return failed_ = Status::system(message, EACCES, target_);
        const int probe = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        if (probe < 0)
            return failed_ = Status::system(message, errno, target_);
        ::close(probe);
        mode_ = st.st_mode & 07777;
        keepOwner_ = true;
        owner_ = st.st_uid;
        group_ = st.st_gid;
    } else {
        keepOwner_ = false;
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode_ = 0666 & ~mask;
    }
    const std::string directory = DirectoryOf(target_);
    RemoveStaleTemporaries(directory);
    std::string temp = directory + "/" + std::string(kTempPrefix) + "XXXXXX";
    fd_ = ::mkostemp(temp.data(), O_CLOEXEC);
    if (fd_ < 0)
        return fail(errno, directory);
    temp_ = temp;
    // Marks the temporary file as belonging to a running save.
    ::flock(fd_, LOCK_EX | LOCK_NB);
    return {};
}

Status AtomicFile::write(const void* data, std::size_t size) {
    if (fd_ < 0)
        return failed_.ok() ? Status::refused(message_, target_ + ": not prepared") : failed_;
    const auto* at = static_cast<const std::uint8_t*>(data);
    while (size > 0) {
        const ssize_t n = guarded(IoCall::Write, [&] { return ::write(fd_, at, size); });
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return fail(errno, target_);
        // A write that takes nothing without an error is a full disk.
        if (n == 0)
            return fail(ENOSPC, target_);
        at += n;
        size -= static_cast<std::size_t>(n);
    }
    return {};
}

Status AtomicFile::commit() {
    if (fd_ < 0)
        return failed_.ok() ? Status::refused(message_, target_ + ": not prepared") : failed_;
    // The new file is the old one's owner's, where the process may say so
    // (root may; another user may keep a group it belongs to). A refusal is
    // no error: the file is saved, owned by whoever saved it. The owner goes
    // first because a change of owner clears the set-id bits of the mode.
    if (keepOwner_ && (owner_ != ::geteuid() || group_ != ::getegid()))
        if (::fchown(fd_, owner_, group_) != 0)
            static_cast<void>(::fchown(fd_, static_cast<uid_t>(-1), group_));
    if (::fchmod(fd_, mode_) != 0)
        return fail(errno, target_);
    if (guarded(IoCall::Fsync, [&] { return ::fsync(fd_); }) != 0)
        return fail(errno, target_);
    // The descriptor is gone whatever close says; a failed close can mean the
    // data never reached the disk (network file systems report it there).
    const int fd = fd_;
    fd_ = -1;
    int err = injected(IoCall::Close);
    if (::close(fd) != 0 && err == 0)
        err = errno;
    if (err != 0)
        return fail(err, target_);
    if (guarded(IoCall::Rename, [&] { return ::rename(temp_.c_str(), target_.c_str()); }) != 0)
        return fail(errno, target_);
    temp_.clear();
    // Make the rename itself durable. The new file is complete either way.
    const int dirFd = ::open(DirectoryOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return {};
}

Status WriteFileAtomically(const std::string& path, const void* data, std::size_t size,
                           int message) {
    AtomicFile file;
    if (Status s = file.begin(path, message); !s.ok())
        return s;
    if (Status s = file.write(data, size); !s.ok())
        return s;
    return file.commit();
}

// ---- Locking --------------------------------------------------------------

Status FileLock::acquire(const std::string& path, int message, std::chrono::milliseconds wait,
                         bool createMissing) {
    release();
    path_ = path;
    const auto deadline = std::chrono::steady_clock::now() + wait;
    for (;;) {
        // Read and write: a network file system grants an exclusive lock only
        // on a descriptor open for writing.
        int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
        bool created = false;
        if (fd < 0 && errno == ENOENT) {
            if (!createMissing)
                return {};
            fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_CREAT | O_EXCL, 0666);
            if (fd < 0 && errno == EEXIST) {
                // A symbolic link to a missing file: the open does not find
                // the file and the exclusive create finds the link.
                struct stat link {};
                if (::lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode))
                    return Status::refused(message, path + ": symbolic link to a missing file");
                if (std::chrono::steady_clock::now() >= deadline)
                    return Status::refused(message, path + ": in use by another program");
                continue;  // another writer created it first: lock that one
            }
            created = fd >= 0;
        }
        if (fd < 0)
            return Status::system(message, errno, path);
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            ::close(fd);
            return Status::refused(message, path + ": is not a regular file");
        }
        while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK && errno != EINTR) {
                const int err = errno;
                ::close(fd);
                return Status::system(message, err, path);
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                ::close(fd);
                return Status::refused(message, path + ": in use by another program");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        // The previous holder may have replaced the file meanwhile: the lock
        // counts only when it is on the file the path names now.
        struct stat now {};
        if (::stat(path.c_str(), &now) == 0 && now.st_dev == st.st_dev && now.st_ino == st.st_ino) {
            fd_ = fd;
            created_ = created;
            return {};
        }
        ::close(fd);
    }
}

Status LockedUpdate(const std::string& path, int message, const std::function<Status()>& update,
                    std::chrono::milliseconds wait) {
    FileLock lock;
    if (Status s = lock.acquire(path, message, wait, true); !s.ok())
        return s;
    return update();
}

void FileLock::release() {
    // A file created only to be locked and never written is removed again.
    struct stat st {};
    if (fd_ >= 0 && created_ && ::fstat(fd_, &st) == 0 && st.st_size == 0 && st.st_nlink > 0)
        ::unlink(path_.c_str());
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
    created_ = false;
}

}  // namespace quelvari
