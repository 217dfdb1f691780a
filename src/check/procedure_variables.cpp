#include "check/procedure_variables.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "components/condition.h"
#include "components/layouts.h"

namespace quelvari {

namespace {

// Lists the uses of one step.
class Collector {
  public:
    void add(std::string name, int number, VariableAccess access) {
        out.push_back({{std::move(name), number}, step, access});
    }
    // A one-byte letter and number; letter 0 means "none".
    void add(std::uint8_t letter, std::uint8_t number, VariableAccess access) {
        if (letter >= 'A' && letter <= 'Z' && number != 0)
            add(std::string(1, static_cast<char>(letter)) + std::to_string(number), number, access);
    }
    std::size_t step = 0;
    std::vector<VariableUse> out;
};

void collectMeasured(const ComponentRecord& r, Collector& c) {
    namespace m = layout::measuring;
    if (r.u8(m::kVariables) == m::kIndirectMark) {
        c.add('S', r.u8(m::kVariables + 1), VariableAccess::Read);
    } else {
        for (std::size_t at = m::kVariables; at + 3 <= m::kVariablesEnd && r.u8(at) != 0; at += 3) {
            const std::uint8_t first = r.u8(at);
            const std::uint8_t second = r.u8(at + 1);
            const std::uint8_t third = r.u8(at + 2);
            if (third == 0) {  // one-letter name: letter, number, 0
                c.add(first, second, VariableAccess::Write);
            } else if (second >= 'A' && second <= 'Z' && first >= 'A' && first <= 'Z') {
                std::string name{static_cast<char>(first), static_cast<char>(second)};
                c.add(name + std::to_string(third), third, VariableAccess::Write);
            }
        }
    }
    c.add(r.u8(m::kTriggerLetter), r.u8(m::kTriggerNumber), VariableAccess::Read);
    c.add(r.u8(m::kTrigger2Letter), r.u8(m::kTrigger2Number), VariableAccess::Read);
}

}  // namespace

std::vector<VariableUse> CollectVariableUses(const std::vector<ComponentRecord>& records) {
    Collector c;
    for (const ComponentRecord& r : records) {
        ++c.step;
        for (const std::string& cond : {r.inputCondition(), r.branchCondition()})
            for (const ConditionVariable& v : ConditionVariables(cond))
                if (v.number > 0)
                    c.add(std::string(1, static_cast<char>(
                                             std::toupper(static_cast<unsigned char>(v.letter)))) +
                              std::to_string(v.number),
                          v.number, VariableAccess::Read);
        switch (r.typeCode()) {
            case 'M':
                collectMeasured(r, c);
                break;
            case 'u':
                c.add(r.u8(layout::brk::kReferenceLetter), r.u8(layout::brk::kReferenceNumber),
                      VariableAccess::Read);
                c.add(r.u8(layout::brk::kRegistrationLetter),
                      r.u8(layout::brk::kRegistrationNumber), VariableAccess::Write);
                break;
            case 'C':
                if (r.u8(layout::section::kKind) == layout::section::kFirst)
                    c.add(r.u8(layout::section::kReferenceLetter),
                          r.u8(layout::section::kReferenceNumber), VariableAccess::Read);
                c.add(r.u8(layout::section::kIdentLetter), r.u8(layout::section::kIdentNumber),
                      VariableAccess::Write);
                break;
            default:
                break;
        }
    }
    return std::move(c.out);
}

std::vector<UsedVariable> CollectUsedVariables(const std::vector<ComponentRecord>& records) {
    std::vector<UsedVariable> out;
    std::set<std::string> seen;
    for (VariableUse& use : CollectVariableUses(records)) {
        std::string key = use.variable.name;
        for (char& ch : key)
            ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
        if (seen.insert(key).second)
            out.push_back(std::move(use.variable));
    }
    return out;
}

namespace {

std::string upperCase(std::string_view s) {
    std::string out(s);
    for (char& ch : out)
        ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    return out;
}

}  // namespace

std::optional<int> UsedVariableNumber(const std::vector<ComponentRecord>& records,
                                      std::string_view name) {
    const std::string key = upperCase(name);
    for (const UsedVariable& v : CollectUsedVariables(records))
        if (upperCase(v.name) == key)
            return v.number;
    return std::nullopt;
}

std::string NewVariableLine(const std::vector<ComponentRecord>& records, std::string_view name,
                            std::string_view description) {
    return FormatVariableLine(name, UsedVariableNumber(records, name), description);
}

std::size_t AddUsedVariables(VariableLines& list, const std::vector<ComponentRecord>& records) {
    std::set<std::string> held;
    const auto upper = [](const std::string& s) { return upperCase(s); };
    for (const std::string& line : list.lines())
        held.insert(upper(ParseVariableLine(line).name));
    std::size_t added = 0;
    for (const UsedVariable& v : CollectUsedVariables(records)) {
        if (held.insert(upper(v.name)).second) {
            list.add(FormatVariableLine(v.name, v.number, ""));
            ++added;
        }
    }
    return added;
}

}  // namespace quelvari
