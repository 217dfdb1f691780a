// Time for the link: every wait of the protocol (frame spacing, acknowledgement
// windows, settling, resend delay, receive deadline, USB polling) goes through
// a Clock, so the same code runs on the wall clock and, in tests, on a virtual
// clock that only moves when somebody waits.
#pragma once

#include <cstdint>

namespace quelvari::link {

class Clock {
  public:
    virtual ~Clock() = default;
    // Milliseconds since an arbitrary start; never goes backwards.
    virtual std::uint64_t nowMs() = 0;
    virtual void sleepMs(std::uint32_t ms) = 0;
    // Waits until nowMs() >= t (returns at once when t has passed).
    void sleepUntil(std::uint64_t t);
};

// The monotonic wall clock.
class SteadyClock : public Clock {
  public:
    std::uint64_t nowMs() override;
    void sleepMs(std::uint32_t ms) override;
};

// A clock that advances only when sleepMs is called: waits cost no real time
// and their sum is exactly the time that passed.
class VirtualClock : public Clock {
  public:
    explicit VirtualClock(std::uint64_t start = 1000) : now_(start) {}
    std::uint64_t nowMs() override { return now_; }
    void sleepMs(std::uint32_t ms) override { now_ += ms; }
    void advance(std::uint64_t ms) { now_ += ms; }

  private:
    std::uint64_t now_;
};

// The process-wide wall clock.
Clock& SystemClock();

}  // namespace quelvari::link
