#include "link/serial_link.h"

#include "model/status.h"

#include <algorithm>

#include "link/frame.h"

namespace quelvari::link {

SerialTimeouts SerialTimeoutsFor(std::uint16_t baudIndex, bool slow) {
    const std::uint32_t k = baudIndex == 0 ? 3 : 2;
    return {slow ? 4u : k, k, 5, k, 100};
}

unsigned SerialBaudRate(std::uint16_t baudIndex) {
    switch (baudIndex) {
        case 0:
            return 9600;
        case 1:
            return 19200;
        case 2:
            return 38400;
        default:
            return 57600;
    }
}

std::uint64_t WireTimeMs(std::size_t bytes, unsigned baud) {
    if (baud == 0)
        return 0;
    return (std::uint64_t{bytes} * 10 * 1000 + baud - 1) / baud;
}

void SerialLink::attach(std::unique_ptr<Transport> port) {
    port_ = std::move(port);
    if (port_)
        port_->setTracePoint(tracePoint);
}

bool SerialLink::waitUntil(std::uint64_t t) {
    // In slices, so that a line that hangs up meanwhile ends the wait too.
    while (!lost()) {
        const std::uint64_t now = clock_.nowMs();
        if (now >= t)
            return !Cancelled(cancel);
        if (!WaitUntil(clock_, std::min<std::uint64_t>(t, now + CancelToken::kSliceMs), cancel))
            return false;
    }
    return false;
}

void SerialLink::drainInput() {
    std::uint8_t scratch[2000];
    for (std::size_t waiting = port_->bytesWaiting(); waiting > 0;
         waiting = port_->bytesWaiting()) {
        std::size_t got = 0;
        port_->read(scratch, std::min(waiting, sizeof scratch), got, 0);
        if (got == 0)
            break;
    }
}

int SerialLink::open(LinkResult* reason) {
    close();
    if (!makePort)
        return 0;
    auto port = makePort();
    if (!port)
        return 0;
    port->setTracePoint(tracePoint);
    const LinkResult opened = port->open();
    if (reason)
        *reason = opened;
    if (!opened.ok())
        return 0;
    port_ = std::move(port);
    if (slowLink)
        port_->setModemLines(true, true);  // a pty refuses; the open goes on

    // Greeting: "B" as a one-byte frame until the instrument acknowledges it,
    // at most five times. An instrument that never answers does not fail the
    // open: the requests after it will tell.
    for (int attempt = 0; attempt < SerialTiming::kGreetingAttempts; ++attempt) {
        if (attempt > 0 && !waitUntil(clock_.nowMs() + SerialTiming::kGreetingPause))
            break;
        drainInput();
        buf_.tx[0] = 'B';
        if (sendFrame(1))
            break;
    }
    lastFrameTime = clock_.nowMs();
    waitUntil(lastFrameTime + SerialTiming::kSettle);
    return 1;
}

void SerialLink::close() {
    if (!port_)
        return;
    port_->close();
    port_.reset();
    if (onClose)
        onClose();
}

bool SerialLink::writeByte(std::uint8_t byte) {
    std::size_t written = 0;
    port_->write(&byte, 1, written);
    return written == 1;
}

bool SerialLink::readByte(std::uint8_t& byte) {
    std::size_t got = 0;
    return port_->read(&byte, 1, got, 0) == LinkStatus::kOk && got == 1;
}

int SerialLink::sendFrame(std::size_t length) {
    // Checks in order: the line is there, not cancelled, the pacing.
    if (!isOpen() || lost() || length > kLinkBufferSize)
        return 0;
    // Pacing: at least 100 ms from one frame start to the next.
    if (!waitUntil(lastFrameTime + SerialTiming::kFrameSpacing))
        return 0;
    lastFrameTime = clock_.nowMs();

    // Whatever waits now is no answer to this frame.
    port_->purge();

    // The frame, byte by byte; the closing DLE ETX in one write.
    const std::vector<std::uint8_t> wire = EncodeFrame(buf_.tx.data(), length);
    for (std::size_t i = 0; i + 2 < wire.size(); ++i)
        if (!writeByte(wire[i]))
            return 0;
    std::size_t written = 0;
    port_->write(wire.data() + wire.size() - 2, 2, written);
    if (written != 2)
        return 0;

    // The instrument acknowledges after the frame's last byte, so the window
    // opens only when that byte can have reached it: once the port's queue is
    // drained, and no earlier than the frame's time on the line after its
    // first byte (adapters hold bytes in buffers that a drain does not see).
    // A 1828-byte header takes 1.9 s at 9600 baud.
    port_->drain();
    if (!waitUntil(lastFrameTime + WireTimeMs(wire.size(), baudRate)))
        return 0;

    // The first byte of the acknowledgement must arrive within the window.
    const std::uint32_t window = slowLink ? SerialTiming::kAckWaitSlow : SerialTiming::kAckWait;
    const std::uint64_t deadline = clock_.nowMs() + window;
    while (port_->bytesWaiting() == 0) {
        const std::uint64_t now = clock_.nowMs();
        if (now >= deadline || lost() || Cancelled(cancel))
            return 0;
        port_->waitReadable(clock_, static_cast<std::uint32_t>(std::min<std::uint64_t>(
                                        deadline - now, CancelToken::kSliceMs)));
    }
    // ACK among what waits; other bytes are dropped. No further waiting.
    std::uint8_t byte = 0;
    while (port_->bytesWaiting() > 0) {
        if (!readByte(byte))
            return 0;
        if (byte == kAck)
            return 1;
    }
    return 0;
}

int SerialLink::receiveFrame() {
    if (!isOpen() || port_->bytesWaiting() == 0)
        return 0;
    std::uint8_t first = 0;
    if (!readByte(first))
        return 0;
    buf_.rx[0] = first;
    if (first == kNak) {
        if (beep)
            beep();
        return -2;
    }
    if (first != kDle) {
        if (beep)
            beep();
        return 0;
    }

    // Collect until DLE ETX; the receive buffer bounds the frame.
    FrameDecoder decoder(kLinkBufferSize - 1);
    const std::uint64_t start = clock_.nowMs();
    const std::uint64_t deadline = start + SerialTiming::kReceiveDeadline;
    FrameDecoder::Step step = FrameDecoder::Step::kMore;
    while (step == FrameDecoder::Step::kMore) {
        const std::uint64_t now = clock_.nowMs();
        if (now > deadline || lost() || Cancelled(cancel))
            return -1;  // too slow, gone or stopped: no NAK
        if (port_->bytesWaiting() == 0) {
            port_->waitReadable(clock_, static_cast<std::uint32_t>(std::min<std::uint64_t>(
                                            deadline - now + 1, CancelToken::kSliceMs)));
            continue;
        }
        std::uint8_t byte = 0;
        if (!readByte(byte))
            continue;
        step = decoder.push(byte);
    }
    const auto& stored = decoder.stored();
    std::copy(stored.begin(), stored.end(), buf_.rx.begin() + 1);

    clock_.sleepMs(SerialTiming::kCheckDelay);
    if (step == FrameDecoder::Step::kFramingError || !decoder.checkOk()) {
        writeByte(kNak);
        return -1;
    }
    writeByte(kAck);
    // "?" alone: the instrument did not understand or is not ready.
    if (stored.size() == 2 && stored[0] == '?')
        return 0;
    return static_cast<int>(stored.size()) + 1;
}

LinkReply SerialLink::ask(std::size_t length, std::uint32_t timeoutMs, int) {
    // A line that is gone or a stop gets no second attempt.
    if (!sendFrame(length)) {
        if (!waitUntil(clock_.nowMs() + SerialTiming::kResendDelay) || !sendFrame(length))
            return LinkReply::NotSent(kErrNoUsbInstrument);
    }
    const std::uint64_t timeout = slowLink ? 2ull * timeoutMs : timeoutMs;
    const std::uint64_t sent = clock_.nowMs();
    for (;;) {
        const int result = receiveFrame();
        if (result > 0)
            return LinkReply::Answer(result);
        if (result == -1)
            return LinkReply::Corrupt();
        if (result == -2)  // NAK
            return LinkReply::None();
        const std::uint64_t now = clock_.nowMs();
        if (now - sent >= timeout || !isOpen() || lost() || Cancelled(cancel))
            return LinkReply::None();
        port_->waitReadable(clock_, static_cast<std::uint32_t>(std::min<std::uint64_t>(
                                        timeout - (now - sent), CancelToken::kSliceMs)));
    }
}

}  // namespace quelvari::link
