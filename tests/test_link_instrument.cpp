// The link to the instrument, on a virtual clock wherever it can be, so every
// wait is checked to the millisecond. First the two ports: the serial frame
// codec, and the serial link's send, receive, request and open on a scripted
// peer; the USB link on a recording USB seam: enumeration, the request
// mapping, the -99 rule and the 20 ms polling (the 64-byte rule of block
// writes is on the wire of the umockdev tests).
//
// Then the instrument session and the memory display against the simulated
// instrument: in-process over USB and the serial framing, and end to end
// through quelvari-instrument on a pseudo-terminal. Then the link at a real
// line's pace, and stopping it: an instrument that acknowledges a frame only
// when its last byte has come down the line, a Cancel in the middle of a
// wait, and an instrument that goes away. Then the transfer: what goes out
// block by block, the closing handshake and its polls, the start checks,
// cancellation, and the job gathered from a checked procedure's files; and
// whole transfers through the command line.
#include <gtest/gtest.h>
#include <libusb.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "check/syntax_test.h"
#include "link/clock.h"
#include "link/frame.h"
#include "link/instrument.h"
#include "link/link.h"
#include "link/link_settings.h"
#include "link/link_texts.h"
#include "link/memory.h"
#include "link/serial_link.h"
#include "link/simulator.h"
#include "link/transfer.h"
#include "link/transfer_job.h"
#include "link/transport.h"
#include "link/usb_link.h"
#include "model/numbers.h"
#include "model/record.h"
#include "model/record_reader.h"
#include "test_util.h"

namespace quelvari::link {
namespace {

namespace fs = std::filesystem;
using test::TempDir;
using Bytes = std::vector<std::uint8_t>;

// A scripted serial peer on a virtual clock for the link tests: bytes arrive
// at set times, the host's frames are decoded and handed to a reaction. The
// line runs at `baud`: a byte the host writes reaches the peer ten bit times
// after the previous one, and a reaction counts from when the frame's last
// byte has arrived.
class ScriptedPort : public Transport {
  public:
    explicit ScriptedPort(VirtualClock& clock) : clock_(clock) {}

    // Bytes that arrive `delayMs` from now (inside onFrame: from when the
    // frame's last byte reached the peer).
    void arrive(std::uint64_t delayMs, const std::vector<std::uint8_t>& bytes) {
        const std::uint64_t t = std::max(clock_.nowMs(), frameEnd) + delayMs;
        for (std::uint8_t b : bytes)
            incoming_.push_back({t, b});
        std::stable_sort(incoming_.begin(), incoming_.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
    }

    // Called with each complete frame the host writes (payload, check good)
    // and the time its last byte went out.
    std::function<void(const std::vector<std::uint8_t>&, bool)> onFrame;

    // Every frame start time, every byte the host wrote outside frames (its
    // ACK and NAK), and every purge.
    std::vector<std::uint64_t> frameStarts;
    std::vector<std::uint8_t> hostControl;
    std::vector<std::uint8_t> wire;
    int purges = 0;
    unsigned baud = 9600;
    // When the last frame's last byte reached the peer.
    std::uint64_t frameEnd = 0;
    bool modemDtr = false, modemRts = false;
    LinkResult openResult;  // what opening the port gives

    LinkResult open() override {
        open_ = openResult.ok();
        return openResult;
    }
    void close() override { open_ = false; }
    bool isOpen() const override { return open_; }
    std::size_t bytesWaiting() override {
        return static_cast<std::size_t>(
            std::count_if(incoming_.begin(), incoming_.end(),
                          [&](const auto& e) { return e.first <= clock_.nowMs(); }));
    }
    LinkStatus setModemLines(bool dtr, bool rts) override {
        modemDtr = dtr;
        modemRts = rts;
        return LinkStatus::kOk;
    }
    bool waitReadable(Clock&, std::uint32_t maxMs) override {
        if (bytesWaiting() > 0)
            return true;
        const std::uint64_t limit = clock_.nowMs() + maxMs;
        if (!incoming_.empty() && incoming_.front().first <= limit) {
            clock_.sleepUntil(incoming_.front().first);
            return true;
        }
        clock_.sleepUntil(limit);
        return false;
    }

    // The far end hangs up: every later read and write fails.
    void hangUp() { setFault({LinkStatus::kNoDevice, "pty: Input/output error"}); }

  protected:
    std::size_t doPurge(std::uint8_t* data, std::size_t n) override {
        ++purges;
        const std::uint64_t now = clock_.nowMs();
        std::size_t dropped = 0;
        for (const auto& e : incoming_)
            if (e.first <= now && dropped < n)
                data[dropped++] = e.second;
        incoming_.erase(std::remove_if(incoming_.begin(), incoming_.end(),
                                       [&](const auto& e) { return e.first <= now; }),
                        incoming_.end());
        return dropped;
    }
    LinkStatus doRead(std::uint8_t* data, std::size_t n, std::size_t& got, int) override {
        if (!fault().ok())
            return LinkStatus::kNoDevice;
        while (got < n && !incoming_.empty() && incoming_.front().first <= clock_.nowMs()) {
            data[got++] = incoming_.front().second;
            incoming_.erase(incoming_.begin());
        }
        return got ? LinkStatus::kOk : LinkStatus::kTimeout;
    }
    LinkStatus doWrite(const std::uint8_t* data, std::size_t n, std::size_t& written) override {
        if (!fault().ok())
            return LinkStatus::kNoDevice;
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint8_t b = data[i];
            wire.push_back(b);
            lineNs_ = std::max<std::uint64_t>(lineNs_, clock_.nowMs() * 1'000'000) +
                      10'000'000'000ull / std::max(baud, 1u);
            if (!inFrame_) {
                if (b == kDle) {
                    inFrame_ = true;
                    decoder_.reset();
                    frameStarts.push_back(clock_.nowMs());
                } else {
                    hostControl.push_back(b);
                }
                continue;
            }
            const auto step = decoder_.push(b);
            if (step == FrameDecoder::Step::kMore)
                continue;
            inFrame_ = false;
            frameEnd = (lineNs_ + 999'999) / 1'000'000;
            std::vector<std::uint8_t> payload = decoder_.stored();
            if (!payload.empty())
                payload.pop_back();
            if (onFrame)
                onFrame(payload, step == FrameDecoder::Step::kEnd && decoder_.checkOk());
        }
        written = n;
        return LinkStatus::kOk;
    }

  private:
    VirtualClock& clock_;
    std::vector<std::pair<std::uint64_t, std::uint8_t>> incoming_;
    FrameDecoder decoder_{6000};
    bool inFrame_ = false;
    bool open_ = true;
    std::uint64_t lineNs_ = 0;  // when the line is free again, nanoseconds
};

TEST(LinkFrame, AnEmptyFrameCarriesItsCheckAndBrokenFramesAreRejected) {
    // No payload: only the check 0. (The doubled DLE, in the data and as the
    // check, and a check without the DLE bytes are the serial link's and the
    // session's.)
    EXPECT_EQ(EncodeFrame(nullptr, 0), Bytes({0x10, 0x00, 0x10, 0x03}));
    std::vector<std::uint8_t> out;
    // A wrong check, DLE followed by anything but DLE or ETX, bytes behind
    // the end.
    for (const auto& wire :
         {Bytes({0x10, 0x41, 0x42, 0x10, 0x03}), Bytes({0x10, 0x41, 0x10, 0x05, 0x41, 0x10, 0x03}),
          Bytes({0x10, 0x41, 0x41, 0x10, 0x03, 0x00})})
        EXPECT_FALSE(DecodeFrame(wire.data(), wire.size(), out));

    // More bytes than the buffer holds is a framing error at the first byte
    // too many.
    FrameDecoder small(3);
    for (const int b : {1, 2, 0x10, 0x10})
        EXPECT_EQ(small.push(static_cast<std::uint8_t>(b)), FrameDecoder::Step::kMore);
    EXPECT_EQ(small.push(4), FrameDecoder::Step::kFramingError);
}

class SerialLinkTest : public ::testing::Test {
  protected:
    SerialLinkTest() : serial(buf, clock) {
        auto p = std::make_unique<ScriptedPort>(clock);
        port = p.get();
        serial.attach(std::move(p));
        serial.beep = [this] { ++beeps; };
        serial.lastFrameTime = clock.nowMs();
    }
    // The peer answers every frame with these bytes, each arriving its delay
    // after the frame's end.
    void peerSends(std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>> arrivals) {
        port->onFrame = [this, arrivals](const std::vector<std::uint8_t>&, bool) {
            for (const auto& [delay, bytes] : arrivals)
                port->arrive(delay, bytes);
        };
    }
    // The peer acknowledges every frame after `ackDelay` ms and, when given,
    // answers with `answer` (raw wire bytes) right behind the ACK.
    void peerAnswers(std::uint64_t ackDelay, std::vector<std::uint8_t> answer = {}) {
        answer.insert(answer.begin(), kAck);
        peerSends({{ackDelay, answer}});
    }
    void put(const std::string& payload) {
        std::copy(payload.begin(), payload.end(), buf.tx.begin());
    }

