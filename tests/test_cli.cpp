// quelvari-cli: what each invocation answers and exits with, that a refused
// one leaves every file as it was, and the flows that take several calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <regex>
#include <set>
#include <sstream>

#include "check_builders.h"
#include "test_util.h"

namespace quelvari::test {
namespace {

using ::testing::HasSubstr;

// True when what quelvari-cli prints for `args` is well-formed UTF-8.
bool printsUtf8(const std::string& args) {
    return runCommand(std::string(QUELVARI_CLI) + " " + args +
                      " | iconv -f UTF-8 -t UTF-8 >/dev/null")
               .status == 0;
}

std::string pdfInfo(const std::string& pdf) {
    return runCommand("pdfinfo '" + pdf + "' 2>/dev/null").out;
}
int pdfPages(const std::string& pdf) {
    const std::string info = pdfInfo(pdf);
    const auto at = info.find("Pages:");
    return at == std::string::npos ? -1 : std::stoi(info.substr(at + 6));
}
// The text of every page, runs of blanks as one: how far apart pdftotext puts
// two runs of text depends on the fonts the machine has.
std::string pdfText(const std::string& pdf) {
    return runCommand("pdftotext -layout '" + pdf + "' - | tr -s ' '").out;
}

// `steps` time components whose first names B12 and the others Z3.
void writeTimeSteps(const std::string& path, int steps) {
    Records records;
    for (int i = 0; i < steps; ++i)
        records.push_back(withBytes(withEntry(makeRecord('Z', "step"), i == 0 ? "B12" : "Z3>5"), 88,
                                    {'Z', 0, 10, 0}));
    writeRecords(path, records);
}

// Two old-format records and the start of a third.
std::vector<std::uint8_t> oldFile() {
    auto old = oldRecord(1, 'Z', "B1", "", 0, {'P', 'r', 0x81, 'f'});
    const auto second = oldRecord(2, 'Z', "B1", "", 0, {'P', 'r', 0x81, 'f'});
    old.insert(old.end(), second.begin(), second.end());
    old.resize(old.size() + 100);
    return old;
}

class Cli : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* add :
             {"Z time-wait=1 factor=200 description=Warten",
              "U name=PUMPE entry=E3 branch=B1 target=1", "PG 1015=Grafik",
              "M measure=1 variables=P1P2 'value=' trigger=", "i --function reset description=Bus"})
            ASSERT_EQ(runCli("add " + pad + " " + add).status, 0) << add;
        writeBytes(dir.file("OLD.PAD"), oldFile());
    }
    // Runs with FILE standing for the procedure and DIR for its directory.
    CommandResult run(const std::string& args) {
        return runCli(std::regex_replace(std::regex_replace(args, std::regex("FILE"), pad),
                                         std::regex("DIR"), dir.path()));
    }
    TempDir dir;
    std::string pad = dir.file("t.PAD");
};

