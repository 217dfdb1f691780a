#include "app/lang_text.h"

#include "texts/texts.h"

namespace quelvari::app {

QString LangQt(std::uint32_t id) {
    return FromCp1252(LangText(id));
}

}  // namespace quelvari::app
