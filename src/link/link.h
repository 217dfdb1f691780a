// The instrument link: one process-wide state with the serial link and the USB
// link behind the four operations every exchange with the instrument uses.
//
//   LinkConnect     0, 76 (serial port not opened), 79 (USB enumeration failed)
//   LinkDisconnect  closes the port or every USB device
//   LinkRequest     a LinkReply: its code is the answer count (data + 2), 0 no
//                   answer, -1 corrupt answer, 76 not delivered (serial), -99
//                   not sent twice (USB); its kind tells them apart
//   LinkSend        non-zero when the request went out and was acknowledged
//
// They go through one table (LinkBackend) chosen by linkKind: 0 serial, 1 USB;
// any other value is no link, and every operation then does nothing and
// returns 0. The simulated instrument sits beneath either backend.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "link/clock.h"
#include "link/serial_link.h"
#include "link/transport.h"
#include "link/usb_link.h"

namespace quelvari::link {

// One entry of the instrument table, filled by the identification.
struct InstrumentEntry {
    std::uint32_t present = 0;
    char name[32] = {};
    std::uint16_t model = 0;
    std::uint16_t word2 = 0;
    std::uint16_t word3 = 0;
    std::uint16_t word4 = 0;
    std::uint32_t long1 = 0;
    std::array<std::uint8_t, 8> byte1to8{};
    std::uint8_t byte9 = 0;
    std::uint16_t word5 = 0;
    std::uint16_t word6 = 0;
    std::array<std::uint8_t, 3> byte10to12{};
    std::uint8_t byte13 = 0;
};
inline constexpr int kInstrumentEntries = 6;
using InstrumentTable = std::array<InstrumentEntry, kInstrumentEntries>;

inline constexpr std::uint16_t kLinkSerial = 0;
inline constexpr std::uint16_t kLinkUsb = 1;

// The device the serial link opens: the path the user chose, else the
// system's port of the same number (COM1 is /dev/ttyS0).
std::string SerialDevicePath(std::uint8_t comPortIndex, const std::string& chosenDevice);

class Link {
  public:
    explicit Link(Clock& clock = SystemClock());
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    Clock& clock;
    // Every byte in and out passes here, whichever backend carries it.
    TracePoint tracePoint;
    LinkBuffers buf;
    SerialLink serial;
    UsbLink usb;
    InstrumentTable table;
    // Per slot: the last "W", 1, n was answered 0, 0.
    std::array<bool, kInstrumentEntries> selected{};

    std::uint16_t linkKind = kLinkUsb;
    std::uint8_t comPortIndex = 0;
    std::uint16_t baudIndex = 0;
    std::uint16_t slowLink = 0;
    std::string serialDevice;  // empty: SerialDevicePath's default

    // Set when a connect succeeded; the serial link clears it when it closes.
    bool instrumentConnected = false;
    std::uint16_t linkBusy = 0;
    // Why the last connect failed, in the system's words and what to do about
    // it (may be empty; lines end with "\n" between them).
    std::string lastReason;

    // Stops every wait of the link; null for none. The caller owns it.
    void setCancel(const CancelToken* token);
    const CancelToken* cancel() const { return cancel_; }

    // The beep for a NAK; may stay empty.
    std::function<void()> beep;

    // Hex dump of all traffic; null for none.
    void setTrace(Trace* trace);
    // Serial port factory; by default the system's port named by the settings.
    std::function<std::unique_ptr<Transport>()> makeSerialPort;

  private:
    const CancelToken* cancel_ = nullptr;
};

// The backend of the link's kind, or null for no link.
LinkBackend* Backend(Link& link);
// The instrument went away or the line failed for good, with the system's
// reason (ok when not).
LinkResult LinkFault(Link& link);
// What a message about the link should add below the catalogue text: the
// connect's reason, else the reason the device was lost. Empty when none.
std::string LinkDetail(Link& link);

int LinkConnect(Link& link);
void LinkDisconnect(Link& link);
// A reply that is no answer carries the backend's fault, when there is one.
LinkReply LinkRequest(Link& link, std::size_t length, std::uint32_t timeoutMs);
int LinkSend(Link& link, std::size_t length);

// The requests that the instrument's tools reach only through their USB
// functions (the memory query and the transfer's requests). On USB it is
// UsbRequest (control or bulk); on the serial link a framed request
// (SerialRequest). A block goes with LinkSend: UsbBulkWrite, or one
// acknowledged frame (SerialSendFrame). Other kinds give no answer, code 0.
LinkReply LinkBlockRequest(Link& link, std::size_t length, std::uint32_t timeoutMs, int viaBulk);

// Answer data byte i (receive buffer byte i + 1).
inline std::uint8_t AnswerByte(const Link& link, std::size_t i) {
    return link.buf.rx[i + 1];
}

}  // namespace quelvari::link
