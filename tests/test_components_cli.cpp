// quelvari-cli add, edit and the component part of dump.
#include <gtest/gtest.h>

#include "test_util.h"

namespace quelvari {
namespace {

using test::runCli;

TEST(ComponentCli, AddEditAndDump) {
    test::TempDir dir;
    const std::string pad = dir.file("t.PAD");
    const std::string cd = "cd '" + dir.path() + "' && ";
    ASSERT_EQ(runCli("add " + pad + " Z time-wait=1 factor=200 description=Warten").status, 0);
    ASSERT_EQ(runCli("add " + pad + " U name=PUMPE entry=E3 branch=B1 target=1").status, 0);
    ASSERT_EQ(runCli("add " + pad + " PG 1015=Grafik").status, 0);
    ASSERT_EQ(runCli("add " + pad + " M measure=1 variables=P1P2 'value=' trigger=").status, 0);
    const auto before = test::readBytes(pad);
    ASSERT_EQ(before.size(), 4u * 800);
    EXPECT_EQ(before[800 + 83], 'U');
    EXPECT_EQ(before[1600 + 88], 'G');
    // A refused field: code, message, status 3, file untouched.
    auto r = runCli("add " + pad + " Z time-wait=1 factor=60001");
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.out.substr(0, 7), "0x0203\n");
    EXPECT_EQ(test::readBytes(pad), before);
    r = runCli("add " + pad + " D");
    EXPECT_EQ(r.out.substr(0, 7), "0x0E00\n");
    r = runCli("edit " + pad + " 2 target=0");
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.out.substr(0, 7), "0x0305\n");
    EXPECT_EQ(test::readBytes(pad), before);
    // Text the code page cannot hold, unknown controls and types are refused.
    EXPECT_EQ(runCli("add " + pad + " U 'name=ā'").status, 64);
    EXPECT_EQ(runCli("add " + pad + " U nosuch=1").status, 64);
    EXPECT_EQ(runCli("add " + pad + " Y").status, 64);
    EXPECT_EQ(runCli("add " + pad + " Z time-wait=2").status, 64);
    EXPECT_EQ(test::readBytes(pad), before);
    // Edit without values changes nothing; with values only what was given.
    for (int step = 1; step <= 4; ++step)
        ASSERT_EQ(runCli("edit " + pad + " " + std::to_string(step)).status, 0) << step;
    EXPECT_EQ(test::readBytes(pad), before);
    ASSERT_EQ(runCli("edit " + pad + " 1 factor=300 key-wait=1").status, 0);
    auto after = test::readBytes(pad);
    EXPECT_EQ(after[88], 'T');
    EXPECT_EQ(after[90], 0);
    EXPECT_EQ(after[6], 1);
    EXPECT_TRUE(std::equal(before.begin() + 800, before.end(), after.begin() + 800));
    // Dump shows the type name and the drawn lines.
    r = runCli("dump " + pad + " --json");
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("\"typeName\":"), std::string::npos);
    EXPECT_NE(r.out.find("\"view\":[\""), std::string::npos);
    EXPECT_NE(r.out.find("PUMPE"), std::string::npos);
    r = runCli("dump " + pad);
    EXPECT_NE(r.out.find("P1P2"), std::string::npos);
    EXPECT_EQ(runCli("add --help").status, 0);
    EXPECT_NE(runCli("edit --help").out.find("usage: quelvari-cli edit"), std::string::npos);
}

TEST(ComponentCli, SampleProcedureIsRebuiltByItsScript) {
    test::TempDir dir;
    const auto r = test::runCommand(std::string(QUELVARI_EXAMPLES) + "/make-sample.sh " +
                                    QUELVARI_CLI + " " + dir.file("s.PAD") + " 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    const auto built = test::readBytes(dir.file("s.PAD"));
    EXPECT_EQ(built.size(), 8u * 800);
    EXPECT_EQ(built, test::readBytes(std::string(QUELVARI_EXAMPLES) + "/sample.PAD"));
    std::string types;
    for (std::size_t i = 0; i < built.size(); i += 800)
        types += static_cast<char>(built[i + 83]);
    EXPECT_EQ(types, "CMZIUDpu");
}

}  // namespace
}  // namespace quelvari
