// The serial link: framed, acknowledged requests over a byte transport.
//
// Requests and answers go through the program's two 6000-byte buffers: the
// caller writes a request's payload into the transmit buffer from byte 0; an
// answer is stored in the receive buffer with its frame start in byte 0, its
// data from byte 1 on, and its check byte behind the data.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "link/clock.h"
#include "link/transport.h"

namespace quelvari::link {

inline constexpr std::size_t kLinkBufferSize = 6000;

struct LinkBuffers {
    std::array<std::uint8_t, kLinkBufferSize> tx{};
    std::array<std::uint8_t, kLinkBufferSize> rx{};
};

// The waits of the serial link, in milliseconds.
struct SerialTiming {
    static constexpr std::uint32_t kFrameSpacing = 100;  // frame start to frame start
    static constexpr std::uint32_t kAckWait = 20;        // first acknowledgement byte
    static constexpr std::uint32_t kAckWaitSlow = 1000;  // the same, slow variant
    static constexpr std::uint32_t kGreetingPause = 25;  // between greetings
    static constexpr int kGreetingAttempts = 5;
    static constexpr std::uint32_t kSettle = 250;             // after the open
    static constexpr std::uint32_t kResendDelay = 550;        // before the one repeated send
    static constexpr std::uint32_t kCheckDelay = 10;          // after DLE ETX, before the check
    static constexpr std::uint32_t kReceiveDeadline = 10000;  // whole frame
};

// The read and write time-outs of the port, in milliseconds: k is 3 at 9600
// baud and 2 at every faster rate.
struct SerialTimeouts {
    std::uint32_t readInterval;     // 4 in the slow variant, else k
    std::uint32_t readMultiplier;   // k per byte
    std::uint32_t readConstant;     // 5
    std::uint32_t writeMultiplier;  // k per byte
    std::uint32_t writeConstant;    // 100
};
SerialTimeouts SerialTimeoutsFor(std::uint16_t baudIndex, bool slow);
// 0 "9600", 1 "19200", 2 "38400", anything else "57600".
unsigned SerialBaudRate(std::uint16_t baudIndex);
// How long `bytes` take on the line at `baud` (8N1: ten bits a byte), in whole
// milliseconds, rounded up.
std::uint64_t WireTimeMs(std::size_t bytes, unsigned baud);

class SerialLink : public LinkBackend {
  public:
    SerialLink(LinkBuffers& buffers, Clock& clock) : buf_(buffers), clock_(clock) {}

    void disconnect() override { close(); }
    LinkReply ask(std::size_t length, std::uint32_t timeoutMs, int) override;
    int send(std::size_t length) override { return sendFrame(length); }
    LinkResult fault() const override { return port_ ? port_->fault() : LinkResult{}; }

    // Makes the (closed) port that SerialOpen opens.
    std::function<std::unique_ptr<Transport>()> makePort;
    // Called for a NAK or a stray byte at the start of an answer.
    std::function<void()> beep;
    bool slowLink = false;
    // The line's rate; the acknowledgement wait counts from when a frame's
    // last byte can have reached the instrument at this rate.
    unsigned baudRate = 9600;
    // Where the port's bytes are traced (the link's one trace point).
    TracePoint* tracePoint = nullptr;

    // SerialOpen: 1 when the port is open (greeted or not), 0 when it cannot be
    // opened. `reason` tells why.
    int open(LinkResult* reason = nullptr);
    void close();
    bool isOpen() const { return port_ && port_->isOpen(); }
    // SerialSendFrame: 1 when the instrument acknowledged, else 0.
    int sendFrame(std::size_t length);
    // SerialReceiveFrame: stored byte count (data + 2), 0 nothing usable, -1
    // corrupt or too slow, -2 NAK.
    int receiveFrame();
    // SerialRequest: as receiveFrame, but a NAK gives 0, and 76 when the request
    // could not be delivered twice. The code of ask().
    int request(std::size_t length, std::uint32_t timeoutMs) {
        return ask(length, timeoutMs, 0).code;
    }

    std::uint64_t lastFrameTime = 0;
    // Called when the port closes (the transfer clears its connected flag).
    std::function<void()> onClose;

    // For tests: put a transport in place as if it had been opened.
    void attach(std::unique_ptr<Transport> port);
    Transport* port() { return port_.get(); }

  private:
    bool lost() const { return port_ && !port_->fault().ok(); }
    // Waits until `t`; false when cancelled or the line is gone.
    bool waitUntil(std::uint64_t t);
    bool readByte(std::uint8_t& byte);
    void drainInput();
    bool writeByte(std::uint8_t byte);

    LinkBuffers& buf_;
    Clock& clock_;
    std::unique_ptr<Transport> port_;
};

}  // namespace quelvari::link
