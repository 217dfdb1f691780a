// The editor window with a real QApplication: start state, the sample file,
// paging, Go to, the editing commands through their actions, a language
// switch, the save question on close, and the text form commands and the
// Variables panel.
#include <QAction>
#include <QDialog>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QTreeWidget>

#include <filesystem>
#include <fstream>
#include <set>

#include "app/dialogs.h"
#include "app/exchange/variables_panel.h"
#include "app/main_window.h"
#include "app/procedure_view.h"
#include "exchange/procedure_text.h"
#include "model/procedure_file.h"
#include "window_fixture.h"

namespace quelvari::app {
namespace {

using test::Answer;
using test::FileBytes;
using test::kSample;
using test::WhenModal;

// A menu text as shown, without its mnemonic mark.
QString Shown(const QString& text) {
    return ToQt(WithoutMnemonic(FromQtLossy(text)));
}

bool Enabled(MainWindow& w, std::uint32_t id) {
    return w.action(id)->isEnabled();
}

class EditorWindow : public test::WindowTest {};

TEST_F(EditorWindow, StartsWithOnlyTheCommandsThatNeedNoProcedure) {
    MainWindow& w = shown(QString());
    for (std::uint32_t id :
         {cmd::kNew, cmd::kOpen, cmd::kSettings, cmd::kLanguage, cmd::kHelpContents,
          cmd::kHelpQuickStart, cmd::kPrintSetup, cmd::kSyntaxTest, cmd::kTransfer, cmd::kAbout})
        EXPECT_TRUE(Enabled(w, id)) << id;
    for (std::uint32_t id : {cmd::kSave, cmd::kSaveAs, cmd::kDelete, cmd::kGoTo, cmd::kUndo,
                             cmd::kChange, cmd::kPreCheck, cmd::kDescription})
        EXPECT_FALSE(Enabled(w, id)) << id;
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Quelvari"));
    EXPECT_EQ(w.countPane()->text(), QStringLiteral(" "));
    // Six menus in order; the five first relabelled from the table at start.
    const QStringList titles = {"Datei", "Bearbeiten", "Ansicht", "Prüfablauf", "Extras", "?"};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(Shown(w.menu(i)->title()), titles[i]);
    // Help opens at the topic of the command.
    w.action(cmd::kHelpQuickStart)->trigger();
    ASSERT_NE(w.helpWindow(), nullptr);
    EXPECT_TRUE(w.helpWindow()->isVisible());
    EXPECT_EQ(w.helpWindow()->browser()->source().toString(),
              QStringLiteral("qrc:/help/de/quickstart.html#quickstart"));
    w.helpWindow()->showTopic("Quelvari-engl.hlp", 202);
    EXPECT_TRUE(w.helpWindow()->browser()->toPlainText().contains(QStringLiteral("variable"),
                                                                  Qt::CaseInsensitive));
    // Syntax test and transfer only while nothing is open.
    w.fileNew();
    EXPECT_FALSE(Enabled(w, cmd::kSyntaxTest));
    EXPECT_FALSE(Enabled(w, cmd::kTransfer));
    EXPECT_TRUE(Enabled(w, cmd::kAppend));
}

TEST_F(EditorWindow, OpensTheSamplePagesAndGoesToAStep) {
    MainWindow& w = shown(kSample, QSize(1000, 1000 + 120));
    ProcedureList& list = w.procedure();
    ASSERT_EQ(list.componentCount, 8u);
    EXPECT_EQ(w.countPane()->text(), QStringLiteral("8 Schritte"));
    EXPECT_TRUE(w.windowTitle().endsWith(QStringLiteral("sample.PAD")));

    ProcedureView* view = w.view();
    view->setFocus();
    const int painted = view->paintCount();
    QTest::keyClick(view, Qt::Key_PageDown);
    EXPECT_EQ(list.currentNumber, 2u);
    EXPECT_EQ(list.viewRecord.typeCode(), 'M');
    QTest::keyClick(view, Qt::Key_PageUp);
    QTest::keyClick(view, Qt::Key_PageUp);  // at step 1: a beep, no move
    EXPECT_EQ(list.currentNumber, 1u);
    QApplication::processEvents();
    EXPECT_GT(view->paintCount(), painted);
    EXPECT_FALSE(view->pictureRect().isEmpty());

    // Go to: 0 and 9 keep the dialog open, 6 closes it at step 6.
    bool stayedOpen = false;
    test::WhenShown<GoToDialog>([&](GoToDialog& dialog) {
        EXPECT_EQ(dialog.rangeLine()->text(), QStringLiteral("(1...8)"));
        for (const char* number : {"0", "9", "6"}) {
            stayedOpen = dialog.isVisible();
            dialog.numberField()->setText(QString::fromLatin1(number));
            dialog.accept();
        }
    });
    w.action(cmd::kGoTo)->trigger();
    EXPECT_TRUE(stayedOpen);
    EXPECT_EQ(list.currentNumber, 6u);

    // The step column: box 0 shows step 4 while step 6 is current. The
    // view is 1000 high here, so its units are pixels.
    const double k = view->height() / 1000.0;
    QTest::mouseDClick(view, Qt::LeftButton, {}, QPoint(int(90 * k), int(55 * k)));
    EXPECT_EQ(list.currentNumber, 4u);
    // A double click on the picture opens the editor; Cancel still leaves
    // its undo entry and changes nothing.
    const ComponentRecord before = list.viewRecord;
    WhenModal([](QWidget* modal) { static_cast<QDialog*>(modal)->reject(); });
    QTest::mouseDClick(view, Qt::LeftButton, {}, view->pictureRect().center().toPoint());
    EXPECT_EQ(w.editCommands().undoStack().count(), 1u);
    EXPECT_EQ(list.viewRecord, before);
    EXPECT_TRUE(Enabled(w, cmd::kUndo));
}

// Types `path` into the name field of the save dialog and presses Return, or
// cancels the dialog with Escape when `path` is empty.
void SaveDialog(QWidget* modal, const QString& path) {
    auto* dialog = qobject_cast<QFileDialog*>(modal);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->acceptMode(), QFileDialog::AcceptSave);
    auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    ASSERT_NE(name, nullptr);
    if (path.isEmpty()) {
        QTest::keyClick(name, Qt::Key_Escape);
        return;
    }
    // The dialog is taken to the folder and the name typed, as a user does
    // (a whole path typed into the field makes the dialog browse its parts).
    const QFileInfo target(path);
    dialog->setDirectory(target.absolutePath());
    QApplication::processEvents();
    name->clear();
    QTest::keyClicks(name, target.fileName());
    QTest::keyClick(name, Qt::Key_Return);
}

// The editing commands through their actions, then Save and Save As through
// the window's own file dialog and questions, and the question on close.
TEST_F(EditorWindow, EditSaveAndCloseThroughTheActionsAndDialogs) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    MainWindow& w = shown();
    ProcedureList& list = w.procedure();
    list.goToStep(3);
    const ComponentRecord third = list.viewRecord;

