// The link at a real line's pace, and stopping it: an instrument that
// acknowledges a frame only when its last byte has come down the line, a
// Cancel in the middle of a wait, and an instrument that goes away. All on a
// virtual clock, so the times below are exact.
#include <gtest/gtest.h>

#include <libusb.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "link/instrument.h"
#include "link/link_texts.h"
#include "link/simulator.h"
#include "link/transfer.h"
#include "link_test_util.h"
#include "test_util.h"

namespace quelvari::link {
namespace {

using test::Numbered;
using test::ScriptedPort;
using test::TempDir;

TransferJob SmallJob() {
    TransferJob job;
    job.header.fill(0x10);  // every header byte doubled on the line: 3651 bytes
    for (int i = 1; i <= 3; ++i)
        job.records.push_back(Numbered(i));
    job.interrupts[0] = {Numbered(9)};
    return job;
}

// The simulated instrument behind a scripted serial port: it answers a frame
// (ACK, then its answer) only at the frame's wire time after its first byte.
struct LineInstrument {
    LineInstrument(VirtualClock& clock, Link& link, unsigned baud, const std::string& card)
        : instrument([&] {
              SimSettings s = DefaultSimSettings();
              s.cardDir = card;
              return s;
          }()) {
        link.linkKind = kLinkSerial;
        link.makeSerialPort = [this, &clock, baud]() -> std::unique_ptr<Transport> {
            auto p = std::make_unique<ScriptedPort>(clock);
            port = p.get();
            p->baud = baud;
            p->onFrame = [this](const std::vector<std::uint8_t>& payload, bool) {
                std::vector<std::uint8_t> reply{kAck};
                if (const auto answer = instrument.handle(payload.data(), payload.size())) {
                    const auto f = EncodeFrame(answer->data(), answer->size());
                    reply.insert(reply.end(), f.begin(), f.end());
                }
                ackDelays.push_back(port->frameEnd - port->frameStarts.back());
                port->arrive(0, reply);
            };
            return p;
        };
    }
    SimulatedInstrument instrument;
    ScriptedPort* port = nullptr;
    std::vector<std::uint64_t> ackDelays;
};

TEST(LinkPace, AWholeTransferGetsThroughAnInstrumentThatAcksAtTheWireTime) {
    for (const std::uint16_t baudIndex : {std::uint16_t{0}, std::uint16_t{3}}) {
        SCOPED_TRACE(baudIndex);
        VirtualClock clock;
        Link link(clock);
        TempDir card;
        link.baudIndex = baudIndex;
        const unsigned baud = SerialBaudRate(baudIndex);
        LineInstrument line(clock, link, baud, card.path());
        ASSERT_EQ(InstrumentConnect(link), 0);
        TransferObserver quiet;
        const TransferJob job = SmallJob();
        const TransferResult r = RunTransfer(link, job, TransferSettings{}, quiet);
        EXPECT_EQ(r.code, 0);
        EXPECT_EQ(r.blocks, 4);
        EXPECT_EQ(std::filesystem::file_size(card.file("P001.PAD")), 3u * 800);
        EXPECT_EQ(std::filesystem::file_size(card.file("P001.IR1")), 800u);
        // The header (3656 bytes on the line) was acknowledged 3.8 s or 0.63 s
        // after its first byte, far outside a window counted from the write.
        const auto header = HeaderRequest(1, job);
        const std::uint64_t headerAck =
            WireTimeMs(EncodeFrame(header.data(), header.size()).size(), baud);
        EXPECT_EQ(headerAck, baudIndex == 0 ? 3809u : 635u);
        EXPECT_NE(std::find(line.ackDelays.begin(), line.ackDelays.end(), headerAck),
                  line.ackDelays.end());
    }
}

// A virtual clock that presses Cancel at a set time.
class CancellingClock : public VirtualClock {
  public:
    void sleepMs(std::uint32_t ms) override {
        VirtualClock::sleepMs(ms);
        if (cancelAt && nowMs() >= cancelAt && !token.cancelled()) {
            token.cancel();
            pressed = nowMs();
        }
    }
    CancelToken token;
    std::uint64_t cancelAt = 0, pressed = 0;
};

// The time of the last line of a trace that sent `bytes`, or 0.
std::uint64_t LastSent(const std::string& trace, const std::string& bytes) {
    std::uint64_t at = 0;
    std::istringstream in(trace);
    std::string line;
    while (std::getline(in, line))
        if (line.size() > 12 && line.substr(11) == "> " + bytes)
            at = std::stoull(line.substr(0, 10));
    return at;
}

TEST(LinkPace, CancelActsWithin100MsInEveryWaitAndStillReleases) {
    // Pressed during the closing polls (200 ms pauses and 8 s requests) and
    // during a closing request that the instrument never answers (8 s).
    struct Case {
        const char* what;
        int busyPolls;
        double drop;
        std::uint64_t after;  // ms after the start of the transfer
    };
    for (const Case& c : {Case{"polls", 50, 0, 2500}, Case{"unanswered", 0, 1, 3000}}) {
        SCOPED_TRACE(c.what);
        CancellingClock clock;
        Link link(clock);
        TempDir card;
        SimSettings s = DefaultSimSettings();
        s.cardDir = card.path();
        s.faults.busyPolls = c.busyPolls;
        auto sims = AttachSimulatedUsb(link, s);
        ASSERT_EQ(InstrumentConnect(link), 0);
        sims[0]->settings().faults.dropFraction = c.drop;
        char* text = nullptr;
        std::size_t size = 0;
        std::FILE* out = ::open_memstream(&text, &size);
        Trace trace(out);
        link.setTrace(&trace);
        link.setCancel(&clock.token);
        clock.cancelAt = clock.nowMs() + c.after;
        TransferObserver quiet;
        const TransferResult r = RunTransfer(link, SmallJob(), TransferSettings{}, quiet);
        std::fclose(out);
        const std::string dump(text, size);
        std::free(text);
        ASSERT_NE(clock.pressed, 0u);
        EXPECT_TRUE(r.cancelled);
        EXPECT_EQ(r.code, 0);
        const std::uint64_t released = LastSent(dump, "57 00");
        ASSERT_NE(released, 0u) << dump;  // "W", 0 went out after the press
        EXPECT_GE(released, clock.pressed);
        EXPECT_LE(released - clock.pressed, 100u);
        // The transfer stopped where it was: nothing after the procedure file.
        EXPECT_FALSE(std::filesystem::exists(card.file("P001.IR1")));
    }
}

TEST(LinkPace, ALostInstrumentIsFinalAtOnceWithItsReason) {
    // USB: the device goes away after the connect (3 requests), the header
    // and one block.
    {
        VirtualClock clock;
        Link link(clock);
        auto sims = AttachSimulatedUsb(link, DefaultSimSettings());
        ASSERT_EQ(InstrumentConnect(link), 0);
        sims[0]->settings().faults.goneAfter = 5;
        TransferObserver quiet;
        const std::uint64_t t0 = clock.nowMs();
        const TransferResult r = RunTransfer(link, SmallJob(), TransferSettings{}, quiet);
        EXPECT_EQ(r.code, 79);
        EXPECT_LT(clock.nowMs() - t0, 200u);
        EXPECT_EQ(LinkFault(link).status, LinkStatus::kNoDevice);
        EXPECT_NE(LinkDetail(link).find(libusb_strerror(LIBUSB_ERROR_NO_DEVICE)), std::string::npos)
            << LinkDetail(link);
    }
    // Serial: the line hangs up while the instrument is still writing the file.
    {
        VirtualClock clock;
        Link link(clock);
        TempDir card;
        LineInstrument line(clock, link, 57600, card.path());
        ASSERT_EQ(InstrumentConnect(link), 0);
        line.instrument.settings().faults.busyPolls = 50;
        class HangUpAtClose : public TransferObserver {
          public:
            HangUpAtClose(LineInstrument& l, Clock& c) : line_(l), clock_(c) {}
            void status(const std::string&) override {
                line_.port->hangUp();
                at = clock_.nowMs();
            }
            LineInstrument& line_;
            Clock& clock_;
            std::uint64_t at = 0;
        } observer(line, clock);
        const TransferResult r = RunTransfer(link, SmallJob(), TransferSettings{}, observer);
        EXPECT_EQ(r.code, 91);
        ASSERT_NE(observer.at, 0u);
        EXPECT_LT(clock.nowMs() - observer.at, 200u);  // 50 polls would take more than 10 s
        EXPECT_NE(LinkDetail(link).find("pty: Input/output error"), std::string::npos)
            << LinkDetail(link);
    }
}

}  // namespace
}  // namespace quelvari::link
