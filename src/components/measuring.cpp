// Measuring component 'M': mode, measured-variable list, scan rate and number
// of measurements, up to two trigger conditions and the pretrigger.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "components/controls.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "model/numbers.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

using namespace layout::measuring;

using control::measuring::kModeButton;  // + mode index 0..2
constexpr std::uint32_t kSaveGroup = 2025;
constexpr std::uint32_t kSaveYes = 1451;
constexpr std::uint32_t kSaveNo = 1452;
constexpr std::uint32_t kStopTransfer = 2155;
constexpr std::uint32_t kWaitTransfer = 2156;
constexpr std::uint32_t kVariablesEdit = 1013;
constexpr std::uint32_t kScanEdit = 1016;
constexpr std::uint32_t kCountEdit = 1017;
constexpr std::uint32_t kTriggerEdit = 1018;   // operator 1019, value 1020
constexpr std::uint32_t kTrigger2Edit = 1023;  // operator 1024, value 1025
using control::measuring::kLinkCombo;
constexpr std::uint32_t kPretriggerCombo = 2179;

constexpr std::uint16_t kModeText = 3005;  // + mode index
constexpr std::uint16_t kLinkText = 3160;  // + link

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

int modeIndexOf(std::uint8_t mode) {
    return mode == kModeSave ? 1 : mode == kModeTransfer ? 2 : 0;
}

std::string fixed3(double v) {
    return FixedText(v, 3);
}

struct TriggerAt {
    std::size_t letter, number, op, value;
    std::uint32_t edit;  // variable edit; operator + 1, value + 2
};
constexpr TriggerAt kFirstTrigger{kTriggerLetter, kTriggerNumber, kTriggerOperator, kTriggerValue,
                                  kTriggerEdit};
constexpr TriggerAt kSecondTrigger{kTrigger2Letter, kTrigger2Number, kTrigger2Operator,
                                   kTrigger2Value, kTrigger2Edit};

// Reads one trigger as fields t, t + 1 and t + 2.
int readTrigger(Form& form, ComponentRecord& r, const TriggerAt& at, int t, bool allowEdges) {
    const std::string var = ReadText(form, at.edit, 5);
    if (var.empty()) {
        r.setU8(at.letter, 0);
        r.setF32(at.value, 0.0f);
        if (!ReadText(form, at.edit + 2, 5).empty())
            return ErrorCode(kErrTriggerValue, t + 2);
        return 0;
    }
    r.setU8(at.letter, static_cast<std::uint8_t>(var[0]));
    std::size_t i = 1;
    int number = 0;
    for (; i < var.size() && isDigit(var[i]); ++i) {
        if (i >= 3)
            return ErrorCode(kErrVariableNumber, t);  // three digits
        number = number * 10 + (var[i] - '0');
    }
    if (i < var.size() && isLetter(var[i]))
        return ErrorCode(kErrVariableNumber, t);
    if (number > 16)
        return ErrorCode(kErrVariableNumber, t);
    r.setU8(at.number, static_cast<std::uint8_t>(number));
    const std::string op = ReadText(form, at.edit + 1, 1);
    const auto c = static_cast<std::uint8_t>(op.empty() ? 0 : op[0]);
    const bool edge = c == kEdgeRising || c == kEdgeFalling;
    if (!(c == '>' || c == '<' || c == '=' || edge) || (edge && !allowEdges))
        return ErrorCode(kErrTriggerOperator, t + 1);
    r.setU8(at.op, c);
    const std::string value = ReadText(form, at.edit + 2, 5);
    if (value.empty())
        return ErrorCode(kErrTriggerValue, t + 2);
    r.setF32(at.value, static_cast<float>(ParseDecimal(value)));
    return 0;
}

void fillTrigger(const ComponentRecord& r, Form& form, const TriggerAt& at) {
    const std::uint8_t letter = r.u8(at.letter);
    form.setText(at.edit, VariableText(letter, r.u8(at.number)));
    if (letter != 0) {
        form.setText(at.edit + 1, std::string(1, static_cast<char>(r.u8(at.op))));
        form.setText(at.edit + 2, fixed3(r.f32(at.value)));
    } else {
        form.setText(at.edit + 1, "");
        form.setText(at.edit + 2, "");
    }
}