    VirtualClock clock;
    LinkBuffers buf;
    SerialLink serial;
    ScriptedPort* port = nullptr;
    int beeps = 0;
};

TEST_F(SerialLinkTest, SendPacesFramesAndWaitsTwentyMsForTheAck) {
    const std::uint64_t t0 = clock.nowMs();
    put("V");
    peerAnswers(20);
    EXPECT_EQ(serial.sendFrame(1), 1);
    ASSERT_EQ(port->frameStarts.size(), 1u);
    EXPECT_EQ(port->frameStarts[0], t0 + 100);  // 100 ms since the last frame
    EXPECT_EQ(port->wire, Bytes({0x10, 'V', 'V', 0x10, 0x03}));
    EXPECT_EQ(port->purges, 1);

    // 21 ms is too late; the next frame again keeps its 100 ms distance.
    peerAnswers(21);
    EXPECT_EQ(serial.sendFrame(1), 0);
    EXPECT_EQ(port->frameStarts[1], port->frameStarts[0] + 100);
    // The window opens when the frame's last byte has reached the peer.
    EXPECT_EQ(port->frameEnd, port->frameStarts[1] + WireTimeMs(5, 9600));
    EXPECT_EQ(clock.nowMs(), port->frameEnd + 20);

    // Stray bytes before the ACK are dropped; a queue that runs dry without an
    // ACK fails at once, however soon the ACK would come.
    peerSends({{3, Bytes({'x', 'y', kAck})}});
    EXPECT_EQ(serial.sendFrame(1), 1);
    peerSends({{3, Bytes({'x'})}, {5, Bytes({kAck})}});
    EXPECT_EQ(serial.sendFrame(1), 0);

    // Slow variant: up to 1000 ms for the first byte.
    serial.slowLink = true;
    peerAnswers(1000);
    EXPECT_EQ(serial.sendFrame(1), 1);
    peerAnswers(1001);
    EXPECT_EQ(serial.sendFrame(1), 0);
}

TEST_F(SerialLinkTest, ReceiveHandlesNakStrayBytesQuestionAndChecks) {
    // Each arrival in turn: what receiveFrame gives, how the host answers it,
    // and the beeps so far. A NAK and a stray byte beep and are not
    // answered, "?" is acknowledged and is no answer, a good answer is
    // acknowledged after 10 ms and stored as frame start, data and check; a
    // wrong check, a framing error and a frame longer than the receive buffer
    // are answered NAK.
    Bytes longFrame(6003, 'a');
    longFrame.front() = longFrame[6001] = 0x10;
    longFrame.back() = 0x03;
    for (const auto& [what, wire, result, answer, beepsSoFar] :
         std::vector<std::tuple<const char*, Bytes, int, Bytes, int>>{
             {"nothing", {}, 0, {}, 0},
             {"NAK", {kNak}, -2, {}, 1},
             {"stray", {'x'}, 0, {}, 2},
             {"question", EncodeFrame(Bytes({'?'}).data(), 1), 0, {kAck}, 2},
             {"good", EncodeFrame(Bytes({1, 0x10, 3}).data(), 3), 5, {kAck}, 2},
             {"check", {0x10, 'a', 'b', 0x10, 0x03}, -1, {kNak}, 2},
             {"framing", {0x10, 'a', 0x10, 'b', 0x10, 0x03}, -1, {kNak}, 2},
             {"long", longFrame, -1, {kNak}, 2}}) {
        SCOPED_TRACE(what);
        port->hostControl.clear();
        port->arrive(0, wire);
        const std::uint64_t before = clock.nowMs();
        EXPECT_EQ(serial.receiveFrame(), result);
        EXPECT_EQ(port->hostControl, answer);
        EXPECT_EQ(beeps, beepsSoFar);
        if (result > 0) {
            EXPECT_EQ(clock.nowMs(), before + 10);
            EXPECT_EQ(Bytes(buf.rx.begin(), buf.rx.begin() + 5), Bytes({0x10, 1, 0x10, 3, 1 ^ 3}));
        }
    }
    port->purge();

    // A frame that does not end within 10 s gives -1 and no NAK.
    port->arrive(0, Bytes({0x10, 'a'}));
    port->arrive(9000, Bytes({'b'}));
    const std::uint64_t start = clock.nowMs();
    const std::size_t answered = port->hostControl.size();
    EXPECT_EQ(serial.receiveFrame(), -1);
    EXPECT_GT(clock.nowMs() - start, 10000u);
    EXPECT_LE(clock.nowMs() - start, 10002u);
    EXPECT_EQ(port->hostControl.size(), answered);
}

TEST_F(SerialLinkTest, RequestResendsOnceAfter550MsThenGives76) {
    put("Z");
    int frames = 0;
    port->onFrame = [&](const std::vector<std::uint8_t>& payload, bool good) {
        EXPECT_TRUE(good);
        EXPECT_EQ(payload, Bytes({'Z'}));
        if (++frames == 2)
            port->arrive(5, Bytes({kAck, 0x10, 1, 0, 1, 0x10, 0x03}));  // the answer 1, 0
    };
    EXPECT_EQ(serial.request(1, 500), 4);
    ASSERT_EQ(port->frameStarts.size(), 2u);
    // The frame's time on the line, the 20 ms acknowledgement window, then
    // 550 ms before the repeat.
    EXPECT_EQ(port->frameStarts[1] - port->frameStarts[0], WireTimeMs(5, 9600) + 570u);

    port->onFrame = nullptr;
    EXPECT_EQ(serial.request(1, 500), 76);
    EXPECT_EQ(port->frameStarts.size(), 4u);

    // An answer of 74 data bytes counts 76 too: the reply's kind, not its
    // code, tells it from the request that did not get through.
    EXPECT_EQ(serial.ask(1, 500, 0).kind, LinkReply::Kind::kNotSent);
    const std::vector<std::uint8_t> data74(74, 'x');
    peerAnswers(1, EncodeFrame(data74.data(), data74.size()));
    const LinkReply answer = serial.ask(1, 500, 0);
    EXPECT_EQ(answer.kind, LinkReply::Kind::kAnswer);
    EXPECT_EQ(answer.code, 76);
    EXPECT_EQ(answer.dataBytes(), 74u);
}

TEST_F(SerialLinkTest, RequestTimeoutNakAndCorruptAnswers) {
    put("V");
    std::uint64_t sent = 0;
    port->onFrame = [&](const std::vector<std::uint8_t>&, bool) {
        port->arrive(1, Bytes({kAck}));
        sent = port->frameEnd + 1;
    };
    EXPECT_EQ(serial.request(1, 1500), 0);
    EXPECT_EQ(clock.nowMs(), sent + 1500);

    serial.slowLink = true;
    EXPECT_EQ(serial.request(1, 1500), 0);
    EXPECT_EQ(clock.nowMs(), sent + 3000);  // doubled in the slow variant
    serial.slowLink = false;

    // A NAK instead of the answer: 0, after a beep.
    peerAnswers(1, Bytes({kNak}));
    EXPECT_EQ(serial.request(1, 1500), 0);
    EXPECT_EQ(beeps, 1);
    // A corrupt answer: -1 for the caller to decide.
    peerAnswers(1, Bytes({0x10, 'a', 'c', 0x10, 0x03}));
    EXPECT_EQ(serial.request(1, 1500), -1);
    // An answer arriving late but within the time-out is taken.
    peerSends({{1, Bytes({kAck})}, {1400, EncodeFrame(Bytes({7, 8}).data(), 2)}});
    EXPECT_EQ(serial.request(1, 1500), 4);
    EXPECT_EQ(buf.rx[1], 7);
}

TEST(SerialOpen, GreetsFiveTimesAtMostThenSettles) {
    VirtualClock clock;
    LinkBuffers buf;
    SerialLink serial(buf, clock);
    ScriptedPort* port = nullptr;
    int acks = 0;  // greetings acknowledged from this one on; 0 never
    int greetings = 0;
    serial.makePort = [&] {
        auto p = std::make_unique<ScriptedPort>(clock);
        port = p.get();
        p->onFrame = [&](const std::vector<std::uint8_t>& payload, bool) {
            EXPECT_EQ(payload, Bytes({'B'}));
            if (++greetings == acks)
                port->arrive(2, Bytes({kAck}));
        };
        return p;
    };
    serial.slowLink = false;
    const std::uint64_t t0 = clock.nowMs();
    EXPECT_EQ(serial.open(), 1);  // no answer is no failure
    EXPECT_EQ(greetings, 5);
    // Frames 100 ms apart (the 25 ms pause is inside that), the last one's
    // line time and 20 ms for its acknowledgement, 250 ms settling.
    EXPECT_EQ(port->frameStarts.back() - port->frameStarts.front(), 400u);
    EXPECT_EQ(port->frameEnd, port->frameStarts.back() + WireTimeMs(5, 9600));
    EXPECT_EQ(clock.nowMs(), port->frameEnd + 20 + 250);
    EXPECT_EQ(serial.lastFrameTime, port->frameEnd + 20);
    EXPECT_GE(port->frameStarts.front(), t0);
    EXPECT_FALSE(port->modemDtr);

    // Acknowledged on the second greeting; the slow variant raises DTR and RTS.
    greetings = 0;
    acks = 2;
    serial.slowLink = true;
    EXPECT_EQ(serial.open(), 1);
    EXPECT_EQ(greetings, 2);
    EXPECT_TRUE(port->modemDtr);
    EXPECT_TRUE(port->modemRts);

    bool closed = false;
    serial.onClose = [&] { closed = true; };
    serial.close();
    EXPECT_TRUE(closed);
    EXPECT_FALSE(serial.isOpen());
    closed = false;
    serial.close();  // already closed: nothing
    EXPECT_FALSE(closed);

    serial.makePort = [&] {
        auto p = std::make_unique<ScriptedPort>(clock);
        p->openResult = {LinkStatus::kNoDevice, "gone"};
        return p;
    };
    LinkResult why;
    EXPECT_EQ(serial.open(&why), 0);
    EXPECT_EQ(why.reason, "gone");
}

TEST(LinkKind, OtherKindsDoNothingAndReturnZero) {
    VirtualClock clock;
    Link link(clock);
    int ports = 0;
    link.makeSerialPort = [&]() -> std::unique_ptr<Transport> {
        ++ports;
        return std::make_unique<ScriptedPort>(clock);
    };
    link.linkKind = 2;
    const std::uint64_t t0 = clock.nowMs();
    EXPECT_EQ(LinkConnect(link), 0);
    EXPECT_EQ(LinkRequest(link, 1, 1500).code, 0);
    EXPECT_EQ(LinkSend(link, 1), 0);
    EXPECT_EQ(LinkBlockRequest(link, 4, 8000, 1).code, 0);
    LinkDisconnect(link);
    EXPECT_EQ(ports, 0);
    EXPECT_EQ(clock.nowMs(), t0);
}

class RecordingUsb : public UsbBackend {
  public:
    explicit RecordingUsb(VirtualClock& clock, std::vector<std::string> names = {"PV 6410"})
        : clock_(clock), names_(std::move(names)) {}

