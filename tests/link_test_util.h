// A scripted serial peer on a virtual clock for the link tests: bytes arrive
// at set times, the host's frames are decoded and handed to a reaction. The
// line runs at `baud`: a byte the host writes reaches the peer ten bit times
// after the previous one, and a reaction counts from when the frame's last
// byte has arrived.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "link/clock.h"
#include "link/frame.h"
#include "link/transport.h"

namespace quelvari::test {

class ScriptedPort : public link::Transport {
  public:
    explicit ScriptedPort(link::VirtualClock& clock) : clock_(clock) {}

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
    link::LinkResult openResult;  // what opening the port gives

    link::LinkResult open() override {
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
    link::LinkStatus setModemLines(bool dtr, bool rts) override {
        modemDtr = dtr;
        modemRts = rts;
        return link::LinkStatus::kOk;
    }
    bool waitReadable(link::Clock&, std::uint32_t maxMs) override {
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
    void hangUp() { setFault({link::LinkStatus::kNoDevice, "pty: Input/output error"}); }

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
    link::LinkStatus doRead(std::uint8_t* data, std::size_t n, std::size_t& got, int) override {
        if (!fault().ok())
            return link::LinkStatus::kNoDevice;
        while (got < n && !incoming_.empty() && incoming_.front().first <= clock_.nowMs()) {
            data[got++] = incoming_.front().second;
            incoming_.erase(incoming_.begin());
        }
        return got ? link::LinkStatus::kOk : link::LinkStatus::kTimeout;
    }
    link::LinkStatus doWrite(const std::uint8_t* data, std::size_t n,
                             std::size_t& written) override {
        if (!fault().ok())
            return link::LinkStatus::kNoDevice;
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint8_t b = data[i];
            wire.push_back(b);
            lineNs_ = std::max<std::uint64_t>(lineNs_, clock_.nowMs() * 1'000'000) +
                      10'000'000'000ull / std::max(baud, 1u);
            if (!inFrame_) {
                if (b == link::kDle) {
                    inFrame_ = true;
                    decoder_.reset();
                    frameStarts.push_back(clock_.nowMs());
                } else {
                    hostControl.push_back(b);
                }
                continue;
            }
            const auto step = decoder_.push(b);
            if (step == link::FrameDecoder::Step::kMore)
                continue;
            inFrame_ = false;
            frameEnd = (lineNs_ + 999'999) / 1'000'000;
            std::vector<std::uint8_t> payload = decoder_.stored();
            if (!payload.empty())
                payload.pop_back();
            if (onFrame)
                onFrame(payload, step == link::FrameDecoder::Step::kEnd && decoder_.checkOk());
        }
        written = n;
        return link::LinkStatus::kOk;
    }

  private:
    link::VirtualClock& clock_;
    std::vector<std::pair<std::uint64_t, std::uint8_t>> incoming_;
    link::FrameDecoder decoder_{6000};
    bool inFrame_ = false;
    bool open_ = true;
    std::uint64_t lineNs_ = 0;  // when the line is free again, nanoseconds
};

using Bytes = std::vector<std::uint8_t>;

}  // namespace quelvari::test
