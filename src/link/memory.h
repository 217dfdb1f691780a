// The instrument's memory, as the transfer dialog's left-hand frame shows it.
//
// Answer to "pI", data bytes from 0, little-endian, unsigned:
//   0-3   first memory word (kept, not shown)
//   4-7   total memory, MB            8-11  measuring series, MB
//   12-15 data base, MB               16    procedure number (0: no free place)
//   17-20 free memory, 512-byte blocks
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "link/link.h"

namespace quelvari::link {

inline constexpr std::size_t kMemoryAnswerSize = 21;

struct InstrumentMemory {
    std::uint32_t word0 = 0;
    std::uint32_t totalMb = 0;
    std::uint32_t seriesMb = 0;
    std::uint32_t databaseMb = 0;
    std::uint8_t procedureNumber = 0;
    std::uint32_t freeBlocks = 0;
    std::uint64_t freeBytes() const { return std::uint64_t{freeBlocks} * 512; }
};

// False when fewer than 21 data bytes came.
bool ParseMemoryAnswer(const std::uint8_t* data, std::size_t n, InstrumentMemory& memory);
std::vector<std::uint8_t> BuildMemoryAnswer(const InstrumentMemory& memory);

// The frame's fields by control id.
inline constexpr std::uint32_t kFieldTotal = 1461;
inline constexpr std::uint32_t kFieldFree = 1462;
inline constexpr std::uint32_t kFieldSeries = 1463;
inline constexpr std::uint32_t kFieldDatabase = 1464;
inline constexpr std::uint32_t kFieldNumber = 1465;

// The texts of the five fields: "%8ld MB", free as "%8ld kB" of blocks / 2,
// the number as "%4ld" or " voll" when 0.
struct MemoryTexts {
    std::string total, free, series, database, number;
};
MemoryTexts FormatMemory(const InstrumentMemory& memory);

// What the frame needs from the dialog.
class MemoryDisplay {
  public:
    virtual ~MemoryDisplay() = default;
    virtual void setField(std::uint32_t controlId, const std::string& text) = 0;
    // Procedure number 0: the start button stays disabled.
    virtual void disableStart() = 0;
    // The progress bar (1473) and the status line (1471) disappear.
    virtual void hideProgress() = 0;
};

// ShowInstrumentMemory: "???" while no instrument is connected, then "pI"
// (2 bytes, 1500 ms) in either case. An answer replaces `memory` and the
// figures; no answer leaves both as they were. Returns true when an answer
// came.
bool ShowInstrumentMemory(Link& link, InstrumentMemory& memory, MemoryDisplay& display);

}  // namespace quelvari::link
