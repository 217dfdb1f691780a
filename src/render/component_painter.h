// The one painter of a component: the procedure view draws with it on the
// screen and the print-out on a printer page. It renders the core's
// ComponentView description of a record (picture, labels 3000 to 3004, the
// head fields in their fixed formats, the type's own lines) onto any QPainter.
//
// Coordinates are design units scaled by the height of the target: the
// component in units of h/640 (its font is 18 such units high), the step
// column in units of h/1000, so ten step boxes fill the height.
#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>

#include <cstdint>
#include <vector>

#include "model/record.h"

namespace quelvari::render {

// The colours of the view.
inline const QColor kDarkGreen{0, 143, 0};
inline const QColor kBrightGreen{0, 255, 0};
inline const QColor kMagenta{255, 0, 255};

// Scale factors of a target `height` pixels high.
struct ViewScale {
    double picture;  // h / 640
    double column;   // h / 1000
    static ViewScale forHeight(double height) { return {height * 0.0015625, height * 0.001}; }
};

// Draws `record` as the view shows step `stepNumber`, with the top left of its
// design space at `origin`. `scale.picture` scales it. Returns the rectangle of
// the drawn picture (in the painter's coordinates); a record of type 0 draws
// nothing and returns an empty rectangle. Texts are Windows-1252 as the core
// gives them and are converted here.
QRectF PaintComponent(QPainter& painter, QPointF origin, const ViewScale& scale,
                      const ComponentRecord& record, std::uint32_t stepNumber);

// One box of the step column, in column units.
struct StepBox {
    QRectF rect;
    std::uint32_t step = 0;
    bool current = false;
};

// What the whole view shows.
struct ViewContent {
    bool documentOpen = false;
    std::uint32_t currentNumber = 0;
    std::vector<StepBox> steps;  // the boxes that show an existing step
    ComponentRecord record;      // viewRecord
};

// The view: the step column down the left side and the current component
// beside it, filling `target`, scaled by its height. Returns the picture's
// rectangle.
QRectF PaintView(QPainter& painter, const QRectF& target, const ViewContent& content);

// The x where the component's design space starts, in picture units.
inline constexpr double kComponentLeft = 100;

}  // namespace quelvari::render
