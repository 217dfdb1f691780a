// The editor window with a real QApplication: start state, the sample file,
// paging, Go to, the editing commands through their actions, a language
// switch and the save question on close.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

#include <functional>

#include "app/dialogs.h"
#include "app/main_window.h"
#include "app/procedure_view.h"
#include "model/config.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

const QString kSample = QStringLiteral(QUELVARI_EXAMPLES "/sample.PAD");

// Runs `step` on the next modal dialog once it is up (a dialog's exec()
// blocks the test until then).
void OnModal(std::function<void(QWidget*)> step) {
    auto* timer = new QTimer;
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, step] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        timer->stop();
        timer->deleteLater();
        step(modal);
    });
    timer->start();
}

// Presses the message box button whose role answers the question.
void Answer(QWidget* modal, QMessageBox::StandardButton which) {
    auto* box = qobject_cast<QMessageBox*>(modal);
    ASSERT_NE(box, nullptr);
    box->button(which)->click();
}

bool Enabled(MainWindow& w, std::uint32_t id) {
    return w.action(id)->isEnabled();
}

class EditorWindow : public ::testing::Test {
  protected:
    void SetUp() override {
        // German and standard print size for every test.
        QFile::remove(QString::fromStdString(GetConfigPaths().file));
        setLanguage(kGerman);
    }
    void TearDown() override {
        QFile::remove(QString::fromStdString(GetConfigPaths().file));
        setLanguage(kGerman);
    }
};

TEST_F(EditorWindow, StartsWithOnlyTheCommandsThatNeedNoProcedure) {
    MainWindow w;
    w.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
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
    const QStringList titles = {"Datei", "Bearbeiten", "Ansicht", "Prüfablauf", "Extras", "&?"};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(w.menu(i)->title(), titles[i]);
    EXPECT_EQ(w.helpFile(), "Quelvari-dt.hlp");
    // Syntax test and transfer only while nothing is open.
    w.fileNew();
    EXPECT_FALSE(Enabled(w, cmd::kSyntaxTest));
    EXPECT_FALSE(Enabled(w, cmd::kTransfer));
    EXPECT_TRUE(Enabled(w, cmd::kAppend));
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Quelvari - NoName.PAD"));
}

TEST_F(EditorWindow, OpensTheSamplePagesAndGoesToAStep) {
    MainWindow w;
    w.resize(1000, 1000 + 120);
    w.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
    w.openPath(kSample);
    ProcedureList& list = w.procedure();
    ASSERT_EQ(list.componentCount, 8u);
    EXPECT_EQ(w.countPane()->text(), QStringLiteral("8 Schritte"));
    EXPECT_TRUE(w.windowTitle().endsWith(QStringLiteral("sample.PAD")));
    EXPECT_TRUE(Enabled(w, cmd::kGoTo));
    EXPECT_TRUE(Enabled(w, cmd::kChange));
    EXPECT_TRUE(Enabled(w, cmd::kDescription));
    EXPECT_FALSE(Enabled(w, cmd::kSave));  // not modified yet
    EXPECT_TRUE(Enabled(w, cmd::kSaveAs));

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
    OnModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<GoToDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Wohin springen"));
        EXPECT_EQ(dialog->rangeLine()->text(), QStringLiteral("(1...8)"));
        dialog->numberField()->setText(QStringLiteral("0"));
        dialog->accept();
        dialog->numberField()->setText(QStringLiteral("9"));
        dialog->accept();
        stayedOpen = dialog->isVisible();
        dialog->numberField()->setText(QStringLiteral("6"));
        dialog->accept();
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
    OnModal([](QWidget* modal) { static_cast<QDialog*>(modal)->reject(); });
    QTest::mouseDClick(view, Qt::LeftButton, {}, view->pictureRect().center().toPoint());
    EXPECT_EQ(w.editCommands().undoStack().count(), 1u);
    EXPECT_EQ(list.viewRecord, before);
    EXPECT_TRUE(Enabled(w, cmd::kUndo));
}