    struct Transfer {
        std::uint8_t endpoint;  // 0 for a control transfer
        std::uint8_t requestType, request;
        std::vector<std::uint8_t> data;
        std::uint64_t time;
    };
    std::vector<Transfer> writes;
    std::vector<std::uint64_t> reads;
    std::deque<std::pair<std::uint64_t, std::vector<std::uint8_t>>> answers;  // (ready at, data)
    int failSends = 0;
    int sendError = LIBUSB_ERROR_PIPE;  // what a failed control send reports
    int openError = 0;
    int openErrorFrom = 0;  // the first device that fails to open
    int opened = 0, closed = 0;
    UsbId instrumentId{0xabcd, 0x0102};
    std::vector<UsbSeen> others;  // further devices on the bus, not instruments
    std::vector<bool> mayDetach;
    std::vector<std::uint8_t> readEndpoints;

    // The instruments are the devices whose id is listed, as with libusb.
    int findDevices(const std::vector<UsbId>& ids, std::vector<int>& devices,
                    std::vector<UsbSeen>& all) override {
        devices.clear();
        all = others;
        for (std::size_t i = 0; i < names_.size(); ++i) {
            all.push_back({instrumentId, 1, 4 + static_cast<int>(i)});
            if (std::find(ids.begin(), ids.end(), instrumentId) != ids.end())
                devices.push_back(static_cast<int>(all.size() - 1));
        }
        return 0;
    }
    int open(int device, bool detach, std::string& reason) override {
        mayDetach.push_back(detach);
        const int index = device - static_cast<int>(others.size());
        if (openError && index >= openErrorFrom) {
            reason =
                StatusFromLibusb(openError, "USB device 001/00" + std::to_string(4 + index)).reason;
            return openError;
        }
        ++opened;
        return index;
    }
    void close(int) override { ++closed; }
    int controlOut(int, std::uint8_t type, std::uint8_t request, std::uint16_t, std::uint16_t,
                   const std::uint8_t* data, std::uint16_t length, unsigned) override {
        if (failSends > 0) {
            --failSends;
            return sendError;
        }
        writes.push_back({0, type, request, {data, data + length}, clock_.nowMs()});
        return length;
    }
    int bulk(int, std::uint8_t endpoint, std::uint8_t* data, int length, int& transferred,
             unsigned) override {
        transferred = 0;
        if (!(endpoint & 0x80)) {  // data, or a request sent as a bulk transfer
            if (endpoint == kUsbEndpointOut && failSends > 0) {
                --failSends;
                return LIBUSB_ERROR_IO;
            }
            writes.push_back({endpoint, 0, 0, {data, data + length}, clock_.nowMs()});
            transferred = length;
            return 0;
        }
        EXPECT_EQ(length, 2500);
        readEndpoints.push_back(endpoint);
        reads.push_back(clock_.nowMs());
        if (answers.empty() || answers.front().first > clock_.nowMs())
            return LIBUSB_ERROR_TIMEOUT;
        const auto a = answers.front().second;
        answers.pop_front();
        std::copy(a.begin(), a.end(), data);
        transferred = static_cast<int>(a.size());
        return 0;
    }
    int stringDescriptor(int handle, std::uint8_t index, std::uint16_t language, std::uint8_t* data,
                         int) override {
        EXPECT_EQ(index, 2);
        EXPECT_EQ(language, 0x0409);
        const std::string& name = names_[static_cast<std::size_t>(handle)];
        data[0] = static_cast<std::uint8_t>(2 + 2 * name.size());
        data[1] = 3;
        for (std::size_t i = 0; i < name.size(); ++i) {
            data[2 + 2 * i] = static_cast<std::uint8_t>(name[i]);
            data[3 + 2 * i] = 0x01;  // only the low byte of each unit is kept
        }
        return data[0];
    }

