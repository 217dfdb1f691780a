// The syntax test: each finding with a procedure that triggers it and one that
// does not, the order of findings, the error count and the system file (the
// protocol's lines are compared with golden files in test_check_examples.cpp);
// the page arithmetic of the print-outs, and the protocol lines that lead back
// to their findings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

#include "check/print_layout.h"
#include "check/protocol_jump.h"
#include "check_builders.h"
#include "components/layouts.h"
#include "model/procedure.h"
#include "model/procedure_file.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Seen {
    int id;
    int step;  // 0 for the findings listed with the arrow
    bool operator==(const Seen&) const = default;
};

// The findings of a run, with the step the protocol shows (0 for the arrow).
std::vector<Seen> findingsOf(const SyntaxTestResult& result) {
    std::vector<Seen> out;
    for (const SyntaxFinding& f : result.findings)
        out.push_back({f.textId, f.wholeFile() ? 0 : f.step});
    return out;
}

// A directory with a procedure T.PAD and whatever it needs beside it.
struct Scene {
    TempDir dir;
    std::string pad = dir.file("T.PAD");
    void procedure(const Records& r) { writeRecords(pad, r); }
    void module(const std::string& name, const Records& r) {
        writeRecords(dir.file(name + ".PAM"), r);
    }
    void irq(int n, const Records& r) { writeRecords(dir.file("T.IR" + std::to_string(n)), r); }
    SyntaxTestResult run(std::uint16_t mode = kCheckTarvisel) { return RunSyntaxTest(pad, mode); }
};

class Check : public ::testing::Test, public Scene {};

ComponentRecord plain() {
    return makeRecord('B');
}

