#include "app/editor_extras.h"

#include <QAction>
#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QTimer>
#include <QToolBar>
#include <QTransform>

#include <algorithm>

#include "app/components/accessible_names.h"
#include "app/find_panel.h"
#include "app/lazy_panel.h"
#include "app/main_window.h"
#include "app/print/print_preview.h"
#include "app/procedure_view.h"
#include "app/qt_text.h"
#include "app/step_list.h"
#include "model/procedure_file.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

QString PathQt(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

// The undo icon turned round.
QIcon MirroredIcon(const QIcon& icon) {
    return QIcon(icon.pixmap(24, 24).transformed(QTransform().scale(-1, 1)));
}

// The action that follows `id` in `menu`, for inserting behind it.
QAction* ActionBehind(QMenu* menu, QAction* which) {
    const QList<QAction*> all = menu->actions();
    const auto at = all.indexOf(which);
    return at >= 0 && at + 1 < all.size() ? all[at + 1] : nullptr;
}

}  // namespace

EditorExtras::EditorExtras(MainWindow& window) : QObject(&window), window_(window) {
    setObjectName(QStringLiteral("editorExtras"));
    ProcedureList& list = window_.procedure();
    settings_ = ReadEditorSettings();

    // The step list beside the view, shown by default.
    stepList_ = new StepListDock(list, &window_);
    window_.addDockWidget(Qt::RightDockWidgetArea, stepList_);
    // The window grows by the list's width, as far as the screen allows, so
    // the view keeps its room.
    constexpr int kListWidth = 520;
    int width = window_.width() + kListWidth;
    if (const QScreen* screen = window_.screen())
        width = std::min(width, screen->availableGeometry().width());
    window_.resize(width, window_.height());
    window_.resizeDocks({stepList_}, {kListWidth}, Qt::Horizontal);
    stepList_->model()->onDrop = [this](std::vector<std::uint32_t> steps, std::uint32_t before) {
        moveTo(std::move(steps), before);
    };
    connect(stepList_, &StepListDock::currentStepChosen, this, [this] {
        window_.view()->update();
        window_.updateCommands();
    });
    connect(stepList_, &QDockWidget::visibilityChanged, this, [this](bool shown) {
        if (shown)
            sync();
    });
    connect(stepList_->view(), &StepListView::changeRequested, &window_, &MainWindow::editChange);
    connect(stepList_->view(), &StepListView::deleteRequested, &window_, &MainWindow::editDelete);
    connect(stepList_->view(), &QAbstractItemView::doubleClicked, &window_,
            &MainWindow::editChange);

    // The find panel below, shown by Ctrl+F.
    find_ = new LazyPanel(window_, Qt::BottomDockWidgetArea, [this] {
        auto* panel = new FindPanel(window_.procedure(), &window_);
        connect(panel, &FindPanel::stepChosen, this, [this] {
            window_.view()->update();
            window_.updateCommands();
        });
        return panel;
    });

    // Edit: Redo behind Undo, the moves behind Append, Find behind Go to.
    QMenu* edit = window_.menu(1);
    QAction* undo = window_.action(cmd::kUndo);
    QAction* redo = addAction(edit, ActionBehind(edit, undo), cmd::kRedo, &EditorExtras::redo);
    redo->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::Key_Y), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z)});
    redo->setIcon(MirroredIcon(undo->icon()));
    QAction* append = window_.action(cmd::kAppend);
    QAction* behindAppend = ActionBehind(edit, append);
    addAction(edit, behindAppend, cmd::kMoveUp, &EditorExtras::moveUp)
        ->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Up));
    addAction(edit, behindAppend, cmd::kMoveDown, &EditorExtras::moveDown)
        ->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Down));
    edit->addSeparator();
    addAction(edit, nullptr, cmd::kFind, &EditorExtras::find)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_F));
    addAction(edit, nullptr, cmd::kFindNext, &EditorExtras::findNext)
        ->setShortcut(QKeySequence(Qt::Key_F3));
    if (auto* tools = window_.findChild<QToolBar*>(QStringLiteral("toolBar"))) {
        const QList<QAction*> all = tools->actions();
        const auto at = all.indexOf(undo);
        tools->insertAction(at >= 0 && at + 1 < all.size() ? all[at + 1] : nullptr, redo);
    }

    // File: the preview behind Print, the recent files above Exit.
    QMenu* file = window_.menu(0);
    QAction* print = window_.action(cmd::kPrint);
    addAction(file, ActionBehind(file, print), cmd::kPrintPreview, &EditorExtras::printPreview);
    recentMenu_ = new QMenu(file);
    recentMenu_->setObjectName(QStringLiteral("recentFiles"));
    file->insertMenu(window_.action(cmd::kExit), recentMenu_);
    file->insertSeparator(window_.action(cmd::kExit));
    rebuildRecentMenu();

    // View: show or hide the two panels.
    QMenu* view = window_.menu(2);
    QAction* toggle = stepList_->toggleViewAction();
    toggle->setObjectName(QStringLiteral("command%1").arg(cmd::kStepList));
    view->addSeparator();
    view->addAction(toggle);
    view->addAction(find_);

    recoveryTimer_ = new QTimer(this);
    recoveryTimer_->setObjectName(QStringLiteral("recoveryTimer"));
    connect(recoveryTimer_, &QTimer::timeout, this, &EditorExtras::writeRecovery);

    // Every dialog of the program names its controls and orders its tabs.
    // The window labels the extras' items (retranslate) when it applies its
    // language.
    NameControlsOfEveryDialog();
}

