#include "app/procedure_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include "render/component_painter.h"

namespace quelvari::app {

ProcedureView::ProcedureView(ProcedureList& list, EditCommands& commands, QWidget* parent)
    : QWidget(parent), list_(list), commands_(commands) {
    setFocusPolicy(Qt::StrongFocus);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, Qt::white);
    setPalette(pal);
    setMinimumSize(320, 240);
}

void ProcedureView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    render::ViewContent content;
    content.documentOpen = list_.documentOpen != 0;
    content.currentNumber = list_.currentNumber;
    content.record = list_.viewRecord;
    if (content.documentOpen) {
        for (const StepBoxView& b : StepColumn(list_.currentNumber, list_.componentCount))
            content.steps.push_back(
                {QRectF(QPointF(b.left, b.top), QPointF(b.right, b.bottom)), b.step, b.current});
    }
    picture_ = render::PaintView(painter, QRectF(rect()), content);
    ++paints_;
    emit painted();
}

void ProcedureView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_PageDown:
            commands_.next();
            break;
        case Qt::Key_PageUp:
            commands_.previous();
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            // As a double click on the picture: Change of the current component.
            if (!list_.documentOpen || list_.viewRecord.typeCode() == 0)
                return QWidget::keyPressEvent(event);
            commands_.change();
            break;
        default:
            return QWidget::keyPressEvent(event);
    }
    emit commandRan();
}

void ProcedureView::mouseDoubleClickEvent(QMouseEvent* event) {
    const QPointF at = event->position();
    if (list_.documentOpen && list_.viewRecord.typeCode() != 0 && !picture_.isEmpty() &&
        at.x() > picture_.left() && at.x() < picture_.right() && at.y() > picture_.top() &&
        at.y() < picture_.bottom()) {
        commands_.change();
        emit commandRan();
        return;
    }
    // The step column is drawn in units of h/1000; the hit test works on
    // those unscaled coordinates with its own bounds.
    const double k = height() * 0.001;
    if (k <= 0)
        return;
    if (const auto box = StepBoxAt(static_cast<int>(at.x() / k), static_cast<int>(at.y() / k))) {
        commands_.selectStepBox(*box);
        emit commandRan();
    }
}

}  // namespace quelvari::app