Records repeat(const ComponentRecord& r, int n) {
    return Records(static_cast<std::size_t>(n), r);
}
Records operator+(Records a, const Records& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
Records operator+(Records a, const ComponentRecord& b) {
    a.push_back(b);
    return a;
}

// One finding: a set-up that gives it (at `step`, 0 for the arrow form) and
// one that does not. Findings that the committed findings example gives and
// the clean example keeps off in the same way (a transfer without memory, a
// missing module) are the examples' tests.
struct Case {
    const char* name;
    int id;
    int step;
    std::uint16_t mode;
    std::function<void(Scene&)> trigger;
    std::function<void(Scene&)> clean;
};

// A set-up that writes only the procedure.
std::function<void(Scene&)> pad(const Records& records) {
    return [records](Scene& t) { t.procedure(records); };
}

// A set-up that writes module M and the procedure.
std::function<void(Scene&)> withM(const Records& module, const Records& records) {
    return [module, records](Scene& t) {
        t.module("M", module);
        t.procedure(records);
    };
}

std::vector<Case> cases() {
    using C = Scene;
    using SetUp = std::function<void(C&)>;
    auto picturesIn = [](int count) -> SetUp {
        return [count](C& t) {
            Records r;
            for (int i = 0; i < count; ++i) {
                const std::string f = t.dir.file("p" + std::to_string(i) + ".bmp");
                writeBytes(f, bitmapBytes(4));
                r.push_back(picture(f));
            }
            t.procedure(r + plain());
        };
    };
    // A picture file of `bytes` (none when empty) and a procedure showing it.
    auto onePicture = [](const std::vector<std::uint8_t>& bytes, const std::string& name) -> SetUp {
        return [=](C& t) {
            if (name.find('/') != std::string::npos)
                ::mkdir(t.dir.file(name.substr(0, name.find('/'))).c_str(), 0700);
            if (!bytes.empty())
                writeBytes(t.dir.file(name), bytes);
            t.procedure({picture(t.dir.file(name)), plain()});
        };
    };
    // `count` channels measured in two components, the first 19 as P.
    auto channels = [](int count, char later = 'T') {
        std::vector<std::pair<char, int>> a, b;
        for (int i = 1; i <= count; ++i)
            (i <= 19 ? a : b).push_back({i <= 19 ? 'P' : later, i});
        return std::pair{a, b};
    };
    auto measured = [=](int count) {
        const auto [a, b] = channels(count);
        return pad({measuring('M', a), measuring('M', b), plain()});
    };
    const auto [first19, next18] = channels(37, 'P');  // 37 channels, all P
    auto variables = [](int count) {
        Records r;
        for (int i = 1; i <= count; ++i)
            r.push_back(withEntry(plain(), "Z" + std::to_string(i) + ">1"));
        return pad(r + plain());
    };
    // A procedure that runs interrupt procedure 1 holding `ir`.
    auto irWith = [](const Records& ir) {
        return [ir](C& t) {
            t.procedure({interrupt({{0, 1}}), interrupt({{0, 2}}), plain()});
            t.irq(1, ir);
        };
    };
    return {
        {"goto target", 8019, 1, kCheckTarvisel, pad({makeRecord('B', "", "B1", 3), plain()}),
         pad({makeRecord('B', "", "B1", 2), plain()})},
        {"Interbus-S and control", 8038, 2, kCheckTarvisel,
         pad({interbus('Z'), makeRecord('S'), plain()}), pad({interbus('Z'), plain()})},
        {"Interbus-S not reset", 8037, 2, kCheckTarvisel, pad({interbus('I'), plain()}),
         pad({interbus('I'), interbus('R'), plain()})},
        {"Interbus-S cycle before initialising", 8035, 1, kCheckTarvisel,
         pad({interbus('Z'), interbus('I'), interbus('R'), plain()}),
         pad({interbus('I'), interbus('Z'), interbus('R'), plain()})},
        {"Interbus-S initialised again without reset", 8036, 2, kCheckTarvisel,
         pad({interbus('I'), interbus('I'), interbus('R'), plain()}),
         pad({interbus('I'), interbus('R'), interbus('I'), interbus('Z'), interbus('R'), plain()})},
        {"test selection twice", 8078, 3, kCheckTarvisel,
         pad({makeRecord('a'), plain(), makeRecord('a'), plain()}),
         pad({makeRecord('a'), plain(), plain()})},
        {"section name twice", 8083, 2, kCheckTarvisel,
         pad({section(0, "Pump"), section(1, "Pump"), section(2, "End"), plain()}),
         pad({section(0, "Pump"), section(1, "Pumps"), section(2, "End"), plain()})},
        {"routine enabled twice", 8005, 2, kCheckTarvisel,
         pad({interrupt({{1, 1, 'C'}}), interrupt({{1, 1, 'C'}}), interrupt({{1, 2}}), plain()}),
         pad({interrupt({{1, 1, 'C'}}), interrupt({{1, 2}}), plain()})},
        {"routine disabled while idle", 8006, 1, kCheckTarvisel,
         pad({interrupt({{2, 2}}), plain()}),
         pad({interrupt({{2, 1, 'C'}}), interrupt({{2, 2}}), plain()})},
        {"interval above 5000 ms", 8065, 1, kCheckTarvisel,
         pad({interrupt({{0, 1, 'C', 0, 5001}}), interrupt({{0, 2}}), plain()}),
         // The limit is one of milliseconds: 60 in seconds is not above it.
         pad({interrupt({{0, 1, 'C', 0, 5000}, {1, 1, 'C', 1, 60}}), interrupt({{0, 2}, {1, 2}}),
              plain()})},
        {"external routine on an instrument", 8052, 1, kCheckPv3320,
         pad({interrupt({{3, 1, 'C'}}), interrupt({{3, 2}}), plain()}),
         [](C& t) {
             t.irq(4, {plain()});
             t.procedure({interrupt({{3, 1, 'B'}}), interrupt({{3, 2}}), plain()});
         }},
        {"memory measured twice", 8009, 2, kCheckTarvisel,
         pad({measuring('S'), measuring('S'), measuring('T'), plain()}),
         pad({measuring('S'), measuring('T'), measuring('S'), measuring('T'), plain()})},
        {"more than 36 channels", 8014, 2, kCheckTarvisel, measured(37), measured(36)},
        {"37th channel in a component that also gives 8009", 8014, 2, kCheckTarvisel,
         pad({measuring('S', first19), measuring('S', next18)}),
         pad({measuring('S'), measuring('S'), measuring('T'), plain()})},
        {"37th channel in an interrupt measuring to memory", 8014, 2, kCheckTarvisel,
         irWith({measuring('M', first19), measuring('S', next18)}),
         irWith({measuring('M'), measuring('S')})},
        {"graphic refers to a step not there", 8015, 1, kCheckTarvisel,
         pad({stepReference('G', 3), plain()}), pad({stepReference('G', 2), plain()})},
        {"text print refers past the end", 8015, 2, kCheckTarvisel,
         pad({plain(), stepReference('P', 4), plain()}),
         pad({plain(), stepReference('P', 0), plain()})},  // 0: none chosen yet
        {"statistic refers past the end", 8015, 1, kCheckTarvisel,
         pad({stepReference('T', 300), plain()}),
         // A reference by variable (byte 152 set) names no step.
         pad({stepReference('T', 300, true), plain()})},
        {"module references count the module's own steps", 8015, 1, kCheckTarvisel,
         withM({stepReference('G', 3), plain()}, {moduleCall("M"), plain(), plain()}),
         withM({stepReference('G', 2), plain()}, {moduleCall("M"), plain(), plain()})},
        {"more than 32 module components", 8027, 33, kCheckTarvisel,
         withM({plain()}, repeat(moduleCall("M"), 33) + plain()),
         withM({plain()}, repeat(moduleCall("M"), 32) + plain())},
        {"interrupt in module", 8028, 1, kCheckTarvisel,
         withM({interrupt({{0, 2}}), plain()}, {moduleCall("M"), plain()}),
         withM({plain(), plain()}, {moduleCall("M"), plain()})},
        {"break in module", 8033, 1, kCheckTarvisel,
         withM({breakAt('Z', 1), plain()}, {moduleCall("M"), plain()}),
         withM({plain()}, {breakAt('Z', 1), moduleCall("M"), plain()})},
        {"module not registered", 8030, 1, kCheckTarvisel,
         [](C& t) {
             t.module("M", {moduleCall("N"), plain()});
             t.module("N", {plain()});
             t.procedure({moduleCall("M"), plain()});
         },
         [](C& t) {
             t.module("M", {moduleCall("N"), plain()});
             t.module("N", {plain()});
             t.procedure({moduleCall("M"), moduleCall("N"), plain()});
         }},
        {"module ends with a condition", 8031, 2, kCheckTarvisel,
         withM({plain(), makeRecord('B', "", "B1", 1)}, {moduleCall("M"), plain()}),
         withM({makeRecord('B', "", "B1", 1), plain()}, {moduleCall("M"), plain()})},
        {"break with another reference", 8034, 2, kCheckTarvisel,
         pad({breakAt('Z', 1), breakAt('S', 1), plain()}),
         pad({breakAt('Z', 1), breakAt('Z', 1), plain()})},
        {"first section with another reference", 8034, 2, kCheckTarvisel,
         pad({breakAt('Z', 1), section(0, "a", 'Z', 2), section(2, "b"), plain()}),
         pad({breakAt('Z', 2), section(0, "a", 'Z', 2), section(2, "b"), plain()})},
        {"more than 100 sections", 8086, 101, kCheckTarvisel,
         pad(Records{section(0, "f")} + repeat(section(1, "m"), 99) + section(2, "l") + plain()),
         pad(Records{section(0, "f")} + repeat(section(1, "m"), 98) + section(2, "l") + plain())},
        {"more than 60 pictures", 8050, 61, kCheckTarvisel, picturesIn(61), picturesIn(60)},
        {"picture above 1,000,000 bytes", 8049, 1, kCheckPv6410,
         onePicture(bitmapBytes(4, 1000001), "big.bmp"),
         onePicture(bitmapBytes(4, 1000000), "big.bmp")},
        {"8-bit bitmap on the PV6410", 8057, 1, kCheckPv6410, onePicture(bitmapBytes(8), "a.bmp"),
         onePicture(bitmapBytes(4), "a.bmp")},
        {"8-bit bitmap on the PV3320", 8064, 1, kCheckPv3320, onePicture(bitmapBytes(8), "a.bmp"),
         onePicture(bitmapBytes(1), "a.bmp")},
        {"JPEG on the PV6410", 8043, 1, kCheckPv6410, onePicture(jpegBytes(), "a.jpg"),
         onePicture(bitmapBytes(4), "a.bmp")},
        {"JPEG name, not a directory's dot", 8043, 1, kCheckPv6410,
         onePicture(jpegBytes(), "pics.j/a.JPEG"), onePicture(bitmapBytes(4), "pics.j/a")},
        {"picture file missing", 8042, 1, kCheckPv3320, onePicture({}, "none.bmp"),
         onePicture(jpegBytes(), "a.jpg")},
        {"picture file not a picture", 8048, 1, kCheckTarvisel,
         onePicture({'G', 'I', 'F', '8'}, "a.bmp"), onePicture(bitmapBytes(24), "a.bmp")},
        {"transfer command form", 8056, 1, kCheckTarvisel,
         pad({command({"DIR", "SAVE -m12"}), plain()}),
         pad({command({"SAVE -m123 -SAB", "SAVE -ir2123 -Sxx", "COPY A B"}), plain()})},
        {"more than 96 variables", 8070, 97, kCheckPv6410, variables(97), variables(96)},
        {"measuring to memory in IR", 8013, 1, kCheckTarvisel, irWith({measuring('S'), plain()}),
         // Measuring and saving in a file does not touch the instrument memory.
         irWith({withBytes(measuring('M'), layout::measuring::kSaveInFile, {1}), plain()})},
        {"memory transfer in IR", 8013, 1, kCheckTarvisel, irWith({measuring('T'), plain()}),
         irWith({measuring('M'), plain()})},
        {"IR longer than 30", 8053, 31, kCheckTarvisel, irWith(repeat(plain(), 31)),
         irWith(repeat(plain(), 30))},
        {"IR file missing", 8008, 0, kCheckTarvisel,
         pad({interrupt({{1, 1}}), interrupt({{1, 2}}), plain()}),
         pad({interrupt({{1, 1, 'C'}}), interrupt({{1, 2}}), plain()})},
    };
}

TEST_F(Check, EachFindingHasATriggerAndACleanProcedure) {
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        Scene triggered, clean;
        c.trigger(triggered);
        c.clean(clean);
        const auto seen = findingsOf(triggered.run(c.mode)), none = findingsOf(clean.run(c.mode));
        EXPECT_NE(std::find(seen.begin(), seen.end(), Seen{c.id, c.step}), seen.end()) << c.id;
        EXPECT_TRUE(std::none_of(none.begin(), none.end(), [&](Seen s) { return s.id == c.id; }));
    }
}

