#include "app/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLibraryInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QTranslator>

#include <functional>
#include <vector>

#include "app/check/syntax_test_dialog.h"
#include "app/components/component_dialogs.h"
#include "app/components/desktop_hooks.h"
#include "app/describe/description_dialog.h"
#include "app/dialogs.h"
#include "app/editor_extras.h"
#include "app/exchange/variables_panel.h"
#include "app/help_window.h"
#include "app/lazy_panel.h"
#include "app/link/link_settings_dialog.h"
#include "app/print/printing.h"
#include "app/procedure_view.h"
#include "app/qt_text.h"
#include "app/transfer/transfer_dialog.h"
#include "render/resources.h"
#include "texts/dialog_labels.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

// "Name (*.PAD)|*.PAD|...||" as Qt's "Name (*.PAD);;...".
QString QtFilter(const std::string& filter) {
    const QStringList parts = ToQt(filter).split(QLatin1Char('|'));
    QStringList names;
    for (int i = 0; i + 1 < parts.size(); i += 2)
        if (!parts[i].isEmpty())
            names << parts[i];
    return names.join(QStringLiteral(";;"));
}

// Texts for the window title and questions that carry a path: paths are in
// the file system's encoding (UTF-8), table texts in Windows-1252.
QString PathText(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

// The question of the overwrite check is "<path>\n<text 3138>".
QString QuestionText(const std::string& text) {
    const auto cut = text.rfind('\n');
    if (cut == std::string::npos)
        return ToQt(text);
    return PathText(text.substr(0, cut)) + QLatin1Char('\n') + ToQt(text.substr(cut + 1));
}

QIcon CommandIcon(const char* name, QStyle::StandardPixmap fallback, QStyle* style) {
    const QIcon icon = render::Icon(QString::fromLatin1(name));
    return icon.isNull() ? style->standardIcon(fallback) : icon;
}

Answer ToAnswer(int button) {
    switch (button) {
        case QMessageBox::Yes:
            return Answer::Yes;
        case QMessageBox::No:
            return Answer::No;
        default:
            return Answer::Cancel;
    }
}

// Qt's own texts (file chooser, print dialogs, standard buttons) in the
// program's language, from Qt's translations; English takes Qt's built-in
// texts, values other than 1 to 3 German (as the text tables do).
void InstallQtTranslations(std::uint32_t lang) {
    static QTranslator* installed = nullptr;
    static const char* const kLocales[] = {"de", "en", "fr", "it"};
    if (installed) {
        QCoreApplication::removeTranslator(installed);
        delete installed;
        installed = nullptr;
    }
    const char* locale = lang < 4 ? kLocales[lang] : "de";
    auto* translator = new QTranslator;
    if (translator->load(QStringLiteral("qtbase_") + QLatin1String(locale),
                         QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(translator);
        installed = translator;
    } else {
        delete translator;
    }
}

// The save and overwrite questions. German keeps the built-in "Ja" / "Nein";
// the other languages take their table texts. A language change (a new Qt
// translator) resets a message box's standard buttons to Qt's texts, so the
// labels are set again after the box has handled it.
class Question : public QMessageBox {
  public:
    Question(QWidget* parent, const QString& text, bool withCancel)
        : QMessageBox(QMessageBox::Warning, QString(), text,
                      withCancel ? Yes | No | Cancel : Yes | No, parent) {
        label();
    }

  protected:
    bool event(QEvent* e) override {
        const bool handled = QMessageBox::event(e);
        if (e->type() == QEvent::LanguageChange)
            label();
        return handled;
    }

  private:
    void label() {
        button(Yes)->setText(ToQt(ControlText(window_text::kYes)));
        button(No)->setText(ToQt(ControlText(window_text::kNo)));
        if (QAbstractButton* cancel = button(Cancel))
            cancel->setText(LangQt(window_text::kCancel));
    }
};

Answer Ask(QWidget* parent, const QString& text, bool withCancel) {
    Question box(parent, text, withCancel);
    return ToAnswer(box.exec());
}

}  // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    render::InitResources();
    setObjectName(QStringLiteral("QuelvariMainWindow"));
    view_ = new ProcedureView(list_, edits_, this);
    setCentralWidget(view_);
    connect(view_, &ProcedureView::commandRan, this, &MainWindow::updateCommands);

    countPane_ = new QLabel(QStringLiteral(" "), this);
    countPane_->setMinimumWidth(120);
    statusBar()->addPermanentWidget(countPane_);
    variables_ = new LazyPanel(*this, Qt::RightDockWidgetArea, [this] {
        auto* panel = new VariablesPanel(list_, this);
        connect(panel, &VariablesPanel::stepActivated, this, &MainWindow::goToVariableStep);
        return panel;
    });
    buildMenus();

    // The program directory from the command line in its Windows form: the
    // quoted program path and the arguments. The program runs as
    // "quelvari" here, which is the fourth name tried, matched only where
    // the quoted program path ends.
    QString line = QLatin1Char('"') + QCoreApplication::applicationFilePath() + QLatin1Char('"');
    for (const QString& arg : QCoreApplication::arguments().mid(1))
        line += QLatin1Char(' ') + arg;
    auto names = ProgramFileNames();
    names.push_back("quelvari\"");
    programDir_ = ProgramDirectory(line.toStdString(), names);

    EnsureConfigDirectories();
    ReadConfiguration(config_);
    setLanguage(config_.language);

    // The Help buttons of the component dialogs open this window's help.
    uiHooks().help = [this](QWidget* from, std::uint32_t context) {
        ShowHelpBeside(help_, this, from, helpFile_, context);
    };

    QMainWindow::setWindowTitle(QString::fromLatin1(kProductName));
    resize(1000, 720);
    extras_ = new EditorExtras(*this);
    // Labels every menu item, the extras' too, assigns the mnemonics and
    // enables the commands.
    applyLanguage();
}

