// Files that never get lost and always say why: the one reader, the atomic
// writer under injected faults and kills, permissions, the locks of
// read-modify-write, and the error model's detail line.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "check/syntax_test.h"
#include "check_builders.h"
#include "edit_test_util.h"
#include "model/config.h"
#include "model/file_io.h"
#include "model/record_reader.h"
#include "test_util.h"
#include "texts/errors.h"
#include "texts/texts.h"

#if defined(__SANITIZE_ADDRESS__)
#define TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEST_ASAN 1
#endif
#endif
#ifdef TEST_ASAN
#include <sanitizer/asan_interface.h>
#endif

namespace quelvari::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

// A procedure of `steps` records whose comments carry `tag`.
void fill(ProcedureList& list, int steps, const std::string& tag) {
    list.freeProcedure();
    list.componentCount = 0;
    for (int i = 0; i < steps; ++i)
        list.appendRecord(makeRecord('B', tag + std::to_string(i)));
}

// Makes a file look as if it was written `age` ago.
void backdate(const std::string& path, std::chrono::seconds age) {
    const timespec then{::time(nullptr) - static_cast<time_t>(age.count()), 0};
    const timespec times[2] = {then, then};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

TEST(ErrorModel, CodesStatusesAndTheDetailLine) {
    // The command component's bare field codes are no success either.
    EXPECT_FALSE(Status::fromCode(4).ok());
    EXPECT_TRUE(Status::fromCode(ErrorCode(kErrDelayTime, 3)).detail().empty());

    // The system's reason comes in English whatever the locale, under the
    // catalogue text.
    const Status denied = Status::system(kErrFileWrite, EACCES, "/data/T.PAD");
    EXPECT_EQ(denied.detail(), "/data/T.PAD: Permission denied");
    const ErrorBox box = ComposeErrorMessage(denied, kEnglish);
    const ErrorBox plain = ComposeErrorMessage(ErrorCode(kErrFileWrite), kEnglish);
    EXPECT_EQ(box.caption, plain.caption);
    EXPECT_EQ(box.text, plain.text + "\n/data/T.PAD: Permission denied");
    EXPECT_EQ(Status::system(kErrFileWrite, ENOSPC, "").detail(), "No space left on device");
}

TEST(SafeFiles, TheReaderKeepsWhatWasReadAndReportsIoErrors) {
    TempDir dir;
    const std::string path = dir.file("T.PAD");
    ProcedureList list;
    fill(list, 10, "step");
    ASSERT_TRUE(writeProcedure(path, list).ok());

    // The file shrinks after Open looked at it: only the whole record that
    // was read is given, nothing of the rest.
    RecordReader reader;
    auto count = [&] {
        std::size_t n = 0;
        while (reader.next())
            ++n;
        return n;
    };
    ASSERT_TRUE(reader.open(path).ok());
    ASSERT_EQ(::truncate(path.c_str(), 800 + 400), 0);
    EXPECT_EQ(count(), 1u);
    EXPECT_TRUE(reader.status().ok());
    EXPECT_EQ(reader.last(), list.procedureHead.record);

    // It grows: read to the end, not to the size seen at the start.
    ASSERT_TRUE(writeProcedure(path, list).ok());
    ASSERT_TRUE(reader.open(path).ok());
    ASSERT_EQ(::truncate(path.c_str(), 13 * 800), 0);
    EXPECT_EQ(count(), 13u);

    // An I/O error in the middle is an error, not the end of the file: no
    // records for Open, no verdict and no system file from the syntax test.
    ASSERT_TRUE(writeProcedure(path, list).ok());
    for (int failAt = 1; failAt <= 2; ++failAt) {
        SCOPED_TRACE(failAt);
        int reads = 0;
        SetIoFault(
            [&](IoCall call) { return call == IoCall::Read && ++reads == failAt ? EIO : 0; });
        ProcedureList loaded;
        const Status s = loadProcedure(path, loaded);
        reads = 0;
        const SyntaxTestResult r = RunSyntaxTest(path, kCheckTarvisel);
        SetIoFault({});
        // Open's code and reason, what it kept, the syntax test's reason.
        EXPECT_EQ(std::tuple(s.code(), s.sysError, loaded.componentCount, loaded.nodeCount(),
                             r.fileError.sysError),
                  std::tuple(ErrorCode(kErrFileOpen), EIO, 0u, 1u, EIO));
        EXPECT_FALSE(r.systemFileWritten);
        EXPECT_FALSE(::access(SystemFilePath(path).c_str(), F_OK) == 0);
    }
}

TEST(SafeFiles, WriteProtectedFilesAndUnwritableDirectories) {
    TempDir dir;
    ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
    const std::string path = dir.file("locked.PAD");
    ProcedureList list;
    fill(list, 3, "old");
    ASSERT_TRUE(writeProcedure(path, list).ok());
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    const auto before = readBytes(path);

    // Save: message 92 with the reason, the file untouched, still modified.
    ScriptedFileUi ui;
    FileCommands commands(list, ui);
    list.documentPath = path;
    list.modified = 1;
    commands.fileSave();
    EXPECT_EQ(ui.errors, std::vector<int>{ErrorCode(kErrFileWrite)});
    EXPECT_EQ(ui.details, std::vector<std::string>{path + ": Permission denied"});
    EXPECT_EQ(list.modified, 1u);
    EXPECT_EQ(readBytes(path), before);
    EXPECT_FALSE(hasTemporary(dir.path()));

    // Open needs write access (93); info and dump only read.
    ProcedureList opened;
    EXPECT_EQ(loadProcedure(path, opened).sysError, EACCES);
    RecordFile file;
    EXPECT_TRUE(readRecordFile(path, file).ok());
    const auto info = runCli("info '" + path + "'");
    EXPECT_EQ(info.status, 0) << info.out;
    EXPECT_THAT(info.out, HasSubstr("records: 3"));

    // As an ordinary user: a writable file in a directory it cannot write to
    // is refused with the directory's reason and stays as it is; a file it
    // cannot read does not open.
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to drop privileges to user 65534";
    const std::string shared = dir.file("shared.PAD");
    ASSERT_TRUE(writeProcedure(shared, list).ok());
    ASSERT_EQ(::chmod(shared.c_str(), 0666), 0);
    const std::string secret = dir.file("secret.PAD");
    ASSERT_TRUE(writeProcedure(secret, list).ok());
    ASSERT_EQ(::chmod(secret.c_str(), 0600), 0);
    const auto sharedBefore = readBytes(shared);
    const auto add = runCliAs(65534, "add " + shared + " Z time-wait=1 factor=1 --lang 1");
    EXPECT_EQ(add.status, 2);
    EXPECT_THAT(add.out,
                AllOf(HasSubstr("(92)"), HasSubstr("\n" + dir.path() + ": Permission denied\n")));
    EXPECT_EQ(readBytes(shared), sharedBefore);
    const auto edit = runCliAs(65534, "edit " + secret + " 1 --lang 1");
    EXPECT_EQ(edit.status, 2);
    EXPECT_THAT(edit.out, HasSubstr("\n" + secret + ": Permission denied\n"));
}

// Saves the procedure, the system file of the syntax test and the
// configuration with every call of the save failing in turn.
TEST(SaveFaults, EveryFailingCallLeavesTheOldFileIntactAndNamesTheCause) {
    TempDir dir("/dev/shm");
    const std::string pad = dir.file("T.PAD");
    ::setenv("QUELVARI_CONFIG_ROOT", dir.file("config").c_str(), 1);
    ASSERT_TRUE(EnsureConfigDirectories());
    ProcedureList original, changed;
    fill(original, 150, "old");
    fill(changed, 200, "new");

    // What is saved, where, how the old content is written and the save under test.
    const std::tuple<const char*, std::string, std::function<void()>, std::function<Status()>>
        targets[] = {
            {"procedure", pad, [&] { ASSERT_TRUE(writeProcedure(pad, original).ok()); },
             [&] { return writeProcedure(pad, changed); }},
            {"system file", SystemFilePath(pad),
             [&] {
                 writeBytes(SystemFilePath(pad), std::vector<std::uint8_t>(24636, 0xA5));
                 writeRecords(pad, {makeRecord('B')});
             },
             [&] { return RunSyntaxTest(pad, kCheckTarvisel).fileError; }},
            {"configuration", GetConfigPaths().file,
             [] { ASSERT_TRUE(WriteConfiguration(Configuration(1, 0)).ok()); },
             [] { return WriteConfiguration(Configuration(3, 1)); }},
        };
    int trials = 0;
    for (const auto& [name, path, prepare, save] : targets) {
        SCOPED_TRACE(name);
        prepare();
        const auto before = readBytes(path);
        // Count the calls of one good save, then fail each of them.
        int calls = 0;
        SetIoFault([&](IoCall call) { return call == IoCall::Read ? 0 : (++calls, 0); });
        ASSERT_TRUE(save().ok());
        SetIoFault({});
        ASSERT_GE(calls, 4);
        for (int n = 1; n <= calls; ++n) {
            SCOPED_TRACE(n);
            prepare();
            int seen = 0;
            int injected = 0;
            SetIoFault([&](IoCall call) {
                if (call == IoCall::Read || ++seen != n)
                    return 0;
                return injected = call == IoCall::Write    ? ENOSPC
                                  : call == IoCall::Rename ? EXDEV
                                                           : EIO;
            });
            const Status s = save();
            SetIoFault({});
            ++trials;
            EXPECT_EQ(std::pair(s.code(), s.sysError),
                      std::pair(ErrorCode(kErrFileWrite), injected));
            EXPECT_THAT(s.detail(), AllOf(HasSubstr(path), HasSubstr(SystemErrorText(injected))));
            EXPECT_EQ(readBytes(path), before);
            EXPECT_FALSE(hasTemporary(DirectoryOf(path)));
        }
    }
    ::unsetenv("QUELVARI_CONFIG_ROOT");
    EXPECT_GE(trials, 12);
    std::cout << "[ fault trials ] " << trials << "\n";
}

TEST(SaveFaults, KilledSavesLeaveTheOldFileOrTheNewOneWhole) {
    TempDir dir("/dev/shm");
    const std::string path = dir.file("big.PAD");
    ProcedureList a, b;
    fill(a, 1500, "first");
    fill(b, 2500, "second");
    ASSERT_TRUE(writeProcedure(path, a).ok());
    const auto bytesA = readBytes(path);
    ASSERT_TRUE(writeProcedure(path, b).ok());
    const auto bytesB = readBytes(path);

    // How long one save takes here, to spread the kills over it.
    const auto t0 = std::chrono::steady_clock::now();
    ASSERT_TRUE(writeProcedure(path, a).ok());
    const auto saveUs =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - t0)
            .count();
    std::mt19937 random(12345);
    std::uniform_int_distribution<long> delay(0, saveUs * 3 / 2 + 200);
    int trials = 0, completed = 0, kept = 0;
    const auto start = std::chrono::steady_clock::now();
    bool nowA = true;
    while (trials < 120 ||
           (trials < 400 && std::chrono::steady_clock::now() - start < std::chrono::seconds(2))) {
        ProcedureList& next = nowA ? b : a;
        const pid_t pid = ::fork();
        if (pid == 0) {
            const bool ok = writeProcedure(path, next).ok();
            ::_exit(ok ? 0 : 1);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
        ++trials;
        const auto now = readBytes(path);
        const bool isNew = now == (nowA ? bytesB : bytesA);
        const bool isOld = now == (nowA ? bytesA : bytesB);
        ASSERT_TRUE(isNew || isOld) << "trial " << trials << ": " << now.size() << " bytes";
        (isNew ? completed : kept)++;
        nowA = isNew ? !nowA : nowA;
    }
    std::cout << "[ kill trials ] " << trials << " (" << completed << " completed, " << kept
              << " interrupted)\n";
    EXPECT_GT(kept, 0);

    // The temporary files of the killed saves are removed by a later save once
    // they are old; a fresh one (a save that may still run) is left alone.
    for (const std::string& name : listing(dir.path()))
        backdate(dir.file(name), std::chrono::hours(2));
    const std::string foreign = dir.file(".quelvari-saveXabcdef");
    writeBytes(dir.file(std::string(kTempPrefix) + "fresh1"), {1});
    writeBytes(foreign, {1});
    backdate(foreign, std::chrono::hours(2));
    ASSERT_TRUE(writeProcedure(path, a).ok());
    EXPECT_EQ(listing(dir.path()), (std::vector<std::string>{std::string(kTempPrefix) + "fresh1",
                                                             ".quelvari-saveXabcdef", "big.PAD"}));
}

TEST(FileLocks, ASecondWriterWaitsForTheFirstOrIsRefused) {
    TempDir dir;
    const std::string path = dir.file("T.PAD");
    ProcedureList list;
    fill(list, 2, "x");
    ASSERT_TRUE(writeProcedure(path, list).ok());

    FileLock first;
    ASSERT_TRUE(first.acquire(path, kErrFileOpen, kLockWait).ok());
    ASSERT_TRUE(first.held());
    FileLock second;
    const Status refused = second.acquire(path, kErrFileOpen, std::chrono::milliseconds(50));
    EXPECT_EQ(refused.code(), ErrorCode(kErrFileOpen));
    EXPECT_EQ(refused.detail(), path + ": in use by another program");
    EXPECT_FALSE(second.held());

    // The first writer replaces the file; the waiting one gets the new file.
    Status waited;
    std::thread waiter(
        [&] { waited = second.acquire(path, kErrFileOpen, std::chrono::milliseconds(5000)); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    fill(list, 3, "y");
    ASSERT_TRUE(writeProcedure(path, list).ok());
    first.release();
    waiter.join();
    EXPECT_TRUE(waited.ok());
    EXPECT_TRUE(second.held());
    second.release();

    // A lock that creates a missing file removes it again when nothing was
    // written into it.
    const std::string fresh = dir.file("fresh.PAD");
    {
        FileLock creating;
        ASSERT_TRUE(creating.acquire(fresh, kErrFileOpen, kLockWait, true).ok());
        EXPECT_TRUE(creating.created());
    }
    EXPECT_NE(::access(fresh.c_str(), F_OK), 0);
}

TEST(ProcedureListMemory, ReleasedNodesArePoisonedForTheAddressSanitizer) {
#ifndef TEST_ASAN
    GTEST_SKIP() << "only an AddressSanitizer build can see poisoned memory";
#else
    ProcedureList list;
    fill(list, 5, "n");
    list.goToStep(4);
    ComponentNode* released = list.currentNode->next;
    ASSERT_NE(released, nullptr);
    // The node and its record, which lie apart.
    const ComponentRecord* record = &released->record;
    ASSERT_FALSE(__asan_address_is_poisoned(record));
    ASSERT_TRUE(list.deleteCurrent());
    EXPECT_TRUE(__asan_address_is_poisoned(record));
    EXPECT_TRUE(__asan_address_is_poisoned(record->data() + 799));
    EXPECT_TRUE(__asan_address_is_poisoned(&released->next));
    // Reused by the next insertion, and readable again.
    list.insertAtCurrent(makeRecord('Z'));
    EXPECT_EQ(list.nodeCount(), 5u);
    for (ComponentNode* n = &list.procedureHead; n; n = n->next) {
        EXPECT_FALSE(__asan_address_is_poisoned(&n->record));
        EXPECT_FALSE(__asan_address_is_poisoned(n));
    }
#endif
}

}  // namespace
}  // namespace quelvari::test
