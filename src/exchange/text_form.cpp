#include "exchange/text_form.h"

#include <toml++/toml.h>
#include <array>
#include <bitset>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <sstream>

#include "components/catalogue.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "model/encoding.h"
#include "texts/texts.h"

namespace quelvari::exchange {

namespace {

using Mask = std::bitset<rec::kRecordSize>;

// How a field's bytes are shown.
enum class Kind : std::uint8_t {
    U8,
    U16,
    I16,
    U32,
    I32,
    F32,
    Char,     // one byte: "" for 0, the letter when printable, else its number
    Text,     // zero-terminated Windows-1252 text of `size` bytes at most
    Var,      // letter at `off`, number at `size`: "B12", "" for none
    VarList,  // the measured-variable list as the dialog shows it: "P1P2T1", "<S5>"
    Enum,     // one byte named by `names` (indexed by value, null for none), else its number
};

struct FieldDef {
    const char* name;
    Kind kind;
    std::size_t off;
    std::size_t size = 0;
    std::vector<const char*> names = {};
};

namespace m = layout::measuring;
namespace irq = layout::interrupt;

// The head of every record, in the order the dialogs read it.
const std::vector<FieldDef>& headFields() {
    static const std::vector<FieldDef> f{
        {"input_condition", Kind::Text, rec::kInputCondition, rec::kConditionSize},
        {"comment", Kind::Text, rec::kComment, rec::kCommentSize},
        {"branch_condition", Kind::Text, rec::kBranchCondition, rec::kConditionSize},
        {"goto", Kind::U16, rec::kGotoTarget},
    };
    return f;
}

std::vector<FieldDef> interruptFields() {
    static const char* const states[] = {"unused", "enable", "disable"};
    // The routine's time base is the index of its combo box entry, 0xFF while
    // no entry is selected.
    std::vector<const char*> timeBases(256, nullptr);
    timeBases[0] = "ms";
    timeBases[1] = "s";
    timeBases[0xFF] = "none";
    std::vector<FieldDef> f;
    static std::array<std::string, 16> names;
    for (std::size_t k = 0; k < irq::kEntryCount; ++k) {
        const std::string p = "routine" + std::to_string(k + 1) + "_";
        names[4 * k] = p + "state";
        names[4 * k + 1] = p + "kind";
        names[4 * k + 2] = p + "time_base";
        names[4 * k + 3] = p + "time";
        f.push_back({names[4 * k].c_str(),
                     Kind::Enum,
                     irq::entry(k) + irq::kState,
                     0,
                     {states[0], states[1], states[2]}});
        f.push_back({names[4 * k + 1].c_str(), Kind::Char, irq::entry(k) + irq::kKind});
        f.push_back(
            {names[4 * k + 2].c_str(), Kind::Enum, irq::entry(k) + irq::kTimeBase, 0, timeBases});
        f.push_back({names[4 * k + 3].c_str(), Kind::U16, irq::entry(k) + irq::kTime});
    }
    return f;
}

std::vector<FieldDef> commandFields() {
    std::vector<FieldDef> f{{"own_dos_window", Kind::U8, layout::command::kOwnDosWindow}};
    static const char* const lines[] = {"line1", "line2", "line3", "line4"};
    for (std::size_t i = 0; i < layout::command::kLineCount; ++i)
        f.push_back({lines[i], Kind::Text, layout::command::line(i), layout::command::kLineStride});
    return f;
}

// The payload fields of a type; types whose payload is not laid out here
// keep it in the raw runs.
const std::vector<FieldDef>& payloadFields(std::uint8_t type) {
    static const std::vector<FieldDef> none;
    static const std::vector<FieldDef> measuring{
        {"mode", Kind::Char, m::kMode},
        {"save_in_file", Kind::U8, m::kSaveInFile},
        {"variables", Kind::VarList, m::kVariables},
        {"scan_period_us", Kind::U32, m::kScanPeriod},
        {"count", Kind::U32, m::kCount},
        {"pretrigger_percent", Kind::U8, m::kPretrigger},
        {"stop_and_transfer", Kind::U8, m::kTransferVariant},
        {"trigger", Kind::Var, m::kTriggerLetter, m::kTriggerNumber},
        {"trigger_operator", Kind::Char, m::kTriggerOperator},
        {"trigger_value", Kind::F32, m::kTriggerValue},
        {"trigger_link", Kind::Enum, m::kTriggerLink, 0, {"none", "and", "or", "start-stop"}},
        {"trigger2", Kind::Var, m::kTrigger2Letter, m::kTrigger2Number},
        {"trigger2_operator", Kind::Char, m::kTrigger2Operator},
        {"trigger2_value", Kind::F32, m::kTrigger2Value},
    };
    static const std::vector<FieldDef> time{
        {"wait", Kind::Char, layout::time::kWaitKind},
        {"time_factor", Kind::U16, layout::time::kTimeFactor},
    };
    static const std::vector<FieldDef> interrupt = interruptFields();
    static const std::vector<FieldDef> brk{
        {"reference", Kind::Var, layout::brk::kReferenceLetter, layout::brk::kReferenceNumber},
        {"registration", Kind::Var, layout::brk::kRegistrationLetter,
         layout::brk::kRegistrationNumber},
    };
    static const std::vector<FieldDef> section{
        {"section", Kind::Enum, layout::section::kKind, 0, {"first", "middle", "last"}},
        {"reference", Kind::Var, layout::section::kReferenceLetter,
         layout::section::kReferenceNumber},
        {"name", Kind::Text, layout::section::kName, layout::section::kNameSize},
        {"ident", Kind::Var, layout::section::kIdentLetter, layout::section::kIdentNumber},
    };
    static const std::vector<FieldDef> module{
        {"module", Kind::Text, layout::module::kName, layout::module::kNameSize},
    };
    static const std::vector<FieldDef> command = commandFields();
    namespace pic = layout::picture;
    static const std::vector<FieldDef> picture{
        {"clear_first", Kind::U8, pic::kClearFirst},
        {"picture_set", Kind::U8, pic::kPictureSet},
        {"output", Kind::Char, pic::kOutputMedium},
        {"picture_kind", Kind::Char, pic::kPictureKind},
        {"transparent_text", Kind::U8, pic::kTransparentText},
        {"use_line_position", Kind::U8, pic::kUseLinePosition},
        {"x_percent", Kind::I32, pic::kXPercent},
        {"y_percent", Kind::I32, pic::kYPercent},
        {"width_percent", Kind::I32, pic::kWidthPercent},
        {"height_percent", Kind::I32, pic::kHeightPercent},
        {"file", Kind::Text, pic::kFile, pic::kFileSize},
    };
    static const std::vector<FieldDef> interbus{
        {"function", Kind::Char, layout::interbus::kFunction},
    };
    // The step references that renumbering shifts, with the byte that turns
    // them off (the reference is in force while it is 0).
    static const std::vector<FieldDef> graphic{
        {"step_reference_off", Kind::U8, 89},
        {"step_reference", Kind::U16, 92},
    };
    static const std::vector<FieldDef> print{
        {"print_kind", Kind::Char, 88},
        {"step_reference_off", Kind::U8, 90},
        {"step_reference", Kind::U16, 94},
    };
    static const std::vector<FieldDef> statistic{
        {"step_reference_off", Kind::U8, 152},
        {"step_reference", Kind::I16, 154},
    };
    switch (type) {
        case 'M':
            return measuring;
        case 'Z':
            return time;
        case 'I':
            return interrupt;
        case 'u':
            return brk;
        case 'C':
            return section;
        case 'U':
            return module;
        case 'D':
            return command;
        case 'p':
            return picture;
        case 'i':
            return interbus;
        case 'G':
            return graphic;
        case 'P':
            return print;
        case 'T':
            return statistic;
        default:
            return none;
    }
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// ---- decoding: the value a field shows ----

std::optional<FieldValue> charValue(std::uint8_t b) {
    if (b == 0)
        return FieldValue{std::string()};
    if (b > 0x20 && b < 0x7F)
        return FieldValue{std::string(1, static_cast<char>(b))};
    return FieldValue{static_cast<long long>(b)};
}

std::string shortestFloat(float f) {
    char buf[64];
    const auto res = std::to_chars(buf, buf + sizeof buf, f);
    std::string s(buf, res.ptr);
    if (s.find_first_of(".e") == std::string::npos)
        s += ".0";
    return s;
}

std::optional<FieldValue> decode(const FieldDef& d, const ComponentRecord& r) {
    switch (d.kind) {
        case Kind::U8:
            return FieldValue{static_cast<long long>(r.u8(d.off))};
        case Kind::U16:
            return FieldValue{static_cast<long long>(r.u16(d.off))};
        case Kind::I16:
            return FieldValue{static_cast<long long>(r.i16(d.off))};
        case Kind::U32:
            return FieldValue{static_cast<long long>(r.u32(d.off))};
        case Kind::I32:
            return FieldValue{static_cast<long long>(static_cast<std::int32_t>(r.u32(d.off)))};
        case Kind::F32: {
            const float f = r.f32(d.off);
            if (!std::isfinite(f))
                return std::nullopt;
            return FieldValue{static_cast<double>(f)};
        }
        case Kind::Char:
            return charValue(r.u8(d.off));
        case Kind::Text:
            return FieldValue{cp1252ToUtf8(r.text(d.off, d.size))};
        case Kind::Var: {
            const std::uint8_t letter = r.u8(d.off), number = r.u8(d.size);
            if (letter == 0 && number == 0)
                return FieldValue{std::string()};
            if (letter <= 0x20 || letter >= 0x7F || isDigit(static_cast<char>(letter)))
                return std::nullopt;
            return FieldValue{std::string(1, static_cast<char>(letter)) + std::to_string(number)};
        }
        case Kind::VarList:
            return FieldValue{cp1252ToUtf8(VariableListText(r))};
        case Kind::Enum: {
            const std::uint8_t b = r.u8(d.off);
            if (b < d.names.size() && d.names[b])
                return FieldValue{std::string(d.names[b])};
            return FieldValue{static_cast<long long>(b)};
        }
    }
    return std::nullopt;
}

// ---- encoding: a value back into its bytes ----

// What a refused text expected (own texts; each takes the field name first).
namespace msg {
constexpr std::uint32_t kRange = 60620;         // %s: a whole number from %s to %s
constexpr std::uint32_t kNumber = 60621;        // %s: a number
constexpr std::uint32_t kFloat = 60622;         // %s: a finite 32-bit float
constexpr std::uint32_t kOneOf = 60623;         // %s: one of %s or 0 to 255
constexpr std::uint32_t kCharOrCode = 60624;    // %s: one Windows-1252 character, "" or 0 to 255
constexpr std::uint32_t kNameOrCode = 60625;    // %s: a name or 0 to 255
constexpr std::uint32_t kCharOrNumber = 60626;  // %s: one character or 0 to 255
constexpr std::uint32_t kQuoted = 60627;        // %s: a text in quotation marks
constexpr std::uint32_t kCodePage = 60628;      // %s: text Windows-1252 can hold
constexpr std::uint32_t kTextLength = 60629;    // %s: a text of at most %s characters
constexpr std::uint32_t kVariable = 60630;      // %s: a variable such as "B12"
constexpr std::uint32_t kVariableList = 60631;  // %s: a list such as "P1P2T1"
constexpr std::uint32_t kValue = 60632;         // %s: a number or a text
constexpr std::uint32_t kTypeLine = 60633;
constexpr std::uint32_t kTypeValue = 60634;
constexpr std::uint32_t kRawTable = 60635;
constexpr std::uint32_t kRawRun = 60636;  // raw.%s
constexpr std::uint32_t kStepNumber = 60637;
constexpr std::uint32_t kFieldName = 60638;  // (%s), not '%s'
constexpr std::uint32_t kVersion = 60639;
constexpr std::uint32_t kStepsOnly = 60640;  // not '%s'
constexpr std::uint32_t kNoStep = 60641;
constexpr std::uint32_t kTooManySteps = 60642;
constexpr std::uint32_t kStepTables = 60643;
}  // namespace msg

struct Encoded {
    std::uint32_t error = 0;          // what was expected, when the value does not fit
    std::vector<std::string> args{};  // after the field name
};

bool integerIn(const FieldValue& v, long long lo, long long hi, long long& out) {
    if (const auto* i = std::get_if<long long>(&v.value)) {
        if (*i < lo || *i > hi)
            return false;
        out = *i;
        return true;
    }
    return false;
}

Encoded rangeText(long long lo, long long hi) {
    return {msg::kRange, {std::to_string(lo), std::to_string(hi)}};
}

// Parses "B12" (any letter but a digit, then 0..255) or "".
bool parseVar(const std::string& cp, std::uint8_t& letter, std::uint8_t& number) {
    if (cp.empty()) {
        letter = number = 0;
        return true;
    }
    if (cp.size() < 2 || isDigit(cp[0]) || static_cast<unsigned char>(cp[0]) <= 0x20)
        return false;
    int n = 0;
    for (std::size_t i = 1; i < cp.size(); ++i) {
        if (!isDigit(cp[i]) || i > 3)
            return false;
        n = n * 10 + (cp[i] - '0');
    }
    if (n > 255)
        return false;
    letter = static_cast<std::uint8_t>(cp[0]);
    number = static_cast<std::uint8_t>(n);
    return true;
}

// The list text back into 3-byte entries and the closing 0 byte.
bool parseVarList(const std::string& cp, std::vector<std::uint8_t>& out) {
    out.clear();
    if (cp.size() >= 4 && cp.compare(0, 2, "<S") == 0 && cp.back() == '>') {
        int n = 0;
        for (std::size_t i = 2; i + 1 < cp.size(); ++i) {
            if (!isDigit(cp[i]) || i > 4)
                return false;
            n = n * 10 + (cp[i] - '0');
        }
        if (n > 255)
            return false;
        out = {m::kIndirectMark, static_cast<std::uint8_t>(n), 0, 0};
        return true;
    }
    std::size_t pos = 0;
    while (pos < cp.size()) {
        // The same entries as the dialog's list, but any number a record can
        // hold (up to 255) reads back.
        const VariableEntryText e = ReadVariableEntry(cp, pos);
        if (e.first == 0 || isDigit(static_cast<char>(e.first)))
            return false;
        if (e.digits == 0 || e.digits > 3 || e.number > 255 || (e.second && e.number == 0))
            return false;
        const auto entry = e.bytes();
        out.insert(out.end(), entry.begin(), entry.end());
    }
    out.push_back(0);
    return m::kVariables + out.size() <= m::kVariablesEnd;
}

void put(ComponentRecord& r, Mask& mask, std::size_t off, std::uint8_t b) {
    r.setU8(off, b);
    mask.set(off);
}

Encoded encode(const FieldDef& d, const FieldValue& v, ComponentRecord& r, Mask& mask) {
    long long i = 0;
    const auto* s = std::get_if<std::string>(&v.value);
    switch (d.kind) {
        case Kind::U8:
            if (!integerIn(v, 0, 255, i))
                return rangeText(0, 255);
            put(r, mask, d.off, static_cast<std::uint8_t>(i));
            return {};
        case Kind::U16:
        case Kind::I16: {
            const bool sign = d.kind == Kind::I16;
            if (!integerIn(v, sign ? -32768 : 0, sign ? 32767 : 65535, i))
                return sign ? rangeText(-32768, 32767) : rangeText(0, 65535);
            const auto u = static_cast<std::uint16_t>(i);
            put(r, mask, d.off, static_cast<std::uint8_t>(u));
            put(r, mask, d.off + 1, static_cast<std::uint8_t>(u >> 8));
            return {};
        }
        case Kind::U32:
        case Kind::I32: {
            const bool sign = d.kind == Kind::I32;
            if (!integerIn(v, sign ? INT32_MIN : 0, sign ? INT32_MAX : UINT32_MAX, i))
                return sign ? rangeText(INT32_MIN, INT32_MAX) : rangeText(0, UINT32_MAX);
            r.setU32(d.off, static_cast<std::uint32_t>(i));
            for (std::size_t k = 0; k < 4; ++k)
                mask.set(d.off + k);
            return {};
        }
        case Kind::F32: {
            double x = 0;
            if (const auto* dv = std::get_if<double>(&v.value))
                x = *dv;
            else if (const auto* iv = std::get_if<long long>(&v.value))
                x = static_cast<double>(*iv);
            else
                return {msg::kNumber};
            // Up to the largest float and what rounds to it.
            if (!std::isfinite(x) || std::fabs(x) >= 3.4028235677973366e38)
                return {msg::kFloat};
            r.setF32(d.off, static_cast<float>(x));
            for (std::size_t k = 0; k < 4; ++k)
                mask.set(d.off + k);
            return {};
        }
        case Kind::Char:
        case Kind::Enum: {
            if (s) {
                if (d.kind == Kind::Enum) {
                    for (std::size_t k = 0; k < d.names.size(); ++k)
                        if (d.names[k] && *s == d.names[k]) {
                            put(r, mask, d.off, static_cast<std::uint8_t>(k));
                            return {};
                        }
                    std::string names;
                    for (const char* n : d.names)
                        if (n)
                            names += std::string(names.empty() ? "" : ", ") + "\"" + n + "\"";
                    return {msg::kOneOf, {names}};
                }
                const auto cp = utf8ToCp1252(*s);
                if (!cp || cp->size() > 1)
                    return {msg::kCharOrCode};
                put(r, mask, d.off, cp->empty() ? 0 : static_cast<std::uint8_t>((*cp)[0]));
                return {};
            }
            if (!integerIn(v, 0, 255, i))
                return {d.kind == Kind::Enum ? msg::kNameOrCode : msg::kCharOrNumber};
            put(r, mask, d.off, static_cast<std::uint8_t>(i));
            return {};
        }
        case Kind::Text: {
            if (!s)
                return {msg::kQuoted};
            const auto cp = utf8ToCp1252(*s);
            if (!cp)
                return {msg::kCodePage};
            if (cp->size() > d.size || cp->find('\0') != std::string::npos)
                return {msg::kTextLength, {std::to_string(d.size)}};
            for (std::size_t k = 0; k < cp->size(); ++k)
                put(r, mask, d.off + k, static_cast<std::uint8_t>((*cp)[k]));
            if (cp->size() < d.size)
                put(r, mask, d.off + cp->size(), 0);
            return {};
        }
        case Kind::Var: {
            std::uint8_t letter = 0, number = 0;
            const auto cp = s ? utf8ToCp1252(*s) : std::nullopt;
            if (!cp || !parseVar(*cp, letter, number))
                return {msg::kVariable};
            put(r, mask, d.off, letter);
            put(r, mask, d.size, number);
            return {};
        }
        case Kind::VarList: {
            std::vector<std::uint8_t> bytes;
            const auto cp = s ? utf8ToCp1252(*s) : std::nullopt;
            if (!cp || !parseVarList(*cp, bytes))
                return {msg::kVariableList};
            for (std::size_t k = 0; k < bytes.size(); ++k)
                put(r, mask, d.off + k, bytes[k]);
            return {};
        }
    }
    return {msg::kValue};
}

// Bytes that saving rewrites: format mark, record mark, step number.
bool rewrittenOnSave(std::size_t off) {
    return off < rec::kReserved4 || off == rec::kNumber || off == rec::kNumber + 1;
}

// The fields of `r` that write back exactly, with the bytes they cover.
std::vector<std::pair<const FieldDef*, FieldValue>> exactFields(const ComponentRecord& r,
                                                                Mask& covered) {
    std::vector<std::pair<const FieldDef*, FieldValue>> out;
    ComponentRecord probe;  // all zero again after every field
    const auto consider = [&](const FieldDef& d) {
        auto v = decode(d, r);
        if (!v)
            return;
        Mask mask;
        const bool fits = encode(d, *v, probe, mask).error == 0 && !(mask & covered).any();
        bool same = fits;
        for (std::size_t k = mask._Find_first(); k < mask.size(); k = mask._Find_next(k)) {
            same = same && probe.bytes[k] == r.bytes[k];
            probe.bytes[k] = 0;
        }
        if (!same)
            return;
        covered |= mask;
        out.emplace_back(&d, std::move(*v));
    };
    for (const FieldDef& d : headFields())
        consider(d);
    for (const FieldDef& d : payloadFields(r.typeCode()))
        consider(d);
    return out;
}

std::string quoted(const std::string& utf8) {
    std::string out = "\"";
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        char buf[8];
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7F) {
            std::snprintf(buf, sizeof buf, "\\u%04X", c);
            out += buf;
        } else if (c == 0xC2 && i + 1 < utf8.size() &&
                   static_cast<unsigned char>(utf8[i + 1]) < 0xA0) {
            // C1 controls (the bytes Windows-1252 leaves undefined).
            std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned char>(utf8[i + 1]));
            out += buf;
            ++i;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string hexRun(const std::vector<std::uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (std::uint8_t b : bytes) {
        if (!out.empty())
            out += ' ';
        out += digits[b >> 4];
        out += digits[b & 15];
    }
    return out;
}

std::string typeText(std::uint8_t t) {
    const auto v = charValue(t);
    return ValueText(*v);
}

}  // namespace

std::string ValueText(const FieldValue& v) {
    if (const auto* i = std::get_if<long long>(&v.value))
        return std::to_string(*i);
    if (const auto* d = std::get_if<double>(&v.value))
        return shortestFloat(static_cast<float>(*d));
    return quoted(std::get<std::string>(v.value));
}

std::vector<NamedField> RecordFields(const ComponentRecord& r) {
    Mask covered;
    std::vector<NamedField> out;
    for (auto& [def, value] : exactFields(r, covered))
        out.push_back({def->name, std::move(value)});
    return out;
}

std::vector<RawRun> UncoveredBytes(const ComponentRecord& r) {
    Mask covered;
    exactFields(r, covered);
    covered.set(rec::kTypeCode);
    for (std::size_t k = 0; k < rec::kRecordSize; ++k)
        if (rewrittenOnSave(k))
            covered.set(k);
    // Runs of non-zero bytes, joined across short gaps of zeros and cut at 32
    // bytes so that a line stays readable.
    constexpr std::size_t kGap = 4, kMaxRun = 32;
    std::vector<RawRun> runs;
    for (std::size_t k = 0; k < rec::kRecordSize; ++k) {
        if (covered.test(k) || r.bytes[k] == 0)
            continue;
        RawRun run{k, {}};
        std::size_t last = k;
        for (std::size_t j = k; j < rec::kRecordSize && j - k < kMaxRun && !covered.test(j); ++j) {
            if (r.bytes[j] != 0)
                last = j;
            else if (j - last > kGap)
                break;
        }
        run.bytes.assign(r.bytes.begin() + static_cast<long>(k),
                         r.bytes.begin() + static_cast<long>(last + 1));
        k = last;
        runs.push_back(std::move(run));
    }
    return runs;
}

std::string ExportText(const std::vector<ComponentRecord>& records, const std::string& title) {
    std::ostringstream out;
    out << "# Quelvari test procedure in text form" << (title.empty() ? "" : ": ") << title
        << "\n"
           "# One [[step]] per component. \"raw\" keeps the bytes no named field covers,\n"
           "# as record offset = hexadecimal bytes. quelvari-cli import turns this back\n"
           "# into the procedure file.\n"
           "quelvari_text_form = 1\n";
    std::size_t n = 0;
    for (const ComponentRecord& r : records) {
        ++n;
        out << "\n[[step]]\nnumber = " << n << "\ntype = " << typeText(r.typeCode());
        const ComponentType* type = FindType(r);
        if (type)
            out << "  # " << type->key;
        else if (r.typeCode() != 0)
            out << "  # unknown type";
        out << "\n";
        Mask covered;
        for (const auto& [def, value] : exactFields(r, covered))
            out << def->name << " = " << ValueText(value) << "\n";
        for (const RawRun& run : UncoveredBytes(r))
            out << "raw." << run.offset << " = \"" << hexRun(run.bytes) << "\"\n";
    }
    return out.str();
}

namespace {

std::size_t lineOf(const toml::node& node) {
    return node.source().begin.line;
}

std::optional<FieldValue> tomlValue(const toml::node& node) {
    if (const auto* i = node.as_integer())
        return FieldValue{static_cast<long long>(i->get())};
    if (const auto* f = node.as_floating_point())
        return FieldValue{f->get()};
    if (const auto* s = node.as_string())
        return FieldValue{s->get()};
    return std::nullopt;
}

bool parseHexRun(const std::string& text, std::vector<std::uint8_t>& out) {
    out.clear();
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        if (i + 1 >= text.size())
            return false;
        unsigned v = 0;
        const auto res = std::from_chars(text.data() + i, text.data() + i + 2, v, 16);
        if (res.ptr != text.data() + i + 2)
            return false;
        out.push_back(static_cast<std::uint8_t>(v));
        i += 2;
    }
    return !out.empty();
}

void importStep(const toml::table& step, std::size_t stepLine, ImportResult& result) {
    const auto fail = [&](std::size_t line, std::uint32_t id, std::vector<std::string> args = {}) {
        result.errors.push_back(MakeTextError(line, id, std::move(args)));
    };
    ComponentRecord r;
    // The type first: it says which payload fields the step may have.
    std::uint8_t type = 0;
    const toml::node* typeNode = step.get("type");
    if (!typeNode) {
        fail(stepLine, msg::kTypeLine);
        return;
    }
    {
        Mask mask;
        const FieldDef def{"type", Kind::Char, rec::kTypeCode};
        const auto v = tomlValue(*typeNode);
        const Encoded e = v ? encode(def, *v, r, mask) : Encoded{msg::kValue};
        if (e.error != 0) {
            fail(lineOf(*typeNode), msg::kTypeValue);
            return;
        }
        type = r.typeCode();
    }
    // Raw bytes go in first; the named fields are written over them.
    if (const toml::node* rawNode = step.get("raw")) {
        const toml::table* raw = rawNode->as_table();
        if (!raw) {
            fail(lineOf(*rawNode), msg::kRawTable);
            return;
        }
        for (const auto& [key, node] : *raw) {
            long long off = -1;
            const std::string k(key.str());
            const auto res = std::from_chars(k.data(), k.data() + k.size(), off);
            std::vector<std::uint8_t> bytes;
            const auto* s = node.as_string();
            if (res.ptr != k.data() + k.size() || off < 0 || !s || !parseHexRun(s->get(), bytes) ||
                static_cast<std::size_t>(off) + bytes.size() > rec::kRecordSize) {
                fail(lineOf(node), msg::kRawRun, {k});
                return;
            }
            std::memcpy(r.data() + off, bytes.data(), bytes.size());
        }
    }
    r.setTypeCode(type);
    Mask covered;
    for (const auto& [key, node] : step) {
        const std::string k(key.str());
        if (k == "type" || k == "raw")
            continue;
        if (k == "number") {
            if (!node.as_integer())
                fail(lineOf(node), msg::kStepNumber);
            continue;
        }
        const FieldDef* def = nullptr;
        for (const auto* list : {&headFields(), &payloadFields(type)})
            for (const FieldDef& d : *list)
                if (k == d.name)
                    def = &d;
        if (!def) {
            std::string names;
            for (const auto* list : {&headFields(), &payloadFields(type)})
                for (const FieldDef& d : *list)
                    names += std::string(names.empty() ? "" : ", ") + d.name;
            fail(lineOf(node), msg::kFieldName, {names, k});
            continue;
        }
        const auto v = tomlValue(node);
        Mask mask;
        const Encoded e = v ? encode(*def, *v, r, mask) : Encoded{msg::kValue};
        if (e.error != 0) {
            std::vector<std::string> args{k};
            args.insert(args.end(), e.args.begin(), e.args.end());
            fail(lineOf(node), e.error, std::move(args));
            continue;
        }
        covered |= mask;
    }
    // Marks and step number are what saving rewrites anyway.
    r.setFormatMark(kCurrentFormatMark);
    r.setRecordMark(kRecordMarkMemory);
    r.setNumber(static_cast<std::uint16_t>(result.records.size() + 1));
    result.records.push_back(r);
}

}  // namespace

TextError MakeTextError(std::size_t line, std::uint32_t textId, std::vector<std::string> args) {
    TextError e{line, {}, textId, std::move(args)};
    e.expected = ExpectedText(e, kEnglish);
    return e;
}

std::string ExpectedText(const TextError& e, std::uint32_t lang) {
    if (e.textId == 0)
        return e.expected;
    const std::string format = cp1252ToUtf8(LangText(e.textId, lang));
    std::string out;
    std::size_t arg = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format.compare(i, 2, "%s") == 0) {
            out += arg < e.args.size() ? e.args[arg++] : std::string();
            ++i;
        } else {
            out += format[i];
        }
    }
    return out;
}

