// What a transfer sends, gathered from the procedure's files: the file check
// by instrument model, the job (header block, records, interrupt procedures,
// pictures) and the instrument's screen format for pictures.
//
// The file check needs the system file that an error-free syntax test in the
// instrument's check mode writes beside the procedure (its path with the last
// three characters replaced by "sys"). The transfer reads from it:
//
//   0     u32   version (35)
//   4     u16   check mode: 2 instrument PV6410, 3 instrument PV3320
//   10    u16   interrupt word, two bits per routine; 3 = routine of components
//   14    u16   number of picture files
//   28    u32   bytes of instrument memory for measuring series
//   256   60 x char[260]  picture paths
//
// The header block of "pPH" is the first 1824 bytes of the system file: the
// procedure's settings and memory configuration as the check found them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "link/transfer.h"
#include "model/system_file.h"

namespace quelvari::link {

// The model argument of the file check: 1 for PV6410, 2 for PV3320, -1 else.
int ModelArgument(std::uint16_t model);

// The file check: 0, or 72 (the procedure cannot be read), 85 (old format),
// 86 (an interrupt procedure in the old format), 90 (no current system file
// of a PV6410 check), 75 (the procedure was not checked for this model, or
// the model takes no transfer). A system file older than the procedure or one
// of its interrupt procedures counts as missing: the syntax test must run
// again. On success `job` holds everything to send.
int PrepareTransferJob(const std::string& padPath, int modelArgument, TransferJob& job);

// The instrument's screen: 400 x 300 pixels, two bytes each (RGB 5-6-5,
// little-endian), 240000 bytes. Unused pixels keep the preset: 0xFF bytes on
// the PV6410, the 32-bit value 0x7BDE7BDE on the others.
inline constexpr int kScreenWidth = 400;
inline constexpr int kScreenHeight = 300;
std::vector<std::uint8_t> ScreenPreset(std::uint16_t model);
// Puts a picture of `width` x `height` pixels (RGB, 3 bytes each, rows of
// `stride` bytes) at the top left of a preset screen; what lies outside the
// screen is cut.
std::vector<std::uint8_t> PackScreen(std::uint16_t model, int width, int height,
                                     const std::uint8_t* rgb, std::size_t stride);

}  // namespace quelvari::link
