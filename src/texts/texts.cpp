#include "texts/texts.h"

#include <algorithm>
#include <cstdio>
#include <functional>

#include "model/encoding.h"
#include "texts/generated_tables.h"

namespace quelvari {
namespace {

std::uint32_t gLanguage = kGerman;
char gMissing[32];
TextLookupRecorder* gRecorder = nullptr;

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

void NoteLookup(std::uint32_t id) {
    if (gRecorder)
        gRecorder->ids_.push_back(id);
}

TextLookupRecorder::TextLookupRecorder() {
    gRecorder = this;
}
TextLookupRecorder::~TextLookupRecorder() {
    gRecorder = nullptr;
}

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
    NoteLookup(id);
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
    NoteLookup(id);
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

namespace {

// Letters and digits of Windows-1252 (accented letters included), folded to
// lower case, and the question mark; 0 for anything else.
unsigned char MnemonicKey(unsigned char c) {
    if ((c >= '0' && c <= '9') || c == '?')  // "?" is the help menu's
        return c;
    if (c >= 'a' && c <= 'z')
        return c;
    if (c >= 'A' && c <= 'Z')
        return static_cast<unsigned char>(c + 0x20);
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
        return static_cast<unsigned char>(c + 0x20);
    if (c >= 0xDF && c != 0xF7)
        return c;
    return 0;
}

}  // namespace

std::vector<std::string> WithMnemonics(const std::vector<std::string>& cp1252Texts) {
    // The candidate keys of every text, word starts first, each with its
    // place in the text. Only the part before an accelerator's tab counts.
    struct Candidate {
        unsigned char key;
        std::size_t at;
    };
    std::vector<std::vector<Candidate>> candidates(cp1252Texts.size());
    for (std::size_t t = 0; t < cp1252Texts.size(); ++t) {
        const std::string& text = cp1252Texts[t];
        const std::size_t labelEnd = std::min(text.find('\t'), text.size());
        for (int pass = 0; pass < 2; ++pass)
            for (std::size_t i = 0; i < labelEnd; ++i) {
                const unsigned char key = MnemonicKey(static_cast<unsigned char>(text[i]));
                const bool wordStart = i == 0 || text[i - 1] == ' ' || text[i - 1] == '/' ||
                                       text[i - 1] == '-' || text[i - 1] == '(';
                if (key && wordStart == (pass == 0))
                    candidates[t].push_back({key, i});
            }
    }
    // Texts in their order take their first free key; a text that finds none
    // free moves an earlier one to another of its keys where that frees one
    // (augmenting paths), so that every text gets a key whenever the letters
    // allow it.
    std::vector<int> owner(256, -1);
    std::vector<std::size_t> pick(cp1252Texts.size(), std::string::npos);
    std::vector<bool> seen;
    const std::function<bool(std::size_t)> place = [&](std::size_t t) {
        for (const Candidate& c : candidates[t]) {
            if (seen[c.key])
                continue;
            seen[c.key] = true;
            if (owner[c.key] < 0 || place(static_cast<std::size_t>(owner[c.key]))) {
                owner[c.key] = static_cast<int>(t);
                pick[t] = c.at;
                return true;
            }
        }
        return false;
    };
    for (std::size_t t = 0; t < cp1252Texts.size(); ++t) {
        seen.assign(256, false);
        place(t);
    }
    std::vector<std::string> out;
    for (std::size_t t = 0; t < cp1252Texts.size(); ++t) {
        const std::string& text = cp1252Texts[t];
        std::string marked;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (i == pick[t])
                marked += '&';
            marked += text[i];
            if (text[i] == '&')
                marked += '&';
        }
        out.push_back(std::move(marked));
    }
    return out;
}

unsigned char MnemonicOf(const std::string& text) {
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != '&')
            continue;
        if (text[i + 1] != '&')
            return MnemonicKey(static_cast<unsigned char>(text[i + 1]));
        ++i;
    }
    return 0;
}

std::string WithoutMnemonic(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '&' && i + 1 < text.size())
            ++i;
        out += text[i];
    }
    return out;
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

// German texts of controls that code labels or draws (the transfer dialog,
// its memory frame, the buttons of the questions, the picture component's
// printer options), which the German table does not hold. UTF-8 here.
struct GermanControlText {
    std::uint32_t id;
    const char* utf8;
};
constexpr GermanControlText kGermanControlTexts[] = {
    {185, "Prüfablauf übertragen"},
    {1056, "Nein"},
    {1057, "Ja"},
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
    {2163, "Textfluss transparent"},
    {2180, "Nutze akt. Zeilenposition"},
};

const GermanControlText* builtInGerman(std::uint32_t id) {
    for (const GermanControlText& t : kGermanControlTexts)
        if (t.id == id)
            return &t;
    return nullptr;
}

}  // namespace

std::string ControlText(std::uint32_t id) {
    if (language() == kGerman && !HasLangText(id, kGerman)) {
        if (const GermanControlText* t = builtInGerman(id))
            return utf8ToCp1252(t->utf8).value_or(std::string());
    }
    return LangText(id);
}

bool HasControlText(std::uint32_t id, std::uint32_t lang) {
    return HasLangText(id, lang) || (lang == kGerman && builtInGerman(id) != nullptr);
}

}  // namespace quelvari
