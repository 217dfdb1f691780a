// Page arithmetic of the procedure and protocol print-outs, and the protocol
// lines that lead back to their findings (the dialogs' double click).
#include <gtest/gtest.h>

#include <algorithm>

#include "check/print_layout.h"
#include "check/protocol_jump.h"
#include "components/layouts.h"
#include "model/procedure_file.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

class PrintLayout : public ::testing::Test {
  protected:
    void SetUp() override { setLanguage(kEnglish); }
    void TearDown() override { setLanguage(kGerman); }
};

TEST_F(PrintLayout, GridFollowsOrientationAndOption) {
    struct Case {
        double w, h;
        std::uint32_t option;
        bool landscape;
        int rows, columns;
        double cellHeight;
    };
    const Case cases[] = {
        {1200, 800, kPrintExtended, true, 2, 3, 800.0 / 3},
        {1200, 800, kPrintNormal, true, 3, 4, 200},
        {800, 1200, kPrintExtended, false, 3, 1, 300},
        {800, 1200, kPrintNormal, false, 4, 2, 240},
        // A square page counts as landscape; any option but 1 is normal.
        {1000, 1000, kPrintNormal, true, 3, 4, 250},
        {800, 1200, 7, false, 4, 2, 240},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " option " << c.option);
        const ProcedureGrid g = ChooseProcedureGrid(c.w, c.h, c.option);
        EXPECT_EQ(g.landscape, c.landscape);
        EXPECT_EQ(g.rows, c.rows);
        EXPECT_EQ(g.columns, c.columns);
        EXPECT_DOUBLE_EQ(g.cellHeight, c.cellHeight);
        EXPECT_DOUBLE_EQ(g.scale, c.cellHeight * 0.0015625);
        EXPECT_DOUBLE_EQ(g.widthFactor, c.w * 0.001);
        // The cells fit between the left margin and the drawing limit, and
        // below the head within the page.
        EXPECT_NEAR(g.cellWidth * g.columns, c.w * (0.95 - 0.12), 1e-9);
        EXPECT_LE(c.h * kCellsTop + g.rows * g.cellHeight, c.h * 0.95);
    }
}

TEST_F(PrintLayout, ProcedurePagesAndHeads) {
    // 13 components on a landscape page: normal gives 2 pages, extended 3.
    // Cells and page text of each page.
    auto pages = [](const ProcedurePlan& plan) {
        std::vector<std::pair<std::size_t, std::string>> out;
        for (const auto& p : plan.pages)
            out.emplace_back(p.cells.size(), p.pageText);
        return out;
    };
    using Pages = std::vector<std::pair<std::size_t, std::string>>;
    ProcedurePlan normal = PlanProcedurePrint(13, 1100, 800, kPrintNormal, "C:/P/T.PAD");
    EXPECT_EQ(normal.pageCount, 2);
    EXPECT_EQ(pages(normal), (Pages{{12, "Page:  1/2  "}, {1, "Page:  2/2  "}}));
    ASSERT_EQ(normal.pages.size(), 2u);
    EXPECT_EQ(normal.pages[0].headText, "Test procedure C:/P/T.PAD");
    EXPECT_EQ(normal.documentName, "Quelvari- Document");
    EXPECT_EQ(normal.pages[1].cells[0].step, 12u);
    const ProcedurePlan extended = PlanProcedurePrint(13, 1100, 800, kPrintExtended, "T.PAD");
    EXPECT_EQ(extended.pageCount, 3);
    EXPECT_EQ(pages(extended),
              (Pages{{6, "Page:  1/3  "}, {6, "Page:  2/3  "}, {1, "Page:  3/3  "}}));

    // A full last page is not followed by an empty one.
    EXPECT_EQ(PlanProcedurePrint(12, 1100, 800, kPrintNormal, "").pages.size(), 1u);
    EXPECT_EQ(PlanProcedurePrint(9, 800, 1100, kPrintNormal, "").pageCount, 2);
    EXPECT_EQ(PlanProcedurePrint(0, 800, 1100, kPrintNormal, "").pageCount, 0);

    // Cells advance row by row: on a 3 x 4 page step 5 is row 1, column 1.
    const ProcedureGrid& g = normal.grid;
    const Rect first = normal.pages[0].cells[0].rect;
    const Rect sixth = normal.pages[0].cells[5].rect;
    EXPECT_DOUBLE_EQ(first.x, 1100 * kLeftMargin);
    EXPECT_DOUBLE_EQ(sixth.x, first.x + g.cellWidth);
    EXPECT_DOUBLE_EQ(sixth.y, first.y + g.cellHeight);
    EXPECT_DOUBLE_EQ(normal.pages[1].cells[0].rect.y, first.y);
    // The rule lies under the head, above the first row.
    EXPECT_GT(normal.pages[0].ruleY, normal.pages[0].headRect.y);
    EXPECT_LE(normal.pages[0].ruleY, first.y);

    // Three-digit page numbers keep their width; German head texts.
    EXPECT_EQ(ProcedurePageText(100, 120), "Page:100/120  ");
    setLanguage(kGerman);
    EXPECT_EQ(PlanProcedurePrint(1, 800, 1100, kPrintNormal, "X").pages[0].headText,
              "Pr\xfc"
              "fablauf X");
}

