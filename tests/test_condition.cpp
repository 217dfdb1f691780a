// The condition check of entry and branch conditions.
#include <gtest/gtest.h>

#include "components/condition.h"

namespace quelvari {
namespace {

struct Case {
    const char* text;
    int error;
};

TEST(ConditionCheck, AcceptedAndRefusedConditions) {
    const Case cases[] = {
        // Fixed words, the empty text and "1".
        {"", 0},
        {"1", 0},
        {"INFO", 0},
        {"WEITER", 0},
        {"CONTINUE", 0},
        {"!WEITER", 0},
        {"!CONTINUE", 0},
        {"SPEICHER", 0},
        {"MEMORY", 0},
        {"!SPEICHER", 0},
        {"!MEMORY", 0},
        {"weiter", 11},
        {"INFO2", 11},
        {"I2", 26},
        // Length: 20 characters are checked, 21 are error 54.
        {"Z1=12345678901234567", 0},
        {"Z1=123456789012345678", 54},
        // Variable numbers: A and E 1..96, the others 1..255.
        {"E1", 0},
        {"E96", 0},
        {"E97", 11},
        {"E0", 11},
        {"E", 11},
        {"A96=1", 0},
        {"A97=1", 11},
        {"B255", 0},
        {"B256", 11},
        {"B0", 11},
        {"Z255=1", 0},
        {"Z256=1", 11},
        {"B99999999999", 11},
        // Only B and E stand alone.
        {"Z5", 26},
        {"b5", 26},
        {"S1", 26},
        // Operators.
        {"Z1=3", 0},
        {"Z1<3", 0},
        {"Z1>3", 0},
        {"Z1!3", 0},
        {"Z1<=3", 0},
        {"Z1>=3", 0},
        {"Z1!=3", 0},
        {"Z1==3", 26},
        // An operator needs an operand, as a variable needs an operator.
        {"A1<", 26},
        {"Z5=", 26},
        {"E1!=", 26},
        {"S1=", 26},
        {"A1>=.", 26},
        {"A1<.5", 0},
        {"A1<5.", 0},
        {"A1<#", 25},
        {"Z1<<3", 26},
        {"Z1<=>3", 26},
        {"Z1=!3", 26},
        {"Z1+3", 26},
        // Text operands: S only, with = or !, closed.
        {"S1=\"OK\"", 0},
        {"S1!=\"OK\"", 0},
        {"S1!\"\"", 0},
        {"S1<\"OK\"", 23},
        {"S1>=\"OK\"", 23},
        {"A1=\"OK\"", 24},
        {"S1=\"OK", 22},
        {"S1=\"OK\"X", 25},
        // Second variables: limits, Z only with Z, lower case taken as upper.
        {"Z1=Z2", 0},
        {"Z1<z2", 0},
        {"Z1=A2", 24},
        {"A1=Z2", 24},
        {"A1<a96", 0},
        {"A1<a97", 11},
        {"E1=B0", 11},
        {"A1=B5", 0},
        {"A1=B5X", 25},
        {"Z1=Z2+", 25},
        // Numbers: not for B and S, no fraction for Z.
        {"A1=12.5", 0},
        {"A1=12,5", 0},
        {"Z1=12", 0},
        {"Z1=12.5", 24},
        {"B1=1", 24},
        {"S1=1", 24},
        {"A1=1.2.3", 25},
        {"A1=1x", 25},
        // A leading '!' negates a variable.
        {"!B5", 0},
        {"!b5", 0},
        {"!E96", 0},
        {"!E97", 11},
        {"!5", 24},
        {"!\"x\"", 24},
        {"!!B5", 26},
        {"!Z5", 24},
        {"!B5=1", 25},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CheckCondition(c.text), c.error) << "condition '" << c.text << "'";
}

TEST(ConditionCheck, ListsTheVariablesItNames) {
    using V = std::vector<ConditionVariable>;
    EXPECT_EQ(ConditionVariables("Z5>=z6"), (V{{'Z', 5}, {'Z', 6}}));
    EXPECT_EQ(ConditionVariables("a1<b2"), (V{{'a', 1}, {'B', 2}}));
    EXPECT_EQ(ConditionVariables("!B12"), (V{{'B', 12}}));
    EXPECT_EQ(ConditionVariables("S3=\"A1\""), (V{{'S', 3}}));
    EXPECT_EQ(ConditionVariables("A7=12.5"), (V{{'A', 7}}));
    EXPECT_TRUE(ConditionVariables("WEITER").empty());
    EXPECT_TRUE(ConditionVariables("1").empty());
    // A faulty condition keeps what was read before the fault.
    const ConditionResult r = ParseCondition("Z1=A300");
    EXPECT_EQ(r.error, 11);
    EXPECT_EQ(r.variables, (V{{'Z', 1}, {'A', 300}}));
}

}  // namespace
}  // namespace quelvari
