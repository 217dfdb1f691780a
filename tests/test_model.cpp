// The record layout and the procedure list: renumbering and the editing
// primitives; procedure files in both formats, the old-record conversion and
// partial records. Numbers in fixed formats: the number module against the C
// library in the "C" locale, and the measuring reader, its filler and the
// protocol under a locale with a decimal comma.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "check/syntax_test.h"
#include "check_builders.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "exchange/procedure_text.h"
#include "model/file_io.h"
#include "model/numbers.h"
#include "model/procedure.h"
#include "model/procedure_file.h"
#include "model/record_reader.h"
#include "test_util.h"

namespace quelvari::test {
namespace {

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

TEST(ProcedureList, RenumberShiftsReferencesBehindThePivotOnly) {
    ProcedureList list;
    ComponentRecord noBranch = makeRecord('Z');
    noBranch.setGotoTarget(9);  // no branch condition: never shifted
    // The second graphic's reference is not in force.
    fill(list, {makeRecord('Z', "", "B1", 3), makeRecord('Z', "", "B1", 4), stepReference('G', 5),
                stepReference('G', 5, true), stepReference('P', 4), stepReference('T', 6),
                stepReference('T', -1), noBranch});

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
        dir_ = new TempDir;
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
    static inline TempDir* dir_ = nullptr;
    static inline bool built_ = false;
};

TEST_F(CommaLocale, ReadersFillersAndProtocolKeepTheDecimalPoint) {
    EXPECT_EQ(ParseDecimal("0.25"), 0.25);
    EXPECT_EQ(FixedText(1.5, 6, 1), "   1.5");

    // A memory measurement: scan rate 0.25 s, trigger value 1.5.
    MapForm form =
        formOf({"+1005", "1013=A1", "1016=0.25", "1017=1000", "1018=A1", "1019=>", "1020=1.5"});
    ComponentRecord save;
    ASSERT_EQ(ReadMeasuring(form, save), 0);
    EXPECT_EQ(save.u32(layout::measuring::kScanPeriod), 250000u);
    EXPECT_EQ(save.f32(layout::measuring::kTriggerValue), 1.5f);
    MapForm filled;
    FillMeasuring(save, filled);
    EXPECT_EQ(filled.fullText(1016), "0.250");
    EXPECT_EQ(filled.fullText(1020), "1.500");

    // The instrument memory lines of the protocol.
    ProcedureList list;
    fill(list, {save, typed('M', layout::measuring::kModeTransfer)});
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

TEST(OldFormat, RecordIsConvertedFieldByField) {
    const auto old = oldRecord(7, 'M', "B1&B2", "!B3", 4, {'P', 'u', 'm', 'p'});
    ComponentRecord r;
    convertOldRecord(old.data(), r);
    // The marks, the number and the target; the type and the zero bytes 84 to 87.
    EXPECT_EQ(bytesAt(r, 0, 10), (ByteRow{0xFF, 0xFF, 35, 0, 0, 0, 7, 0, 4, 0}));
    EXPECT_EQ(bytesAt(r, 83, 5), (ByteRow{'M', 0, 0, 0, 0}));
    EXPECT_EQ(r.inputCondition() + "|" + r.branchCondition() + "|" + r.comment(), "B1&B2|!B3|Pump");
    // 'M' has a converter: the old payload arrives unchanged at offset 88.
    EXPECT_EQ(0, std::memcmp(r.data() + 88, old.data() + 78, kOldPayloadSize));
    for (std::size_t i = 88 + kOldPayloadSize; i < rec::kRecordSize; ++i)
        ASSERT_EQ(r.bytes[i], 0);

    // A type without a converter keeps a zero payload.
    const auto other = oldRecord(1, 'O', "", "", 0, {});
    convertOldRecord(other.data(), r);
    EXPECT_EQ(r.typeCode(), 'O');
    EXPECT_EQ(bytesAt(r, 88, rec::kRecordSize - 88), ByteRow(rec::kRecordSize - 88, 0));
}

TEST(OldFormat, CommentConversionTable) {
    using Bytes = std::vector<std::uint8_t>;
    const std::pair<Bytes, Bytes> cases[] = {
        {{0x81, 0x84, 0x8E, 0x94, 0x99, 0x9A, 0xE1, 0xB3},
         {0xFC, 0xE4, 0xC4, 0xF6, 0xD6, 0xDC, 0xDF, 0xA6}},
        {{0xC4, 0xBF, 0xC0, 0xD9, 0xDA, 'x'}, {'-', '+', '+', '+', '+', 'x'}},
        // Guillemets do not advance: the next character overwrites them.
        {{'a', 0xAE, 'b'}, {'a', 'b'}},
        {{'a', 0xAF}, {'a', 0xBB}},
        {{0xAE, 0xAF}, {0xBB}},
        // Escape: the escape and two bytes copied, then « without advancing.
        {{0x1B, 'X', 'Y'}, {0x1B, 'X', 'Y', 0xAB}},
        {{0x1B, 0x81, 0x84, 'z'}, {0x1B, 0x81, 0x84, 'z'}},
        {{'o', 'k', 0x7E, 0x80}, {'o', 'k', 0x7E, 0x80}},
    };
    for (auto [in, want] : cases) {
        std::uint8_t src[51] = {};
        std::copy(in.begin(), in.end(), src);
        std::uint8_t dst[51] = {};
        convertDosComment(src, sizeof src, dst, sizeof dst);
        want.push_back(0);
        EXPECT_EQ(Bytes(dst, dst + want.size()), want) << "case starting with " << int(in[0]);
    }
}

TEST(ProcedureFiles, ReadingFollowsTheFirstWordAndDropsPartialRecords) {
    TempDir dir;
    std::vector<std::uint8_t> current(3 * 800, 0);
    for (int i = 0; i < 3; ++i)
        current[i * 800] = current[i * 800 + 1] = 0xFF;
    // An old file whose size is a multiple of 800 is still read in 768-byte steps.
    std::vector<std::uint8_t> old(768 * 25, 0x20);
    old[0] = 1;
    old[1] = 0;
    // The file's bytes, whether it reads as the old format, how many records
    // (current files that end in a partial record are the batch test's below).
    const std::tuple<std::vector<std::uint8_t>, bool, std::size_t> cases[] = {
        {{}, true, 1},        // empty: one record
        {current, false, 3},  // whole records
        {std::vector<std::uint8_t>(current.begin(), current.begin() + 300), false, 1},
        {old, true, 25},
        {std::vector<std::uint8_t>(old.begin(), old.begin() + 768 * 2 + 767), true, 2},
    };
    for (const auto& [bytes, oldFormat, records] : cases) {
        SCOPED_TRACE(bytes.size());
        const std::string path = dir.file("case.PAD");
        writeBytes(path, bytes);
        RecordFile file;
        ASSERT_TRUE(readRecordFile(path, file).ok());
        ProcedureList list;
        ASSERT_TRUE(loadProcedure(path, list).ok());
        EXPECT_EQ(std::tuple(file.oldFormat, file.records.size(), list.oldFormat,
                             list.componentCount, list.nodeCount(), list.documentOpen),
                  std::tuple(oldFormat, records, oldFormat ? 1u : 0u, records, records, 1u));
        EXPECT_EQ(list.currentNode, &list.procedureHead);
    }
    // The empty file's single record is empty (type 0).
    writeBytes(dir.file("empty.PAD"), {});
    ProcedureList list;
    ASSERT_TRUE(loadProcedure(dir.file("empty.PAD"), list).ok());
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);

    const Status missing = loadProcedure(dir.file("missing.PAD"), list);
    EXPECT_EQ(missing.code(), ErrorCode(kErrFileOpen));
    EXPECT_EQ(missing.sysError, ENOENT);
    EXPECT_EQ(list.componentCount, 0u);
}

// Open reads current records straight into the nodes, in batches; the
// record-by-record reader is the oracle. Sizes around the batch of 256.
TEST(ProcedureFiles, OpenIntoTheNodesGivesWhatTheReaderGives) {
    TempDir dir;
    const std::string path = dir.file("batch.PAD");
    for (std::size_t n : {1u, 255u, 256u, 257u, 512u, 700u}) {
        for (std::size_t tail : {0u, 1u, 799u}) {
            SCOPED_TRACE(std::to_string(n) + " records + " + std::to_string(tail));
            std::vector<std::uint8_t> bytes(n * 800 + tail);
            for (std::size_t i = 0; i < bytes.size(); ++i)
                bytes[i] = static_cast<std::uint8_t>(i * 131 + i / 800);
            bytes[0] = bytes[1] = 0xFF;
            writeBytes(path, bytes);
            RecordFile oracle;
            ASSERT_TRUE(readRecordFile(path, oracle).ok());
            ProcedureList list;
            ASSERT_TRUE(loadProcedure(path, list).ok());
            ASSERT_EQ(list.componentCount, n);
            ASSERT_EQ(list.nodeCount(), n);
            ASSERT_EQ(oracle.records.size(), n);
            ASSERT_EQ(exchange::ListRecords(list), oracle.records);
            EXPECT_EQ(list.tail()->next, nullptr);
        }
    }

    // A file that grows past the step limit while it is read is refused.
    writeBytes(path, {0xFF, 0xFF});
    ASSERT_EQ(::truncate(path.c_str(), kMaxProcedureSteps * 800), 0);
    RecordReader reader;
    ASSERT_TRUE(reader.open(path).ok());
    ASSERT_EQ(::truncate(path.c_str(), (kMaxProcedureSteps + 1) * 800), 0);
    std::vector<ComponentRecord> records(256);
    std::vector<ComponentRecord*> into;
    for (auto& r : records)
        into.push_back(&r);
    std::size_t total = 0;
    while (std::size_t got = reader.readInto(into.data(), into.size()))
        total += got;
    EXPECT_LE(total, kMaxProcedureSteps);
    EXPECT_EQ(reader.status().code(), ErrorCode(kErrFileOpen));

    // Records arrive in pieces that split them, into buffers of which some
    // adjoin in memory and some do not: every buffer is still filled in order.
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    std::vector<std::uint8_t> sent(4 * 800);
    for (std::size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<std::uint8_t>(i % 251);
    std::thread writer([&] {
        for (std::size_t at = 0; at < sent.size(); at += 300) {
            const std::size_t n = std::min<std::size_t>(300, sent.size() - at);
            EXPECT_EQ(::write(fds[1], sent.data() + at, n), static_cast<ssize_t>(n));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        ::close(fds[1]);
    });
    std::vector<std::uint8_t> got(5 * 800, 0xEE);
    std::uint8_t* buffers[] = {&got[0], &got[800], &got[3200], &got[1600], &got[2400]};
    EXPECT_EQ(ReadFullyInto(fds[0], buffers, 5, 800), 3200);
    writer.join();
    ::close(fds[0]);
    std::vector<std::uint8_t> expected(sent.begin(), sent.begin() + 1600);
    expected.insert(expected.end(), sent.begin() + 2400, sent.end());
    expected.insert(expected.end(), 800, 0xEE);
    expected.insert(expected.end(), sent.begin() + 1600, sent.begin() + 2400);
    EXPECT_EQ(got, expected);
}

TEST(ProcedureFiles, SaveRewritesMarksAndNumbersAndReopensTheSame) {
    TempDir dir;
    ProcedureList list;
    // A never-filled procedure saves as one all-zero record with the marks set.
    const std::string emptyPath = dir.file("new.PAD");
    ASSERT_TRUE(writeProcedure(emptyPath, list).ok());
    std::vector<std::uint8_t> want(800, 0);
    want[0] = want[1] = 0xFF;
    want[2] = want[6] = 1;
    EXPECT_EQ(readBytes(emptyPath), want);

    fill(list, Records(5, makeRecord('Z', "step", "B1", 2)));
    list.tail()->record.setNumber(99);
    const std::string path = dir.file("five.PAD");
    ASSERT_TRUE(writeProcedure(path, list).ok());
    ProcedureList again;
    ASSERT_TRUE(loadProcedure(path, again).ok());
    ASSERT_EQ(again.componentCount, 5u);
    std::uint16_t n = 1;
    ComponentNode* a = &list.procedureHead;
    for (ComponentNode* b = &again.procedureHead; b; b = b->next, a = a->next, ++n) {
        EXPECT_EQ(b->record.number(), n);
        EXPECT_EQ(b->record.recordMark(), 1);
        EXPECT_EQ(b->record, a->record);  // the in-memory records were rewritten too
    }
}

}  // namespace
}  // namespace quelvari::test
