// quelvari-cli add, edit, dump and check: what each invocation answers and
// that a refused one leaves the procedure as it was.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "check_builders.h"
#include "test_util.h"

namespace quelvari::test {
namespace {

// True when `s` is well-formed UTF-8.
bool validUtf8(const std::string& s) {
    for (std::size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        const std::size_t len = b < 0x80             ? 1
                                : (b & 0xE0) == 0xC0 ? 2
                                : (b & 0xF0) == 0xE0 ? 3
                                : (b & 0xF8) == 0xF0 ? 4
                                                     : 0;
        if (len == 0 || i + len > s.size())
            return false;
        for (std::size_t k = 1; k < len; ++k)
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80)
                return false;
        i += len;
    }
    return true;
}

class Cli : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* add :
             {"Z time-wait=1 factor=200 description=Warten",
              "U name=PUMPE entry=E3 branch=B1 target=1", "PG 1015=Grafik",
              "M measure=1 variables=P1P2 'value=' trigger=", "i --function reset description=Bus"})
            ASSERT_EQ(runCli("add " + pad + " " + add).status, 0) << add;
    }
    TempDir dir;
    std::string pad = dir.file("t.PAD");
};

TEST_F(Cli, RefusedInvocationsLeaveTheFileAlone) {
    struct Row {
        const char* args;  // after the verb; FILE is the procedure
        int status;
        const char* out;  // the answer begins with this (stdout and stderr)
    };
    const Row rows[] = {
        // Fields refused by the component's reader: code and message.
        {"add FILE Z time-wait=1 factor=60001", 3, "0x0203\n"},
        {"add FILE D", 3, "0x0E00\n"},
        {"edit FILE 2 target=0", 3, "0x0305\n"},
        {"add FILE M measure=1 variables=P1 'entry=A1<'", 3, "0x1A01\n"},
        {"add FILE M measure=1 variables=P1 'branch=E1!=' target=1", 3, "0x1A09\n"},
        {"add FILE M measure=1 variables=P12345678901", 3, "0x0B03\n"},
        // What the dialogs could never produce.
        {"add FILE U 'name=\xC4\x81'", 64, "quelvari-cli: the text of control"},
        {"add FILE U nosuch=1", 64, "quelvari-cli: this component has no control"},
        {"add FILE Y", 64, "quelvari-cli: unknown component type"},
        {"add FILE Z time-wait=2", 64, "quelvari-cli: control"},
        {"add FILE M save=1 pretrigger=11", 64, "quelvari-cli: control 'pretrigger' takes"},
        {"add FILE M save=1 link=4", 64,
         "quelvari-cli: control 'link' takes an entry index from 0 "
         "to 3"},
        {"add FILE i", 64, "quelvari-cli: an Interbus-S component needs --function"},
        {"add FILE i --function halt", 64, "quelvari-cli: --function takes"},
        {"add FILE Z --function cycle", 64, "quelvari-cli: --function is for Interbus-S"},
        {"edit FILE 4294967296", 64, "quelvari-cli: the procedure has no step 4294967296"},
        {"edit FILE 6", 64, "quelvari-cli: the procedure has no step 6"},
        {"edit FILE 0", 64, "quelvari-cli: STEP must be"},
        {"edit FILE 1 factor", 64, "quelvari-cli: expected CONTROL=VALUE"},
        {"check FILE", 64, "quelvari-cli: check needs --mode"},
        {"check FILE --mode pv9", 64, "quelvari-cli: unknown check mode"},
        {"check DIR/none.PAD --mode lumo", 2, "Syntax check protocol  none.PAD\n"},
        {"check DIR/t.PAM --mode lumo", 2, ""},
    };
    const auto before = readBytes(pad);
    ASSERT_EQ(before.size(), 5u * 800);
    for (const Row& row : rows) {
        std::string args = row.args;
        for (std::size_t p; (p = args.find("FILE")) != std::string::npos;)
            args.replace(p, 4, pad);
        for (std::size_t p; (p = args.find("DIR")) != std::string::npos;)
            args.replace(p, 3, dir.path());
        const auto r = runCli(args + " --lang 1");
        EXPECT_EQ(r.status, row.status) << row.args << "\n" << r.out;
        EXPECT_EQ(r.out.rfind(row.out, 0), 0u) << row.args << "\n" << r.out;
        EXPECT_EQ(readBytes(pad), before) << row.args;
        EXPECT_FALSE(std::ifstream(dir.file("t.sys")).good()) << row.args;
    }
}