  private:
    VirtualClock& clock_;
    std::vector<std::string> names_;
};

struct UsbFixture {
    explicit UsbFixture(std::vector<std::string> names = {"PV 6410"}) : link(clock) {
        auto b = std::make_unique<RecordingUsb>(clock, std::move(names));
        usb = b.get();
        link.usb.backend = std::move(b);
        link.usb.ids = {usb->instrumentId};
        link.linkKind = kLinkUsb;
    }
    VirtualClock clock;
    Link link;
    RecordingUsb* usb = nullptr;
};

TEST(LinkUsb, EnumerationOpensEverySlotAndNamesEntryZero) {
    // Zero, one and two devices through the real libusb backend are the
    // umockdev tests.
    {
        UsbFixture f({"First", "Second"});
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.link.usb.deviceCount(), 2);
        // Both names went to entry 0 (the umockdev test: the second one stays).
        EXPECT_STREQ(f.link.table[1].name, "");
        EXPECT_EQ(f.link.usb.currentDevice, 0u);

        LinkDisconnect(f.link);
        EXPECT_EQ(f.link.usb.deviceCount(), 0);
        EXPECT_EQ(f.usb->closed, 2);
        EXPECT_FALSE(f.link.table[0].present);
        EXPECT_TRUE(f.link.table[1].present);  // only entry 0 is marked absent
    }
    {
        // Eight instruments: six slots, the last reused.
        UsbFixture f({"1", "2", "3", "4", "5", "6", "7", "8"});
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.link.usb.deviceCount(), 6);
        EXPECT_EQ(f.usb->opened - f.usb->closed, 6);
    }
}

TEST(LinkUsb, NotFoundUnknownIdsAndFailedOpensSayWhatWasSeen) {
    {
        // An instrument of an id that is not configured, beside a hub: no
        // instrument, and the detail names both devices, the ids looked for
        // and where to add one.
        UsbFixture f;
        f.usb->others = {{{0x1d6b, 0x0002}, 1, 1}};
        f.link.usb.ids = {{0x1209, 0x0002}};
        f.link.usb.settingsPath = "/home/u/.config/link.ini";
        EXPECT_EQ(InstrumentConnect(f.link), 76);
        const std::string& why = f.link.lastReason;
        for (const char* part : {"1d6b:0002 (bus 001 device 001)", "abcd:0102 (bus 001 device 004)",
                                 "1209:0002", "usbids=", "/home/u/.config/link.ini"})
            EXPECT_NE(why.find(part), std::string::npos) << part << " in " << why;
        EXPECT_EQ(f.usb->opened, 0);
    }
    {
        // No id configured at all: the test id is never looked for.
        UsbFixture f;
        f.usb->instrumentId = kUsbTestId;
        f.link.usb.ids = DefaultUsbIds();
        EXPECT_EQ(InstrumentConnect(f.link), 76);
        EXPECT_EQ(f.usb->opened, 0);
        // Configured for a test set-up, it is opened, but its kernel driver is
        // never detached; a chosen instrument id may be.
        f.link.usb.ids = {kUsbTestId};
        EXPECT_EQ(LinkConnect(f.link), 0);
        f.usb->instrumentId = {0xabcd, 0x0102};
        f.link.usb.ids = {f.usb->instrumentId};
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.usb->mayDetach, (std::vector<bool>{false, true}));
    }
    {
        // No permission: 74 inside the link, 79 from the connect, with the
        // system's reason, the rule's path and the command that reloads it.
        UsbFixture f;
        f.usb->openError = LIBUSB_ERROR_ACCESS;
        EXPECT_EQ(LinkConnect(f.link), 79);
        const std::string& why = f.link.lastReason;
        for (const std::string& part :
             {std::string("001/004"), std::string(libusb_strerror(LIBUSB_ERROR_ACCESS)),
              UdevRulePath(), std::string("udevadm control --reload")})
            EXPECT_NE(why.find(part), std::string::npos) << part << " in " << why;
    }
    {
        // The third of four instruments cannot be claimed: the enumeration
        // ends with the two found before it.
        UsbFixture f({"A", "B", "C", "D"});
        f.usb->openError = LIBUSB_ERROR_BUSY;
        f.usb->openErrorFrom = 2;
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.link.usb.deviceCount(), 2);
        EXPECT_TRUE(f.link.table[1].present);
        EXPECT_FALSE(f.link.table[2].present);
        EXPECT_EQ(f.usb->mayDetach.size(), 3u);  // D was not tried
        EXPECT_NE(f.link.lastReason.find("001/006"), std::string::npos) << f.link.lastReason;
    }
}

TEST(LinkUsb, RequestsAreVendorControlTransfersPolledEvery20Ms) {
    UsbFixture f;
    ASSERT_EQ(LinkConnect(f.link), 0);
    std::copy_n("pI", 2, f.link.buf.tx.begin());
    const std::uint64_t t0 = f.clock.nowMs();
    f.usb->answers.push_back({t0 + 45, Bytes({1, 2, 3})});
    // The link's one trace point sees the USB bytes both ways.
    char* traced = nullptr;
    std::size_t tracedSize = 0;
    std::FILE* traceOut = open_memstream(&traced, &tracedSize);
    Trace trace(traceOut);
    f.link.setTrace(&trace);
    EXPECT_EQ(LinkRequest(f.link, 2, 1500).code, 5);  // 3 bytes + 2
    f.link.setTrace(nullptr);
    std::fclose(traceOut);
    auto line = [](std::uint64_t t, const char* bytes) {
        char text[64];
        std::snprintf(text, sizeof text, "%10llu %s\n", static_cast<unsigned long long>(t), bytes);
        return std::string(text);
    };
    EXPECT_EQ(std::string(traced, tracedSize), line(t0, "> 70 49") + line(t0 + 63, "< 01 02 03"));
    std::free(traced);
    ASSERT_EQ(f.usb->writes.size(), 1u);
    const RecordingUsb::Transfer& w = f.usb->writes[0];
    EXPECT_EQ(std::tuple(w.endpoint, w.requestType, w.request, w.data),
              std::tuple(0, 0x40, 1, Bytes({'p', 'I'})));
    EXPECT_EQ(f.usb->reads, (std::vector<std::uint64_t>{t0 + 21, t0 + 42, t0 + 63}));
    EXPECT_EQ(Bytes(f.link.buf.rx.begin() + 1, f.link.buf.rx.begin() + 4), Bytes({1, 2, 3}));

    // Nothing within the time-out: 0 once more than 1500 ms have passed.
    f.usb->reads.clear();
    const std::uint64_t t1 = f.clock.nowMs();
    EXPECT_EQ(LinkRequest(f.link, 2, 1500).code, 0);
    EXPECT_EQ(f.clock.nowMs(), t1 + 1501);
    EXPECT_EQ(f.usb->reads.size(), 71u);  // every 21 ms

    // A single byte is no answer.
    f.usb->answers.push_back({0, Bytes({'?'})});
    EXPECT_EQ(LinkRequest(f.link, 2, 100).code, 0);

    // Via bulk: the request goes to endpoint 0x06 instead.
    f.usb->answers.push_back({0, Bytes({0, 0})});
    EXPECT_EQ(LinkBlockRequest(f.link, 4, 8000, 1).code, 4);
    EXPECT_EQ(f.usb->writes.back().endpoint, kUsbEndpointOut);

    // Another request mapping, from the settings: requests as bulk transfers
    // to endpoint 0x02, answers from 0x81.
    ASSERT_TRUE(ParseUsbRequestMap("bulk:02,in:81", f.link.usb.map));
    f.usb->answers.push_back({0, Bytes({7, 7})});
    EXPECT_EQ(LinkRequest(f.link, 2, 1500).code, 4);
    EXPECT_EQ(f.usb->writes.back().endpoint, 0x02);
    EXPECT_EQ(f.usb->readEndpoints.back(), 0x81);
    EXPECT_EQ(FormatUsbRequestMap(f.link.usb.map), "bulk:02,in:81");
    UsbRequestMap bad;
    EXPECT_FALSE(ParseUsbRequestMap("bulk:82", bad));  // an IN endpoint cannot take a request
    EXPECT_FALSE(ParseUsbRequestMap("control:40:1:0:0", bad));
    ASSERT_TRUE(ParseUsbRequestMap("control:c0:05:0001:0002,in:85", f.link.usb.map));
    f.usb->answers.push_back({0, Bytes({7, 7})});
    EXPECT_EQ(LinkRequest(f.link, 2, 1500).code, 4);
    EXPECT_EQ(f.usb->writes.back().requestType, 0xc0);
    EXPECT_EQ(f.usb->writes.back().request, 5);
    f.link.usb.map = UsbRequestMap{};

    // Two failed sends: -99 at once, without polling.
    f.usb->failSends = 2;
    f.usb->reads.clear();
    const std::uint64_t t2 = f.clock.nowMs();
    EXPECT_EQ(LinkRequest(f.link, 2, 1500).code, -99);
    EXPECT_EQ(f.clock.nowMs(), t2);
    EXPECT_TRUE(f.usb->reads.empty());
    // One failed send is repeated at once.
    f.usb->failSends = 1;
    f.usb->answers.push_back({0, Bytes({9, 9})});
    EXPECT_EQ(LinkRequest(f.link, 2, 1500).code, 4);

    // -99 is handed on by the identification.
    f.usb->failSends = 2;
    EXPECT_EQ(InstrumentIdentify(f.link, 0), -99);

    // A device that is gone gets no second send, and the reply says why.
    f.usb->failSends = 1;
    f.usb->sendError = LIBUSB_ERROR_NO_DEVICE;
    const std::size_t written = f.usb->writes.size();
    const LinkReply gone = LinkRequest(f.link, 2, 1500);
    EXPECT_EQ(gone.kind, LinkReply::Kind::kNotSent);
    EXPECT_EQ(gone.code, -99);
    EXPECT_EQ(gone.why.status, LinkStatus::kNoDevice);
    EXPECT_NE(gone.why.reason.find("USB request"), std::string::npos);
    EXPECT_EQ(f.usb->writes.size(), written);
}