std::string operatorText(const ComponentRecord& r, const TriggerAt& at) {
    const std::uint8_t op = r.u8(at.op);
    return op ? std::string(1, static_cast<char>(op)) : std::string();
}

}  // namespace

VariableEntryText ReadVariableEntry(const std::string& text, std::size_t& pos) {
    VariableEntryText e;
    e.first = static_cast<std::uint8_t>(text[pos++]);
    if (pos < text.size() && !isDigit(text[pos]))
        e.second = static_cast<std::uint8_t>(text[pos++]);
    for (; pos < text.size() && isDigit(text[pos]); ++pos, ++e.digits)
        if (e.digits < 4)
            e.number = e.number * 10 + (text[pos] - '0');
    return e;
}

int ParseVariableList(const std::string& text, std::vector<std::uint8_t>& bytes) {
    std::size_t pos = text.find_first_not_of(' ');
    if (pos == std::string::npos)
        return kErrEmptyField;
    std::vector<std::uint8_t> out;
    if (text.compare(pos, 2, "<S") == 0) {
        // Indirect form "<Sn>": the list is held at run time in string variable Sn.
        pos += 2;
        if (pos >= text.size() || !isDigit(text[pos]))
            return kErrIndirectList;
        int n = 0;
        for (; pos < text.size() && isDigit(text[pos]); ++pos) {
            n = n * 10 + (text[pos] - '0');
            if (n > 99)
                return kErrIndirectList;
        }
        if (pos >= text.size() || text[pos] != '>')
            return kErrIndirectList;
        ++pos;
        if (pos < text.size() && text[pos] != ' ')
            return kErrIndirectList;
        bytes = {kIndirectMark, static_cast<std::uint8_t>(n), 0, 0};
        return 0;
    }
    while (pos < text.size()) {
        const VariableEntryText e = ReadVariableEntry(text, pos);
        if (e.digits >= 3 || e.number > 31)
            return kErrVariableNumber;
        // Any character after the digits begins the next entry.
        const auto entry = e.bytes();
        out.insert(out.end(), entry.begin(), entry.end());
    }
    out.push_back(0);
    bytes = std::move(out);
    return 0;
}

std::string VariableListText(const ComponentRecord& r) {
    if (r.u8(kVariables) == kIndirectMark)
        return "<S" + std::to_string(r.u8(kVariables + 1)) + ">";
    std::string out;
    for (std::size_t at = kVariables; at + 3 <= kVariablesEnd && r.u8(at) != 0; at += 3) {
        out += static_cast<char>(r.u8(at));
        if (r.u8(at + 2) == 0) {
            out += std::to_string(r.u8(at + 1));
        } else {
            out += static_cast<char>(r.u8(at + 1));
            out += std::to_string(r.u8(at + 2));
        }
    }
    return out;
}

std::string FormatVariableList(const ComponentRecord& r) {
    std::string out = VariableListText(r);
    // The text is a C string: a second character of 0 (the shape of a
    // one-letter name with its number in the third byte) ends it there, as
    // the edit field and the view would show it.
    out.resize(std::min(out.find('\0'), out.size()));
    if (out.size() > 40)
        out.resize(40);
    return out;
}

std::vector<EditorControl> MeasuringControls() {
    return {{kModeButton, ControlKind::Radio, "measure", 1},
            {kModeButton + 1, ControlKind::Radio, "save", 1},
            {kModeButton + 2, ControlKind::Radio, "transfer", 1},
            {kSaveYes, ControlKind::Radio, "file-yes", 2},
            {kSaveNo, ControlKind::Radio, "file-no", 2},
            {kStopTransfer, ControlKind::Radio, "stop-transfer", 3},
            {kWaitTransfer, ControlKind::Radio, "wait-transfer", 3},
            {kVariablesEdit, ControlKind::Text, "variables"},
            {kScanEdit, ControlKind::Text, "scan"},
            {kCountEdit, ControlKind::Text, "count"},
            {kTriggerEdit, ControlKind::Text, "trigger"},
            {kTriggerEdit + 1, ControlKind::Text, "operator"},
            {kTriggerEdit + 2, ControlKind::Text, "value"},
            {kLinkCombo, ControlKind::Combo, "link"},
            {kTrigger2Edit, ControlKind::Text, "trigger2"},
            {kTrigger2Edit + 1, ControlKind::Text, "operator2"},
            {kTrigger2Edit + 2, ControlKind::Text, "value2"},
            {kPretriggerCombo, ControlKind::Combo, "pretrigger"}};
}

