// The serial frame codec and the port's line settings.
#include <gtest/gtest.h>

#include "link/frame.h"
#include "link/link.h"
#include "link/serial_link.h"
#include "link_test_util.h"

namespace quelvari::link {
namespace {

using test::Bytes;

TEST(LinkFrame, DleIsDoubledAndLeftOutOfTheCheck) {
    // 0x10 0x41: the check is 0x41, the 0x10 goes twice.
    EXPECT_EQ(BlockCheck(Bytes({0x10, 0x41}).data(), 2), 0x41);
    EXPECT_EQ(EncodeFrame(Bytes({0x10, 0x41}).data(), 2),
              Bytes({0x10, 0x10, 0x10, 0x41, 0x41, 0x10, 0x03}));
    // A check of 0x10 is itself doubled.
    EXPECT_EQ(EncodeFrame(Bytes({0x30, 0x20}).data(), 2),
              Bytes({0x10, 0x30, 0x20, 0x10, 0x10, 0x10, 0x03}));
    // The greeting.
    EXPECT_EQ(EncodeFrame(Bytes({'B'}).data(), 1), Bytes({0x10, 'B', 'B', 0x10, 0x03}));
    // No payload: only the check 0.
    EXPECT_EQ(EncodeFrame(nullptr, 0), Bytes({0x10, 0x00, 0x10, 0x03}));
}

TEST(LinkFrame, EveryByteValueSurvivesARoundTrip) {
    std::vector<std::uint8_t> all;
    for (int b = 0; b < 256; ++b)
        all.push_back(static_cast<std::uint8_t>(b));
    for (int b = 0; b < 256; ++b) {
        const std::vector<std::uint8_t> one{static_cast<std::uint8_t>(b), 0x55};
        std::vector<std::uint8_t> back;
        const auto wire = EncodeFrame(one.data(), one.size());
        ASSERT_TRUE(DecodeFrame(wire.data(), wire.size(), back)) << b;
        EXPECT_EQ(back, one) << b;
    }
    std::vector<std::uint8_t> back;
    const auto wire = EncodeFrame(all.data(), all.size());
    // The data's 0x10 and the check (XOR of all but 0x10 is 0x10) both doubled.
    EXPECT_EQ(wire.size(), 1 + 257 + 2 + 2u);
    ASSERT_TRUE(DecodeFrame(wire.data(), wire.size(), back));
    EXPECT_EQ(back, all);
}

TEST(LinkFrame, DecoderRejectsBrokenFrames) {
    std::vector<std::uint8_t> out;
    // Wrong check.
    auto wire = Bytes({0x10, 0x41, 0x42, 0x10, 0x03});
    EXPECT_FALSE(DecodeFrame(wire.data(), wire.size(), out));
    // DLE followed by anything but DLE or ETX.
    wire = Bytes({0x10, 0x41, 0x10, 0x05, 0x41, 0x10, 0x03});
    EXPECT_FALSE(DecodeFrame(wire.data(), wire.size(), out));
    // Bytes behind the end.
    wire = Bytes({0x10, 0x41, 0x41, 0x10, 0x03, 0x00});
    EXPECT_FALSE(DecodeFrame(wire.data(), wire.size(), out));
    // A doubled 0x10 check byte is accepted: the XOR stays 0x10 and the last
    // stored byte is 0x10.
    wire = Bytes({0x10, 0x30, 0x20, 0x10, 0x10, 0x10, 0x03});
    ASSERT_TRUE(DecodeFrame(wire.data(), wire.size(), out));
    EXPECT_EQ(out, Bytes({0x30, 0x20}));

    // More bytes than the buffer holds is a framing error at the first byte
    // too many.
    FrameDecoder small(3);
    EXPECT_EQ(small.push(1), FrameDecoder::Step::kMore);
    EXPECT_EQ(small.push(2), FrameDecoder::Step::kMore);
    EXPECT_EQ(small.push(0x10), FrameDecoder::Step::kMore);
    EXPECT_EQ(small.push(0x10), FrameDecoder::Step::kMore);
    EXPECT_EQ(small.push(4), FrameDecoder::Step::kFramingError);
}

}  // namespace
}  // namespace quelvari::link
