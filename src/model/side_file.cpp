#include "model/side_file.h"

#include "model/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace quelvari {

namespace {

constexpr std::string_view kCommentMarker = "[COMMENT]\r\n";
constexpr std::string_view kTextMarker = "[TEXT]\r\n";
constexpr std::string_view kVarMarker = "[VAR]\r\n";
constexpr std::string_view kCrLf = "\r\n";

// Upper case of a Windows-1252 byte: ASCII and the Latin-1 letters.
unsigned char foldCase(unsigned char c) {
    if (c >= 'a' && c <= 'z')
        return static_cast<unsigned char>(c - 32);
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7)
        return static_cast<unsigned char>(c - 32);
    return c;
}

int compareNoCase(std::string_view a, std::string_view b) {
    const std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned char x = foldCase(static_cast<unsigned char>(a[i]));
        const unsigned char y = foldCase(static_cast<unsigned char>(b[i]));
        if (x != y)
            return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool endsWithNoCase(std::string_view s, std::string_view suffix) {
    return s.size() >= suffix.size() &&
           compareNoCase(s.substr(s.size() - suffix.size()), suffix) == 0;
}

std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

bool IsProcedureFileName(std::string_view path) {
    const std::size_t slash = path.find_last_of('/');
    const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    for (std::string_view ext : {".PAD", ".PAM", ".IR1", ".IR2", ".IR3", ".IR4"})
        if (endsWithNoCase(name, ext))
            return true;
    return false;
}

std::string SideFilePath(const std::string& procedurePath) {
    const std::size_t at = procedurePath.find(".PAD");
    if (at != std::string::npos) {
        std::string side = procedurePath;
        side.replace(at, 4, ".TXT");
        if (!IsProcedureFileName(side))
            return side;
    }
    // The file's own extension, with its case kept letter by letter.
    if (endsWithNoCase(procedurePath, ".pad")) {
        std::string side = procedurePath;
        const std::size_t ext = side.size() - 3;
        const char upper[] = "TXT";
        for (std::size_t i = 0; i < 3; ++i) {
            const bool lower = side[ext + i] >= 'a' && side[ext + i] <= 'z';
            side[ext + i] = lower ? static_cast<char>(upper[i] + 32) : upper[i];
        }
        return side;
    }
    return procedurePath + ".TXT";
}

std::size_t VariableLines::add(std::string line) {
    auto it = std::upper_bound(
        lines_.begin(), lines_.end(), line,
        [](const std::string& a, const std::string& b) { return compareNoCase(a, b) < 0; });
    const auto pos = static_cast<std::size_t>(it - lines_.begin());
    lines_.insert(it, std::move(line));
    return pos;
}

void VariableLines::removeAt(std::size_t index) {
    if (index < lines_.size())
        lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(index));
}

std::optional<std::size_t> VariableLines::findPrefix(std::string_view prefix) const {
    for (std::size_t i = 0; i < lines_.size(); ++i)
        if (lines_[i].size() >= prefix.size() &&
            compareNoCase(std::string_view(lines_[i]).substr(0, prefix.size()), prefix) == 0)
            return i;
    return std::nullopt;
}

SideFileContent ParseSideFile(std::string_view data) {
    // The reader works on a zero-terminated buffer: a zero byte ends the data.
    if (const std::size_t nul = data.find('\0'); nul != std::string_view::npos)
        data = data.substr(0, nul);
    SideFileContent c;
    const std::size_t comment = data.find(kCommentMarker);
    const std::size_t text = data.find(kTextMarker);
    if (comment != std::string_view::npos) {
        const std::size_t begin = comment + kCommentMarker.size();
        // Without a text marker the comment is its one line.
        std::size_t end =
            text != std::string_view::npos && text >= 2 ? text - 2 : data.find(kCrLf, begin);
        if (end == std::string_view::npos)
            end = data.size();
        if (end > begin)
            c.comment = std::string(data.substr(begin, end - begin));
    }
    std::size_t var = std::string_view::npos;
    if (text != std::string_view::npos) {
        const std::size_t begin = text + kTextMarker.size();
        var = data.find(kVarMarker, begin);
        const std::size_t end = var == std::string_view::npos ? data.size() : var - 2;
        if (end > begin && end != std::string_view::npos)
            c.text = std::string(data.substr(begin, end - begin));
    } else {
        var = data.find(kVarMarker);
    }
    if (var != std::string_view::npos) {
        std::size_t at = var + kVarMarker.size();
        while (at < data.size()) {
            const std::size_t cr = data.find('\r', at);
            const std::size_t end = cr == std::string_view::npos ? data.size() : cr;
            c.variables.add(std::string(data.substr(at, end - at)));
            const std::size_t lf = data.find('\n', end);
            if (lf == std::string_view::npos)
                break;
            at = lf + 1;
        }
    }
    return c;
}

std::string SerializeSideFile(const SideFileContent& content) {
    std::string out;
    out.reserve(64 + content.comment.size() + content.text.size() + 40 * content.variables.size());
    out += kCommentMarker;
    out += std::string_view(content.comment).substr(0, kSideCommentMax);
    out += kCrLf;
    out += kTextMarker;
    out += std::string_view(content.text).substr(0, kSideTextMax);
    out += kCrLf;
    out += kVarMarker;
    for (const std::string& line : content.variables.lines()) {
        out += line;
        out += kCrLf;
    }
    return out;
}

