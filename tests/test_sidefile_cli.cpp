// quelvari-cli describe.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "model/procedure_file.h"
#include "model/side_file.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::runCli;
using test::TempDir;

std::string readText(const std::string& path) {
    const auto b = test::readBytes(path);
    return {b.begin(), b.end()};
}

void writeText(const std::string& path, const std::string& s) {
    test::writeBytes(path, {s.begin(), s.end()});
}

// A procedure whose conditions name B12 and Z3.
void writeSample(const std::string& path, int steps = 2) {
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

TEST(CliDescribe, ShowsChangesAndSavesAsOkDoes) {
    TempDir dir;
    const std::string pad = dir.file("T.PAD");
    writeSample(pad);
    const std::string padBytes = readText(pad);

    // Nothing yet: empty sections, and no file is made by looking.
    auto show = runCli("describe '" + pad + "'");
    EXPECT_EQ(show.status, 0) << show.out;
    EXPECT_EQ(show.out, "[COMMENT]\n\n[TEXT]\n\n[VAR]\n");
    EXPECT_FALSE(std::ifstream(dir.file("T.TXT")).good());

    writeText(dir.file("text.txt"), "Fills the pump.\nThen measures.");
    auto set = runCli("describe '" + pad + "' --comment 'Pumpe prüfen' --text-file '" +
                      dir.file("text.txt") + "' --var 'B12=Druck' --var 'A1=Ventil' --auto");
    EXPECT_EQ(set.status, 0) << set.out;
    // Automatic generation adds B12 and Z3 with their numbers; the given
    // description lands on B12's line, and the added A1 is not used.
    EXPECT_EQ(readText(dir.file("T.TXT")),
              "[COMMENT]\r\nPumpe pr\xfc"
              "fen\r\n[TEXT]\r\nFills the pump.\r\nThen measures.\r\n"
              "[VAR]\r\nA1     (?)      Ventil\r\nB12    (12)     Druck\r\nZ3     (3)      \r\n");
    EXPECT_EQ(set.out,
              "[COMMENT]\nPumpe prüfen\n[TEXT]\nFills the pump.\nThen measures.\n[VAR]\n"
              "A1     (?)      Ventil\nB12    (12)     Druck\nZ3     (3)      \n");

    // Changing a description keeps the number; the procedure is never touched.
    auto change = runCli("describe '" + pad + "' --var 'Z3=Zähler'");
    EXPECT_EQ(change.status, 0) << change.out;
    EXPECT_NE(readText(dir.file("T.TXT")).find("Z3     (3)      Z\xe4hler\r\n"), std::string::npos);
    EXPECT_EQ(readText(pad), padBytes);

    // Bad input changes nothing.
    const std::string before = readText(dir.file("T.TXT"));
    EXPECT_EQ(runCli("describe '" + pad + "' --comment 'Ω'").status, 64);
    EXPECT_EQ(runCli("describe '" + pad + "' --var 'novalue'").status, 64);
    EXPECT_EQ(runCli("describe '" + pad + "' --var 'A B=x'").status, 64);
    EXPECT_EQ(runCli("describe '" + dir.file("none.PAD") + "' --comment x").status, 2);
    EXPECT_EQ(readText(dir.file("T.TXT")), before);
}

TEST(CliDescribe, LowerCasePadGetsItsOwnSideFile) {
    TempDir dir;
    const std::string pad = dir.file("x.pad");
    writeSample(pad);
    const std::string padBytes = readText(pad);
    EXPECT_EQ(runCli("describe '" + pad + "' --comment c").status, 0);
    EXPECT_EQ(readText(pad), padBytes);
    EXPECT_EQ(readText(dir.file("x.txt")), "[COMMENT]\r\nc\r\n[TEXT]\r\n\r\n[VAR]\r\n");
}

TEST(CliDescribe, WriteProtectedSideFileStaysAsItIs) {
    if (test::runCommand("setpriv --reuid=65534 --regid=65534 --clear-groups true").status != 0)
        GTEST_SKIP() << "cannot drop privileges here";
    TempDir dir;
    ::chmod(dir.path().c_str(), 0755);
    const std::string pad = dir.file("T.PAD");
    writeSample(pad);
    const std::string side = dir.file("T.TXT");
    const std::string old = "[COMMENT]\r\nold\r\n[TEXT]\r\n\r\n[VAR]\r\n";
    writeText(side, old);
    ::chmod(pad.c_str(), 0644);
    ::chmod(side.c_str(), 0444);
    const std::string asNobody = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    const auto show = test::runCommand(asNobody + QUELVARI_CLI + " describe '" + pad + "' 2>&1");
    EXPECT_EQ(show.status, 0) << show.out;
    EXPECT_EQ(show.out, "[COMMENT]\nold\n[TEXT]\n\n[VAR]\n");
    const auto write =
        test::runCommand(asNobody + QUELVARI_CLI + " describe '" + pad + "' --comment new 2>&1");
    EXPECT_EQ(write.status, 2);
    EXPECT_NE(write.out.find("92"), std::string::npos) << write.out;
    EXPECT_EQ(readText(side), old);
}

}  // namespace
}  // namespace quelvari
