// The main window: menus, tool bar, status bar and the procedure view. It owns
// the procedure and runs the core's File and editing commands, implementing
// the small interfaces through which they ask and show (FileUi, EditUi,
// MenuTexts). After every command the enabling of every action is refreshed.
#pragma once

#include <QMainWindow>
#include <QPointer>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "app/help_window.h"
#include "commands/edit_commands.h"
#include "commands/file_commands.h"
#include "model/config.h"
#include "model/procedure.h"
#include "texts/texts.h"

class QAction;
class QLabel;
class QMenu;
class QToolBar;

namespace quelvari::app {

class EditorExtras;
class ProcedureView;
class LazyPanel;
class VariablesPanel;

class MainWindow : public QMainWindow, public FileUi, public EditUi, public MenuTexts {
    Q_OBJECT
  public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens `path` as File/Open does after its dialog (a path from the
    // command line).
    void openPath(const QString& path);
    // Opens the file named by `path` as the system gives it (bytes, not
    // necessarily UTF-8), such as a name from the command line.
    void openNativePath(const std::string& path);

    ProcedureList& procedure() { return list_; }
    EditCommands& editCommands() { return edits_; }
    ProcedureView* view() const { return view_; }
    QAction* action(std::uint32_t id) const;
    QMenu* menu(int position) const { return menus_[position]; }
    QLabel* countPane() const { return countPane_; }
    const std::string& helpFile() const { return helpFile_; }
    const std::string& programDirectory() const { return programDir_; }
    HelpWindow* helpWindow() const { return help_; }
    // The step list, find panel, Redo, moves, recent files and recovery.
    EditorExtras* extras() const { return extras_; }
    std::uint32_t printOption() const { return config_.printSize; }
    // Built the first time it is shown or asked for.
    VariablesPanel* variablesPanel();

    // FileUi.
    Answer askYesNoCancel(const std::string& text) override;
    Answer askYesNo(const std::string& text) override;
    std::optional<std::string> chooseOpenFile(const std::string& filter) override;
    std::optional<std::string> chooseSaveFile(const std::string& initialName,
                                              const std::string& filter) override;
    void showError(const Status& status) override;
    void setWindowTitle(const std::string& title) override;
    void setStatusCount(const std::string& text) override;
    void repaint() override;
    // EditUi.
    bool selectComponent(ComponentRecord& editRecord) override;
    int openEditor(ComponentRecord& editRecord) override;
    void repaint(bool erase) override;
    void beep() override;
    void refuse(const std::string& message) override;
    // MenuTexts.
    void setTopLevelText(int position, const std::string& cp1252Text) override;
    void setCommandText(std::uint32_t commandId, const std::string& cp1252Text) override;
    void setHelpFile(const std::string& name) override;
    void repaintAll() override;

  public slots:
    // Brings every action's enabled state in line with the procedure.
    void updateCommands();

    // File.
    void fileNew();
    void fileOpen();
    void fileClose();
    void fileSave();
    void fileSaveAs();
    void filePrint();       // hook: print the procedure
    void filePrintSetup();  // hook: printer setup
    // The text form (main_window_text.cpp).
    void fileExportText();
    void fileImportText();
    // Imports the text form at `path` as a new, unsaved procedure; false when
    // the text was refused or the save question cancelled.
    bool importTextPath(const QString& path);
    // Writes the procedure in memory as text form to `path`; false (after a
    // message) when it cannot be written.
    bool exportTextPath(const QString& path);
    void goToVariableStep(int step);
    // Edit.
    void editUndo();
    void editCut();
    void editCopy();
    void editPaste();
    void editChange();
    void editDelete();
    void editAppend();
    void editGoTo();
    // Test procedure.
    void procedurePreCheck();      // hook: pre-check
    void procedureSyntaxTest();    // hook: syntax test
    void procedureTransfer();      // hook: transfer to the instrument
    void procedureDescription();   // hook: description of the procedure
    void procedureLinkSettings();  // hook: link settings
    // Extras.
    void chooseLanguage();
    void settings();
    // Help.
    void showHelp(std::uint32_t commandId);
    // The help at context number `context` (0: contents).
    void showHelpContext(std::uint32_t context);
    void about();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void buildMenus();
    QAction* addCommand(QMenu* menu, std::uint32_t id, const QString& text,
                        void (MainWindow::*slot)());
    // Runs a core command and refreshes the enabling.
    void applyLanguage();
    // Alt+letter mnemonics for the menu titles and items of the language.
    void assignMnemonics();
    void savedHook();

    ProcedureList list_;
    FileCommands files_{list_, *this};
    EditCommands edits_{list_, *this};
    Configuration config_;
    std::string helpFile_;
    std::string programDir_;
    std::optional<std::string> pendingOpen_;
    std::map<std::uint32_t, QAction*> actions_;
    QMenu* menus_[6] = {};
    QToolBar* toolBar_ = nullptr;
    QLabel* countPane_ = nullptr;
    ProcedureView* view_ = nullptr;
    QPointer<HelpWindow> help_;
    EditorExtras* extras_ = nullptr;
    LazyPanel* variables_ = nullptr;
    QAction* exportText_ = nullptr;
    QAction* importText_ = nullptr;
};

}  // namespace quelvari::app
