// The step list: every step of the procedure in one table beside the view
// (number, type picture and name, conditions, goto target, comment), a Qt
// model over the procedure list itself, so that 65,535 steps cost one pointer
// per row. The list and the view share the current component: choosing a row
// makes it current, paging the view chooses the row. Rows are reordered by
// dragging them; the move is the editing commands' Move.
#pragma once

#include <QAbstractTableModel>
#include <QDockWidget>
#include <QHash>
#include <QIcon>
#include <QTableView>

#include <cstdint>
#include <functional>
#include <vector>

#include "model/procedure.h"
#include "render/resources.h"

namespace quelvari::app {

class StepListModel : public QAbstractTableModel {
    Q_OBJECT
  public:
    enum Column { Number, Type, Input, Branch, Goto, Comment, ColumnCount };
    static constexpr const char* kMimeType = "application/x-quelvari-steps";
    // The type pictures in the list, in logical pixels.
    static constexpr int kIconSize = render::kListPictureSize;

    explicit StepListModel(ProcedureList& list, QObject* parent = nullptr);

    // Reads the procedure again (after a command changed it).
    void reload();
    // Takes what the steps went through: a block of steps inserted or
    // removed by an edit is told as just that, so the view keeps its place,
    // selection and anchor on the same steps and redoes only the rows it
    // shows; anything else starts the rows afresh. Called in the middle of a
    // command; the dock's refreshNodes keeps the view's row changes from
    // choosing a step meanwhile.
    void refreshNodes();
    // Holds no rows (while the list is hidden).
    void clear();
    // Relabels the columns in the current language.
    void retranslate();
    // Called with the dragged steps and the step they go in front of.
    std::function<void(std::vector<std::uint32_t>, std::uint32_t)> onDrop;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

  private:
    std::vector<const ComponentNode*> currentNodes() const;
    QIcon typeIcon(const ComponentRecord& r) const;

    ProcedureList& list_;
    std::vector<const ComponentNode*> rows_;
    mutable QHash<std::uint16_t, QIcon> icons_;
};

class StepListView : public QTableView {
    Q_OBJECT
  public:
    explicit StepListView(QWidget* parent = nullptr);
    // Selected steps (1-based), ascending.
    std::vector<std::uint32_t> selectedSteps() const;

  signals:
    void changeRequested();
    void deleteRequested();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    // Home and End go to the first and the last step, not along the row.
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
};

class StepListDock : public QDockWidget {
    Q_OBJECT
  public:
    StepListDock(ProcedureList& list, QWidget* parent = nullptr);

    StepListModel* model() const { return model_; }
    StepListView* view() const { return view_; }
    // Brings the list in line with the procedure: `reload` after a change to
    // the steps, then the current step is chosen and shown.
    void sync(bool reload);
    // The model's refreshNodes, while the view's current row follows
    // without choosing a step.
    void refreshNodes();
    // Chooses these steps (the current one stays the current row).
    void selectSteps(const std::vector<std::uint32_t>& steps);
    // The title and the column widths in the current language; the owner
    // calls it once the window is built and on every language change.
    void retranslate();

  signals:
    // The user chose another row: it is the current component now.
    void currentStepChosen();

  private:
    void rowChosen(const QModelIndex& current);

    ProcedureList& list_;
    StepListModel* model_ = nullptr;
    StepListView* view_ = nullptr;
    bool syncing_ = false;
};

}  // namespace quelvari::app