    w.action(cmd::kCopy)->trigger();
    w.action(cmd::kPaste)->trigger();
    EXPECT_EQ(list.componentCount, 9u);
    EXPECT_EQ(w.countPane()->text(), QStringLiteral("9 Schritte"));
    EXPECT_TRUE(Enabled(w, cmd::kSave));
    EXPECT_FALSE(Enabled(w, cmd::kUndo));  // Insert makes no undo entry
    EXPECT_EQ(list.currentNode->next->record.comment(), third.comment());

    // Ctrl+X through the accelerator cuts the current step.
    w.view()->setFocus();
    QTest::keyClick(w.view(), Qt::Key_X, Qt::ControlModifier);
    EXPECT_EQ(list.componentCount, 8u);
    EXPECT_EQ(list.pastePending, 1u);

    ASSERT_EQ(list.modified, 1u);

    // Save As: the dialog's name is taken with the default extension.
    const QString copy = dir.filePath(QStringLiteral("COPY.PAD"));
    WhenModal([&](QWidget* modal) { SaveDialog(modal, dir.filePath(QStringLiteral("COPY"))); });
    w.action(cmd::kSaveAs)->trigger();
    EXPECT_EQ(FileBytes(copy).size(), 8 * 800);
    EXPECT_EQ(list.modified, 0u);
    EXPECT_TRUE(w.windowTitle().endsWith(QStringLiteral("COPY.PAD")));
    EXPECT_FALSE(Enabled(w, cmd::kSave));

