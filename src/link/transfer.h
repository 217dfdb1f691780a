// The transfer of a checked test procedure into the instrument: the header
// request, then one block per 30 ms tick in three phases (procedure records,
// the interrupt procedures 1 to 4 that hold records, the pictures), each file
// closed by its write request and polled until the instrument has it on its
// card.
//
// Requests and blocks, data bytes of the answers numbered from 0:
//
//   "pPH" nr header[1824]                  1828  request, 1500 ms
//   "pPD" nr blkHi blkLo 1 record[800]      807  block
//   "pQD" nr irq blkHi blkLo 1 record[800]  808  block
//   "pBD" nr pic cntHi cntLo units data     8 + up to 1536, block
//   "pPW" nr                                  4  request, 8000 ms
//   "pQW" nr irq blocksHi blocksLo            7  request, 8000 ms
//   "pBW" nr pic cntHi cntLo                  7  request, 8000 ms
//   "pP?" "pQ?" "pB?"                         3  polls, 8000 ms
//
// Block numbers count from 1 and go big-endian. A picture block carries
// `units` 512-byte units (3 for 1024 bytes or more, 2 from 512, else 1) and
// the picture counter advances by the units.
//
// On USB the blocks are bulk writes. On the serial link every block is one
// acknowledged frame, paced like every other frame (100 ms from frame start
// to frame start) and sent once more after 550 ms when no ACK came.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "link/link.h"
#include "link/memory.h"
#include "model/record.h"

