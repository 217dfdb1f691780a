// The Variables panel: every variable the procedure, its modules and its
// interrupt procedures use, with the steps that read and write it. A double
// click on a step of the procedure goes to that step.
#pragma once

#include <QDockWidget>

#include <cstdint>

class QTreeWidget;
class QTreeWidgetItem;

namespace quelvari {
class ProcedureList;
}

namespace quelvari::app {

class VariablesPanel : public QDockWidget {
    Q_OBJECT
  public:
    // The panel's title, an own text.
    static constexpr std::uint32_t kTitle = 60602;

    VariablesPanel(const ProcedureList& list, QWidget* parent = nullptr);

    QTreeWidget* tree() const { return tree_; }

  public slots:
    // Rebuilds the list from the procedure (only while the panel is shown).
    void refresh();
    // Texts of the current language.
    void relabel();

  signals:
    void stepActivated(int step);

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void activate(QTreeWidgetItem* item);

    const ProcedureList& list_;
    QTreeWidget* tree_ = nullptr;
};

}  // namespace quelvari::app
