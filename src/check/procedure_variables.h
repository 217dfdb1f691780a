// The variables a procedure uses, for the description's automatic generation.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/record.h"
#include "model/side_file.h"

namespace quelvari {

// One variable as the procedure names it: "B12", "PT3". The number is the one
// the procedure gives with the name.
struct UsedVariable {
    std::string name;
    std::optional<int> number;
    bool operator==(const UsedVariable&) const = default;
};

// How a step uses a variable: conditions, trigger and reference variables
// and the string variable of an indirect measuring list are read; measured
// variables, the registration variable of a break component and the ident
// variable of a section component are written (the runtime sets them).
enum class VariableAccess : std::uint8_t { Read, Write };

// One use of a variable by one step (1-based position in `records`).
struct VariableUse {
    UsedVariable variable;
    std::size_t step = 0;
    VariableAccess access = VariableAccess::Read;
};

// Every use of a variable, step by step and within a step in the order below.
std::vector<VariableUse> CollectVariableUses(const std::vector<ComponentRecord>& records);

// Every variable named by the entry and branch conditions of every component,
// the measured variables and trigger variables of the measuring components,
// the string variable that holds an indirect measuring list, the reference and
// registration variables of break components and the reference and ident
// variables of section components; each once, in the order of first use.
std::vector<UsedVariable> CollectUsedVariables(const std::vector<ComponentRecord>& records);

// The number of the variable `name` (compared without regard to case) when
// the procedure uses it; nothing otherwise.
std::optional<int> UsedVariableNumber(const std::vector<ComponentRecord>& records,
                                      std::string_view name);

// New: the line for a variable the user names, with its number when the
// procedure uses it and "(?)" otherwise.
std::string NewVariableLine(const std::vector<ComponentRecord>& records, std::string_view name,
                            std::string_view description);

// Automatic generation: adds a line (with an empty description) for every
// used variable whose name no line of `list` holds yet, compared without
// regard to case. Returns how many lines were added.
std::size_t AddUsedVariables(VariableLines& list, const std::vector<ComponentRecord>& records);

}  // namespace quelvari
