// The frame of the serial link, the same in both directions:
//
//   DLE (0x10)                 start; no STX, no length field
//   payload                    every 0x10 is sent twice
//   block check                XOR of the payload bytes that are not 0x10 (a
//                              0x10 byte never enters the check, doubled or
//                              not); a check of 0x10 is itself sent twice
//   DLE ETX (0x10 0x03)        end
//
// The instrument computes the check the same way, so the rule that leaves 0x10
// out must stay on both sides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quelvari::link {

inline constexpr std::uint8_t kDle = 0x10;
inline constexpr std::uint8_t kEtx = 0x03;
inline constexpr std::uint8_t kAck = 0x06;
inline constexpr std::uint8_t kNak = 0x15;

std::uint8_t BlockCheck(const std::uint8_t* payload, std::size_t n);

// The whole frame as it goes on the wire.
std::vector<std::uint8_t> EncodeFrame(const std::uint8_t* payload, std::size_t n);

// Collects a frame byte by byte after its opening DLE. What it stores is the
// payload followed by the check byte (a doubled 0x10 stored once).
class FrameDecoder {
  public:
    enum class Step { kMore, kEnd, kFramingError };

    // `capacity`: the most bytes the frame may store; one more is a framing
    // error.
    explicit FrameDecoder(std::size_t capacity) : capacity_(capacity) {}
    void reset();
    Step push(std::uint8_t byte);
    // After kEnd: true when the check holds. The running XOR covers data and
    // check byte and must be 0; or it is 0x10 and the last stored byte is 0x10,
    // the case of a doubled 0x10 check byte, which never entered the XOR.
    bool checkOk() const;
    const std::vector<std::uint8_t>& stored() const { return stored_; }

  private:
    std::size_t capacity_;
    std::vector<std::uint8_t> stored_;
    std::uint8_t xor_ = 0;
    bool escape_ = false;
};

// Decodes one complete wire frame (starting with its DLE). Returns the payload
// (without check byte) when the frame is well formed and its check holds.
bool DecodeFrame(const std::uint8_t* wire, std::size_t n, std::vector<std::uint8_t>& payload);

}  // namespace quelvari::link
