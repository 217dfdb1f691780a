// The system file: what a syntax test without errors writes beside the
// procedure and what the transfer reads back (the procedure's header block,
// the check mode, the interrupts, the pictures to send). One block of
// kSystemBlockSize bytes, little-endian fields at the offsets below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

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

// Picture paths the block has room for.
inline constexpr int kMaxPictures = 60;

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
inline constexpr std::size_t kPictures = 256;  // kMaxPictures x char[260], picture paths
inline constexpr std::size_t kPictureEntry = 260;
inline constexpr std::size_t kSections = 16000;  // 100 x (u16 step, u8 kind, char[41] name)
inline constexpr std::size_t kSectionEntry = 44;
static_assert(kPictures + kMaxPictures * kPictureEntry <= kSections);
static_assert(kSections + 100 * kSectionEntry <= kSystemBlockSize);
}  // namespace sysblk

// The procedure's path with its last three characters replaced by "sys".
std::string SystemFilePath(const std::string& padPath);

}  // namespace quelvari
