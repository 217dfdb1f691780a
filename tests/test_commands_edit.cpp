// The view's editing commands driven through a scripted selection and editor,
// the enabling rules, and the small rules of the main window.
#include <gtest/gtest.h>

#include <vector>

#include "edit_test_util.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::Step;
using EditCommandsTest = test::EditFixture;

TEST_F(EditCommandsTest, AppendFillsTheEmptyHeadThenLinksNodesAndUndoRemovesThem) {
    ui.selections.push_back(std::nullopt);
    commands.append();  // cancelled: only the current number moves
    EXPECT_EQ(list.currentNumber, 1u);
    EXPECT_EQ(list.componentCount, 0u);
    EXPECT_TRUE(commands.undoStack().empty());

    appendAll({Step('Z', "one")});
    EXPECT_EQ(list.nodeCount(), 1u);
    EXPECT_EQ(list.procedureHead.record.comment(), "one");
    EXPECT_EQ(list.procedureHead.record.recordMark(), kRecordMarkMemory);
    appendAll({Step('M', "two")});
    EXPECT_EQ(list.nodeCount(), 2u);
    EXPECT_EQ(list.currentNumber, 2u);
    EXPECT_EQ(list.viewRecord.comment(), "two");
    EXPECT_EQ(ui.status, "2 Schritte");
    EXPECT_EQ(list.modified, 1u);
    ASSERT_EQ(commands.undoStack().count(), 2u);
    EXPECT_EQ(commands.undoStack().slot(1).commandId, cmd::kAppend);
    EXPECT_EQ(commands.undoStack().slot(1).stepNumber, 2u);

    commands.undo();
    EXPECT_EQ(comments(), (std::vector<std::string>{"one"}));
    EXPECT_EQ(list.componentCount, 1u);
    EXPECT_EQ(list.viewRecord.comment(), "one");
    EXPECT_EQ(commands.undoStack().slot(1).commandId, 0u);  // the popped entry is cleared
    commands.undo();
    EXPECT_EQ(list.componentCount, 0u);
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);
    EXPECT_EQ(ui.status, "0 Schritte");
}

TEST_F(EditCommandsTest, InsertWithCopiedComponentShiftsTargetsBehindThePlace) {
    appendAll({Step('Z', "a", 3), Step('Z', "b", 2), Step('Z', "c", 4), Step('Z', "d", 1)});
    list.goToStep(2);
    commands.copy();
    EXPECT_EQ(list.pastePending, 1u);
    const std::size_t undoBefore = commands.undoStack().count();
    commands.insert();  // the copy of "b" goes in at step 2, no dialog opens
    EXPECT_EQ(comments(), (std::vector<std::string>{"a", "b", "b", "c", "d"}));
    // Targets above 2 rise by one; those equal to 2 stay and lead to the copy.
    EXPECT_EQ(targets(), (std::vector<std::uint16_t>{4, 2, 2, 5, 1}));
    EXPECT_EQ(list.currentNumber, 2u);
    EXPECT_EQ(list.pastePending, 0u);
    EXPECT_EQ(commands.undoStack().count(), undoBefore);  // Insert makes no entry
    EXPECT_EQ(list.componentCount, 5u);
    checkNumbering();

    // Without a pending copy the selection runs; Cancel changes nothing.
    ui.selections.push_back(std::nullopt);
    commands.insert();
    EXPECT_EQ(list.componentCount, 5u);
    ui.selections.push_back(Step('M', "new"));
    commands.insert();
    EXPECT_EQ(comments()[1], "new");
    EXPECT_EQ(list.currentNode->record.recordMark(), kRecordMarkMemory);
    checkNumbering();
}

TEST_F(EditCommandsTest, InsertIntoAnEmptyProcedureLeavesNoEmptyStep) {
    ui.selections.push_back(Step('Z', "only"));
    commands.insert();
    EXPECT_EQ(list.componentCount, 1u);
    EXPECT_EQ(list.nodeCount(), 1u);
    EXPECT_EQ(list.procedureHead.record.comment(), "only");
    checkNumbering();
}

