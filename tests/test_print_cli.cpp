// quelvari-cli print and the protocol PDF of check: pages as a printer gets them.
#include <gtest/gtest.h>

#include "model/procedure_file.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::runCli;
using test::TempDir;

int pdfPages(const std::string& pdf) {
    const auto info = test::runCommand("pdfinfo '" + pdf + "' 2>/dev/null");
    const auto at = info.out.find("Pages:");
    return at == std::string::npos ? -1 : std::stoi(info.out.substr(at + 6));
}

// A procedure of `steps` time components whose first names B12.
void writeSample(const std::string& path, int steps) {
    ProcedureList list;
    for (int i = 0; i < steps; ++i) {
        ComponentRecord r = test::makeRecord('Z', "step");
        storeInputCondition(r, i == 0 ? "B12" : "Z3>5");
        r.setU8(88, 'Z');
        r.setU16(90, 10);
        list.appendRecord(r);
    }
    ASSERT_TRUE(writeProcedure(path, list).ok());
}

TEST(CliPrint, PagesFollowGridAndOption) {
    TempDir dir;
    const std::string pad = dir.file("T13.PAD");
    writeSample(pad, 13);
    struct Case {
        const char* options;
        int pages;
    };
    // Landscape 12 or 6 a page, portrait 8 or 3.
    const Case cases[] = {{"--landscape", 2},
                          {"--landscape --extended", 3},
                          {"--portrait", 2},
                          {"", 2},
                          {"--portrait --extended", 5}};
    for (const Case& c : cases) {
        const std::string pdf = dir.file("out.pdf");
        const auto r = runCli("print '" + pad + "' --pdf '" + pdf + "' --lang 1 " + c.options);
        EXPECT_EQ(r.status, 0) << c.options << r.out;
        EXPECT_EQ(pdfPages(pdf), c.pages) << c.options;
    }
    // Heads: document name, the file, and "Page:" with number and total.
    const std::string pdf = dir.file("landscape.pdf");
    ASSERT_EQ(runCli("print '" + pad + "' --pdf '" + pdf + "' --landscape --lang 1").status, 0);
    const auto info = test::runCommand("pdfinfo '" + pdf + "'");
    EXPECT_NE(info.out.find("Quelvari- Document"), std::string::npos) << info.out;
    const auto text = test::runCommand("pdftotext -layout '" + pdf + "' -").out;
    const auto second = text.find('\f');
    ASSERT_NE(second, std::string::npos);
    EXPECT_NE(text.find("Test procedure " + pad), std::string::npos) << text;
    EXPECT_NE(text.find("Page: 1/2"), std::string::npos) << text;
    EXPECT_NE(text.find("Page: 2/2", second), std::string::npos) << text;
    EXPECT_NE(text.find("No. 013", second), std::string::npos) << text;

    EXPECT_EQ(runCli("print '" + pad + "' --pdf").status, 64);
    EXPECT_EQ(runCli("print '" + pad + "'").status, 64);
    EXPECT_EQ(runCli("print '" + pad + "' --pdf x.pdf --portrait --landscape").status, 64);
    EXPECT_EQ(runCli("print '" + dir.file("none.PAD") + "' --pdf '" + pdf + "'").status, 2);
    EXPECT_EQ(runCli("print '" + pad + "' --pdf /nonexistent/p.pdf").status, 2);
}

TEST(CliCheck, ProtocolPdf) {
    TempDir dir;
    const std::string pad = dir.file("T.PAD");
    writeSample(pad, 2);
    const std::string pdf = dir.file("protocol.pdf");
    const auto r = runCli("check '" + pad + "' --mode tarvisel --lang 1 --pdf '" + pdf + "'");
    EXPECT_LE(r.status, 1) << r.out;
    const auto info = test::runCommand("pdfinfo '" + pdf + "'");
    EXPECT_NE(info.out.find("Pages:           1\n"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("QuelvariDoc"), std::string::npos) << info.out;
    const auto text = test::runCommand("pdftotext -layout '" + pdf + "' -");
    EXPECT_NE(text.out.find("Page : 1/1"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("Syntax check protocol"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("*** PAD ***"), std::string::npos) << text.out;

    // A PDF that cannot be written fails the command.
    EXPECT_EQ(runCli("check '" + pad + "' --mode tarvisel --pdf /nonexistent/p.pdf").status, 2);
    EXPECT_EQ(runCli("check '" + pad + "' --mode tarvisel --pdf").status, 64);
}

}  // namespace
}  // namespace quelvari
