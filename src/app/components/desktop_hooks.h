// What the component dialogs ask of the desktop: a message box, a file-open
// dialog and the help. Each is a replaceable function, so that the main
// window can route help to its viewer and tests can answer without a modal
// box. The defaults use QMessageBox and QFileDialog.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

class QDialog;
class QPushButton;
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

// Makes `ok` the dialog's default button, called once every button is in
// the dialog: Return presses OK unless the focus is on Cancel; no other push
// button (a file chooser, Help) takes Return, even when it has the focus.
// With no `ok` (a dialog without one) only Cancel takes Return, focused.
void MakeOkTheDefault(QDialog* dialog, QPushButton* ok);

// "A (*.a)|*.a|B (*.b)|*.b||" (the form the filter texts are kept in) as a
// Qt filter "A (*.a);;B (*.b)".
QString QtFileFilter(const QString& pipeFilter);

}  // namespace quelvari::app
