// quelvari-bench: speed and memory figures of the core, printed as
// "name: value" lines (figures.h) so that scripts can compare runs. Each cost
// is also given as a ratio to a floor measured side by side on the same bytes.
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench.h"
#include "figures.h"
#include "model/procedure.h"
#include "model/procedure_file.h"

namespace quelvari::bench {

double medianMs(int runs, const std::function<void()>& work) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        work();
        const auto t1 = std::chrono::steady_clock::now();
        times.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void print(const char* name, double value) {
    std::printf("%s: %.4g\n", name, value);
}

std::string scratchDir() {
    std::string dir = "/tmp/quelvari-bench-XXXXXX";
    if (!::mkdtemp(dir.data())) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    return dir;
}

ComponentRecord sampleRecord(std::uint16_t step) {
    ComponentRecord r;
    r.setFormatMark(kCurrentFormatMark);
    r.setRecordMark(kRecordMarkSaved);
    r.setNumber(step);
    r.setTypeCode(step % 3 == 0 ? 'G' : (step % 3 == 1 ? 'T' : 'Z'));
    storeInputCondition(r, "B1");
    storeComment(r, "benchmark step");
    if (step % 4 == 0) {
        storeBranchCondition(r, "B2");
        r.setGotoTarget(static_cast<std::uint16_t>(step / 2 + 1));
    }
    return r;
}

namespace {

// The file figures; `suffix` tells the runs before and after the allocator
// tuning in main apart. Each run times the floor and the cost side by side.
void fileFigures(const std::string& dir, const std::string& suffix) {
    constexpr int kSteps = 10000;
    constexpr int kRuns = 9;
    const std::string path = dir + "/bench.PAD";
    ProcedureList list;
    list.procedureHead.record = sampleRecord(1);
    list.componentCount = 1;
    for (int i = 2; i <= kSteps; ++i)
        list.appendNode(sampleRecord(static_cast<std::uint16_t>(i)));
    if (!writeProcedure(path, list).ok()) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        std::exit(1);
    }

    std::vector<std::uint8_t> bytes(kSteps * rec::kRecordSize);
    Runs plainRead, open, plainWrite, save;
    ProcedureList loaded;
    for (int i = 0; i < kRuns; ++i) {
        // The floor of Open: open the file, allocate a buffer of its size, read it.
        plainRead.add(TimeMs([&] {
            const int fd = ::open(path.c_str(), O_RDONLY);
            std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[bytes.size()]);
            const bool ok = fd >= 0 && ::read(fd, buffer.get(), bytes.size()) ==
                                           static_cast<ssize_t>(bytes.size());
            ::close(fd);
            if (!ok)
                std::exit(1);
        }));
        // Only the load is timed: the previous list is freed before the clock
        // starts, as the plain read's buffer is freed after its clock stops.
        loaded.freeProcedure();
        open.add(TimeMs([&] {
            if (!loadProcedure(path, loaded).ok() || loaded.componentCount != kSteps)
                std::exit(1);
        }));
    }
    const std::string plainPath = dir + "/plain.bin";
    for (int i = 0; i < kRuns; ++i) {
        // The floor of Save: write the same bytes to a new file and flush it.
        plainWrite.add(TimeMs([&] {
            const int fd = ::open(plainPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const bool ok = fd >= 0 && ::write(fd, bytes.data(), bytes.size()) ==
                                           static_cast<ssize_t>(bytes.size());
            if (!ok || ::fsync(fd) != 0)
                std::exit(1);
            ::close(fd);
        }));
        save.add(TimeMs([&] {
            if (!writeProcedure(path, list).ok())
                std::exit(1);
        }));
    }
    const auto name = [&](const char* base) { return base + suffix; };
    if (!suffix.empty())
        ReportCount("records", kSteps);
    Report(name("open_ms"), open);
    Report(name("plain_read_ms"), plainRead);
    Report(name("open_ratio"), Ratios(open, plainRead), name("plain_read_ms"));
    Report(name("save_ms"), save);
    Report(name("plain_write_flush_ms"), plainWrite);
    Report(name("save_ratio"), Ratios(save, plainWrite), name("plain_write_flush_ms"));
    if (!suffix.empty())
        return;

    Runs renumber;
    for (int i = 0; i < kRuns; ++i)
        renumber.add(TimeMs([&] { list.renumber(5000, true); }) * 1e6 / kSteps);
    Report("renumber_ns_per_node", renumber);

    // Each run inserts 1000 records in the middle of a list that grows by as many.
    list.goToStep(kSteps / 2);
    const ComponentRecord extra = sampleRecord(1);
    Runs insert;
    for (int i = 0; i < kMinRuns; ++i)
        insert.add(TimeMs([&] {
            for (int k = 0; k < 1000; ++k)
                list.insertAtCurrent(extra);
        }));
    Report("insert_1000_ms", insert);
}

void memoryFigures() {
    constexpr int kSteps = 10000;
    const auto before = ::mallinfo2().uordblks;
    {
        auto* list = new ProcedureList;
        for (int i = 0; i < kSteps; ++i)
            list->appendNode(sampleRecord(static_cast<std::uint16_t>(i)));
        const auto after = ::mallinfo2().uordblks;
        ReportCount("bytes_per_component", static_cast<double>(after - before) / kSteps);
        delete list;
    }
}

}  // namespace
}  // namespace quelvari::bench

int main() {
    using namespace quelvari::bench;
    const std::string dir = scratchDir();
    // The file figures as the program sees them, with the allocator's defaults.
    fileFigures(dir, "_untuned");
    // Keep freed memory in the process: otherwise whether a run finds warm or
    // fresh pages depends on the allocator's trim heuristics (an 8 MB buffer
    // stays, 8 MB of nodes are trimmed), and the ratios would measure that.
    ::mallopt(M_TRIM_THRESHOLD, 1 << 30);
    ::mallopt(M_MMAP_THRESHOLD, 1 << 30);
    fileFigures(dir, "");
    memoryFigures();
    for (const BenchGroup& group : extraGroups())
        group(dir);
    std::string cmd = "rm -rf '" + dir + "'";
    return std::system(cmd.c_str()) == 0 ? 0 : 1;
}
