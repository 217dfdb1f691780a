// The File commands driven through a scripted user interface, and the
// configuration file.
#include <gtest/gtest.h>

#include "edit_test_util.h"
#include "model/config.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

using test::readBytes;
using test::TempDir;

using ScriptedUi = test::ScriptedFileUi;

// The Save and Save As flows run through the window's dialogs in the editor
// tests; here what the commands ask and show.
TEST(FileCommands, NewAndTheQuestionsOfSaveAs) {
    TempDir dir;
    ProcedureList list;
    ScriptedUi ui;
    FileCommands cmd(list, ui);
    cmd.fileNew();
    EXPECT_EQ(list.documentPath, "NoName.PAD");
    EXPECT_EQ(ui.title, "Quelvari - NoName.PAD");
    EXPECT_EQ(list.documentOpen, 1u);
    EXPECT_EQ(list.componentCount, 0u);
    list.appendRecord(test::makeRecord('Z', "wait"));
    // The dialog of a new procedure starts without a name; one that exists
    // is named in the overwrite question.
    const std::string other = dir.file("B.PAD");
    test::writeBytes(other, {1, 2, 3});
    ui.files.push_back(other);
    ui.answers.push_back(Answer::No);
    cmd.fileSaveAs();
    EXPECT_EQ(ui.initialNames.back(), "");
    EXPECT_EQ(ui.questions.back(), other + "\n" + LangText(3138));
    EXPECT_EQ(readBytes(other).size(), 3u);
    EXPECT_EQ(list.documentPath, "NoName.PAD");
    EXPECT_TRUE(ui.errors.empty());
}

TEST(FileCommands, SaveQuestionOnlyWhereSomethingCanBeLost) {
    // Modified state reached by editing; the question is asked unless the
    // procedure is empty and has no file of its own.
    struct Case {
        const char* what;
        const char* path;  // documentPath before Open
        int components;
        bool asks;
    };
    const Case cases[] = {
        {"empty, never saved", "NoName.PAD", 0, false},
        {"empty after Close", "", 0, false},
        {"one step, never saved", "NoName.PAD", 1, true},
        {"all steps deleted from a file", "/tmp/x.PAD", 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ProcedureList list;
        ScriptedUi ui;
        FileCommands cmd(list, ui);
        for (int i = 0; i < c.components; ++i)
            list.appendRecord(test::makeRecord('Z'));
        list.documentPath = c.path;
        list.modified = 1;
        ui.answers.push_back(Answer::Cancel);
        ui.files.push_back(std::nullopt);
        cmd.fileOpen();
        EXPECT_EQ(ui.questions.size(), c.asks ? 1u : 0u);
    }

    // Close answered No leaves the flag set; the next Open does not ask again.
    ProcedureList list;
    ScriptedUi ui;
    FileCommands cmd(list, ui);
    cmd.fileNew();
    list.appendRecord(test::makeRecord('Z'));
    list.modified = 1;
    ui.answers.push_back(Answer::No);
    cmd.fileClose();
    ASSERT_EQ(ui.questions.size(), 1u);
    ui.files.push_back(std::nullopt);
    cmd.fileOpen();
    EXPECT_EQ(ui.questions.size(), 1u);
    EXPECT_TRUE(ui.errors.empty());
}

TEST(FileCommands, OpenDiscardsTheProcedureBeforeTheDialog) {
    TempDir dir;
    ProcedureList list;
    ScriptedUi ui;
    FileCommands cmd(list, ui);
    cmd.fileNew();
    list.appendRecord(test::makeRecord('Z', "unsaved"));

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
    EXPECT_EQ(ui.errors.back(), 93 << 8);
    EXPECT_EQ(list.documentOpen, 0u);
    EXPECT_TRUE(list.lastPath.empty());

    // A good file opens and becomes the initial name of a later Save dialog.
    ProcedureList source;
    for (int i = 0; i < 3; ++i)
        source.appendRecord(test::makeRecord('Z'));
    const std::string path = dir.file("three.PAD");
    ASSERT_TRUE(writeProcedure(path, source).ok());
    ui.files.push_back(path);
    cmd.fileOpen();
    EXPECT_EQ(list.componentCount, 3u);
    EXPECT_EQ(list.lastPath, path);
    EXPECT_EQ(ui.status, "3 " + LangText(3102));
    EXPECT_EQ(ui.title, "Quelvari - " + path);

    // Yes at the question of a later command saves first.
    list.appendRecord(test::makeRecord('Z'));
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

    Configuration c;
    ReadConfiguration(c);  // no file: defaults
    EXPECT_EQ(c.language, 0u);
    EXPECT_EQ(c.printSize, 0u);
    EnsureConfigDirectories();
    EXPECT_EQ(test::runCommand("test -d '" + p.programDir + "'").status, 0);

    test::writeBytes(p.file, {1, 0, 0, 0, 1, 0, 0, 0});
    ReadConfiguration(c);
    EXPECT_EQ(c.language, 1u);
    EXPECT_EQ(c.printSize, 1u);

    // A short file replaces only the bytes it has.
    Configuration s{0x0303, 1};
    test::writeBytes(p.file, {2});
    ReadConfiguration(s);
    EXPECT_EQ(s.language, 0x0302u);
    EXPECT_EQ(s.printSize, 1u);
    test::writeBytes(p.file, {3, 0, 0, 0, 0});
    ReadConfiguration(s);
    EXPECT_EQ(s.language, 3u);
    EXPECT_EQ(s.printSize, 0u);

    ASSERT_TRUE(WriteConfiguration({3, 1}).ok());
    EXPECT_EQ(readBytes(p.file), (std::vector<std::uint8_t>{3, 0, 0, 0, 1, 0, 0, 0}));

    // Without the override the root lies in the user's configuration directory.
    ::unsetenv("QUELVARI_CONFIG_ROOT");
    ::setenv("XDG_CONFIG_HOME", dir.file("xdg").c_str(), 1);
    EXPECT_EQ(GetConfigPaths().file, dir.file("xdg/ZR_ConfigDir/Quelvari/Quelvari_config.sys"));
    ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("QUELVARI_CONFIG_ROOT", savedRoot.c_str(), 1);
}

}  // namespace
}  // namespace quelvari