QAction* EditorExtras::addAction(QMenu* menu, QAction* before, std::uint32_t id,
                                 void (EditorExtras::*slot)()) {
    auto* a = new QAction(menu);
    a->setData(id);
    a->setObjectName(QStringLiteral("command%1").arg(id));
    menu->insertAction(before, a);
    connect(a, &QAction::triggered, this, slot);
    actions_[id] = a;
    return a;
}

QAction* EditorExtras::action(std::uint32_t id) const {
    const auto it = actions_.find(id);
    return it == actions_.end() ? nullptr : it->second;
}

void EditorExtras::retranslate() {
    const std::pair<std::uint32_t, std::uint32_t> texts[] = {
        {cmd::kRedo, 60407}, {cmd::kMoveUp, 60408},   {cmd::kMoveDown, 60409},
        {cmd::kFind, 60410}, {cmd::kFindNext, 60411}, {cmd::kPrintPreview, 60412}};
    for (const auto& [id, text] : texts) {
        actions_[id]->setText(LangQt(text));
        QString tip = LangQt(text);
        tip.remove(QLatin1Char('&'));
        actions_[id]->setToolTip(tip);
    }
    recentMenu_->setTitle(LangQt(60413));
    stepList_->retranslate();
    find_->setText(LangQt(FindPanel::kTitle));
    if (find_->built())
        findPanel()->retranslate();
    window_.view()->setAccessibleName(LangQt(60423));
}

void EditorExtras::refreshRows() {
    if (stepList_->isVisible())
        stepList_->refreshNodes();
    else
        stepList_->model()->clear();
}

void EditorExtras::sync() {
    const ProcedureList& list = window_.procedure();
    if (stepList_->isVisible()) {
        stepList_->sync(reload_);
        reload_ = false;
    } else if (reload_) {
        // A hidden list does no work; it reads the steps when it is shown.
        stepList_->model()->clear();
    }
    if (findStale_) {
        if (find_->built())
            findPanel()->stepsChanged();
        findStale_ = false;
    }
    const CommandState state = window_.editCommands().state();
    for (const auto& [id, a] : actions_)
        a->setEnabled(CommandEnabled(id, state));
    // The title marks unsaved changes.
    QString title = PathQt(WindowTitle(list.documentPath));
    if (list.documentOpen && list.modified)
        title += QLatin1Char('*');
    if (window_.windowTitle() != title)
        window_.QMainWindow::setWindowTitle(title);
    // A recovery copy is written while there are unsaved changes.
    const bool unsaved = list.documentOpen && list.modified && settings_.recoveryMinutes > 0;
    if (unsaved && !recoveryTimer_->isActive())
        recoveryTimer_->start(settings_.recoveryMinutes * 60 * 1000);
    else if (!unsaved && recoveryTimer_->isActive())
        recoveryTimer_->stop();
}

std::vector<std::uint32_t> EditorExtras::selectedSteps() const {
    const ProcedureList& list = window_.procedure();
    auto steps =
        stepList_->isVisible() ? stepList_->view()->selectedSteps() : std::vector<std::uint32_t>{};
    if (steps.size() > 1 && list.documentOpen)
        return steps;
    if (list.documentOpen && list.componentCount != 0)
        return {list.currentNumber};
    return {};
}

