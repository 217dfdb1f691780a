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

namespace quelvari {

// Check mode, kept in the system block at offset 4.
enum CheckMode : std::uint16_t {
    kCheckTarvisel = 0,  // PC runtime
    kCheckLumo = 1,      // older DOS runtime
    kCheckPv6410 = 2,    // instrument PV6410
    kCheckPv3320 = 3,    // instrument PV3320
};

inline bool isInstrumentMode(std::uint16_t mode) {
    return mode == kCheckPv6410 || mode == kCheckPv3320;
}

// The system block, written whole to the system file.
inline constexpr std::size_t kSystemBlockSize = 24636;
inline constexpr std::uint32_t kSystemBlockVersion = 35;

// System block layout (byte offsets). Only the version word and the check mode
// have a meaning fixed outside this program; the rest is what the checks fill.
namespace sysblk {
inline constexpr std::size_t kVersion = 0;          // u32, 35
inline constexpr std::size_t kMode = 4;             // u16, check mode
inline constexpr std::size_t kInterrupts = 10;      // u16, two bits per routine (see below)
inline constexpr std::size_t kModuleCount = 12;     // u16, distinct modules called
inline constexpr std::size_t kPictureCount = 14;    // u16, distinct picture files
inline constexpr std::size_t kSectionCount = 16;    // u16, section components
inline constexpr std::size_t kChannelCount = 18;    // u16, distinct measured variables
inline constexpr std::size_t kProcedureBytes = 20;  // u32, records of all files x 800
inline constexpr std::size_t kPictureBytes = 24;    // u32, sum of the picture file sizes
inline constexpr std::size_t kMeasureBytes = 28;    // u32, instrument memory for measurements
inline constexpr std::size_t kVariableCount = 32;   // u16, distinct Z, W, S and B variables
inline constexpr std::size_t kChannels = 64;        // 36 x (letter, second letter, number)
inline constexpr std::size_t kChannelEntry = 3;
inline constexpr std::size_t kPictures = 256;  // 60 x char[260], picture paths
inline constexpr std::size_t kPictureEntry = 260;
inline constexpr std::size_t kSections = 16000;  // 100 x (u16 step, u8 kind, char[41] name)
inline constexpr std::size_t kSectionEntry = 44;
static_assert(kPictures + 60 * kPictureEntry <= kSections);
static_assert(kSections + 100 * kSectionEntry <= kSystemBlockSize);
}  // namespace sysblk

// Interrupt word (system block offset 10): routine n (1..4) owns bits
// 2(n-1) and 2(n-1)+1. The low bit is set when some interrupt component
// enables the routine, the high bit when it is enabled as a routine built of
// components. Both bits set (3) means its interrupt procedure is checked.
inline constexpr std::uint16_t kInterruptEnabled = 1;
inline constexpr std::uint16_t kInterruptComponentRoutine = 2;

// Limits of the checks.
inline constexpr int kMaxPictures = 60;
inline constexpr long kMaxPictureBytesPv6410 = 1000000;  // decimal, not 1 MiB
inline constexpr int kMaxBitsPerPixel = 4;
inline constexpr int kMaxModuleComponents = 32;
inline constexpr int kMaxSections = 100;
inline constexpr int kMaxInterruptComponents = 30;
inline constexpr int kMaxVariables = 96;
inline constexpr int kMaxChannels = 36;
inline constexpr unsigned kMaxInterruptMs = 5000;

struct SyntaxTestResult {
    // The protocol, one entry per list-box line, in Windows-1252.
    std::vector<std::string> lines;
    // Findings counted, modulo 256 (the warnings 8058 and 8090 are not counted).
    std::uint8_t errorCount = 0;
    // Ok, or a catalogue error: 64 (not a .PAD name), 93 (the procedure, a
    // module or an interrupt procedure cannot be read to its end; no verdict),
    // 92 (the system file could not be written; the protocol is complete),
    // with the system's reason.
    Status fileError;
    bool systemFileWritten = false;
    std::string systemFilePath;
};

// True when the last four characters of `path` are ".PAD" in any case.
bool IsPadFileName(std::string_view path);
// The procedure's path with its last three characters replaced by "sys".
std::string SystemFilePath(const std::string& padPath);

// Runs the whole test on `padPath` for `checkMode` (0..3). Texts come in the
// current language.
SyntaxTestResult RunSyntaxTest(const std::string& padPath, std::uint16_t checkMode);

}  // namespace quelvari