void ApplyMeasuringMode(Form& form, int modeIndex, std::uint8_t link) {
    for (int i = 0; i < 3; ++i)
        form.setChecked(kModeButton + static_cast<std::uint32_t>(i), i == modeIndex);
    form.setEnabled(kVariablesEdit, modeIndex != 2);
    for (std::uint32_t id : {kScanEdit, kCountEdit, kPretriggerCombo, kLinkCombo})
        form.setEnabled(id, modeIndex == 1);
    for (std::uint32_t i = 0; i < 3; ++i) {
        form.setEnabled(kTriggerEdit + i, modeIndex != 2);
        form.setEnabled(kTrigger2Edit + i, modeIndex == 1 && link != 0);
    }
    for (std::uint32_t id : {kSaveGroup, kSaveYes, kSaveNo})
        form.setEnabled(id, modeIndex == 0);
    form.setVisible(kStopTransfer, modeIndex == 2);
    form.setVisible(kWaitTransfer, modeIndex == 2);
}

int ReadMeasuring(Form& form, ComponentRecord& r) {
    if (const int e = ReadHead(form, r))
        return e;
    form.errorFieldControl = kSaveYes;
    r.setU8(kSaveInFile, form.checked(kSaveYes) ? 1 : 0);
    form.errorFieldControl = kStopTransfer;
    r.setU8(kTransferVariant, form.checked(kStopTransfer) ? 1 : 0);
    form.errorFieldControl = kModeButton;
    const std::uint8_t mode = form.checked(kModeButton)       ? kModeMeasure
                              : form.checked(kModeButton + 1) ? kModeSave
                                                              : kModeTransfer;
    r.setU8(kMode, mode);
    int branchField = 3;
    if (mode != kModeTransfer) {
        // Measured variables, field 3.
        const std::string list = ReadText(form, kVariablesEdit, 31);
        if (list.size() > 30)
            return ErrorCode(kErrTooLong, 3);
        std::vector<std::uint8_t> bytes;
        if (const int e = ParseVariableList(list, bytes))
            return ErrorCode(e, 3);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            r.setU8(kVariables + i, bytes[i]);
        int t = 4;
        if (mode == kModeSave) {
            // Scan rate in seconds (field 4), truncated to whole milliseconds.
            const std::string scan = ReadText(form, kScanEdit, 6);
            // Whole milliseconds from 1 to 60,000 after truncation; anything
            // else, "inf" and "nan" included, is refused before the
            // conversion to an integer, which could not hold it.
            const double exactMs = ParseDecimal(scan) * 1000.0;
            if (!(exactMs >= 1.0 && exactMs < 60001.0))
                return ErrorCode(kErrScanRate, 4);
            const auto ms = static_cast<long long>(exactMs);
            r.setU32(kScanPeriod, static_cast<std::uint32_t>(ms * 1000));
            // Number of measurements (field 5).
            const std::string count = ReadText(form, kCountEdit, 11);
            if (count.size() > 9)
                return ErrorCode(kErrCount, 5);
            const long n = ParseLeadingInteger(count);
            if (static_cast<unsigned long>(n) <= 1)
                return ErrorCode(kErrCount, 5);
            r.setU32(kCount, static_cast<std::uint32_t>(n));
            t = 6;
        } else {
            r.setU32(kCount, kMeasureCount);
            r.setU32(kScanPeriod, kMeasureScanPeriod);
        }
        if (const int e = readTrigger(form, r, kFirstTrigger, t, mode == kModeSave))
            return e;
        form.errorFieldControl = kLinkCombo;
        const int link = form.currentIndex(kLinkCombo);
        r.setU8(kTriggerLink, static_cast<std::uint8_t>(link < 0 ? 0 : link));
        form.errorFieldControl = kPretriggerCombo;
        const int pre = form.currentIndex(kPretriggerCombo);
        r.setU8(kPretrigger, static_cast<std::uint8_t>((pre < 0 ? 0 : pre) * 10));
        branchField = t + 5;
        if (r.u8(kTriggerLink) != 0) {
            if (const int e = readTrigger(form, r, kSecondTrigger, t + 5, true))
                return e;
            branchField = t + 8;
        }
    }
    if (const int e = ReadBranch(form, r, branchField))
        return e;
    return FinishRead(form, r, 'M');
}