VariablesPanel* MainWindow::variablesPanel() {
    return static_cast<VariablesPanel*>(variables_->panel());
}

MainWindow::~MainWindow() {
    ResetUiHooks();
}

QAction* MainWindow::addCommand(QMenu* menu, std::uint32_t id, const QString& text,
                                void (MainWindow::*slot)()) {
    auto* action = menu->addAction(text);
    action->setData(id);
    action->setObjectName(QStringLiteral("command%1").arg(id));
    if (slot)
        connect(action, &QAction::triggered, this, slot);
    actions_[id] = action;
    return action;
}

void MainWindow::buildMenus() {
    QStyle* st = style();
    QMenuBar* bar = menuBar();
    // German resource texts; ApplyLanguage relabels them from the tables.
    menus_[0] = bar->addMenu(QStringLiteral("&Datei"));
    addCommand(menus_[0], cmd::kNew, QStringLiteral("&Neu"), &MainWindow::fileNew);
    addCommand(menus_[0], cmd::kOpen, QStringLiteral("Ö&ffnen"), &MainWindow::fileOpen);
    addCommand(menus_[0], cmd::kClose, QStringLiteral("&Schließen"), &MainWindow::fileClose);
    addCommand(menus_[0], cmd::kSave, QStringLiteral("Speichern"), &MainWindow::fileSave);
    addCommand(menus_[0], cmd::kSaveAs, QStringLiteral("Speichern unter"), &MainWindow::fileSaveAs);
    menus_[0]->addSeparator();
    // Text form: not commands of the resource menu, labelled from the own texts.
    exportText_ = menus_[0]->addAction(LangQt(60600), this, &MainWindow::fileExportText);
    importText_ = menus_[0]->addAction(LangQt(60601), this, &MainWindow::fileImportText);
    menus_[0]->addSeparator();
    addCommand(menus_[0], cmd::kPrintSetup, QStringLiteral("Drucker &einrichten"),
               &MainWindow::filePrintSetup);
    addCommand(menus_[0], cmd::kPrint, QStringLiteral("&Drucken"), &MainWindow::filePrint);
    menus_[0]->addSeparator();
    addCommand(menus_[0], cmd::kExit, QStringLiteral("&Beenden"), nullptr);
    connect(actions_[cmd::kExit], &QAction::triggered, this, &QWidget::close);

    menus_[1] = bar->addMenu(QStringLiteral("&Bearbeiten"));
    addCommand(menus_[1], cmd::kUndo, QStringLiteral("&Rückgängig\tStrg+Z"), &MainWindow::editUndo);
    menus_[1]->addSeparator();
    addCommand(menus_[1], cmd::kCut, QStringLiteral("&Ausschneiden\tStrg+X"), &MainWindow::editCut);
    addCommand(menus_[1], cmd::kCopy, QStringLiteral("&Kopieren\tStrg+C"), &MainWindow::editCopy);
    addCommand(menus_[1], cmd::kPaste, QStringLiteral("E&infügen\tStrg+V"), &MainWindow::editPaste);
    menus_[1]->addSeparator();
    addCommand(menus_[1], cmd::kChange, QStringLiteral("Ä&ndern"), &MainWindow::editChange);
    addCommand(menus_[1], cmd::kDelete, QStringLiteral("&Löschen"), &MainWindow::editDelete);
    addCommand(menus_[1], cmd::kAppend, QStringLiteral("Anfügen"), &MainWindow::editAppend);
    menus_[1]->addSeparator();
    addCommand(menus_[1], cmd::kGoTo, QStringLiteral("Gehe zu"), &MainWindow::editGoTo);
    addCommand(menus_[1], cmd::kPreCheck, QStringLiteral("Vorprüfung"),
               &MainWindow::procedurePreCheck);

    menus_[2] = bar->addMenu(QStringLiteral("&Ansicht"));
    QAction* tools = addCommand(menus_[2], cmd::kToolBar, QStringLiteral("&Symbolleiste"), nullptr);
    QAction* status =
        addCommand(menus_[2], cmd::kStatusBar, QStringLiteral("S&tatusleiste"), nullptr);
    tools->setCheckable(true);
    status->setCheckable(true);
    tools->setChecked(true);
    status->setChecked(true);
    menus_[2]->addAction(variables_);

    menus_[3] = bar->addMenu(QStringLiteral("Prüfablauf"));
    addCommand(menus_[3], cmd::kSyntaxTest, QStringLiteral("&Syntaxtest"),
               &MainWindow::procedureSyntaxTest);
    addCommand(menus_[3], cmd::kTransfer, QStringLiteral("&Transfer zum Meßgerät"),
               &MainWindow::procedureTransfer);
    menus_[3]->addSeparator();
    addCommand(menus_[3], cmd::kDescription, QStringLiteral("Beschreibung Prüfablauf"),
               &MainWindow::procedureDescription);

    menus_[4] = bar->addMenu(QStringLiteral("&Extras"));
    addCommand(menus_[4], cmd::kLanguage, QStringLiteral("Sprache/Language"),
               &MainWindow::chooseLanguage);
    addCommand(menus_[4], cmd::kSettings, QStringLiteral("Einstellungen"), &MainWindow::settings);
    addCommand(menus_[4], cmd::kLinkSettings, QStringLiteral("Schnittstelle"),
               &MainWindow::procedureLinkSettings);

    menus_[5] = bar->addMenu(QStringLiteral("&?"));
    const std::pair<std::uint32_t, const char*> helps[] = {
        {cmd::kHelpContents, "Inhalt"},
        {cmd::kHelpFile, "Datei"},
        {cmd::kHelpEdit, "Bearbeiten"},
        {cmd::kHelpProcedure, "Prüfablauf"},
        {cmd::kHelpQuickStart, "Quick Start"},
        {cmd::kHelpSelection, "Bausteinauswahl"},
        {cmd::kHelpVariables, "Quelvari- Variablen"}};
    for (const auto& [id, text] : helps) {
        QAction* a = addCommand(menus_[5], id, QString::fromUtf8(text), nullptr);
        const std::uint32_t helpId = id;
        connect(a, &QAction::triggered, this, [this, helpId] { showHelp(helpId); });
    }
    menus_[5]->addSeparator();
    addCommand(menus_[5], cmd::kAbout, QStringLiteral("Inf&o über Quelvari"), &MainWindow::about);

    // Accelerators of the frame, plus the ones desktop users expect.
    actions_[cmd::kCopy]->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::Key_C), QKeySequence(Qt::CTRL | Qt::Key_Insert)});
    actions_[cmd::kPaste]->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::Key_V), QKeySequence(Qt::SHIFT | Qt::Key_Insert)});
    actions_[cmd::kCut]->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::Key_X), QKeySequence(Qt::SHIFT | Qt::Key_Delete)});
    actions_[cmd::kUndo]->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::Key_Z), QKeySequence(Qt::ALT | Qt::Key_Backspace)});
    actions_[cmd::kNew]->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_N));
    actions_[cmd::kOpen]->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
    actions_[cmd::kSave]->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_S));
    auto* nextPane = new QAction(this);
    nextPane->setShortcut(QKeySequence(Qt::Key_F6));
    connect(nextPane, &QAction::triggered, this, [this] { focusNextChild(); });
    auto* previousPane = new QAction(this);
    previousPane->setShortcut(QKeySequence(Qt::SHIFT | Qt::Key_F6));
    connect(previousPane, &QAction::triggered, this, [this] { focusPreviousChild(); });
    addActions({nextPane, previousPane});

    toolBar_ = addToolBar(QStringLiteral("Symbolleiste"));
    toolBar_->setObjectName(QStringLiteral("toolBar"));
    struct Button {
        std::uint32_t id;  // 0: a separator
        const char* icon;
        QStyle::StandardPixmap fallback;
    };
    const Button buttons[] = {
        {cmd::kNew, "new", QStyle::SP_FileIcon},
        {cmd::kOpen, "open", QStyle::SP_DialogOpenButton},
        {cmd::kSave, "save", QStyle::SP_DialogSaveButton},
        {0, nullptr, {}},
        {cmd::kCut, "cut", QStyle::SP_TrashIcon},
        {cmd::kCopy, "copy", QStyle::SP_FileDialogDetailedView},
        {cmd::kPaste, "paste", QStyle::SP_FileDialogListView},
        {cmd::kUndo, "undo", QStyle::SP_ArrowBack},
        {0, nullptr, {}},
        {cmd::kAppend, "append", QStyle::SP_FileDialogNewFolder},
        {cmd::kChange, "change", QStyle::SP_FileDialogContentsView},
        {cmd::kDelete, "delete", QStyle::SP_DialogDiscardButton},
        {cmd::kGoTo, "goto", QStyle::SP_ArrowForward},
        {0, nullptr, {}},
        {cmd::kPrint, "print", QStyle::SP_DriveNetIcon},
        {cmd::kPreCheck, "pre-check", QStyle::SP_DialogYesButton},
        {cmd::kSyntaxTest, "syntax-test", QStyle::SP_DialogApplyButton},
        {cmd::kTransfer, "transfer", QStyle::SP_ArrowRight},
        {0, nullptr, {}},
        {cmd::kHelpContents, "help", QStyle::SP_DialogHelpButton},
    };
    for (const Button& b : buttons) {
        if (b.id == 0) {
            toolBar_->addSeparator();
            continue;
        }
        actions_[b.id]->setIcon(CommandIcon(b.icon, b.fallback, st));
        toolBar_->addAction(actions_[b.id]);
    }
    connect(tools, &QAction::toggled, toolBar_, &QToolBar::setVisible);
    connect(toolBar_, &QToolBar::visibilityChanged, tools, &QAction::setChecked);
    connect(status, &QAction::toggled, statusBar(), &QStatusBar::setVisible);
}

