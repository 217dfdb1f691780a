// Syntax test of a large procedure: 10,000 steps that call 32 modules of
// 1,000 steps each and use all four interrupt procedures, against a plain read
// of the same files.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench.h"
#include "check/syntax_test.h"
#include "components/layouts.h"
#include "figures.h"

namespace quelvari::bench {

namespace {

void writeFile(const std::string& path, const std::vector<ComponentRecord>& records) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        std::exit(1);
    }
    for (const ComponentRecord& r : records)
        std::fwrite(r.data(), 1, rec::kRecordSize, f);
    std::fclose(f);
}

ComponentRecord interruptAll(std::uint8_t state) {
    ComponentRecord r = sampleRecord(1);
    r.setTypeCode('I');
    for (std::size_t k = 0; k < layout::interrupt::kEntryCount; ++k) {
        const std::size_t e = layout::interrupt::entry(k);
        r.setU8(e + layout::interrupt::kState, state);
        r.setU8(e + layout::interrupt::kKind, layout::interrupt::kKindComponent);
        if (state == layout::interrupt::kStateEnable)
            r.setU16(e + layout::interrupt::kTime, 100);
    }
    return r;
}

std::vector<ComponentRecord> numbered(int count) {
    std::vector<ComponentRecord> records;
    for (int i = 1; i <= count; ++i)
        records.push_back(sampleRecord(static_cast<std::uint16_t>(i)));
    return records;
}

void checkFigures(const std::string& dir) {
    constexpr int kSteps = 10000, kModules = 32, kModuleSteps = 1000, kIrSteps = 30;
    std::vector<std::string> files;
    auto add = [&](const std::string& path, const std::vector<ComponentRecord>& records) {
        writeFile(path, records);
        files.push_back(path);
    };

    std::vector<ComponentRecord> pad = numbered(kSteps);
    pad[0] = interruptAll(layout::interrupt::kStateEnable);
    pad[kSteps - 2] = interruptAll(layout::interrupt::kStateDisable);
    for (int m = 0; m < kModules; ++m) {
        const std::string name = "MOD" + std::to_string(m);
        ComponentRecord& call = pad[static_cast<std::size_t>(100 + m * 300)];
        call = sampleRecord(1);
        call.setTypeCode('U');
        call.setText(layout::module::kName, name);
        add(dir + "/" + name + ".PAM", numbered(kModuleSteps));
    }
    const std::string padPath = dir + "/BENCH.PAD";
    add(padPath, pad);
    for (int n = 1; n <= 4; ++n) {
        std::vector<ComponentRecord> ir = numbered(kIrSteps);
        for (ComponentRecord& r : ir)
            r.setTypeCode('B');
        add(dir + "/BENCH.IR" + std::to_string(n), ir);
    }

    std::vector<char> buffer(1 << 20);
    Runs floor, check;
    std::size_t lines = 0;
    for (int i = 0; i < 7; ++i) {
        // The floor: read every file the syntax test reads, once.
        floor.add(TimeMs([&] {
            for (const std::string& path : files) {
                std::FILE* f = std::fopen(path.c_str(), "rb");
                while (std::fread(buffer.data(), 1, buffer.size(), f) > 0) {
                }
                std::fclose(f);
            }
        }));
        check.add(TimeMs([&] {
            const SyntaxTestResult result = RunSyntaxTest(padPath, kCheckTarvisel);
            lines = result.lines.size();
        }));
    }
    ReportCount("check_files", static_cast<double>(files.size()));
    ReportCount("check_protocol_lines", static_cast<double>(lines));
    Report("check_ms", check);
    Report("check_floor_ms", floor);
    Report("check_ratio", Ratios(check, floor), "check_floor_ms");
}

}  // namespace

BenchGroup checkGroup() {
    return checkFigures;
}

}  // namespace quelvari::bench