TEST_F(Check, EveryForbiddenTypeOfAnInterruptProcedure) {
    const std::map<char, int> forbidden = {{'G', 8001}, {'I', 8002}, {'P', 8003},
                                           {'Z', 8004}, {'b', 8021}, {'d', 8024},
                                           {'U', 8026}, {'p', 8045}, {'g', 8068}};
    Records ir;
    std::vector<Seen> expected;
    for (const auto& [type, id] : forbidden) {
        ir.push_back(makeRecord(type));
        expected.push_back({id, static_cast<int>(ir.size())});
    }
    procedure({interrupt({{2, 1}}), interrupt({{2, 2}}), plain()});
    irq(3, ir);
    EXPECT_EQ(findingsOf(run()), expected);
}

// Component types that only some places of use can run.
TEST(CheckModes, TypesBoundToThePlaceOfUse) {
    // The type, its finding, and the modes that refuse it.
    const std::tuple<char, int, std::vector<std::uint16_t>> bounds[] = {
        {'s', 8062, {kCheckTarvisel, kCheckLumo}},  // sensor: instruments only
        {'g', 8069, {kCheckPv6410, kCheckPv3320}},  // online graphic: not on instruments
        {'O', 8077, {kCheckLumo, kCheckPv6410, kCheckPv3320}},  // options: Tarvisel only
    };
    for (const auto& [type, id, refusedIn] : bounds) {
        for (std::uint16_t mode = kCheckTarvisel; mode <= kCheckPv3320; ++mode) {
            SCOPED_TRACE(std::string(1, type) + " in mode " + std::to_string(mode));
            Scene t;
            t.procedure({plain(), makeRecord(type), plain()});
            const bool refused = std::ranges::count(refusedIn, mode) > 0;
            EXPECT_EQ(findingsOf(t.run(mode)),
                      (refused ? std::vector<Seen>{{id, 2}} : std::vector<Seen>{}));
        }
    }
}

