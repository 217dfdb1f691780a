// The view's editing commands driven through a scripted selection and editor,
// the enabling rules, and the small rules of the main window; the commands of
// the step list (moves that carry every step reference with their component,
// several steps at once, Redo on top of the ten-entry undo stack) and Find;
// the File commands driven through a scripted user interface, and the
// configuration and editor settings files.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <vector>

#include "check_builders.h"
#include "commands/editor_settings.h"
#include "commands/find_steps.h"
#include "components/catalogue.h"
#include "edit_test_util.h"
#include "model/config.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari::test {
namespace {

using EditCommandsTest = EditFixture;

TEST_F(EditCommandsTest, AppendFillsTheEmptyHeadThenLinksNodesAndUndoRemovesThem) {
    ui.selections.push_back(std::nullopt);
    commands.append();  // cancelled: nothing changes
    EXPECT_EQ(list.componentCount, 0u);
    EXPECT_EQ(shown(), " @1 ");
    EXPECT_TRUE(commands.undoStack().empty());

    appendAll({Step('Z', "one")});
    EXPECT_EQ(list.nodeCount(), 1u);
    EXPECT_EQ(list.procedureHead.record.recordMark(), kRecordMarkMemory);
    appendAll({Step('M', "two")});
    EXPECT_EQ(shown(), "one two @2 two");
    EXPECT_EQ(ui.status, "2 Schritte");
    EXPECT_EQ(list.modified, 1u);
    ASSERT_EQ(commands.undoStack().count(), 2u);
    EXPECT_EQ(entry(1), std::make_pair(cmd::kAppend, 2u));

    commands.undo();
    EXPECT_EQ(shown(), "one @1 one");
    EXPECT_EQ(commands.undoStack().slot(1).commandId, 0u);  // the popped entry is cleared
    commands.undo();
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);
    EXPECT_EQ(ui.status, "0 Schritte");

    // Insert into the empty procedure fills the head as well.
    ui.selections.push_back(Step('Z', "only"));
    commands.insert();
    EXPECT_EQ(comments(), "only");
}

TEST_F(EditCommandsTest, InsertWithCopiedComponentShiftsTargetsBehindThePlace) {
    appendAll({Step('Z', "a", 3), Step('Z', "b", 2), Step('Z', "c", 4), Step('Z', "d", 1)});
    list.goToStep(2);
    commands.copy();
    EXPECT_EQ(list.pastePending, 1u);
    const std::size_t undoBefore = commands.undoStack().count();
    commands.insert();  // the copy of "b" goes in at step 2, no dialog opens
    EXPECT_EQ(shown(), "a b b c d @2 b");
    // Targets above 2 rise by one; those equal to 2 stay and lead to the copy.
    EXPECT_EQ(targets(), (std::vector<std::uint16_t>{4, 2, 2, 5, 1}));
    EXPECT_EQ(list.pastePending, 0u);
    EXPECT_EQ(commands.undoStack().count(), undoBefore);  // Insert makes no entry

    // Without a pending copy the selection runs; Cancel changes nothing.
    ui.selections.push_back(std::nullopt);
    commands.insert();
    EXPECT_EQ(list.componentCount, 5u);
    ui.selections.push_back(Step('M', "new"));
    commands.insert();
    EXPECT_EQ(comments(), "a new b b c d");
    EXPECT_EQ(list.currentNode->record.recordMark(), kRecordMarkMemory);
}

