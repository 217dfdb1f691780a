#include "render/print_render.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPen>

#include <algorithm>

#include "check/print_layout.h"
#include "model/encoding.h"
#include "render/component_painter.h"

namespace quelvari {

namespace {

QString fromCp1252(const std::string& text) {
    return QString::fromStdString(cp1252ToUtf8(text));
}

// The printer's default font, a fixed-pitch one, so that the protocol's
// columns (step numbers, the memory lines) stay aligned.
QFont protocolFont() {
    return QFontDatabase::systemFont(QFontDatabase::FixedFont);
}

QRectF toQt(const Rect& r) {
    return {r.x, r.y, r.width, r.height};
}

// A thin grey rule on the edges that two cells of the page share, so that
// the drawings of neighbouring steps read apart.
void drawCellRules(QPainter& painter, const ProcedurePage& page, double widthFactor) {
    double right = 0, bottom = 0;
    for (const ProcedureCell& cell : page.cells) {
        right = std::max(right, cell.rect.x + cell.rect.width);
        bottom = std::max(bottom, cell.rect.y + cell.rect.height);
    }
    painter.save();
    painter.setPen(QPen(Qt::gray, std::max(1.0, widthFactor * 0.5)));
    const double slack = 0.5;
    for (const ProcedureCell& cell : page.cells) {
        const QRectF r = toQt(cell.rect);
        if (r.right() < right - slack)
            painter.drawLine(r.topRight(), r.bottomRight());
        if (r.bottom() < bottom - slack)
            painter.drawLine(r.bottomLeft(), r.bottomRight());
    }
    painter.restore();
}

// The inner margin of a cell: nothing of a step's drawing comes closer to
// its cell's edge.
double cellMargin(const QRectF& cell) {
    return std::max(2.0, std::min(cell.width(), cell.height()) * 0.02);
}

}  // namespace

int PaintProcedurePrint(QPagedPaintDevice& device, const std::vector<ComponentRecord>& records,
                        std::uint32_t printOption, const std::string& documentTitle,
                        const CellPainter& paintCell) {
    const double width = device.width();
    const double height = device.height();
    const ProcedurePlan plan =
        PlanProcedurePrint(records.size(), width, height, printOption, documentTitle);
    if (plan.pages.empty())
        return 0;
    QPainter painter;
    if (!painter.begin(&device))
        return 0;
    // The head names the file: set letter by letter, without ligatures, so that
    // the name found in or copied from the PDF is the file's name.
    QFont headFont = painter.font();
    headFont.setStyleStrategy(QFont::PreferNoShaping);
    headFont.setPixelSize(std::max(1, static_cast<int>(plan.pages[0].headRect.height * 0.45)));
    for (const ProcedurePage& page : plan.pages) {
        if (page.number > 1)
            device.newPage();
        painter.save();
        painter.setFont(headFont);
        painter.setPen(QPen(Qt::black, std::max(1.0, plan.grid.widthFactor)));
        const QRectF head = toQt(page.headRect);
        painter.drawText(head, Qt::AlignLeft | Qt::AlignBottom, fromCp1252(page.headText));
        painter.drawText(head, Qt::AlignRight | Qt::AlignBottom, fromCp1252(page.pageText));
        painter.drawLine(QPointF(page.ruleX0, page.ruleY), QPointF(page.ruleX1, page.ruleY));
        painter.restore();
        for (const ProcedureCell& cell : page.cells) {
            painter.save();
            paintCell(painter, records[cell.step], toQt(cell.rect), plan.grid.scale,
                      plan.grid.widthFactor);
            painter.restore();
        }
        drawCellRules(painter, page, plan.grid.widthFactor);
    }
    painter.end();
    return static_cast<int>(plan.pages.size());
}

int PrintProcedureToDevice(QPagedPaintDevice& device, const std::vector<ComponentRecord>& records,
                           std::uint32_t printOption, const std::string& documentTitle) {
    // The step number is the record's position, as the view numbers it.
    const auto first = records.empty() ? nullptr : &records.front();
    return PaintProcedurePrint(
        device, records, printOption, documentTitle,
        [first](QPainter& painter, const ComponentRecord& record, const QRectF& cell, double scale,
                double widthFactor) {
            // The drawing starts inside the margin and is cut at it, so that
            // neither its first letters nor a long value touch the rules.
            const double m = cellMargin(cell);
            painter.setClipRect(cell.adjusted(m, m, -m, -m));
            const auto step = static_cast<std::uint32_t>(&record - first) + 1;
            render::PaintComponent(painter, cell.topLeft() + QPointF(m, m),
                                   render::ViewScale{scale, widthFactor}, record, step);
        });
}

ProtocolMetrics ProtocolPrintMetrics(QPagedPaintDevice& device) {
    ProtocolMetrics m;
    // The whole sheet in device units; the printable area when the layout
    // gives none.
    const QRect full = device.pageLayout().fullRectPixels(device.logicalDpiX());
    m.pageWidth = full.width() > 0 ? full.width() : device.width();
    m.pageHeight = full.height() > 0 ? full.height() : device.height();
    QFontMetricsF metrics(protocolFont(), &device);
    // The extent of "1": the font's full line height.
    m.lineHeight = metrics.size(Qt::TextSingleLine, QStringLiteral("1")).height();
    return m;
}

int PaintProtocolPrint(QPagedPaintDevice& device, const std::vector<std::string>& lines) {
    const ProtocolMetrics m = ProtocolPrintMetrics(device);
    const ProtocolPlan plan =
        PlanProtocolPrint(lines.size(), m.pageWidth, m.pageHeight, m.lineHeight);
    QPainter painter;
    if (!painter.begin(&device))
        return 0;
    painter.setFont(protocolFont());
    const QFontMetricsF fm(painter.font(), &device);
    for (const ProtocolPage& page : plan.pages) {
        if (page.number > 1)
            device.newPage();
        // Texts are placed by their top, as the lines are counted.
        const double ascent = fm.ascent();
        painter.drawText(QPointF(plan.x0, page.headY + ascent),
                         QString::fromLatin1(kProtocolTitle));
        const QString pageText = fromCp1252(page.pageText);
        painter.drawText(QPointF(plan.x1 - fm.horizontalAdvance(pageText), page.headY + ascent),
                         pageText);
        painter.drawLine(QPointF(plan.x0, page.ruleY), QPointF(plan.x1, page.ruleY));
        // A line longer than the column ends in an ellipsis at x1 (or at the
        // printable area's edge, when that comes first) instead of running
        // off the paper.
        const double right = std::min(plan.x1, static_cast<double>(device.width()));
        for (const ProtocolLine& line : page.lines)
            painter.drawText(QPointF(plan.x0, line.y + ascent),
                             fm.elidedText(fromCp1252(lines[line.index]), Qt::ElideRight,
                                           std::max(0.0, right - plan.x0)));
    }
    painter.end();
    return static_cast<int>(plan.pages.size());
}

}  // namespace quelvari