TEST_F(Check, WarningsDoNotCountAndCleanRunWritesSystemFile) {
    procedure({section(0, "Pumps"), picture(dir.file("gone.bmp")), section(2, "End"), plain()});
    const auto r = run(kCheckLumo);
    EXPECT_EQ(findingsOf(r), (std::vector<Seen>{{8058, 2}}));
    EXPECT_EQ(r.errorCount, 0);
    ASSERT_TRUE(r.systemFileWritten);
    EXPECT_EQ(r.systemFilePath, dir.file("T.sys"));
    const auto sys = readBytes(dir.file("T.sys"));
    ASSERT_EQ(sys.size(), kSystemBlockSize);
    EXPECT_EQ(ByteRow(sys.begin(), sys.begin() + 6), (ByteRow{35, 0, 0, 0, kCheckLumo, 0}));
    EXPECT_NE(std::find(r.lines.begin(), r.lines.end(), LangText(3145)), r.lines.end());
}

TEST_F(Check, CountWrapsAt256) {
    Records r = repeat(makeRecord('B', "", "B1", 999), 255);
    r.push_back(makeRecord('B', "", "B1", 1));  // 8029: the 256th finding
    procedure(r);
    const auto result = run();
    // The 8-bit error count wraps to 0.
    EXPECT_EQ(std::tuple(findingsOf(result).size(), result.countedFindings, result.errorCount,
                         result.systemFileWritten),
              std::tuple(256u, 256u, 0, true));
    EXPECT_THAT(result.lines.back(), Not(HasSubstr("Pumps")));
    // The program shows "OK" and writes the system file, but a script is
    // told the truth.
    const auto cli = runCli("check " + pad + " --mode tarvisel");
    EXPECT_EQ(cli.status, 1);
    EXPECT_THAT(cli.out, HasSubstr("\n***** "));
}