QAction* MainWindow::action(std::uint32_t id) const {
    const auto it = actions_.find(id);
    return it == actions_.end() ? nullptr : it->second;
}

void MainWindow::updateCommands() {
    const CommandState state = edits_.state();
    for (const auto& [id, action] : actions_) {
        action->setEnabled(CommandEnabled(id, state));
        // The tool tip is the menu text without its mnemonic and accelerator.
        const QString tip = action->text().section(QLatin1Char('\t'), 0, 0);
        action->setToolTip(ToQt(WithoutMnemonic(FromQtLossy(tip))));
    }
    if (extras_)
        extras_->sync();
    exportText_->setEnabled(list_.documentOpen != 0);
    if (variables_->built())
        variablesPanel()->refresh();
}

void MainWindow::openPath(const QString& path) {
    openNativePath(QFile::encodeName(path).toStdString());
}

void MainWindow::openNativePath(const std::string& path) {
    pendingOpen_ = path;
    fileOpen();
    pendingOpen_.reset();
}

// FileUi.

Answer MainWindow::askYesNoCancel(const std::string& text) {
    return Ask(this, QuestionText(text), true);
}

Answer MainWindow::askYesNo(const std::string& text) {
    return Ask(this, QuestionText(text), false);
}

std::optional<std::string> MainWindow::chooseOpenFile(const std::string& filter) {
    if (pendingOpen_)
        return pendingOpen_;
    const QString path = QFileDialog::getOpenFileName(this, QString(), QString(), QtFilter(filter));
    if (path.isEmpty())
        return std::nullopt;
    return QFile::encodeName(path).toStdString();
}

