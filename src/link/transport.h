// The byte transport under the instrument link: one small interface that the
// serial port, the simulated instrument and the tests' scripted peers all
// implement. The frame layer only ever sees this interface.
//
// Every byte read or written passes Transport::read/write, which hand it to the
// link's trace point, so a hex dump of both directions comes free.
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

// A status with the system's own explanation, for messages.
struct LinkResult {
    LinkStatus status = LinkStatus::kOk;
    std::string reason;  // empty when status is kOk
    bool ok() const { return status == LinkStatus::kOk; }
};

// What became of a request, the same for every backend. `code` is what the
// backend's own request function returns by its convention: the answer's
// count (data + 2), 0 for no answer, -1 for a corrupt one, and for a request
// that could not be sent 76 on the serial line or -99 on USB. The kind says
// which of these it is, so a 74-byte answer (count 76) is never taken for an
// undelivered request. `why` carries the system's reason when the device
// failed or went away.
struct LinkReply {
    enum class Kind {
        kAnswer,   // `code` bytes stored in the receive buffer from byte 0
        kNone,     // nothing usable in time (also a NAK or a lone "?")
        kCorrupt,  // a damaged answer, or one that did not end within 10 s
        kNotSent,  // the request did not get through (twice)
    };
    Kind kind = Kind::kNone;
    int code = 0;
    LinkResult why;

    bool answered() const { return kind == Kind::kAnswer; }
    // The answer's data bytes (the count less frame start and check byte).
    std::size_t dataBytes() const { return answered() ? static_cast<std::size_t>(code - 2) : 0; }

    static LinkReply Answer(int count) { return {Kind::kAnswer, count, {}}; }
    static LinkReply None(int code = 0) { return {Kind::kNone, code, {}}; }
    static LinkReply Corrupt() { return {Kind::kCorrupt, -1, {}}; }
    static LinkReply NotSent(int code) { return {Kind::kNotSent, code, {}}; }
};

// Hex dump of the traffic: one line per call, time, direction and the bytes.
// '>' went to the instrument, '<' came from it, 'x' was received and dropped
// unread (input purged before a frame).
class Trace {
  public:
    explicit Trace(std::FILE* out) : out_(out) {}
    void bytes(char direction, std::uint64_t timeMs, const std::uint8_t* data, std::size_t n);

  private:
    std::FILE* out_;
};

// The one point every byte of the link passes, in and out, whatever carries
// it: the serial transports hand it what they read, write and purge, the USB
// link what its transfers moved. The link owns it; a Trace set on it sees the
// whole traffic on the link's clock.
class TracePoint {
  public:
    explicit TracePoint(Clock& clock) : clock_(clock) {}
    void setSink(Trace* sink) { sink_ = sink; }
    void pass(char direction, const std::uint8_t* data, std::size_t n) {
        if (sink_)
            sink_->bytes(direction, clock_.nowMs(), data, n);
    }

  private:
    Clock& clock_;
    Trace* sink_ = nullptr;
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
    // Drops everything received and not yet read; the trace sees what went.
    void purge();
    // Returns when every byte written has left the port's output queue. A port
    // without a queue of its own has nothing to wait for.
    virtual LinkStatus drain() { return LinkStatus::kOk; }
    // Data terminal ready and request to send.
    virtual LinkStatus setModemLines(bool dtr, bool rts) = 0;
    // Waits at most `maxMs` (on `clock`) for a byte to arrive; returns true when
    // one waits. The default polls in steps of 1 ms on the clock.
    virtual bool waitReadable(Clock& clock, std::uint32_t maxMs);

    // Where the bytes of this transport are traced; null for nowhere.
    void setTracePoint(TracePoint* point) { tracePoint_ = point; }

    // Set when the device went away or failed for good (the line hung up, the
    // port reported an I/O error), with the system's reason. The link gives up
    // at once after it.
    const LinkResult& fault() const { return fault_; }

  protected:
    // Removes what waits unread and hands it back (up to `n` bytes; what does
    // not fit is dropped all the same).
    virtual std::size_t doPurge(std::uint8_t* data, std::size_t n) = 0;
    void setFault(LinkResult r) {
        if (fault_.ok() && !r.ok())
            fault_ = std::move(r);
    }

    virtual LinkStatus doRead(std::uint8_t* data, std::size_t n, std::size_t& got,
                              int timeoutMs) = 0;
    virtual LinkStatus doWrite(const std::uint8_t* data, std::size_t n, std::size_t& written) = 0;

  private:
    void traceBytes(char direction, const std::uint8_t* data, std::size_t n) {
        if (tracePoint_)
            tracePoint_->pass(direction, data, n);
    }

    TracePoint* tracePoint_ = nullptr;
    LinkResult fault_;
};

// One backend of the link (the serial line, USB); the simulated instrument
// plugs in beneath either. The link's operations go through this table and
// keep the result conventions of LinkRequest and LinkSend.
class LinkBackend {
  public:
    virtual ~LinkBackend() = default;
    virtual void disconnect() = 0;
    // Sends the first `length` bytes of the transmit buffer as a request and
    // waits up to `timeoutMs` for its answer. `viaBulk` chooses USB's bulk path.
    virtual LinkReply ask(std::size_t length, std::uint32_t timeoutMs, int viaBulk) = 0;
    // Non-zero when the bytes went out (and, serial, were acknowledged).
    virtual int send(std::size_t length) = 0;
    // The device went away or failed for good, with the system's reason.
    virtual LinkResult fault() const = 0;

    // Looked at in every wait; null for none.
    const CancelToken* cancel = nullptr;
};

}  // namespace quelvari::link