TEST_F(Check, EndOfProcedureFindingsInTheirOrder) {
    module("M", {plain()});
    procedure({interbus('I'), interrupt({{0, 1, 'C'}}), measuring('S'), section(0, "A"),
               section(0, "B"), makeRecord('B', "", "B1", 99), withEntry(moduleCall("M"), "B2")});
    const auto seen = findingsOf(run());
    EXPECT_EQ(seen, (std::vector<Seen>{{8019, 6},
                                       {8029, 7},
                                       {8032, 7},
                                       {8037, 7},
                                       {8007, 0},
                                       {8011, 0},
                                       {8084, 7},
                                       {8085, 7}}));
}

TEST_F(Check, RelativePathNamesTheFullDirectory) {
    procedure({plain(), moduleCall("M"), plain()});
    module("M", {plain()});
    const std::string home = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    const auto r = RunSyntaxTest("T.PAD", kCheckTarvisel);
    // From elsewhere the module is still found beside the procedure.
    std::filesystem::current_path("/");
    const auto fromRoot = RunSyntaxTest(dir.path().substr(1) + "/T.PAD", kCheckTarvisel);
    std::filesystem::current_path(home);
    ASSERT_GE(r.lines.size(), 3u);
    EXPECT_EQ(r.lines[2], LangText(3157) + dir.path());
    EXPECT_EQ(r.procedureName, "T.PAD");
    EXPECT_EQ(r.countedFindings, 0u);
    EXPECT_EQ(fromRoot.countedFindings, 0u) << fromRoot.lines.back();
    EXPECT_TRUE(std::ifstream(dir.file("T.sys")).good());
}

