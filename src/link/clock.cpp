#include "link/clock.h"

#include <chrono>
#include <thread>

namespace quelvari::link {

void Clock::sleepUntil(std::uint64_t t) {
    for (std::uint64_t now = nowMs(); now < t; now = nowMs())
        sleepMs(static_cast<std::uint32_t>(t - now));
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
