// What the component dialogs ask of the desktop: a message box, a file-open
// dialog and the help. Each is a replaceable function, so that the main
// window can route help to its viewer and tests can answer without a modal
// box. The defaults use QMessageBox and QFileDialog.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

class QWidget;

namespace quelvari::app {

struct UiHooks {
    // A message box with an OK button, owned by `parent`.
    std::function<void(QWidget* parent, const QString& caption, const QString& text)> message;
    // A file-open dialog; `filter` in Qt form ("Name (*.x);;Other (*.y)").
    // An empty result means Cancel.
    std::function<QString(QWidget* parent, const QString& filter)> openFile;
    // The help of `context` (the dialog's help topic).
    std::function<void(QWidget* parent, std::uint32_t context)> help;
};

// The hooks in use; assign members to replace them.
UiHooks& uiHooks();
// Restores the desktop defaults.
void ResetUiHooks();

void ShowMessage(QWidget* parent, const QString& caption, const QString& text);
QString ChooseOpenFile(QWidget* parent, const QString& filter);
void ShowHelp(QWidget* parent, std::uint32_t context);

// "A (*.a)|*.a|B (*.b)|*.b||" (the form the filter texts are kept in) as a
// Qt filter "A (*.a);;B (*.b)".
QString QtFileFilter(const QString& pipeFilter);

}  // namespace quelvari::app
