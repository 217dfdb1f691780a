// Time for the link: every wait of the protocol (frame spacing, acknowledgement
// windows, settling, resend delay, receive deadline, USB polling) goes through
// a Clock, so the same code runs on the wall clock and, in tests, on a virtual
// clock that only moves when somebody waits.
#pragma once

#include <atomic>
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

// Asks the link to stop: the dialog's Cancel or Ctrl+C sets it, from any
// thread (or a signal handler). Every wait of the link looks at it at least
// every kSliceMs, so a stop is heard within that time.
class CancelToken {
  public:
    static constexpr std::uint32_t kSliceMs = 20;
    void cancel() { flag_.store(true, std::memory_order_relaxed); }
    void reset() { flag_.store(false, std::memory_order_relaxed); }
    bool cancelled() const { return flag_.load(std::memory_order_relaxed); }

  private:
    std::atomic<bool> flag_{false};
};
static_assert(std::atomic<bool>::is_always_lock_free);

// True when `token` is set (a null token never is).
inline bool Cancelled(const CancelToken* token) {
    return token && token->cancelled();
}

// Waits on `clock` until `t` in slices of CancelToken::kSliceMs; false when
// `token` was set first.
bool WaitUntil(Clock& clock, std::uint64_t t, const CancelToken* token);

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
