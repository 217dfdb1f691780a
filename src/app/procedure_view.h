// The procedure view: the step column and the current component, drawn by the
// render layer's painter; keys and double clicks go to the editing commands.
#pragma once

#include <QRectF>
#include <QWidget>

#include "commands/edit_commands.h"
#include "model/procedure.h"

namespace quelvari::app {

class ProcedureView : public QWidget {
    Q_OBJECT
  public:
    ProcedureView(ProcedureList& list, EditCommands& commands, QWidget* parent = nullptr);

    // The rectangle of the last drawn component picture.
    QRectF pictureRect() const { return picture_; }
    // Number of paints so far (the benchmarks and tests wait for them).
    int paintCount() const { return paints_; }

  signals:
    // A command ran from the view; the window refreshes its enabling.
    void commandRan();
    // Emitted once after each paint.
    void painted();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

  private:
    ProcedureList& list_;
    EditCommands& commands_;
    QRectF picture_;
    int paints_ = 0;
};

}  // namespace quelvari::app
