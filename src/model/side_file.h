// The description side file beside a test procedure: a short comment, a free
// description text and a list of the procedure's variables, each with a
// description. 8-bit text (Windows-1252) with CR LF line ends:
//
//   [COMMENT]\r\n
//   <comment, at most 99 characters>\r\n
//   [TEXT]\r\n
//   <text, at most 19999 characters, its own line ends CR LF>\r\n
//   [VAR]\r\n
//   <one variable line per entry>\r\n ...
//
// A variable line: the name left-aligned in 7 columns (longer names are not
// cut), "(number)" or "(?)" when the number is not known, blanks, and the
// description from column 16 on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/status.h"

namespace quelvari {

inline constexpr std::size_t kSideFileReadLimit = 20000;
inline constexpr std::size_t kSideCommentMax = 99;
inline constexpr std::size_t kSideTextMax = 19999;
inline constexpr std::size_t kVariableDescriptionColumn = 16;
// Own text: "%d characters too long to be read back whole".
inline constexpr std::uint32_t kTextSideFileTooLong = 60900;
// Own text: "%d characters left" beside the description text.
inline constexpr std::uint32_t kTextSideTextRoom = 60902;
// Own text: a text file of more than "%d" bytes, which no description holds.
inline constexpr std::uint32_t kTextTextFileTooLong = 60903;
// Error code of a failed save: catalogue message 92, file write error.
inline constexpr int kSideFileWriteError = 92 << 8;

// The side file of `procedurePath`: the first ".PAD" replaced by ".TXT". The
// result never names a procedure file: when that rule gives nothing (no
// ".PAD" in the path) or a name with a procedure extension (".PAD" in a
// directory name), the file's own extension is replaced instead when it is
// ".pad" in any case (keeping the case: "x.pad" gives "x.txt"), and otherwise
// ".TXT" is appended ("m.PAM" gives "m.PAM.TXT").
std::string SideFilePath(const std::string& procedurePath);

// True when the extension of `path` is one of a procedure file (.PAD, .PAM,
// .IR1 to .IR4) in any case.
bool IsProcedureFileName(std::string_view path);

// A sorted list of variable lines, ordered as the dialog's list box orders
// them: without regard to case; a line equal to others goes behind them.
class VariableLines {
  public:
    const std::vector<std::string>& lines() const { return lines_; }
    std::size_t size() const { return lines_.size(); }
    bool empty() const { return lines_.empty(); }
    const std::string& operator[](std::size_t i) const { return lines_[i]; }
    // Inserts in order and returns the position.
    std::size_t add(std::string line);
    void removeAt(std::size_t index);
    void clear() { lines_.clear(); }
    // The position of the first line that starts with `prefix` (without regard
    // to case), as a list box selects by text.
    std::optional<std::size_t> findPrefix(std::string_view prefix) const;

  private:
    std::vector<std::string> lines_;
};

struct SideFileContent {
    std::string comment;
    std::string text;
    VariableLines variables;
};

// Splits the data of a side file (already cut to the read limit). The
// comment runs from the line after "[COMMENT]\r\n" to 2 characters before
// "[TEXT]\r\n"; the text from the line after "[TEXT]\r\n" to 2 characters
// before "[VAR]\r\n", or to the end of the data without that marker; the
// variable lines follow "[VAR]\r\n", each up to its CR. The data counts up to
// its first zero byte.
SideFileContent ParseSideFile(std::string_view data);

// The bytes Save writes: comment cut to 99 and text to 19999 characters.
std::string SerializeSideFile(const SideFileContent& content);

// How many characters must go before `content` can be saved so that its file
// loads back whole: the comment beyond 99 and the text beyond 19999
// characters (a save would cut them) and every byte by which the file would
// pass the 20000 bytes a load reads (a line break of the text is two bytes).
// 0 when the content fits.
std::size_t SideFileExcess(const SideFileContent& content);

// The most characters the description text can have beside the comment and
// the variable lines of `content` (at most 19999).
std::size_t SideTextRoom(const SideFileContent& content);

struct SideFileLoad {
    SideFileContent content;
    bool found = false;     // the file could be read
    bool writable = false;  // it can be opened for writing (or created)
    // Why the file could not be read: a missing file leaves it ok; a FIFO, a
    // device, a directory or a dangling link carries message 93 and the reason.
    Status status;
};

// Reads at most 20000 bytes of `sideFilePath` (a regular file only) and tries
// whether the file can be opened for writing (a missing file counts as
// writable when its directory takes a new file; anything else at the path
// that is not a regular file as not writable).
SideFileLoad LoadSideFile(const std::string& sideFilePath);

// One read-modify-write of the side file under its lock: loads it, lets
// `change` edit the content and saves it, while every other writer of the same
// side file waits. Refused with message 92 when the file is not writable, and
// when the changed content would not load back whole: then `excess` (when
// given) says how many characters must go. Nothing is written on a refusal.
Status UpdateSideFile(const std::string& sideFilePath,
                      const std::function<void(SideFileContent&)>& change,
                      std::size_t* excess = nullptr);

// Writes the side file safely: a temporary file beside it, renamed over it
// only when every byte reached the disk; the old file is untouched on any
// failure. Refuses a path with a procedure extension. Returns 0 or
// kSideFileWriteError.
int SaveSideFile(const std::string& sideFilePath, const SideFileContent& content);

// One variable line: "%-7s(%d)          " or "%-7s(?)          ", with the
// description printed over it from position 16.
std::string FormatVariableLine(std::string_view name, std::optional<int> number,
                               std::string_view description);

// A variable line taken apart as Change reads it: the name up to the first
// blank, the number after "(" (none for "(?)"), the description after the
// blanks that follow the number. A name of seven characters or more meets its
// "(" without a blank; the name ends there.
struct VariableEntry {
    std::string name;
    std::optional<int> number;
    std::string description;
    bool operator==(const VariableEntry&) const = default;
};
VariableEntry ParseVariableLine(std::string_view line);

// Change: the new line for `oldLine` after the dialog returned `name` and
// `description`. A changed name loses the number ("(?)"); an unchanged one
// keeps it.
std::string ChangedVariableLine(std::string_view oldLine, std::string_view name,
                                std::string_view description);

// Change on the list: replaces line `index` and returns the new line's
// position. Delete: removes line `index` and returns the line to select, the
// one that now stands at that position (found by its text), or nothing.
std::size_t ChangeVariable(VariableLines& list, std::size_t index, std::string_view name,
                           std::string_view description);
std::optional<std::size_t> DeleteVariable(VariableLines& list, std::size_t index);

}  // namespace quelvari
