// Helpers shared by the tests.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/file_io.h"
#include "model/procedure_file.h"
#include "model/record.h"

namespace quelvari::test {

// A fresh directory, removed with everything in it when the object goes.
class TempDir {
  public:
    // `base` is where it is made; /dev/shm keeps tests that save hundreds of
    // times off a disk whose fsync is slow under parallel builds.
    explicit TempDir(const std::string& base = "/tmp") {
        std::string tmpl =
            (::access(base.c_str(), W_OK) == 0 ? base : "/tmp") + "/quelvari-test-XXXXXX";
        if (!::mkdtemp(tmpl.data()))
            throw std::runtime_error("mkdtemp failed");
        path_ = tmpl;
    }
    ~TempDir() {
        const std::string cmd = "rm -rf '" + path_ + "'";
        if (std::system(cmd.c_str()) != 0)
            std::perror("rm");
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline std::vector<std::uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    std::vector<std::uint8_t> bytes(in ? static_cast<std::size_t>(in.tellg()) : 0);
    in.seekg(0);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
}

inline void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

inline std::string readText(const std::string& path) {
    const auto b = readBytes(path);
    return {b.begin(), b.end()};
}

inline void writeText(const std::string& path, const std::string& s) {
    writeBytes(path, {s.begin(), s.end()});
}

// The names in `dir`, sorted.
inline std::vector<std::string> listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Whether a save left its temporary file in `dir`.
inline bool hasTemporary(const std::string& dir) {
    const auto names = listing(dir);
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& n) { return n.starts_with(kTempPrefix); });
}

// Runs a shell command and returns its standard output and exit status.
struct CommandResult {
    std::string out;
    int status = -1;
};
inline CommandResult runCommand(const std::string& command) {
    CommandResult r;
    FILE* p = ::popen(command.c_str(), "r");
    if (!p)
        return r;
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;)
        r.out.append(buf, n);
    const int raw = ::pclose(p);
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return r;
}

// Runs quelvari-cli with `args` (already quoted for the shell).
inline CommandResult runCli(const std::string& args) {
    return runCommand(std::string(QUELVARI_CLI) + " " + args + " 2>&1");
}

// Runs quelvari-cli as user and group `id` (the tests run as root for this).
inline CommandResult runCliAs(int id, const std::string& args) {
    const std::string who = std::to_string(id);
    return runCommand("setpriv --reuid=" + who + " --regid=" + who + " --clear-groups " +
                      QUELVARI_CLI + " " + args + " 2>&1");
}

// `n` bytes of a record from `offset`, to compare a stored field block at once.
inline std::vector<std::uint8_t> bytesAt(const ComponentRecord& r, std::size_t offset,
                                         std::size_t n) {
    return {r.bytes.begin() + static_cast<std::ptrdiff_t>(offset),
            r.bytes.begin() + static_cast<std::ptrdiff_t>(offset + n)};
}
using ByteRow = std::vector<std::uint8_t>;

// A record with a type code, conditions and comment, as an editor fills it.
inline ComponentRecord makeRecord(char type, const std::string& comment = "",
                                  const std::string& branch = "", std::uint16_t target = 0) {
    ComponentRecord r;
    r.setFormatMark(kCurrentFormatMark);
    r.setRecordMark(kRecordMarkMemory);
    r.setTypeCode(static_cast<std::uint8_t>(type));
    storeComment(r, comment);
    storeBranchCondition(r, branch);
    r.setGotoTarget(target);
    return r;
}

// An old-format record; its payload counts up in steps of 7 from 1.
inline std::vector<std::uint8_t> oldRecord(std::uint16_t step, char type, const char* in,
                                           const char* branch, std::uint16_t target,
                                           std::vector<std::uint8_t> comment) {
    std::vector<std::uint8_t> r(kOldRecordSize, 0);
    r[0] = static_cast<std::uint8_t>(step);
    r[1] = static_cast<std::uint8_t>(step >> 8);
    std::memcpy(&r[2], in, std::strlen(in));
    std::memcpy(&r[13], branch, std::strlen(branch));
    r[24] = static_cast<std::uint8_t>(target);
    r[25] = static_cast<std::uint8_t>(target >> 8);
    std::copy(comment.begin(), comment.end(), r.begin() + 26);
    r[77] = static_cast<std::uint8_t>(type);
    for (std::size_t i = 0; i < kOldPayloadSize; ++i)
        r[78 + i] = static_cast<std::uint8_t>(i * 7 + 1);
    return r;
}

}  // namespace quelvari::test
