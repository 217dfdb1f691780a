#include "link/frame.h"

namespace quelvari::link {

std::uint8_t BlockCheck(const std::uint8_t* payload, std::size_t n) {
    std::uint8_t check = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (payload[i] != kDle)
            check ^= payload[i];
    return check;
}

std::vector<std::uint8_t> EncodeFrame(const std::uint8_t* payload, std::size_t n) {
    std::vector<std::uint8_t> wire;
    wire.reserve(n + 8);
    wire.push_back(kDle);
    for (std::size_t i = 0; i < n; ++i) {
        wire.push_back(payload[i]);
        if (payload[i] == kDle)
            wire.push_back(kDle);
    }
    const std::uint8_t check = BlockCheck(payload, n);
    wire.push_back(check);
    if (check == kDle)
        wire.push_back(kDle);
    wire.push_back(kDle);
    wire.push_back(kEtx);
    return wire;
}

void FrameDecoder::reset() {
    stored_.clear();
    xor_ = 0;
    escape_ = false;
}

FrameDecoder::Step FrameDecoder::push(std::uint8_t byte) {
    if (escape_) {
        escape_ = false;
        if (byte == kEtx)
            return Step::kEnd;
        if (byte != kDle)
            return Step::kFramingError;
        // A doubled DLE is one 0x10 of data; it stays out of the check.
        if (stored_.size() >= capacity_)
            return Step::kFramingError;
        stored_.push_back(kDle);
        return Step::kMore;
    }
    if (byte == kDle) {
        escape_ = true;
        return Step::kMore;
    }
    if (stored_.size() >= capacity_)
        return Step::kFramingError;
    stored_.push_back(byte);
    xor_ ^= byte;
    return Step::kMore;
}

bool FrameDecoder::checkOk() const {
    if (xor_ == 0)
        return true;
    return xor_ == kDle && !stored_.empty() && stored_.back() == kDle;
}

bool DecodeFrame(const std::uint8_t* wire, std::size_t n, std::vector<std::uint8_t>& payload) {
    if (n < 4 || wire[0] != kDle)
        return false;
    FrameDecoder decoder(n);
    for (std::size_t i = 1; i < n; ++i) {
        const FrameDecoder::Step step = decoder.push(wire[i]);
        if (step == FrameDecoder::Step::kFramingError)
            return false;
        if (step == FrameDecoder::Step::kEnd) {
            if (i + 1 != n || !decoder.checkOk() || decoder.stored().empty())
                return false;
            payload.assign(decoder.stored().begin(), decoder.stored().end() - 1);
            return true;
        }
    }
    return false;
}

}  // namespace quelvari::link
