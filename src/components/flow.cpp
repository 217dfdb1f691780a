// Editors of the components that steer the run of a procedure: time ('Z'),
// interrupt ('I'), break ('u') and section ('C').
#include <cstdio>
#include <cstdlib>

#include "components/editors.h"
#include "components/layouts.h"
#include "model/numbers.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

// Time component controls.
constexpr std::uint32_t kTimeWait = 1160;
constexpr std::uint32_t kKeyWait = 1161;
constexpr std::uint32_t kFactorEdit = 1162;
// Interrupt component controls, routine k = 0..3.
constexpr std::uint32_t kRoutineCheck = 1178;  // + k
constexpr std::uint32_t kRoutineOn = 1182;     // + 2k; "Aus" is + 2k + 1
constexpr std::uint32_t kRoutineOwn = 1190;    // + 2k; external is + 2k + 1
constexpr std::uint32_t kRoutineTime = 1198;   // + k
constexpr std::uint32_t kRoutineBase = 1202;   // + k
// Break and section controls.
constexpr std::uint32_t kReferenceVar = 1322;
constexpr std::uint32_t kMarkVar = 1323;
constexpr std::uint32_t kSectionFirst = 2280;  // middle 2281, last 2282
constexpr std::uint32_t kSectionName = 2278;

constexpr std::size_t kVariableReadChars = 4;

// Leading decimal digits of `text`, as a C conversion reads them (no check).
long leadingNumber(const std::string& text) {
    return ParseLeadingInteger(text);
}

struct Variable {
    bool empty = true;
    char letter = 0;
    long number = 0;
};

// A variable field: the first character is the letter, the rest a number.
Variable readVariable(Form& form, std::uint32_t id) {
    const std::string t = ReadText(form, id, kVariableReadChars);
    Variable v;
    if (t.empty())
        return v;
    v.empty = false;
    v.letter = t[0];
    v.number = leadingNumber(t.substr(1));
    return v;
}

bool inByteRange(long n) {
    return n >= 1 && n <= 255;
}

// The reference variable of break and section components: Z or S, 1..255.
int readReference(Form& form, ComponentRecord& r, std::size_t letterAt, std::size_t numberAt) {
    const Variable v = readVariable(form, kReferenceVar);
    if (v.empty)
        return ErrorCode(kErrEmptyField, 3);
    if ((v.letter != 'Z' && v.letter != 'S') || !inByteRange(v.number))
        return ErrorCode(kErrReference, 3);
    r.setU8(letterAt, static_cast<std::uint8_t>(v.letter));
    r.setU8(numberAt, static_cast<std::uint8_t>(v.number));
    return 0;
}

std::string padded(const char* format, long value) {
    char buf[32];
    std::snprintf(buf, sizeof buf, format, value);
    return buf;
}

}  // namespace

// ---- Time component ----

std::vector<EditorControl> TimeControls() {
    return {{kTimeWait, ControlKind::Radio, "time-wait", 1},
            {kKeyWait, ControlKind::Radio, "key-wait", 1},
            {kFactorEdit, ControlKind::Text, "factor"}};
}

int ReadTime(Form& form, ComponentRecord& r) {
    using namespace layout::time;
    if (const int e = ReadHead(form, r))
        return e;
    form.errorFieldControl = kTimeWait;
    int branchField = 3;
    if (form.checked(kTimeWait)) {
        r.setU8(kWaitKind, kKindTime);
        const std::string t = ReadText(form, kFactorEdit, 9);
        if (t.empty())
            return ErrorCode(kErrDelayTime, 3);
        long v = 0;
        // Only the first six characters count; the rest is ignored.
        for (std::size_t i = 0; i < t.size() && i < 6; ++i) {
            if (t[i] < '0' || t[i] > '9')
                return ErrorCode(kErrInvalidCharacter, 3);
            v = v * 10 + (t[i] - '0');
        }
        if (v == 0 || v > 60000)
            return ErrorCode(kErrDelayTime, 3);
        r.setU16(kTimeFactor, static_cast<std::uint16_t>(v));
        branchField = 4;
    } else {
        r.setU8(kWaitKind, kKindKey);
    }
    if (const int e = ReadBranch(form, r, branchField))
        return e;
    return FinishRead(form, r, 'Z');
}

void FillTime(const ComponentRecord& r, Form& form) {
    using namespace layout::time;
    FillHead(r, form);
    const bool keyWait = r.u8(kWaitKind) == kKindKey;
    form.setChecked(kTimeWait, !keyWait);
    form.setChecked(kKeyWait, keyWait);
    const std::uint16_t factor = r.u16(kTimeFactor);
    form.setText(kFactorEdit, !keyWait && factor ? std::to_string(factor) : "");
}

void DescribeTime(const ComponentRecord& r, ComponentView& view) {
    using namespace layout::time;
    if (r.u8(kWaitKind) == kKindTime) {
        view.text(LangText(3052));
        view.row(LangText(3054), padded("%5d", r.u16(kTimeFactor)) + " (*10 ms)");
    } else {
        view.text(LangText(3053));
    }
}

