#include "render/component_painter.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QString>

#include <cstdio>

#include "components/catalogue.h"
#include "components/view.h"
#include "model/encoding.h"
#include "render/resources.h"
#include "texts/texts.h"

namespace quelvari::render {
namespace {

QString Text(const std::string& cp1252) {
    return QString::fromStdString(cp1252ToUtf8(cp1252));
}

std::string Formatted(const char* format, const std::string& value) {
    char buf[128];
    std::snprintf(buf, sizeof buf, format, value.c_str());
    return buf;
}

std::string FormattedNumber(const char* format, unsigned value) {
    char buf[32];
    std::snprintf(buf, sizeof buf, format, value);
    return buf;
}

// The view's fixed-pitch face: the first of these families that is installed,
// else the system's fixed font. Chosen once, so that no paint pays for the
// font matcher's substitution of a missing family.
const QString& ViewFamily() {
    static const QString family = [] {
        for (const char* name : {"DejaVu Sans Mono", "Liberation Mono", "Noto Sans Mono",
                                 "Nimbus Mono PS", "Courier New"}) {
            if (!QFontDatabase::styles(QLatin1String(name)).isEmpty())
                return QString::fromLatin1(name);
        }
        return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
    }();
    return family;
}

QFont ViewFont(double pixelHeight, bool bold = false) {
    QFont font(ViewFamily());
    font.setStyleHint(QFont::TypeWriter);
    font.setPixelSize(std::max(1, static_cast<int>(pixelHeight + 0.5)));
    font.setBold(bold);
    return font;
}

// The picture of a type from the resources (InitResources must have run),
// else a plain frame with the type letter.
// Draws the picture into `box` as the cached image of its size in device
// pixels: on the screen at the device pixel ratio, on a printer page at the
// printer's resolution (the PDF keeps one copy of an image drawn many times).
// False when there is no picture.
bool DrawPicture(QPainter& p, std::uint16_t pictureId, const QRectF& box) {
    const qreal dpr = p.device()->devicePixelRatioF();
    const QSizeF device = p.transform().mapRect(box).size() * dpr;
    const QImage image =
        PictureImage(pictureId, QSize(qRound(device.width()), qRound(device.height())), dpr);
    if (image.isNull())
        return false;
    p.drawImage(box, image);
    return true;
}

void PaintPicture(QPainter& p, const QRectF& box, const ComponentRecord& r,
                  const ComponentView& view) {
    p.save();
    p.setPen(QPen(kMagenta, 2));
    p.setBrush(Qt::white);
    p.drawRect(box);
    if (FindType(r) == nullptr) {
        // A type without a drawing: the word "unknown" over the unknown picture.
        DrawPicture(p, view.pictureId, box.adjusted(4, 4, -4, -4));
        p.setPen(Qt::black);
        p.setFont(ViewFont(box.height() / 8, true));
        p.drawText(box.adjusted(0, 0, 0, -box.height() / 10), Qt::AlignHCenter | Qt::AlignBottom,
                   QStringLiteral("unknown"));
    } else if (!DrawPicture(p, view.pictureId, box.adjusted(4, 4, -4, -4))) {
        p.setPen(QPen(kDarkGreen, 1));
        p.setBrush(kBrightGreen);
        p.drawRoundedRect(
            box.adjusted(box.width() / 6, box.height() / 6, -box.width() / 6, -box.height() / 6),
            box.width() / 12, box.width() / 12);
        p.setPen(Qt::black);
        p.setFont(ViewFont(box.height() / 3, true));
        p.drawText(box, Qt::AlignCenter, QString(QChar(r.typeCode())));
    }
    p.restore();
}

}  // namespace

QRectF PaintComponent(QPainter& p, QPointF origin, const ViewScale& scale, const ComponentRecord& r,
                      std::uint32_t stepNumber) {
    if (r.typeCode() == 0)
        return {};
    const double s = scale.picture;
    const auto at = [&](double x, double y) { return origin + QPointF(x * s, y * s); };
    const ComponentView view = DescribeComponent(r);
    const QFont font = ViewFont(18 * s);
    const QFont bold = ViewFont(18 * s, true);

    p.save();
    p.setPen(Qt::black);
    p.setFont(bold);
    // Head: step number, type name, conditions, target.
    p.drawText(at(0, 40), Text(LangText(view_text::kStep) + FormattedNumber(" %03d", stepNumber)));
    p.drawText(at(170, 40), Text(view.typeName));
    const QRectF picture(at(0, 60), QSizeF(150 * s, 150 * s));
    PaintPicture(p, picture, r, view);

    p.setFont(font);
    p.drawText(at(170, 90), Text(LangText(view_text::kEntry)));
    p.drawText(at(380, 90), Text(Formatted("%-10s", r.inputCondition())));
    p.drawText(at(170, 125), Text(LangText(view_text::kBranch)));
    p.drawText(at(380, 125), Text(Formatted("%-10s", r.branchCondition())));
    if (!r.branchCondition().empty()) {
        p.drawText(at(170, 160), Text(LangText(view_text::kTarget)));
        p.drawText(at(380, 160), Text(FormattedNumber("%-3d", r.gotoTarget())));
    }
    p.drawText(at(170, 195), Text(LangText(view_text::kComment)));
    p.drawText(at(380, 195), Text(Formatted("%-50s", r.comment())));

    // The type's own lines below the picture.
    double y = 250;
    const double lineHeight = 24;
    for (const ViewLine& line : view.lines) {
        const QStringList parts = Text(line.text).split(QLatin1Char('\n'));
        switch (line.kind) {
            case ViewLine::Kind::Text:
                for (const QString& part : parts) {
                    p.drawText(at(0, y), part);
                    y += lineHeight;
                }
                break;
            case ViewLine::Kind::Row:
                p.drawText(at(0, y), parts.join(QLatin1Char(' ')));
                p.drawText(at(380, y), Text(line.value));
                y += lineHeight;
                break;
            case ViewLine::Kind::Boxes: {
                p.drawText(at(0, y), parts.join(QLatin1Char(' ')));
                double x = 380;
                const QFontMetricsF metrics(font);
                for (const ViewBox& b : line.boxes) {
                    const QRectF square(at(x, y - 14), QSizeF(14 * s, 14 * s));
                    p.setBrush(b.filled ? QBrush(Qt::black) : QBrush(Qt::NoBrush));
                    p.drawRect(square);
                    p.drawText(at(x + 20, y), Text(b.label));
                    x += 40 + metrics.horizontalAdvance(Text(b.label)) / s;
                }
                p.setBrush(Qt::NoBrush);
                y += lineHeight;
                break;
            }
        }
    }
    p.restore();
    return picture;
}

QRectF PaintView(QPainter& p, const QRectF& target, const ViewContent& c) {
    const ViewScale scale = ViewScale::forHeight(target.height());
    p.save();
    p.setClipRect(target);
    p.translate(target.topLeft());
    const double k = scale.column;
    // Step column: dark green boxes, the current step bright green.
    p.setFont(ViewFont(22 * k, true));
    for (const StepBox& b : c.steps) {
        const QRectF box(b.rect.topLeft() * k, b.rect.bottomRight() * k);
        p.setPen(QPen(kDarkGreen, 1));
        p.setBrush(b.current ? kBrightGreen : kDarkGreen);
        p.drawRect(box);
        p.setPen(b.current ? Qt::black : Qt::white);
        p.drawText(box, Qt::AlignCenter, QString::number(b.step));
    }
    QRectF picture;
    if (c.documentOpen)
        picture = PaintComponent(p, QPointF(150 * k, 0), scale, c.record, c.currentNumber);
    p.restore();
    return picture.translated(target.topLeft());
}

}  // namespace quelvari::render