void FillMeasuring(const ComponentRecord& r, Form& form) {
    FillHead(r, form);
    std::vector<std::string> links;
    for (std::uint16_t id = kLinkText; id < kLinkText + 4; ++id)
        links.push_back(LangText(id));
    form.setItems(kLinkCombo, links);
    const std::uint8_t link = r.u8(kTriggerLink);
    form.setCurrentIndex(kLinkCombo, link <= 3 ? link : -1);
    // An unknown mode is shown (and saved) as M.
    const int mode = modeIndexOf(r.u8(kMode));
    const bool save = r.u8(kSaveInFile) != 0;
    form.setChecked(kSaveYes, save);
    form.setChecked(kSaveNo, !save);
    const bool stop = r.u8(kTransferVariant) != 0;
    form.setChecked(kStopTransfer, stop);
    form.setChecked(kWaitTransfer, !stop);
    form.setText(kVariablesEdit, FormatVariableList(r));
    const std::uint32_t period = r.u32(kScanPeriod);
    form.setText(kScanEdit, period ? fixed3(period * 0.001 * 0.001) : "");
    const auto count = static_cast<std::int32_t>(r.u32(kCount));
    form.setText(kCountEdit, count ? std::to_string(count) : "");
    fillTrigger(r, form, kFirstTrigger);
    if (mode == 1 && link != 0)
        fillTrigger(r, form, kSecondTrigger);
    std::vector<std::string> pretrigger;
    for (int p = 0; p <= 100; p += 10) {
        char buf[16];
        std::snprintf(buf, sizeof buf, p == 0 ? "    %d%%" : p < 100 ? "  %d%%" : "%d%%", p);
        pretrigger.push_back(buf);
    }
    form.setItems(kPretriggerCombo, pretrigger);
    form.setCurrentIndex(kPretriggerCombo, r.u8(kPretrigger) / 10);
    ApplyMeasuringMode(form, mode, link);
}

void DescribeMeasuring(const ComponentRecord& r, ComponentView& view) {
    const int mode = modeIndexOf(r.u8(kMode));
    view.text(LangText(kModeText + static_cast<std::uint16_t>(mode)));
    if (mode == 2)
        view.text(LangText(r.u8(kTransferVariant) ? 2155 : 2156));
    if (mode == 0) {
        const bool save = r.u8(kSaveInFile) != 0;
        view.boxes(LangText(3008), {{LangText(3009), save}, {LangText(3010), !save}});
    }
    const bool link = r.u8(kTriggerLink) != 0;
    const auto beside = [&](std::string first, std::string second) {
        return link ? first + "  " + second : first;
    };
    view.row(LangText(3011), FormatVariableList(r));
    if (mode != 0) {
        view.row(LangText(3012), fixed3(r.u32(kScanPeriod) * 0.001 * 0.001));
        view.row(LangText(3013), std::to_string(static_cast<std::int32_t>(r.u32(kCount))));
    }
    view.row(LangText(3014), beside(VariableText(r.u8(kTriggerLetter), r.u8(kTriggerNumber)),
                                    VariableText(r.u8(kTrigger2Letter), r.u8(kTrigger2Number))));
    view.row(LangText(3015),
             beside(operatorText(r, kFirstTrigger), operatorText(r, kSecondTrigger)));
    view.row(LangText(3016), beside(fixed3(r.f32(kTriggerValue)), fixed3(r.f32(kTrigger2Value))));
    if (mode == 1) {
        view.row(LangText(2176), LangText(kLinkText + r.u8(kTriggerLink)));
        view.row(LangText(2178), std::to_string(r.u8(kPretrigger)) + "%");
    }
}

}  // namespace quelvari
