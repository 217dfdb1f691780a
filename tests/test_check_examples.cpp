// Golden files. The sample procedures in examples/check-clean and
// examples/check-findings are built here: QUELVARI_WRITE_EXAMPLES=1 writes
// them again; a normal run checks that the committed files are what this code
// builds and that quelvari-cli check gives them the expected exit status.
// Their protocols, and what the view draws of every component type as
// `quelvari-cli dump` prints it, are compared with tests/data/golden:
// QUELVARI_WRITE_GOLDEN=1 rewrites those after an intended change.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "check_builders.h"
#include "components/catalogue.h"

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
const char* const kLangs[] = {"de", "en", "fr", "it"};  // --lang 0 to 3

// Compares `out` with tests/data/golden/`name`, or writes it there.
void expectGolden(const std::string& name, const std::string& out) {
    const std::string golden = std::string(QUELVARI_TEST_DATA) + "/golden/" + name;
    if (std::getenv("QUELVARI_WRITE_GOLDEN"))
        writeText(golden, out);
    const auto expected = readBytes(golden);
    ASSERT_FALSE(expected.empty()) << golden << " missing (QUELVARI_WRITE_GOLDEN=1 writes it)";
    EXPECT_EQ(out, std::string(expected.begin(), expected.end()));
}

// The committed files are what this code builds and check with the expected
// status in every mode; the protocols of some modes match the golden files,
// each language at least once (the directory of the run shown as DIR).
TEST(CheckExamples, CommittedFilesMatchCheckAsExpectedAndGiveTheirProtocols) {
    const bool write = std::getenv("QUELVARI_WRITE_EXAMPLES") != nullptr;
    // Directory, files, the procedure, its status, and the --lang values of
    // the golden protocols by mode.
    const std::tuple<std::string, FileSet, std::string, int,
                     std::map<std::string, std::vector<int>>>
        examples[] = {
            {"check-clean",
             cleanExample(),
             "CLEAN.PAD",
             0,
             {{"pv6410", {0, 2}}, {"pv3320", {1, 3}}}},
            {"check-findings", findingsExample(), "FINDINGS.PAD", 1, {{"tarvisel", {0, 1}}}},
        };
    for (const auto& [exampleDir, files, pad, status, protocols] : examples) {
        SCOPED_TRACE(exampleDir);
        TempDir built;
        for (const auto& [name, records] : files) {
            writeRecords(built.file(name), records);
            const std::string committed = kExamples + "/" + exampleDir + "/" + name;
            if (write)
                writeBytes(committed, readBytes(built.file(name)));
            EXPECT_EQ(readBytes(committed), readBytes(built.file(name))) << name;
        }
        for (const std::string mode : {"tarvisel", "lumo", "pv6410", "pv3320"}) {
            const std::string check = "check " + built.file(pad) + " --mode " + mode;
            const auto r = runCli(check);
            EXPECT_EQ(r.status, status) << mode << "\n" << r.out;
            for (const int n : protocols.contains(mode) ? protocols.at(mode) : std::vector<int>{}) {
                std::string out = runCli(check + " --lang " + std::to_string(n)).out;
                for (std::size_t p; (p = out.find(built.path())) != std::string::npos;)
                    out.replace(p, built.path().size(), "DIR");
                expectGolden(exampleDir + "." + mode + "." + kLangs[n] + ".txt", out);
            }
        }
    }
}

// Every type with an empty payload, then records that show the rows of the
// types' other states.
Records viewRecords() {
    Records r;
    for (const ComponentType& type : kCatalogue)
        r.push_back(typed(type.code));
    r.push_back(typed('P', 'G'));
    ComponentRecord m = withBytes(typed('M', 'M'), 89, {1, 'P', 1});
    r.push_back(m);
    m.setU8(88, 'S');
    m.setU8(184, 2);  // triggers linked by "or"
    m.setU32(152, 250000);
    m.setU32(160, 1000);
    m.setF32(180, 1.5f);
    m.setU8(164, 30);
    r.push_back(m);
    m.setU8(88, 'T');
    r.push_back(m);
    r.push_back(command({"", "SAVE -m1"}));
    r.push_back(withBytes(typed('Z', 'Z'), 90, {42, 0}));
    r.push_back(interrupt({{2, 1, 'C', 1, 5}}));
    r.push_back(withBytes(section(1, "Teil"), 137, {3}));
    r.push_back(typed('x'));
    r.push_back(typed('B', 5));
    ComponentRecord printer = withBytes(typed('p'), 90, {'P', 0, 1});  // picture on the printer
    printer.setText(112, "LOGO.BMP");
    r.push_back(printer);
    for (char bus : {'Z', 'I', 'R'})
        r.push_back(interbus(bus));
    r.push_back(withEntry(makeRecord('B', "Kommentar mit Umlaut \xE4", "B1", 2), "E3"));
    return r;
}

// What the view draws of every type, in German (built-in texts) and the
// three table languages (every language's texts are proved complete by the
// text tests).
TEST(ViewGolden, DumpOfEveryType) {
    TempDir dir;
    const std::string pad = dir.file("views.PAD");
    writeRecords(pad, viewRecords());
    for (int n = 0; n < 4; ++n) {
        SCOPED_TRACE(kLangs[n]);
        const auto dump = runCli("dump " + pad + " --lang " + std::to_string(n));
        ASSERT_EQ(dump.status, 0) << dump.out;
        expectGolden(std::string("views.") + kLangs[n] + ".txt", dump.out);
    }
}

}  // namespace
}  // namespace quelvari::test
