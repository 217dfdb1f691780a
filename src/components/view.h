// What the procedure view and the print-out draw for one component, as data:
// the painter of the user interface renders it, tests read it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/record.h"

namespace quelvari {

// A small labelled square; `filled` marks the stored answer.
struct ViewBox {
    std::string label;
    bool filled = false;
    bool operator==(const ViewBox&) const = default;
};

// One drawn line. All texts are Windows-1252 in the current language; a text
// may hold line breaks, which are part of the table texts.
struct ViewLine {
    enum class Kind : std::uint8_t {
        Text,   // `text` alone
        Row,    // `text` as label, `value` beside it
        Boxes,  // `text` as question, then the boxes
    };
    Kind kind = Kind::Text;
    std::string text;
    std::string value;
    std::vector<ViewBox> boxes;
    bool operator==(const ViewLine&) const = default;
};

struct ComponentView {
    std::string typeName;  // name of the type, or "unknown"
    std::uint16_t pictureId = 0;
    std::vector<ViewLine> lines;  // the type's own lines, top to bottom

    void text(std::string t) { lines.push_back({ViewLine::Kind::Text, std::move(t), {}, {}}); }
    void row(std::string label, std::string value) {
        lines.push_back({ViewLine::Kind::Row, std::move(label), std::move(value), {}});
    }
    void boxes(std::string question, std::vector<ViewBox> b) {
        lines.push_back({ViewLine::Kind::Boxes, std::move(question), {}, std::move(b)});
    }
};

// The labels of the head every drawn component carries beside its picture:
// step, entry and branch condition, branch target, comment.
namespace view_text {
inline constexpr std::uint32_t kEntry = 3000;
inline constexpr std::uint32_t kBranch = 3001;
inline constexpr std::uint32_t kStep = 3002;
inline constexpr std::uint32_t kTarget = 3003;
inline constexpr std::uint32_t kComment = 3004;
inline constexpr std::uint32_t kAll[] = {kEntry, kBranch, kStep, kTarget, kComment};
}  // namespace view_text

// The description of `r` in the current language.
ComponentView DescribeComponent(const ComponentRecord& r);

// One line as plain text: "label value", "question [x] Yes [ ] No".
std::string ViewLineText(const ViewLine& line);

// "letter number" of a stored variable reference; empty when the letter is 0.
std::string VariableText(std::uint8_t letter, std::uint8_t number);

}  // namespace quelvari
