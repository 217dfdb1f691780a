// The byte transport under the instrument link: one small interface that the
// serial port, the simulated instrument and the tests' scripted peers all
// implement. The frame layer only ever sees this interface.
//
// Every byte read or written passes Transport::read/write, which hand it to the
// trace point when one is set, so a hex dump of both directions comes free.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "link/clock.h"

namespace quelvari::link {

// What went wrong below the protocol. Each backend turns its system's error
// numbers into one of these in a single function.
enum class LinkStatus {
    kOk,
    kTimeout,      // nothing arrived in time
    kIo,           // the system reported a read or write error
    kNoDevice,     // the device does not exist or went away
    kNoAccess,     // the device exists but may not be opened by this user
    kBusy,         // another program holds the device
    kInvalid,      // bad argument or the transport is closed
    kUnsupported,  // the operation does not apply to this device (modem lines on a pty)
};
const char* LinkStatusName(LinkStatus status);

// A status with the system's own explanation, for messages.
struct LinkResult {
    LinkStatus status = LinkStatus::kOk;
    std::string reason;  // empty when status is kOk
    bool ok() const { return status == LinkStatus::kOk; }
};

// Hex dump of the traffic: one line per call, direction, time and the bytes.
class Trace {
  public:
    explicit Trace(std::FILE* out) : out_(out) {}
    void bytes(char direction, std::uint64_t timeMs, const std::uint8_t* data, std::size_t n);
    void note(std::uint64_t timeMs, const std::string& text);

  private:
    std::FILE* out_;
};

class Transport {
  public:
    virtual ~Transport() = default;

    // Reads up to `n` bytes, waiting at most `timeoutMs` for the first one.
    LinkStatus read(std::uint8_t* data, std::size_t n, std::size_t& got, int timeoutMs);
    // Writes `n` bytes; `written` tells how many went out.
    LinkStatus write(const std::uint8_t* data, std::size_t n, std::size_t& written);

    virtual LinkResult open() = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    // How many received bytes wait to be read.
    virtual std::size_t bytesWaiting() = 0;
    // Drops everything received and not yet read.
    virtual void purgeInput() = 0;
    // Data terminal ready and request to send.
    virtual LinkStatus setModemLines(bool dtr, bool rts) = 0;
    // Waits at most `maxMs` (on `clock`) for a byte to arrive; returns true when
    // one waits. The default polls in steps of 1 ms on the clock.
    virtual bool waitReadable(Clock& clock, std::uint32_t maxMs);

    void setTrace(Trace* trace, Clock* clock) {
        trace_ = trace;
        traceClock_ = clock;
    }

  protected:
    virtual LinkStatus doRead(std::uint8_t* data, std::size_t n, std::size_t& got,
                              int timeoutMs) = 0;
    virtual LinkStatus doWrite(const std::uint8_t* data, std::size_t n, std::size_t& written) = 0;

  private:
    Trace* trace_ = nullptr;
    Clock* traceClock_ = nullptr;
};

}  // namespace quelvari::link
