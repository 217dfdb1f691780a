// A dock panel built the first time it is wanted, so that the window starts
// without building panels it does not show. Until then its menu entry (this
// checkable action, labelled with the panel's title by its owner) stands in
// for the dock's own toggle action; afterwards it follows the dock.
#pragma once

#include <QAction>
#include <QDockWidget>
#include <QMainWindow>

#include <functional>

namespace quelvari::app {

class LazyPanel : public QAction {
  public:
    // `make` builds the panel as a child of `window` and wires it; the panel
    // is docked hidden in `area`.
    LazyPanel(QMainWindow& window, Qt::DockWidgetArea area, std::function<QDockWidget*()> make);

    bool built() const { return panel_ != nullptr; }
    // The panel, built on first use.
    QDockWidget* panel();

  private:
    QMainWindow& window_;
    Qt::DockWidgetArea area_;
    std::function<QDockWidget*()> make_;
    QDockWidget* panel_ = nullptr;
};

}  // namespace quelvari::app
