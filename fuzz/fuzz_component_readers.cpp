// Every component editor's OK reader with fuzzed control values, on both paths
// a dialog takes: a new component (the type's preset record, the form blank
// as the command-line tool leaves it or filled from the preset as the dialog
// is) and a change of an existing one (a fuzzed record filled into the form,
// then some controls changed). Combo boxes only get indexes their entries
// allow, as a dialog can give no other.
//
// Input: byte 0 picks the catalogue row, byte 1 the path; a change carries
// the 800 record bytes next (the type letter is set to the row's). Then, up
// to the end, control settings: one byte picks the control (index into the
// editor's list), one byte gives a length and, for a text, that many bytes
// follow (a zero byte ends the text, as in a dialog's buffer); a check box or
// radio button takes the length's low bit, a combo box the length modulo its
// entries plus one, minus one.
//
// What must hold: a refusal names a catalogue message and focuses one of the
// editor's controls or none; an accepted record carries its type and, filled
// into a fresh form and read again as the Change command does, is accepted
// again with the same bytes, except where the record cannot show back what
// was typed (conditions that ran on, the measuring dialog's cases below). The
// view draws any record without fault, and a reader that proves a file name
// by creating the file leaves nothing behind.
#include <cstring>
#include <filesystem>
#include <map>

#include "components/catalogue.h"
#include "components/editor.h"
#include "components/editors.h"
#include "components/form.h"
#include "components/layouts.h"
#include "components/view.h"
#include "fuzz_support.h"
#include "texts/errors.h"
#include "texts/texts.h"

using namespace quelvari;
using quelvari::fuzz::Reader;

