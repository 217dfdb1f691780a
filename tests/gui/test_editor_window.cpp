// The editor window with a real QApplication: start state, the sample file,
// paging, Go to, the editing commands through their actions, a language
// switch, the save question on close, and the text form commands and the
// Variables panel. Then the step list and what comes with it: the list
// follows the view and the commands, several rows act together, dragging and
// the moves reorder, the title marks unsaved changes, Find jumps to steps, the
// recent files are remembered and a recovery copy is offered after a crash.
// Then what the window draws and opens from its resources: every component
// type has a drawing of its own, the icons and flags load, and every help
// context the program opens leads to an existing page and anchor in both help
// languages; and the picture decoder that turns pictures into the screen's
// pixels.
#include <sys/stat.h>

#include <QAction>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPrintPreviewWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSet>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QTreeWidget>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "app/dialogs.h"
#include "app/editor_extras.h"
#include "app/exchange/variables_panel.h"
#include "app/find_panel.h"
#include "app/main_window.h"
#include "app/print/print_preview.h"
#include "app/procedure_view.h"
#include "app/qt_text.h"
#include "app/step_list.h"
#include "components/catalogue.h"
#include "dialog_driver.h"
#include "exchange/procedure_text.h"
#include "model/procedure_file.h"
#include "render/picture_decoder.h"
#include "render/resources.h"
#include "texts/texts.h"

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

// The View menu's entry of the panel titled `title`.
QAction* PanelEntry(MainWindow& w, std::uint32_t title) {
    for (QAction* a : w.menu(2)->actions())
        if (Shown(a->text()) == LangQt(title))
            return a;
    return nullptr;
}

bool Enabled(MainWindow& w, std::uint32_t id) {
    return w.action(id)->isEnabled();
}

