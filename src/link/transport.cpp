#include "link/transport.h"

#include <algorithm>

namespace quelvari::link {

namespace {
constexpr std::size_t kPurgeTraceMax = 6000;
}

void Trace::bytes(char direction, std::uint64_t timeMs, const std::uint8_t* data, std::size_t n) {
    if (!out_ || n == 0)
        return;
    std::fprintf(out_, "%10llu %c", static_cast<unsigned long long>(timeMs), direction);
    for (std::size_t i = 0; i < n; ++i)
        std::fprintf(out_, " %02X", data[i]);
    std::fputc('\n', out_);
    std::fflush(out_);
}

LinkStatus Transport::read(std::uint8_t* data, std::size_t n, std::size_t& got, int timeoutMs) {
    got = 0;
    const LinkStatus s = doRead(data, n, got, timeoutMs);
    traceBytes('<', data, got);
    return s;
}

LinkStatus Transport::write(const std::uint8_t* data, std::size_t n, std::size_t& written) {
    written = 0;
    const LinkStatus s = doWrite(data, n, written);
    traceBytes('>', data, written);
    return s;
}

void Transport::purge() {
    std::uint8_t dropped[kPurgeTraceMax];
    const std::size_t n = doPurge(dropped, sizeof dropped);
    traceBytes('x', dropped, std::min(n, sizeof dropped));
}

bool Transport::waitReadable(Clock& clock, std::uint32_t maxMs) {
    if (bytesWaiting() > 0)
        return true;
    if (maxMs > 0)
        clock.sleepMs(1);
    return bytesWaiting() > 0;
}

}  // namespace quelvari::link
