// The File commands New, Open, Save, Save As and Close as the main window runs
// them. Every question and dialog goes through FileUi, so the window only
// implements that interface and tests drive the commands with a script.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "model/procedure.h"
#include "model/procedure_file.h"
#include "model/status.h"

namespace quelvari {

enum class Answer { Yes, No, Cancel };

class FileUi {
  public:
    virtual ~FileUi() = default;
    // Yes / No / Cancel with a warning icon and no caption (text in Windows-1252).
    virtual Answer askYesNoCancel(const std::string& text) = 0;
    // Yes / No.
    virtual Answer askYesNo(const std::string& text) = 0;
    // The file dialogs; `filter` is the language's filter string in the form
    // "Name (*.PAD)|*.PAD|...||". Nothing when the user cancelled.
    virtual std::optional<std::string> chooseOpenFile(const std::string& filter) = 0;
    virtual std::optional<std::string> chooseSaveFile(const std::string& initialName,
                                                      const std::string& filter) = 0;
    // A message of the error catalogue; ComposeErrorMessage(status) gives the
    // box text with the detail line (the file and the system's reason).
    virtual void showError(const Status& status) = 0;
    virtual void setWindowTitle(const std::string& title) = 0;
    // Status bar pane 2.
    virtual void setStatusCount(const std::string& text) = 0;
    virtual void repaint() = 0;
};

// How long Save waits for another program that is changing the same file.
inline constexpr std::chrono::milliseconds kSaveLockWait{5000};

// The product name shown in the window title.
inline constexpr const char* kProductName = "Quelvari";
inline constexpr const char* kNoName = "NoName.PAD";

// The filter of the procedure file dialogs in `lang`, in Windows-1252.
std::string ProcedureFileFilter(std::uint32_t lang);
// The ".PAD"-only filter of the syntax test's file dialog.
std::string SyntaxTestFileFilter(std::uint32_t lang);

class FileCommands {
  public:
    FileCommands(ProcedureList& list, FileUi& ui) : list_(list), ui_(ui) {}

    // Asks whether to save a modified procedure. Returns false when the calling
    // command must stop (Cancel, or a save that did not clear `modified`).
    bool askSaveChanges();

    void fileNew();
    void fileOpen();
    void fileSave();
    void fileSaveAs();
    void fileClose();
    // Closing the main window: the save question, then the list is freed.
    // Returns false when the window must stay open.
    bool closeWindow();

    // Status pane 2: "%d %s" with the component count and text 3102.
    std::string countText() const;
    void showCount();
    void setTitle(const std::string& path);

  private:
    // Writes the procedure to `path` under the file's lock (a command-line
    // edit of the same file is waited for, at most kSaveLockWait); reports
    // message 92 with the reason on failure.
    bool writeTo(const std::string& path);
    // The Save dialog, the overwrite question; nothing when cancelled.
    std::optional<std::string> askSavePath(const std::string& initialName);

    ProcedureList& list_;
    FileUi& ui_;
};

}  // namespace quelvari
