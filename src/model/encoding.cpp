#include "model/encoding.h"

#include <array>
#include <cstdint>

namespace quelvari {
namespace {

// Code points of the bytes 0x80-0x9F; the undefined ones map to themselves.
constexpr std::array<char32_t, 32> kHigh = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

std::optional<char> encodeOne(char32_t cp) {
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF))
        return static_cast<char>(cp);
    for (std::size_t i = 0; i < kHigh.size(); ++i)
        if (kHigh[i] == cp)
            return static_cast<char>(0x80 + i);
    return std::nullopt;
}

}  // namespace

std::string cp1252ToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (char c : bytes) {
        const auto b = static_cast<std::uint8_t>(c);
        appendUtf8(out, b >= 0x80 && b < 0xA0 ? kHigh[b - 0x80] : char32_t{b});
    }
    return out;
}

std::optional<std::string> utf8ToCp1252(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        const auto b = static_cast<std::uint8_t>(utf8[i]);
        char32_t cp;
        std::size_t len;
        if (b < 0x80) {
            cp = b;
            len = 1;
        } else if ((b & 0xE0) == 0xC0) {
            cp = b & 0x1F;
            len = 2;
        } else if ((b & 0xF0) == 0xE0) {
            cp = b & 0x0F;
            len = 3;
        } else if ((b & 0xF8) == 0xF0) {
            cp = b & 0x07;
            len = 4;
        } else {
            return std::nullopt;
        }
        if (i + len > utf8.size())
            return std::nullopt;
        for (std::size_t k = 1; k < len; ++k) {
            const auto cont = static_cast<std::uint8_t>(utf8[i + k]);
            if ((cont & 0xC0) != 0x80)
                return std::nullopt;
            cp = (cp << 6) | (cont & 0x3F);
        }
        // Overlong forms are not valid UTF-8.
        if ((len == 2 && cp < 0x80) || (len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000))
            return std::nullopt;
        const auto byte = encodeOne(cp);
        if (!byte)
            return std::nullopt;
        out.push_back(*byte);
        i += len;
    }
    return out;
}

}  // namespace quelvari