TEST_F(Check, InMemoryRunsGiveTheFindingsOfTheSavedFileAndWriteNothing) {
    // A procedure, and a module open in the editor against the same module
    // called from a clean procedure that also registers the module it calls:
    // the same findings, a break (8033) included.
    module("N", {plain()});
    const std::tuple<std::string, std::uint16_t, Records> cases[] = {
        {"T.PAD",
         kCheckPv6410,
         {measuring('T'), moduleCall("N"), moduleCall("Gone"), makeRecord('B', "", "B1", 9),
          plain()}},
        {"M.PAM", kCheckTarvisel, {breakAt('Z', 1), plain()}},
        {"M.PAM", kCheckTarvisel, {interrupt({{0, 2}}), plain(), moduleCall("N")}},
        {"M.PAM", kCheckTarvisel, {moduleCall("N"), plain()}},
    };
    for (const auto& [name, mode, records] : cases) {
        const bool isProcedure = name == "T.PAD";
        if (!isProcedure)
            module("M", records);
        procedure(isProcedure ? records : Records{moduleCall("M"), moduleCall("N"), plain()});
        const auto onDisk = run(mode);
        ::unlink(dir.file("T.sys").c_str());
        ProcedureList list;
        fill(list, records);
        const auto inMemory = RunSyntaxTestInMemory(list, dir.file(name), mode);
        EXPECT_EQ(findingsOf(inMemory), findingsOf(onDisk));
        EXPECT_EQ(inMemory.errorCount, onDisk.errorCount);
        EXPECT_EQ(inMemory.lines == onDisk.lines, isProcedure);
        EXPECT_FALSE(inMemory.systemFileWritten);
        EXPECT_FALSE(std::ifstream(dir.file("T.sys")).good());
    }

    // A clean procedure: summary, but still no system file.
    ProcedureList clean;
    fill(clean, {plain()});
    const auto ok = RunSyntaxTestInMemory(clean, dir.file("New.PAD"), kCheckLumo);
    EXPECT_EQ(ok.countedFindings, 0u);
    EXPECT_EQ(ok.lines[std::size_t{6}], LangText(3145));
    EXPECT_FALSE(std::ifstream(dir.file("New.sys")).good());

    // Never saved: no directory, so every module is missing.
    ProcedureList unsaved;
    fill(unsaved, {moduleCall("M"), plain()});
    const auto u = RunSyntaxTestInMemory(unsaved, "", kCheckTarvisel);
    EXPECT_EQ(findingsOf(u), (std::vector<Seen>{{8025, 0}}));
    EXPECT_EQ(u.files.size(), 2u);
}

TEST_F(Check, FilesThatCannotBeReadOrWritten) {
    for (const char* name : {"T.PAM", "TPAD"})  // not procedures
        EXPECT_EQ(RunSyntaxTest(dir.file(name), 0).fileError.code(), 64 << 8) << name;
    EXPECT_EQ(RunSyntaxTest(dir.file("none.pad"), 0).fileError.code(), 93 << 8);
    procedure({plain()});
    ASSERT_EQ(::mkdir(dir.file("T.sys").c_str(), 0700), 0);
    const auto r = run();
    EXPECT_EQ(std::tuple(r.fileError.code(), r.errorCount, r.systemFileWritten),
              std::tuple(92 << 8, 0, false));
}

TEST_F(Check, InterruptProceduresCheckedOnlyWhenEnabledAsComponentRoutines) {
    procedure({interrupt({{0, 1, 'B'}, {1, 1, 'C'}}), interrupt({{0, 2}, {1, 2}}), plain()});
    irq(1, {plain()});
    const auto r = run();
    for (const char* ir : {"*** IR1 ***", "*** IR2 ***", "*** IR3 ***"})
        EXPECT_EQ(std::count(r.lines.begin(), r.lines.end(), ir), ir[6] == '1' ? 1 : 0) << ir;
    const auto sys = readBytes(dir.file("T.sys"));
    ASSERT_EQ(sys.size(), kSystemBlockSize);
    EXPECT_EQ(sys[10], 3 | (1 << 2));  // IR1 component routine, IR2 external
}

TEST_F(Check, OldFormatIsReportedOnce) {
    auto old = oldRecord(1, 'B', "", "", 0, {});
    const auto second = oldRecord(2, 'B', "", "", 0, {});
    old.insert(old.end(), second.begin(), second.end());
    writeBytes(pad, old);
    EXPECT_EQ(findingsOf(run()), (std::vector<Seen>{{8059, 1}}));
}

// The cells or lines and the page text of each page of a print plan.
using Pages = std::vector<std::pair<std::size_t, std::string>>;
std::size_t Items(const ProcedurePage& p) {
    return p.cells.size();
}
std::size_t Items(const ProtocolPage& p) {
    return p.lines.size();
}
template <class Plan>
Pages PagesOf(const Plan& plan) {
    Pages out;
    for (const auto& p : plan.pages)
        out.emplace_back(Items(p), p.pageText);
    return out;
}

class PrintLayout : public ::testing::Test {
  protected:
    void SetUp() override { setLanguage(kEnglish); }
    void TearDown() override { setLanguage(kGerman); }
};

