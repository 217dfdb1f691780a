// The commands of the step list: moves that carry every step reference with
// their component, Copy/Cut/Delete/Paste of several steps, and Redo on top of
// the ten-entry undo stack.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "commands/editor_settings.h"
#include "commands/find_steps.h"
#include "components/catalogue.h"
#include "edit_test_util.h"

namespace quelvari {
namespace {

using test::Step;

// A graphic, text print or statistic step naming step `ref`; `off` sets the
// mode byte that switches the reference off.
ComponentRecord Ref(char type, const std::string& name, int ref, bool off = false) {
    ComponentRecord r = Step(type, name);
    switch (type) {
        case 'G':
            r.setU16(92, static_cast<std::uint16_t>(ref));
            r.setU8(89, off ? 1 : 0);
            break;
        case 'P':
            r.setU16(94, static_cast<std::uint16_t>(ref));
            r.setU8(90, off ? 1 : 0);
            break;
        default:
            r.setI16(154, static_cast<std::int16_t>(ref));
            r.setU8(152, off ? 1 : 0);
            break;
    }
    return r;
}

class StepCommands : public test::EditFixture {
  protected:
    // Appends the records and forgets the appends' undo entries.
    void build(const std::vector<ComponentRecord>& steps) {
        appendAll(steps);
        commands.clearHistory();
    }
};

TEST(MoveOrders, UpDownAndDropKeepBlocksTogether) {
    using V = std::vector<std::uint32_t>;
    struct Case {
        const char* what;
        V order, expected;
    };
    const Case cases[] = {
        {"up: one step", MoveUpOrder(5, {3}), V{1, 3, 2, 4, 5}},
        {"up: a block", MoveUpOrder(5, {3, 4}), V{1, 3, 4, 2, 5}},
        {"up: top block stays, the other moves", MoveUpOrder(5, {1, 2, 4}), V{1, 2, 4, 3, 5}},
        {"up: nothing to do at the top", MoveUpOrder(5, {1, 2}), V{}},
        {"down: two apart", MoveDownOrder(5, {1, 3}), V{2, 1, 4, 3, 5}},
        {"down: nothing to do at the end", MoveDownOrder(5, {5}), V{}},
        {"drop in front of step 2", MoveToOrder(5, {4, 5}, 2), V{1, 4, 5, 2, 3}},
        {"drop at the end", MoveToOrder(5, {1, 3}, 6), V{2, 4, 5, 1, 3}},
        {"drop onto itself", MoveToOrder(5, {2, 3}, 3), V{}},
        {"out of range ignored", MoveUpOrder(3, {0, 9}), V{}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.order, c.expected) << c.what;
}

TEST_F(StepCommands, MoveCarriesEveryReferenceWithItsComponentAndUndoRedoIt) {
    build({Step('Z', "a", 3), Ref('G', "b", 3), Ref('P', "c", 1), Ref('T', "d", 2),
           Ref('T', "e", -1), Ref('G', "f", 2, true), Step('Z', "g", 7)});
    // A goto target without a branch condition is not a reference.
    list.goToStep(6);
    list.currentNode->record.setGotoTarget(1);
    const auto before = records(list);
    list.goToStep(3);  // "c" is current

    EXPECT_EQ(commands.moveDown({1, 2}), (std::vector<std::uint32_t>{2, 3}));
    EXPECT_EQ(comments(), "c a b d e f g");
    checkNumbering();
    const auto moved = records(list);
    // "c" -> "a" (now 2), "a" -> "c" (now 1), "b" -> "c", "d" -> "b" (now 3),
    // "e" names no step, "f" is switched off and has no branch: both numbers
    // stay, "g" -> itself.
    EXPECT_EQ((std::vector<int>{moved[0].u16(94), moved[1].gotoTarget(), moved[2].u16(92),
                                moved[3].i16(154), moved[4].i16(154), moved[5].u16(92),
                                moved[5].gotoTarget(), moved[6].gotoTarget()}),
              (std::vector<int>{2, 1, 1, 3, -1, 2, 1, 7}));
    EXPECT_EQ(at(), "1 c");  // the current component stays current
    EXPECT_EQ(list.modified, 1u);

    EXPECT_EQ(commands.moveTo({7}, 1), (std::vector<std::uint32_t>{1}));
    EXPECT_EQ(comments(), "g c a b d e f");
    EXPECT_EQ(records(list)[0].gotoTarget(), 1);
    EXPECT_EQ(commands.undoStack().count(), 2u);

    commands.undo();
    commands.undo();
    EXPECT_EQ(records(list), before);  // byte for byte
    EXPECT_EQ(commands.redoCount(), 2u);
    commands.redo();
    EXPECT_EQ(records(list), moved);
    commands.redo();
    EXPECT_EQ(comments(), "g c a b d e f");
    EXPECT_EQ(commands.redoCount(), 0u);

    // Nothing to move: a beep, no entry.
    const int beeps = ui.beeps;
    EXPECT_TRUE(commands.moveUp({1}).empty());
    EXPECT_EQ(ui.beeps, beeps + 1);
    EXPECT_EQ(commands.undoStack().count(), 2u);
}

TEST_F(StepCommands, DeleteOfSeveralStepsIsTheSingleDeletesAsOneEntry) {
    const std::vector<ComponentRecord> steps = {Step('Z', "a", 6), Step('Z', "b", 3),
                                                Step('Z', "c", 5), Step('Z', "d", 2),
                                                Step('Z', "e", 1), Step('Z', "f", 4)};
    build(steps);
    // The same deletes one by one through the view's Delete, highest first.
    ProcedureList single;
    single.documentOpen = 1;
    single.currentNumber = 1;
    test::ScriptedEditUi singleUi;
    EditCommands singleCommands{single, singleUi};
    for (const auto& r : steps) {
        singleUi.selections.push_back(r);
        singleCommands.append();
    }
    for (std::uint32_t s : {5u, 2u}) {
        single.goToStep(s);
        singleCommands.remove();
    }

    commands.removeSteps({2, 5});
    EXPECT_EQ(records(list), records(single));
    EXPECT_EQ(comments(), "a c d f");
    EXPECT_EQ(list.componentCount, 4u);
    EXPECT_EQ(commands.undoStack().count(), 1u);

    singleCommands.undo();
    singleCommands.undo();
    commands.undo();
    EXPECT_EQ(records(list), records(single));  // the kept undo rules, as one step
    EXPECT_EQ(comments(), "a b c d e f");
    commands.redo();
    EXPECT_EQ(comments(), "a c d f");
    EXPECT_EQ(commands.undoStack().count(), 1u);

    // Cut of several: one entry, and Paste puts them all in front of the
    // current step, in their order, renumbered as Insert does.
    commands.undo();
    commands.cutSteps({1, 3});
    EXPECT_EQ(comments(), "b d e f");
    EXPECT_EQ(commands.undoStack().count(), 1u);
    EXPECT_EQ(commands.clipboardCount(), 2u);
    const auto beforePaste = targets();
    list.goToStep(2);
    commands.insert();
    EXPECT_EQ(comments(), "b a c d e f");
    checkNumbering();
    EXPECT_EQ(list.viewRecord.comment(), "a");
    EXPECT_EQ(list.pastePending, 0u);
    EXPECT_EQ(commands.undoStack().count(), 1u);  // Paste makes no entry
    // References above the place rise by two, those at or below it stay:
    // "b", "d", "e", "f" were steps 1..4 and are now 1, 4, 5, 6.
    const auto after = targets();
    const std::size_t now[] = {0, 3, 4, 5};
    for (std::size_t i = 0; i < 4; ++i) {
        const std::uint16_t t = beforePaste[i];
        EXPECT_EQ(after[now[i]], t > 2 ? t + 2 : t) << i;
    }
    // Copy of several leaves the procedure alone.
    commands.copySteps({1, 2});
    EXPECT_EQ(list.pastePending, 1u);
    EXPECT_EQ(commands.clipboardCount(), 2u);
    commands.copy();  // the view's Copy puts one aside again
    EXPECT_EQ(commands.clipboardCount(), 1u);

    // Deleting every step leaves the empty procedure; Undo brings every
    // step back in its place (their references as the kept single Undo
    // leaves them).
    const std::string full = comments();
    commands.removeSteps({1, 2, 3, 4, 5, 6});
    EXPECT_EQ(list.componentCount, 0u);
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);
    commands.undo();
    EXPECT_EQ(comments(), full);
    EXPECT_EQ(list.componentCount, 6u);
    checkNumbering();
}

TEST_F(StepCommands, RedoRunsUndoneCommandsAgainAndANewCommandClearsIt) {
    build({Step('Z', "a"), Step('Z', "b"), Step('Z', "c")});
    list.goToStep(2);
    ui.editorComments = {"B2"};
    commands.change();
    commands.remove();  // "B2" goes, "c" is current
    ui.selections.push_back(Step('Z', "d"));
    commands.append();
    EXPECT_EQ(comments(), "a c d");
    const auto done = records(list);

    commands.undo();
    commands.undo();
    commands.undo();
    EXPECT_EQ(comments(), "a b c");
    EXPECT_EQ(commands.redoCount(), 3u);
    commands.redo();
    EXPECT_EQ(comments(), "a B2 c");
    commands.redo();
    commands.redo();
    EXPECT_EQ(records(list), done);
    EXPECT_EQ(commands.undoStack().count(), 3u);

    // A new command clears what could be redone.
    commands.undo();
    EXPECT_EQ(commands.redoCount(), 1u);
    list.goToStep(1);
    ui.editorComments = {"A1"};
    commands.change();
    EXPECT_EQ(commands.redoCount(), 0u);
    commands.redo();  // nothing left
    EXPECT_EQ(comments(), "A1 c");

    // The stack keeps its ten entries: eleven changes, ten come back and go
    // again.
    commands.clearHistory();
    for (int i = 0; i < 11; ++i) {
        ui.editorComments = {"x" + std::to_string(i)};
        commands.change();
    }
    for (int i = 0; i < 12; ++i)
        commands.undo();
    EXPECT_EQ(list.procedureHead.record.comment(), "x0");
    EXPECT_EQ(commands.redoCount(), 10u);
    for (int i = 0; i < 10; ++i)
        commands.redo();
    EXPECT_EQ(list.procedureHead.record.comment(), "x10");
    EXPECT_EQ(commands.undoStack().count(), 10u);

    EXPECT_FALSE(CommandEnabled(cmd::kRedo, commands.state()));
    commands.undo();
    EXPECT_TRUE(CommandEnabled(cmd::kRedo, commands.state()));

    // Undo with an empty stack changes nothing, but repaints and marks the
    // procedure modified.
    commands.clearHistory();
    list.modified = 0;
    const int repaints = ui.erasing;
    commands.undo();
    EXPECT_EQ(list.procedureHead.record.comment(), "x9");
    EXPECT_EQ(ui.erasing, repaints + 1);
    EXPECT_EQ(list.modified, 1u);
}

TEST_F(StepCommands, FindLooksAtCommentsConditionsVariablesAndTypeNames) {
    ComponentRecord oil = Step('Z',
                               "Pr\xFC"
                               "fung \xD6l",
                               1);  // "Prüfung Öl"
    storeInputCondition(oil, "Z5>=Z16");
    build({Step('Z', "a"), oil, Step('Z', "c")});
    using H = std::vector<FindHit>;
    EXPECT_EQ(FindSteps(list, "z16"),
              (H{{2, FindField::InputCondition, "Z5>=Z16"}, {2, FindField::Variable, "Z16"}}));
    // Case folding covers the letters of the code page: "öL" finds "Öl".
    EXPECT_EQ(FindSteps(list, "\xF6L"), (H{{2, FindField::Comment, oil.comment()}}));
    EXPECT_EQ(FindSteps(list, "b1"),
              (H{{2, FindField::BranchCondition, "B1"}, {2, FindField::Variable, "B1"}}));
    const H types = FindSteps(list, TypeName(oil).substr(1, 4));
    ASSERT_EQ(types.size(), 3u);
    EXPECT_EQ(types[2].step, 3u);
    EXPECT_EQ(types[2].field, FindField::TypeName);
    EXPECT_TRUE(FindSteps(list, "").empty());
    EXPECT_TRUE(FindSteps(list, "nowhere").empty());
    // Find next: the first hit behind the step, round from the last.
    EXPECT_EQ(NextHit(types, 1), 1);
    EXPECT_EQ(NextHit(types, 3), 0);
    EXPECT_EQ(NextHit({}, 1), -1);
}

TEST(EditorSettings, RecentFilesNewestFirstAtMostEightAndMalformedLinesSkipped) {
    const EditorSettings parsed = ParseEditorSettings(
        "recent=/a.PAD\r\nrecent=/a.PAD\nnonsense\nrecent=\nrecovery=x\nrecent=/b.PAD\n"
        "recovery=5\nother=1\n");
    EXPECT_EQ(parsed.recent, (std::vector<std::string>{"/a.PAD", "/b.PAD"}));
    EXPECT_EQ(parsed.recoveryMinutes, 5);
    EXPECT_EQ(ParseEditorSettings(FormatEditorSettings(parsed)).recent, parsed.recent);

    const std::string dir = ::testing::TempDir() + "quelvari-editor-settings";
    std::filesystem::remove_all(dir);
    const std::string path = dir + "/editor.conf";
    EditorSettings result;
    for (int i = 1; i <= 9; ++i)
        ASSERT_TRUE(AddRecentFile("/f" + std::to_string(i) + ".PAD", &result, path).ok());
    ASSERT_TRUE(AddRecentFile("/f5.PAD", &result, path).ok());
    EXPECT_EQ(AddRecentFile("/bad\nname", &result, path).ok(), true);  // refused quietly
    const EditorSettings read = ReadEditorSettings(path);
    EXPECT_EQ(read.recent, (std::vector<std::string>{"/f5.PAD", "/f9.PAD", "/f8.PAD", "/f7.PAD",
                                                     "/f6.PAD", "/f4.PAD", "/f3.PAD", "/f2.PAD"}));
    EXPECT_EQ(read.recent, result.recent);
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace quelvari