// quelvari-instrument on a pseudo-terminal with the given card directory and
// options; path() is the terminal it prints, empty if it did not start.
class PtyInstrument {
  public:
    explicit PtyInstrument(const std::string& card, std::vector<std::string> options = {}) {
        int out[2];
        if (::pipe(out) != 0)
            return;
        options.insert(options.begin(), {"quelvari-instrument", "--card", card});
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(out[1], 1);
            ::close(out[0]);
            std::vector<char*> argv;
            for (std::string& o : options)
                argv.push_back(o.data());
            argv.push_back(nullptr);
            ::execv(QUELVARI_INSTRUMENT, argv.data());
            ::_exit(127);
        }
        ::close(out[1]);
        char c = 0;
        while (::read(out[0], &c, 1) == 1 && c != '\n')
            path_ += c;
        ::close(out[0]);
    }
    ~PtyInstrument() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            int status = 0;
            ::waitpid(pid_, &status, 0);
        }
    }
    PtyInstrument(const PtyInstrument&) = delete;
    PtyInstrument& operator=(const PtyInstrument&) = delete;
    const std::string& path() const { return path_; }

  private:
    pid_t pid_ = -1;
    std::string path_;
};

// Keeps what the memory display was given.
class MemoryFields : public MemoryDisplay {
  public:
    void setField(std::uint32_t id, const std::string& text) override { fields[id] = text; }
    void disableStart() override { ++disabled; }
    void hideProgress() override { ++hidden; }
    std::map<std::uint32_t, std::string> fields;
    int disabled = 0, hidden = 0;
};

// A time step numbered `i` whose last byte tells it apart.
inline ComponentRecord Numbered(int i) {
    ComponentRecord r;
    r.setTypeCode('Z');
    r.setNumber(static_cast<std::uint16_t>(i));
    r.bytes[799] = static_cast<std::uint8_t>(i * 7);
    return r;
}