TEST_F(EditCommandsTest, DeleteKeepsTheReferenceToTheFollowingStepAndUndoRestoresIt) {
    appendAll({Step('Z', "s1", 5), Step('Z', "s2", 4), Step('Z', "s3"), Step('Z', "s4", 3),
               Step('Z', "s5")});
    list.goToStep(3);
    commands.remove();
    EXPECT_EQ(shown(), "s1 s2 s4 s5 @3 s4");
    // Renumbered around the moved-up record's old number 4: 5 becomes 4,
    // 4 stays 4, 3 stays 3.
    EXPECT_EQ(targets(), (std::vector<std::uint16_t>{4, 4, 3, 0}));
    EXPECT_EQ(ui.status, "4 Schritte");
    ASSERT_EQ(commands.undoStack().count(), 6u);
    EXPECT_EQ(entry(5), std::make_pair(cmd::kDelete, 3u));

    commands.undo();
    EXPECT_EQ(shown(), "s1 s2 s3 s4 s5 @3 s3");
}

TEST_F(EditCommandsTest, DeleteAtTheEndAndOfTheOnlyStep) {
    appendAll({Step('Z', "x"), Step('Z', "y")});
    commands.remove();  // the last: the previous one becomes current
    EXPECT_EQ(shown(), "x @1 x");
    commands.undo();  // comes back at the end and is current
    EXPECT_EQ(shown(), "x y @2 y");

    list.goToStep(1);
    commands.remove();
    commands.remove();  // the only one: an empty record stays
    EXPECT_EQ(list.componentCount, 0u);
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);
    const std::size_t entries = commands.undoStack().count();
    commands.remove();  // nothing left: no entry, no change
    EXPECT_EQ(commands.undoStack().count(), entries);
    commands.undo();
    EXPECT_EQ(shown(), "y @1 y");  // one step, counted
}

TEST_F(EditCommandsTest, CutCopiesThenDeletesAndCopyOfNothingDoesNothing) {
    commands.copy();
    EXPECT_EQ(list.pastePending, 0u);
    commands.cut();
    EXPECT_TRUE(commands.undoStack().empty());
    appendAll({Step('Z', "p"), Step('M', "q")});
    list.goToStep(1);
    commands.cut();
    EXPECT_EQ(comments(), "q");
    EXPECT_EQ(list.pastePending, 1u);
    EXPECT_EQ(list.clipboardRecord.comment(), "p");
    commands.next();  // at the last step: a beep
    EXPECT_EQ(ui.beeps, 1);
    commands.insert();
    EXPECT_EQ(comments(), "p q");
}

TEST_F(EditCommandsTest, ChangeKeepsTheStepNumberAndMakesItsEntryEvenWhenCancelled) {
    appendAll({Step('Z', "a"), Step('Z', "b")});
    list.goToStep(2);
    ui.editorResults = {0};
    commands.change();
    EXPECT_EQ(at(), "2 b");
    ASSERT_EQ(commands.undoStack().count(), 3u);
    EXPECT_EQ(entry(2), std::make_pair(cmd::kChange, 2u));
    EXPECT_EQ(list.editRecord.number(), 2u);

    list.modified = 0;
    change("changed");
    EXPECT_EQ(shown(), "a changed @2 changed");
    EXPECT_EQ(list.currentNode->record.number(), 2u);
    EXPECT_EQ(list.modified, 1u);

    // An unknown type returns its own code, which is not OK.
    ui.editorResults = {'Q'};
    ui.editorComments = {"lost"};
    commands.change();
    EXPECT_EQ(comments(), "a changed");

    undo(2);  // the last entry holds "changed", the one before "b"
    EXPECT_EQ(shown(), "a b @2 b");

    list.documentOpen = 0;
    commands.change();
    EXPECT_EQ(ui.editorsOpened, 3);
}

TEST_F(EditCommandsTest, PagingBeepsAtBothEndsAndWithoutADocument) {
    appendAll({Step('Z', "a"), Step('Z', "b"), Step('Z', "c")});
    list.goToStep(1);
    // After each move: the step shown, the beeps and the plain repaints so far.
    auto move = [&](void (EditCommands::*m)()) {
        (commands.*m)();
        return at() + " " + std::to_string(ui.beeps) + "/" + std::to_string(ui.plain) + "; ";
    };
    std::string trail;
    for (auto m : {&EditCommands::previous, &EditCommands::next, &EditCommands::next,
                   &EditCommands::next, &EditCommands::previous})
        trail += move(m);
    list.documentOpen = 0;
    EXPECT_EQ(trail + move(&EditCommands::previous),
              "1 a 1/0; 2 b 1/1; 3 c 1/2; 3 c 2/2; 2 b 2/3; 2 b 3/3; ");
}

