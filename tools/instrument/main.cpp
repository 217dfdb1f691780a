// quelvari-instrument: a simulated instrument on a pseudo-terminal. It prints
// the terminal's path and then answers every framed request on it, storing
// what it receives in its card directory, until it is stopped.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "link/simulator.h"

namespace {

volatile std::sig_atomic_t stopRequested = 0;

void Stop(int) {
    stopRequested = 1;
}

const char kUsage[] =
    "usage: quelvari-instrument [OPTIONS]\n"
    "Serves a simulated instrument on a pseudo-terminal and prints its path.\n"
    "  --card DIR            store received files in DIR\n"
    "  --model HEX           0x6410 (default), 0x3320 or 0x3310\n"
    "  --name TEXT           name in the identification\n"
    "  --free-blocks N       free memory in 512-byte blocks\n"
    "  --number N            procedure number offered (0: memory full)\n"
    "  --corrupt F           fraction of answers sent with a wrong check byte\n"
    "  --drop F              fraction of received frames ignored\n"
    "  --nak N               answer the next N frames with NAK\n"
    "  --question            answer every request with \"?\"\n"
    "  --busy K              answer K closing polls with busy\n"
    "  --refuse-header       refuse the procedure header\n"
    "  --refuse-selection    refuse the selection\n"
    "  --seed N              seed of the fault generator\n"
    "  --link PATH           also make PATH a symbolic link to the terminal\n"
    "  --trace FILE          hex dump of the traffic\n"
    "  --hang-up-after N     hang up the terminal after N answered frames, as a\n"
    "                        pulled adapter does\n"
    "  --wire-baud N         answer a frame no earlier than its last byte can\n"
    "                        have arrived on a line of N baud (8N1) after its\n"
    "                        first byte, as an instrument on a real line does\n";

bool ParseNumber(const char* text, double& out) {
    char* end = nullptr;
    out = std::strtod(text, &end);
    if (end != text && *end == '\0')
        return true;
    const long v = std::strtol(text, &end, 0);
    out = static_cast<double>(v);
    return end != text && *end == '\0';
}

}  // namespace

int main(int argc, char** argv) {
    using namespace quelvari::link;
    SimSettings settings = DefaultSimSettings();
    std::string linkPath;
    std::FILE* traceFile = nullptr;
    unsigned wireBaud = 0;
    long hangUpAfter = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        const bool flag = a == "--question" || a == "--refuse-header" || a == "--refuse-selection";
        if (!flag && i + 1 >= argc) {
            std::fprintf(stderr, "quelvari-instrument: %s needs a value\n%s", a.c_str(), kUsage);
            return 64;
        }
        const char* v = flag ? "" : argv[++i];
        double n = 0;
        const bool numeric = flag || ParseNumber(v, n);
        if (a == "--card") {
            settings.cardDir = v;
        } else if (a == "--name") {
            std::snprintf(settings.identity.name, sizeof settings.identity.name, "%s", v);
        } else if (a == "--link") {
            linkPath = v;
        } else if (a == "--trace") {
            traceFile = std::fopen(v, "w");
        } else if (!numeric) {
            std::fprintf(stderr, "quelvari-instrument: %s takes a number\n", a.c_str());
            return 64;
        } else if (a == "--model") {
            settings.identity.model = static_cast<std::uint16_t>(n);
        } else if (a == "--free-blocks") {
            settings.memory.freeBlocks = static_cast<std::uint32_t>(n);
        } else if (a == "--number") {
            settings.memory.procedureNumber = static_cast<std::uint8_t>(n);
        } else if (a == "--corrupt") {
            settings.faults.corruptFraction = n;
        } else if (a == "--drop") {
            settings.faults.dropFraction = n;
        } else if (a == "--nak") {
            settings.faults.nakStorm = static_cast<int>(n);
        } else if (a == "--question") {
            settings.faults.answerQuestion = true;
        } else if (a == "--busy") {
            settings.faults.busyPolls = static_cast<int>(n);
        } else if (a == "--refuse-header") {
            settings.faults.refuseHeader = true;
        } else if (a == "--refuse-selection") {
            settings.faults.refuseSelection = true;
        } else if (a == "--hang-up-after") {
            hangUpAfter = static_cast<long>(n);
        } else if (a == "--wire-baud") {
            wireBaud = static_cast<unsigned>(n);
        } else if (a == "--seed") {
            settings.faults.seed = static_cast<std::uint32_t>(n);
        } else {
            std::fprintf(stderr, "quelvari-instrument: unknown option %s\n%s", a.c_str(), kUsage);
            return 64;
        }
    }

    int master = -1, slave = -1;
    char name[256] = {};
    if (::openpty(&master, &slave, name, nullptr, nullptr) != 0) {
        std::perror("quelvari-instrument: openpty");
        return 1;
    }
    termios tio{};
    ::tcgetattr(slave, &tio);
    ::cfmakeraw(&tio);
    ::tcsetattr(slave, TCSANOW, &tio);
    ::tcgetattr(master, &tio);
    ::cfmakeraw(&tio);
    ::tcsetattr(master, TCSANOW, &tio);
    if (!linkPath.empty()) {
        ::unlink(linkPath.c_str());
        if (::symlink(name, linkPath.c_str()) != 0)
            std::perror("quelvari-instrument: symlink");
    }
    std::printf("%s\n", name);
    std::fflush(stdout);

    std::signal(SIGINT, Stop);
    std::signal(SIGTERM, Stop);
    SimulatedInstrument instrument(settings);
    SimSerialPeer peer(instrument);
    Trace trace(traceFile);
    SteadyClock clock;
    std::uint64_t frameStart = 0;
    std::size_t frameBytes = 0;
    // The slave stays open here too, so the terminal survives a client that
    // closes and opens it again.
    while (!stopRequested) {
        pollfd p{master, POLLIN, 0};
        const int r = ::poll(&p, 1, 200);
        if (r <= 0)
            continue;
        std::uint8_t buf[4096];
        const ssize_t got = ::read(master, buf, sizeof buf);
        if (got <= 0)
            continue;
        const std::uint64_t now = clock.nowMs();
        trace.bytes('<', now, buf, static_cast<std::size_t>(got));
        // Byte by byte, so each frame's first byte and length are known: on a
        // real line its last byte comes its wire time after the first.
        for (ssize_t i = 0; i < got; ++i) {
            if (!peer.inFrame() && buf[i] == kDle) {
                frameStart = now;
                frameBytes = 0;
            }
            ++frameBytes;
            const auto reply = peer.feed(buf + i, 1);
            if (reply.empty())
                continue;
            if (wireBaud > 0)
                clock.sleepUntil(frameStart + WireTimeMs(frameBytes, wireBaud));
            std::size_t off = 0;
            while (off < reply.size()) {
                const ssize_t w = ::write(master, reply.data() + off, reply.size() - off);
                if (w <= 0)
                    break;
                off += static_cast<std::size_t>(w);
            }
            trace.bytes('>', clock.nowMs(), reply.data(), off);
            if (hangUpAfter > 0 && --hangUpAfter == 0)
                stopRequested = 1;
        }
    }
    if (!linkPath.empty())
        ::unlink(linkPath.c_str());
    ::close(slave);
    ::close(master);
    if (traceFile)
        std::fclose(traceFile);
    return 0;
}
