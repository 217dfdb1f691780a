// The File commands driven through a scripted user interface, and the
// configuration file.
#include <gtest/gtest.h>

#include <deque>

#include "commands/file_commands.h"
#include "model/config.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

using test::readBytes;
using test::TempDir;

// Answers from a script and records what the commands asked and showed.
class ScriptedUi : public FileUi {
  public:
    std::deque<Answer> answers;
    std::deque<std::optional<std::string>> files;
    std::vector<std::string> questions;
    std::vector<std::string> initialNames;
    std::vector<int> errors;
    std::vector<std::string> details;
    std::string title, status;

    Answer askYesNoCancel(const std::string& text) override { return next(text); }
    Answer askYesNo(const std::string& text) override { return next(text); }
    std::optional<std::string> chooseOpenFile(const std::string&) override { return nextFile(); }
    std::optional<std::string> chooseSaveFile(const std::string& initial,
                                              const std::string&) override {
        initialNames.push_back(initial);
        return nextFile();
    }
    void showError(const Status& s) override {
        errors.push_back(s.code());
        details.push_back(s.detail());
    }
    void setWindowTitle(const std::string& t) override { title = t; }
    void setStatusCount(const std::string& s) override { status = s; }
    void repaint() override {}

  private:
    Answer next(const std::string& text) {
        questions.push_back(text);
        EXPECT_FALSE(answers.empty()) << "unexpected question: " << text;
        if (answers.empty())
            return Answer::Cancel;
        const Answer a = answers.front();
        answers.pop_front();
        return a;
    }
    std::optional<std::string> nextFile() {
        EXPECT_FALSE(files.empty()) << "unexpected file dialog";
        if (files.empty())
            return std::nullopt;
        auto f = files.front();
        files.pop_front();
        return f;
    }
};

TEST(FileCommands, NewSaveAndTheNoNameRule) {
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
    // Save of a new procedure asks for a name; cancelling keeps it modified.
    ui.files.push_back(std::nullopt);
    cmd.fileSave();
    EXPECT_EQ(list.modified, 1u);
    EXPECT_EQ(list.documentPath, "NoName.PAD");

    const std::string path = dir.file("A.PAD");
    ui.files.push_back(path);
    cmd.fileSave();
    EXPECT_EQ(list.modified, 0u);
    EXPECT_EQ(list.documentPath, path);
    EXPECT_EQ(ui.title, "Quelvari - " + path);
    EXPECT_EQ(readBytes(path).size(), 800u);

    // From now on Save writes without a question.
    list.appendRecord(test::makeRecord('Z', "more"));
    cmd.fileSave();
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(readBytes(path).size(), 1600u);

    // Save As onto an existing file asks to overwrite; No keeps everything.
    const std::string other = dir.file("B.PAD");
    test::writeBytes(other, {1, 2, 3});
    list.modified = 1;
    ui.files.push_back(other);
    ui.answers.push_back(Answer::No);
    cmd.fileSaveAs();
    EXPECT_EQ(ui.questions.back(), other + "\n" + LangText(3138));
    EXPECT_EQ(readBytes(other).size(), 3u);
    EXPECT_EQ(list.documentPath, path);
    EXPECT_EQ(ui.initialNames.back(), "");
    ui.files.push_back(other);
    ui.answers.push_back(Answer::Yes);
    cmd.fileSaveAs();
    EXPECT_EQ(readBytes(other).size(), 1600u);
    EXPECT_EQ(list.documentPath, other);

    // A failed write shows message 92 and leaves the procedure modified.
    list.modified = 1;
    list.documentPath = dir.file("missing-dir/C.PAD");
    cmd.fileSave();
    ASSERT_EQ(ui.errors.size(), 1u);
    EXPECT_EQ(ui.errors[0], 92 << 8);
    EXPECT_EQ(list.modified, 1u);
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
    EXPECT_NE(ProcedureFileFilter(3).find("interrup1 (*.IR1)"), std::string::npos);
    EXPECT_EQ(ProcedureFileFilter(0).substr(0, 3), "Pr\xFC");
    EXPECT_EQ(ProcedureFileFilter(7), ProcedureFileFilter(0));
    EXPECT_EQ(SyntaxTestFileFilter(2),
              "Fichiers Proc\xE9"
              "dure de Test (*.PAD)|*.PAD||");
}

TEST(Configuration, DefaultsShortFilesAndWriting) {
    TempDir dir;
    const std::string savedRoot = std::getenv("QUELVARI_CONFIG_ROOT");
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
