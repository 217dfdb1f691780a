// The find panel: a text to look for and the steps that contain it in their
// comment, conditions, variables or type name. Choosing a result makes its
// step current; Find next goes on from the current step.
#pragma once

#include <QDockWidget>

#include <cstdint>
#include <vector>

#include "commands/find_steps.h"
#include "model/procedure.h"

class QLabel;
class QLineEdit;
class QTreeWidget;

namespace quelvari::app {

class FindPanel : public QDockWidget {
    Q_OBJECT
  public:
    // The panel's title, an own text.
    static constexpr std::uint32_t kTitle = 60414;

    FindPanel(ProcedureList& list, QWidget* parent = nullptr);

    QLineEdit* field() const { return field_; }
    QTreeWidget* results() const { return results_; }
    const std::vector<FindHit>& hits() const { return hits_; }

    // Shows the panel with the field focused (Ctrl+F).
    void open();
    // Searches the procedure for the field's text and lists the hits.
    void search();
    // Goes to the first hit behind the current step, wrapping round (F3);
    // false without hits.
    bool findNext();
    // The steps changed: a shown panel searches again, a hidden one forgets
    // its hits (Find next searches afresh).
    void stepsChanged();
    void retranslate();

  signals:
    // A hit's step is the current component now.
    void stepChosen();

  private:
    void goToHit(int index);

    ProcedureList& list_;
    QLabel* label_ = nullptr;
    QLineEdit* field_ = nullptr;
    QLabel* count_ = nullptr;
    QTreeWidget* results_ = nullptr;
    std::vector<FindHit> hits_;
};

}  // namespace quelvari::app