TEST_F(Cli, AnswersAndExitCodesLeaveTheFilesAlone) {
    struct Row {
        const char* args;
        int status;
        const char* out;  // stdout and stderr ...
        char how = 'b';   // ... begin with it, are it ('=') or hold it ('~')
    };
    const Row rows[] = {
        // Fields refused by the component's reader: its code (the readers'
        // codes are the component reader tests').
        {"add FILE Z time-wait=1 factor=60001 --lang 1", 3, "0x0203\n"},
        {"edit FILE 2 target=0 --lang 1", 3, "0x0305\n"},
        {"insert FILE 1 Z time-wait=1 factor=60001", 3, "0x0203\n"},
        // A value the dialog would leave without effect is refused, not dropped.
        {"add FILE Z factor=500", 3,
         "quelvari-cli: control 'factor' has no effect with the other values given; the dialog "
         "uses it with time-wait=1\n"},
        {"edit FILE 1 factor=300 key-wait=1", 3, "quelvari-cli: control 'factor' has no effect"},
        // What the dialogs could never produce.
        {"add FILE U 'name=\xC4\x81'", 64, "quelvari-cli: the text of control"},
        {"add FILE U nosuch=1", 64, "quelvari-cli: this component has no control"},
        {"add FILE Y", 64, "quelvari-cli: unknown component type"},
        {"add FILE Z time-wait=2", 64, "quelvari-cli: control"},
        {"add FILE M save=1 link=4", 64,
         "quelvari-cli: control 'link' takes an entry index from 0 to 3"},
        {"add FILE i", 64, "quelvari-cli: an Interbus-S component needs --function"},
        {"add FILE i --function halt", 64, "quelvari-cli: --function takes"},
        {"add FILE Z --function cycle", 64, "quelvari-cli: --function is for Interbus-S"},
        // Steps: a 32-bit wrap is no step; insert and delete only where a step is.
        {"edit FILE 4294967296", 64, "quelvari-cli: the procedure has no step 4294967296"},
        {"edit FILE 0", 64, "quelvari-cli: STEP must be"},
        {"edit FILE 1 factor", 64, "quelvari-cli: expected CONTROL=VALUE"},
        {"delete FILE 6", 64, ""},
        {"delete FILE 0", 64, ""},
        {"insert FILE 6 Z time-wait=1 factor=5", 64, ""},
        {"insert DIR/none.PAD 1 Z time-wait=1 factor=5", 2, ""},
        // Arguments and files.
        {"", 64, ""},
        {"frobnicate", 64, ""},
        {"info", 64, ""},
        {"dump a b", 64, ""},
        {"info DIR/none.PAD", 2, "none.PAD: No such file or directory", '~'},
        {"convert DIR/none.PAD DIR/x.PAD", 2, ""},
        {"info DIR/OLD.PAD", 0, "format: old\nrecords: 2\n", '='},
        {"info FILE", 0, "format: current\nrecords: 5\n", '='},
        {"info --help", 0, "usage: quelvari-cli info"},
        // Checks and print-outs that cannot start or cannot write.
        {"check FILE", 64, "quelvari-cli: check needs --mode"},
        {"check FILE --mode pv9", 64, "quelvari-cli: unknown check mode"},
        {"check DIR/none.PAD --mode lumo --lang 1", 2, "Syntax check protocol  none.PAD\n"},
        {"check FILE --mode tarvisel --pdf", 64, ""},
        {"check FILE --mode tarvisel --pdf /nonexistent/p.pdf", 2, ""},
        {"print FILE --pdf", 64, ""},
        {"print FILE", 64, ""},
        {"print FILE --pdf DIR/x.pdf --portrait --landscape", 64, ""},
        {"print DIR/none.PAD --pdf DIR/x.pdf", 2, ""},
        // Descriptions: bad values and no procedure.
        {"describe FILE --comment '\xCE\xA9'", 64, ""},
        {"describe FILE --var novalue", 64, ""},
        {"describe FILE --var 'A B=x'", 64, ""},
        {"describe DIR/none.PAD --comment x", 2, ""},
        {"describe FILE", 0, "[COMMENT]\n\n[TEXT]\n\n[VAR]\n", '='},
        // Texts and the error catalogue.
        {"text 173 --lang 1", 0, "Syntax check\n", '='},
        {"error 0x603 --lang 1", 0, "Error\nERROR: FIELD LENGTH (6)\n\n"},
        {"error 0x7300", 64, ""},
        {"text abc", 64, ""},
        {"texts --missing --lang 2", 0, "", '='},
    };
    const auto before = readBytes(pad);
    ASSERT_EQ(before.size(), 5u * 800);
    for (const Row& row : rows) {
        const auto r = run(row.args);
        EXPECT_EQ(r.status, row.status) << row.args << "\n" << r.out;
        const std::size_t at = r.out.find(row.out);
        EXPECT_TRUE(row.how == '='   ? r.out == row.out
                    : row.how == '~' ? at != std::string::npos
                                     : at == 0)
            << row.args << "\n"
            << r.out;
        EXPECT_EQ(readBytes(pad), before) << row.args;
        for (const char* made : {"t.sys", "t.TXT", "x.pdf", "x.PAD", "none.PAD"})
            EXPECT_FALSE(std::ifstream(dir.file(made)).good()) << row.args << ": " << made;
    }
    // The field line of a catalogue message, and a decimal code for the same.
    const auto box = run("error 0x603 --lang 1");
    EXPECT_THAT(box.out, HasSubstr("\nInvalid field: 3\n"));
    EXPECT_EQ(run("error 1539 --lang 1").out, box.out);
    // The verb list: every summary starts in one column, two blanks after its verb.
    const auto overview = run("--help");
    std::istringstream lines(overview.out.substr(overview.out.find("Verbs:\n") + 7));
    std::set<std::size_t> columns;
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        const std::size_t verbEnd = line.find(' ', 2);
        ASSERT_NE(verbEnd, std::string::npos) << line;
        EXPECT_EQ(line.compare(verbEnd, 2, "  "), 0) << line;
        columns.insert(line.find_first_not_of(' ', verbEnd));
    }
    EXPECT_EQ(columns.size(), 1u) << overview.out;
}

