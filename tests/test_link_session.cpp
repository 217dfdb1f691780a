// The instrument session and the memory display against the simulated
// instrument: in-process over USB and the serial framing on a virtual clock,
// and end to end through quelvari-instrument on a pseudo-terminal. Then the
// link at a real line's pace, and stopping it: an instrument that
// acknowledges a frame only when its last byte has come down the line, a
// Cancel in the middle of a wait, and an instrument that goes away; all on a
// virtual clock, so the times there are exact.
#include <gtest/gtest.h>
#include <libusb.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "link/instrument.h"
#include "link/link_settings.h"
#include "link/link_texts.h"
#include "link/memory.h"
#include "link/simulator.h"
#include "link/transfer.h"
#include "link_test_util.h"
#include "test_util.h"

namespace quelvari::link {
namespace {

using test::Bytes;
using test::Numbered;
using test::PtyInstrument;
using test::ScriptedPort;
using test::TempDir;

TEST(LinkIdentification, FieldsComeFromTheirBytes) {
    std::vector<std::uint8_t> d;
    for (int i = 0; i < 27; ++i)
        d.push_back(static_cast<std::uint8_t>(0x20 + i));
    for (char c : std::string("Bench A"))
        d.push_back(static_cast<std::uint8_t>(c));
    d.insert(d.end(), {0, 0xB1, 0xB2});
    // Each field from its bytes, words big-endian from word3 on: the builder
    // of the simulated instrument makes these bytes of these fields (present,
    // name, model, word2, word3, word4, long1, byte1to8, byte9, word5, word6,
    // byte10to12, byte13), and of the parsed ones.
    const InstrumentEntry want{
        0,      "Bench A", 0x2120,      0x2322,
        0x2425, 0x2B2A,    0x2F2E2D2Cu, {0x31, 0x30, 0x32, 0x33, 0x34, 0x35, 0x38, 0x37},
        0xB2,   0x2928,    0x2726,      {0x36, 0x39, 0x3A},
        0xB1};
    EXPECT_EQ(BuildIdentification(want), d);
    InstrumentEntry e;
    ASSERT_EQ(ParseIdentification(d.data(), d.size(), e), 0);
    EXPECT_EQ(BuildIdentification(e), d);

    // The answer must reach the second byte behind the name.
    d.pop_back();
    EXPECT_EQ(ParseIdentification(d.data(), d.size(), e), 80);
    // A long name is cut to 31 characters; the bytes behind it still count.
    std::vector<std::uint8_t> longName(d.begin(), d.begin() + 27);
    longName.insert(longName.end(), 40, 'N');
    longName.insert(longName.end(), {0, 5, 6});
    ASSERT_EQ(ParseIdentification(longName.data(), longName.size(), e), 0);
    EXPECT_EQ(std::strlen(e.name), 31u);
    EXPECT_EQ(e.byte13, 5);
    EXPECT_EQ(e.byte9, 6);
}

using test::MemoryFields;

TEST(LinkMemory, FiguresFormatsAndKeptValues) {
    VirtualClock clock;
    Link link(clock);
    SimSettings s = DefaultSimSettings();
    s.memory = {7, 1024, 256, 128, 5, 2048};
    auto sims = AttachSimulatedUsb(link, s);
    ASSERT_EQ(InstrumentConnect(link), 0);

    // Not connected: "???" first, but the answer still replaces them.
    MemoryFields shown;
    InstrumentMemory memory;
    EXPECT_TRUE(ShowInstrumentMemory(link, memory, shown));
    EXPECT_EQ(shown.fields, (std::map<std::uint32_t, std::string>{{kFieldTotal, "    1024 MB"},
                                                                  {kFieldFree, "    1024 kB"},
                                                                  {kFieldSeries, "     256 MB"},
                                                                  {kFieldDatabase, "     128 MB"},
                                                                  {kFieldNumber, "   5"}}));
    EXPECT_EQ(memory.freeBytes(), 1048576u);
    EXPECT_EQ(memory.word0, 7u);
    EXPECT_EQ(shown.disabled, 0);
    EXPECT_EQ(shown.hidden, 1);

    // Procedure number 0: " voll", and the start stays disabled.
    sims[0]->settings().memory.procedureNumber = 0;
    EXPECT_TRUE(ShowInstrumentMemory(link, memory, shown));
    EXPECT_EQ(shown.fields[kFieldNumber], " voll");
    EXPECT_EQ(shown.disabled, 1);

    // No answer: the figures stand; while not connected "???" shows.
    sims[0]->settings().faults.dropFraction = 1;
    sims[0]->settings().memory.freeBlocks = 10;
    link.instrumentConnected = true;
    const std::uint64_t t0 = clock.nowMs();
    EXPECT_FALSE(ShowInstrumentMemory(link, memory, shown));
    EXPECT_GE(clock.nowMs() - t0, 1500u);
    EXPECT_EQ(shown.fields[kFieldFree], "    1024 kB");
    EXPECT_EQ(memory.freeBlocks, 2048u);
    EXPECT_EQ(shown.hidden, 3);
    link.instrumentConnected = false;
    EXPECT_FALSE(ShowInstrumentMemory(link, memory, shown));
    EXPECT_EQ(shown.fields[kFieldFree], "???");
    EXPECT_EQ(shown.fields[kFieldNumber], "???");

    // A short answer is no answer.
    const auto full = BuildMemoryAnswer(memory);
    EXPECT_FALSE(ParseMemoryAnswer(full.data(), 20, memory));
    EXPECT_EQ(FormatMemory({0, 0, 0, 0, 1, 3}).free, "       1 kB");
}

TEST(LinkSession, UsbConnectSelectsEveryInstrumentAndChecksModels) {
    VirtualClock clock;
    {
        Link link(clock);
        auto sims = AttachSimulatedUsb(link, DefaultSimSettings(kModel3320), 2);
        ASSERT_EQ(InstrumentConnect(link), 0);
        EXPECT_TRUE(link.table[0].present && link.table[1].present);
        EXPECT_EQ(link.table[1].model, kModel3320);
        EXPECT_TRUE(sims[0]->selected() && sims[1]->selected());
        EXPECT_EQ(sims[0]->counts().at("Z"), 1);  // answered 0, 0: no second select
        EXPECT_EQ(link.usb.deviceCount(), 2);
        ReleaseAllAndDisconnect(link);
        EXPECT_FALSE(sims[0]->selected() || sims[1]->selected());
    }
    {
        // Different models: both released, link closed, table cleared.
        Link link(clock);
        auto sims = AttachSimulatedUsb(link, DefaultSimSettings(kModel6410), 2, kModel3320);
        EXPECT_EQ(InstrumentConnect(link), 77);
        EXPECT_FALSE(sims[0]->selected() || sims[1]->selected());
        EXPECT_EQ(link.usb.deviceCount(), 0);
        EXPECT_FALSE(link.table[1].present);
        EXPECT_EQ(link.table[1].model, 0);
    }
    {
        // The model compared for the count is that of the entry behind the last
        // present one: three 6410s pass while it is empty...
        Link link(clock);
        AttachSimulatedUsb(link, DefaultSimSettings(kModel6410), 3);
        EXPECT_EQ(InstrumentConnect(link), 0);
        // ...and are refused when that entry holds a 6410 from before.
        link.table[3].model = kModel6410;
        EXPECT_EQ(InstrumentConnect(link), 78);
        EXPECT_EQ(link.usb.deviceCount(), 0);
    }
    {
        Link link(clock);
        SimSettings s = DefaultSimSettings();
        s.faults.refuseSelection = true;
        auto sims = AttachSimulatedUsb(link, s);
        EXPECT_EQ(InstrumentConnect(link), 81);
        sims[0]->settings().faults.refuseSelection = false;
        sims[0]->settings().faults.answerQuestion = true;  // "?" is no answer
        EXPECT_EQ(InstrumentConnect(link), 79);
    }
}

TEST(LinkSession, SerialIdentificationWithDleBytesAndADleCheck) {
    VirtualClock clock;
    Link link(clock);
    SimSettings s = DefaultSimSettings(kModel6410);  // 0x10 in the model
    s.identity.word2 = 0x1010;
    // Make the block check of the answer come out as 0x10.
    const auto plain = BuildIdentification(s.identity);
    s.identity.byte13 ^= static_cast<std::uint8_t>(BlockCheck(plain.data(), plain.size()) ^ 0x10);
    const auto answer = BuildIdentification(s.identity);
    ASSERT_EQ(BlockCheck(answer.data(), answer.size()), 0x10);
    ASSERT_NE(s.identity.byte13, 0x10);

    SimulatedInstrument instrument(s);
    link.linkKind = kLinkSerial;
    link.makeSerialPort = [&] { return std::make_unique<SimSerialTransport>(instrument); };
    ASSERT_EQ(InstrumentConnect(link), 0);
    EXPECT_EQ(link.table[0].model, kModel6410);
    EXPECT_EQ(link.table[0].word2, 0x1010);
    EXPECT_EQ(link.table[0].byte13, s.identity.byte13);
    EXPECT_STREQ(link.table[0].name, s.identity.name);
    EXPECT_TRUE(link.selected[0]);
    EXPECT_TRUE(instrument.selected());

    // Requests after the greeting each wait for the 100 ms spacing.
    const std::uint64_t before = clock.nowMs();
    InstrumentRelease(link, 0);
    EXPECT_FALSE(instrument.selected());
    // The previous frame ("W", 1, 0) started its line time and the check delay
    // of its answer before: the release waits out the rest of the 100 ms, its
    // own line time, and checks its answer 10 ms later.
    EXPECT_EQ(clock.nowMs() - before, 100u - WireTimeMs(7, 9600) + WireTimeMs(6, 9600));

    // Faults: NAK storm (two refused sends: 76), "?" answers (79).
    instrument.settings().faults.nakStorm = 2;
    EXPECT_EQ(InstrumentIdentify(link, 0), 76);
    instrument.settings().faults.answerQuestion = true;
    EXPECT_EQ(InstrumentIdentify(link, 0), 79);
    link.instrumentConnected = true;
    LinkDisconnect(link);
    EXPECT_FALSE(link.instrumentConnected);  // closing the port clears it
}

TEST(LinkSimulator, BlocksLandByNumberAfterBusyPollsAndUnknownRequestsGetAQuestionMark) {
    TempDir card;
    SimSettings s = DefaultSimSettings();
    s.cardDir = card.path();
    s.faults.busyPolls = 2;
    SimulatedInstrument sim(s);
    auto ask = [&](std::vector<std::uint8_t> request) {
        return sim.handle(request.data(), request.size());
    };
    // Block `number` of interrupt procedure 2 of procedure 3, 800 bytes of
    // `fill`; the second comes first. Closed after two busy polls.
    auto block = [](std::uint8_t number, std::uint8_t fill) {
        auto b = Bytes({'p', 'Q', 'D', 3, 2, 0, number, 1});
        b.resize(b.size() + 800, fill);
        return b;
    };
    EXPECT_FALSE(ask(block(2, 0xBB)));
    EXPECT_FALSE(ask(block(1, 0xAA)));
    EXPECT_EQ(ask(Bytes({'p', 'Q', 'W', 3, 2, 0, 2})), Bytes({0, 1}));
    for (const auto& answer : {Bytes({1, 1}), Bytes({1, 1}), Bytes({0, 0})})
        EXPECT_EQ(ask(Bytes({'p', 'Q', '?'})), answer);
    const auto ir = test::readBytes(card.file("P003.IR2"));
    ASSERT_EQ(ir.size(), 1600u);
    EXPECT_EQ(ir[0], 0xAA);  // placed by block number
    EXPECT_EQ(ir[800], 0xBB);

    // Requests it does not know.
    EXPECT_EQ(ask(Bytes({'p'})), Bytes({'?'}));
    EXPECT_EQ(ask(Bytes({'X', 1})), Bytes({'?'}));
    EXPECT_EQ(sim.counts().at("pQ?"), 3);
}

TEST(LinkSession, FaultyFramesGiveBoundedResultsNeverAHang) {
    VirtualClock clock;
    Link link(clock);
    SimSettings s = DefaultSimSettings();
    s.faults.corruptFraction = 0.3;
    s.faults.dropFraction = 0.2;
    s.faults.seed = 7;
    SimulatedInstrument instrument(s);
    link.linkKind = kLinkSerial;
    link.makeSerialPort = [&] { return std::make_unique<SimSerialTransport>(instrument); };
    ASSERT_EQ(LinkConnect(link), 0);
    std::map<int, int> seen;
    for (int i = 0; i < 200; ++i) {
        link.buf.tx[0] = 'p';
        link.buf.tx[1] = 'I';
        const std::uint64_t t0 = clock.nowMs();
        const int r = LinkBlockRequest(link, 2, 1500, 0).code;
        ++seen[r];
        // Resend, spacing and time-out bound every request.
        EXPECT_LE(clock.nowMs() - t0, 100u + 20u + 550u + 100u + 20u + 1500u + 10u);
        if (r == 23) {
            EXPECT_EQ(AnswerByte(link, 16), 1);
        }
    }
    // Good answers, corrupt ones (NAKed, -1), lost ones (0) and sends that
    // were not acknowledged twice (76); nothing else.
    for (const auto& [result, count] : seen)
        EXPECT_TRUE(result == 23 || result == -1 || result == 0 || result == 76) << result;
    EXPECT_GT(seen[23], 50);
    EXPECT_GT(seen[-1], 10);
    EXPECT_GT(seen[76], 0);
}

TEST(LinkCli, InstrumentVerbConnectsReportsAndReleases) {
    TempDir card;
    PtyInstrument instrument(card.path());
    auto r = test::runCli("instrument --lang 1 --slow --link serial:" + instrument.path() +
                          " --trace " + card.file("trace.txt"));
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("Instrument 0: PV-SIM 6410"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Free memory:"), std::string::npos) << r.out;
    // The last bytes the host sent: the release frame "W", 0 and the ACK of
    // its answer.
    std::ifstream trace(card.file("trace.txt"));
    std::string line, sent;
    while (std::getline(trace, line)) {
        const auto at = line.find(" > ");
        if (at != std::string::npos)
            sent += line.substr(at + 2);
    }
    EXPECT_EQ(sent.substr(sent.size() - 21), " 10 57 00 57 10 03 06") << sent;

    r = test::runCli("instrument --lang 1 --link serial:/nonexistent/tty");
    EXPECT_EQ(r.status, 4);
    EXPECT_NE(r.out.find("(76)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("/nonexistent/tty"), std::string::npos) << r.out;

    // The built-in simulated instrument needs no hardware.
    r = test::runCli("instrument --lang 1 --link sim:" + card.path());
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("Next test procedure No.:"), std::string::npos) << r.out;

    EXPECT_EQ(test::runCli("instrument --link bogus").status, 64);
}

TEST(LinkSettings, FileRoundTripApplyAndUsbIdLists) {
    TempDir dir;
    LinkConfig c;
    c.kind = LinkConfig::Kind::kSerial;
    c.device = "/dev/ttyUSB1";
    c.comPortIndex = 3;
    c.baudIndex = 2;
    c.slow = true;
    c.usbIds = {{0x1234, 0xabcd}};
    c.cardDir = dir.path();
    ASSERT_TRUE(WriteLinkConfig(c, dir.file("link.conf")));
    const LinkConfig back = ReadLinkConfig(dir.file("link.conf"));
    EXPECT_EQ(FormatLinkConfig(back), FormatLinkConfig(c));

    Link link;
    ApplyLinkConfig(link, back);
    EXPECT_EQ(link.linkKind, kLinkSerial);
    EXPECT_EQ(link.serialDevice, "/dev/ttyUSB1");
    EXPECT_EQ(link.baudIndex, 2);
    EXPECT_EQ(link.slowLink, 1);

    // Damaged lines are skipped; a missing file gives USB.
    const LinkConfig odd = ParseLinkConfig("kind=modem\nbaud=x\nport=999\nslow=1\nnoise\n");
    EXPECT_EQ(odd.kind, LinkConfig::Kind::kUsb);
    EXPECT_EQ(odd.baudIndex, 0);
    EXPECT_EQ(odd.comPortIndex, 0);
    EXPECT_TRUE(odd.slow);
    EXPECT_EQ(ReadLinkConfig(dir.file("missing.conf")).kind, LinkConfig::Kind::kUsb);
    EXPECT_FALSE(WriteLinkConfig(c, "/nonexistent/dir/link.conf"));

    // USB ids: hex in either case, printed in lower case; a refused list
    // leaves the old one.
    std::vector<UsbId> ids;
    ASSERT_TRUE(ParseUsbIds("1209:0001, abcd:EF01", ids));
    EXPECT_EQ(ids, (std::vector<UsbId>{{0x1209, 0x0001}, {0xabcd, 0xef01}}));
    EXPECT_EQ(FormatUsbIds(ids), "1209:0001,abcd:ef01");
    for (const char* bad : {"1209-0001", "12090:001", "1209:00g1"})
        EXPECT_FALSE(ParseUsbIds(bad, ids)) << bad;
    EXPECT_EQ(ids.size(), 2u);
    ASSERT_TRUE(ParseUsbIds("", ids));
    EXPECT_TRUE(ids.empty());
}

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