TEST_F(PrintLayout, GridFollowsOrientationAndOption) {
    struct Page {
        double w, h;
        std::uint32_t option;
        bool landscape;
        int rows, columns;
        double cellHeight;
    };
    const Page cases[] = {
        {1200, 800, kPrintExtended, true, 2, 3, 800.0 / 3},
        {1200, 800, kPrintNormal, true, 3, 4, 200},
        {800, 1200, kPrintExtended, false, 3, 1, 300},
        {800, 1200, kPrintNormal, false, 4, 2, 240},
        // A square page counts as landscape; any option but 1 is normal.
        {1000, 1000, kPrintNormal, true, 3, 4, 250},
        {800, 1200, 7, false, 4, 2, 240},
    };
    for (const Page& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " option " << c.option);
        const ProcedureGrid g = ChooseProcedureGrid(c.w, c.h, c.option);
        EXPECT_EQ(std::tuple(g.landscape, g.rows, g.columns),
                  std::tuple(c.landscape, c.rows, c.columns));
        EXPECT_DOUBLE_EQ(g.cellHeight, c.cellHeight);
        EXPECT_DOUBLE_EQ(g.scale, c.cellHeight * 0.0015625);
        EXPECT_DOUBLE_EQ(g.widthFactor, c.w * 0.001);
        // The cells fit between the left margin and the drawing limit, and
        // below the head within the page.
        EXPECT_NEAR(g.cellWidth * g.columns, c.w * (0.95 - 0.12), 1e-9);
        EXPECT_LE(c.h * kCellsTop + g.rows * g.cellHeight, c.h * 0.95);
    }
}

TEST_F(PrintLayout, ProcedurePagesAndHeads) {
    // 13 components on a landscape page: normal gives 2 pages, extended 3.
    // Cells and page text of each page (the head text and the document name
    // are the print command's test).
    ProcedurePlan normal = PlanProcedurePrint(13, 1100, 800, kPrintNormal, "C:/P/T.PAD");
    ASSERT_EQ(PagesOf(normal), (Pages{{12, "Page:  1/2  "}, {1, "Page:  2/2  "}}));
    const ProcedurePlan extended = PlanProcedurePrint(13, 1100, 800, kPrintExtended, "T.PAD");
    EXPECT_EQ(PagesOf(extended),
              (Pages{{6, "Page:  1/3  "}, {6, "Page:  2/3  "}, {1, "Page:  3/3  "}}));

    // A full last page is not followed by an empty one.
    EXPECT_EQ(PlanProcedurePrint(12, 1100, 800, kPrintNormal, "").pages.size(), 1u);
    EXPECT_EQ(PlanProcedurePrint(9, 800, 1100, kPrintNormal, "").pageCount, 2);
    EXPECT_EQ(PlanProcedurePrint(0, 800, 1100, kPrintNormal, "").pageCount, 0);

    // Cells advance row by row: on a 3 x 4 page step 5 is row 1, column 1.
    const ProcedureGrid& g = normal.grid;
    const Rect first = normal.pages[0].cells[0].rect;
    const Rect sixth = normal.pages[0].cells[5].rect;
    EXPECT_DOUBLE_EQ(first.x, 1100 * kLeftMargin);
    EXPECT_DOUBLE_EQ(sixth.x, first.x + g.cellWidth);
    EXPECT_DOUBLE_EQ(sixth.y, first.y + g.cellHeight);
    EXPECT_DOUBLE_EQ(normal.pages[1].cells[0].rect.y, first.y);
    // The rule lies under the head, above the first row.
    EXPECT_GT(normal.pages[0].ruleY, normal.pages[0].headRect.y);
    EXPECT_LE(normal.pages[0].ruleY, first.y);

    // Three-digit page numbers keep their width; German head texts.
    EXPECT_EQ(ProcedurePageText(100, 120), "Page:100/120  ");
    setLanguage(kGerman);
    EXPECT_EQ(PlanProcedurePrint(1, 800, 1100, kPrintNormal, "X").pages[0].headText,
              "Pr\xfc"
              "fablauf X");
}

