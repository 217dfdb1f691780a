// Tables generated at build time from resources/ by quelvari-textgen.
#pragma once

#include <cstdint>

#include "texts/texts.h"

namespace quelvari::generated {

// Each table has room for kTextTableCapacity entries plus the end mark.
extern const TextEntry kTextsDe[kTextTableCapacity + 1];
extern const TextEntry kTextsEn[kTextTableCapacity + 1];
extern const TextEntry kTextsFr[kTextTableCapacity + 1];
extern const TextEntry kTextsIt[kTextTableCapacity + 1];

// 114 messages x 6 lines each.
extern const char* const kErrorsDe[684];
extern const char* const kErrorsEn[684];
extern const char* const kErrorsFr[684];
extern const char* const kErrorsIt[684];

// The ids the program looks up, with a bit per language (1 << lang) in which
// each must resolve.
struct UsedId {
    std::uint16_t id;
    std::uint8_t languages;
};
extern const UsedId kUsedIds[];
extern const unsigned kUsedIdCount;

// The project's own texts (resources/texts/own.txt), ids from kOwnTextFirst,
// every language of an id present; ended by an entry with id 0.
struct OwnTextEntry {
    std::uint16_t id;
    std::uint8_t lang;
    const char* text;  // Windows-1252
};
extern const OwnTextEntry kOwnTexts[];
extern const unsigned kOwnTextCount;

}  // namespace quelvari::generated
