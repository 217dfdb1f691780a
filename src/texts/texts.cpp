#include "texts/texts.h"

#include <cstdio>

#include "model/encoding.h"
#include "texts/generated_tables.h"

namespace quelvari {
namespace {

std::uint32_t gLanguage = kGerman;
char gMissing[32];

// The own text of `id` in `lang` (German for values other than 1 to 3), or
// null.
const char* ownText(std::uint32_t id, std::uint32_t lang) {
    const std::uint32_t l = lang <= kItalian ? lang : kGerman;
    for (const generated::OwnTextEntry* e = generated::kOwnTexts; e->id != 0; ++e)
        if (e->id == id && e->lang == l)
            return e->text;
    return nullptr;
}

}  // namespace

std::uint32_t language() {
    return gLanguage;
}
void setLanguage(std::uint32_t lang) {
    gLanguage = lang;
}

const TextEntry* textTable(std::uint32_t lang) {
    switch (lang) {
        case kEnglish:
            return generated::kTextsEn;
        case kFrench:
            return generated::kTextsFr;
        case kItalian:
            return generated::kTextsIt;
        default:
            return generated::kTextsDe;
    }
}

std::size_t textTableSize(std::uint32_t lang) {
    std::size_t n = 0;
    for (const TextEntry* e = textTable(lang); e->id != 0; ++e)
        ++n;
    return n;
}

const char* GetLangText(std::uint32_t id, std::uint32_t lang) {
    if (id >= kOwnTextFirst) {
        if (const char* own = ownText(id, lang))
            return own;
    }
    for (const TextEntry* e = textTable(lang); e->id != 0; ++e)
        if (e->id == id)
            return e->text;
    // Formatted as a signed number, as the lookup always has.
    std::snprintf(gMissing, sizeof gMissing, "?%d?", static_cast<int>(id));
    return gMissing;
}

const char* GetLangText(std::uint32_t id) {
    return GetLangText(id, gLanguage);
}
std::string LangText(std::uint32_t id) {
    return GetLangText(id);
}
std::string LangText(std::uint32_t id, std::uint32_t lang) {
    return GetLangText(id, lang);
}

bool HasLangText(std::uint32_t id, std::uint32_t lang) {
    if (id >= kOwnTextFirst && ownText(id, lang))
        return true;
    for (const TextEntry* e = textTable(lang); e->id != 0; ++e)
        if (e->id == id)
            return true;
    return false;
}

std::string FormatText(const char* format, long value) {
    char buf[512];
    std::snprintf(buf, sizeof buf, format, value);
    return buf;
}

void SetDlgItemTexts(DialogTexts& dialog, const std::vector<std::uint32_t>& ids) {
    for (std::uint32_t id : ids) {
        if (id == 0)
            break;
        dialog.setItemText(id, LangText(id));
    }
}

void LocaliseDialog(DialogTexts& dialog, std::uint32_t dialogId,
                    const std::vector<std::uint32_t>& ids) {
    if (gLanguage == kGerman)
        return;
    dialog.setTitle(LangText(dialogId));
    SetDlgItemTexts(dialog, ids);
}

const std::vector<std::uint32_t>& MenuCommandIds() {
    static const std::vector<std::uint32_t> ids = {
        32773, 32774, 57600, 57601, 57603, 57604, 57602, 57643, 57635, 57634, 57637,
        57664, 57665, 59392, 59393, 32778, 32779, 32781, 32798, 32783, 32784, 32797,
        32785, 32786, 32787, 32788, 32789, 32790, 32791, 32795, 32796, 32799};
    return ids;
}

std::string HelpFileName(std::uint32_t lang, const std::string& current) {
    switch (lang) {
        case kGerman:
            return "Quelvari-dt.hlp";
        case kEnglish:
        case kFrench:
            return "Quelvari-engl.hlp";  // French uses the English help
        case kItalian:
            return "QUELVARI-engl.hlp";
        default:
            return current;
    }
}

void ApplyLanguage(MenuTexts& menu, std::string& helpFile) {
    helpFile = HelpFileName(gLanguage, helpFile);
    menu.setHelpFile(helpFile);
    for (int p = 0; p < MenuRelabel::kTopLevelCount; ++p)
        menu.setTopLevelText(p, LangText(MenuRelabel::kTopLevelBase + p));
    for (std::uint32_t id : MenuCommandIds())
        menu.setCommandText(id, LangText(id));
    menu.repaintAll();
}

namespace {

// German texts of the transfer dialog and its memory frame (UTF-8 here,
// converted once on first use).
struct GermanControlText {
    std::uint32_t id;
    const char* utf8;
};
constexpr GermanControlText kGermanControlTexts[] = {
    {185, "Prüfablauf übertragen"},
    {1466, "Prüfablauf auswählen"},
    {1467, "Prüfablauf zum Gerät übertragen"},
    {1550, "Schnelle Darstellung der Bilder:"},
    {2143, "Gerätespeicher"},
    {2144, "Gesamtspeicher:"},
    {2145, "Freier Speicher:"},
    {2146, "Speicher für Messreihen:"},
    {2147, "Speicher für Datenbank:"},
    {2148, "Nächste Prüfablauf-Nr.:"},
    {2149, "Speicherbedarf des Prüfablaufs"},
    {2150, "Prüfablauf:"},
    {2151, "Bilder:"},
    {2152, "Messreihen:"},
};

}  // namespace

std::string ControlText(std::uint32_t id) {
    if (language() == kGerman && !HasLangText(id, kGerman)) {
        for (const GermanControlText& t : kGermanControlTexts) {
            if (t.id == id)
                return utf8ToCp1252(t.utf8).value_or(std::string());
        }
    }
    return LangText(id);
}

}  // namespace quelvari