// The simulated instrument's default settings, its card in `card`.
SimSettings OnCard(const std::string& card, std::uint16_t model = kModel6410) {
    SimSettings s = DefaultSimSettings(model);
    s.cardDir = card;
    return s;
}

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
        auto sims = AttachSimulatedUsb(link, DefaultSimSettings());
        sims[0]->settings().faults.refuseSelection = true;
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
    const InstrumentEntry& e = link.table[0];
    EXPECT_EQ(std::tuple(e.model, e.word2, e.byte13, std::string(e.name)),
              std::tuple(kModel6410, 0x1010, s.identity.byte13, std::string(s.identity.name)));
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
    SimSettings s = OnCard(card.path());
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
        std::copy_n("pI", 2, link.buf.tx.begin());
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
    EXPECT_EQ(std::tuple(link.linkKind, link.serialDevice, link.baudIndex, link.slowLink),
              std::tuple(kLinkSerial, "/dev/ttyUSB1", 2, 1));

    // Damaged lines are skipped; a missing file gives USB.
    const LinkConfig odd = ParseLinkConfig("kind=modem\nbaud=x\nport=999\nslow=1\nnoise\n");
    EXPECT_EQ(std::tuple(odd.kind, odd.baudIndex, odd.comPortIndex, odd.slow),
              std::tuple(LinkConfig::Kind::kUsb, 0, 0, true));
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
        : instrument(OnCard(card)) {
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
        EXPECT_EQ(fs::file_size(card.file("P001.PAD")), 3u * 800);
        EXPECT_EQ(fs::file_size(card.file("P001.IR1")), 800u);
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

// Every payload the host sends, with the time it went out.
struct Sent {
    std::uint64_t time;
    std::vector<std::uint8_t> bytes;
    std::string key() const {
        return std::string(bytes.begin(), bytes.begin() + std::min<std::size_t>(3, bytes.size()));
    }
};

// The simulated instruments' USB side, keeping every payload the host sends.
class RecordingBackend : public SimUsbBackend {
  public:
    RecordingBackend(std::vector<std::shared_ptr<SimulatedInstrument>> sims, Clock& clock)
        : SimUsbBackend(std::move(sims)), clock_(clock) {}
    int controlOut(int h, std::uint8_t type, std::uint8_t req, std::uint16_t v, std::uint16_t i,
                   const std::uint8_t* data, std::uint16_t length, unsigned t) override {
        sent.push_back({clock_.nowMs(), {data, data + length}});
        return SimUsbBackend::controlOut(h, type, req, v, i, data, length, t);
    }
    int bulk(int h, std::uint8_t ep, std::uint8_t* data, int length, int& transferred,
             unsigned t) override {
        if (ep == kUsbEndpointOut) {
            const int payload = length % 64 == 1 ? length - 1 : length;
            sent.push_back({clock_.nowMs(), {data, data + payload}});
        }
        return SimUsbBackend::bulk(h, ep, data, length, transferred, t);
    }
    std::vector<Sent> sent;

  private:
    Clock& clock_;
};

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

TEST(LinkPace, CancelActsWithin100MsInEveryWaitAndStillReleases) {
    // Pressed during the closing polls (200 ms pauses and 8 s requests) and
    // during a closing request that the instrument never answers (8 s).
    // (What, the busy polls, the fraction of answers lost, when Cancel is
    // pressed in ms after the start of the transfer.)
    for (const auto& [what, busyPolls, drop, after] :
         {std::tuple{"polls", 50, 0.0, 2500}, std::tuple{"unanswered", 0, 1.0, 3000}}) {
        SCOPED_TRACE(what);
        CancellingClock clock;
        Link link(clock);
        TempDir card;
        SimSettings s = OnCard(card.path());
        s.faults.busyPolls = busyPolls;
        auto sims = AttachSimulatedUsb(link, s);
        auto recording = std::make_unique<RecordingBackend>(sims, clock);
        const RecordingBackend& wire = *recording;
        link.usb.backend = std::move(recording);
        ASSERT_EQ(InstrumentConnect(link), 0);
        sims[0]->settings().faults.dropFraction = drop;
        link.setCancel(&clock.token);
        clock.cancelAt = clock.nowMs() + static_cast<std::uint64_t>(after);
        TransferObserver quiet;
        const TransferResult r = RunTransfer(link, SmallJob(), TransferSettings{}, quiet);
        ASSERT_NE(clock.pressed, 0u);
        EXPECT_TRUE(r.cancelled);
        EXPECT_EQ(r.code, 0);
        // "W", 0 went out after the press.
        const auto released = std::find_if(wire.sent.rbegin(), wire.sent.rend(), [](const Sent& x) {
            return x.bytes == Bytes({'W', 0});
        });
        ASSERT_NE(released, wire.sent.rend());
        EXPECT_GE(released->time, clock.pressed);
        EXPECT_LE(released->time - clock.pressed, 100u);
        // The transfer stopped where it was: nothing after the procedure file.
        EXPECT_FALSE(fs::exists(card.file("P001.IR1")));
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
        struct HangUpAtClose : TransferObserver {
            std::function<void()> act;
            void status(const std::string&) override { act(); }
        } observer;
        std::uint64_t at = 0;
        observer.act = [&] {
            line.port->hangUp();
            at = clock.nowMs();
        };
        const TransferResult r = RunTransfer(link, SmallJob(), TransferSettings{}, observer);
        EXPECT_EQ(r.code, 91);
        ASSERT_NE(at, 0u);
        EXPECT_LT(clock.nowMs() - at, 200u);  // 50 polls would take more than 10 s
        EXPECT_NE(LinkDetail(link).find("pty: Input/output error"), std::string::npos)
            << LinkDetail(link);
    }
}

class Observed : public TransferObserver {
  public:
    void progress(int p) override {
        positions.push_back(p);
        if (cancelAt && p == cancelAt)
            cancel.cancel();
    }
    void status(const std::string& text) override {
        statuses.push_back(text);
        if (statuses.size() == cancelAtStatus)
            cancel.cancel();
    }
    void pictureMissing(const std::string&) override { ++missing; }
    std::vector<int> positions;
    std::vector<std::string> statuses;
    int missing = 0;
    int cancelAt = 0;  // the progress, or the status count, that presses Cancel
    std::size_t cancelAtStatus = 0;
    CancelToken cancel;
};

class TransferTest : public ::testing::Test {
  protected:
    void attach(int count = 1, std::uint16_t model = 0x6410, std::uint16_t second = 0) {
        SimSettings s = OnCard(card.path(), model);
        s.faults.busyPolls = busyPolls;
        sims = AttachSimulatedUsb(link, s, count, second);
        auto rec = std::make_unique<RecordingBackend>(sims, clock);
        backend = rec.get();
        link.usb.backend = std::move(rec);
    }
    std::vector<Sent> sentWith(const std::string& key) const {
        std::vector<Sent> out;
        for (const Sent& s : backend->sent)
            if (s.key() == key)
                out.push_back(s);
        return out;
    }
    TransferResult run(const TransferJob& job) {
        link.setCancel(&observed.cancel);
        return RunTransfer(link, job, settings, observed);
    }

    VirtualClock clock;
    Link link{clock};
    TempDir card;
    int busyPolls = 0;
    std::vector<std::shared_ptr<SimulatedInstrument>> sims;
    RecordingBackend* backend = nullptr;
    TransferSettings settings;
    Observed observed;
};

TEST_F(TransferTest, BlocksAreNumberedFromOneBigEndianOnePerTickInEveryPhase) {
    attach();
    ASSERT_EQ(InstrumentConnect(link), 0);
    TransferJob job;
    for (int i = 0; i < 300; ++i)
        job.records.push_back(Numbered(i + 1));
    job.header.fill(0x5A);
    // Interrupt procedures 2 and 4; the empty ones are skipped without a
    // request.
    job.interrupts[1] = {Numbered(11), Numbered(12)};
    job.interrupts[3] = {Numbered(41)};
    TempDir pics;
    std::vector<std::uint8_t> picture(1536 + 100);
    for (std::size_t i = 0; i < picture.size(); ++i)
        picture[i] = static_cast<std::uint8_t>(i * 13);
    test::writeBytes(pics.file("a.bmp"), picture);
    test::writeBytes(pics.file("b.bmp"), std::vector<std::uint8_t>(600, 0x42));
    job.pictures = {{pics.file("a.bmp"), false}, {pics.file("b.bmp"), false}};
    settings.number = 7;
    const TransferResult r = run(job);
    ASSERT_EQ(r.code, 0);
    EXPECT_EQ(r.blocks, 300 + 3 + 3);
    EXPECT_EQ(r.picturesSent, 2);

    const auto header = sentWith("pPH");
    ASSERT_EQ(header.size(), 1u);
    EXPECT_EQ(header[0].bytes.size(), 1828u);
    EXPECT_EQ(header[0].bytes[3], 7);

    const auto blocks = sentWith("pPD");
    ASSERT_EQ(blocks.size(), 300u);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const int n = static_cast<int>(i + 1);
        Bytes expected(job.records[i].bytes.begin(), job.records[i].bytes.end());
        expected.insert(expected.begin(),
                        {'p', 'P', 'D', 7, std::uint8_t(n >> 8), std::uint8_t(n), 1});
        EXPECT_EQ(blocks[i].bytes, expected) << n;
        if (i > 0) {
            EXPECT_EQ(blocks[i].time - blocks[i - 1].time, TransferTiming::kTick);
        }
    }

    // The card holds the header and the records as they were sent, and the
    // write request came one tick after the last block.
    const auto pad = test::readBytes(card.file("P007.PAD"));
    ASSERT_EQ(pad.size(), 300u * 800);
    EXPECT_TRUE(std::equal(job.records[42].bytes.begin(), job.records[42].bytes.end(),
                           pad.begin() + 42 * 800));
    EXPECT_EQ(test::readBytes(card.file("P007.HDR")),
              std::vector<std::uint8_t>(kHeaderBlockSize, 0x5A));
    const auto write = sentWith("pPW");
    ASSERT_EQ(write.size(), 1u);
    EXPECT_EQ(write[0].bytes, Bytes({'p', 'P', 'W', 7}));
    EXPECT_EQ(write[0].time - blocks.back().time, TransferTiming::kTick);
    EXPECT_EQ(observed.positions.front(), 0);
    EXPECT_EQ(observed.positions[300], 300);

    // Interrupt blocks carry the routine and their own count.
    const auto head = [](const Sent& s) {
        return std::vector<std::uint8_t>(s.bytes.begin(), s.bytes.begin() + 8);
    };
    const auto irq = sentWith("pQD");
    ASSERT_EQ(irq.size(), 3u);
    EXPECT_EQ(head(irq[0]), Bytes({'p', 'Q', 'D', 7, 2, 0, 1, 1}));
    EXPECT_EQ(head(irq[1]), Bytes({'p', 'Q', 'D', 7, 2, 0, 2, 1}));
    EXPECT_EQ(head(irq[2]), Bytes({'p', 'Q', 'D', 7, 4, 0, 1, 1}));
    EXPECT_EQ(irq[2].bytes.size(), 808u);
    EXPECT_EQ(sentWith("pQW")[0].bytes, Bytes({'p', 'Q', 'W', 7, 2, 0, 2}));
    EXPECT_EQ(sentWith("pQW")[1].bytes, Bytes({'p', 'Q', 'W', 7, 4, 0, 1}));
    EXPECT_TRUE(fs::exists(card.file("P007.IR4")));
    EXPECT_FALSE(fs::exists(card.file("P007.IR1")));

    // Picture blocks carry units of 512 bytes, and the counter advances by
    // them: 1536 + 100 bytes go as counter 1 (units 3) and 4 (units 1).
    const auto pic = sentWith("pBD");
    ASSERT_EQ(pic.size(), 3u);
    EXPECT_EQ(head(pic[0]), Bytes({'p', 'B', 'D', 7, 0, 0, 1, 3}));
    EXPECT_EQ(pic[0].bytes.size(), 8u + 1536);
    EXPECT_EQ(head(pic[1]), Bytes({'p', 'B', 'D', 7, 0, 0, 4, 1}));
    EXPECT_EQ(head(pic[2]), Bytes({'p', 'B', 'D', 7, 1, 0, 1, 2}));  // 600 bytes: two units
    EXPECT_EQ(sentWith("pBW")[0].bytes, Bytes({'p', 'B', 'W', 7, 0, 0, 5}));
    EXPECT_EQ(sentWith("pBW")[1].bytes, Bytes({'p', 'B', 'W', 7, 1, 0, 3}));
    EXPECT_EQ(test::readBytes(card.file("P007_0.BMP")), picture);
    // Status: each file's closing, a picture's name by its last 30
    // characters, then the count.
    const auto name = [&](const char* file) {
        const std::string path = pics.file(file);
        return path.substr(path.size() - std::min<std::size_t>(path.size(), 30));
    };
    EXPECT_EQ(observed.statuses,
              (std::vector<std::string>{"Write PAD -> CF", "Write IRQ2 -> CF", "Write IRQ4 -> CF",
                                        name("a.bmp"), "Write BMP -> CF", name("b.bmp"),
                                        "Write BMP -> CF", "2"}));
}

