// The two ports of the link on a virtual clock, so every wait is checked to
// the millisecond. The serial frame codec, and the serial link's send,
// receive, request and open on a scripted peer. The USB link on a recording
// USB seam: enumeration, the request mapping, the -99 rule and the 20 ms
// polling; the 64-byte rule of block writes is on the wire of the umockdev
// tests.
#include <gtest/gtest.h>
#include <libusb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>

#include "link/frame.h"
#include "link/instrument.h"
#include "link/link.h"
#include "link/link_texts.h"
#include "link/serial_link.h"
#include "link/usb_link.h"
#include "link_test_util.h"

namespace quelvari::link {
namespace {

using test::Bytes;
using test::ScriptedPort;

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

}  // namespace
}  // namespace quelvari::link
