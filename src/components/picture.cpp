// Picture component 'p': a bitmap or JPEG file placed on the screen or the
// printed protocol, position and size in percent of the medium.
#include <cstdlib>
#include <cstring>

#include "components/controls.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "model/numbers.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

using control::picture::kPrinterButton;
using control::picture::kScreenButton;
constexpr std::uint32_t kFileShown = 1173;
constexpr std::uint32_t kXEdit = 1174;  // Y 1175, width 1176, height 1177
constexpr std::uint32_t kYEdit = 1175;
constexpr std::uint32_t kYLabel = 2021;
constexpr std::uint32_t kClearYes = 1057;
constexpr std::uint32_t kClearNo = 1056;
constexpr std::uint32_t kClearGroup = 2006;
constexpr std::uint32_t kTransparent = 2163;
using control::picture::kLinePosition;

std::int32_t leadingInt(const std::string& text) {
    const long v = ParseLeadingInteger(text);
    return static_cast<std::int32_t>(v);
}

}  // namespace

std::vector<EditorControl> PictureControls() {
    return {{kFileShown, ControlKind::Text, "file"},
            {kScreenButton, ControlKind::Radio, "screen", 1},
            {kPrinterButton, ControlKind::Radio, "printer", 1},
            {kClearYes, ControlKind::Radio, "clear-yes", 2},
            {kClearNo, ControlKind::Radio, "clear-no", 2},
            {kXEdit, ControlKind::Text, "x"},
            {kXEdit + 1, ControlKind::Text, "y"},
            {kXEdit + 2, ControlKind::Text, "width"},
            {kXEdit + 3, ControlKind::Text, "height"},
            {kTransparent, ControlKind::Check, "transparent"},
            {kLinePosition, ControlKind::Check, "line-position"}};
}

int ChoosePictureFile(Form& form, const std::string& path) {
    const std::string ext = path.size() >= 4 ? AsciiUpper(path.substr(path.size() - 4)) : "";
    if (ext == ".BMP" || ext == ".JPG") {
        form.setText(kFileShown, path);
        return 0;
    }
    form.setText(kFileShown, "");
    return ErrorCode(kErrPictureFile, 0);
}

std::string PictureFileFilter(std::uint32_t lang) {
    switch (lang) {
        case 2:
            return "Fichiers Image (*.bmp)|*.bmp|Fichier format JPEG (*.jpg)|*.jpg||";
        case 1:
        case 3:
            return "Bitmap- files (*.bmp)|*.bmp|JPEG File Interchange-Format (*.jpg)|*.jpg||";
        default:
            return "Bitmap-Dateien (*.bmp)|*.bmp|JPEG File Interchange-Format (*.jpg)|*.jpg||";
    }
}

void ApplyPictureMedium(Form& form, bool screen) {
    form.setChecked(kScreenButton, screen);
    form.setChecked(kPrinterButton, !screen);
    form.setText(kClearGroup, LangText(screen ? 3048 : 3089));
    form.setVisible(kTransparent, !screen);
    form.setVisible(kLinePosition, !screen);
    if (screen)
        form.setChecked(kLinePosition, false);
    // The Y position is hidden while the current line position is used.
    const bool showY = screen || !form.checked(kLinePosition);
    form.setVisible(kYLabel, showY);
    form.setVisible(kYEdit, showY);
}

int ReadPicture(Form& form, ComponentRecord& r) {
    using namespace layout::picture;
    if (const int e = ReadHead(form, r))
        return e;
    const std::string file = ReadText(form, kFileShown, kFileSize - 1);
    if (file.empty())
        return ErrorCode(kErrPictureFile, 0);
    r.setText(kFile, file);
    r.setU8(kPictureSet, 1);
    const bool screen = form.checked(kScreenButton);
    r.setU8(kOutputMedium, screen ? kScreen : kPrinter);
    r.setU8(kClearFirst, form.checked(kClearYes) ? 1 : 0);
    // A case-sensitive search, unlike the file choice: ".BMP" is stored as JPEG.
    r.setU8(kPictureKind, file.find(".bmp") != std::string::npos ? kBitmap : kJpeg);
    std::int32_t v[4];
    for (std::uint32_t i = 0; i < 4; ++i) {
        v[i] = leadingInt(ReadText(form, kXEdit + i, 9));
        r.setU32(kXPercent + 4 * i, static_cast<std::uint32_t>(v[i]));
    }
    r.setU8(kTransparentText, form.checked(kTransparent) ? 1 : 0);
    r.setU8(kUseLinePosition, form.checked(kLinePosition) ? 1 : 0);
    form.errorFieldControl = 0;
    const std::int64_t x = v[0], y = v[1], w = v[2], h = v[3];
    if (w < 5 || h < 5 || (screen && (x + w > 100 || y + h > 100)))
        return ErrorCode(kErrPictureSize, 0);
    if (const int e = ReadBranch(form, r, 4))
        return e;
    return FinishRead(form, r, 'p');
}

void FillPicture(const ComponentRecord& r, Form& form) {
    using namespace layout::picture;
    FillHead(r, form);
    form.setText(kFileShown, r.text(kFile, kFileSize));
    const bool clear = r.u8(kClearFirst) != 0;
    form.setChecked(kClearYes, clear);
    form.setChecked(kClearNo, !clear);
    for (std::uint32_t i = 0; i < 4; ++i)
        form.setText(kXEdit + i,
                     std::to_string(static_cast<std::int32_t>(r.u32(kXPercent + 4 * i))));
    form.setChecked(kTransparent, r.u8(kTransparentText) != 0);
    form.setChecked(kLinePosition, r.u8(kUseLinePosition) != 0);
    ApplyPictureMedium(form, r.u8(kOutputMedium) != kPrinter);
}

void DescribePicture(const ComponentRecord& r, ComponentView& view) {
    using namespace layout::picture;
    const bool screen = r.u8(kOutputMedium) != kPrinter;
    view.row(LangText(1172), r.text(kFile, kFileSize));
    view.row(LangText(2018), LangText(screen ? 1170 : 1171));
    const bool clear = r.u8(kClearFirst) != 0;
    view.boxes(LangText(screen ? 3048 : 3089), {{LangText(3009), clear}, {LangText(3010), !clear}});
    for (std::uint32_t i = 0; i < 4; ++i) {
        if (i == 1 && !screen && r.u8(kUseLinePosition))
            continue;
        view.row(LangText(2020 + i),
                 std::to_string(static_cast<std::int32_t>(r.u32(kXPercent + 4 * i))) + " %");
    }
    if (!screen) {
        // Labels of the dialog's check boxes: German has them only built in.
        view.boxes(ControlText(kTransparent), {{LangText(3009), r.u8(kTransparentText) != 0}});
        view.boxes(ControlText(kLinePosition), {{LangText(3009), r.u8(kUseLinePosition) != 0}});
    }
}

}  // namespace quelvari
