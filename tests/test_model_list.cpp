// The record layout and the procedure list: renumbering and the editing
// primitives. Numbers in fixed formats: the number module against the C
// library in the "C" locale, and the measuring reader, its filler and the
// protocol under a locale with a decimal comma.
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "check/syntax_test.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "model/numbers.h"
#include "model/procedure.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::makeRecord;

TEST(ComponentRecord, LongConditionsRunOnIntoTheNextField) {
    ComponentRecord r;
    // Editors store the entry condition, the comment, then the branch condition.
    storeInputCondition(r, "B1&B2&B3&B4&B5");  // 14 characters
    storeComment(r, "Pump");
    EXPECT_EQ(r.text(rec::kInputCondition, 20), "B1&B2&B3&B4&B5");
    EXPECT_EQ(r.branchCondition(), "&B5");
    storeBranchCondition(r, "B6");
    EXPECT_EQ(r.inputCondition(), "B1&B2&B3&B4");  // 11 bytes, no terminator left
    EXPECT_EQ(r.branchCondition(), "B6");
    // A long branch condition runs on into the start of the comment.
    storeBranchCondition(r, "B10&B11&B12&B13");
    EXPECT_EQ(r.comment(), "&B13");
    // The comment itself never leaves its field.
    storeComment(r, std::string(80, 'x'));
    EXPECT_EQ(r.comment(), std::string(50, 'x'));
    EXPECT_EQ(r.typeCode(), 0);
}

TEST(ComponentRecord, TrimRightAndStripFileName) {
    for (auto [in, out] :
         {std::pair<std::string, std::string>{"Pump 1   ", "Pump 1"}, {"   ", ""}}) {
        trimRight(in);
        EXPECT_EQ(in, out);
    }
    // The name is returned and cut off the path; a bare name stays.
    const std::string cases[][3] = {{"c:\\bench\\proc\\TEST.PAD", "c:\\bench\\proc", "TEST.PAD"},
                                    {"/home/bench/TEST.PAD", "/home/bench", "TEST.PAD"},
                                    {"TEST.PAD", "TEST.PAD", "TEST.PAD"}};
    for (const auto& c : cases) {
        std::string path = c[0];
        EXPECT_EQ(stripFileName(path), c[2]) << c[0];
        EXPECT_EQ(path, c[1]);
    }
}

// Builds a list of the given records, numbered 1..n.
void fill(ProcedureList& list, const std::vector<ComponentRecord>& records) {
    list.freeProcedure();
    list.componentCount = 0;
    for (const auto& r : records)
        list.appendRecord(r);
    list.renumber(0, true);
    list.renumber(0, false);  // back to the original targets, numbers 1..n
}

TEST(ProcedureList, RenumberShiftsReferencesBehindThePivotOnly) {
    ProcedureList list;
    ComponentRecord g = makeRecord('G');
    g.setU16(92, 5);
    ComponentRecord gOff = makeRecord('G');
    gOff.setU16(92, 5);
    gOff.setU8(89, 1);  // reference not in force
    ComponentRecord p = makeRecord('P');
    p.setU16(94, 4);
    ComponentRecord t = makeRecord('T');
    t.setI16(154, 6);
    ComponentRecord tNeg = makeRecord('T');
    tNeg.setI16(154, -1);
    ComponentRecord noBranch = makeRecord('Z');
    noBranch.setGotoTarget(9);  // no branch condition: never shifted
    fill(list, {makeRecord('Z', "", "B1", 3), makeRecord('Z', "", "B1", 4), g, gOff, p, t, tNeg,
                noBranch});

    // Each step's reference, and the step numbers 1..8.
    auto references = [&] {
        std::vector<int> out;
        int n = 1;
        for (const ComponentNode* node = &list.procedureHead; node; node = node->next, ++n) {
            const ComponentRecord& r = node->record;
            EXPECT_EQ(r.number(), n);
            const char type = static_cast<char>(r.typeCode());
            out.push_back(type == 'G'   ? r.u16(92)
                          : type == 'P' ? r.u16(94)
                          : type == 'T' ? r.i16(154)
                                        : r.gotoTarget());
        }
        return out;
    };
    // Up from pivot 3: a reference equal to the pivot is kept, one switched
    // off, a negative one and a target without branch are never shifted.
    list.renumber(3, true);
    EXPECT_EQ(references(), (std::vector<int>{3, 5, 6, 5, 5, 7, -1, 9}));
    list.renumber(5, false);
    EXPECT_EQ(references(), (std::vector<int>{3, 5, 5, 5, 5, 6, -1, 9}));
}