TEST_F(EditCommandsTest, DeleteKeepsTheReferenceToTheFollowingStepAndUndoRestoresIt) {
    appendAll({Step('Z', "s1", 5), Step('Z', "s2", 4), Step('Z', "s3"), Step('Z', "s4", 3),
               Step('Z', "s5")});
    list.goToStep(3);
    commands.remove();
    EXPECT_EQ(comments(), (std::vector<std::string>{"s1", "s2", "s4", "s5"}));
    // Renumbered around the moved-up record's old number 4: 5 becomes 4,
    // 4 stays 4, 3 stays 3.
    EXPECT_EQ(targets()[0], 4u);
    EXPECT_EQ(targets()[1], 4u);
    EXPECT_EQ(targets()[2], 3u);
    EXPECT_EQ(list.currentNumber, 3u);
    EXPECT_EQ(list.viewRecord.comment(), "s4");
    EXPECT_EQ(ui.status, "4 Schritte");
    ASSERT_EQ(commands.undoStack().count(), 6u);
    EXPECT_EQ(commands.undoStack().slot(5).commandId, cmd::kDelete);
    EXPECT_EQ(commands.undoStack().slot(5).stepNumber, 3u);
    checkNumbering();

    commands.undo();
    EXPECT_EQ(comments(), (std::vector<std::string>{"s1", "s2", "s3", "s4", "s5"}));
    EXPECT_EQ(list.currentNumber, 3u);
    EXPECT_EQ(list.viewRecord.comment(), "s3");
    checkNumbering();
}