namespace {

enum PathBits : std::uint8_t {
    kChange = 1,      // edit an existing record instead of adding one
    kFillFirst = 2,   // add: fill the form from the preset before the changes
    kLanguageLo = 4,  // two bits: the language of the texts the filler sets
};

// Entries of each combo box, from a form filled with a blank record of the
// type: the filler sets every box's entries whatever the record holds.
std::map<std::uint32_t, int> comboEntries(const ComponentType& type, const Editor& editor) {
    MapForm form;
    ComponentRecord r;
    r.setTypeCode(static_cast<std::uint8_t>(type.code));
    editor.fill(r, form);
    std::map<std::uint32_t, int> entries;
    for (const EditorControl& c : editor.controls)
        if (c.kind == ControlKind::Combo)
            entries[c.id] = static_cast<int>(form.items(c.id).size());
    return entries;
}

void applySettings(Reader& in, const Editor& editor, const std::map<std::uint32_t, int>& combos,
                   MapForm& form) {
    while (!in.empty()) {
        const EditorControl& c = editor.controls[in.byte() % editor.controls.size()];
        const std::uint8_t length = in.byte();
        switch (c.kind) {
            case ControlKind::Text: {
                std::string text(in.take(length));
                text = text.substr(0, text.find('\0'));
                form.setText(c.id, text);
                break;
            }
            case ControlKind::Check:
                form.setChecked(c.id, length & 1);
                break;
            case ControlKind::Radio:
                // Checking a radio button clears the others of its group.
                if (length & 1)
                    for (const EditorControl& other : editor.controls)
                        if (other.kind == ControlKind::Radio && other.group == c.group)
                            form.setChecked(other.id, false);
                form.setChecked(c.id, length & 1);
                break;
            case ControlKind::Combo: {
                const int entries = combos.at(c.id);
                form.setCurrentIndex(c.id, length % (entries + 1) - 1);
                break;
            }
        }
    }
}

bool isControl(const Editor& editor, std::uint32_t id) {
    for (const EditorControl& c : editor.controls)
        if (c.id == id)
            return true;
    return false;
}

// Tells what the second reading made of the record before the check fails.
void printDifference(int code, const ComponentRecord& first, const ComponentRecord& second,
                     const MapForm& form, const Editor& editor) {
    std::fprintf(stderr, "second reading: code 0x%04X\n", static_cast<unsigned>(code));
    for (std::size_t i = 0; i < rec::kRecordSize; ++i)
        if (first.bytes[i] != second.bytes[i])
            std::fprintf(stderr, "  byte %zu: %u then %u\n", i, first.bytes[i], second.bytes[i]);
    for (const EditorControl& c : editor.controls)
        if (c.kind == ControlKind::Text)
            std::fprintf(stderr, "  control %u (%s): \"%s\"\n", c.id, c.name,
                         form.fullText(c.id).c_str());
}

// Conditions longer than their 10-character fields run on (a long entry
// condition into the branch field, where the branch condition overwrites it;
// a long branch condition into the comment). The record keeps these bytes as
// they stand, so the form filled from it shows other texts than were typed.
bool conditionsRanOn(const ComponentRecord& r) {
    return r.u8(rec::kInputCondition + rec::kConditionSize - 1) != 0 ||
           r.u8(rec::kBranchCondition + rec::kConditionSize - 1) != 0;
}

// The picture reader stores the line-position box whatever the medium; the
// dialog unchecks and hides it for the screen, so only the command-line tool
// stores it for the screen, and filling the form drops it.
bool hiddenLinePosition(const ComponentRecord& r) {
    using namespace layout::picture;
    return r.u8(kOutputMedium) != kPrinter && r.u8(kUseLinePosition) != 0;
}

// The measuring dialog cannot show back every record it stores, so a change
// without touching a control may lose or refuse what the first OK stored:
//  - the variable list: a two-character name without a number is stored as
//    (first, second, 0), the shape of a one-letter name whose number is the
//    second character's code, so it shows back as, say, "A66" and is refused
//    (number above 31, or a text above 30 characters when the codes are
//    small: "A\x0F" shows back as "A15"); a direct list whose first
//    name starts with '@' shows back as the indirect form "<Sn>";
//  - a trigger value is shown with three decimals and read through five
//    characters;
//  - in mode M the second trigger is read when the link is set but never
//    shown (the link box is enabled in mode S only).
bool listAmbiguous(const ComponentRecord& r) {
    using namespace layout::measuring;
    if (r.u8(kVariables) == kIndirectMark)
        return r.u8(kVariables + 1) > 99 || r.u8(kVariables + 2) != 0 || r.u8(kVariables + 3) != 0;
    for (std::size_t at = kVariables; at + 3 <= kVariablesEnd && r.u8(at) != 0; at += 3)
        if (r.u8(at + 2) == 0 && r.u8(at + 1) > 31)
            return true;
    // Second characters below 32 show back as numbers, which may make the
    // text longer than the 30 characters the reader takes.
    return FormatVariableList(r).size() > 30;
}

bool valueShowsBack(float v) {
    char shown[64];
    std::snprintf(shown, sizeof shown, "%1.3f", static_cast<double>(v));
    const auto back = static_cast<float>(std::atof(shown));
    return std::strlen(shown) <= 5 && (back == v || (back != back && v != v));
}

bool measuringLossExplained(int code2, const ComponentRecord& first,
                            const ComponentRecord& second) {
    using namespace layout::measuring;
    if (code2 != 0)
        return listAmbiguous(first) && ErrorField(code2) == 3;
    const bool modeM = first.u8(kMode) == kModeMeasure;
    for (std::size_t i = 0; i < rec::kRecordSize; ++i) {
        if (first.bytes[i] == second.bytes[i])
            continue;
        if (i >= kVariables && i < kVariablesEnd && listAmbiguous(first))
            continue;
        if (i >= kTriggerValue && i < kTriggerValue + 4 &&
            !valueShowsBack(first.f32(kTriggerValue)))
            continue;
        if (i >= kTrigger2Letter && i < kTrigger2Value + 4 && modeM)
            continue;
        if (i >= kTrigger2Value && i < kTrigger2Value + 4 &&
            !valueShowsBack(first.f32(kTrigger2Value)))
            continue;
        return false;
    }
    return true;
}

void drawWithoutFault(const ComponentRecord& r) {
    const ComponentView view = DescribeComponent(r);
    for (const ViewLine& line : view.lines)
        static_cast<void>(ViewLineText(line));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader in(data, size);
    const ComponentType& type = kCatalogue[in.byte() % kComponentTypeCount];
    const std::uint8_t path = in.byte();
    setLanguage((path / kLanguageLo) & 3);
    const Editor& editor = EditorOf(type);
    static std::map<const Editor*, std::map<std::uint32_t, int>> comboCache;
    auto cached = comboCache.find(&editor);
    if (cached == comboCache.end())
        cached = comboCache.emplace(&editor, comboEntries(type, editor)).first;
    const std::map<std::uint32_t, int>& combos = cached->second;

    // Readers that prove a name by creating a file do it in the scratch
    // directory, never where the fuzzer runs.
    const std::string& directory = fuzz::ScratchDir::get().path();
    MapForm form;
    form.directory = directory;
    ComponentRecord editRecord;
    if (path & kChange) {
        ComponentRecord viewRecord = fuzz::RecordFrom(in.take(rec::kRecordSize));
        viewRecord.setTypeCode(static_cast<std::uint8_t>(type.code));
        // The print types share their letter; byte 88 tells them apart.
        if (type.kind == ComponentKind::GraphicPrint)
            viewRecord.setU8(rec::kPayload, kGraphicPrintMark);
        else if (type.kind == ComponentKind::TextPrint &&
                 viewRecord.u8(rec::kPayload) == kGraphicPrintMark)
            viewRecord.setU8(rec::kPayload, 0);
        FUZZ_CHECK(FindType(viewRecord) == &type);
        drawWithoutFault(viewRecord);
        editor.fill(viewRecord, form);
        editRecord = viewRecord;
    } else {
        PresetNewRecord(editRecord, type);
        if (path & kFillFirst)
            editor.fill(editRecord, form);
    }
    applySettings(in, editor, combos, form);

    const int code = editor.read(form, editRecord);
    // The module name test removes the file it made.
    FUZZ_CHECK(std::filesystem::is_empty(directory));
    if (fuzz::Tracing()) {
        std::fprintf(stderr, "type %s, %s: code 0x%04X\n", type.key,
                     (path & kChange) ? "change" : "add", static_cast<unsigned>(code));
        for (const EditorControl& c : editor.controls)
            if (c.kind == ControlKind::Text && form.hasText(c.id))
                std::fprintf(stderr, "  %s: \"%s\"\n", c.name, form.fullText(c.id).c_str());
    }
    if (code != 0) {
        // The command component alone has codes without a message number.
        const int number = ErrorNumber(code);
        FUZZ_CHECK((number >= 1 && number <= kErrorMessageCount) ||
                   (number == 0 && type.kind == ComponentKind::Command));
        // The control to focus; none when a check ran after the reads.
        FUZZ_CHECK(form.errorFieldControl == 0 || isControl(editor, form.errorFieldControl));
        FUZZ_CHECK(!ComposeErrorMessage(code).text.empty());
        return 0;
    }
    FUZZ_CHECK(form.errorFieldControl == 0);
    FUZZ_CHECK(FindType(editRecord) == &type);
    drawWithoutFault(editRecord);

    // Change the accepted record without touching a control: the same bytes.
    if (conditionsRanOn(editRecord))
        return 0;
    ComponentRecord expected = editRecord;
    if (type.kind == ComponentKind::Picture && hiddenLinePosition(editRecord))
        expected.setU8(layout::picture::kUseLinePosition, 0);
    MapForm again;
    again.directory = directory;
    editor.fill(editRecord, again);
    ComponentRecord reread = editRecord;
    const int code2 = editor.read(again, reread);
    if (type.kind == ComponentKind::Measuring && measuringLossExplained(code2, editRecord, reread))
        return 0;
    if (code2 != 0 || !(reread == expected))
        printDifference(code2, expected, reread, again, editor);
    FUZZ_CHECK(code2 == 0);
    FUZZ_CHECK(reread == expected);
    return 0;
}
