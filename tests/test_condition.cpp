// The condition check of entry and branch conditions.
#include <gtest/gtest.h>

#include <vector>

#include "components/condition.h"

namespace quelvari {
namespace {

// Expected result, then the conditions that give it.
struct Group {
    int error;
    std::vector<const char*> texts;
};

TEST(ConditionCheck, AcceptedAndRefusedConditions) {
    const Group groups[] = {
        // Accepted: fixed words, the empty text, "1", 20 characters, the limits of
        // the numbers, every operator, text and variable operands, negation.
        {0, {"", "1", "INFO", "WEITER", "CONTINUE", "!WEITER", "!CONTINUE", "SPEICHER", "MEMORY"}},
        {0, {"!SPEICHER", "!MEMORY", "Z1=12345678901234567", "E1", "E96", "A96=1", "B255"}},
        {0, {"Z255=1", "Z1=3", "Z1<3", "Z1>3", "Z1!3", "Z1<=3", "Z1>=3", "Z1!=3", "A1<.5"}},
        {0, {"A1<5.", "S1=\"OK\"", "S1!=\"OK\"", "S1!\"\"", "Z1=Z2", "Z1<z2", "A1<a96", "A1=B5"}},
        {0, {"A1=12.5", "A1=12,5", "Z1=12", "!B5", "!b5", "!E96"}},
        // A variable letter or number out of range (A and E 1..96, others 1..255).
        {11,
         {"weiter", "INFO2", "E97", "E0", "E", "A97=1", "B256", "B0", "Z256=1", "B99999999999",
          "A1<a97", "E1=B0", "!E97"}},
        // Syntax: an operator without operand or twice, a variable other than B or E
        // alone.
        {26,
         {"I2", "Z5", "b5", "S1", "Z1==3", "A1<", "Z5=", "E1!=", "S1=", "A1>=.", "Z1<<3", "Z1<=>3",
          "Z1=!3", "Z1+3", "!!B5"}},
        // Longer than 20 characters.
        {54, {"Z1=123456789012345678"}},
        // Characters after the operand.
        {25, {"A1<#", "S1=\"OK\"X", "A1=B5X", "Z1=Z2+", "A1=1.2.3", "A1=1x", "!B5=1"}},
        // A text operand with another operator than = or !.
        {23, {"S1<\"OK\"", "S1>=\"OK\""}},
        // An operand of the wrong kind: text for A, Z with others, fractions for Z,
        // numbers for B and S, a negated operand.
        {24, {"A1=\"OK\"", "Z1=A2", "A1=Z2", "Z1=12.5", "B1=1", "S1=1", "!5", "!\"x\"", "!Z5"}},
        // A text operand not closed.
        {22, {"S1=\"OK"}},
    };
    for (const Group& g : groups)
        for (const char* text : g.texts)
            EXPECT_EQ(CheckCondition(text), g.error) << "condition '" << text << "'";
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
