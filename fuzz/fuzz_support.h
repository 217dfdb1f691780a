// Pieces shared by the fuzz targets: a scratch directory per process, inputs
// that carry several files, and a check that stops the run with a message
// (a failed check is a finding, as a crash is).
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "model/record.h"

// Every target defines this; libFuzzer calls it, and so does the replay
// driver of the test suite.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace quelvari::fuzz {

// Aborts with the failed condition and where it was checked.
#define FUZZ_CHECK(cond)                                                                  \
    do {                                                                                  \
        if (!(cond)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                                 \
        }                                                                                 \
    } while (0)

// QUELVARI_FUZZ_TRACE=1 makes the targets tell what they made of each input
// on standard error (for looking at a corpus, not for fuzzing).
inline bool Tracing() {
    static const bool on = [] {
        const char* v = std::getenv("QUELVARI_FUZZ_TRACE");
        return v && *v && *v != '0';
    }();
    return on;
}

// A directory that lives as long as the process; `clear` empties it between
// inputs. The targets that read files write them here, and those that resolve
// relative names (modules, pictures) make it the working directory.
class ScratchDir {
  public:
    static ScratchDir& get() {
        static ScratchDir dir;
        return dir;
    }
    const std::string& path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

    std::string write(std::string_view name, std::string_view bytes) const {
        const std::string p = file(name);
        const int fd = ::open(p.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        FUZZ_CHECK(fd >= 0);
        for (std::size_t done = 0; done < bytes.size();) {
            const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
            FUZZ_CHECK(n > 0);
            done += static_cast<std::size_t>(n);
        }
        FUZZ_CHECK(::close(fd) == 0);
        return p;
    }

    // Removes everything in the directory.
    void clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            std::filesystem::remove_all(entry.path());
    }

    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

  private:
    ScratchDir() {
        const char* tmp = std::getenv("TMPDIR");
        std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/quelvari-fuzz-XXXXXX";
        FUZZ_CHECK(::mkdtemp(tmpl.data()) != nullptr);
        path_ = tmpl;
    }
    ~ScratchDir() {
        clear();
        ::rmdir(path_.c_str());
    }
    std::string path_;
};

// Inputs that carry several files hold them one after another, each behind
// this mark (the part in front of the first mark is the first part).
inline constexpr std::string_view kPartMark = "=QVPART=";

inline std::vector<std::string_view> SplitParts(std::string_view input) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t at = input.find(kPartMark);
        if (at == std::string_view::npos) {
            parts.push_back(input);
            return parts;
        }
        parts.push_back(input.substr(0, at));
        input.remove_prefix(at + kPartMark.size());
    }
}

// A part that names its file: the first line is the name. Only letters,
// digits, '_', '-' and '.' are kept (at most 24), so a fuzzed name stays a
// plain name inside the scratch directory; nothing is left for a name that
// is empty or starts with a dot.
struct NamedPart {
    std::string name;
    std::string_view bytes;
};
inline NamedPart SplitNamedPart(std::string_view part) {
    NamedPart out;
    const std::size_t eol = part.find('\n');
    const std::string_view raw = part.substr(0, eol);
    for (char c : raw) {
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                        (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
        if (ok && out.name.size() < 24)
            out.name.push_back(c);
    }
    if (!out.name.empty() && out.name[0] == '.')
        out.name.clear();
    out.bytes = eol == std::string_view::npos ? std::string_view() : part.substr(eol + 1);
    return out;
}

// Reads an input from the front: small numbers and length-prefixed strings.
// Past the end it gives zeros and empty strings, so every input is usable.
class Reader {
  public:
    Reader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool empty() const { return pos_ >= size_; }
    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    std::string_view take(std::size_t n) {
        n = std::min(n, size_ - std::min(pos_, size_));
        const std::string_view s(reinterpret_cast<const char*>(data_) + pos_, n);
        pos_ += n;
        return s;
    }
    std::string_view rest() { return take(size_); }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

// A record from up to 800 input bytes, the rest zero.
inline ComponentRecord RecordFrom(std::string_view bytes) {
    ComponentRecord r;
    for (std::size_t i = 0; i < bytes.size() && i < rec::kRecordSize; ++i)
        r.bytes[i] = static_cast<std::uint8_t>(bytes[i]);
    return r;
}

}  // namespace quelvari::fuzz
