// File access shared by everything the program reads and writes.
//
// Reading: only regular files are opened. Directories, FIFOs, devices
// (/dev/zero, /dev/urandom, a terminal on /dev/stdin) are refused before the
// first read, so no file name can make the program hang or read forever.
//
// Writing: every file the program writes (procedures, the system file of the
// syntax test, the configuration file, the description side file) is
// replaced atomically. The data goes to a temporary file ".quelvari-save-XXXXXX"
// in the target's directory; every write must take its full length; the file
// is flushed to disk, renamed over the target, and the directory is flushed so
// the rename itself survives a power cut. On any failure the temporary file is
// removed and the old file is untouched, byte for byte. A save killed halfway
// leaves only its temporary file behind, which a later save into the same
// directory removes.
//
// Locking: a read-modify-write of a file (procedure, side file,
// configuration) holds an advisory lock (flock) on the file from the read
// until the new file has replaced it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "model/status.h"

namespace quelvari {

// ---- Reading --------------------------------------------------------------

// How a file is opened for reading. Open needs write access as well: a
// write-protected procedure cannot be opened in the editor.
enum class Access { ReadOnly, ReadWrite };

// Opens `path` for reading without blocking on a FIFO, and keeps the
// descriptor only for a regular file. Returns the descriptor (close-on-exec,
// blocking) and fills `size`; on failure returns -1 and a status with
// `message`, the system's errno and the path. With ReadWrite, a file without
// any write permission bit counts as write-protected even for root.
int OpenRegularFile(const std::string& path, Access access, int message, Status& status,
                    std::uint64_t* size = nullptr);

// Reads at most `limit` bytes of the regular file `path` (opened as above,
// read-only) into `data`. `truncated`, when given, tells whether the file held
// more. Every file a user or a procedure names is read through here or through
// OpenRegularFile: a FIFO, a device, a directory or a dangling link is refused
// with `message` before anything is read, and no file is read without bound.
Status ReadRegularFile(const std::string& path, std::size_t limit, std::string& data,
                       int message = kErrFileOpen, bool* truncated = nullptr);

// True when `path` names a regular file that can be opened for reading.
bool IsReadableRegularFile(const std::string& path);

// Reads up to `size` bytes at the current position, retrying interrupted and
// partial reads until `size` bytes came or the file ended. Returns the count,
// or -1 with errno set on an I/O error.
long ReadFully(int fd, void* data, std::size_t size);

// The same into several buffers (one readv per turn): `count` buffers of
// `size` bytes each, filled in order; buffers that adjoin in memory are read
// as one piece. Open reads records straight into the nodes of the procedure
// this way.
long ReadFullyInto(int fd, std::uint8_t* const* buffers, std::size_t count, std::size_t size);

// ---- Faults ---------------------------------------------------------------

// The system calls that can fail, for the fault seam below.
enum class IoCall { Write, Fsync, Rename, Close, Read };

// Test seam: when set, it is asked before every write, fsync, rename and
// close of a save and every read of ReadFully and ReadFullyInto; a non-zero answer makes that
// call fail with the answer as errno. An empty function removes the seam.
using IoFault = std::function<int(IoCall call)>;
void SetIoFault(IoFault fault);

// ---- Writing --------------------------------------------------------------

// The prefix of the temporary files of a save.
inline constexpr std::string_view kTempPrefix = ".quelvari-save-";
// Temporary files at least this old whose save is no longer running are left
// over from a killed save and are removed by the next save into the directory.
inline constexpr std::chrono::seconds kStaleTempAge{60};

// One atomic replacement of a file. Usage: begin, write as often as needed,
// commit. Destroying an uncommitted file removes the temporary file.
class AtomicFile {
  public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // Prepares the replacement of `path` (a symbolic link is followed: the
    // file it points to is replaced). Refused with message `message` when the
    // target exists and is not a regular file, when it is write-protected (no
    // write permission bit, or cannot be opened for writing), or when no
    // temporary file can be created in its directory. The first call sets
    // SIGXFSZ to be ignored (unless the program handles it), so that a file
    // size limit fails the write with EFBIG instead of killing the program.
    Status begin(const std::string& path, int message = kErrFileWrite);
    Status write(const void* data, std::size_t size);
    // Flushes, renames over the target (its permission bits kept, and its
    // owner and group as far as the process may set them; a new file gets
    // 0666 less the umask) and flushes the directory.
    Status commit();

    const std::string& target() const { return target_; }

  private:
    Status fail(int err, const std::string& what);
    void discard();

    std::string target_;
    std::string temp_;
    int fd_ = -1;
    int message_ = kErrFileWrite;
    mode_t mode_ = 0;
    bool keepOwner_ = false;
    uid_t owner_ = 0;
    gid_t group_ = 0;
    Status failed_;
};

// Writes `size` bytes as the whole new content of `path`.
Status WriteFileAtomically(const std::string& path, const void* data, std::size_t size,
                           int message = kErrFileWrite);

// Removes temporary files of killed saves from `directory`: only names of our
// own pattern, only regular files at least kStaleTempAge old whose save does
// not hold its lock any more. Returns how many were removed.
int RemoveStaleTemporaries(const std::string& directory);

// Creates `directory` and every missing directory above it (mode 0777 less
// the umask). True when it exists as a directory afterwards.
bool CreateDirectories(const std::string& directory);

// The directory part of `path` ("." for a bare name, "/" for a file in root).
std::string DirectoryOf(const std::string& path);

// ---- Locking --------------------------------------------------------------

// An exclusive advisory lock on a procedure file for a read-modify-write.
// A second writer waits until the first has replaced the file (the lock
// follows the file across the rename of a save) and then reads the new file;
// when the wait runs out it is refused with "in use by another program".
class FileLock {
  public:
    FileLock() = default;
    ~FileLock() { release(); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // Locks the file at `path`. A missing file is created empty when
    // `createMissing` is set (created() tells), so that two writers creating
    // the same file are kept apart too; otherwise a missing file is not
    // locked and the result is ok. Failures carry `message`.
    Status acquire(const std::string& path, int message, std::chrono::milliseconds wait,
                   bool createMissing = false);
    void release();

    bool held() const { return fd_ >= 0; }
    bool created() const { return created_; }

  private:
    int fd_ = -1;
    bool created_ = false;
    std::string path_;
};

// How long the command-line tool and the editor wait for another writer.
inline constexpr std::chrono::milliseconds kLockWait{30000};

// One read-modify-write of a file the program owns, kept apart from every
// other one on the same file: takes the FileLock of `path` (creating the file
// empty when it is missing, so that two first writers are kept apart too),
// runs `update`, which reads the file, changes the content and replaces the
// file, and releases the lock. A file created for the lock and left empty is
// removed again. Lock failures carry `message`; otherwise the result is
// `update`'s.
Status LockedUpdate(const std::string& path, int message, const std::function<Status()>& update,
                    std::chrono::milliseconds wait = kLockWait);

}  // namespace quelvari
