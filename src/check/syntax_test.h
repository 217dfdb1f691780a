// The syntax test: checks a whole test procedure (.PAD), the modules it calls
// (.PAM) and the interrupt procedures it uses (.IR1 to .IR4) for one place of
// use, lists every finding in a protocol and, when no error was counted, writes
// the procedure's system file.
//
// This is the core of the syntax-test dialog: the dialog shows `lines` in its
// list box; the command-line tool prints them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/status.h"
#include "model/system_file.h"

namespace quelvari {

class ProcedureList;

// Interrupt word (system block offset 10): routine n (1..4) owns bits
// 2(n-1) and 2(n-1)+1. The low bit is set when some interrupt component
// enables the routine, the high bit when it is enabled as a routine built of
// components. Both bits set (3) means its interrupt procedure is checked.
inline constexpr std::uint16_t kInterruptEnabled = 1;
inline constexpr std::uint16_t kInterruptComponentRoutine = 2;

// Limits of the checks.
inline constexpr long kMaxPictureBytesPv6410 = 1000000;  // decimal, not 1 MiB
inline constexpr int kMaxBitsPerPixel = 4;
inline constexpr int kMaxModuleComponents = 32;
inline constexpr int kMaxSections = 100;
inline constexpr int kMaxInterruptComponents = 30;
inline constexpr int kMaxVariables = 96;
inline constexpr int kMaxChannels = 36;
inline constexpr unsigned kMaxInterruptMs = 5000;

// The files one run looks at, in the order the protocol lists them.
enum class CheckedFileKind : std::uint8_t { Procedure, Module, Interrupt };
struct CheckedFile {
    CheckedFileKind kind = CheckedFileKind::Procedure;
    int interrupt = 0;  // 1..4 for an interrupt procedure
    std::string name;   // as listed under its header ("TEST.PAD", "NAME.PAM", "TEST.IR1")
    std::string path;   // where it was looked for
};

// One finding of the syntax test.
struct SyntaxFinding {
    int textId = 0;        // 8001..8090, a text of the text tables
    std::size_t file = 0;  // index into SyntaxTestResult::files
    int step = 0;          // step in that file being checked when it was found
    std::string detail;    // Windows-1252; listed on a line of its own when not empty
    bool counted = true;   // false for the warnings 8058 and 8090
    int figure = 0;        // 8022: how many dBASE files with more than 16 fields
    // 8007, 8008, 8011 and 8025 concern a file as a whole and are listed
    // without a step number.
    bool wholeFile() const;
};

// What a run without counted errors lists under "***** Test procedure OK *****".
struct SyntaxSummary {
    std::vector<std::string> pictures;  // picture files, first use first
    std::uint64_t procedureBytes = 0;   // records of all files checked, 800 bytes each
    std::uint64_t pictureBytes = 0;
    std::uint64_t measureBytes = 0;     // instrument memory of the memory measurements
    std::uint64_t databaseBytes = 0;    // instrument memory of the database components
    std::vector<std::string> channels;  // measured variables, "A1", "FR3"
    struct Section {
        int step = 0;
        std::string name;
    };
    std::vector<Section> sections;
};

struct SyntaxTestResult {
    std::uint16_t checkMode = kCheckTarvisel;
    std::string procedureName;  // file name of the procedure, without directory
    std::string directory;      // absolute directory of the procedure
    std::vector<CheckedFile> files;
    std::vector<SyntaxFinding> findings;
    // Findings counted, modulo 256 as the program shows and acts on it (the
    // warnings 8058 and 8090 are not counted). 256 findings read as 0.
    std::uint8_t errorCount = 0;
    // The same count without the wrap.
    std::size_t countedFindings = 0;
    SyntaxSummary summary;  // filled when errorCount is 0
    // Ok, or a catalogue error: 64 (not a .PAD name), 93 (the procedure, a
    // module or an interrupt procedure cannot be read to its end; no verdict),
    // 92 (the system file could not be written; the protocol is complete),
    // with the system's reason.
    Status fileError;
    bool systemFileWritten = false;
    std::string systemFilePath;
    // The protocol rendered in the language current when the run ended.
    std::vector<std::string> lines;
};

// The protocol lines of `result` in the current language, one entry per
// list-box line, in Windows-1252: the head, each file's header and findings,
// then the error count or the OK line and the summary.
std::vector<std::string> RenderProtocol(const SyntaxTestResult& result);
// The one or two lines of a single finding, as the protocol lists it.
std::vector<std::string> RenderFinding(const SyntaxFinding& finding);

// The text id of every finding the test can report.
const std::vector<int>& SyntaxFindingTextIds();

// True when the last four characters of `path` are ".PAD" in any case.
bool IsPadFileName(std::string_view path);
// True when the last four characters of `path` are ".PAM" in any case.
bool IsModuleFileName(std::string_view path);

// Runs the whole test on `padPath` for `checkMode` (0..3) and, when no error
// was counted, writes the system file. Texts come in the current language.
SyntaxTestResult RunSyntaxTest(const std::string& padPath, std::uint16_t checkMode);

// The same checks on the procedure held in `list`, saved or not, for the
// editor's pre-check: every component check and whole-procedure rule runs on
// the records in memory, the modules and interrupt procedures are read from
// beside `padPath` (the path the procedure has or will have; empty for a
// procedure never saved, whose modules are then all missing). No file is
// written and `padPath` need not exist. A `padPath` ending in ".PAM" is a
// module: its records get the module rules, as when a procedure calls it.
SyntaxTestResult RunSyntaxTestInMemory(const ProcedureList& list, const std::string& padPath,
                                       std::uint16_t checkMode);

}  // namespace quelvari
