// Numbers in the fixed formats of records, dialogs, the protocol and the wire.
//
// A Qt application adopts the user's locale, after which atof, strtod and
// printf("%f") read and write a decimal comma. Everything here is built on
// std::from_chars / std::to_chars and never looks at the locale: "0.250" is
// the text of a quarter in every session.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quelvari {

// Reads a decimal number the way atof does in the "C" locale: leading blanks,
// an optional sign, then the longest number that follows ("1.5x" gives 1.5);
// 0 when no number begins the text.
double ParseDecimal(std::string_view text);

// Reads an integer the way strtol(text, nullptr, 10) does: leading blanks, an
// optional sign, then the digits that follow; 0 when none, and clamped to the
// range of long instead of overflowing.
long ParseLeadingInteger(std::string_view text);

// Reads a whole text as a number (decimal, or hexadecimal after "0x"), nothing
// else around it. False on an empty text, stray characters or overflow.
bool ParseWholeInteger(std::string_view text, long long& value);

// "%.*f": `value` with `decimals` digits after the point.
std::string FixedText(double value, int decimals);
// "%*.*f": as FixedText, right-aligned with blanks to at least `width`.
std::string FixedText(double value, int width, int decimals);

// ASCII letters a-z to A-Z; other bytes (Windows-1252 umlauts included) stay.
std::string AsciiUpper(std::string text);
char AsciiUpper(char c);

// Little-endian fields in byte buffers.
inline std::uint16_t GetLe16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t GetLe32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
inline void PutLe16(std::uint8_t* p, std::uint16_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void PutLe32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

}  // namespace quelvari
