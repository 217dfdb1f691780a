#include "check/print_layout.h"

#include <cmath>
#include <cstdio>

#include "texts/texts.h"

namespace quelvari {

ProcedureGrid ChooseProcedureGrid(double width, double height, std::uint32_t printOption) {
    ProcedureGrid g;
    g.landscape = height <= width;
    const bool extended = printOption == kPrintExtended;
    if (g.landscape) {
        g.rows = extended ? 2 : 3;
        g.columns = extended ? 3 : 4;
        g.cellHeight = height / (extended ? 3 : 4);
    } else {
        g.rows = extended ? 3 : 4;
        g.columns = extended ? 1 : 2;
        g.cellHeight = height / (extended ? 4 : 5);
    }
    g.cellWidth = width * (kDrawingLimit - kLeftMargin) / g.columns;
    g.scale = g.cellHeight * 0.0015625;
    g.widthFactor = width * 0.001;
    return g;
}

int ProcedurePageCount(std::size_t steps, const ProcedureGrid& grid) {
    const std::size_t per = static_cast<std::size_t>(grid.perPage());
    if (per == 0)
        return 0;
    return static_cast<int>((steps + per - 1) / per);
}

std::string ProcedurePageText(int page, int pages) {
    char buf[160];
    std::snprintf(buf, sizeof buf, "%s%3d/%d  ", GetLangText(kTextPageColon), page, pages);
    return buf;
}

ProcedurePlan PlanProcedurePrint(std::size_t steps, double width, double height,
                                 std::uint32_t printOption, const std::string& documentTitle) {
    ProcedurePlan plan;
    plan.documentName = LangText(kTextDocumentName);
    plan.grid = ChooseProcedureGrid(width, height, printOption);
    plan.pageCount = ProcedurePageCount(steps, plan.grid);
    const ProcedureGrid& g = plan.grid;
    const std::size_t per = static_cast<std::size_t>(g.perPage());
    const double left = width * kLeftMargin;
    for (std::size_t step = 0; step < steps; ++step) {
        const std::size_t slot = step % per;
        if (slot == 0) {
            ProcedurePage page;
            page.number = static_cast<int>(step / per) + 1;
            page.headText = LangText(kTextProcedureHead) + documentTitle;
            page.pageText = ProcedurePageText(page.number, plan.pageCount);
            page.headRect = {left, height * kHeadTop, width * kDrawingLimit - left,
                             height * (kHeadRule - kHeadTop)};
            page.ruleY = height * kHeadRule;
            page.ruleX0 = left;
            page.ruleX1 = width * kDrawingLimit;
            plan.pages.push_back(std::move(page));
        }
        const int row = static_cast<int>(slot) / g.columns;
        const int column = static_cast<int>(slot) % g.columns;
        plan.pages.back().cells.push_back(
            {step,
             {left + column * g.cellWidth, height * kCellsTop + row * g.cellHeight, g.cellWidth,
              g.cellHeight}});
    }
    return plan;
}

int ProtocolLinesPerPage(double pageHeight, double lineHeight) {
    if (!(lineHeight > 0))
        return 1;
    // Whole lines, as the printer's integer arithmetic counts them.
    const long lines = static_cast<long>(std::floor(pageHeight / lineHeight)) - 6;
    return lines > 0 ? static_cast<int>(lines) : 1;
}

namespace {

std::string protocolPageText(int page, long pages) {
    char buf[160];
    std::snprintf(buf, sizeof buf, "%s : %d/%ld", GetLangText(kTextPage), page, pages);
    return buf;
}

}  // namespace

ProtocolPlan PlanProtocolPrint(std::size_t lineCount, double pageWidth, double pageHeight,
                               double lineHeight) {
    ProtocolPlan plan;
    plan.lineHeight = lineHeight;
    plan.x0 = 0.15 * pageWidth;
    plan.x1 = 0.9 * pageWidth;
    const int L = ProtocolLinesPerPage(pageHeight, lineHeight);
    plan.linesPerPage = L;
    plan.pageCount = static_cast<int>((lineCount + static_cast<std::size_t>(L) - 1) /
                                      static_cast<std::size_t>(L));
    constexpr int kFirstRow = 4;

    auto startPage = [&] {
        ProtocolPage page;
        page.number = static_cast<int>(plan.pages.size()) + 1;
        page.pageText = protocolPageText(page.number, plan.pageCount);
        page.headY = 2 * lineHeight;
        page.ruleY = 3 * lineHeight;
        plan.pages.push_back(std::move(page));
    };

    // The body runs from row 4; when the row reaches L the page ends and the
    // next page starts at once with its head, even when no line follows. On a
    // page too small for a body (L of 4 or less) every line gets a page.
    startPage();
    int row = kFirstRow;
    for (std::size_t i = 0; i < lineCount; ++i) {
        plan.pages.back().lines.push_back({i, row * lineHeight});
        if (++row >= L) {
            startPage();
            row = kFirstRow;
        }
    }
    return plan;
}

}  // namespace quelvari