TEST_F(PrintLayout, ProtocolLinesPerPage) {
    // Whole lines only; nothing left after the six lines of head and margin
    // (or no line height): one line a page.
    const int cases[][3] = {{1000, 10, 94}, {1009, 10, 94}, {60, 10, 1}, {30, 10, 1}, {100, 0, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(ProtocolLinesPerPage(c[0], c[1]), c[2]) << c[0] << "/" << c[1];
}

TEST_F(PrintLayout, ProtocolPagesKeepTheirQuirks) {
    // Page 1000 high, lines 10 high: L = 94, 90 body lines per page.
    const int L = 94;
    const ProtocolPlan one = PlanProtocolPrint(10, 800, 1000, 10);
    EXPECT_EQ(one.linesPerPage, L);
    ASSERT_EQ(one.pages.size(), 1u);
    EXPECT_EQ(one.pages[0].pageText, "Page : 1/1");
    const auto& head = one.pages[0];
    EXPECT_EQ((std::vector<double>{one.x0, one.x1, head.headY, head.ruleY, head.lines[0].y,
                                   head.lines[9].y}),
              (std::vector<double>{120, 720, 20, 30, 40, 130}));

    // Exactly L - 4 lines: the page is full, and one more page holds only the head.
    const ProtocolPlan full = PlanProtocolPrint(L - 4, 800, 1000, 10);
    ASSERT_EQ(full.pages.size(), 2u);
    EXPECT_EQ(full.pages[0].lines.size(), static_cast<std::size_t>(L - 4));
    EXPECT_DOUBLE_EQ(full.pages[0].lines.back().y, (L - 1) * 10.0);
    EXPECT_TRUE(full.pages[1].lines.empty());
    EXPECT_EQ(full.pages[1].pageText, "Page : 2/1");

    // One line more goes to the second page.
    const ProtocolPlan over = PlanProtocolPrint(L - 3, 800, 1000, 10);
    ASSERT_EQ(over.pages.size(), 2u);
    ASSERT_EQ(over.pages[1].lines.size(), 1u);
    EXPECT_EQ(over.pages[1].lines[0].index, static_cast<std::size_t>(L - 4));
    EXPECT_DOUBLE_EQ(over.pages[1].lines[0].y, 40);

    // The total is computed for L lines a page: 280 lines announce 3 pages
    // and print 4 (90 + 90 + 90 + 10).
    const ProtocolPlan longer = PlanProtocolPrint(280, 800, 1000, 10);
    EXPECT_EQ(longer.pageCount, 3);
    ASSERT_EQ(longer.pages.size(), 4u);
    EXPECT_EQ(longer.pages[3].pageText, "Page : 4/3");
    std::size_t printed = 0;
    for (const ProtocolPage& p : longer.pages)
        printed += p.lines.size();
    EXPECT_EQ(printed, 280u);

    // An empty protocol still prints its head.
    const ProtocolPlan empty = PlanProtocolPrint(0, 800, 1000, 10);
    ASSERT_EQ(empty.pages.size(), 1u);
    EXPECT_EQ(empty.pages[0].pageText, "Page : 1/0");
}

TEST(ProtocolTargets, LinesLeadToTheirFindings) {
    test::TempDir dir;
    ProcedureList list;
    // Step 1 jumps to a step that does not exist; step 2 calls a missing
    // module (a finding about a file, without a step) and is the last one.
    list.appendRecord(test::makeRecord('Z', "wait", "B1", 9));
    ComponentRecord module = test::makeRecord('U', "call");
    module.setText(layout::module::kName, "NOPE");
    list.appendRecord(module);
    const std::string pad = dir.file("T.PAD");
    ASSERT_TRUE(writeProcedure(pad, list).ok());

    const SyntaxTestResult r = RunSyntaxTest(pad, kCheckTarvisel);
    ASSERT_FALSE(r.findings.empty());
    const auto targets = ProtocolTargets(r);
    ASSERT_EQ(targets.size(), r.lines.size());
    // The head and the file header lead nowhere.
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_FALSE(targets[i]) << r.lines[i];
    EXPECT_FALSE(targets.back());

    std::vector<bool> reached(r.findings.size());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (!targets[i])
            continue;
        const SyntaxFinding& f = r.findings[targets[i]->finding];
        reached[targets[i]->finding] = true;
        const auto lines = RenderFinding(f);
        EXPECT_NE(std::find(lines.begin(), lines.end(), r.lines[i]), lines.end()) << r.lines[i];
        EXPECT_EQ(targets[i]->step, f.wholeFile() ? 0 : f.step);
        EXPECT_EQ(targets[i]->path, r.files[f.file].path);
    }
    EXPECT_TRUE(std::all_of(reached.begin(), reached.end(), [](bool b) { return b; }));

    // The GOTO finding leads to the procedure at its step; the missing module
    // to no step.
    auto goTo = std::find_if(targets.begin(), targets.end(), [&](const auto& t) {
        return t && r.findings[t->finding].textId == 8019;
    });
    ASSERT_NE(goTo, targets.end());
    EXPECT_EQ((*goTo)->kind, CheckedFileKind::Procedure);
    EXPECT_GT((*goTo)->step, 0);
    auto missing = std::find_if(targets.begin(), targets.end(), [&](const auto& t) {
        return t && r.findings[t->finding].textId == 8025;
    });
    ASSERT_NE(missing, targets.end());
    EXPECT_EQ((*missing)->step, 0);
}

}  // namespace
}  // namespace quelvari
