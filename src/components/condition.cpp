// The condition check. A condition is either one of a few fixed words, or
//   [!] variable [operator operand]
// where a variable is a letter and a decimal number, the operator one of
// = < > ! optionally followed by one '=', and the operand a quoted text, a
// second variable or a number. The first fault ends the check.
#include "components/condition.h"

#include <array>

namespace quelvari {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

char toUpper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isOperator(char c) {
    return c == '=' || c == '<' || c == '>' || c == '!';
}

class Parser {
  public:
    explicit Parser(std::string_view text) : s_(text) {}

    ConditionResult run() {
        char first = 0;  // letter of the first variable, as typed; 0 after a leading '!'
        if (peek() == '!') {
            char op = 0;
            if (const int e = readOperator(op))
                return fail(e);
            if (!isLetter(peek()))
                return fail(kErrOperandType);  // a leading '!' negates a variable
            if (const int e = readSecondVariable(first))
                return fail(e);
            return finish();
        }
        first = s_[pos_++];
        if (const int e = readNumber(first))
            return fail(e);
        if (atEnd()) {
            // A boolean or input variable alone is a complete condition.
            if (first == 'B' || first == 'E')
                return result_;
            return fail(kErrOperator);
        }
        char op = 0;
        if (const int e = readOperator(op))
            return fail(e);
        if (peek() == '"') {
            if (first != 'S')
                return fail(kErrOperandType);
            if (op != '=' && op != '!')
                return fail(kErrTextOperator);
            ++pos_;
            while (!atEnd() && peek() != '"')
                ++pos_;
            if (atEnd())
                return fail(kErrMissingQuote);
            ++pos_;
            return finish();
        }
        if (isLetter(peek())) {
            if (const int e = readSecondVariable(first))
                return fail(e);
            return finish();
        }
        // An operator needs an operand: "A1<" is as incomplete as "A1".
        if (atEnd())
            return fail(kErrOperator);
        // A number: digits with an optional fraction after '.' or ','.
        if (first == 'B' || first == 'S')
            return fail(kErrOperandType);
        std::size_t digits = 0;
        for (; isDigit(peek()); ++digits)
            ++pos_;
        if (peek() == '.' || peek() == ',') {
            if (first == 'Z')
                return fail(kErrOperandType);
            ++pos_;
            for (; isDigit(peek()); ++digits)
                ++pos_;
        }
        if (digits == 0)
            return fail(atEnd() ? kErrOperator : kErrConditionTooLong);
        return finish();
    }

  private:
    char peek() const { return pos_ < s_.size() ? s_[pos_] : '\0'; }
    bool atEnd() const { return pos_ >= s_.size(); }

    ConditionResult fail(int error) {
        result_.error = error;
        return result_;
    }
    ConditionResult finish() {
        if (!atEnd())
            result_.error = kErrConditionTooLong;
        return result_;
    }

    // The decimal number behind a variable letter; a missing number is 0.
    int readNumber(char letter) {
        long n = 0;
        while (isDigit(peek())) {
            if (n < 100000)
                n = n * 10 + (s_[pos_] - '0');
            ++pos_;
        }
        result_.variables.push_back({letter, static_cast<int>(n)});
        if (n < 1 || n > VariableLimit(letter))
            return kErrVariableNumber;
        return 0;
    }

    int readOperator(char& op) {
        op = peek();
        if (!isOperator(op))
            return kErrOperator;
        ++pos_;
        if (peek() == '=') {
            if (op == '=')
                return kErrOperator;  // "=="
            ++pos_;
        }
        const char next = peek();
        if (next == '<' || next == '>' || next == '!')
            return kErrOperator;
        return 0;
    }

    // A second variable: letter in upper case and number; Z only with Z.
    int readSecondVariable(char first) {
        const char letter = toUpper(s_[pos_++]);
        if (const int e = readNumber(letter))
            return e;
        if ((first == 'Z') != (letter == 'Z'))
            return kErrOperandType;
        return 0;
    }

    std::string_view s_;
    std::size_t pos_ = 0;
    ConditionResult result_;
};

constexpr std::array<std::string_view, 11> kAcceptedWords = {
    "INFO",   "WEITER",    "CONTINUE", "!WEITER", "!CONTINUE", "SPEICHER",
    "MEMORY", "!SPEICHER", "!MEMORY",  "",        "1",
};

}  // namespace

int VariableLimit(char letter) {
    return (letter == 'A' || letter == 'E') ? 96 : 255;
}

ConditionResult ParseCondition(std::string_view text) {
    if (text.size() > kConditionMaxChars)
        return {kErrTooLong, {}};
    for (std::string_view word : kAcceptedWords)
        if (text == word)
            return {};
    return Parser(text).run();
}

int CheckCondition(std::string_view text) {
    return ParseCondition(text).error;
}

std::vector<ConditionVariable> ConditionVariables(std::string_view text) {
    return ParseCondition(text).variables;
}

}  // namespace quelvari