TEST_F(Cli, AddAndEditStoreWhatTheDialogsWould) {
    const auto before = readBytes(pad);
    EXPECT_EQ(before[800 + 83], 'U');
    EXPECT_EQ(before[1600 + 88], 'G');
    EXPECT_EQ(before[3200 + 83], 'i');
    EXPECT_EQ(before[3200 + 88], 'R');  // the function chosen
    // Edit without values changes nothing; with values only what was given.
    for (int step = 1; step <= 5; ++step)
        ASSERT_EQ(runCli("edit " + pad + " " + std::to_string(step)).status, 0) << step;
    EXPECT_EQ(readBytes(pad), before);
    ASSERT_EQ(runCli("edit " + pad + " 1 factor=300 key-wait=1").status, 0);
    const auto after = readBytes(pad);
    EXPECT_EQ(after[88], 'T');
    EXPECT_EQ(after[90], 0);
    EXPECT_EQ(after[6], 1);
    EXPECT_TRUE(std::equal(before.begin() + 800, before.end(), after.begin() + 800));

    // Combo entries: the last one of each box is taken, stored as the dialog does.
    ASSERT_EQ(runCli("add " + pad + " M save=1 variables=P1 scan=1 count=10 pretrigger=10 link=3 " +
                     "trigger=A1 operator='>' value=1 trigger2=A2 operator2='<' value2=2")
                  .status,
              0);
    const auto measuring = readBytes(pad);
    ASSERT_EQ(measuring.size(), 6u * 800);
    EXPECT_EQ(measuring[5 * 800 + layout::measuring::kPretrigger], 100);
    EXPECT_EQ(measuring[5 * 800 + layout::measuring::kTriggerLink], 3);
}

TEST_F(Cli, ComponentsWithoutADialogAreNotEdited) {
    // An Interbus-S record whose function byte names no dialog, and a type
    // byte outside the catalogue: dump shows them, edit refuses them.
    ComponentRecord bus = makeRecord('i');
    ComponentRecord odd = makeRecord('\x80');
    writeRecords(pad, {bus, odd});
    for (const char* step : {"1", "2"}) {
        const auto r = runCli("edit " + pad + " " + step + " description=x");
        EXPECT_EQ(r.status, 64) << r.out;
    }
    const auto json = runCli("dump --json " + pad);
    EXPECT_EQ(json.status, 0);
    EXPECT_TRUE(validUtf8(json.out)) << json.out;
    EXPECT_NE(json.out.find("\"typeCode\":\"\xE2\x82\xAC\""), std::string::npos);  // 0x80 is €
    EXPECT_TRUE(validUtf8(runCli("dump " + pad).out));
}

TEST_F(Cli, ModuleNameIsProvedInTheProceduresDirectory) {
    // A directory where the test file of name X would go: X cannot be created
    // beside the procedure, whatever the current directory allows.
    ASSERT_EQ(::mkdir(dir.file("X.pa$").c_str(), 0700), 0);
    TempDir elsewhere;
    const std::string cd = "cd '" + elsewhere.path() + "' && ";
    auto r = runCommand(cd + QUELVARI_CLI + " add " + pad + " U name=X 2>&1");
    EXPECT_EQ(r.status, 3) << r.out;
    EXPECT_EQ(r.out.rfind("0x2D03\n", 0), 0u) << r.out;
    r = runCommand("cd '" + dir.path() + "' && " + QUELVARI_CLI + " add t.PAD U name=Y 2>&1");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_FALSE(std::ifstream(dir.file("Y.pa$")).good());
}

TEST_F(Cli, CheckPrintsTheProtocolAndExitsByTheTrueCount) {
    writeRecords(dir.file("ok.pad"), {makeRecord('B')});
    const auto ok = runCli("check " + dir.file("ok.pad") + " --mode pv6410 --lang 1");
    EXPECT_EQ(ok.status, 0) << ok.out;
    EXPECT_NE(ok.out.find("*** PAD ***\n    ok.pad\n"), std::string::npos);
    EXPECT_TRUE(std::ifstream(dir.file("ok.sys")).good());

    writeRecords(dir.file("bad.PAD"), {makeRecord('B', "", "B1", 5)});
    const auto bad = runCli("check " + dir.file("bad.PAD") + " --mode tarvisel --lang 1");
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("*** 2 errors ***"), std::string::npos) << bad.out;
    EXPECT_FALSE(std::ifstream(dir.file("bad.sys")).good());
}

TEST(CliScripts, SampleProcedureIsRebuiltByItsScript) {
    TempDir dir;
    const auto r = runCommand(std::string(QUELVARI_EXAMPLES) + "/make-sample.sh " + QUELVARI_CLI +
                              " " + dir.file("s.PAD") + " 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    const auto built = readBytes(dir.file("s.PAD"));
    EXPECT_EQ(built.size(), 8u * 800);
    EXPECT_EQ(built, readBytes(std::string(QUELVARI_EXAMPLES) + "/sample.PAD"));
    std::string types;
    for (std::size_t i = 0; i < built.size(); i += 800)
        types += static_cast<char>(built[i + 83]);
    EXPECT_EQ(types, "CMZIUDpu");
}

}  // namespace
}  // namespace quelvari::test
