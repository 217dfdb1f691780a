// The condition check: entry and branch conditions of every component, such as
// "E3", "Z5>=Z6", "S2=\"OK\"", "A1<12,5", "!B5" or the words "WEITER" and
// "MEMORY". Used by every component reader and by the syntax test.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "model/status.h"

namespace quelvari {

inline constexpr std::size_t kConditionMaxChars = 20;

// One variable named by a condition: its letter (the first as typed, the
// second in upper case) and its number.
struct ConditionVariable {
    char letter;
    int number;
    bool operator==(const ConditionVariable&) const = default;
};

struct ConditionResult {
    int error = 0;  // 0 or one of the catalogue numbers above
    // Variables in the order they appear; those read before a fault are kept.
    std::vector<ConditionVariable> variables;
};

// Checks `text` (Windows-1252) and lists the variables it names.
ConditionResult ParseCondition(std::string_view text);
// The error number alone (0 when the condition is accepted).
int CheckCondition(std::string_view text);
// The variables of `text`; empty for the accepted words, "1" and "".
std::vector<ConditionVariable> ConditionVariables(std::string_view text);

// Largest variable number of a letter: 96 for 'A' and 'E', 255 otherwise.
int VariableLimit(char letter);

}  // namespace quelvari
