// Accessible names and tab order of a dialog, derived from its layout: a
// field takes the text of the label in front of it, a button, check box or
// group its own text, and Tab walks the controls in the order the layout
// shows them (row by row, left to right, into groups as they come).
#pragma once

class QObject;
class QWidget;

namespace quelvari::app {

// Names every control of `dialog` and sets its tab order. Run it after the
// dialog's texts are final (it is run again whenever a dialog is shown).
void NameControls(QWidget* dialog);

// Installs, once, a filter on the application that runs NameControls on
// every dialog of the program when it is shown (Qt's own dialogs excepted).
void NameControlsOfEveryDialog();

}  // namespace quelvari::app
