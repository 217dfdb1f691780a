// The instrument session: connect, identify, select and release, and the
// answers they read.
//
// Identification answer ("V"), data bytes from 0, little-endian unless said:
//
//   0-1 model   2-3 word 2   4-5 word 3 (big-endian, the one exception)
//   6-7 word 6  8-9 word 5   10-11 word 4   12-15 long 1
//   16..26      byte 2, byte 1, byte 3..6, byte 10, byte 8, byte 7, byte 11, 12
//   27..        name, zero-terminated; then byte 13, byte 9
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "link/link.h"

namespace quelvari::link {

inline constexpr std::uint16_t kModel6410 = 0x6410;
inline constexpr std::uint16_t kModel3320 = 0x3320;
inline constexpr std::uint16_t kModel3310 = 0x3310;

// Fills `entry` from `n` answer data bytes. Returns 0, or 80 when the answer
// ends before the two bytes behind the name. Does not set present.
int ParseIdentification(const std::uint8_t* data, std::size_t n, InstrumentEntry& entry);
// The answer an instrument with `entry`'s fields gives to "V".
std::vector<std::uint8_t> BuildIdentification(const InstrumentEntry& entry);

// The waits of the session, in milliseconds.
struct SessionTiming {
    static constexpr std::uint32_t kIdentify = 1500;
    static constexpr std::uint32_t kAttention = 500;  // "Z"
    static constexpr std::uint32_t kSelect = 1500;    // "W", 1, n and "W", 0
    static constexpr std::uint32_t kSlotPause = 150;
};

// 0 or a message number (74, 76 to 81), or -99 when the USB request could not
// be sent.
int InstrumentConnect(Link& link);
int InstrumentIdentify(Link& link, int slot);
int InstrumentSelect(Link& link, int n);
void InstrumentRelease(Link& link, int n);
// "W", 0 to every present instrument, then the link closes.
void ReleaseAllAndDisconnect(Link& link);

}  // namespace quelvari::link
