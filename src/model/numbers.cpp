#include "model/numbers.h"

#include <charconv>
#include <climits>
#include <cmath>

namespace quelvari {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// Skips leading blanks and one sign; returns the rest and whether it was '-'.
std::string_view takeSign(std::string_view text, bool& negative) {
    std::size_t i = 0;
    while (i < text.size() && isBlank(text[i]))
        ++i;
    negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    return text.substr(i);
}

}  // namespace

double ParseDecimal(std::string_view text) {
    bool negative = false;
    const std::string_view rest = takeSign(text, negative);
    // from_chars rejects a second sign, as atof does ("+-1" is 0).
    if (rest.empty() || rest[0] == '+' || rest[0] == '-')
        return 0.0;
    double value = 0.0;
    const auto [end, ec] =
        std::from_chars(rest.data(), rest.data() + rest.size(), value, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        // Too large or too small for a double: atof gives HUGE_VAL or 0, and
        // only a negative exponent makes a number too small.
        const std::string_view digits(rest.data(), static_cast<std::size_t>(end - rest.data()));
        const std::size_t e = digits.find_first_of("eE");
        const bool tiny =
            e != std::string_view::npos && e + 1 < digits.size() && digits[e + 1] == '-';
        value = tiny ? 0.0 : HUGE_VAL;
    } else if (ec != std::errc()) {
        return 0.0;
    }
    return negative ? -value : value;
}

long ParseLeadingInteger(std::string_view text) {
    bool negative = false;
    const std::string_view rest = takeSign(text, negative);
    std::size_t digits = 0;
    while (digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9')
        ++digits;
    if (digits == 0)
        return 0;
    unsigned long long magnitude = 0;
    const auto [end, ec] = std::from_chars(rest.data(), rest.data() + digits, magnitude);
    (void)end;
    const unsigned long long limit =
        negative ? static_cast<unsigned long long>(LONG_MAX) + 1 : LONG_MAX;
    if (ec == std::errc::result_out_of_range || magnitude > limit)
        return negative ? LONG_MIN : LONG_MAX;
    if (negative)
        return magnitude == limit ? LONG_MIN : -static_cast<long>(magnitude);
    return static_cast<long>(magnitude);
}

bool ParseWholeInteger(std::string_view text, long long& value) {
    bool negative = false;
    if (!text.empty() && text[0] == '-') {
        negative = true;
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty() || text[0] == '+' || text[0] == '-')
        return false;
    long long v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v, base);
    if (ec != std::errc() || end != text.data() + text.size())
        return false;
    value = negative ? -v : v;
    return true;
}

std::string FixedText(double value, int decimals) {
    return FixedText(value, 0, decimals);
}

std::string FixedText(double value, int width, int decimals) {
    char buf[400];
    std::string out;
    if (!std::isfinite(value)) {
        // printf's spelling of what to_chars would write as "inf" or "nan".
        out = std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
    } else {
        const auto [end, ec] =
            std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals);
        out = ec == std::errc() ? std::string(buf, end) : std::string();
    }
    if (out.size() < static_cast<std::size_t>(width))
        out.insert(0, static_cast<std::size_t>(width) - out.size(), ' ');
    return out;
}

char AsciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string AsciiUpper(std::string text) {
    for (char& c : text)
        c = AsciiUpper(c);
    return text;
}

}  // namespace quelvari
