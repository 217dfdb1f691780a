// The transfer's figure: a 300-step procedure with one interrupt procedure and
// one picture sent to the in-process simulated instrument on the wall clock,
// against the waits the protocol prescribes for the same transfer. Those are
// measured in the same run by sending the same job over a virtual clock,
// where time passes only through the prescribed waits.
#include <chrono>
#include <cstdio>
#include <fstream>

#include "bench.h"
#include "link/instrument.h"
#include "link/simulator.h"
#include "link/transfer.h"

namespace quelvari::bench {

namespace {

using namespace quelvari::link;

TransferJob BenchJob(const std::string& dir) {
    TransferJob job;
    for (int i = 1; i <= 300; ++i)
        job.records.push_back(sampleRecord(static_cast<std::uint16_t>(i)));
    for (int i = 1; i <= 5; ++i)
        job.interrupts[0].push_back(sampleRecord(static_cast<std::uint16_t>(i)));
    const std::string picture = dir + "/bench-picture.bmp";
    std::ofstream out(picture, std::ios::binary);
    const std::vector<char> bytes(40000, 'x');
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    job.pictures.push_back({picture, false});
    return job;
}

// Milliseconds the transfer takes on `clock`; negative when it failed.
double TimedTransfer(Clock& clock, const TransferJob& job, const std::string& card) {
    Link link(clock);
    SimSettings settings = DefaultSimSettings();
    settings.cardDir = card;
    AttachSimulatedUsb(link, settings);
    if (InstrumentConnect(link) != 0)
        return -1;
    TransferObserver quiet;
    const std::uint64_t t0 = clock.nowMs();
    const auto w0 = std::chrono::steady_clock::now();
    const TransferResult r = RunTransfer(link, job, TransferSettings{}, quiet);
    const auto w1 = std::chrono::steady_clock::now();
    const std::uint64_t t1 = clock.nowMs();
    ReleaseAllAndDisconnect(link);
    if (r.code != 0)
        return -1;
    if (dynamic_cast<VirtualClock*>(&clock))
        return static_cast<double>(t1 - t0);
    return std::chrono::duration<double, std::milli>(w1 - w0).count();
}

}  // namespace

BenchGroup transferGroup() {
    return [](const std::string& dir) {
        const TransferJob job = BenchJob(dir);
        VirtualClock virtualClock;
        const double prescribed = TimedTransfer(virtualClock, job, dir + "/card-virtual");
        const double real = TimedTransfer(SystemClock(), job, dir + "/card-real");
        if (prescribed <= 0 || real <= 0) {
            std::fprintf(stderr, "transfer bench: the transfer failed\n");
            return;
        }
        print("transfer_prescribed_ms", prescribed);
        print("transfer_real_ms", real);
        print("transfer_ratio", real / prescribed);
    };
}

}  // namespace quelvari::bench