namespace quelvari::link {

inline constexpr std::size_t kHeaderBlockSize = 1824;
inline constexpr std::size_t kPictureBlockMax = 1536;
inline constexpr std::size_t kPictureHead = 8;
inline constexpr int kInterruptProcedures = 4;

// The waits of the transfer, in milliseconds.
struct TransferTiming {
    static constexpr std::uint32_t kTick = 30;  // one block per tick
    static constexpr std::uint32_t kHeader = 1500;
    static constexpr std::uint32_t kFinish = 8000;  // write request and each poll
    static constexpr std::uint32_t kPollPause = 200;
    static constexpr int kMaxPolls = 50;
    static constexpr std::uint32_t kEndWait = 100;
    static constexpr std::uint32_t kOpenPause = 200;  // after the dialog connected
};

struct TransferPicture {
    std::string path;  // as the procedure names it (Windows-1252)
    // Shown on the screen by some picture component: sent in the screen
    // format when fast presentation is on.
    bool screen = false;
};

// Everything that goes to the instrument.
struct TransferJob {
    std::array<std::uint8_t, kHeaderBlockSize> header{};
    std::vector<ComponentRecord> records;
    std::array<std::vector<ComponentRecord>, kInterruptProcedures> interrupts;
    std::vector<TransferPicture> pictures;
    // Need for temporary measuring series, kilobytes.
    std::uint32_t seriesKb = 0;
};

// A picture in the instrument's screen format, or false when it cannot be
// made. Filled above the core (the decoder lives with the image library).
using ScreenConverter =
    std::function<bool(const std::string& path, std::uint16_t model, std::vector<std::uint8_t>&)>;

struct TransferSettings {
    std::uint8_t number = 1;  // the procedure's place in the instrument
    std::uint16_t model = 0x6410;
    bool fastPictures = true;  // check box 1550
    ScreenConverter toScreen;  // empty: pictures go as their files are
};

enum class TransferPhase { kHeader, kProcedure, kInterrupt, kPicture, kDone };

// What the dialog or the command line shows. Called on the transferring thread.
class TransferObserver {
  public:
    virtual ~TransferObserver() = default;
    virtual void phase(TransferPhase, int /*interrupt or picture index*/) {}
    virtual void progressRange(int /*maximum*/) {}
    virtual void progress(int /*position*/) {}
    // The status line, Windows-1252.
    virtual void status(const std::string& /*text*/) {}
    // A picture cannot be opened; it is tried again on every tick.
    virtual void pictureMissing(const std::string& /*path*/) {}
};

struct TransferResult {
    int code = 0;  // 0 or a catalogue message number
    bool cancelled = false;
    int blocks = 0;  // blocks sent in all phases
    int picturesSent = 0;
};

// The memory the job takes in the instrument, as the dialog's right-hand frame
// shows it: every file counts in whole 512-byte blocks of the card.
struct MemoryNeed {
    std::uint64_t procedureBytes = 0;  // header, records and interrupt records
    std::uint64_t pictureBytes = 0;
    std::uint32_t seriesKb = 0;
    std::uint64_t total() const { return procedureBytes + pictureBytes; }
};
// `pictureSize` gives the bytes a picture will take (0 when it cannot be read).
MemoryNeed ComputeMemoryNeed(
    const TransferJob& job,
    const std::function<std::uint64_t(const TransferPicture&)>& pictureSize);

// The screen-format picture size, and the size a picture is sent with.
inline constexpr std::size_t kScreenBufferSize = 240000;
std::uint64_t SentPictureSize(const TransferPicture& picture, const TransferSettings& settings);

// The memory display before a start and after a transfer: "pI", asked once
// more when no answer came. False when neither was answered; the start then
// stops with 79, as the free memory is not known.
bool RefreshMemory(Link& link, InstrumentMemory& memory, MemoryDisplay& display);

// Steps 3 and 4 of the start: 78 when a second instrument is in the table, 82
// when the need exceeds the free memory, 83 when the measuring series do not
// fit the series memory. 0 otherwise.
int StartChecks(const Link& link, const InstrumentMemory& memory, const MemoryNeed& need);

// The requests and blocks as they go out.
std::vector<std::uint8_t> HeaderRequest(std::uint8_t number, const TransferJob& job);
std::vector<std::uint8_t> ProcedureBlock(std::uint8_t number, std::uint16_t block,
                                         const ComponentRecord& record);
std::vector<std::uint8_t> InterruptBlock(std::uint8_t number, int interrupt, std::uint16_t block,
                                         const ComponentRecord& record);
std::uint8_t PictureUnits(std::size_t dataBytes);

// The closing handshake of one file: kind 'P', 'Q' (interrupt `sub`, `blocks`
// sent) or 'B' (picture `sub`, counter `blocks`). 0 or 91.
int FinishFile(Link& link, char kind, std::uint8_t number, int sub, std::uint16_t blocks);

// Sends the header and runs the three phases on `link.clock`, one block per
// tick. The link's cancel token stops every wait; a cancelled or failed
// transfer releases the instrument ("W", 0). A picture that cannot be opened
// is tried again on every tick until it opens or the transfer is cancelled.
TransferResult RunTransfer(Link& link, const TransferJob& job, const TransferSettings& settings,
                           TransferObserver& observer);

// The picture counter after the last block of a picture of `bytes` (it starts
// at 1, advances by each block's units, and the closing request carries it).
constexpr std::uint64_t PictureCounterEnd(std::uint64_t bytes) {
    const std::uint64_t rest = bytes % kPictureBlockMax;
    return 1 + 3 * (bytes / kPictureBlockMax) +
           (rest == 0      ? 0
            : rest >= 1024 ? 3
            : rest >= 512  ? 2
                           : 1);
}
inline constexpr std::uint64_t kPictureCounterMax = 0xFFFF;
// The largest picture the 16-bit counter carries: 21844 full blocks and a
// last one of two units.
inline constexpr std::uint64_t kPictureBytesMax =
    (kPictureCounterMax - 1) / 3 * kPictureBlockMax + 1023;
static_assert(PictureCounterEnd(kPictureBytesMax) == kPictureCounterMax);
static_assert(PictureCounterEnd(kPictureBytesMax + 1) > kPictureCounterMax);

// A transfer as the dialog's start button and the command line run it:
// connect (unless connected) -> the file check and the job for the connected
// model -> the memory display ("pI") -> the start checks -> the header and the
// three phases -> the memory display again. Every refusal stops it before the
// first request of the transfer: the file check's code, 79 when "pI" is not
// answered, 78 a second instrument, 82 no free place (procedure number 0,
// " voll") or not enough free memory, 83 the measuring series, 79 a picture
// that the block counter cannot carry. A detail for the message is left in
// link.lastReason.
struct TransferOutcome {
    int code = 0;  // 0, a catalogue message number, or -99
    bool cancelled = false;
    TransferResult result;
    std::size_t records = 0;
    std::size_t interrupts = 0;  // interrupt procedures that held records
    // The memory display after the transfer.
    bool memoryAnswered = false;
    InstrumentMemory memory;
};
TransferOutcome TransferToInstrument(Link& link, const std::string& padPath,
                                     TransferSettings settings, MemoryDisplay& display,
                                     TransferObserver& observer);

}  // namespace quelvari::link