TEST_F(EditCommandsTest, GoToAcceptsOnlyExistingStepsUpTo10000) {
    for (int i = 1; i <= 12; ++i)
        appendAll({Step('Z', "s" + std::to_string(i))});
    for (const char* bad : {"0", "13", "10001", "", "abc", "-3", "99999999999"})
        EXPECT_FALSE(commands.goTo(bad)) << bad;
    EXPECT_EQ(list.currentNumber, 12u);
    EXPECT_TRUE(commands.goTo(" 7"));
    EXPECT_EQ(at(), "7 s7");
    EXPECT_TRUE(commands.goTo("12"));
    EXPECT_EQ(at(), "12 s12");
    // Ten characters are read: "0000000003" is 3, the eleventh digit is cut.
    EXPECT_EQ(ParseGoToStep("00000000031", 12), 3u);
    EXPECT_EQ(ParseGoToStep("10000", 10000), 10000u);
    EXPECT_FALSE(ParseGoToStep("10001", 20000));
    EXPECT_EQ(GoToRangeText(12), "(1...12)");
}

TEST_F(EditCommandsTest, StepColumnShowsTheCurrentStepInTheThirdBox) {
    EXPECT_EQ((std::vector<std::uint32_t>{StepInBox(0, 1), StepInBox(9, 3), StepInBox(2, 4),
                                          StepInBox(0, 50)}),
              (std::vector<std::uint32_t>{1, 10, 4, 48}));
    // Bounds: x inclusive, y exclusive.
    const int boxes[][3] = {{51, 31, 0},  {129, 79, 0}, {50, 50, -1}, {130, 50, -1}, {60, 30, -1},
                            {60, 80, -1}, {60, 90, -1}, {60, 931, 9}, {60, 1031, -1}};
    for (const auto& b : boxes)
        EXPECT_EQ(StepBoxAt(b[0], b[1]).value_or(-1), b[2]) << b[0] << "," << b[1];

    const auto column = StepColumn(4, 5);  // steps 2 to 5 in boxes 0 to 3
    ASSERT_EQ(column.size(), 4u);
    EXPECT_EQ(column[0].step, 2u);
    EXPECT_TRUE(column[2].current);
    EXPECT_EQ(std::make_pair(column[3].top, column[3].bottom), std::make_pair(330, 380));
    EXPECT_TRUE(StepColumn(1, 0).empty());

    for (int i = 1; i <= 6; ++i)
        appendAll({Step('Z', "s" + std::to_string(i))});
    list.goToStep(5);
    commands.selectStepBox(0);  // shows step 3
    EXPECT_EQ(at(), "3 s3");
    const int repaints = ui.plain;
    commands.selectStepBox(2);  // the current step: nothing
    commands.selectStepBox(9);  // step 10 does not exist
    EXPECT_EQ(ui.plain, repaints);
    EXPECT_EQ(list.currentNumber, 3u);
}