// Triggers the window's actions `ids` in turn.
void Trigger(MainWindow& w, std::initializer_list<std::uint32_t> ids) {
    for (std::uint32_t id : ids)
        w.action(id)->trigger();
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

    Trigger(w, {cmd::kCopy, cmd::kPaste});
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
    Trigger(w, {cmd::kCopy, cmd::kNew, cmd::kPaste});
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
    Trigger(w, {cmd::kCopy, cmd::kPaste, cmd::kSave});
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

    // The Variables panel, built when its View entry is first chosen, lists
    // the procedure in memory: Z2 is read by the break at step 8 and written
    // nowhere; its use leads to the step.
    EXPECT_EQ(w.findChild<VariablesPanel*>(), nullptr);
    ASSERT_NE(PanelEntry(w, VariablesPanel::kTitle), nullptr);
    PanelEntry(w, VariablesPanel::kTitle)->trigger();
    ASSERT_TRUE(w.variablesPanel()->isVisible());
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

std::string Types(const ProcedureList& list) {
    std::string out;
    std::uint32_t n = 0;
    for (const ComponentNode* node = &list.procedureHead; node && n < list.componentCount;
         node = node->next, ++n)
        out += static_cast<char>(node->record.typeCode());
    return out;
}

class StepList : public test::WindowTest {
  protected:
    void SetUp() override {
        WindowTest::SetUp();
        // A copy of the sample, so that saving touches nothing shared.
        ASSERT_TRUE(QFile::copy(kSample, copy));
        QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
    }
    MainWindow& opened() { return shown(copy); }
    QTemporaryDir dir;
    QString copy = dir.filePath(QStringLiteral("STEPS.PAD"));
};

TEST_F(StepList, FollowsTheViewAndTheCommandsAndActsOnSeveralRows) {
    MainWindow& w = opened();
    ProcedureList& list = w.procedure();
    StepListDock* dock = w.extras()->stepList();
    StepListView* rows = dock->view();
    ASSERT_TRUE(dock->isVisible());
    ASSERT_EQ(dock->model()->rowCount(), 8);
    const std::string sample = Types(list);
    EXPECT_EQ(dock->model()->index(1, StepListModel::Type).data().toString(),
              QStringLiteral("Messbaustein"));
    EXPECT_EQ(dock->model()->index(7, StepListModel::Input).data().toString(),
              QStringLiteral("Z1>=Z2"));
    EXPECT_FALSE(w.windowTitle().endsWith(QLatin1Char('*')));
    const QIcon icon =
        dock->model()->index(1, StepListModel::Type).data(Qt::DecorationRole).value<QIcon>();
    EXPECT_EQ(icon.pixmap(StepListModel::kIconSize).width(), StepListModel::kIconSize);
    // The rows show the steps in order, however the list was told of a change
    // (rows inserted, rows removed, or all read again).
    const auto rowsShowSteps = [&] {
        int row = 0;
        for (const ComponentNode* n = &list.procedureHead;
             n && row < static_cast<int>(list.componentCount); n = n->next, ++row)
            if (dock->model()->index(row, StepListModel::Type).data().toString() !=
                ToQt(TypeName(n->record)))
                return false;
        return row == dock->model()->rowCount();
    };

    // The view's paging chooses the row, and choosing a row pages the view.
    QTest::keyClick(w.view(), Qt::Key_PageDown);
    EXPECT_EQ(rows->currentIndex().row(), 1);
    rows->setFocus();
    QTest::keyClick(rows, Qt::Key_End);
    EXPECT_EQ(list.currentNumber, 8u);
    QTest::keyClick(rows, Qt::Key_Home);
    QTest::keyClick(rows, Qt::Key_Down);
    QTest::keyClick(rows, Qt::Key_Down);
    EXPECT_EQ(list.currentNumber, 3u);
    EXPECT_EQ(list.viewRecord.typeCode(), sample[2]);

    // Shift+Down adds step 4; the Delete key takes both as one command.
    QTest::keyClick(rows, Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(rows->selectedSteps(), (std::vector<std::uint32_t>{3, 4}));
    QTest::keyClick(rows, Qt::Key_Delete);
    EXPECT_TRUE(rowsShowSteps());
    EXPECT_EQ(Types(list), sample.substr(0, 2) + sample.substr(4));
    EXPECT_EQ(w.editCommands().undoStack().count(), 1u);
    EXPECT_TRUE(w.windowTitle().endsWith(QStringLiteral(".PAD*")));

    // Undo brings both back, Redo (Ctrl+Shift+Z, also Ctrl+Y) takes them again.
    w.action(cmd::kUndo)->trigger();
    EXPECT_EQ(Types(list), sample);
    EXPECT_TRUE(rowsShowSteps());
    QAction* redo = w.extras()->action(cmd::kRedo);
    EXPECT_TRUE(redo->isEnabled());
    EXPECT_TRUE(redo->shortcuts().contains(QKeySequence(Qt::CTRL | Qt::Key_Y)));
    QTest::keyClick(rows, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(list.componentCount, 6u);
    EXPECT_FALSE(redo->isEnabled());

    // Copy of two rows and Paste puts both in front of the current step.
    rows->selectionModel()->clearSelection();
    rows->setCurrentIndex(dock->model()->index(0, 0));
    QTest::keyClick(rows, Qt::Key_Down, Qt::ShiftModifier);
    w.action(cmd::kCopy)->trigger();
    rows->setCurrentIndex(dock->model()->index(5, 0));
    w.action(cmd::kPaste)->trigger();
    EXPECT_EQ(Types(list),
              sample.substr(0, 2) + sample.substr(4, 3) + sample.substr(0, 2) + sample.substr(7));
    EXPECT_TRUE(rowsShowSteps());

    // A hidden list reads the steps again when it is shown.
    dock->hide();
    w.editDelete();  // the view's step alone
    EXPECT_EQ(dock->model()->rowCount(), 0);
    dock->show();
    EXPECT_EQ(dock->model()->rowCount(), 7);
    EXPECT_EQ(rows->currentIndex().row(), static_cast<int>(list.currentNumber) - 1);
}

TEST_F(StepList, DragAndTheMoveCommandsReorderAsOneUndoableCommand) {
    MainWindow& w = opened();
    ProcedureList& list = w.procedure();
    StepListDock* dock = w.extras()->stepList();
    const std::string sample = Types(list);

    // Dropping rows 1 and 2 in front of row 5 moves them there.
    QModelIndexList dragged = {dock->model()->index(0, 0), dock->model()->index(1, 0)};
    std::unique_ptr<QMimeData> data(dock->model()->mimeData(dragged));
    EXPECT_FALSE(dock->model()->dropMimeData(data.get(), Qt::MoveAction, 4, 0, {}));
    QTRY_COMPARE(list.modified, 1u);
    EXPECT_EQ(Types(list), sample.substr(2, 2) + sample.substr(0, 2) + sample.substr(4));
    EXPECT_EQ(dock->view()->selectedSteps(), (std::vector<std::uint32_t>{3, 4}));
    EXPECT_EQ(w.editCommands().undoStack().slot(0).commandId, cmd::kMove);

    // Alt+Down moves the chosen pair one further, Alt+Up back; Undo restores all.
    dock->view()->setFocus();
    QTest::keyClick(dock->view(), Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(Types(list), sample.substr(2, 3) + sample.substr(0, 2) + sample.substr(5));
    EXPECT_EQ(dock->view()->selectedSteps(), (std::vector<std::uint32_t>{4, 5}));
    QTest::keyClick(dock->view(), Qt::Key_Up, Qt::AltModifier);
    Trigger(w, {cmd::kUndo, cmd::kUndo, cmd::kUndo});
    EXPECT_EQ(Types(list), sample);
}

TEST_F(StepList, FindListsTheStepsAndJumpsToThem) {
    MainWindow& w = opened();
    ProcedureList& list = w.procedure();
    // Built the first time it is wanted; its View entry follows it.
    EXPECT_EQ(w.findChild<FindPanel*>(), nullptr);
    QAction* entry = PanelEntry(w, FindPanel::kTitle);
    ASSERT_NE(entry, nullptr);
    FindPanel* find = w.extras()->findPanel();
    // Types `text` into the field as a new search and returns the hits.
    const auto search = [find](const QString& text) {
        find->field()->clear();
        QTest::keyClicks(find->field(), text);
        QTest::keyClick(find->field(), Qt::Key_Return);
        return find->results()->topLevelItemCount();
    };
    EXPECT_FALSE(find->isVisible());
    w.extras()->action(cmd::kFind)->trigger();
    EXPECT_TRUE(find->isVisible());
    EXPECT_TRUE(entry->isChecked());
    EXPECT_EQ(search(QStringLiteral("baustein")), 8);  // every type name ends so
    ASSERT_GE(search(QStringLiteral("z2")), 1);
    const std::uint32_t first = find->hits().front().step;
    QTest::mouseClick(find->results()->viewport(), Qt::LeftButton, {},
                      find->results()->visualItemRect(find->results()->topLevelItem(0)).center());
    EXPECT_EQ(list.currentNumber, first);
    EXPECT_EQ(w.extras()->stepList()->view()->currentIndex().row(), static_cast<int>(first) - 1);
    // F3 goes to the next hit behind the current step, round from the last.
    search(QStringLiteral("baustein"));
    list.goToStep(3);
    w.extras()->action(cmd::kFindNext)->trigger();
    EXPECT_EQ(list.currentNumber, 4u);
    list.goToStep(8);
    w.extras()->action(cmd::kFindNext)->trigger();
    EXPECT_EQ(list.currentNumber, 1u);
    // The hits follow a change to the steps.
    list.goToStep(1);
    w.editDelete();
    EXPECT_EQ(find->results()->topLevelItemCount(), 7);
    EXPECT_EQ(search(QStringLiteral("nirgends")), 0);
    find->close();
    EXPECT_FALSE(entry->isChecked());
}

TEST_F(StepList, PrintPreviewFromTheFileMenuAndThePrintDialog) {
    MainWindow& w = opened();
    int previews = 0, pages = 0;
    SetPreviewSeam([&](QWidget* dialog) {
        ++previews;
        auto* preview = dialog->findChild<QPrintPreviewWidget*>();
        ASSERT_NE(preview, nullptr);
        preview->updatePreview();
        pages = preview->pageCount();
    });
    w.extras()->action(cmd::kPrintPreview)->trigger();
    EXPECT_EQ(previews, 1);
    EXPECT_GE(pages, 1);

    // The print dialog's Preview button shows the same pages; the dialog
    // stays open for printing.
    pages = 0;
    bool stillOpen = false;
    WhenModal([&](QWidget* modal) {
        auto* button = modal->findChild<QPushButton*>(QStringLiteral("previewButton"));
        EXPECT_NE(button, nullptr);
        if (button)
            button->click();
        stillOpen = modal->isVisible();
        modal->close();
    });
    w.action(cmd::kPrint)->trigger();
    SetPreviewSeam({});
    EXPECT_EQ(previews, 2);
    EXPECT_GE(pages, 1);
    EXPECT_TRUE(stillOpen);
}

TEST_F(StepList, RecentFilesAndTheRecoveryCopy) {
    MainWindow& w = opened();
    const EditorSettings saved = ReadEditorSettings();
    ASSERT_EQ(saved.recent.size(), 1u);
    EXPECT_EQ(saved.recent[0], QFile::encodeName(copy).toStdString());
    QMenu* recent = w.extras()->recentMenu();
    ASSERT_EQ(recent->actions().size(), 1);
    EXPECT_TRUE(recent->actions()[0]->text().endsWith(copy));

    // Unsaved changes start the timer; its work writes the copy, never over
    // the user's file.
    const QByteArray before = FileBytes(copy);
    w.procedure().goToStep(2);
    w.editDelete();
    EXPECT_TRUE(w.extras()->recoveryTimer()->isActive());
    w.extras()->writeRecovery();
    EXPECT_EQ(FileBytes(copy), before);
    ASSERT_TRUE(FindRecovery().has_value());
    // The window is left without the clean exit, as after a crash.
    w.procedure().modified = 0;
    window.reset();

    MainWindow& next = window.emplace();
    next.show();
    QString question;
    WhenModal([&](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        ASSERT_NE(box, nullptr);
        question = box->text() + box->button(QMessageBox::Yes)->text();
        box->button(QMessageBox::Yes)->click();
    });
    next.extras()->offerRecovery();
    EXPECT_TRUE(question.contains(copy)) << question.toStdString();
    EXPECT_TRUE(question.endsWith(QStringLiteral("Wiederherstellen"))) << question.toStdString();
    const ProcedureList& list = next.procedure();
    EXPECT_EQ(list.componentCount, 7u);
    EXPECT_EQ(list.documentPath, QFile::encodeName(copy).toStdString());
    EXPECT_EQ(list.modified, 1u);
    EXPECT_EQ(next.extras()->stepList()->model()->rowCount(), 7);
    EXPECT_TRUE(next.windowTitle().endsWith(QLatin1Char('*')));
    EXPECT_FALSE(FindRecovery().has_value());  // gone once the user chose
}

QImage Draw(const QString& path, int size, int height = 0) {
    QImage image(size, height ? height : size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QSvgRenderer svg(path);
    QPainter painter(&image);
    svg.render(&painter);
    return image;
}

int OpaquePixels(const QImage& image) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            n += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
    return n;
}

QString ReadAll(const QString& path) {
    return QString::fromUtf8(FileBytes(path));
}

class RenderResources : public ::testing::Test {
  protected:
    void SetUp() override { render::InitResources(); }
};

TEST_F(RenderResources, EveryComponentTypeHasItsOwnLegibleCachedPicture) {
    const QString unknown = render::PicturePath(kUnknownPictureId);
    ASSERT_TRUE(QSvgRenderer(unknown).isValid());

    // The view draws each picture from an image rendered from its SVG.
    const auto image = [](std::uint16_t id, int size = 48, double ratio = 1.0) {
        return render::PictureImage(id, QSize(size, size), ratio);
    };
    QList<QImage> drawings{image(kUnknownPictureId)};
    for (const ComponentType& type : kCatalogue) {
        SCOPED_TRACE(type.key);
        const QString path = render::PicturePath(type.pictureId);
        EXPECT_TRUE(QSvgRenderer(path).isValid());
        const QImage drawing = image(type.pictureId);
        const int opaque = OpaquePixels(Draw(path, 48));
        EXPECT_NEAR(OpaquePixels(drawing), opaque, opaque / 50 + 1);
        // Something is drawn, and not merely the same tile as another type.
        EXPECT_GT(opaque, 48 * 48 / 2);
        for (const QImage& other : drawings)
            EXPECT_NE(drawing, other) << "looks the same as another type";
        drawings.append(drawing);
        // The step list's picture: the same drawing, rendered at build time
        // for the ratios 1 to 3.
        for (int ratio : {1, 2, 3}) {
            const QImage listed = render::ListPicture(type.pictureId, ratio);
            EXPECT_EQ(listed.devicePixelRatio(), ratio);
            EXPECT_EQ(listed, image(type.pictureId, render::kListPictureSize * ratio, ratio));
        }
    }
    // Exactly these pictures, each of its own file, are compiled in: no
    // orphan and no gap.
    EXPECT_EQ(QDir(":/pictures").entryList().size(), static_cast<int>(kComponentTypeCount + 1));

    // An id without a drawing falls back to the unknown picture.
    for (int id : {0, 1, 139, 158, 220, 65535}) {
        EXPECT_EQ(render::PicturePath(static_cast<std::uint16_t>(id)), unknown) << id;
        EXPECT_EQ(image(static_cast<std::uint16_t>(id)), drawings.front()) << id;
        EXPECT_EQ(render::ListPicture(static_cast<std::uint16_t>(id), 1),
                  render::ListPicture(kUnknownPictureId, 1));
    }

    // The images are cached per picture, size and device pixel ratio.
    const std::uint16_t id = kCatalogue[0].pictureId;
    EXPECT_EQ(image(id).cacheKey(), image(id).cacheKey());
    const QImage sharp = image(id, 120, 2.0);
    EXPECT_EQ(sharp.size(), QSize(120, 120));
    EXPECT_EQ(sharp.devicePixelRatio(), 2.0);
    EXPECT_NE(sharp.cacheKey(), image(id, 120).cacheKey());
    EXPECT_TRUE(image(id, 0).isNull());
    // A ratio nothing was baked for renders at its size.
    EXPECT_EQ(render::ListPicture(id, 1.5).size(), QSize(24, 24));
}

TEST_F(RenderResources, IconsAndFlagsLoad) {
    const QStringList names{"new",    "open",   "save",        "cut",       "copy",     "paste",
                            "undo",   "print",  "syntax-test", "pre-check", "transfer", "help",
                            "append", "insert", "change",      "delete",    "goto",     "quelvari"};
    QSet<QString> seen;
    for (const QString& name : names) {
        SCOPED_TRACE(name.toStdString());
        const QIcon icon = render::Icon(name);
        ASSERT_FALSE(icon.isNull());
        const QImage image = icon.pixmap(24, 24).toImage();
        EXPECT_GT(OpaquePixels(image), 24);
        // Rendered at build time for screens of ratio 1, 2 and 3, each the
        // drawing of its SVG.
        for (int scale : {1, 2, 3}) {
            const QImage baked = render::BakedIcon(name, scale);
            EXPECT_EQ(baked.width(), 24 * scale);
            EXPECT_EQ(baked.devicePixelRatio(), scale);
            EXPECT_EQ(OpaquePixels(baked), OpaquePixels(Draw(QString(":/icons/%1.svg").arg(name),
                                                             24 * scale, 24 * scale)));
        }
        // The screen's ratio is 1 here: the icon holds the baked 24-pixel image.
        EXPECT_EQ(image.convertToFormat(QImage::Format_ARGB32_Premultiplied),
                  render::BakedIcon(name, 1));
        seen.insert(ReadAll(QString(":/icons/%1.svg").arg(name)));
    }
    EXPECT_EQ(seen.size(), names.size()) << "two icons share one drawing";
    EXPECT_TRUE(render::Icon("no-such-icon").isNull());
    EXPECT_TRUE(render::Icon("").isNull());

    // A flag fills its whole rectangle.
    for (std::uint32_t lang = 0; lang < 4; ++lang)
        EXPECT_EQ(OpaquePixels(Draw(render::FlagPath(lang), 30, 20)), 30 * 20) << lang;
    EXPECT_TRUE(render::FlagPath(4).isEmpty());
}

// The anchors a page defines (id="..." or name="...").
QSet<QString> Anchors(const QString& html) {
    QSet<QString> anchors;
    static const QRegularExpression re(R"re((?:id|name)="([^"]+)")re");
    for (const auto& m : re.globalMatch(html))
        anchors.insert(m.captured(1));
    return anchors;
}

TEST_F(RenderResources, EveryHelpContextOpensAnExistingPageAndAnchor) {
    using namespace render;
    const std::uint32_t contexts[] = {
        kHelpContents,        kHelpFile,      kHelpEdit,      kHelpProcedure,
        kHelpQuickStart,      kHelpSelection, kHelpVariables, kHelpCommandComponent,
        kHelpPictureComponent};
    // No help file (a language outside 0..3) or a foreign one: no help.
    EXPECT_TRUE(HelpUrl("", kHelpVariables).isEmpty());
    EXPECT_TRUE(HelpFolder("other.hlp").isEmpty());
    // Italian's name is the English one in capitals: the English help.
    EXPECT_EQ(HelpUrl("QUELVARI-engl.hlp", kHelpContents).toString(), "qrc:/help/en/index.html");
    for (const char* helpFile : {"Quelvari-dt.hlp", "Quelvari-engl.hlp", "QUELVARI-engl.hlp"}) {
        std::set<QString> pages;
        for (std::uint32_t context : contexts) {
            SCOPED_TRACE(std::string(helpFile) + " " + std::to_string(context));
            const QUrl url = HelpUrl(helpFile, context);
            ASSERT_EQ(url.scheme(), "qrc");
            const QString html = ReadAll(":" + url.path());
            ASSERT_FALSE(html.isEmpty()) << url.toString().toStdString();
            if (url.hasFragment()) {
                EXPECT_TRUE(Anchors(html).contains(url.fragment())) << url.toString().toStdString();
            }
            pages.insert(url.toString());
        }
        // Every context has a place of its own.
        EXPECT_EQ(pages.size(), std::size(contexts));
        // The Help button of every component dialog opens its type's own
        // section on the types page.
        std::set<QString> sections;
        const QString types = ReadAll(":" + ComponentHelpUrl(helpFile, "time").path());
        for (const ComponentType& type : kCatalogue) {
            const QUrl url = HelpUrl(helpFile, type.dialogId);
            EXPECT_EQ(url, ComponentHelpUrl(helpFile, type.key)) << type.key;
            EXPECT_TRUE(Anchors(types).contains(url.fragment())) << type.key;
            sections.insert(url.toString());
        }
        EXPECT_EQ(sections.size(), kComponentTypeCount);
        for (std::uint32_t interbusFunction :
             {kInterbusCycleDialog, kInterbusInitialiseDialog, kInterbusResetDialog})
            EXPECT_EQ(HelpUrl(helpFile, interbusFunction), ComponentHelpUrl(helpFile, "interbus"));
        // A context the program never uses opens the contents page.
        EXPECT_EQ(HelpUrl(helpFile, 4711), HelpUrl(helpFile, kHelpContents));
    }
}

TEST_F(RenderResources, HelpPagesLinkOnlyToPagesAndAnchorsThatExist) {
    const QStringList de = QDir(":/help/de").entryList(QDir::Files, QDir::Name);
    const QStringList en = QDir(":/help/en").entryList(QDir::Files, QDir::Name);
    EXPECT_EQ(de, en) << "both languages hold the same pages";
    ASSERT_TRUE(de.contains("index.html"));
    static const QRegularExpression href(R"re(href="([^"]*)")re");
    static const QRegularExpression img(R"re(<img src="([^"]*)")re");
    for (const char* lang : {"de", "en"}) {
        const QString folder = QString(":/help/%1/").arg(lang);
        for (const QString& page : QDir(folder).entryList(QDir::Files)) {
            SCOPED_TRACE((folder + page).toStdString());
            const QString html = ReadAll(folder + page);
            EXPECT_TRUE(html.contains("<title>"));
            for (const auto& m : href.globalMatch(html)) {
                const QString target = m.captured(1);
                const QString file = target.section('#', 0, 0);
                const QString anchor = target.section('#', 1);
                const QString linked = file.isEmpty() ? html : ReadAll(folder + file);
                EXPECT_FALSE(linked.isEmpty()) << "broken link " << target.toStdString();
                if (!anchor.isEmpty()) {
                    EXPECT_TRUE(Anchors(linked).contains(anchor))
                        << "missing anchor " << target.toStdString();
                }
            }
            // Pictures are referred to relative to the page, as the help
            // browser resolves them.
            for (const auto& m : img.globalMatch(html)) {
                const QString path = QDir::cleanPath(folder + m.captured(1));
                EXPECT_TRUE(QSvgRenderer(path).isValid()) << path.toStdString();
            }
        }
    }
}

TEST(PictureDecoder, ScalesLargePicturesIntoTheScreenAndRefusesOthers) {
    QTemporaryDir tmp;
    const auto path = [&](const char* name) { return tmp.filePath(name).toStdString(); };
    QImage wide(800, 200, QImage::Format_RGB32);
    wide.fill(QColor(0, 0, 255));
    ASSERT_TRUE(wide.save(tmp.filePath("wide.bmp"), "BMP"));
    QImage small(10, 20, QImage::Format_RGB32);
    small.fill(QColor(0, 255, 0));
    ASSERT_TRUE(small.save(tmp.filePath("small.jpg"), "JPG"));
    std::ofstream(path("broken.bmp")) << "BM not a picture";

    render::DecodedPicture p;
    ASSERT_TRUE(render::DecodePicture(path("wide.bmp"), 400, 300, p));
    EXPECT_EQ(p.width, 400);  // proportions kept: 800 x 200 becomes 400 x 100
    EXPECT_EQ(p.height, 100);
    ASSERT_EQ(p.rgb.size(), 3u * 400 * 100);
    EXPECT_EQ(p.rgb[2], 255);  // blue

    ASSERT_TRUE(render::DecodePicture(path("small.jpg"), 400, 300, p));
    EXPECT_EQ(p.width, 10);  // small pictures stay as they are
    EXPECT_EQ(p.height, 20);
    EXPECT_GT(p.rgb[1], 200);

    EXPECT_FALSE(render::DecodePicture(path("broken.bmp"), 400, 300, p));
    EXPECT_FALSE(render::DecodePicture(path("missing.bmp"), 400, 300, p));

    // BMP headers of 54 bytes, 24 bits a pixel.
    auto bmp = [](std::int32_t width, std::int32_t height) {
        std::string b = "BM";
        auto u32 = [&b](std::uint32_t v) {
            for (int i = 0; i < 4; ++i)
                b += static_cast<char>(v >> (8 * i));
        };
        u32(120), u32(0), u32(54), u32(40), u32(static_cast<std::uint32_t>(width));
        u32(static_cast<std::uint32_t>(height));
        b += std::string("\x01\x00\x18\x00", 4);  // one plane, 24 bits
        u32(0), u32(0), u32(2835), u32(2835), u32(0), u32(0);
        return b;
    };
    // One that claims 100,000 x 100,000 pixels (bottom up or top down) in a
    // file of 120 bytes: refused before any pixel memory is taken.
    for (const std::int32_t height : {100000, -100000}) {
        std::string huge = bmp(100000, height);
        huge.resize(120, '\x7f');
        EXPECT_FALSE(render::DecodePictureData(huge, 400, 300, p)) << height;
    }
    // A 4 x 4 picture cut after its first (bottom) row: the rows the file
    // does not hold are black, whatever the memory held before.
    std::string cut = bmp(4, 4) + std::string(12, '\x50');
    for (int round = 0; round < 2; ++round) {
        std::vector<char*> junk;  // leaves freed memory full of 0xAB
        for (int i = 0; i < 64; ++i)
            junk.push_back(static_cast<char*>(std::memset(std::malloc(64), 0xAB, 64)));
        for (char* j : junk)
            std::free(j);
        ASSERT_TRUE(render::DecodePictureData(cut, 400, 300, p));
        ASSERT_EQ(p.rgb.size(), 3u * 4 * 4);
        EXPECT_EQ(p.rgb[3 * 4 * 3], 0x50);  // the bottom row
        EXPECT_EQ(std::count(p.rgb.begin(), p.rgb.begin() + 3 * 4 * 3, 0), 3 * 4 * 3);
    }
    // A FIFO, /dev/zero and a directory named as a picture: refused unread.
    ASSERT_EQ(::mkfifo(path("fifo.bmp").c_str(), 0600), 0);
    for (const std::string& bad : {path("fifo.bmp"), std::string("/dev/zero"), path("")})
        EXPECT_FALSE(render::DecodePicture(bad, 400, 300, p)) << bad;
}

}  // namespace
}  // namespace quelvari::app
