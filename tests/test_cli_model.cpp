// quelvari-cli on procedure files: info, dump, convert and bad arguments.
#include <gtest/gtest.h>

#include "model/procedure_file.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::runCli;
using test::TempDir;

TEST(CliModel, InfoDumpAndConvertAnOldFile) {
    TempDir dir;
    // Two old records and a partial third.
    std::vector<std::uint8_t> old(768 * 2 + 100, 0);
    for (int i = 0; i < 2; ++i) {
        std::uint8_t* r = &old[i * 768];
        r[0] = static_cast<std::uint8_t>(i + 1);
        r[2] = 'B';
        r[3] = '1';
        const char comment[] = {'P', 'r', static_cast<char>(0x81), 'f', 0};
        std::copy(comment, comment + 5, r + 26);
        r[77] = 'Z';
    }
    const std::string in = dir.file("OLD.PAD");
    test::writeBytes(in, old);

    auto info = runCli("info '" + in + "'");
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.out, "format: old\nrecords: 2\n");

    auto dump = runCli("dump --json '" + in + "'");
    EXPECT_EQ(dump.status, 0);
    const auto firstLine = dump.out.substr(0, dump.out.find('\n'));
    EXPECT_NE(firstLine.find("\"number\":1,\"formatMark\":65535,\"recordMark\":35,\"gotoTarget\":0,"
                             "\"inputCondition\":\"B1\",\"branchCondition\":\"\","
                             "\"comment\":\"Prüf\",\"typeCode\":\"Z\""),
              std::string::npos)
        << firstLine;
    EXPECT_NE(firstLine.find("\"hex\":\"ffff2300000001000000423100"), std::string::npos);

    const std::string out = dir.file("NEW.PAD");
    auto convert = runCli("convert '" + in + "' '" + out + "'");
    EXPECT_EQ(convert.status, 0) << convert.out;
    auto bytes = test::readBytes(out);
    ASSERT_EQ(bytes.size(), 1600u);
    EXPECT_EQ(bytes[2], 1);    // record mark of a saved record
    EXPECT_EQ(bytes[806], 2);  // step number of the second record
    EXPECT_EQ(runCli("info '" + out + "'").out, "format: current\nrecords: 2\n");
}

TEST(CliModel, BadArgumentsAndUnreadableFilesFail) {
    TempDir dir;
    EXPECT_EQ(runCli("").status, 64);
    EXPECT_EQ(runCli("frobnicate").status, 64);
    EXPECT_EQ(runCli("info").status, 64);
    EXPECT_EQ(runCli("dump a b").status, 64);
    const auto missing = runCli("info '" + dir.file("none.PAD") + "'");
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.out.find("93"), std::string::npos);
    EXPECT_EQ(runCli("convert '" + dir.file("none.PAD") + "' '" + dir.file("x.PAD") + "'").status,
              2);
    for (const char* verb : {"info", "dump", "convert"}) {
        const auto help = runCli(std::string(verb) + " --help");
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out.rfind(std::string("usage: quelvari-cli ") + verb, 0), 0u) << help.out;
    }
}

}  // namespace
}  // namespace quelvari