// Each step as "type comment>target", numbered 1..n.
std::string stepsOf(const std::string& path) {
    ProcedureList list;
    EXPECT_TRUE(loadProcedure(path, list).ok());
    std::string out;
    std::uint16_t n = 1;
    for (const ComponentNode* node = &list.procedureHead; node; node = node->next, ++n) {
        EXPECT_EQ(node->record.number(), n);
        out += std::string(1, static_cast<char>(node->record.typeCode())) + " " +
               node->record.comment() + ">" + std::to_string(node->record.gotoTarget()) + "; ";
    }
    return out;
}

TEST_F(Cli, AddEditInsertAndDeleteStoreWhatTheViewWould) {
    const auto before = readBytes(pad);
    // The types of steps 2 and 5, the graphic's mark and the function chosen.
    EXPECT_EQ((ByteRow{before[883], before[1688], before[3283], before[3288]}),
              (ByteRow{'U', 'G', 'i', 'R'}));
    // Edit without values changes nothing; with values only what was given.
    for (int step = 1; step <= 5; ++step)
        ASSERT_EQ(runCli("edit " + pad + " " + std::to_string(step)).status, 0) << step;
    EXPECT_EQ(readBytes(pad), before);
    ASSERT_EQ(runCli("edit " + pad + " 1 key-wait=1").status, 0);
    const auto after = readBytes(pad);
    EXPECT_EQ((ByteRow{after[88], after[90], after[6]}), (ByteRow{'T', 0, 1}));
    EXPECT_TRUE(std::equal(before.begin() + 800, before.end(), after.begin() + 800));

    // Combo entries: the last one of each box is taken, stored as the dialog does.
    const auto added =
        run("add FILE M save=1 variables=P1 scan=1 count=10 pretrigger=10 link=3 "
            "trigger=A1 operator='>' value=1 trigger2=A2 operator2='<' value2=2");
    ASSERT_EQ(added.status, 0) << added.out;
    const auto measuring = readBytes(pad);
    ASSERT_EQ(measuring.size(), 6u * 800);
    EXPECT_EQ((ByteRow{measuring[4000 + layout::measuring::kPretrigger],
                       measuring[4000 + layout::measuring::kTriggerLink]}),
              (ByteRow{100, 3}));

    // Insert and delete renumber the targets as the view does.
    const std::string r = dir.file("r.PAD");
    for (const char* step : {"a branch=B1 target=3", "b branch=B1 target=2", "c"})
        ASSERT_EQ(runCli("add " + r + " Z time-wait=1 factor=5 description=" + step).status, 0);
    ASSERT_EQ(runCli("insert " + r + " 2 Z time-wait=1 factor=5 description=new").status, 0);
    // Before step 2: the target 3 rises, the target 2 stays and leads to the new step.
    EXPECT_EQ(stepsOf(r), "Z a>4; Z new>0; Z b>2; Z c>0; ");
    ASSERT_EQ(runCli("delete " + r + " 2").status, 0);
    // Pivot 3 (the moved-up record's old number): 4 becomes 3, 2 stays.
    EXPECT_EQ(stepsOf(r), "Z a>3; Z b>2; Z c>0; ");
    // Down to one step, which stays: no procedure is saved without steps.
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(runCli("delete " + r + " 1").status, 0);
    EXPECT_EQ(runCli("delete " + r + " 1").status, 64);
    EXPECT_EQ(stepsOf(r), "Z c>0; ");
}

