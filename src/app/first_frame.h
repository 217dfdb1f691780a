// For start-up measurements: a process says on standard output when its
// first frame was done, as nanoseconds on the monotonic clock, and quits. The
// editor does so under QUELVARI_QUIT_AFTER_PAINT, and the benchmark's floors
// always; the benchmark reads the line back with kFirstFrameFormat.
#pragma once

#include <QApplication>

#include <chrono>
#include <cstdio>

namespace quelvari::app {

inline constexpr const char* kFirstFrameFormat = "first-frame %lld\n";

// Says the time, `excluded` earlier (time the process spent on work that is
// not part of its start), and quits the application.
inline void SayFirstFrameAndQuit(std::chrono::nanoseconds excluded = {}) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch() - excluded;
    std::printf(
        kFirstFrameFormat,
        static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
    std::fflush(stdout);
    QApplication::quit();
}

}  // namespace quelvari::app
