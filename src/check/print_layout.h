// Page arithmetic of the two print-outs, in device units of the printer (or
// of a PDF page): the procedure print-out, several component drawings to a
// page in a grid, and the protocol print-out, the syntax-test protocol as
// plain text lines. The painter only draws what these plans say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quelvari {

// Print option of the configuration file: 0 "normal", 1 "extended".
inline constexpr std::uint32_t kPrintNormal = 0;
inline constexpr std::uint32_t kPrintExtended = 1;

// Texts of the print-outs.
inline constexpr std::uint32_t kTextDocumentName = 3200;   // "Quelvari- Document"
inline constexpr std::uint32_t kTextProcedureHead = 3203;  // "Test procedure "
inline constexpr std::uint32_t kTextPageColon = 3206;      // "Page:"
inline constexpr std::uint32_t kTextPage = 3129;           // "Page"
inline constexpr const char* kProtocolDocumentName = "QuelvariDoc";
inline constexpr const char* kProtocolTitle = "Quelvari";

struct Rect {
    double x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Rect&) const = default;
};

// The grid of the procedure print-out, chosen by the printable size and the
// print option:
//
//   landscape (height <= width)  extended  2 x 3   cell height = height / 3
//   landscape                    normal    3 x 4   cell height = height / 4
//   portrait                     extended  3 x 1   cell height = height / 4
//   portrait                     normal    4 x 2   cell height = height / 5
struct ProcedureGrid {
    bool landscape = false;
    int rows = 0;
    int columns = 0;
    double cellHeight = 0;
    double cellWidth = 0;
    // The component drawings are laid out for a cell 640 units high.
    double scale = 0;
    // Handed to the drawing for line widths and fonts: page width x 0.001.
    double widthFactor = 0;
    int perPage() const { return rows * columns; }
};

// Page layout: a margin of 0.12 of the width on the left (the binding side),
// the drawing area ends at 0.95 of the width; the head line sits in the top
// tenth of the page with a rule under it, and the cells follow from there.
inline constexpr double kLeftMargin = 0.12;
inline constexpr double kDrawingLimit = 0.95;
inline constexpr double kHeadTop = 0.03;
inline constexpr double kHeadRule = 0.07;
inline constexpr double kCellsTop = 0.10;

ProcedureGrid ChooseProcedureGrid(double width, double height, std::uint32_t printOption);

// Pages for `steps` components: the step count divided by the components per
// page, rounded up.
int ProcedurePageCount(std::size_t steps, const ProcedureGrid& grid);

struct ProcedureCell {
    std::size_t step = 0;  // 0-based position in the procedure
    Rect rect;
};

struct ProcedurePage {
    int number = 0;        // 1-based
    std::string headText;  // text 3203 and the document name, Windows-1252
    std::string pageText;  // "%s%3d/%d  " with text 3206, right-aligned
    Rect headRect;         // where the head line and the page text go
    double ruleY = 0;      // the rule from the left margin to the right edge
    double ruleX0 = 0, ruleX1 = 0;
    std::vector<ProcedureCell> cells;
};

struct ProcedurePlan {
    std::string documentName;  // text 3200
    ProcedureGrid grid;
    int pageCount = 0;
    std::vector<ProcedurePage> pages;
};

// The whole procedure print-out of `steps` components on a page of `width` x
// `height`; `documentTitle` follows text 3203 in the head (the file name).
ProcedurePlan PlanProcedurePrint(std::size_t steps, double width, double height,
                                 std::uint32_t printOption, const std::string& documentTitle);

// "%s%3d/%d  " with text 3206.
std::string ProcedurePageText(int page, int pages);

// The protocol print-out. `L` is the number of lines per page the page total
// is computed for; only L - 4 body lines (rows 4 to L - 1) are printed on a
// page, so a long protocol prints more pages than its heads announce. A
// protocol that fills its last page exactly is followed by one more page that
// holds only the head. Both are kept: archived print-outs look like this.
struct ProtocolLine {
    std::size_t index = 0;  // into the protocol's lines
    double y = 0;           // top of the line
};

struct ProtocolPage {
    int number = 0;
    std::string pageText;  // "%s : %d/%ld" with text 3129, right-aligned to x1
    double headY = 0;      // top of the head line ("Quelvari" at x0, page text to x1)
    double ruleY = 0;      // rule from x0 to x1
    std::vector<ProtocolLine> lines;
};

struct ProtocolPlan {
    double lineHeight = 0;
    double x0 = 0;         // 0.15 x page width
    double x1 = 0;         // 0.9 x page width
    int linesPerPage = 0;  // L
    int pageCount = 0;     // what the heads announce
    std::vector<ProtocolPage> pages;
};

// L = page height / line height - 6, at least 1.
int ProtocolLinesPerPage(double pageHeight, double lineHeight);

ProtocolPlan PlanProtocolPrint(std::size_t lineCount, double pageWidth, double pageHeight,
                               double lineHeight);

}  // namespace quelvari