std::size_t SideFileExcess(const SideFileContent& content) {
    std::size_t excess = 0;
    if (content.comment.size() > kSideCommentMax)
        excess += content.comment.size() - kSideCommentMax;
    if (content.text.size() > kSideTextMax)
        excess += content.text.size() - kSideTextMax;
    // The size of the file as written (after those cuts).
    const std::size_t size = SerializeSideFile(content).size();
    if (size > kSideFileReadLimit)
        excess += size - kSideFileReadLimit;
    return excess;
}

std::size_t SideTextRoom(const SideFileContent& content) {
    SideFileContent rest = content;
    rest.text.clear();
    const std::size_t used = SerializeSideFile(rest).size();
    if (used >= kSideFileReadLimit)
        return 0;
    return std::min(kSideTextMax, kSideFileReadLimit - used);
}

SideFileLoad LoadSideFile(const std::string& sideFilePath) {
    SideFileLoad load;
    std::string data;
    load.status = ReadRegularFile(sideFilePath, kSideFileReadLimit, data, kErrFileOpen);
    if (load.status.ok()) {
        load.found = true;
        load.content = ParseSideFile(data);
    }
    struct stat st {};
    const bool exists = ::lstat(sideFilePath.c_str(), &st) == 0;
    if (load.found) {
        // Opening for writing without creating or truncating anything.
        const int fd = ::open(sideFilePath.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        load.writable = fd >= 0;
        if (fd >= 0)
            ::close(fd);
    } else if (!exists && load.status.sysError == ENOENT) {
        load.status = {};
        load.writable = ::access(directoryOf(sideFilePath).c_str(), W_OK | X_OK) == 0;
    }
    return load;
}

int SaveSideFile(const std::string& sideFilePath, const SideFileContent& content) {
    // A procedure is never taken for its own description.
    if (IsProcedureFileName(sideFilePath))
        return kSideFileWriteError;
    const std::string bytes = SerializeSideFile(content);
    const Status status = WriteFileAtomically(sideFilePath, bytes.data(), bytes.size());
    return status.ok() ? 0 : kSideFileWriteError;
}

Status UpdateSideFile(const std::string& sideFilePath,
                      const std::function<void(SideFileContent&)>& change, std::size_t* excess) {
    if (excess)
        *excess = 0;
    if (IsProcedureFileName(sideFilePath))
        return Status::refused(kErrFileWrite, sideFilePath + ": names a procedure file");
    // The lock is taken before the read, so that the content changed here is
    // the one no other writer replaces meanwhile.
    return LockedUpdate(sideFilePath, kErrFileWrite, [&]() -> Status {
        SideFileLoad load = LoadSideFile(sideFilePath);
        if (!load.status.ok())
            return Status{kErrFileWrite, 0, load.status.sysError, load.status.description};
        if (!load.writable)
            return Status::system(kErrFileWrite, EACCES, sideFilePath);
        change(load.content);
        if (const std::size_t over = SideFileExcess(load.content); over > 0) {
            if (excess)
                *excess = over;
            return Status::refused(kErrFileWrite, sideFilePath + ": " + std::to_string(over) +
                                                      " characters too many to load back whole");
        }
        const std::string bytes = SerializeSideFile(load.content);
        return WriteFileAtomically(sideFilePath, bytes.data(), bytes.size());
    });
}

std::string FormatVariableLine(std::string_view name, std::optional<int> number,
                               std::string_view description) {
    std::string line(name);
    if (line.size() < 7)
        line.resize(7, ' ');
    line += number ? "(" + std::to_string(*number) + ")" : std::string("(?)");
    line += "          ";
    // The description is printed over the line from position 16, whatever
    // stood there (a long name and number lose their end to it).
    line.resize(kVariableDescriptionColumn);
    line += description;
    return line;
}

VariableEntry ParseVariableLine(std::string_view line) {
    VariableEntry e;
    std::size_t at = line.find(' ');
    if (at == std::string_view::npos)
        at = line.size();
    std::size_t paren = line.substr(0, at).find('(', 1);
    if (paren != std::string_view::npos)
        at = paren;
    e.name = std::string(line.substr(0, at));
    while (at < line.size() && line[at] == ' ')
        ++at;
    if (at < line.size() && line[at] == '(') {
        std::size_t digits = at + 1;
        int value = 0;
        bool any = false;
        while (digits < line.size() && line[digits] >= '0' && line[digits] <= '9' &&
               value < 100000000) {
            value = value * 10 + (line[digits] - '0');
            any = true;
            ++digits;
        }
        if (any)
            e.number = value;
        while (at < line.size() && line[at] != ' ')
            ++at;
        while (at < line.size() && line[at] == ' ')
            ++at;
        e.description = std::string(line.substr(at));
    } else {
        e.description = std::string(line.substr(at));
    }
    return e;
}

std::string ChangedVariableLine(std::string_view oldLine, std::string_view name,
                                std::string_view description) {
    const VariableEntry old = ParseVariableLine(oldLine);
    const std::optional<int> number = name == old.name ? old.number : std::nullopt;
    return FormatVariableLine(name, number, description);
}

std::size_t ChangeVariable(VariableLines& list, std::size_t index, std::string_view name,
                           std::string_view description) {
    std::string line = ChangedVariableLine(list[index], name, description);
    list.removeAt(index);
    return list.add(std::move(line));
}

std::optional<std::size_t> DeleteVariable(VariableLines& list, std::size_t index) {
    list.removeAt(index);
    if (index >= list.size())
        return std::nullopt;
    return list.findPrefix(list[index]);
}

}  // namespace quelvari