TEST_F(TransferTest, ScreenPicturesGoConvertedOnlyWithFastPresentation) {
    attach(1, 0x3320);
    ASSERT_EQ(InstrumentConnect(link), 0);
    TempDir pics;
    test::writeBytes(pics.file("s.jpg"), std::vector<std::uint8_t>(700, 1));
    TransferJob job;
    job.records = {Numbered(1)};
    job.pictures = {{pics.file("s.jpg"), true}};
    int conversions = 0;
    settings.model = 0x3320;
    settings.toScreen = [&](const std::string&, std::uint16_t model, std::vector<std::uint8_t>& o) {
        ++conversions;
        const std::uint8_t red[3] = {255, 0, 0};
        o = PackScreen(model, 1, 1, red, 3);
        return true;
    };
    ASSERT_EQ(run(job).code, 0);
    EXPECT_EQ(conversions, 1);
    const auto screen = test::readBytes(card.file("P001_0.BMP"));
    ASSERT_EQ(screen.size(), kScreenBufferSize);
    // Red in 5-6-5, little-endian, then the preset of a PV3320.
    EXPECT_EQ(std::vector<std::uint8_t>(screen.begin(), screen.begin() + 4),
              Bytes({0x00, 0xF8, 0xDE, 0x7B}));
    EXPECT_EQ(sentWith("pBD").size(), (kScreenBufferSize + 1535) / 1536);
    EXPECT_EQ(SentPictureSize(job.pictures[0], settings), kScreenBufferSize);

    settings.fastPictures = false;
    ASSERT_EQ(run(job).code, 0);
    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(test::readBytes(card.file("P001_0.BMP")).size(), 700u);
    EXPECT_EQ(SentPictureSize(job.pictures[0], settings), 700u);
    EXPECT_EQ(ScreenPreset(0x6410), std::vector<std::uint8_t>(kScreenBufferSize, 0xFF));
}

TEST_F(TransferTest, FinishFilePollsEvery200MsAtMostFiftyTimes) {
    busyPolls = 2;
    attach();
    ASSERT_EQ(InstrumentConnect(link), 0);
    backend->sent.clear();
    const std::uint64_t t0 = clock.nowMs();
    EXPECT_EQ(FinishFile(link, 'P', 1, 0, 0), 0);
    const auto polls = sentWith("pP?");
    ASSERT_EQ(polls.size(), 3u);
    // 200 ms before each poll; each USB request answers on its first 20 ms
    // poll, and the handshake ends with 100 ms.
    EXPECT_EQ(polls[0].time - sentWith("pPW")[0].time, 200u + 21);
    EXPECT_EQ(polls[2].time - polls[1].time, 200u + 21);
    EXPECT_EQ(clock.nowMs() - t0, 4u * 21 + 3 * 200 + 100);

    // Done on poll 49 is success; done only on the 50th counts as a failure,
    // and so does no success at all.
    for (const auto& [busy, expected, count] :
         {std::tuple{48, 0, 49u}, std::tuple{49, 91, 50u}, std::tuple{70, 91, 50u}}) {
        sims[0]->settings().faults.busyPolls = busy;
        backend->sent.clear();
        EXPECT_EQ(FinishFile(link, 'B', 1, 0, 5), expected) << busy;
        EXPECT_EQ(sentWith("pB?").size(), count) << busy;
    }
}

TEST_F(TransferTest, StartChecksRefuseASecondInstrumentAndTooLittleMemory) {
    attach(2, 0x3320);
    ASSERT_EQ(InstrumentConnect(link), 0);
    InstrumentMemory memory = sims[0]->settings().memory;
    EXPECT_EQ(StartChecks(link, memory, MemoryNeed{}), 78);

    Link single(clock);
    AttachSimulatedUsb(single, DefaultSimSettings(0x6410));
    ASSERT_EQ(InstrumentConnect(single), 0);
    memory.freeBlocks = 10;  // 5120 bytes
    memory.seriesMb = 1;
    MemoryNeed need{4096, 1024};
    EXPECT_EQ(StartChecks(single, memory, need), 0);
    need.pictureBytes = 1536;
    EXPECT_EQ(StartChecks(single, memory, need), 82);
    need.pictureBytes = 0;
    need.seriesKb = 1025;
    EXPECT_EQ(StartChecks(single, memory, need), 83);

    // The need counts whole 512-byte blocks per file.
    TransferJob job;
    job.records.resize(3);
    job.interrupts[2].resize(1);
    job.pictures = {{"x", false}};
    const MemoryNeed n = ComputeMemoryNeed(job, [](const TransferPicture&) { return 513; });
    EXPECT_EQ(n.procedureBytes, 2048u + 2560 + 1024);
    EXPECT_EQ(n.pictureBytes, 1024u);
}

TEST_F(TransferTest, RefusalFailureAndCancelAlwaysReleaseTheInstrument) {
    attach();
    TransferJob job;
    for (int i = 0; i < 20; ++i)
        job.records.push_back(Numbered(i + 1));

    sims[0]->settings().faults.refuseHeader = true;
    ASSERT_EQ(InstrumentConnect(link), 0);
    ASSERT_TRUE(sims[0]->selected());
    EXPECT_EQ(run(job).code, 101);
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_TRUE(sentWith("pPD").empty());

    sims[0]->settings().faults.refuseHeader = false;
    ASSERT_EQ(InstrumentConnect(link), 0);
    backend->sent.clear();
    observed.cancelAt = 10;
    const TransferResult r = run(job);
    EXPECT_TRUE(r.cancelled);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(sentWith("pPD").size(), 10u);
    EXPECT_TRUE(sentWith("pPW").empty());
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_EQ(backend->sent.back().bytes, Bytes({'W', 0}));
    EXPECT_FALSE(fs::exists(card.file("P001.PAD")));

    // A write the instrument cannot finish stops with 91 and releases too.
    observed.cancelAt = 0;
    observed.cancel.reset();
    ASSERT_EQ(InstrumentConnect(link), 0);
    sims[0]->settings().faults.busyPolls = 80;
    EXPECT_EQ(run(job).code, 91);
    EXPECT_FALSE(sims[0]->selected());
}

TEST_F(TransferTest, AMissingPictureIsTriedOnEveryTickUntilCancelled) {
    attach();
    // A FIFO or a device in place of the picture is no picture either: it is
    // neither waited on nor read without end.
    const std::string fifo = card.file("fifo.bmp"), zero = card.file("zero.bmp");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", zero);
    for (const std::string& path : {card.file("no-such-picture.bmp"), fifo, zero}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(SentPictureSize({path, false}, settings), 0u);
        ASSERT_EQ(InstrumentConnect(link), 0) << link.lastReason;
        TransferJob job;
        job.records = {Numbered(1)};
        job.pictures = {{path, false}};
        Observed watcher;
        watcher.cancelAtStatus = 25;
        const std::uint64_t t0 = clock.nowMs();
        link.setCancel(&watcher.cancel);
        const TransferResult r = RunTransfer(link, job, settings, watcher);
        EXPECT_TRUE(r.cancelled);
        EXPECT_EQ(watcher.missing, 1);
        EXPECT_EQ(watcher.statuses.size(), 25u);  // "Write PAD -> CF", then 24 tries of the picture
        EXPECT_GE(clock.nowMs() - t0, 25u * TransferTiming::kTick);
        EXPECT_TRUE(sentWith("pBD").empty());
        EXPECT_FALSE(sims[0]->selected());
        link.setCancel(nullptr);
    }
}

// The job from a procedure checked by the syntax test.
class TransferJobTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
            fs::copy_file(std::string(QUELVARI_EXAMPLES) + "/check-clean/" + name, dir.file(name));
        pad = dir.file("CLEAN.PAD");
    }
    TempDir dir;
    std::string pad;
};

TEST_F(TransferJobTest, TheSystemFileOfACheckForTheModelMustBeCurrent) {
    TransferJob job;
    EXPECT_EQ(PrepareTransferJob(pad, 1, job), 90);  // never checked
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 75);
    EXPECT_EQ(PrepareTransferJob(pad, -1, job), 75);

    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    ASSERT_EQ(PrepareTransferJob(pad, 1, job), 0);
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 75);  // checked for the other model

    ASSERT_EQ(PrepareTransferJob(pad, 1, job), 0);
    const auto sys = test::readBytes(SystemFilePath(pad));
    ASSERT_EQ(sys.size(), kSystemBlockSize);
    EXPECT_TRUE(std::equal(job.header.begin(), job.header.end(), sys.begin()));
    RecordFile file;
    ASSERT_TRUE(readRecordFile(pad, file).ok());
    EXPECT_EQ(job.records.size(), file.records.size());
    EXPECT_FALSE(job.interrupts[0].empty());  // CLEAN uses its routine 1
    EXPECT_TRUE(job.interrupts[1].empty());

    // A procedure saved after the check needs the check again.
    fs::last_write_time(SystemFilePath(pad), fs::last_write_time(pad) - std::chrono::seconds(5));
    EXPECT_EQ(PrepareTransferJob(pad, 1, job), 90);
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv3320).systemFileWritten);
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 0);

    // Old format and unreadable files.
    test::writeBytes(pad, std::vector<std::uint8_t>(768, 0));
    fs::last_write_time(SystemFilePath(pad), fs::last_write_time(pad) + std::chrono::seconds(5));
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 85);
    EXPECT_EQ(PrepareTransferJob(dir.file("NONE.PAD"), 2, job), 72);
}

