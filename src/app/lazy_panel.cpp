#include "app/lazy_panel.h"

#include <utility>

namespace quelvari::app {

LazyPanel::LazyPanel(QMainWindow& window, Qt::DockWidgetArea area,
                     std::function<QDockWidget*()> make)
    : QAction(&window), window_(window), area_(area), make_(std::move(make)) {
    setCheckable(true);
    connect(this, &QAction::triggered, this, [this](bool on) {
        if (on)
            panel()->show();
        else if (panel_)
            panel_->hide();
    });
}

QDockWidget* LazyPanel::panel() {
    if (!panel_) {
        panel_ = make_();
        // Hidden before it is docked: a dock added to a shown window would
        // show itself.
        panel_->hide();
        window_.addDockWidget(area_, panel_);
        connect(panel_->toggleViewAction(), &QAction::toggled, this, &QAction::setChecked);
    }
    return panel_;
}

}  // namespace quelvari::app