    // Save As onto an existing file asks first: No keeps the file, Yes writes.
    w.action(cmd::kDelete)->trigger();
    const QByteArray before = FileBytes(copy);
    for (auto answer : {QMessageBox::No, QMessageBox::Yes}) {
        WhenModal([&, answer](QWidget* modal) {
            SaveDialog(modal, copy);
            WhenModal([answer](QWidget* question) { Answer(question, answer); });
        });
        w.action(cmd::kSaveAs)->trigger();
        const QByteArray after = FileBytes(copy);
        if (answer == QMessageBox::No) {
            EXPECT_EQ(after, before);
            EXPECT_EQ(list.modified, 1u);
        } else {
            EXPECT_EQ(after.size(), 7 * 800);
            EXPECT_EQ(list.modified, 0u);
        }
    }

    // Save of a new procedure asks for a name; Escape cancels and keeps it
    // modified, a name saves it there.
    w.action(cmd::kCopy)->trigger();
    w.action(cmd::kNew)->trigger();
    w.action(cmd::kPaste)->trigger();
    ASSERT_EQ(list.modified, 1u);
    const QString fresh = dir.filePath(QStringLiteral("NEW.PAD"));
    WhenModal([](QWidget* modal) { SaveDialog(modal, QString()); });
    w.action(cmd::kSave)->trigger();
    EXPECT_FALSE(QFile::exists(fresh));
    EXPECT_EQ(list.modified, 1u);
    WhenModal([&](QWidget* modal) { SaveDialog(modal, fresh); });
    w.action(cmd::kSave)->trigger();
    EXPECT_EQ(FileBytes(fresh).size(), static_cast<int>(list.componentCount * 800));
    EXPECT_EQ(list.modified, 0u);
    EXPECT_TRUE(w.windowTitle().endsWith(QStringLiteral("NEW.PAD")));

    // Later saves write to the same file without a dialog.
    w.action(cmd::kCopy)->trigger();
    w.action(cmd::kPaste)->trigger();
    w.action(cmd::kSave)->trigger();
    EXPECT_EQ(FileBytes(fresh).size(), static_cast<int>(list.componentCount * 800));
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);

    w.action(cmd::kDelete)->trigger();
    // Close asks; Cancel keeps the window and the procedure.
    WhenModal([](QWidget* modal) { Answer(modal, QMessageBox::Cancel); });
    EXPECT_FALSE(w.close());
    EXPECT_TRUE(w.isVisible());
    EXPECT_EQ(list.modified, 1u);
    WhenModal([](QWidget* modal) { Answer(modal, QMessageBox::No); });
    EXPECT_TRUE(w.close());
    EXPECT_FALSE(w.isVisible());
}

