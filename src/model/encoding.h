// Windows-1252, the code page of every text in records, text tables and side
// files. Conversion happens only at the edges: the user interface, the
// command-line tool and the build-time text generator.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelvari {

// Decodes Windows-1252 bytes to UTF-8. The five bytes the code page leaves
// undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) decode to the C1 control of the
// same value, so that every byte survives a round trip.
std::string cp1252ToUtf8(std::string_view bytes);

// Encodes UTF-8 text as Windows-1252. Returns nothing when the text is not
// valid UTF-8 or holds a character the code page cannot represent; text is
// never stored in a mangled form.
std::optional<std::string> utf8ToCp1252(std::string_view utf8);

}  // namespace quelvari
