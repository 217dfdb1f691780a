// Small readers the syntax test needs: the variables a condition names, the
// record offsets of the payloads it looks at, and the facts it takes from a
// picture file's header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quelvari {

// Payload offsets (record offsets) of the component types the checks read.
namespace lay {
// Measuring component `M`.
inline constexpr std::size_t kMeasureMode = 88;  // `M`, `S` or `T`
inline constexpr std::size_t kMeasureSaveFile = 89;
inline constexpr std::size_t kMeasureList = 90;  // 3-byte entries, ended by 0
inline constexpr std::size_t kMeasureListEnd = 152;
inline constexpr std::size_t kMeasureCount = 160;  // u32
inline constexpr std::size_t kMeasureTrigger = 172;
inline constexpr std::size_t kMeasureTrigger2 = 185;
// Interrupt component `I`: four entries of 8 bytes.
inline constexpr std::size_t kInterruptEntries = 88;
inline constexpr std::size_t kInterruptEntrySize = 8;
inline constexpr std::size_t kInterruptState = 0;  // 0 none, 1 enable, 2 disable
inline constexpr std::size_t kInterruptKind = 1;   // `B` components, `C` external
inline constexpr std::size_t kInterruptBase = 2;   // 0 ms, 1 s
inline constexpr std::size_t kInterruptTime = 6;   // u16
// Break component `u`.
inline constexpr std::size_t kBreakReference = 88;     // letter, number
inline constexpr std::size_t kBreakRegistration = 91;  // letter, number
// Section component `C`.
inline constexpr std::size_t kSectionKind = 88;  // 0 first, 1 middle, 2 last
inline constexpr std::size_t kSectionReference = 89;
inline constexpr std::size_t kSectionName = 92;
inline constexpr std::size_t kSectionNameSize = 41;
inline constexpr std::size_t kSectionIdent = 136;
// Module component `U`.
inline constexpr std::size_t kModuleName = 88;
inline constexpr std::size_t kModuleNameSize = 31;
// Command component `D`.
inline constexpr std::size_t kCommandLines = 96;
inline constexpr std::size_t kCommandLineSize = 56;
inline constexpr int kCommandLineCount = 4;
// Picture component `p`.
inline constexpr std::size_t kPictureFile = 112;
inline constexpr std::size_t kPictureFileSize = 260;
// Interbus-S component `i`: function at 88.
inline constexpr std::size_t kInterbusFunction = 88;  // `Z` cycle, `I` initialise, `R` reset
}  // namespace lay

// A variable as a record names it: class letter and number.
struct VariableRef {
    char letter = 0;
    int number = 0;
};

// The variables a stored condition names, in the grammar the editors accept:
// [`!`] variable [operator operand], the operand a quoted text, a variable or
// a number; the key words and "1" name none. Writes at most two variables to
// `out` and returns how many.
int ConditionVariables(std::string_view condition, VariableRef out[2]);

// What the syntax test learns from a picture file: its size and, for a
// bitmap, the bits per pixel of its header.
struct PictureInfo {
    bool found = false;
    long size = 0;
    bool bitmap = false;   // starts with "BM"
    bool jpeg = false;     // starts with FF D8
    int bitsPerPixel = 0;  // bitmaps only
};
PictureInfo ProbePicture(const std::string& path);

// True when a command line of a command component is a transfer command of
// the runtime's memory ("SAVE -m123 -Sxx" or "SAVE -irx123 -Sxx"), and
// `wellFormed` tells whether it has one of these two forms.
bool IsTransferCommand(std::string_view line, bool& wellFormed);

}  // namespace quelvari