TEST_F(PrintLayout, ProtocolPagesKeepTheirQuirks) {
    // Whole lines only; nothing left after the six lines of head and margin
    // (or no line height): one line a page.
    const int perPage[][3] = {
        {1000, 10, 94}, {1009, 10, 94}, {60, 10, 1}, {30, 10, 1}, {100, 0, 1}};
    for (const auto& c : perPage)
        EXPECT_EQ(ProtocolLinesPerPage(c[0], c[1]), c[2]) << c[0] << "/" << c[1];
    // Page 1000 high, lines 10 high: L = 94, 90 body lines per page. Lines
    // and page text of each page:
    const int L = 94;
    const ProtocolPlan one = PlanProtocolPrint(10, 800, 1000, 10);
    EXPECT_EQ(one.linesPerPage, L);
    ASSERT_EQ(PagesOf(one), (Pages{{10, "Page : 1/1"}}));
    const auto& head = one.pages[0];
    EXPECT_EQ((std::vector<double>{one.x0, one.x1, head.headY, head.ruleY, head.lines[0].y,
                                   head.lines[9].y}),
              (std::vector<double>{120, 720, 20, 30, 40, 130}));

    // Exactly L - 4 lines: the page is full, and one more page holds only the head.
    const ProtocolPlan full = PlanProtocolPrint(L - 4, 800, 1000, 10);
    ASSERT_EQ(PagesOf(full), (Pages{{L - 4, "Page : 1/1"}, {0, "Page : 2/1"}}));
    EXPECT_DOUBLE_EQ(full.pages[0].lines.back().y, (L - 1) * 10.0);

    // One line more goes to the second page.
    const ProtocolPlan over = PlanProtocolPrint(L - 3, 800, 1000, 10);
    ASSERT_EQ(PagesOf(over), (Pages{{L - 4, "Page : 1/1"}, {1, "Page : 2/1"}}));
    EXPECT_EQ(over.pages[1].lines[0].index, static_cast<std::size_t>(L - 4));
    EXPECT_DOUBLE_EQ(over.pages[1].lines[0].y, 40);

    // The total is computed for L lines a page: 280 lines announce 3 pages
    // and print 4 (90 + 90 + 90 + 10). An empty protocol still prints its head.
    const ProtocolPlan longer = PlanProtocolPrint(280, 800, 1000, 10);
    EXPECT_EQ(longer.pageCount, 3);
    EXPECT_EQ(
        PagesOf(longer),
        (Pages{{90, "Page : 1/3"}, {90, "Page : 2/3"}, {90, "Page : 3/3"}, {10, "Page : 4/3"}}));
    EXPECT_EQ(PagesOf(PlanProtocolPrint(0, 800, 1000, 10)), (Pages{{0, "Page : 1/0"}}));
}

TEST(ProtocolTargets, LinesLeadToTheirFindings) {
    // Step 1 jumps to a step that does not exist; step 2 calls a missing
    // module (a finding about a file, without a step) and is the last one.
    Scene scene;
    scene.procedure({makeRecord('Z', "wait", "B1", 9), moduleCall("NOPE")});
    const SyntaxTestResult r = scene.run();
    ASSERT_FALSE(r.findings.empty());
    const auto targets = ProtocolTargets(r);
    ASSERT_EQ(targets.size(), r.lines.size());
    // The head and the file header lead nowhere.
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_FALSE(targets[i]) << r.lines[i];
    EXPECT_FALSE(targets.back());

    std::vector<bool> reached(r.findings.size());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (!targets[i])
            continue;
        const SyntaxFinding& f = r.findings[targets[i]->finding];
        reached[targets[i]->finding] = true;
        const auto lines = RenderFinding(f);
        EXPECT_NE(std::find(lines.begin(), lines.end(), r.lines[i]), lines.end()) << r.lines[i];
        EXPECT_EQ(targets[i]->step, f.wholeFile() ? 0 : f.step);
        EXPECT_EQ(targets[i]->path, r.files[f.file].path);
    }
    EXPECT_TRUE(std::all_of(reached.begin(), reached.end(), [](bool b) { return b; }));

    // The GOTO finding leads to the procedure (the steps are checked above).
    auto goTo = std::find_if(targets.begin(), targets.end(), [&](const auto& t) {
        return t && r.findings[t->finding].textId == 8019;
    });
    ASSERT_NE(goTo, targets.end());
    EXPECT_EQ((*goTo)->kind, CheckedFileKind::Procedure);
}

}  // namespace
}  // namespace quelvari::test
