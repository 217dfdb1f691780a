// The syntax test's streaming reader gives the same records as Open.
#include <gtest/gtest.h>

#include "check/record_reader.h"
#include "model/procedure_file.h"
#include "test_util.h"

namespace quelvari::test {
namespace {

TEST(CheckReader, SameRecordsAsOpen) {
    TempDir dir;
    auto current = [](std::size_t records, std::size_t extra) {
        std::vector<std::uint8_t> b(records * rec::kRecordSize + extra);
        for (std::size_t i = 0; i < b.size(); ++i)
            b[i] = static_cast<std::uint8_t>(i * 7 + i / 800);
        for (std::size_t i = 0; i + 1 < b.size(); i += rec::kRecordSize)
            b[i] = b[i + 1] = 0xFF;
        return b;
    };
    auto old = [](std::size_t records, std::size_t extra) {
        std::vector<std::uint8_t> b(records * kOldRecordSize + extra);
        for (std::size_t i = 0; i < b.size(); ++i)
            b[i] = static_cast<std::uint8_t>((i % kOldRecordSize) == 77 ? 'M' : i * 13);
        if (!b.empty())
            b[0] = 1;
        return b;
    };
    const std::vector<std::pair<const char*, std::vector<std::uint8_t>>> files = {
        {"empty", {}},
        {"one byte", {0xFF}},
        {"short first record", current(0, 300)},
        {"partial last record dropped", current(3, 799)},
        {"several chunks", current(700, 0)},
        {"old format", old(600, 5)},
        {"old format, size a multiple of 800", old(25, 0)},
    };
    for (const auto& [name, bytes] : files) {
        SCOPED_TRACE(name);
        const std::string path = dir.file("f.PAD");
        writeBytes(path, bytes);
        RecordFile expected;
        ASSERT_TRUE(readRecordFile(path, expected, false));
        RecordReader reader;
        ASSERT_TRUE(reader.open(path));
        EXPECT_EQ(reader.oldFormat(), expected.oldFormat);
        std::size_t n = 0;
        while (const ComponentRecord* r = reader.next()) {
            ASSERT_LT(n, expected.records.size());
            EXPECT_TRUE(*r == expected.records[n]) << "record " << n;
            ++n;
        }
        EXPECT_EQ(n, expected.records.size());
        EXPECT_TRUE(reader.last() == expected.records.back());
    }
    RecordReader missing;
    EXPECT_FALSE(missing.open(dir.file("none.PAD")));
    EXPECT_EQ(missing.next(), nullptr);
}

}  // namespace
}  // namespace quelvari::test