TEST_F(EditorWindow, CopyInsertDeleteAndUndoThroughTheActions) {
    MainWindow w;
    w.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
    w.openPath(kSample);
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

    w.action(cmd::kDelete)->trigger();
    EXPECT_EQ(list.componentCount, 8u);
    EXPECT_TRUE(Enabled(w, cmd::kUndo));
    w.action(cmd::kUndo)->trigger();
    EXPECT_EQ(list.componentCount, 9u);
    EXPECT_FALSE(Enabled(w, cmd::kUndo));

    // Ctrl+X through the accelerator cuts the current step.
    w.view()->setFocus();
    QTest::keyClick(w.view(), Qt::Key_X, Qt::ControlModifier);
    EXPECT_EQ(list.componentCount, 8u);
    EXPECT_EQ(list.pastePending, 1u);

    // Close asks; Cancel keeps the window and the procedure.
    OnModal([](QWidget* modal) { Answer(modal, QMessageBox::Cancel); });
    EXPECT_FALSE(w.close());
    EXPECT_TRUE(w.isVisible());
    EXPECT_EQ(list.componentCount, 8u);
    OnModal([](QWidget* modal) { Answer(modal, QMessageBox::No); });
    EXPECT_TRUE(w.close());
    EXPECT_FALSE(w.isVisible());
}

TEST_F(EditorWindow, LanguageSwitchRelabelsMenusAndTheNextDialog) {
    MainWindow w;
    w.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
    w.openPath(kSample);
    OnModal([](QWidget* modal) {
        auto* dialog = qobject_cast<LanguageDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_TRUE(dialog->button(kGerman)->isChecked());
        dialog->button(kEnglish)->setChecked(true);
        dialog->accept();
    });
    w.action(cmd::kLanguage)->trigger();
    EXPECT_EQ(language(), static_cast<std::uint32_t>(kEnglish));
    EXPECT_EQ(w.menu(0)->title(), QStringLiteral("File"));
    EXPECT_EQ(w.menu(3)->title(), QStringLiteral("Test procedure"));
    EXPECT_EQ(w.action(cmd::kPaste)->text(), QStringLiteral("Paste"));
    EXPECT_EQ(w.helpFile(), "Quelvari-engl.hlp");
    EXPECT_EQ(w.countPane()->text(), QStringLiteral("8 Steps"));
    Configuration saved;
    ReadConfiguration(saved);
    EXPECT_EQ(saved.language, 1u);

    QString title, label;
    OnModal([&](QWidget* modal) {
        title = modal->windowTitle();
        static_cast<QDialog*>(modal)->reject();
    });
    w.action(cmd::kGoTo)->trigger();
    EXPECT_EQ(title, QStringLiteral("Goto"));

    // Cancel in the language dialog changes nothing.
    OnModal([](QWidget* modal) {
        static_cast<LanguageDialog*>(modal)->button(kItalian)->setChecked(true);
        static_cast<QDialog*>(modal)->reject();
    });
    w.action(cmd::kLanguage)->trigger();
    EXPECT_EQ(language(), static_cast<std::uint32_t>(kEnglish));

    // The settings dialog in English, and its OK writes the print size.
    OnModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<SettingsDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        title = dialog->windowTitle();
        label = dialog->extended()->text();
        EXPECT_TRUE(dialog->normal()->isChecked());
        dialog->extended()->setChecked(true);
        dialog->accept();
    });
    w.action(cmd::kSettings)->trigger();
    EXPECT_EQ(title, QStringLiteral("Options"));
    EXPECT_EQ(label, QStringLiteral("extended"));
    ReadConfiguration(saved);
    EXPECT_EQ(saved.language, 1u);
    EXPECT_EQ(saved.printSize, 1u);
    w.procedure().modified = 0;
}

TEST_F(EditorWindow, HelpOpensAtTheTopicOfTheCommand) {
    MainWindow w;
    w.action(cmd::kHelpQuickStart)->trigger();
    ASSERT_NE(w.helpWindow(), nullptr);
    EXPECT_TRUE(w.helpWindow()->isVisible());
    EXPECT_EQ(HelpPage(w.helpFile(), 700).toString(),
              QStringLiteral("qrc:/help/de/quickstart.html#quickstart"));
    // Italian's capitalised name opens the English help at its contents.
    EXPECT_EQ(HelpPage("QUELVARI-engl.hlp", 0).toString(),
              QStringLiteral("qrc:/help/en/index.html"));
    w.helpWindow()->showTopic("Quelvari-engl.hlp", 202);
    EXPECT_EQ(w.helpWindow()->browser()->source().toString(),
              QStringLiteral("qrc:/help/en/variables.html#variables"));
    EXPECT_TRUE(w.helpWindow()->browser()->toPlainText().contains(QStringLiteral("variable"),
                                                                  Qt::CaseInsensitive));
}

}  // namespace
}  // namespace quelvari::app
