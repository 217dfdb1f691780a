// Procedure files: both formats, the old-record conversion, partial records,
// and saves that must never lose the previous file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include <cerrno>
#include <cstring>

#include "model/file_io.h"
#include "model/procedure_file.h"
#include "model/record_reader.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::oldRecord;
using test::readBytes;
using test::TempDir;
using test::writeBytes;

TEST(OldFormat, RecordIsConvertedFieldByField) {
    const auto old = oldRecord(7, 'M', "B1&B2", "!B3", 4, {'P', 'u', 'm', 'p'});
    ComponentRecord r;
    convertOldRecord(old.data(), r);
    // The marks, the number and the target; the type and the zero bytes 84 to 87.
    EXPECT_EQ(test::bytesAt(r, 0, 10), (test::ByteRow{0xFF, 0xFF, 35, 0, 0, 0, 7, 0, 4, 0}));
    EXPECT_EQ(test::bytesAt(r, 83, 5), (test::ByteRow{'M', 0, 0, 0, 0}));
    EXPECT_EQ(r.inputCondition() + "|" + r.branchCondition() + "|" + r.comment(), "B1&B2|!B3|Pump");
    // 'M' has a converter: the old payload arrives unchanged at offset 88.
    EXPECT_EQ(0, std::memcmp(r.data() + 88, old.data() + 78, kOldPayloadSize));
    for (std::size_t i = 88 + kOldPayloadSize; i < rec::kRecordSize; ++i)
        ASSERT_EQ(r.bytes[i], 0);

    // A type without a converter keeps a zero payload.
    const auto other = oldRecord(1, 'O', "", "", 0, {});
    convertOldRecord(other.data(), r);
    EXPECT_EQ(r.typeCode(), 'O');
    for (std::size_t i = 88; i < rec::kRecordSize; ++i)
        ASSERT_EQ(r.bytes[i], 0);
}

TEST(OldFormat, CommentConversionTable) {
    struct Case {
        std::vector<std::uint8_t> in;
        std::vector<std::uint8_t> out;
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        std::uint8_t src[51] = {};
        std::copy(c.in.begin(), c.in.end(), src);
        std::uint8_t dst[51] = {};
        convertDosComment(src, sizeof src, dst, sizeof dst);
        std::vector<std::uint8_t> got(dst, dst + c.out.size() + 1);
        std::vector<std::uint8_t> want = c.out;
        want.push_back(0);
        EXPECT_EQ(got, want) << "case starting with " << int(c.in[0]);
    }
}

TEST(ProcedureFiles, ReadingFollowsTheFirstWordAndDropsPartialRecords) {
    TempDir dir;
    struct Case {
        std::vector<std::uint8_t> bytes;
        bool oldFormat;
        std::size_t records;
    };
    std::vector<std::uint8_t> current(3 * 800, 0);
    for (int i = 0; i < 3; ++i)
        current[i * 800] = current[i * 800 + 1] = 0xFF;
    std::vector<std::uint8_t> currentPartial = current;
    currentPartial.resize(3 * 800 + 500);
    // An old file whose size is a multiple of 800 is still read in 768-byte steps.
    std::vector<std::uint8_t> old(768 * 25, 0x20);
    old[0] = 1;
    old[1] = 0;
    const Case cases[] = {
        {{}, true, 1},        // empty: one record
        {current, false, 3},  // whole records
        {currentPartial, false, 3},
        {std::vector<std::uint8_t>(current.begin(), current.begin() + 300), false, 1},
        {old, true, 25},
        {std::vector<std::uint8_t>(old.begin(), old.begin() + 768 * 2 + 767), true, 2},
    };
    for (const Case& c : cases) {
        const std::string path = dir.file("case.PAD");
        writeBytes(path, c.bytes);
        RecordFile file;
        ASSERT_TRUE(readRecordFile(path, file).ok());
        EXPECT_EQ(file.oldFormat, c.oldFormat) << c.bytes.size();
        EXPECT_EQ(file.records.size(), c.records) << c.bytes.size();
        ProcedureList list;
        ASSERT_TRUE(loadProcedure(path, list).ok());
        EXPECT_EQ(list.oldFormat, c.oldFormat ? 1u : 0u);
        EXPECT_EQ(list.componentCount, c.records);
        EXPECT_EQ(list.nodeCount(), c.records);
        EXPECT_EQ(list.currentNode, &list.procedureHead);
        EXPECT_EQ(list.documentOpen, 1u);
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
            std::size_t i = 0;
            for (ComponentNode* node = &list.procedureHead; node; node = node->next, ++i)
                ASSERT_EQ(node->record, oracle.records[i]) << i;
            EXPECT_EQ(list.tail()->next, nullptr);
        }
    }

    // A file that grows past the step limit while it is read is refused.
    {
        std::vector<std::uint8_t> bytes(kMaxProcedureSteps * 800, 0);
        bytes[0] = bytes[1] = 0xFF;
        writeBytes(path, bytes);
    }
    RecordReader reader;
    ASSERT_TRUE(reader.open(path).ok());
    {
        FILE* f = std::fopen(path.c_str(), "ab");
        const std::vector<std::uint8_t> one(800, 0);
        ASSERT_EQ(std::fwrite(one.data(), 1, 800, f), 800u);
        std::fclose(f);
    }
    std::vector<ComponentRecord> records(256);
    std::vector<ComponentRecord*> into;
    for (auto& r : records)
        into.push_back(&r);
    std::size_t total = 0;
    while (std::size_t got = reader.readInto(into.data(), into.size()))
        total += got;
    EXPECT_LE(total, kMaxProcedureSteps);
    EXPECT_EQ(reader.status().code(), ErrorCode(kErrFileOpen));

    // Records arrive in pieces that split them: every buffer is still filled
    // in order.
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    std::vector<std::uint8_t> sent(3 * 800);
    for (std::size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<std::uint8_t>(i % 251);
    std::thread writer([&] {
        for (std::size_t at = 0; at < sent.size(); at += 300) {
            EXPECT_EQ(::write(fds[1], sent.data() + at, 300), 300);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        ::close(fds[1]);
    });
    std::vector<std::uint8_t> got(4 * 800, 0xEE);
    std::uint8_t* buffers[] = {&got[0], &got[800], &got[1600], &got[2400]};
    EXPECT_EQ(ReadFullyInto(fds[0], buffers, 4, 800), 2400);
    writer.join();
    ::close(fds[0]);
    EXPECT_TRUE(std::equal(sent.begin(), sent.end(), got.begin()));
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

    for (int i = 0; i < 5; ++i)
        list.appendRecord(test::makeRecord('Z', "step", "B1", 2));
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
}  // namespace quelvari
