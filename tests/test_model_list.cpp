// The record layout and the procedure list: renumbering and the editing
// primitives.
#include <gtest/gtest.h>

#include "model/procedure.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::makeRecord;

TEST(ComponentRecord, FieldsAreLittleEndianAtTheirOffsets) {
    ComponentRecord r;
    r.setFormatMark(0xFFFF);
    r.setRecordMark(35);
    r.setNumber(0x0102);
    r.setGotoTarget(0x0304);
    r.setTypeCode('M');
    r.setI16(154, -2);
    r.setU32(200, 0x0A0B0C0D);
    r.setF32(300, 1.5f);
    EXPECT_EQ(test::bytesAt(r, 0, 10),
              (test::ByteRow{0xFF, 0xFF, 35, 0, 0, 0, 0x02, 0x01, 0x04, 0x03}));
    EXPECT_EQ(r.bytes[83], 'M');
    EXPECT_EQ(test::bytesAt(r, 154, 2), (test::ByteRow{0xFE, 0xFF}));
    EXPECT_EQ(test::bytesAt(r, 200, 4), (test::ByteRow{0x0D, 0x0C, 0x0B, 0x0A}));
    EXPECT_EQ(test::bytesAt(r, 300, 4), (test::ByteRow{0, 0, 0xC0, 0x3F}));  // 1.5f is 0x3FC00000
    EXPECT_EQ(r.i16(154), -2);
    EXPECT_EQ(r.u32(200), 0x0A0B0C0Du);
    EXPECT_EQ(r.f32(300), 1.5f);
}

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
    std::string s = "Pump 1   ";
    trimRight(s);
    EXPECT_EQ(s, "Pump 1");
    std::string blank = "   ";
    trimRight(blank);
    EXPECT_EQ(blank, "");

    std::string path = "c:\\bench\\proc\\TEST.PAD";
    EXPECT_EQ(stripFileName(path), "TEST.PAD");
    EXPECT_EQ(path, "c:\\bench\\proc");
    std::string posix = "/home/bench/TEST.PAD";
    EXPECT_EQ(stripFileName(posix), "TEST.PAD");
    EXPECT_EQ(posix, "/home/bench");
    std::string bare = "TEST.PAD";
    EXPECT_EQ(stripFileName(bare), "TEST.PAD");
    EXPECT_EQ(bare, "TEST.PAD");
}

// Builds a list of the given records, numbered 1..n.
void fill(ProcedureList& list, const std::vector<ComponentRecord>& records) {
    list.freeProcedure();
    list.componentCount = 0;
    for (const auto& r : records)
        list.appendRecord(r);
    list.renumber(0, true);
    list.renumber(0, false);  // back to the original targets, numbers 1..n
}

TEST(ProcedureList, RenumberShiftsReferencesBehindThePivotOnly) {
    ProcedureList list;
    ComponentRecord g = makeRecord('G');
    g.setU16(92, 5);
    ComponentRecord gOff = makeRecord('G');
    gOff.setU16(92, 5);
    gOff.setU8(89, 1);  // reference not in force
    ComponentRecord p = makeRecord('P');
    p.setU16(94, 4);
    ComponentRecord t = makeRecord('T');
    t.setI16(154, 6);
    ComponentRecord tNeg = makeRecord('T');
    tNeg.setI16(154, -1);
    ComponentRecord noBranch = makeRecord('Z');
    noBranch.setGotoTarget(9);  // no branch condition: never shifted
    fill(list, {makeRecord('Z', "", "B1", 3), makeRecord('Z', "", "B1", 4), g, gOff, p, t, tNeg,
                noBranch});

    list.renumber(3, true);
    auto at = [&](int step) -> ComponentRecord& {
        ComponentNode* n = &list.procedureHead;
        while (--step > 0)
            n = n->next;
        return n->record;
    };
    EXPECT_EQ(at(1).gotoTarget(), 3);  // equal to the pivot: kept
    EXPECT_EQ(at(2).gotoTarget(), 5);
    EXPECT_EQ(at(3).u16(92), 6);
    EXPECT_EQ(at(4).u16(92), 5);
    EXPECT_EQ(at(5).u16(94), 5);
    EXPECT_EQ(at(6).i16(154), 7);
    EXPECT_EQ(at(7).i16(154), -1);  // negative: never shifted
    EXPECT_EQ(at(8).gotoTarget(), 9);
    for (int i = 1; i <= 8; ++i)
        EXPECT_EQ(at(i).number(), i);

    list.renumber(5, false);
    EXPECT_EQ(at(2).gotoTarget(), 5);  // equal to the pivot: kept
    EXPECT_EQ(at(3).u16(92), 5);
    EXPECT_EQ(at(6).i16(154), 6);
    EXPECT_EQ(at(7).i16(154), -1);
}

}  // namespace
}  // namespace quelvari
