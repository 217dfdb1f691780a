// Bad input and data safety: every reader of a named file against a FIFO, a
// directory, /dev/zero and a dangling link; the step limit; concurrent
// writers; saves and print-outs under a file size limit; the owner of a saved
// file; side-file content that would not load back whole.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "check/check_support.h"
#include "check/syntax_test.h"
#include "check_builders.h"
#include "edit_test_util.h"
#include "model/config.h"
#include "model/file_io.h"
#include "model/record_reader.h"
#include "model/side_file.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari::test {
namespace {

using ::testing::HasSubstr;

// The tool with a time limit: a hang gives status 124.
CommandResult cli(const std::string& args) {
    return runCommand("timeout 20 " + std::string(QUELVARI_CLI) + " " + args + " 2>&1");
}

void writeSample(const std::string& pad, std::size_t steps = 1) {
    writeRecords(pad, Records(steps, makeRecord('Z', "step")));
}

// Runs the tool `n` times at once in `dir`, the i-th time with `args(i)`;
// what a refused run prints is returned.
std::string runAtOnce(const TempDir& dir, int n, const std::function<std::string(int)>& args) {
    std::string script = "cd " + dir.path() + "\n";
    for (int i = 0; i < n; ++i)
        script +=
            std::string(QUELVARI_CLI) + " " + args(i) + " >/dev/null 2>&1 || echo refused &\n";
    writeText(dir.file("run.sh"), script + "wait\n");
    return runCommand("sh " + dir.file("run.sh")).out;
}

// What is not a regular file: its name, what the detail line says, and how
// it is made at a path.
const std::tuple<const char*, const char*, std::function<int(const std::string&)>> kKinds[] = {
    {"FIFO", "is not a regular file",
     [](const std::string& p) { return ::mkfifo(p.c_str(), 0600); }},
    {"directory", "directory", [](const std::string& p) { return ::mkdir(p.c_str(), 0755); }},
    {"/dev/zero", "is not a regular file",
     [](const std::string& p) { return ::symlink("/dev/zero", p.c_str()); }},
    {"dangling link", "symbolic link to a missing file",
     [](const std::string& p) { return ::symlink((p + ".gone").c_str(), p.c_str()); }},
};

TEST(BadInput, EveryReaderOfANamedFileRefusesWhatIsNotARegularFile) {
    for (const auto& [name, why, make] : kKinds) {
        SCOPED_TRACE(name);
        TempDir dir;
        const std::string pad = dir.file("T.PAD"), side = dir.file("T.TXT"),
                          bad = dir.file("X.PAD");
        writeSample(pad);
        writeSample(dir.file("U.PAD"));
        ASSERT_EQ(make(side), 0);
        ASSERT_EQ(make(bad), 0);
        // Open and the syntax test give the catalogue message, not a finding.
        RecordFile file;
        const Status read = readRecordFile(bad, file);
        EXPECT_EQ(read.code(), ErrorCode(kErrFileOpen));
        EXPECT_THAT(read.detail(), HasSubstr(why));
        EXPECT_TRUE(file.records.empty());
        ProcedureList list;
        EXPECT_EQ(loadProcedure(bad, list).code(), ErrorCode(kErrFileOpen));
        EXPECT_EQ(list.documentOpen, 0u);
        const SyntaxTestResult r = RunSyntaxTest(bad, kCheckTarvisel);
        EXPECT_EQ(r.fileError.code(), ErrorCode(kErrFileOpen));
        EXPECT_FALSE(r.systemFileWritten);
        EXPECT_FALSE(IsReadableRegularFile(bad));
        EXPECT_FALSE(ProbePicture(bad).found);
        std::string data;
        EXPECT_THAT(ReadRegularFile(side, 100, data).detail(), HasSubstr(why));
        const SideFileLoad load = LoadSideFile(side);
        EXPECT_FALSE(load.found || load.writable);
        EXPECT_EQ(UpdateSideFile(side, [](SideFileContent&) {}).message, kErrFileWrite);
        // describe reads the side file (shown, or changed: 93 or 92), reads
        // --text-file, print and check write their PDF, add locks the
        // procedure: each ends at once.
        const std::string runs[] = {
            "describe " + pad,
            "describe " + pad + " --var A=b",
            "describe " + dir.file("U.PAD") + " --text-file " + side,
            "print " + pad + " --pdf " + side,
            "check " + pad + " --mode tarvisel --pdf " + side,
            "add " + bad + " Z time-wait=1 factor=1",
        };
        for (const std::string& run : runs) {
            const auto c = cli(run);
            EXPECT_EQ(c.status, 2) << run << "\n" << c.out;
            EXPECT_THAT(c.out, HasSubstr(why)) << run << "\n" << c.out;
            EXPECT_TRUE(c.out.find("FEHLER 92:") != std::string::npos ||
                        c.out.find("FEHLER 93:") != std::string::npos)
                << c.out;
        }
        EXPECT_NE(::access(dir.file("U.TXT").c_str(), F_OK), 0);
    }
    // Tens of gigabytes without a byte on disk are too large for a procedure;
    // the largest one, 65535 steps and a partial record, is still read.
    TempDir dir;
    const std::string huge = dir.file("huge.PAD");
    writeBytes(huge, {0xFF, 0xFF});
    ASSERT_EQ(::truncate(huge.c_str(), 40'000'000'000LL), 0);
    RecordFile file;
    EXPECT_THAT(readRecordFile(huge, file).detail(), HasSubstr("too large for a procedure"));
    ProcedureList list;
    EXPECT_EQ(loadProcedure(huge, list).code(), ErrorCode(kErrFileOpen));
    ASSERT_EQ(::truncate(huge.c_str(), kMaxProcedureSteps * 800 + 799), 0);
    ASSERT_TRUE(readRecordFile(huge, file).ok());
    EXPECT_EQ(file.records.size(), kMaxProcedureSteps);
    ASSERT_EQ(::truncate(huge.c_str(), (kMaxProcedureSteps + 1) * 800), 0);
    EXPECT_FALSE(readRecordFile(huge, file).ok());
}

TEST(StepLimit, AppendInsertPasteAndSaveStopAtTheLimit) {
    ProcedureList list;
    fill(list, Records(kMaxSteps - 1, makeRecord('B')));
    list.documentOpen = 1;
    ScriptedEditUi ui;
    for (int i = 0; i < 2; ++i)
        ui.selections.push_back(makeRecord('Z', "new"));
    EditCommands commands(list, ui);
    commands.append();  // the last step that fits
    ASSERT_EQ(list.componentCount, kMaxSteps);
    list.goToStep(5);
    commands.copy();
    // Paste, Append, and undoing a Delete whose place a paste took: each
    // refused, the procedure as it was.
    const std::function<void()> attempts[] = {
        [&] { commands.insert(); },
        [&] { commands.append(); },
        [&] {
            commands.remove();
            commands.insert();
            list.modified = 0;
            commands.undo();
        },
    };
    for (std::size_t i = 0; i < std::size(attempts); ++i) {
        list.modified = 0;
        const std::uint32_t current = list.currentNumber;
        attempts[i]();
        EXPECT_EQ(
            std::tuple(list.nodeCount(), list.componentCount, list.currentNumber, list.modified),
            std::tuple(kMaxSteps, kMaxSteps, current, 0u));
        ASSERT_EQ(ui.refusals.size(), i + 1);
    }
    EXPECT_EQ(ui.refusals[0], FormatText(GetLangText(kTextProcedureFull), 65535));

    // Save writes the largest procedure and refuses one step more; the tool
    // refuses add and insert on the full file.
    TempDir dir("/dev/shm");
    const std::string pad = dir.file("T.PAD");
    ASSERT_TRUE(writeProcedure(pad, list).ok());
    list.appendNode(makeRecord('B'));
    const Status s = writeProcedure(pad, list);
    EXPECT_EQ(s.code(), ErrorCode(kErrFileWrite));
    EXPECT_THAT(s.detail(), HasSubstr("at most 65535 steps"));
    for (const std::string& verb : {"add " + pad + " Z", "insert " + pad + " 3 Z"}) {
        const auto r = cli(verb + " time-wait=1 factor=1");
        EXPECT_EQ(r.status, 2) << r.out;
        EXPECT_THAT(r.out, HasSubstr("(65535)"));
        EXPECT_EQ(readBytes(pad).size(), 65535u * 800);
    }
}

TEST(FileLocks, ConcurrentWritersLoseNothing) {
    TempDir dir;
    const std::string shared = dir.file("shared.PAD");
    for (const bool existing : {true, false}) {
        SCOPED_TRACE(existing);
        const std::string pad = existing ? shared : dir.file("new.PAD");
        if (existing) {
            ASSERT_EQ(cli("add " + pad + " Z time-wait=1 factor=1 description=first").status, 0);
        }
        EXPECT_EQ(runAtOnce(dir, 20,
                            [&](int i) {
                                return "add " + pad + " Z time-wait=1 factor=10 description=w" +
                                       std::to_string(i);
                            }),
                  "");
        RecordFile file;
        ASSERT_TRUE(readRecordFile(pad, file).ok());
        ASSERT_EQ(file.records.size(), existing ? 21u : 20u);
        // Every description once, each record whole and numbered in order.
        std::vector<int> seen(20, 0);
        for (std::size_t k = 0; k < file.records.size(); ++k) {
            const ComponentRecord& rec = file.records[k];
            EXPECT_EQ(rec.number(), k + 1);
            EXPECT_EQ(rec.typeCode(), 'Z');
            const std::string comment(reinterpret_cast<const char*>(rec.data() + rec::kComment));
            if (comment.size() > 1 && comment[0] == 'w')
                ++seen.at(static_cast<std::size_t>(std::stoi(comment.substr(1))));
        }
        EXPECT_EQ(seen, std::vector<int>(20, 1));
        EXPECT_FALSE(hasTemporary(dir.path()));
    }
    // Sixty descriptions of one side file.
    EXPECT_EQ(runAtOnce(dir, 60,
                        [&](int i) {
                            return "describe " + shared + " --var V" + std::to_string(i) + "=d";
                        }),
              "");
    EXPECT_EQ(LoadSideFile(dir.file("shared.TXT")).content.variables.size(), 60u);

    // Two processes change one setting each, forty times; the last value of
    // each survives.
    ::setenv("QUELVARI_CONFIG_ROOT", dir.path().c_str(), 1);
    pid_t children[2];
    for (int which = 0; which < 2; ++which) {
        if ((children[which] = ::fork()) == 0) {
            bool ok = true;
            for (std::uint32_t i = 0; i <= 40; ++i)
                ok &= UpdateConfiguration([&](Configuration& c) {
                          (which == 0 ? c.language : c.printSize) = i % 2 == 0 ? 1 + which : 0;
                      }).ok();
            ::_exit(ok ? 0 : 1);
        }
    }
    for (pid_t pid : children) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    Configuration c{9, 9};
    ReadConfiguration(c);
    EXPECT_EQ(std::pair(c.language, c.printSize), std::pair(1u, 2u));
    ::unsetenv("QUELVARI_CONFIG_ROOT");
}

TEST(SaveFaults, AFileSizeLimitGivesMessage92AndKeepsTheOldFile) {
    // As on a full disk: the procedure an add saves, the PDF of a print-out
    // and of a protocol. Without the limit the PDFs are written.
    TempDir dir;
    const std::string pad = dir.file("T.PAD"), pdf = dir.file("out.pdf");
    writeSample(pad, 60);
    const auto before = readBytes(pad);
    for (const std::string& verb : {"add " + pad + " Z time-wait=1 factor=1", "print " + pad,
                                    "check " + pad + " --mode tarvisel"}) {
        const std::string output = verb[0] == 'a' ? "" : " --pdf " + pdf;
        writeBytes(pdf, {'o', 'l', 'd'});
        const auto r = runCommand("sh -c 'ulimit -f 2; " + std::string(QUELVARI_CLI) + " " + verb +
                                  output + " --lang 1' 2>&1");
        EXPECT_EQ(r.status, 2) << r.out;
        EXPECT_THAT(r.out, HasSubstr("FILE WRITE ERROR (92)"));
        EXPECT_THAT(r.out, HasSubstr(": File too large"));
        EXPECT_EQ(readText(pdf), "old");
        EXPECT_EQ(readBytes(pad), before);
        if (!output.empty()) {
            EXPECT_LE(cli(verb + output).status, 1);  // check: 1 counts findings
            EXPECT_THAT(readText(pdf), HasSubstr("%%EOF"));
        }
    }
}

TEST(SaveOwnership, OwnerGroupAndModeOfTheOldFileAreKept) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "giving a file to another owner needs root";
    TempDir dir;
    ASSERT_EQ(::chmod(dir.path().c_str(), 0777), 0);
    const std::string pad = dir.file("T.PAD");
    writeSample(pad);
    ASSERT_EQ(::chown(pad.c_str(), 65534, 65534), 0);
    ASSERT_EQ(::chmod(pad.c_str(), 0646), 0);
    ASSERT_EQ(cli("add " + pad + " Z time-wait=1 factor=1").status, 0);
    struct stat st {};
    ASSERT_EQ(::stat(pad.c_str(), &st), 0);
    EXPECT_EQ(std::tuple(st.st_uid, st.st_gid, st.st_mode & 07777),
              std::tuple(65534u, 65534u, 0646u));
    // A user who may not give the file away saves it as its own.
    const auto r = runCliAs(1000, "add " + pad + " Z time-wait=1 factor=1");
    ASSERT_EQ(r.status, 0) << r.out;
    ASSERT_EQ(::stat(pad.c_str(), &st), 0);
    EXPECT_EQ(std::pair(st.st_uid, st.st_mode & 07777), std::pair(1000u, 0646u));
    EXPECT_EQ(readBytes(pad).size(), 3u * 800);
}

TEST(SideFile, ContentThatWouldNotLoadBackWholeIsRefused) {
    // The empty file is 30 bytes of markers and line ends; the variable line
    // "V100   (1)      x" takes 17 and its line end 2.
    // Characters of comment and text, variable lines, and the excess.
    const std::size_t cases[][4] = {
        {99, 19999, 0, 128},    // 30 + 99 + 19999 = 20128
        {100, 10, 0, 1},        // a comment is cut at 99
        {0, 19970, 0, 0},       // exactly 20000 bytes
        {0, 19000, 52, 18},     // 30 + 19000 + 52 * 19 = 20018
        {0, 20000, 0, 1 + 29},  // the text is cut at 19999, and 20029 bytes
    };
    for (const auto& [comment, text, variables, excess] : cases) {
        SideFileContent content;
        content.comment.assign(comment, 'c');
        content.text.assign(text, 't');
        for (std::size_t i = 0; i < variables; ++i)
            content.variables.add(FormatVariableLine("V" + std::to_string(100 + i), 1, "x"));
        EXPECT_EQ(SideFileExcess(content), excess) << comment << "/" << text;
    }
    // describe --text-file refuses with the count and leaves the file.
    TempDir dir;
    const std::string pad = dir.file("T.PAD"), side = dir.file("T.TXT");
    writeSample(pad);
    ASSERT_EQ(cli("describe " + pad + " --var A=kept").status, 0);
    const std::string before = readText(side);  // 30 + "A      (?)      kept" 20 + 2
    // A text file that could never fit is not read to its end.
    const std::pair<std::size_t, const char*> texts[] = {
        {19949, "The description is 1 characters too long"}, {100000, "more than 80000 bytes"}};
    for (const auto& [size, says] : texts) {
        writeText(dir.file("text.txt"), std::string(size, 'x'));
        const auto r =
            cli("describe " + pad + " --text-file " + dir.file("text.txt") + " --lang 1");
        EXPECT_EQ(r.status, 2) << r.out;
        EXPECT_THAT(r.out, HasSubstr(says));
        EXPECT_EQ(readText(side), before);
    }
}

}  // namespace
}  // namespace quelvari::test
