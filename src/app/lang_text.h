// Table texts for the main window and its dialogs. The conversion between
// Windows-1252 and QString itself lives in app/components/qt_text.h.
#pragma once

#include <QString>

#include <cstdint>
#include <string>

#include "app/components/qt_text.h"

namespace quelvari::app {

// Windows-1252 bytes to a QString.
inline QString ToQt(const std::string& cp1252) {
    return FromCp1252(cp1252);
}

// The text of table id `id` in the current language.
QString LangQt(std::uint32_t id);

}  // namespace quelvari::app
