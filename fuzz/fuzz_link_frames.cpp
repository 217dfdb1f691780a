// The serial frame layer on untrusted bytes: the input is what the instrument
// sends. The receive state machine must end every call with one of its results
// and never store beyond the receive buffer; a frame it accepts must decode to
// the same data, and the data encoded again must decode back. The simulated
// instrument's side of the framing takes the same bytes as a host would send.
#include <deque>

#include "fuzz_support.h"
#include "link/frame.h"
#include "link/serial_link.h"
#include "link/simulator.h"

namespace {

using namespace quelvari::link;

// The input as bytes that have all arrived.
class InputPort : public Transport {
  public:
    InputPort(const std::uint8_t* data, std::size_t n) : in_(data, data + n) {}
    LinkResult open() override { return {}; }
    void close() override {}
    bool isOpen() const override { return true; }
    std::size_t bytesWaiting() override { return in_.size(); }
    LinkStatus setModemLines(bool, bool) override { return LinkStatus::kOk; }
    // Nothing more will come: the whole wait passes at once.
    bool waitReadable(Clock& clock, std::uint32_t maxMs) override {
        if (in_.empty())
            clock.sleepMs(maxMs);
        return !in_.empty();
    }
    std::vector<std::uint8_t> sent;

  protected:
    std::size_t doPurge(std::uint8_t*, std::size_t) override {
        const std::size_t dropped = in_.size();
        in_.clear();
        return dropped;
    }
    LinkStatus doRead(std::uint8_t* d, std::size_t n, std::size_t& got, int) override {
        while (got < n && !in_.empty()) {
            d[got++] = in_.front();
            in_.pop_front();
        }
        return got ? LinkStatus::kOk : LinkStatus::kTimeout;
    }
    LinkStatus doWrite(const std::uint8_t* d, std::size_t n, std::size_t& written) override {
        sent.insert(sent.end(), d, d + n);
        written = n;
        return LinkStatus::kOk;
    }

  private:
    std::deque<std::uint8_t> in_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // One frame as a whole.
    std::vector<std::uint8_t> payload;
    if (DecodeFrame(data, size, payload)) {
        const auto wire = EncodeFrame(payload.data(), payload.size());
        std::vector<std::uint8_t> again;
        FUZZ_CHECK(DecodeFrame(wire.data(), wire.size(), again));
        FUZZ_CHECK(again == payload);
    }

    // The receive state machine over the whole input, frame after frame.
    VirtualClock clock;
    LinkBuffers buf;
    SerialLink serial(buf, clock);
    auto port = std::make_unique<InputPort>(data, size);
    InputPort* p = port.get();
    serial.attach(std::move(port));
    int calls = 0;
    while (p->bytesWaiting() > 0) {
        const std::size_t before = p->bytesWaiting();
        const std::size_t answered = p->sent.size();
        const int r = serial.receiveFrame();
        FUZZ_CHECK(r >= -2 && r <= static_cast<int>(kLinkBufferSize));
        FUZZ_CHECK(p->bytesWaiting() < before);
        // A frame that ended is answered with one ACK or NAK; a cut one is not.
        FUZZ_CHECK(p->sent.size() <= answered + 1);
        if (r > 1) {
            FUZZ_CHECK(p->sent.back() == kAck);
            // The stored data and check byte hold the frame's check.
            const std::uint8_t* stored = buf.rx.data() + 1;
            const std::size_t n = static_cast<std::size_t>(r - 2);
            const std::uint8_t check = BlockCheck(stored, n);
            // (A doubled 0x10 check byte never enters the check, so it passes
            // whatever the data; that is the link's rule.)
            FUZZ_CHECK(check == stored[n] || stored[n] == kDle);
        }
        ++calls;
    }
    FUZZ_CHECK(calls <= static_cast<int>(size));

    // The instrument's end takes any bytes.
    SimSettings settings = DefaultSimSettings();
    SimulatedInstrument instrument(settings);
    SimSerialPeer peer(instrument);
    const auto reply = peer.feed(data, size);
    FUZZ_CHECK(reply.size() <= (size + 1) * 64);
    return 0;
}
