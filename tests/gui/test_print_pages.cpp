// The printed pages as pictures: PDFs from the print-out painters, turned
// into images with pdftoppm, then searched for ink where none belongs.
#include <gtest/gtest.h>

#include <QImage>
#include <QPdfWriter>
#include <QTemporaryDir>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "check/print_layout.h"
#include "model/record.h"
#include "render/print_render.h"

namespace quelvari {
namespace {

constexpr int kPdfDpi = 300;
constexpr int kImageDpi = 150;
constexpr double kToImage = double(kImageDpi) / kPdfDpi;

// Page 1 of what `paint` prints on A4 paper of this orientation and margin,
// as a grey image at kImageDpi.
QImage Printed(QPageLayout::Orientation orientation, double marginMm,
               const std::function<void(QPdfWriter&)>& paint) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("page.pdf"));
    {
        QPdfWriter pdf(path);
        pdf.setResolution(kPdfDpi);
        pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), orientation,
                                      QMarginsF(marginMm, marginMm, marginMm, marginMm),
                                      QPageLayout::Millimeter));
        paint(pdf);
    }
    const std::string cmd = "pdftoppm -r " + std::to_string(kImageDpi) +
                            " -gray -png -f 1 -l 1 -singlefile '" + path.toStdString() + "' '" +
                            path.toStdString() + "'";
    if (std::system(cmd.c_str()) != 0)
        return {};
    return QImage(path + QStringLiteral(".png")).convertToFormat(QImage::Format_Grayscale8);
}

// Dark pixels (text, not the grey rules) in the image columns [x0, x1) and
// rows [y0, y1).
int Ink(const QImage& page, int x0, int x1, int y0, int y1, int below = 100) {
    int n = 0;
    for (int y = std::max(0, y0); y < std::min(page.height(), y1); ++y)
        for (int x = std::max(0, x0); x < std::min(page.width(), x1); ++x)
            n += qGray(page.pixel(x, y)) < below;
    return n;
}

TEST(PrintPages, CellsAreCutInsideTheirMarginAndRuledApart) {
    // Every cell's command lines and comment are far longer than the cell:
    // without the cut they run over the edge into the next cell.
    std::vector<ComponentRecord> records(12);
    for (ComponentRecord& r : records) {
        r.setTypeCode('D');
        r.setText(rec::kComment, std::string(50, 'W'));
        r.setText(152, std::string(70, 'M'));
        r.setText(152 + 80, std::string(70, 'M'));
    }
    const double marginMm = 10;
    double width = 0, height = 0;
    const QImage page = Printed(QPageLayout::Landscape, marginMm, [&](QPdfWriter& pdf) {
        width = pdf.width();
        height = pdf.height();
        EXPECT_EQ(PrintProcedureToDevice(pdf, records, kPrintNormal, "T.PAD"), 1);
    });
    ASSERT_FALSE(page.isNull());

    // The grid is the one the page arithmetic gives: 3 x 4 on landscape.
    const ProcedurePlan plan = PlanProcedurePrint(records.size(), width, height, kPrintNormal, "T");
    ASSERT_EQ(plan.pages.at(0).cells.size(), 12u);
    const double origin = marginMm / 25.4 * kImageDpi;
    const auto ix = [&](double x) { return static_cast<int>(origin + x * kToImage); };
    int inkedCells = 0, ruledEdges = 0;
    for (const ProcedureCell& cell : plan.pages[0].cells) {
        const Rect& r = cell.rect;
        const int left = ix(r.x), right = ix(r.x + r.width);
        const int top = ix(r.y), bottom = ix(r.y + r.height);
        inkedCells += Ink(page, left, right, top, bottom) > 0;
        // A band of two pixels on each side of the right edge stays clear of
        // text; between two cells the edge carries a rule.
        if (r.x + r.width < width * 0.9) {
            EXPECT_EQ(Ink(page, right - 3, right + 3, top, bottom), 0) << "step " << cell.step;
            ruledEdges += Ink(page, right - 1, right + 2, top + 10, top + 11, 250) > 0;
        }
    }
    EXPECT_EQ(inkedCells, 12);
    EXPECT_EQ(ruledEdges, 9);
}

TEST(PrintPages, ProtocolLinesStayInsideTheColumn) {
    // Lines far longer than the column: they end at its right edge x1 (with
    // an ellipsis), never beyond it; short lines are printed whole.
    std::vector<std::string> lines(6, std::string(240, 'X'));
    lines.push_back("*** PAD ***");
    ProtocolMetrics m;
    const QImage page = Printed(QPageLayout::Portrait, 0, [&](QPdfWriter& pdf) {
        m = ProtocolPrintMetrics(pdf);
        EXPECT_EQ(PaintProtocolPrint(pdf, lines), 1);
    });
    ASSERT_FALSE(page.isNull());
    const ProtocolPlan plan =
        PlanProtocolPrint(lines.size(), m.pageWidth, m.pageHeight, m.lineHeight);

    const int x0 = static_cast<int>(plan.x0 * kToImage);
    const int x1 = static_cast<int>(plan.x1 * kToImage);
    const int firstRow = static_cast<int>(plan.pages[0].lines.front().y * kToImage);
    const int rowHeight = static_cast<int>(m.lineHeight * kToImage);
    const int bodyEnd = firstRow + 7 * rowHeight;
    EXPECT_EQ(Ink(page, x1 + 2, page.width(), 0, page.height()), 0);
    // The long lines fill the column up to its edge.
    EXPECT_GT(Ink(page, x1 - rowHeight, x1 + 2, firstRow, firstRow + 6 * rowHeight), 0);
    EXPECT_GT(Ink(page, x0, x0 + rowHeight, firstRow + 6 * rowHeight, bodyEnd), 0);
}

}  // namespace
}  // namespace quelvari