// ---- Interrupt component ----

std::vector<EditorControl> InterruptControls() {
    std::vector<EditorControl> c;
    static const char* const names[4][7] = {
        {"routine1", "on1", "off1", "own1", "external1", "time1", "base1"},
        {"routine2", "on2", "off2", "own2", "external2", "time2", "base2"},
        {"routine3", "on3", "off3", "own3", "external3", "time3", "base3"},
        {"routine4", "on4", "off4", "own4", "external4", "time4", "base4"},
    };
    for (std::uint32_t k = 0; k < 4; ++k) {
        const int g = static_cast<int>(10 + 2 * k);
        c.push_back({kRoutineCheck + k, ControlKind::Check, names[k][0]});
        c.push_back({kRoutineOn + 2 * k, ControlKind::Radio, names[k][1], g});
        c.push_back({kRoutineOn + 2 * k + 1, ControlKind::Radio, names[k][2], g});
        c.push_back({kRoutineOwn + 2 * k, ControlKind::Radio, names[k][3], g + 1});
        c.push_back({kRoutineOwn + 2 * k + 1, ControlKind::Radio, names[k][4], g + 1});
        c.push_back({kRoutineTime + k, ControlKind::Text, names[k][5]});
        c.push_back({kRoutineBase + k, ControlKind::Combo, names[k][6]});
    }
    return c;
}

int ReadInterrupt(Form& form, ComponentRecord& r) {
    using namespace layout::interrupt;
    if (const int e = ReadHead(form, r))
        return e;
    bool any = false;
    for (std::uint32_t k = 0; k < kEntryCount; ++k)
        any = any || form.checked(kRoutineCheck + k);
    if (!any)
        return ErrorCode(kErrEmptyField, 0);
    for (std::uint32_t k = 0; k < kEntryCount; ++k) {
        const int field = static_cast<int>(3 + k);
        const std::size_t at = entry(k);
        r.setU8(at + kState, kStateUnused);
        form.errorFieldControl = kRoutineCheck + k;
        if (!form.checked(kRoutineCheck + k))
            continue;
        const bool enabled = form.checked(kRoutineOn + 2 * k);
        r.setU8(at + kState, enabled ? kStateEnable : kStateDisable);
        const bool own = form.checked(kRoutineOwn + 2 * k);
        r.setU8(at + kKind, own ? kKindComponent : kKindExternal);
        // Index modulo 2 with its sign: no selection (-1) is stored as 0xFF.
        const int base = form.currentIndex(kRoutineBase + k) % 2;
        r.setU8(at + kTimeBase, static_cast<std::uint8_t>(base));
        if (!enabled)
            continue;
        const auto time =
            static_cast<std::uint16_t>(leadingNumber(ReadText(form, kRoutineTime + k, 9)));
        if (time == 0 || (base == 1 && time > 60) || (own && base == 0 && time < 50))
            return ErrorCode(kErrInterruptTime, field);
        r.setU16(at + kTime, time);
    }
    if (const int e = ReadBranch(form, r, 7))
        return e;
    return FinishRead(form, r, 'I');
}

void FillInterrupt(const ComponentRecord& r, Form& form) {
    using namespace layout::interrupt;
    FillHead(r, form);
    for (std::uint32_t k = 0; k < kEntryCount; ++k) {
        const std::size_t at = entry(k);
        const std::uint8_t state = r.u8(at + kState);
        form.setChecked(kRoutineCheck + k, state != kStateUnused);
        form.setChecked(kRoutineOn + 2 * k, state != kStateDisable);
        form.setChecked(kRoutineOn + 2 * k + 1, state == kStateDisable);
        const bool external = r.u8(at + kKind) == kKindExternal;
        form.setChecked(kRoutineOwn + 2 * k, !external);
        form.setChecked(kRoutineOwn + 2 * k + 1, external);
        form.setItems(kRoutineBase + k, {"ms", "sec"});
        const std::uint8_t base = r.u8(at + kTimeBase);
        form.setCurrentIndex(kRoutineBase + k, base <= 1 ? base : -1);
        const std::uint16_t time = r.u16(at + kTime);
        form.setText(kRoutineTime + k, state == kStateEnable && time ? std::to_string(time) : "");
    }
}

void DescribeInterrupt(const ComponentRecord& r, ComponentView& view) {
    using namespace layout::interrupt;
    for (std::uint32_t k = 0; k < kEntryCount; ++k) {
        const std::size_t at = entry(k);
        const std::uint8_t state = r.u8(at + kState);
        if (state == kStateUnused)
            continue;
        view.row(LangText(3055) + " " + std::to_string(k + 1),
                 LangText(state == kStateEnable ? 3056 : 3057));
        view.text(LangText(r.u8(at + kKind) == kKindComponent ? 3058 : 3059));
        if (state == kStateEnable)
            view.row(LangText(3060), padded("%5d", r.u16(at + kTime)) +
                                         (r.u8(at + kTimeBase) == 1 ? " sec" : " ms"));
    }
}

