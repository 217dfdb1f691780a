// The editing cycle shared by every component editor: the OK reader's common
// head and branch fields, the filler's common fields, the table of editors by
// type, and the generic editor of the types without editors of their own.
//
// A reader takes a form and fills `editRecord` (clearing it first, except the
// generic reader, which keeps the payload); it returns 0 or a field-error code
// (error number * 256 + field number) and leaves the id of the control it read
// last in form.errorFieldControl (0 after success). A filler takes a record and
// sets the form as the dialog shows it on opening.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "components/catalogue.h"
#include "components/form.h"
#include "components/view.h"
#include "model/record.h"
#include "model/status.h"

namespace quelvari {

inline constexpr std::size_t kConditionReadChars = 21;
inline constexpr std::size_t kDescriptionReadChars = 50;

// Reads control `id` as at most `maxChars` characters, after naming it the
// error field control.
std::string ReadText(Form& form, std::uint32_t id, std::size_t maxChars);

// Clears `r`, then reads the entry condition (field 1) and the description.
int ReadHead(Form& form, ComponentRecord& r);
// Reads the branch condition and the target. A faulty condition returns its
// error with `conditionField`; a target without a condition is error 4 with
// `conditionField`; a condition without a target (0 or unreadable) is error 3
// with `conditionField` + 1.
int ReadBranch(Form& form, ComponentRecord& r, int conditionField);
// Ends a successful read: type code set, error field control 0.
int FinishRead(Form& form, ComponentRecord& r, char typeCode);

// The target as the dialog reads a number: digits only, blanks around them
// allowed; nothing for empty or unreadable text or a value above 65535.
std::optional<std::uint32_t> ReadUnsignedNumber(const std::string& text);

// True for digits (blanks around them allowed) that make a number above
// 65535: no step, but still a number the user typed.
bool IsLargeNumber(const std::string& text);

// Sets the common controls from `r`: entry condition, description, branch
// condition, and the target only when it is not 0.
void FillHead(const ComponentRecord& r, Form& form);

// What the command-line tool needs to know of a dialog's controls.
enum class ControlKind : std::uint8_t { Text, Check, Radio, Combo };
struct EditorControl {
    std::uint32_t id;
    ControlKind kind;
    const char* name;  // a short name tools accept instead of the id
    int group = 0;     // radio buttons of one group (checking one clears the others)
};

struct Editor {
    int (*read)(Form& form, ComponentRecord& editRecord);
    void (*fill)(const ComponentRecord& r, Form& form);
    // The type's own drawn lines (the view adds the common head).
    void (*describe)(const ComponentRecord& r, ComponentView& view);
    std::vector<EditorControl> controls;  // every control the reader reads
};

// The editor of a catalogue type (every row has one).
const Editor& EditorOf(const ComponentType& type);

// The common controls, in the order of every dialog.
std::vector<EditorControl> HeadControls();
std::vector<EditorControl> BranchControls();

// The generic editor of the families without editors of their own: it reads
// and fills only the head fields (entry condition, description, branch
// condition and target, field numbers 1, 3 and 4) and keeps every payload byte
// of the record it started from, so that editing a loaded record loses
// nothing. The graphic print component keeps its mark 'G' at byte 88.
int ReadGeneric(Form& form, ComponentRecord& editRecord, const ComponentType& type);
void FillGeneric(const ComponentRecord& r, Form& form);

}  // namespace quelvari
