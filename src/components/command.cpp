// Command component 'D': up to four command lines and the DOS window switch.
#include <cstdio>

#include "components/editors.h"
#include "components/layouts.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

constexpr std::uint32_t kDosNo = 1056;
constexpr std::uint32_t kDosYes = 1057;
constexpr std::uint32_t kFirstLineEdit = 1324;
constexpr std::size_t kLineReadChars = 54;

}  // namespace

std::vector<EditorControl> CommandControls() {
    return {{kDosYes, ControlKind::Radio, "dos-yes", 1},
            {kDosNo, ControlKind::Radio, "dos-no", 1},
            {kFirstLineEdit, ControlKind::Text, "line1"},
            {kFirstLineEdit + 1, ControlKind::Text, "line2"},
            {kFirstLineEdit + 2, ControlKind::Text, "line3"},
            {kFirstLineEdit + 3, ControlKind::Text, "line4"}};
}

int ReadCommand(Form& form, ComponentRecord& r) {
    using namespace layout::command;
    if (const int e = ReadHead(form, r))
        return e;
    form.errorFieldControl = kDosYes;
    r.setU8(kOwnDosWindow, form.checked(kDosYes) ? 1 : 0);
    bool any = false;
    for (std::uint32_t i = 0; i < kLineCount; ++i) {
        const std::string text = ReadText(form, kFirstLineEdit + i, kLineReadChars);
        // A line too long gives the bare field number 3 to 6, no error number.
        if (text.size() > kLineMax)
            return static_cast<int>(i + 3);
        if (!text.empty()) {
            r.setText(line(i), text);
            any = true;
        }
    }
    if (!any)
        return ErrorCode(kErrEmptyField, 0);
    // Field numbers: 4 for a faulty branch condition and for a target without
    // one, 5 for a missing target (they overlap the command lines' numbers).
    if (const int e = ReadBranch(form, r, 4))
        return e;
    return FinishRead(form, r, 'D');
}

void FillCommand(const ComponentRecord& r, Form& form) {
    using namespace layout::command;
    FillHead(r, form);
    const bool yes = r.u8(kOwnDosWindow) != 0;
    form.setChecked(kDosYes, yes);
    form.setChecked(kDosNo, !yes);
    for (std::uint32_t i = 0; i < kLineCount; ++i)
        form.setText(kFirstLineEdit + i, r.text(line(i), kLineStride));
}

void DescribeCommand(const ComponentRecord& r, ComponentView& view) {
    using namespace layout::command;
    const bool yes = r.u8(kOwnDosWindow) == 1;
    view.boxes(LangText(3092), {{LangText(3009), yes}, {LangText(3010), !yes}});
    const std::string label = LangText(3093);
    for (std::uint32_t i = 0; i < kLineCount; ++i) {
        char buf[160];
        std::snprintf(buf, sizeof buf, "%s %d: ", label.c_str(), static_cast<int>(i + 1));
        view.row(buf, r.text(line(i), kLineStride));
    }
}

}  // namespace quelvari