TEST_F(EditCommandsTest, DeleteAtTheEndAndOfTheOnlyStep) {
    appendAll({Step('Z', "x"), Step('Z', "y")});
    commands.remove();  // the last: the previous one becomes current
    EXPECT_EQ(comments(), (std::vector<std::string>{"x"}));
    EXPECT_EQ(list.currentNumber, 1u);
    EXPECT_EQ(list.viewRecord.comment(), "x");
    commands.undo();  // comes back at the end and is current
    EXPECT_EQ(comments(), (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(list.viewRecord.comment(), "y");
    EXPECT_EQ(list.currentNumber, 2u);
    checkNumbering();

    list.goToStep(1);
    commands.remove();
    commands.remove();  // the only one: an empty record stays
    EXPECT_EQ(list.componentCount, 0u);
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);
    const std::size_t entries = commands.undoStack().count();
    commands.remove();  // nothing left: no entry, no change
    EXPECT_EQ(commands.undoStack().count(), entries);
    commands.undo();
    EXPECT_EQ(list.componentCount, 1u);
    EXPECT_EQ(list.nodeCount(), 1u);
    EXPECT_EQ(list.viewRecord.comment(), "y");
}

TEST_F(EditCommandsTest, CutCopiesThenDeletesAndCopyOfNothingDoesNothing) {
    commands.copy();
    EXPECT_EQ(list.pastePending, 0u);
    commands.cut();
    EXPECT_TRUE(commands.undoStack().empty());
    appendAll({Step('Z', "p"), Step('M', "q")});
    list.goToStep(1);
    commands.cut();
    EXPECT_EQ(comments(), (std::vector<std::string>{"q"}));
    EXPECT_EQ(list.pastePending, 1u);
    EXPECT_EQ(list.clipboardRecord.comment(), "p");
    commands.next();  // at the last step: a beep
    EXPECT_EQ(ui.beeps, 1);
    commands.insert();
    EXPECT_EQ(comments(), (std::vector<std::string>{"p", "q"}));
}

TEST_F(EditCommandsTest, ChangeKeepsTheStepNumberAndMakesItsEntryEvenWhenCancelled) {
    appendAll({Step('Z', "a"), Step('Z', "b")});
    list.goToStep(2);
    ui.editorResults = {0};
    commands.change();
    EXPECT_EQ(list.viewRecord.comment(), "b");
    EXPECT_EQ(commands.undoStack().count(), 3u);
    EXPECT_EQ(commands.undoStack().slot(2).commandId, cmd::kChange);
    EXPECT_EQ(list.editRecord.number(), 2u);

    list.modified = 0;
    ui.editorResults = {1};
    ui.editorComments = {"changed"};
    commands.change();
    EXPECT_EQ(list.currentNode->record.comment(), "changed");
    EXPECT_EQ(list.currentNode->record.number(), 2u);
    EXPECT_EQ(list.viewRecord.comment(), "changed");
    EXPECT_EQ(list.modified, 1u);

    // An unknown type returns its own code, which is not OK.
    ui.editorResults = {'Q'};
    ui.editorComments = {"lost"};
    commands.change();
    EXPECT_EQ(list.currentNode->record.comment(), "changed");

    commands.undo();  // the last entry holds "changed"
    commands.undo();  // back to "b"
    EXPECT_EQ(list.currentNode->record.comment(), "b");
    EXPECT_EQ(list.currentNumber, 2u);

    list.documentOpen = 0;
    commands.change();
    EXPECT_EQ(ui.editorsOpened, 3);
}

TEST_F(EditCommandsTest, OnlyTheLastTenChangesCanBeUndone) {
    appendAll({Step('Z', "v0")});
    commands.undoStack().clear();
    for (int i = 1; i <= 11; ++i) {
        ui.editorResults.push_back(1);
        ui.editorComments.push_back("v" + std::to_string(i));
        commands.change();
    }
    ASSERT_EQ(commands.undoStack().count(), 10u);
    for (int i = 0; i < 10; ++i)
        commands.undo();
    EXPECT_EQ(list.currentNode->record.comment(), "v1");  // "v0" was dropped
    EXPECT_TRUE(commands.undoStack().empty());

    list.modified = 0;
    const int repaints = ui.erasing;
    commands.undo();  // empty: nothing changes, but it repaints and marks modified
    EXPECT_EQ(list.currentNode->record.comment(), "v1");
    EXPECT_EQ(ui.erasing, repaints + 1);
    EXPECT_EQ(list.modified, 1u);
}

TEST_F(EditCommandsTest, PagingBeepsAtBothEndsAndWithoutADocument) {
    appendAll({Step('Z', "a"), Step('Z', "b"), Step('Z', "c")});
    list.goToStep(1);
    commands.previous();
    EXPECT_EQ(ui.beeps, 1);
    EXPECT_EQ(list.currentNumber, 1u);
    commands.next();
    commands.next();
    EXPECT_EQ(list.currentNumber, 3u);
    EXPECT_EQ(list.viewRecord.comment(), "c");
    EXPECT_EQ(ui.plain, 2);  // moves repaint without erasing
    commands.next();
    EXPECT_EQ(ui.beeps, 2);
    commands.previous();
    EXPECT_EQ(list.viewRecord.comment(), "b");
    list.documentOpen = 0;
    commands.previous();
    EXPECT_EQ(ui.beeps, 3);
    EXPECT_EQ(list.currentNumber, 2u);
}

TEST_F(EditCommandsTest, GoToAcceptsOnlyExistingStepsUpTo10000) {
    for (int i = 1; i <= 12; ++i)
        appendAll({Step('Z', "s" + std::to_string(i))});
    for (const char* bad : {"0", "13", "10001", "", "abc", "-3", "99999999999"})
        EXPECT_FALSE(commands.goTo(bad)) << bad;
    EXPECT_EQ(list.currentNumber, 12u);
    EXPECT_TRUE(commands.goTo(" 7"));
    EXPECT_EQ(list.currentNumber, 7u);
    EXPECT_EQ(list.viewRecord.comment(), "s7");
    EXPECT_TRUE(commands.goTo("12"));
    EXPECT_EQ(list.viewRecord.comment(), "s12");
    // Ten characters are read: "0000000003" is 3, the eleventh digit is cut.
    EXPECT_EQ(ParseGoToStep("00000000031", 12), 3u);
    EXPECT_EQ(ParseGoToStep("10000", 10000), 10000u);
    EXPECT_FALSE(ParseGoToStep("10001", 20000));
    EXPECT_EQ(GoToRangeText(12), "(1...12)");
}

TEST_F(EditCommandsTest, StepColumnShowsTheCurrentStepInTheThirdBox) {
    EXPECT_EQ(StepInBox(0, 1), 1u);
    EXPECT_EQ(StepInBox(9, 3), 10u);
    EXPECT_EQ(StepInBox(2, 4), 4u);
    EXPECT_EQ(StepInBox(0, 50), 48u);
    // Bounds: x inclusive, y exclusive.
    const int boxes[][3] = {{51, 31, 0},  {129, 79, 0}, {50, 50, -1}, {130, 50, -1}, {60, 30, -1},
                            {60, 80, -1}, {60, 90, -1}, {60, 931, 9}, {60, 1031, -1}};
    for (const auto& b : boxes)
        EXPECT_EQ(StepBoxAt(b[0], b[1]).value_or(-1), b[2]) << b[0] << "," << b[1];

    const auto column = StepColumn(4, 5);  // steps 2 to 5 in boxes 0 to 3
    ASSERT_EQ(column.size(), 4u);
    EXPECT_EQ(column[0].step, 2u);
    EXPECT_TRUE(column[2].current);
    EXPECT_EQ(column[3].top, 330);
    EXPECT_EQ(column[3].bottom, 380);
    EXPECT_TRUE(StepColumn(1, 0).empty());

    for (int i = 1; i <= 6; ++i)
        appendAll({Step('Z', "s" + std::to_string(i))});
    list.goToStep(5);
    commands.selectStepBox(0);  // shows step 3
    EXPECT_EQ(list.currentNumber, 3u);
    EXPECT_EQ(list.viewRecord.comment(), "s3");
    const int repaints = ui.plain;
    commands.selectStepBox(2);  // the current step: nothing
    commands.selectStepBox(9);  // step 10 does not exist
    EXPECT_EQ(ui.plain, repaints);
    EXPECT_EQ(list.currentNumber, 3u);
}

TEST(CommandEnabling, TheRulesOfEachCommand) {
    // The start state is checked through the window's actions.
    CommandState s;
    s.documentOpen = true;
    EXPECT_FALSE(CommandEnabled(cmd::kSyntaxTest, s));
    EXPECT_FALSE(CommandEnabled(cmd::kTransfer, s));
    EXPECT_TRUE(CommandEnabled(cmd::kPaste, s));
    EXPECT_TRUE(CommandEnabled(cmd::kAppend, s));
    EXPECT_FALSE(CommandEnabled(cmd::kChange, s));
    s.viewTypeCode = 'M';
    EXPECT_TRUE(CommandEnabled(cmd::kChange, s));
    s.componentCount = 1;
    EXPECT_TRUE(CommandEnabled(cmd::kDelete, s));
    EXPECT_TRUE(CommandEnabled(cmd::kSaveAs, s));
    EXPECT_FALSE(CommandEnabled(cmd::kSave, s));
    EXPECT_FALSE(CommandEnabled(cmd::kPreCheck, s));
    s.modified = true;
    EXPECT_TRUE(CommandEnabled(cmd::kSave, s));
    s.componentCount = 2;
    EXPECT_TRUE(CommandEnabled(cmd::kPreCheck, s));
    EXPECT_FALSE(CommandEnabled(cmd::kGoTo, s));
    s.componentCount = 3;
    EXPECT_TRUE(CommandEnabled(cmd::kGoTo, s));
    EXPECT_FALSE(CommandEnabled(cmd::kUndo, s));
    s.undoCount = 1;
    EXPECT_TRUE(CommandEnabled(cmd::kUndo, s));
    EXPECT_FALSE(CommandEnabled(cmd::kDescription, s));
    s.documentFileExists = true;
    EXPECT_TRUE(CommandEnabled(cmd::kDescription, s));
}

TEST(MainWindowRules, ProgramDirectoryFromTheCommandLine) {
    EXPECT_EQ(ProgramDirectory("\"C:\\Programme\\Quelvari\\Quelvari.exe\" x.PAD"),
              "C:\\Programme\\Quelvari\\");
    EXPECT_EQ(ProgramDirectory("\"D:\\v\\veskwin32.exe\""), "D:\\v\\");
    // The names are tried in order, not by position in the line.
    EXPECT_EQ(ProgramDirectory("\"C:\\quelvari.exe\\Quelvari.exe\""), "C:\\quelvari.exe\\");
    EXPECT_EQ(ProgramDirectory("\"C:\\tools\\editor.exe\" a"), "C:\\tools\\editor.exe\" a");
    EXPECT_EQ(ProgramDirectory(""), "");
}

}  // namespace
}  // namespace quelvari
