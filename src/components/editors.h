// The editors of the types whose dialogs are fully defined, one set per
// family: reader, filler and the description of what the view draws. Used
// through the table in editor.cpp.
#pragma once

#include <array>
#include <vector>

#include "components/editor.h"

namespace quelvari {

// Time component 'Z'.
int ReadTime(Form& form, ComponentRecord& r);
void FillTime(const ComponentRecord& r, Form& form);
void DescribeTime(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> TimeControls();

// Interrupt component 'I'.
int ReadInterrupt(Form& form, ComponentRecord& r);
void FillInterrupt(const ComponentRecord& r, Form& form);
void DescribeInterrupt(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> InterruptControls();

// Break component 'u'.
int ReadBreak(Form& form, ComponentRecord& r);
void FillBreak(const ComponentRecord& r, Form& form);
void DescribeBreak(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> BreakControls();

// Section component 'C'.
int ReadSection(Form& form, ComponentRecord& r);
void FillSection(const ComponentRecord& r, Form& form);
void DescribeSection(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> SectionControls();

// Module component 'U'.
int ReadModule(Form& form, ComponentRecord& r);
void FillModule(const ComponentRecord& r, Form& form);
void DescribeModule(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> ModuleControls();

// The generic editors' description: a summary of the stored payload.
void DescribeGeneric(const ComponentRecord& r, ComponentView& view);

}  // namespace quelvari

namespace quelvari {

// Command component 'D'.
int ReadCommand(Form& form, ComponentRecord& r);
void FillCommand(const ComponentRecord& r, Form& form);
void DescribeCommand(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> CommandControls();

// Picture component 'p'.
int ReadPicture(Form& form, ComponentRecord& r);
void FillPicture(const ComponentRecord& r, Form& form);
void DescribePicture(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> PictureControls();
// The file choice (button 1172): a path ending in .bmp or .jpg, in any case,
// is shown in 1173 and 0 returned; any other path empties 1173 and returns
// error 60 (0x3C00).
int ChoosePictureFile(Form& form, const std::string& path);
// The file-open dialog's filter in language `lang`.
std::string PictureFileFilter(std::uint32_t lang);
// Shows the controls that suit the output medium (screen or printer) and the
// line position check box, as clicking those buttons does.
void ApplyPictureMedium(Form& form, bool screen);

// Measuring component 'M'.
int ReadMeasuring(Form& form, ComponentRecord& r);
void FillMeasuring(const ComponentRecord& r, Form& form);
void DescribeMeasuring(const ComponentRecord& r, ComponentView& view);
std::vector<EditorControl> MeasuringControls();
// Enables and shows the controls of mode index 0 (M), 1 (S) or 2 (T) with the
// trigger link `link` (record byte 184), and checks the mode's button.
void ApplyMeasuringMode(Form& form, int modeIndex, std::uint8_t link);
// The measured-variable list from record byte 90 as text ("P1P2T1", "<S5>"),
// every entry up to the first empty one, in the code page.
std::string VariableListText(const ComponentRecord& r);
// The same list as the edit field and the view show it: ended by a zero
// second name character, cut after 40 characters.
std::string FormatVariableList(const ComponentRecord& r);
// Parses a list text into the 3-byte entries (with the closing 0 byte).
// Returns 0 or the error number (11, 14, 113); the bytes are set only on
// success.
int ParseVariableList(const std::string& text, std::vector<std::uint8_t>& bytes);

// One entry of a list text: a name of one or two characters and the decimal
// number behind it. `digits` counts the number's digits; the number is summed
// over the first four only, so a long run of digits cannot overflow it (every
// reader refuses more than three).
struct VariableEntryText {
    std::uint8_t first = 0;
    std::uint8_t second = 0;  // 0 for a one-character name
    int digits = 0;
    int number = 0;
    // The entry's three record bytes: name and number, the number behind a
    // one-character name, 0 at the end.
    std::array<std::uint8_t, 3> bytes() const {
        const auto n = static_cast<std::uint8_t>(number);
        return second ? std::array<std::uint8_t, 3>{first, second, n}
                      : std::array<std::uint8_t, 3>{first, n, 0};
    }
};
// Reads the entry that starts at `pos` (inside `text`) and moves past it.
VariableEntryText ReadVariableEntry(const std::string& text, std::size_t& pos);

}  // namespace quelvari
