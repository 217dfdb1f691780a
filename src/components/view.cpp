#include "components/view.h"

#include <cstdio>

#include "components/catalogue.h"
#include "components/editor.h"
#include "components/editors.h"
#include "texts/texts.h"

namespace quelvari {

ComponentView DescribeComponent(const ComponentRecord& r) {
    ComponentView view;
    view.typeName = TypeName(r);
    view.pictureId = PictureId(r);
    if (const ComponentType* type = FindType(r))
        EditorOf(*type).describe(r, view);
    return view;
}

std::string ViewLineText(const ViewLine& line) {
    switch (line.kind) {
        case ViewLine::Kind::Text:
            return line.text;
        case ViewLine::Kind::Row:
            return line.text + (!line.text.empty() && line.text.back() == ' ' ? "" : " ") +
                   line.value;
        case ViewLine::Kind::Boxes: {
            std::string out = line.text;
            for (const ViewBox& b : line.boxes)
                out += (b.filled ? " [x] " : " [ ] ") + b.label;
            return out;
        }
    }
    return {};
}

std::string VariableText(std::uint8_t letter, std::uint8_t number) {
    if (letter == 0)
        return {};
    std::string text(1, static_cast<char>(letter));
    text += std::to_string(number);
    return text;
}

// "Payload (%d bytes):", one of the editor's own texts.
constexpr std::uint32_t kTextPayload = 60000;

void DescribeGeneric(const ComponentRecord& r, ComponentView& view) {
    // The families without an editor of their own: the type's purpose and the
    // stored payload bytes up to the last one that is not zero.
    if (const ComponentType* type = FindType(r))
        view.text(LangText(type->descriptionId));
    std::size_t end = rec::kRecordSize;
    while (end > rec::kPayload && r.bytes[end - 1] == 0)
        --end;
    std::string hex;
    for (std::size_t i = rec::kPayload; i < end && i < rec::kPayload + 32; ++i) {
        char buf[4];
        std::snprintf(buf, sizeof buf, "%02x", r.bytes[i]);
        if (!hex.empty())
            hex += ' ';
        hex += buf;
    }
    if (end - rec::kPayload > 32)
        hex += " ...";
    view.row(FormatText(GetLangText(kTextPayload), static_cast<long>(end - rec::kPayload)),
             hex.empty() ? "-" : hex);
}

}  // namespace quelvari
