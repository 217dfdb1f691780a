// The serial frame codec, and the serial link's send, receive, request and
// open on a scripted peer and a virtual clock, so every wait is checked to the
// millisecond.
#include <gtest/gtest.h>

#include "link/frame.h"
#include "link/link.h"
#include "link/serial_link.h"
#include "link_test_util.h"

namespace quelvari::link {
namespace {

using test::Bytes;
using test::ScriptedPort;

TEST(LinkFrame, DleIsDoubledOutsideTheCheckAndEveryByteRoundTrips) {
    // 0x10 0x41: the check is 0x41, the 0x10 goes twice.
    EXPECT_EQ(BlockCheck(Bytes({0x10, 0x41}).data(), 2), 0x41);
    EXPECT_EQ(EncodeFrame(Bytes({0x10, 0x41}).data(), 2),
              Bytes({0x10, 0x10, 0x10, 0x41, 0x41, 0x10, 0x03}));
    // A check of 0x10 is itself doubled.
    EXPECT_EQ(EncodeFrame(Bytes({0x30, 0x20}).data(), 2),
              Bytes({0x10, 0x30, 0x20, 0x10, 0x10, 0x10, 0x03}));
    // No payload: only the check 0.
    EXPECT_EQ(EncodeFrame(nullptr, 0), Bytes({0x10, 0x00, 0x10, 0x03}));
}

TEST(LinkFrame, DecoderRejectsBrokenFrames) {
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
    EXPECT_EQ(serial.receiveFrame(), 0);  // nothing waits

    port->arrive(0, Bytes({kNak}));
    EXPECT_EQ(serial.receiveFrame(), -2);
    EXPECT_EQ(beeps, 1);
    port->arrive(0, Bytes({'x'}));
    EXPECT_EQ(serial.receiveFrame(), 0);
    EXPECT_EQ(beeps, 2);
    EXPECT_TRUE(port->hostControl.empty());  // neither is answered

    // "?" is acknowledged and reported as no answer.
    port->arrive(0, EncodeFrame(Bytes({'?'}).data(), 1));
    EXPECT_EQ(serial.receiveFrame(), 0);
    EXPECT_EQ(port->hostControl, Bytes({kAck}));

    // A good answer: frame start, data, check; 10 ms before the check.
    port->arrive(0, EncodeFrame(Bytes({1, 0x10, 3}).data(), 3));
    const std::uint64_t before = clock.nowMs();
    EXPECT_EQ(serial.receiveFrame(), 5);
    EXPECT_EQ(clock.nowMs(), before + 10);
    EXPECT_EQ(std::vector<std::uint8_t>(buf.rx.begin(), buf.rx.begin() + 5),
              Bytes({0x10, 1, 0x10, 3, 1 ^ 3}));
    EXPECT_EQ(port->hostControl, Bytes({kAck, kAck}));
    EXPECT_EQ(beeps, 2);

    // A wrong check and a framing error are answered NAK.
    port->arrive(0, Bytes({0x10, 'a', 'b', 0x10, 0x03}));
    EXPECT_EQ(serial.receiveFrame(), -1);
    port->arrive(0, Bytes({0x10, 'a', 0x10, 'b', 0x10, 0x03}));
    EXPECT_EQ(serial.receiveFrame(), -1);
    EXPECT_EQ(port->hostControl, Bytes({kAck, kAck, kNak, kNak}));

    // A frame longer than the receive buffer is a framing error.
    std::vector<std::uint8_t> longFrame{0x10};
    longFrame.insert(longFrame.end(), 6000, 'a');
    longFrame.insert(longFrame.end(), {0x10, 0x03});
    port->arrive(0, longFrame);
    EXPECT_EQ(serial.receiveFrame(), -1);
    EXPECT_EQ(port->hostControl.back(), kNak);
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
        struct Refusing : ScriptedPort {
            using ScriptedPort::ScriptedPort;
            LinkResult open() override { return {LinkStatus::kNoDevice, "gone"}; }
        };
        return std::make_unique<Refusing>(clock);
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

}  // namespace
}  // namespace quelvari::link