void EditorExtras::redo() {
    window_.editCommands().redo();
    window_.updateCommands();
}

void EditorExtras::afterMove(const std::vector<std::uint32_t>& moved) {
    window_.updateCommands();
    if (!moved.empty())
        stepList_->selectSteps(moved);
}

void EditorExtras::moveUp() {
    afterMove(window_.editCommands().moveUp(selectedSteps()));
}

void EditorExtras::moveDown() {
    afterMove(window_.editCommands().moveDown(selectedSteps()));
}

void EditorExtras::moveTo(std::vector<std::uint32_t> steps, std::uint32_t before) {
    afterMove(window_.editCommands().moveTo(steps, before));
}

FindPanel* EditorExtras::findPanel() {
    return static_cast<FindPanel*>(find_->panel());
}

void EditorExtras::find() {
    FindPanel* panel = findPanel();
    const bool shown = panel->isVisible();
    panel->open();
    // Low at first, so the view keeps most of its height.
    if (!shown)
        window_.resizeDocks({panel}, {160}, Qt::Vertical);
}

void EditorExtras::findNext() {
    if (!find_->built() || findPanel()->field()->text().isEmpty()) {
        find();
        return;
    }
    if (!findPanel()->findNext())
        QApplication::beep();
}

void EditorExtras::printPreview() {
    PreviewProcedure(&window_, window_.procedure(), window_.printOption());
}

void EditorExtras::rebuildRecentMenu() {
    recentMenu_->clear();
    std::uint32_t id = cmd::kRecentFile;
    for (const std::string& path : settings_.recent) {
        QAction* a = recentMenu_->addAction(
            QStringLiteral("&%1 %2").arg(id - cmd::kRecentFile + 1).arg(PathQt(path)));
        a->setObjectName(QStringLiteral("command%1").arg(id++));
        const QString file = PathQt(path);
        connect(a, &QAction::triggered, &window_, [this, file] { window_.openPath(file); });
    }
    recentMenu_->setEnabled(!settings_.recent.empty());
}

void EditorExtras::fileUsed(const std::string& path) {
    if (path.empty())
        return;
    EditorSettings written;
    if (AddRecentFile(path, &written).ok())
        settings_.recent = written.recent;
    else
        PushRecentFile(settings_, path);  // shown for this session at least
    rebuildRecentMenu();
}

void EditorExtras::writeRecovery() {
    const ProcedureList& list = window_.procedure();
    if (list.documentOpen && list.modified)
        WriteRecovery(list);
}

void EditorExtras::dropRecovery() {
    RemoveRecovery();
}

void EditorExtras::offerRecovery() {
    const auto note = FindRecovery();
    if (!note)
        return;
    // The time as the program's language writes it.
    static const QLocale::Language kLocales[] = {QLocale::German, QLocale::English, QLocale::French,
                                                 QLocale::Italian};
    const QLocale locale(language() < 4 ? kLocales[language()] : QLocale::German);
    QString text = LangQt(60421);
    text.replace(
        text.indexOf(QStringLiteral("%s")), 2,
        locale.toString(QDateTime::fromSecsSinceEpoch(note->savedAt), QLocale::ShortFormat));
    text.replace(text.indexOf(QStringLiteral("%s")), 2, PathQt(note->originalPath));
    // A language change still pending (a new Qt translator) would reset the
    // box's buttons to Qt's texts: let it pass first.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
    QMessageBox box(QMessageBox::Question, LangQt(60422), text, QMessageBox::Yes | QMessageBox::No,
                    &window_);
    box.setObjectName(QStringLiteral("recoveryQuestion"));
    box.button(QMessageBox::Yes)->setText(LangQt(60425));
    box.button(QMessageBox::No)->setText(LangQt(60426));
    const bool restore = box.exec() == QMessageBox::Yes;
    if (restore) {
        ProcedureList& list = window_.procedure();
        if (loadProcedure(RecoveryProcedurePath(), list).ok()) {
            list.documentPath = note->originalPath;
            list.documentOpen = 1;
            list.modified = 1;
            list.currentNode = &list.procedureHead;
            list.currentNumber = 1;
            list.viewRecord = list.procedureHead.record;
            window_.editCommands().clearHistory();
            window_.setStatusCount(StatusCountText(list.componentCount));
            stepsChanged();
            window_.view()->update();
        }
    }
    RemoveRecovery();
    window_.updateCommands();
}

}  // namespace quelvari::app