// ---- Break component ----

std::vector<EditorControl> BreakControls() {
    return {{kReferenceVar, ControlKind::Text, "reference"},
            {kMarkVar, ControlKind::Text, "registration"}};
}

int ReadBreak(Form& form, ComponentRecord& r) {
    using namespace layout::brk;
    if (const int e = ReadHead(form, r))
        return e;
    if (const int e = readReference(form, r, kReferenceLetter, kReferenceNumber))
        return e;
    const Variable reg = readVariable(form, kMarkVar);
    if (reg.empty || reg.letter != 'B' || !inByteRange(reg.number))
        return ErrorCode(kErrRegistration, 4);
    r.setU8(kRegistrationLetter, 'B');
    r.setU8(kRegistrationNumber, static_cast<std::uint8_t>(reg.number));
    if (const int e = ReadBranch(form, r, 5))
        return e;
    return FinishRead(form, r, 'u');
}

void FillBreak(const ComponentRecord& r, Form& form) {
    using namespace layout::brk;
    FillHead(r, form);
    form.setText(kReferenceVar, VariableText(r.u8(kReferenceLetter), r.u8(kReferenceNumber)));
    form.setText(kMarkVar, VariableText(r.u8(kRegistrationLetter), r.u8(kRegistrationNumber)));
}

void DescribeBreak(const ComponentRecord& r, ComponentView& view) {
    using namespace layout::brk;
    view.row(LangText(3090), VariableText(r.u8(kReferenceLetter), r.u8(kReferenceNumber)));
    view.text(VariableText(r.u8(kRegistrationLetter), r.u8(kRegistrationNumber)));
}

// ---- Section component ----

std::vector<EditorControl> SectionControls() {
    return {{kSectionFirst, ControlKind::Radio, "first", 1},
            {kSectionFirst + 1, ControlKind::Radio, "middle", 1},
            {kSectionFirst + 2, ControlKind::Radio, "last", 1},
            {kReferenceVar, ControlKind::Text, "reference"},
            {kSectionName, ControlKind::Text, "name"},
            {kMarkVar, ControlKind::Text, "identification"}};
}

int ReadSection(Form& form, ComponentRecord& r) {
    using namespace layout::section;
    if (const int e = ReadHead(form, r))
        return e;
    form.errorFieldControl = kSectionFirst;
    if (form.checked(kSectionFirst)) {
        r.setU8(kKind, kFirst);
        if (const int e = readReference(form, r, kReferenceLetter, kReferenceNumber))
            return e;
    } else {
        r.setU8(kKind, form.checked(kSectionFirst + 1) ? kMiddle : kLast);
    }
    const std::string name = ReadText(form, kSectionName, 54);
    if (name.empty() || name.size() > kNameSize - 1)
        return ErrorCode(kErrSectionName, 4);
    r.setText(kName, name);
    const Variable ident = readVariable(form, kMarkVar);
    if (ident.empty)
        return ErrorCode(kErrEmptyField, 5);
    if (ident.letter != 'B')
        return ErrorCode(kErrIdentLetter, 5);
    if (!inByteRange(ident.number))
        return ErrorCode(kErrNumberRange, 5);
    r.setU8(kIdentLetter, 'B');
    r.setU8(kIdentNumber, static_cast<std::uint8_t>(ident.number));
    // The branch condition shares field number 5 with the identification.
    if (const int e = ReadBranch(form, r, 5))
        return e;
    return FinishRead(form, r, 'C');
}

void FillSection(const ComponentRecord& r, Form& form) {
    using namespace layout::section;
    FillHead(r, form);
    const std::uint8_t kind = r.u8(kKind) <= kLast ? r.u8(kKind) : kFirst;
    for (std::uint32_t i = 0; i < 3; ++i)
        form.setChecked(kSectionFirst + i, i == kind);
    form.setText(kReferenceVar, VariableText(r.u8(kReferenceLetter), r.u8(kReferenceNumber)));
    form.setText(kSectionName, r.text(kName, kNameSize));
    form.setText(kMarkVar, VariableText(r.u8(kIdentLetter), r.u8(kIdentNumber)));
}

void DescribeSection(const ComponentRecord& r, ComponentView& view) {
    using namespace layout::section;
    const std::uint8_t kind = r.u8(kKind);
    view.row(LangText(3182), LangText(kind == kFirst ? 3183 : kind == kMiddle ? 3184 : 3185));
    if (kind == kFirst)
        view.row(LangText(3090), VariableText(r.u8(kReferenceLetter), r.u8(kReferenceNumber)));
    view.row(LangText(2283), r.text(kName, kNameSize));
    view.row(LangText(3091), VariableText(r.u8(kIdentLetter), r.u8(kIdentNumber)));
}

}  // namespace quelvari