TEST_F(EditorWindow, LanguageSwitchRelabelsMenusAndTheNextDialog) {
    MainWindow& w = shown();
    test::WhenShown<LanguageDialog>([](LanguageDialog& dialog) {
        EXPECT_TRUE(dialog.button(kGerman)->isChecked());
        dialog.button(kEnglish)->setChecked(true);
        dialog.accept();
    });
    w.action(cmd::kLanguage)->trigger();
    EXPECT_EQ(language(), static_cast<std::uint32_t>(kEnglish));
    EXPECT_EQ(Shown(w.menu(0)->title()), QStringLiteral("File"));
    EXPECT_EQ(Shown(w.menu(3)->title()), QStringLiteral("Test procedure"));
    EXPECT_EQ(Shown(w.action(cmd::kPaste)->text()), QStringLiteral("Paste"));
    EXPECT_EQ(w.helpFile(), "Quelvari-engl.hlp");
    EXPECT_EQ(w.countPane()->text(), QStringLiteral("8 Steps"));
    Configuration saved;
    ReadConfiguration(saved);
    EXPECT_EQ(saved.language, 1u);

    // Cancel in the language dialog changes nothing.
    test::WhenShown<LanguageDialog>([](LanguageDialog& dialog) {
        dialog.button(kItalian)->setChecked(true);
        dialog.reject();
    });
    w.action(cmd::kLanguage)->trigger();
    EXPECT_EQ(language(), static_cast<std::uint32_t>(kEnglish));

    // The settings dialog in English, and its OK writes the print size.
    test::WhenShown<SettingsDialog>([](SettingsDialog& dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Options"));
        EXPECT_EQ(dialog.extended()->text(), QStringLiteral("extended"));
        EXPECT_TRUE(dialog.normal()->isChecked());
        dialog.extended()->setChecked(true);
        dialog.accept();
    });
    w.action(cmd::kSettings)->trigger();
    ReadConfiguration(saved);
    EXPECT_EQ(saved.language, 1u);
    EXPECT_EQ(saved.printSize, 1u);
    w.procedure().modified = 0;
}

TEST_F(EditorWindow, OpensAFileWhoseNameIsNotUtf8) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    // "Prüfung.PAD" in Latin-1: the byte 0xFC is no UTF-8.
    const std::string name = QFile::encodeName(dir.path()).toStdString() +
                             "/Pr\xfc"
                             "fung.PAD";
    ASSERT_TRUE(std::filesystem::copy_file(kSample.toStdString(), name));
    MainWindow w;
    bool refused = false;
    QTimer::singleShot(0, [&refused] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            refused = true;
            modal->close();
        }
    });
    w.openNativePath(name);
    QCoreApplication::processEvents();  // the check runs here, not in a later test
    EXPECT_FALSE(refused);
    EXPECT_EQ(w.procedure().documentPath, name);
    EXPECT_EQ(w.procedure().componentCount, 8u);
}

TEST_F(EditorWindow, MenusQuestionsAndQtTextsInEveryLanguage) {
    // Per language: menu mnemonics that never collide within the menu bar or
    // a menu, over unchanged texts; the save question's buttons; Qt's own
    // texts from its translations.
    const char* const qtCancel[] = {"Abbrechen", "Cancel", "Annuler", "Annulla"};
    std::set<QString> refusedTexts;
    for (std::uint32_t lang = 0; lang < 4; ++lang) {
        SCOPED_TRACE(lang);
        Configuration config;
        config.language = lang;
        ASSERT_TRUE(EnsureConfigDirectories());
        ASSERT_TRUE(WriteConfiguration(config).ok());
        MainWindow w;
        std::set<unsigned char> titles;
        for (int m = 0; m < 6; ++m) {
            const std::string title = FromQtLossy(w.menu(m)->title());
            EXPECT_TRUE(titles.insert(MnemonicOf(title)).second) << title;
            std::set<unsigned char> keys;
            for (QAction* a : w.menu(m)->actions()) {
                if (a->isSeparator())
                    continue;
                const std::string text = FromQtLossy(a->text());
                const unsigned char key = MnemonicOf(text);
                EXPECT_NE(key, 0) << text;
                EXPECT_TRUE(keys.insert(key).second) << "collides: " << text;
            }
        }
        EXPECT_FALSE(titles.count(0));
        for (std::uint32_t id : MenuCommandIds())
            EXPECT_EQ(WithoutMnemonic(FromQtLossy(w.action(id)->text())), LangText(id)) << id;
        EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "Cancel"),
                  QString::fromLatin1(qtCancel[lang]));
        // The message about a character the code page lacks names it.
        const QString refused = RefusedTextMessage(QStringLiteral("ab\u0101c"));
        EXPECT_TRUE(refused.contains(QStringLiteral("\"\u0101\""))) << refused.toStdString();
        refusedTexts.insert(refused);

        w.openPath(kSample);
        w.procedure().modified = 1;
        QStringList buttons;
        test::WhenShown<QMessageBox>([&buttons](QMessageBox& box) {
            for (auto b : {QMessageBox::Yes, QMessageBox::No, QMessageBox::Cancel})
                buttons << box.button(b)->text();
            box.button(QMessageBox::Cancel)->click();
        });
        w.action(cmd::kNew)->trigger();
        const QStringList expected =
            lang == kGerman
                ? QStringList{"Ja", "Nein", "Abbrechen"}
                : QStringList{ToQt(LangText(1057)), ToQt(LangText(1056)), ToQt(LangText(2))};
        EXPECT_EQ(buttons, expected);
        w.procedure().modified = 0;
    }
    EXPECT_EQ(refusedTexts.size(), 4u);
}

