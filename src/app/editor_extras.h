// What the editor adds around the kept window: the step list and the find
// panel as docks, Redo, Move Up/Down, Find and Find next, the print preview,
// the recent files of the File menu, the "*" of unsaved changes in the title
// and the recovery copy of an unsaved procedure. The main window creates one
// and calls it at a few points (after every command, after a change to the
// steps, after open and save, on a clean exit).
#pragma once

#include <QObject>
#include <QPointer>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "commands/editor_settings.h"

class QAction;
class QMenu;
class QTimer;

namespace quelvari::app {

class FindPanel;
class LazyPanel;
class MainWindow;
class StepListDock;

class EditorExtras : public QObject {
    Q_OBJECT
  public:
    explicit EditorExtras(MainWindow& window);

    StepListDock* stepList() const { return stepList_; }
    // Built the first time it is shown or asked for.
    FindPanel* findPanel();
    QAction* action(std::uint32_t id) const;
    QMenu* recentMenu() const { return recentMenu_; }
    const EditorSettings& settings() const { return settings_; }
    QTimer* recoveryTimer() const { return recoveryTimer_; }

    // After every command: list, enabling, title.
    void sync();
    // The steps changed (a command, open, new, close): the list reads them
    // again at the next sync.
    void stepsChanged() { reload_ = findStale_ = true; }
    // The step list's rows point at the procedure's nodes as they are now
    // (a hidden list holds none).
    void refreshRows();
    // The steps chosen in the list; the current step alone when the list
    // has no choice of several.
    std::vector<std::uint32_t> selectedSteps() const;
    // A file was opened or saved under `path`.
    void fileUsed(const std::string& path);
    // The procedure was saved or the program ends cleanly: no recovery copy.
    void dropRecovery();
    // At start-up: offers the recovery copy of a session that did not end.
    void offerRecovery();
    // Writes the recovery copy now (the timer's work).
    void writeRecovery();
    void retranslate();

  private:
    QAction* addAction(QMenu* menu, QAction* before, std::uint32_t id,
                       void (EditorExtras::*slot)());
    void redo();
    void moveUp();
    void moveDown();
    void moveTo(std::vector<std::uint32_t> steps, std::uint32_t before);
    void find();
    void findNext();
    void printPreview();
    void rebuildRecentMenu();
    void afterMove(const std::vector<std::uint32_t>& moved);

    MainWindow& window_;
    StepListDock* stepList_ = nullptr;
    LazyPanel* find_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    QTimer* recoveryTimer_ = nullptr;
    std::map<std::uint32_t, QAction*> actions_;
    EditorSettings settings_;
    bool reload_ = true;
    bool findStale_ = false;
};

}  // namespace quelvari::app