TEST(CommandEnabling, TheRulesOfEachCommand) {
    // The start state is checked through the window's actions. Each row
    // changes the state, then lists commands that must be off and on.
    CommandState s;
    const std::tuple<std::function<void()>, std::vector<std::uint32_t>, std::vector<std::uint32_t>>
        rows[] = {
            {[&] { s.documentOpen = true; },
             {cmd::kSyntaxTest, cmd::kTransfer, cmd::kChange},
             {cmd::kPaste, cmd::kAppend}},
            {[&] { s.viewTypeCode = 'M'; }, {}, {cmd::kChange}},
            {[&] { s.componentCount = 1; },
             {cmd::kSave, cmd::kPreCheck},
             {cmd::kDelete, cmd::kSaveAs}},
            {[&] { s.modified = true; }, {}, {cmd::kSave}},
            {[&] { s.componentCount = 2; }, {cmd::kGoTo}, {cmd::kPreCheck}},
            {[&] { s.componentCount = 3; }, {cmd::kUndo}, {cmd::kGoTo}},
            {[&] { s.undoCount = 1; }, {cmd::kDescription}, {cmd::kUndo}},
            {[&] { s.documentFileExists = true; }, {}, {cmd::kDescription}},
        };
    for (const auto& [change, off, on] : rows) {
        change();
        for (std::uint32_t id : off)
            EXPECT_FALSE(CommandEnabled(id, s)) << "command " << id << " with " << s.componentCount;
        for (std::uint32_t id : on)
            EXPECT_TRUE(CommandEnabled(id, s)) << "command " << id << " with " << s.componentCount;
    }
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

// A procedure with its File commands.
class FileCommandsTest : public ::testing::Test {
  protected:
    TempDir dir;
    ProcedureList list;
    ScriptedFileUi ui;
    FileCommands cmd{list, ui};
};

TEST_F(FileCommandsTest, SaveQuestionOnlyWhereSomethingCanBeLost) {
    // Modified state reached by editing; the question is asked unless the
    // procedure is empty and has no file of its own.
    // The path before Open, the steps, whether Open asks.
    const std::tuple<const char*, int, bool> cases[] = {
        {"NoName.PAD", 0, false},  // empty, never saved
        {"", 0, false},            // empty after Close
        {"NoName.PAD", 1, true},   // one step, never saved
        {"/tmp/x.PAD", 0, true},   // all steps deleted from a file
    };
    for (const auto& [path, components, asks] : cases) {
        SCOPED_TRACE(path + std::to_string(components));
        ProcedureList l;
        ScriptedFileUi u;
        FileCommands commands(l, u);
        fill(l, Records(static_cast<std::size_t>(components), makeRecord('Z')));
        l.documentPath = path;
        l.modified = 1;
        u.answers.push_back(Answer::Cancel);
        u.files.push_back(std::nullopt);
        commands.fileOpen();
        EXPECT_EQ(u.questions.size(), asks ? 1u : 0u);
    }

    // Close answered No leaves the flag set; the next Open does not ask again.
    cmd.fileNew();
    list.appendRecord(makeRecord('Z'));
    list.modified = 1;
    ui.answers.push_back(Answer::No);
    cmd.fileClose();
    ASSERT_EQ(ui.questions.size(), 1u);
    ui.files.push_back(std::nullopt);
    cmd.fileOpen();
    EXPECT_EQ(ui.questions.size(), 1u);
    EXPECT_TRUE(ui.errors.empty());
}

TEST_F(FileCommandsTest, NewSaveAsAndOpenAskWhereSomethingCanBeLost) {
    cmd.fileNew();
    EXPECT_EQ(list.documentPath + "|" + ui.title, "NoName.PAD|Quelvari - NoName.PAD");
    EXPECT_EQ(list.documentOpen, 1u);
    list.appendRecord(makeRecord('Z', "unsaved"));
    // The Save As dialog of a new procedure starts without a name; a file
    // that exists is named in the overwrite question, and No keeps it.
    const std::string other = dir.file("B.PAD");
    writeBytes(other, {1, 2, 3});
    ui.files.push_back(other);
    ui.answers.push_back(Answer::No);
    cmd.fileSaveAs();
    EXPECT_EQ(ui.initialNames.back(), "");
    EXPECT_EQ(ui.questions.back(), other + "\n" + LangText(3138));
    EXPECT_EQ(readBytes(other).size(), 3u);
    EXPECT_EQ(list.documentPath, "NoName.PAD");

    // Cancel at the save question stops Open: nothing changes.
    ui.answers.push_back(Answer::Cancel);
    cmd.fileOpen();
    EXPECT_EQ(ui.questions.back(), LangText(3139));
    EXPECT_EQ(list.componentCount, 1u);
    EXPECT_EQ(list.documentOpen, 1u);

    // No, then cancel the dialog: the procedure is gone and no document is open.
    ui.answers.push_back(Answer::No);
    ui.files.push_back(std::nullopt);
    cmd.fileOpen();
    EXPECT_EQ(list.documentOpen, 0u);
    EXPECT_EQ(list.procedureHead.record.typeCode(), 0);
    EXPECT_EQ(list.modified, 0u);

    // A file that cannot be opened: message 93.
    ui.files.push_back(dir.file("none.PAD"));
    cmd.fileOpen();
    EXPECT_EQ(ui.errors, std::vector<int>{93 << 8});
    EXPECT_EQ(list.documentOpen, 0u);
    EXPECT_TRUE(list.lastPath.empty());

    // A good file opens and becomes the initial name of a later Save dialog.
    const std::string path = dir.file("three.PAD");
    writeRecords(path, Records(3, makeRecord('Z')));
    ui.files.push_back(path);
    cmd.fileOpen();
    EXPECT_EQ(list.componentCount, 3u);
    EXPECT_EQ(list.lastPath, path);
    EXPECT_EQ(ui.status, "3 " + LangText(3102));
    EXPECT_EQ(ui.title, "Quelvari - " + path);

    // Yes at the question of a later command saves first.
    list.appendRecord(makeRecord('Z'));
    ui.answers.push_back(Answer::Yes);
    cmd.fileClose();
    EXPECT_EQ(readBytes(path).size(), 4u * 800);
    EXPECT_EQ(list.documentOpen, 0u);
    EXPECT_EQ(list.currentNumber, 0u);
    EXPECT_EQ(ui.title, "Quelvari");
    EXPECT_TRUE(list.documentPath.empty());
}

TEST(FileCommands, FiltersFollowTheLanguage) {
    EXPECT_EQ(ProcedureFileFilter(1).substr(0, 29), "Test procedure files (*.PAD)|");
    EXPECT_EQ(ProcedureFileFilter(7), ProcedureFileFilter(0));
    EXPECT_EQ(SyntaxTestFileFilter(2),
              "Fichiers Proc\xE9"
              "dure de Test (*.PAD)|*.PAD||");
}

TEST(Configuration, DefaultsShortFilesAndWriting) {
    TempDir dir;
    const char* root = std::getenv("QUELVARI_CONFIG_ROOT");
    const std::string savedRoot = root ? root : dir.file("saved");
    ::setenv("QUELVARI_CONFIG_ROOT", dir.file("root").c_str(), 1);
    const ConfigPaths p = GetConfigPaths();
    EXPECT_EQ(p.file, dir.file("root/Quelvari/Quelvari_config.sys"));

    // What reading makes of the settings `c`.
    auto read = [](Configuration c) {
        ReadConfiguration(c);
        return std::pair(c.language, c.printSize);
    };
    EXPECT_EQ(read({}), std::pair(0u, 0u));  // no file: defaults
    EnsureConfigDirectories();               // the write below needs it

    // A short file replaces only the bytes it has (the whole file is read
    // back by the concurrent settings changes of the bad input tests).
    writeBytes(p.file, {2});
    EXPECT_EQ(read({0x0303, 1}), std::pair(0x0302u, 1u));
    writeBytes(p.file, {3, 0, 0, 0, 0});
    EXPECT_EQ(read({0x0303, 1}), std::pair(3u, 0u));

    ASSERT_TRUE(WriteConfiguration({3, 1}).ok());
    EXPECT_EQ(readBytes(p.file), (std::vector<std::uint8_t>{3, 0, 0, 0, 1, 0, 0, 0}));

    // Without the override the root lies in the user's configuration directory.
    ::unsetenv("QUELVARI_CONFIG_ROOT");
    ::setenv("XDG_CONFIG_HOME", dir.file("xdg").c_str(), 1);
    EXPECT_EQ(GetConfigPaths().file, dir.file("xdg/ZR_ConfigDir/Quelvari/Quelvari_config.sys"));
    ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("QUELVARI_CONFIG_ROOT", savedRoot.c_str(), 1);
}

using StepCommands = EditFixture;

TEST(MoveOrders, UpDownAndDropKeepBlocksTogether) {
    using V = std::vector<std::uint32_t>;
    const std::tuple<const char*, V, V> cases[] = {
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
    for (const auto& [what, order, expected] : cases)
        EXPECT_EQ(order, expected) << what;
}

TEST_F(StepCommands, MoveCarriesEveryReferenceWithItsComponentAndUndoRedoIt) {
    build({Step('Z', "a", 3), stepReference('G', 3, false, "b"), stepReference('P', 1, false, "c"),
           stepReference('T', 2, false, "d"), stepReference('T', -1, false, "e"),
           stepReference('G', 2, true, "f"), Step('Z', "g", 7)});
    // A goto target without a branch condition is not a reference.
    list.goToStep(6);
    list.currentNode->record.setGotoTarget(1);
    const auto before = records(list);
    list.goToStep(3);  // "c" is current

    EXPECT_EQ(commands.moveDown({1, 2}), (std::vector<std::uint32_t>{2, 3}));
    EXPECT_EQ(comments(), "c a b d e f g");
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

    undo(2);
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
    EditSession single;
    single.appendAll(steps);
    for (std::uint32_t s : {5u, 2u}) {
        single.list.goToStep(s);
        single.commands.remove();
    }

    commands.removeSteps({2, 5});
    EXPECT_EQ(records(list), records(single.list));
    EXPECT_EQ(comments(), "a c d f");
    EXPECT_EQ(commands.undoStack().count(), 1u);

    for (int i = 0; i < 2; ++i)
        single.commands.undo();
    commands.undo();
    EXPECT_EQ(records(list), records(single.list));  // the kept undo rules, as one step
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
    EXPECT_EQ(targets(), (std::vector<std::uint16_t>{3, 2, 1, 3}));
    list.goToStep(2);
    commands.insert();
    EXPECT_EQ(comments(), "b a c d e f");
    EXPECT_EQ(list.viewRecord.comment(), "a");
    EXPECT_EQ(list.pastePending, 0u);
    EXPECT_EQ(commands.undoStack().count(), 1u);  // Paste makes no entry
    // References above the place rise by two, those at or below it stay, the
    // pasted ones' included.
    EXPECT_EQ(targets(), (std::vector<std::uint16_t>{5, 8, 7, 2, 1, 5}));
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
}

TEST_F(StepCommands, RedoRunsUndoneCommandsAgainAndANewCommandClearsIt) {
    build({Step('Z', "a"), Step('Z', "b"), Step('Z', "c")});
    list.goToStep(2);
    change("B2");
    commands.remove();  // "B2" goes, "c" is current
    ui.selections.push_back(Step('Z', "d"));
    commands.append();
    EXPECT_EQ(comments(), "a c d");
    const auto done = records(list);

    undo(3);
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
    change("A1");
    EXPECT_EQ(commands.redoCount(), 0u);
    commands.redo();  // nothing left
    EXPECT_EQ(comments(), "A1 c");

    // The stack keeps its ten entries: eleven changes, ten come back and go
    // again.
    commands.clearHistory();
    for (int i = 0; i < 11; ++i)
        change("x" + std::to_string(i));
    undo(12);
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
    // Opening the newest file again leaves the file as it is, not replaced.
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    ASSERT_TRUE(AddRecentFile("/f5.PAD", &result, path).ok());
    ASSERT_EQ(::stat(path.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(result.recent, read.recent);
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace quelvari::test