TEST_F(EditorWindow, TextFormImportExportAndTheVariablesOfTheProcedureInMemory) {
    QTemporaryDir tmp;
    const auto file = [&](const char* name) { return tmp.path() + "/" + name; };
    std::vector<ComponentRecord> records;
    ASSERT_TRUE(exchange::ReadProcedureRecords(QUELVARI_EXAMPLES "/sample.PAD", records).ok());
    const std::string text = exchange::ExportText(records);
    std::ofstream(file("good.txt").toStdString(), std::ios::binary) << text;
    std::string bad = text;
    bad.replace(bad.find("time_factor = 200"), 17, "time_factor = -5");
    std::ofstream(file("bad.txt").toStdString(), std::ios::binary) << bad;

    MainWindow& w = shown(QString());
    // A refused text shows its line and leaves the procedure alone.
    QString box;
    test::ReadNextBox(box);
    EXPECT_FALSE(w.importTextPath(file("bad.txt")));
    EXPECT_TRUE(box.contains(QStringLiteral("time_factor"))) << box.toStdString();
    EXPECT_EQ(w.procedure().documentOpen, 0u);

    ASSERT_TRUE(w.importTextPath(file("good.txt")));
    EXPECT_EQ(w.procedure().componentCount, records.size());
    EXPECT_EQ(w.procedure().modified, 1u);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Quelvari - NoName.PAD*"));
    EXPECT_EQ(exchange::ExportText(exchange::ListRecords(w.procedure())),
              exchange::ExportText(records));

    // Export writes the procedure in memory, unsaved as it is; a path that
    // cannot be written is reported and leaves nothing behind.
    ASSERT_TRUE(w.exportTextPath(file("again.txt")));
    EXPECT_EQ(test::FileBytes(file("again.txt")).toStdString(),
              exchange::ExportText(records, "NoName.PAD"));
    test::ReadNextBox(box);
    EXPECT_FALSE(w.exportTextPath(file("no/such/dir.txt")));
    EXPECT_TRUE(box.contains(QStringLiteral("no/such/dir.txt"))) << box.toStdString();

    // The Variables panel lists the procedure in memory: Z2 is read by the
    // break at step 8 and written nowhere; its use leads to the step.
    w.variablesPanel()->show();
    QTreeWidget* tree = w.variablesPanel()->tree();
    const QList<QTreeWidgetItem*> z2 = tree->findItems(QStringLiteral("Z2"), Qt::MatchExactly);
    ASSERT_EQ(z2.size(), 1);
    EXPECT_EQ(z2[0]->text(1), QStringLiteral("8"));
    EXPECT_TRUE(z2[0]->text(2).isEmpty());
    ASSERT_EQ(z2[0]->childCount(), 1);
    EXPECT_EQ(w.procedure().currentNumber, 1u);
    emit tree->itemDoubleClicked(z2[0]->child(0), 1);
    EXPECT_EQ(w.procedure().currentNumber, 8u);
}

}  // namespace
}  // namespace quelvari::app
