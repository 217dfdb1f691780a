#include "link/clock.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace quelvari::link {

void Clock::sleepUntil(std::uint64_t t) {
    for (std::uint64_t now = nowMs(); now < t; now = nowMs())
        sleepMs(static_cast<std::uint32_t>(t - now));
}

bool WaitUntil(Clock& clock, std::uint64_t t, const CancelToken* token) {
    for (std::uint64_t now = clock.nowMs(); now < t; now = clock.nowMs()) {
        if (Cancelled(token))
            return false;
        clock.sleepMs(
            static_cast<std::uint32_t>(std::min<std::uint64_t>(t - now, CancelToken::kSliceMs)));
    }
    return !Cancelled(token);
}

std::uint64_t SteadyClock::nowMs() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void SteadyClock::sleepMs(std::uint32_t ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

Clock& SystemClock() {
    static SteadyClock clock;
    return clock;
}

}  // namespace quelvari::link
