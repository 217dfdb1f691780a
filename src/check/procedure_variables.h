// The variables a procedure uses, for the description's automatic generation.
#pragma once

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