std::optional<std::string> MainWindow::chooseSaveFile(const std::string& initialName,
                                                      const std::string& filter) {
    QFileDialog dialog(this, QString(), QString(), QtFilter(filter));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral("PAD"));
    // The overwrite question is the command's own.
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    if (!initialName.empty())
        dialog.selectFile(PathText(initialName));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return QFile::encodeName(dialog.selectedFiles().first()).toStdString();
}

void MainWindow::showError(const Status& status) {
    const ErrorBox box = ComposeErrorMessage(status);
    QMessageBox message(QMessageBox::NoIcon, ToQt(box.caption), ToQt(box.text), QMessageBox::Ok,
                        this);
    message.exec();
}

void MainWindow::setWindowTitle(const std::string& title) {
    QMainWindow::setWindowTitle(PathText(title));
}

void MainWindow::setStatusCount(const std::string& text) {
    countPane_->setText(ToQt(text));
}

void MainWindow::repaint() {
    if (extras_)
        extras_->stepsChanged();
    view_->update();
}

// EditUi.

bool MainWindow::selectComponent(ComponentRecord& editRecord) {
    return RunComponentSelection(this, editRecord);
}

int MainWindow::openEditor(ComponentRecord& editRecord) {
    return OpenComponentEditor(this, editRecord);
}