// The step change tells a list of all steps which block of steps came or went,
// in step positions, although records move between nodes.
TEST(ProcedureList, StepChangeIsOneBlockOfStepsOrAll) {
    using Change = ProcedureList::StepChange;
    using Kind = Change::Kind;
    ProcedureList list;
    fill(list,
         {makeRecord('Z'), makeRecord('M'), makeRecord('U'), makeRecord('D'), makeRecord('p')});
    EXPECT_EQ(list.takeStepChange().kind, Kind::kAll);  // freed and filled
    EXPECT_EQ(list.takeStepChange().kind, Kind::kNone);

    // Two insertions in front of step 3 (a Paste of two), then an Append.
    list.goToStep(3);
    list.insertAtCurrent(makeRecord('T'));
    list.insertAtCurrent(makeRecord('T'));
    EXPECT_EQ(list.takeStepChange(), (Change{Kind::kInserted, 3, 2}));
    list.appendRecord(makeRecord('A'));
    EXPECT_EQ(list.takeStepChange(), (Change{Kind::kInserted, 8, 1}));

    // Deleting steps 3 and 4 (the next one moves up), then 5 and 4 (the one
    // before), then the last step.
    list.goToStep(3);
    list.deleteCurrent();
    list.deleteCurrent();
    EXPECT_EQ(list.takeStepChange(), (Change{Kind::kRemoved, 3, 2}));
    list.goToStep(5);
    list.deleteCurrent();
    list.goToStep(4);
    list.deleteCurrent();
    EXPECT_EQ(list.takeStepChange(), (Change{Kind::kRemoved, 4, 2}));
    list.goToStep(list.componentCount);
    list.deleteCurrent();
    EXPECT_EQ(list.takeStepChange(), (Change{Kind::kRemoved, 4, 1}));

    // Steps apart, or an insertion and a deletion: all steps.
    list.goToStep(1);
    list.insertAtCurrent(makeRecord('T'));
    list.goToStep(3);
    list.insertAtCurrent(makeRecord('T'));
    EXPECT_EQ(list.takeStepChange().kind, Kind::kAll);
    list.insertAtCurrent(makeRecord('T'));
    list.deleteCurrent();
    EXPECT_EQ(list.takeStepChange().kind, Kind::kAll);
}

TEST(Numbers, ReadAsTheCLibraryDoesInTheCLocale) {
    const char* decimals[] = {"0.25",  " -1.5x", "+.5",   "1e3",     "12,5", "abc",
                              "",      "-",      "+-1",   "007.100", "1.",   "  3.25e-2kB",
                              "1e999", "1e-999", "-1e999"};
    for (const char* t : decimals)
        EXPECT_EQ(ParseDecimal(t), std::atof(t)) << t;
    const char* integers[] = {
        "42",   " -17x", "+8", "x1", "", "99999999999999999999", "-99999999999999999999",
        "0012", "3.9"};
    for (const char* t : integers)
        EXPECT_EQ(ParseLeadingInteger(t), std::strtol(t, nullptr, 10)) << t;

    long long v = 0;
    const std::pair<const char*, long long> whole[] = {
        {"4294967296", 4294967296LL}, {"0x1F", 31}, {"-1", -1}};
    for (const auto& [text, want] : whole)
        EXPECT_TRUE(ParseWholeInteger(text, v) && v == want) << text << " gave " << v;
    for (const char* bad : {"", "12a", " 1", "+1", "0x", "--1", "99999999999999999999"})
        EXPECT_FALSE(ParseWholeInteger(bad, v)) << bad;
}