TEST_F(TransferJobTest, FifosAndDevicesAreNeitherWaitedOnNorReadWithoutEnd) {
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    TransferJob job;
    ASSERT_EQ(PrepareTransferJob(pad, 1, job), 0);
    const std::string sys = SystemFilePath(pad);
    const std::string settings = dir.file("link.conf");
    // A FIFO without a writer would block an ordinary open; /dev/zero never
    // ends. Both read as "not checked" and as the default settings.
    for (const bool fifo : {true, false}) {
        SCOPED_TRACE(fifo ? "FIFO" : "/dev/zero");
        for (const std::string& p : {sys, settings}) {
            fs::remove(p);
            ASSERT_EQ(fifo ? ::mkfifo(p.c_str(), 0600) : ::symlink("/dev/zero", p.c_str()), 0);
        }
        EXPECT_EQ(PrepareTransferJob(pad, 1, job), 90);
        const LinkConfig read = ReadLinkConfig(settings);
        EXPECT_EQ(read.kind, LinkConfig::Kind::kUsb);
        EXPECT_TRUE(read.usbIds.empty());
    }
    // A settings file larger than any real one reads as the defaults too.
    fs::remove(settings);
    test::writeText(settings, "kind=serial" + std::string(kLinkConfigMax + 1 - 11, '\n'));
    EXPECT_EQ(ReadLinkConfig(settings).kind, LinkConfig::Kind::kUsb);
}

TEST_F(TransferJobTest, TheStartRefusesAFullInstrumentAndAPictureTheCounterCannotCarry) {
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    MemoryFields display;
    const std::string picture = dir.file("HUGE.BMP");
    // (What, the instrument's next free place, the size of the procedure's
    // picture, the code, what the reason names.)
    for (const auto& [what, number, pictureBytes, code, detail] :
         std::vector<std::tuple<const char*, std::uint8_t, std::uint64_t, int, std::string>>{
             {"full", 0, 0, 82, "\" voll\""},
             {"picture", 1, kPictureBytesMax + 1, 79, picture},
             {"largest picture", 1, kPictureBytesMax, 0, ""}}) {
        SCOPED_TRACE(what);
        if (pictureBytes) {
            // A sparse file of the size, named by the checked procedure.
            test::writeBytes(picture, {});
            fs::resize_file(picture, pictureBytes);
            auto sys = test::readBytes(SystemFilePath(pad));
            PutLe16(sys.data() + sysblk::kPictureCount, 1);
            std::copy(picture.begin(), picture.end(), sys.begin() + sysblk::kPictures);
            test::writeBytes(SystemFilePath(pad), sys);
        }
        VirtualClock clock;
        Link link(clock);
        TempDir card;
        SimSettings s = OnCard(card.path());
        s.memory.procedureNumber = number;
        s.memory.freeBlocks = 0x7FFFFFFF;
        auto sims = AttachSimulatedUsb(link, s);
        TransferSettings settings;
        settings.fastPictures = false;
        // Cancelled at the first block when it does start: only the refusal
        // (or its absence) is of interest here.
        Observed stop;
        stop.cancelAt = 1;
        link.setCancel(&stop.cancel);
        const TransferOutcome out = TransferToInstrument(link, pad, settings, display, stop);
        EXPECT_EQ(out.code, code);
        EXPECT_NE(link.lastReason.find(detail), std::string::npos) << link.lastReason;
        // Refused before the header, or cancelled at the first block.
        EXPECT_EQ(out.cancelled, code == 0);
        EXPECT_EQ(sims[0]->counts().count("pPH"), code == 0 ? 1u : 0u);
    }
}

// Whole transfers with quelvari-cli: through the in-process simulated
// instrument and through quelvari-instrument on a pseudo-terminal with the
// real serial port backend, clean and with damaged frames. Every run is
// bounded by `timeout`: a hang fails the test instead of stopping the suite.
class TransferCli : public TransferJobTest {
  protected:
    test::CommandResult transfer(const std::string& link, const std::string& more = "") {
        return test::runCommand("timeout 120 " + std::string(QUELVARI_CLI) + " transfer '" + pad +
                                "' --number 2 --lang 1 --link " + link + " " + more + " 2>&1");
    }
    std::vector<std::string> cardFiles(const std::string& card) {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(card))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectSameCards(const std::string& a, const std::string& b) {
        ASSERT_EQ(cardFiles(a), cardFiles(b));
        for (const std::string& name : cardFiles(a))
            EXPECT_EQ(test::readBytes(a + "/" + name), test::readBytes(b + "/" + name)) << name;
    }
};

TEST_F(TransferCli, RefusesAnUncheckedProcedureAndBadArguments) {
    const auto r = transfer("sim:" + dir.file("card"));
    EXPECT_EQ(r.status, 2) << r.out;
    EXPECT_NE(r.out.find("(90)"), std::string::npos) << r.out;
    EXPECT_FALSE(fs::exists(dir.file("card/P002.PAD")));

    const auto bad = test::runCli("transfer '" + pad + "' --number 0 --link sim");
    EXPECT_EQ(bad.status, 64) << bad.out;
    const auto none = test::runCli("transfer --number 3 --link sim");
    EXPECT_EQ(none.status, 64) << none.out;
}

TEST_F(TransferCli, SerialTransferThroughAPseudoTerminalLandsTheSameFiles) {
    ASSERT_EQ(test::runCli("check '" + pad + "' --mode pv6410").status, 0);
    const auto usb = transfer("sim:" + dir.file("usb"));
    ASSERT_EQ(usb.status, 0) << usb.out;
    EXPECT_EQ(cardFiles(dir.file("usb")),
              (std::vector<std::string>{"P002.HDR", "P002.IR1", "P002.PAD"}));
    EXPECT_EQ(test::readBytes(dir.file("usb/P002.PAD")), test::readBytes(pad));

    {
        // An instrument that acknowledges each frame only at its wire time at
        // 57600 baud, as one on a real line does.
        PtyInstrument instrument(dir.file("serial"), {"--busy", "2", "--wire-baud", "57600"});
        ASSERT_FALSE(instrument.path().empty());
        const auto serial = transfer("serial:" + instrument.path(), "--baud 3");
        ASSERT_EQ(serial.status, 0) << serial.out;
    }
    expectSameCards(dir.file("usb"), dir.file("serial"));
    {
        // A full instrument is refused before the transfer.
        PtyInstrument full(dir.file("full"), {"--number", "0"});
        const auto r = transfer("serial:" + full.path(), "--baud 3");
        EXPECT_NE(r.out.find("(82)"), std::string::npos) << r.out;
    }
    {
        // The adapter is pulled during the transfer: message 79 with the
        // system's reason, at once.
        PtyInstrument gone(dir.file("gone"), {"--hang-up-after", "8"});
        ASSERT_FALSE(gone.path().empty());
        const auto r = transfer("serial:" + gone.path(), "--baud 3");
        EXPECT_EQ(r.status, 4) << r.out;
        EXPECT_NE(r.out.find("Input/output error"), std::string::npos) << r.out;
    }

    // Damaged and lost frames: the transfer ends verified or with a catalogue
    // message, never hangs. Lost block frames are sent again.
    for (const auto& [corrupt, drop, seed] :
         {std::tuple{"0.01", "0.01", "3"}, std::tuple{"0.01", "0.01", "7"},
          std::tuple{"0.2", "0.05", "5"}}) {
        const std::string card = dir.file(std::string("faulty-") + seed);
        PtyInstrument instrument(card, {"--corrupt", corrupt, "--drop", drop, "--seed", seed});
        ASSERT_FALSE(instrument.path().empty());
        const auto r = transfer("serial:" + instrument.path(), "--baud 3");
        ASSERT_NE(r.status, 124) << "hung: " << r.out;
        if (r.status == 0) {
            expectSameCards(dir.file("usb"), card);
        } else {
            EXPECT_EQ(r.status, 4) << r.out;
            EXPECT_NE(r.out.find("ERROR"), std::string::npos) << r.out;
        }
    }
}

}  // namespace
}  // namespace quelvari::link