void MainWindow::repaint(bool erase) {
    // A repaint with erase ends every change to the steps.
    if (erase && extras_)
        extras_->stepsChanged();
    // The commands repaint in the middle of their work, after nodes were
    // released: the list takes the nodes as they are now before anything of
    // the window is drawn.
    if (extras_)
        extras_->refreshRows();
    // The view fills its background on every paint.
    view_->repaint();
}

void MainWindow::beep() {
    QApplication::beep();
}

void MainWindow::refuse(const std::string& message) {
    QMessageBox box(QMessageBox::NoIcon, ToQt(LangText(3201)), ToQt(message), QMessageBox::Ok,
                    this);
    box.exec();
}

// MenuTexts.

void MainWindow::setTopLevelText(int position, const std::string& cp1252Text) {
    if (position >= 0 && position < 6 && menus_[position])
        menus_[position]->setTitle(ToQt(cp1252Text));
}

void MainWindow::setCommandText(std::uint32_t commandId, const std::string& cp1252Text) {
    if (QAction* a = action(commandId))
        a->setText(ToQt(cp1252Text));
}

void MainWindow::setHelpFile(const std::string& name) {
    helpFile_ = name;
}

void MainWindow::repaintAll() {
    update();
    view_->update();
}

void MainWindow::applyLanguage() {
    ApplyLanguage(*this, helpFile_);
    if (extras_)
        extras_->retranslate();
    actions_[cmd::kLinkSettings]->setText(LangQt(window_text::kLinkSettings));
    exportText_->setText(LangQt(60600));
    importText_->setText(LangQt(60601));
    variables_->setText(LangQt(VariablesPanel::kTitle));
    if (variables_->built())
        variablesPanel()->relabel();
    InstallQtTranslations(language());
    assignMnemonics();
    updateCommands();
}

void MainWindow::assignMnemonics() {
    // Within the menu bar, and within each menu, every text gets a letter of
    // its own; the texts themselves stay as the tables have them.
    const auto relabel = [](const std::vector<std::function<QString()>>& get,
                            const std::vector<std::function<void(const QString&)>>& set) {
        std::vector<std::string> plain;
        for (const auto& g : get)
            plain.push_back(WithoutMnemonic(FromQtLossy(g())));
        const std::vector<std::string> marked = WithMnemonics(plain);
        for (std::size_t i = 0; i < set.size(); ++i)
            set[i](ToQt(marked[i]));
    };
    std::vector<std::function<QString()>> titles;
    std::vector<std::function<void(const QString&)>> setTitles;
    for (QMenu* m : menus_) {
        if (!m)
            continue;
        titles.push_back([m] { return m->title(); });
        setTitles.push_back([m](const QString& t) { m->setTitle(t); });
        std::vector<std::function<QString()>> items;
        std::vector<std::function<void(const QString&)>> setItems;
        for (QAction* a : m->actions()) {
            if (a->isSeparator() || a->text().isEmpty())
                continue;
            items.push_back([a] { return a->text(); });
            setItems.push_back([a](const QString& t) { a->setText(t); });
        }
        relabel(items, setItems);
    }
    relabel(titles, setTitles);
}