TEST(Numbers, WriteAsPrintfDoesInTheCLocale) {
    const double values[] = {0.0,    0.25,  -0.0005, 2.0005, 1.0 / 3, 99999.95,
                             1234.5, -7.25, 0.0625,  1e-9,   65536.0, 123456789.125};
    for (double v : values) {
        for (int decimals : {0, 1, 3}) {
            char buf[64];
            std::snprintf(buf, sizeof buf, "%6.*f", decimals, v);
            EXPECT_EQ(FixedText(v, 6, decimals), buf) << v;
            std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
            EXPECT_EQ(FixedText(v, decimals), buf) << v;
        }
    }
    EXPECT_EQ(AsciiUpper("save -m\xE4x"), "SAVE -M\xE4X");  // Windows-1252 letters stay
}

// Adopts a German locale built for the test, as a Qt application adopts the
// user's, and goes back to "C" afterwards.
class CommaLocale : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        const std::string cmd =
            "localedef -i de_DE -f UTF-8 '" + dir_->file("de_DE.UTF-8") + "' >/dev/null 2>&1";
        built_ = std::system(cmd.c_str()) == 0;
    }
    static void TearDownTestSuite() {
        delete dir_;
        dir_ = nullptr;
    }
    void SetUp() override {
        if (!built_)
            GTEST_SKIP() << "localedef could not build de_DE.UTF-8 (package locales missing?)";
        ::setenv("LOCPATH", dir_->path().c_str(), 1);
        if (!std::setlocale(LC_ALL, "de_DE.UTF-8"))
            GTEST_SKIP() << "the built de_DE.UTF-8 locale cannot be adopted";
        char buf[16];
        std::snprintf(buf, sizeof buf, "%.1f", 0.5);
        ASSERT_STREQ(buf, "0,5") << "the locale does not write a decimal comma";
    }
    void TearDown() override {
        std::setlocale(LC_ALL, "C");
        ::unsetenv("LOCPATH");
    }
    static inline test::TempDir* dir_ = nullptr;
    static inline bool built_ = false;
};

TEST_F(CommaLocale, ReadersFillersAndProtocolKeepTheDecimalPoint) {
    EXPECT_EQ(ParseDecimal("0.25"), 0.25);
    EXPECT_EQ(FixedText(1.5, 6, 1), "   1.5");

    // A memory measurement: scan rate 0.25 s, trigger value 1.5.
    MapForm form;
    form.setChecked(1005, true);  // mode S
    form.setText(1013, "A1");
    form.setText(1016, "0.25");
    form.setText(1017, "1000");
    form.setText(1018, "A1");
    form.setText(1019, ">");
    form.setText(1020, "1.5");
    ComponentRecord save;
    ASSERT_EQ(ReadMeasuring(form, save), 0);
    EXPECT_EQ(save.u32(layout::measuring::kScanPeriod), 250000u);
    EXPECT_EQ(save.f32(layout::measuring::kTriggerValue), 1.5f);
    MapForm filled;
    FillMeasuring(save, filled);
    EXPECT_EQ(filled.fullText(1016), "0.250");
    EXPECT_EQ(filled.fullText(1020), "1.500");

    // The instrument memory lines of the protocol.
    ComponentRecord transfer;
    transfer.setTypeCode('M');
    transfer.setU8(layout::measuring::kMode, layout::measuring::kModeTransfer);
    ProcedureList list;
    list.appendRecord(save);
    list.appendRecord(transfer);
    for (auto [mode, line] : {std::pair{kCheckPv6410, std::string("     1.6 kB")},
                              std::pair{kCheckPv3320, std::string("   1.562 kB")}}) {
        const SyntaxTestResult r = RunSyntaxTestInMemory(list, "", mode);
        ASSERT_EQ(r.countedFindings, 0u) << mode;
        const auto procedure = std::find_if(r.lines.begin(), r.lines.end(), [](const auto& l) {
            return l.find(":  ") != std::string::npos && l.find("kB") != std::string::npos;
        });
        ASSERT_NE(procedure, r.lines.end());
        EXPECT_EQ(procedure->substr(procedure->size() - line.size()), line) << *procedure;
    }
}

}  // namespace
}  // namespace quelvari
