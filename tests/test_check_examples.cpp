// The sample procedures in examples/check-clean and examples/check-findings
// are built here. Run with QUELVARI_WRITE_EXAMPLES=1 to write them again; a
// normal run checks that the committed files are what this code builds and
// that quelvari-cli check gives them the expected exit status.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "check_builders.h"

namespace quelvari::test {
namespace {

using FileSet = std::map<std::string, Records>;

FileSet cleanExample() {
    return {
        {"CLEAN.PAD",
         {section(0, "Pump test", 'Z', 1), interrupt({{0, 1, 'B', 0, 200}}),
          measuring('S', {{'P', 1}, {'P', 2}, {'T', 1}}, 500), measuring('T'),
          moduleCall("LEAKAGE"), withEntry(makeRecord('B', "check pressure", "B1", 3), "P1>10"),
          interrupt({{0, 2}}), section(2, "Report"), makeRecord('A', "result")}},
        {"LEAKAGE.PAM", {measuring('M', {{'Q', 1}}), makeRecord('A', "leakage rate")}},
        {"CLEAN.IR1", {measuring('M', {{'P', 1}}), makeRecord('B', "watch pressure")}},
    };
}

FileSet findingsExample() {
    return {
        {"FINDINGS.PAD",
         {interrupt({{0, 1, 'B'}, {1, 1, 'B'}}), makeRecord('O', "options"),
          makeRecord('B', "jump", "B1", 40), measuring('T'), command({"SAVE -m12"}),
          moduleCall("VALVES"), moduleCall("MISSING"), interrupt({{0, 2}}),
          makeRecord('A', "", "B2", 1)}},
        {"VALVES.PAM", {breakAt('Z', 1), makeRecord('A')}},
        {"FINDINGS.IR1", {makeRecord('Z', "wait"), makeRecord('B')}},
    };
}

const std::string kExamples = QUELVARI_EXAMPLES;

TEST(CheckExamples, CommittedFilesMatchAndCheckAsExpected) {
    const bool write = std::getenv("QUELVARI_WRITE_EXAMPLES") != nullptr;
    const std::vector<std::tuple<std::string, FileSet, std::string, int>> examples = {
        {"check-clean", cleanExample(), "CLEAN.PAD", 0},
        {"check-findings", findingsExample(), "FINDINGS.PAD", 1},
    };
    for (const auto& [dirName, files, pad, status] : examples) {
        SCOPED_TRACE(dirName);
        TempDir built;
        for (const auto& [name, records] : files) {
            writeRecords(built.file(name), records);
            const std::string committed = kExamples + "/" + dirName + "/" + name;
            if (write)
                writeBytes(committed, readBytes(built.file(name)));
            EXPECT_EQ(readBytes(committed), readBytes(built.file(name))) << name;
        }
        for (const char* mode : {"tarvisel", "lumo", "pv6410", "pv3320"}) {
            const auto r = runCli("check " + built.file(pad) + " --mode " + mode);
            EXPECT_EQ(r.status, status) << mode << "\n" << r.out;
        }
    }
}

// The protocols of the examples, each language at least once, against the
// files in tests/data/golden (the directory of the run shown as DIR).
// QUELVARI_WRITE_GOLDEN=1 rewrites them after an intended change.
TEST(CheckExamples, ProtocolsInEveryLanguage) {
    const bool write = std::getenv("QUELVARI_WRITE_GOLDEN") != nullptr;
    const std::vector<std::tuple<std::string, FileSet, std::string, std::string>> runs = {
        {"check-clean", cleanExample(), "CLEAN.PAD", "pv6410"},
        {"check-clean", cleanExample(), "CLEAN.PAD", "pv3320"},
        {"check-findings", findingsExample(), "FINDINGS.PAD", "tarvisel"},
    };
    const char* const langs[] = {"de", "en", "fr", "it"};  // --lang 0 to 3
    const int runLangs[][2] = {{0, 2}, {1, 3}, {0, 1}};
    for (std::size_t k = 0; k < runs.size(); ++k) {
        const auto& [name, files, pad, mode] = runs[k];
        TempDir dir;
        for (const auto& [file, records] : files)
            writeRecords(dir.file(file), records);
        for (const int n : runLangs[k]) {
            SCOPED_TRACE(name + " " + mode + " " + langs[n]);
            std::string out = runCli("check " + dir.file(pad) + " --mode " + mode + " --lang " +
                                     std::to_string(n))
                                  .out;
            for (std::size_t p; (p = out.find(dir.path())) != std::string::npos;)
                out.replace(p, dir.path().size(), "DIR");
            const std::string golden = std::string(QUELVARI_TEST_DATA) + "/golden/" + name + "." +
                                       mode + "." + langs[n] + ".txt";
            if (write)
                writeBytes(golden, std::vector<std::uint8_t>(out.begin(), out.end()));
            const auto expected = readBytes(golden);
            EXPECT_EQ(out, std::string(expected.begin(), expected.end()));
        }
    }
}

}  // namespace
}  // namespace quelvari::test
