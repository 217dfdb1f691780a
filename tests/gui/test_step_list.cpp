// The step list and what comes with it, in a real window: the list follows
// the view and the commands, several rows act together, dragging and the
// moves reorder, the title marks unsaved changes, Find jumps to steps, the
// recent files are remembered and a recovery copy is offered after a crash.
#include <QAction>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPrintPreviewWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTreeWidget>

#include "app/editor_extras.h"
#include "app/find_panel.h"
#include "app/print/print_preview.h"
#include "app/procedure_view.h"
#include "app/qt_text.h"
#include "app/step_list.h"
#include "components/catalogue.h"
#include "window_fixture.h"

namespace quelvari::app {
namespace {

using test::WhenModal;

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
        ASSERT_TRUE(QFile::copy(test::kSample, copy));
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
    w.action(cmd::kUndo)->trigger();
    w.action(cmd::kUndo)->trigger();
    w.action(cmd::kUndo)->trigger();
    EXPECT_EQ(Types(list), sample);
}

TEST_F(StepList, FindListsTheStepsAndJumpsToThem) {
    MainWindow& w = opened();
    ProcedureList& list = w.procedure();
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
    const QByteArray before = test::FileBytes(copy);
    w.procedure().goToStep(2);
    w.editDelete();
    EXPECT_TRUE(w.extras()->recoveryTimer()->isActive());
    w.extras()->writeRecovery();
    EXPECT_EQ(test::FileBytes(copy), before);
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

}  // namespace
}  // namespace quelvari::app
