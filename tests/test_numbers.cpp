// Numbers in fixed formats: the number module against the C library in the
// "C" locale, and the measuring reader, its filler and the protocol under a
// locale with a decimal comma.
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
    EXPECT_TRUE(ParseWholeInteger("4294967296", v));
    EXPECT_EQ(v, 4294967296LL);
    EXPECT_TRUE(ParseWholeInteger("0x1F", v));
    EXPECT_EQ(v, 31);
    EXPECT_TRUE(ParseWholeInteger("-1", v));
    EXPECT_EQ(v, -1);
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

    std::uint8_t b[4] = {};
    PutLe32(b, 0x12345678);
    EXPECT_EQ(b[0], 0x78);
    EXPECT_EQ(b[3], 0x12);
    EXPECT_EQ(GetLe32(b), 0x12345678u);
    PutLe16(b, 0xBEEF);
    EXPECT_EQ(GetLe16(b), 0xBEEF);
    EXPECT_EQ(b[0], 0xEF);
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
