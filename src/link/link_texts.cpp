#include "link/link_texts.h"

#include "texts/texts.h"

#ifndef QUELVARI_UDEV_RULE
#define QUELVARI_UDEV_RULE "/usr/local/lib/udev/rules.d/60-quelvari-instrument.rules"
#endif

namespace quelvari::link {

std::string TextWith(std::uint32_t id, std::initializer_list<std::string> values) {
    const std::string text = LangText(id);
    std::string out;
    auto next = values.begin();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == 's') {
            if (next != values.end())
                out += *next++;
            ++i;
            continue;
        }
        out += text[i];
    }
    return out;
}

std::string UdevRulePath() {
    return QUELVARI_UDEV_RULE;
}

}  // namespace quelvari::link