ImportResult ImportText(const std::string& utf8) {
    ImportResult result;
    toml::table root;
    try {
        root = toml::parse(utf8);
    } catch (const toml::parse_error& e) {
        result.errors.push_back({e.source().begin.line, std::string(e.description()), 0, {}});
        return result;
    }
    const toml::node* version = root.get("quelvari_text_form");
    if (!version || !version->as_integer() || version->as_integer()->get() != 1) {
        result.errors.push_back(MakeTextError(version ? lineOf(*version) : 0, msg::kVersion));
        return result;
    }
    for (const auto& [key, node] : root) {
        if (key.str() == "quelvari_text_form" || key.str() == "step")
            continue;
        result.errors.push_back(
            MakeTextError(lineOf(node), msg::kStepsOnly, {std::string(key.str())}));
        return result;
    }
    const toml::node* steps = root.get("step");
    const toml::array* list = steps ? steps->as_array() : nullptr;
    if (!list || list->empty()) {
        result.errors.push_back(MakeTextError(steps ? lineOf(*steps) : 0, msg::kNoStep));
        return result;
    }
    if (list->size() > 65535) {
        result.errors.push_back(MakeTextError(lineOf(*steps), msg::kTooManySteps));
        return result;
    }
    for (const toml::node& node : *list) {
        const toml::table* step = node.as_table();
        if (!step) {
            result.errors.push_back(MakeTextError(lineOf(node), msg::kStepTables));
            return result;
        }
        const std::size_t before = result.errors.size();
        importStep(*step, lineOf(node), result);
        if (result.errors.size() != before)
            return result;
    }
    return result;
}

}  // namespace quelvari::exchange