TEST_F(Cli, OldFilesAndRecordsWithoutADialog) {
    // An old file dumps converted, with its code-page text as UTF-8, and
    // converts to the current format numbered as a save numbers.
    const std::string old = dir.file("OLD.PAD");
    const auto dump = runCli("dump --json '" + old + "'");
    EXPECT_EQ(dump.status, 0);
    const auto firstLine = dump.out.substr(0, dump.out.find('\n'));
    EXPECT_THAT(firstLine,
                HasSubstr("\"number\":1,\"formatMark\":65535,\"recordMark\":35,\"gotoTarget\":0,"
                          "\"inputCondition\":\"B1\",\"branchCondition\":\"\","
                          "\"comment\":\"Prüf\",\"typeCode\":\"Z\""));
    EXPECT_THAT(firstLine, HasSubstr("\"hex\":\"ffff2300000001000000423100"));
    const std::string out = dir.file("NEW.PAD");
    ASSERT_EQ(runCli("convert '" + old + "' '" + out + "'").status, 0);
    const auto bytes = readBytes(out);
    ASSERT_EQ(bytes.size(), 1600u);
    // The record mark of a saved record, the step number of the second one.
    EXPECT_EQ((ByteRow{bytes[2], bytes[806]}), (ByteRow{1, 2}));

    // An Interbus-S record whose function byte names no dialog, and a type
    // byte outside the catalogue: dump shows them, edit refuses them.
    writeRecords(pad, {makeRecord('i'), makeRecord('\x80')});
    for (const char* step : {"1", "2"})
        EXPECT_EQ(runCli("edit " + pad + " " + step + " description=x").status, 64) << step;
    const auto json = runCli("dump --json " + pad);
    EXPECT_EQ(json.status, 0);
    EXPECT_TRUE(printsUtf8("dump --json " + pad)) << json.out;
    EXPECT_THAT(json.out, HasSubstr("\"typeCode\":\"\xE2\x82\xAC\""));  // 0x80 is €
    EXPECT_TRUE(printsUtf8("dump " + pad));
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

TEST_F(Cli, CheckAndPrintWriteWhatThePrinterGets) {
    // The protocol as a PDF (its text and exit status are the examples' tests).
    writeRecords(dir.file("bad.PAD"), {makeRecord('B', "", "B1", 5)});
    const std::string protocol = dir.file("protocol.pdf");
    const auto bad =
        runCli("check " + dir.file("bad.PAD") + " --mode tarvisel --lang 1 --pdf " + protocol);
    EXPECT_EQ(bad.status, 1);
    EXPECT_FALSE(std::ifstream(dir.file("bad.sys")).good());
    EXPECT_EQ(pdfPages(protocol), 1);
    EXPECT_THAT(pdfInfo(protocol), HasSubstr("QuelvariDoc"));
    const std::string protocolText = pdfText(protocol);
    for (const char* part : {"Page : 1/1", "Syntax check protocol", "*** PAD ***"})
        EXPECT_THAT(protocolText, HasSubstr(part));

    // Landscape 12 or 6 a page, portrait 8 or 3.
    const std::string t13 = dir.file("profile T13.PAD");
    writeTimeSteps(t13, 13);
    const std::pair<const char*, int> grids[] = {
        {"--landscape --extended", 3}, {"", 2}, {"--portrait --extended", 5}};
    const std::string pdf = dir.file("out.pdf");
    for (const auto& [options, pages] : grids) {
        const auto r = runCli("print '" + t13 + "' --pdf '" + pdf + "' --lang 1 " + options);
        EXPECT_EQ(r.status, 0) << options << r.out;
        EXPECT_EQ(pdfPages(pdf), pages) << options;
    }
    // Heads: document name, the file, and "Page:" with number and total.
    ASSERT_EQ(runCli("print '" + t13 + "' --pdf '" + pdf + "' --landscape --lang 1").status, 0);
    EXPECT_THAT(pdfInfo(pdf), HasSubstr("Quelvari- Document"));
    const auto text = pdfText(pdf);
    const auto second = text.find('\f');
    ASSERT_NE(second, std::string::npos);
    EXPECT_THAT(text, HasSubstr("Test procedure " + t13));
    EXPECT_THAT(text, HasSubstr("Page: 1/2"));
    EXPECT_NE(text.find("Page: 2/2", second), std::string::npos) << text;
    EXPECT_NE(text.find("No. 013", second), std::string::npos) << text;
}

TEST_F(Cli, DescribeShowsChangesAndSavesAsOkDoes) {
    const std::string t = dir.file("T.PAD");
    writeTimeSteps(t, 2);
    const std::string padBytes = readText(t);
    const std::string text = dir.file("text.txt");
    writeText(text, "L1\nL2");
    auto set = runCli("describe '" + t + "' --comment 'Pumpe prüfen' --text-file '" + text +
                      "' --var 'B12=Druck' --var 'A1=Ventil' --auto");
    EXPECT_EQ(set.status, 0) << set.out;
    // Automatic generation adds B12 and Z3 with their numbers; the given
    // description lands on B12's line, and the added A1 is not used.
    EXPECT_EQ(readText(dir.file("T.TXT")),
              "[COMMENT]\r\nPumpe pr\xfc"
              "fen\r\n[TEXT]\r\nL1\r\nL2\r\n"
              "[VAR]\r\nA1     (?)      Ventil\r\nB12    (12)     Druck\r\nZ3     (3)      \r\n");
    EXPECT_EQ(set.out,
              "[COMMENT]\nPumpe prüfen\n[TEXT]\nL1\nL2\n[VAR]\n"
              "A1     (?)      Ventil\nB12    (12)     Druck\nZ3     (3)      \n");
    // Changing a description keeps the number; the procedure is never touched.
    EXPECT_EQ(runCli("describe '" + t + "' --var 'Z3=Zähler'").status, 0);
    EXPECT_THAT(readText(dir.file("T.TXT")), HasSubstr("Z3     (3)      Z\xe4hler\r\n"));
    EXPECT_EQ(readText(t), padBytes);

    // A side file the user may not write is shown, and a change is refused
    // with message 92, the file as it was.
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to drop privileges to user 65534";
    ::chmod(dir.path().c_str(), 0755);
    const std::string side = dir.file("T.TXT");
    const std::string old = readText(side);
    ::chmod(t.c_str(), 0644);
    ::chmod(side.c_str(), 0444);
    const auto show = runCliAs(65534, "describe '" + t + "'");
    EXPECT_EQ(show.status, 0) << show.out;
    EXPECT_EQ(show.out, runCli("describe '" + t + "'").out);
    const auto write = runCliAs(65534, "describe '" + t + "' --comment new");
    EXPECT_EQ(write.status, 2);
    EXPECT_THAT(write.out, HasSubstr("92"));
    EXPECT_EQ(readText(side), old);
}

TEST(CliScripts, SampleProcedureIsRebuiltByItsScript) {
    TempDir dir;
    const auto r = runCommand(std::string(QUELVARI_EXAMPLES) + "/make-sample.sh " + QUELVARI_CLI +
                              " " + dir.file("s.PAD") + " 2>&1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(readBytes(dir.file("s.PAD")),
              readBytes(std::string(QUELVARI_EXAMPLES) + "/sample.PAD"));
}

}  // namespace
}  // namespace quelvari::test