// File.

void MainWindow::fileNew() {
    files_.fileNew();
    edits_.clearHistory();
    extras_->stepsChanged();
    updateCommands();
}

void MainWindow::fileOpen() {
    files_.fileOpen();
    edits_.clearHistory();
    extras_->stepsChanged();
    if (list_.documentOpen && !list_.modified)
        extras_->fileUsed(list_.documentPath);
    updateCommands();
}

void MainWindow::fileClose() {
    files_.fileClose();
    edits_.clearHistory();
    extras_->stepsChanged();
    updateCommands();
}

void MainWindow::fileSave() {
    files_.fileSave();
    savedHook();
    updateCommands();
}

void MainWindow::fileSaveAs() {
    files_.fileSaveAs();
    savedHook();
    updateCommands();
}

void MainWindow::savedHook() {
    // A saved procedure needs no recovery copy; the file joins the recent files.
    if (list_.documentOpen && !list_.modified) {
        extras_->dropRecovery();
        extras_->fileUsed(list_.documentPath);
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!files_.closeWindow()) {
        event->ignore();
        return;
    }
    if (help_)
        help_->close();
    extras_->dropRecovery();
    event->accept();
}

// Edit.

void MainWindow::editUndo() {
    edits_.undo();
    updateCommands();
}

void MainWindow::editCut() {
    edits_.cutSteps(extras_->selectedSteps());
    updateCommands();
}

void MainWindow::editCopy() {
    edits_.copySteps(extras_->selectedSteps());
    updateCommands();
}

void MainWindow::editPaste() {
    edits_.insert();
    updateCommands();
}

void MainWindow::editChange() {
    edits_.change();
    updateCommands();
}

void MainWindow::editDelete() {
    edits_.removeSteps(extras_->selectedSteps());
    updateCommands();
}

void MainWindow::editAppend() {
    edits_.append();
    updateCommands();
}

void MainWindow::editGoTo() {
    GoToDialog dialog(
        list_.componentCount,
        [this](const QString& text) { return edits_.goTo(FromQtLossy(text)); }, this);
    dialog.exec();
    updateCommands();
}

// Commands whose dialogs live in other parts of the editor: each is one call.

void MainWindow::filePrint() {
    PrintProcedure(this, list_, config_.printSize);
}

void MainWindow::filePrintSetup() {
    RunPrinterSetup(this);
}

void MainWindow::procedurePreCheck() {
    RunPreCheck(this, list_, [this](int step) {
        edits_.goTo(std::to_string(step));
        updateCommands();
    });
}

void MainWindow::procedureSyntaxTest() {
    RunSyntaxTestDialog(this, [this](const std::string& path, int step) {
        openPath(QFile::decodeName(QByteArray::fromStdString(path)));
        if (step > 0 && list_.documentOpen)
            edits_.goTo(std::to_string(step));
        updateCommands();
    });
}

void MainWindow::procedureTransfer() {
    RunTransferDialog(this, list_.documentPath);
}

void MainWindow::procedureDescription() {
    RunDescriptionDialog(this, list_);
}

void MainWindow::procedureLinkSettings() {
    LinkSettingsDialog::RunLinkSettingsDialog(this);
}

// Extras.

void MainWindow::chooseLanguage() {
    LanguageDialog dialog(
        config_, [this] { applyLanguage(); }, this);
    dialog.exec();
    // The count in pane 2 follows the language when it is shown.
    if (list_.documentOpen && countPane_->text() != QStringLiteral(" "))
        setStatusCount(StatusCountText(list_.componentCount));
    updateCommands();
}

void MainWindow::settings() {
    SettingsDialog dialog(config_, this);
    dialog.exec();
}

// Help.

void MainWindow::showHelp(std::uint32_t commandId) {
    showHelpContext(HelpTopicOf(commandId));
}

void MainWindow::showHelpContext(std::uint32_t context) {
    if (!help_)
        help_ = new HelpWindow(this);
    help_->showTopic(helpFile_, context);
}

void MainWindow::about() {
    AboutDialog dialog(this);
    dialog.exec();
}

}  // namespace quelvari::app
