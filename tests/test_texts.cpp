// Text lookup, dialog and menu relabelling, the error catalogue, and the
// build-time checks of the data files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "commands/used_texts.h"
#include "test_util.h"
#include "texts/errors.h"
#include "texts/generated_tables.h"
#include "texts/texts.h"

namespace quelvari::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

// Restores the language a test changed.
struct LanguageGuard {
    std::uint32_t saved = language();
    ~LanguageGuard() { setLanguage(saved); }
};

TEST(TextLookup, TableRules) {
    LanguageGuard guard;
    // Any value other than 1, 2, 3 selects German.
    EXPECT_EQ(textTable(7), textTable(0));
    EXPECT_NE(textTable(1), textTable(0));
    // First occurrence wins: id 173 is in the English table twice.
    int count173 = 0;
    for (const TextEntry* e = textTable(kEnglish); e->id; ++e)
        count173 += e->id == 173;
    EXPECT_EQ(count173, 2);
    EXPECT_STREQ(GetLangText(173, kEnglish), "Syntax check");
    // Id 0 (the end mark) and ids above 65535 never match, even where the low
    // 16 bits name a stored id.
    EXPECT_STREQ(GetLangText(0, kEnglish), "?0?");
    EXPECT_STREQ(GetLangText(65536 + 173, kEnglish), "?65709?");
    // A miss writes into one shared buffer that the next miss overwrites.
    const char* first = GetLangText(59998, kEnglish);
    const std::string copy = LangText(59998, kEnglish);
    const char* second = GetLangText(59999, kEnglish);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "?59999?");
    EXPECT_EQ(copy, "?59998?");
    // The current language drives the plain lookup.
    setLanguage(kFrench);
    EXPECT_STREQ(GetLangText(3201), "Erreur");
    setLanguage(9);
    EXPECT_STREQ(GetLangText(3201), "Fehler");
}

TEST(TextLookup, EveryUsedIdResolvesWhereItMust) {
    // Gathered from the program: dialogs, menus, and what the view, the
    // protocol, the print-outs and the questions look up.
    const auto used = UsedTextIds();
    ASSERT_GT(used.size(), 300u);
    const std::pair<std::uint32_t, unsigned> samples[] = {
        {2163, 0xF},   // the printer picture's check box, drawn in the view
        {60000, 0xF},  // the view of a type without an editor
        {8033, 0xF},   // a finding of the protocol
        {3206, 0xF},   // the page of the procedure print-out
        {3139, 0xF},   // the save question
        {1057, 0xF},   // its Yes button
        {2053, 0xE},   // a dialog label: German dialogs are not relabelled
        {57601, 0xF},  // a menu item
        {221, 0xD},    // the section caption: no English, kept
    };
    for (const auto& [id, languages] : samples)
        EXPECT_EQ(used.contains(id) ? used.at(id) : 0u, languages) << id;
    for (std::uint32_t l = 0; l < 4; ++l)
        EXPECT_EQ(MissingTextIds(l), std::vector<std::uint32_t>{}) << "language " << l;
    // German has some control labels built in rather than in its table (no
    // other language value has them). The one deliberate miss: English has no
    // 221; French and Italian do.
    EXPECT_EQ((std::vector<bool>{HasLangText(1057, kGerman), HasControlText(1057, kGerman),
                                 HasControlText(1057, 9), HasLangText(221, kEnglish),
                                 HasLangText(221, kFrench), HasLangText(221, kItalian)}),
              (std::vector<bool>{false, true, false, false, true, true}));
}

class RecordingDialog : public DialogTexts {
  public:
    std::string title;
    std::vector<std::pair<std::uint32_t, std::string>> items;
    void setTitle(const std::string& t) override { title = t; }
    void setItemText(std::uint32_t id, const std::string& t) override { items.emplace_back(id, t); }
};

class RecordingMenu : public MenuTexts {
  public:
    std::map<int, std::string> top;
    std::vector<std::uint32_t> order;
    std::string help;
    int repaints = 0;
    void setTopLevelText(int p, const std::string& t) override { top[p] = t; }
    void setCommandText(std::uint32_t id, const std::string&) override { order.push_back(id); }
    void setHelpFile(const std::string& name) override { help = name; }
    void repaintAll() override { ++repaints; }
};

TEST(TextLookup, DialogsAndMenusFollowTheLanguage) {
    LanguageGuard guard;
    const std::vector<std::uint32_t> ids = {2141, 2158, 2159, 1002, 1, 2, 0, 1057};
    // German: the built-in texts stand.
    setLanguage(kGerman);
    RecordingDialog german;
    LocaliseDialog(german, 199, ids);
    EXPECT_TRUE(german.title.empty());
    EXPECT_TRUE(german.items.empty());
    // Other languages: the title from the dialog id, the items up to the 0.
    setLanguage(kEnglish);
    RecordingDialog english;
    LocaliseDialog(english, 199, ids);
    EXPECT_EQ(english.title, LangText(199));
    ASSERT_EQ(english.items.size(), 6u);
    EXPECT_EQ(english.items[4], std::make_pair(1u, std::string("OK")));
    RecordingDialog none;
    SetDlgItemTexts(none, {0, 1});
    EXPECT_TRUE(none.items.empty());

    const char* const helpFiles[] = {"Quelvari-dt.hlp", "Quelvari-engl.hlp", "Quelvari-engl.hlp",
                                     "QUELVARI-engl.hlp", "previous.hlp"};
    for (std::uint32_t lang = 0; lang < 5; ++lang) {
        setLanguage(lang);
        RecordingMenu menu;
        std::string help = "previous.hlp";
        ApplyLanguage(menu, help);
        EXPECT_EQ(std::tuple(help, menu.top.size(), menu.top.at(4), menu.repaints),
                  std::tuple(helpFiles[lang], 5u, LangText(2304), 1));
        EXPECT_EQ(menu.order, MenuCommandIds());
    }
}

std::string joined(std::uint32_t lang, int n) {
    std::string s;
    for (int k = 0; k < 6; ++k)
        s += ErrorLine(lang, n, k);
    return s;
}

// Labels of the dialogs built in code: German from the program, the other
// languages from their tables (the dumps of the views show which), and no
// "?id?" in any of the four.
TEST(TextLookup, ControlTextsOfTheTransferDialog) {
    LanguageGuard guard;
    const std::uint32_t ids[] = {185,  1466, 1467, 1550, 2143, 2144, 2145,
                                 2146, 2147, 2148, 2149, 2150, 2151, 2152};
    for (std::uint32_t lang : {kGerman, kEnglish, kFrench, kItalian}) {
        setLanguage(lang);
        for (std::uint32_t id : ids)
            EXPECT_THAT(ControlText(id), MatchesRegex("[^?]+")) << id << " lang " << lang;
    }
}

TEST(ErrorCatalogue, BoxesAndTitlesKeepTheirIrregularities) {
    // The box holds the message's lines, then the field line if there is a
    // field; field-only codes (message 0) show the field line alone.
    EXPECT_EQ(ComposeErrorMessage(ErrorCode(5), kEnglish).text, joined(kEnglish, 5));
    const ErrorBox german = ComposeErrorMessage(ErrorCode(6, 3), 7);  // any other language: German
    EXPECT_EQ(german.caption + "|" + german.text,
              "Fehler|" + joined(kGerman, 6) + "\nFehlerhaftes Feld: 3");
    EXPECT_EQ(ComposeErrorMessage(4, kEnglish).text, "\nInvalid field: 4");
    // English 110 has no title: the box starts with the explanation.
    EXPECT_THAT(ComposeErrorMessage(ErrorCode(110), kEnglish).text,
                StartsWith("The look-up field name is missing or too long"));
    // Message 1's title as each language writes it.
    const std::pair<std::uint32_t, const char*> titles[] = {
        {kEnglish, "ERROR: INVALID CHARACTER (1)\n\n"},
        {kGerman, "FEHLER 1: FEHLERHAFTES ZEICHEN\n\n"},
        {kFrench, "ERREUR: CARACTERE NON RECONNU (1)\n\n"},
        {kItalian, "ERROR:CARATTERE NON VALIDO (1)\n\n"},
    };
    for (const auto& [lang, start] : titles)
        EXPECT_THAT(ErrorLine(lang, 1, 0), StartsWith(start)) << "language " << lang;
    // English holdovers in French and Italian.
    for (int n : {93, 94, 95, 97, 102, 110, 113, 114})
        EXPECT_EQ(joined(kFrench, n), joined(kEnglish, n)) << n;
    for (int n : {97, 102, 108, 114})
        EXPECT_EQ(joined(kItalian, n), joined(kEnglish, n)) << n;
    // Every message has a title line in every language, numbered.
    for (std::uint32_t l = 0; l < 4; ++l) {
        for (int n = 1; n <= kErrorMessageCount; ++n) {
            if (l != kGerman && n == 110)
                continue;
            EXPECT_THAT(ErrorLine(l, n, 0), HasSubstr(std::to_string(n))) << l << "/" << n;
        }
    }
    EXPECT_STREQ(ErrorLine(kEnglish, 115, 0), "");
    EXPECT_STREQ(ErrorLine(kEnglish, 0, 0), "");
}

// Data files as ("kind:lang", content).
using Files = std::vector<std::pair<std::string, std::string>>;

// Runs the generator on `files` and returns status and output.
CommandResult generate(const Files& files) {
    TempDir dir;
    std::string command = std::string(QUELVARI_TEXTGEN) + " '" + dir.file("out.cpp") + "'";
    for (const auto& [key, content] : files) {
        const std::string in =
            dir.file(key.substr(key.find(':') + 1) + "-" + key.substr(0, key.find(':')) + ".txt");
        writeBytes(in, std::vector<std::uint8_t>(content.begin(), content.end()));
        command += " " + key + "='" + in + "'";
    }
    return runCommand(command + " 2>&1");
}

// What the generator says when it refuses `files`, as it must.
std::string refusal(const Files& files) {
    const auto r = generate(files);
    EXPECT_EQ(r.status, 1) << files.back().second;
    return r.out;
}

TEST(TextGenerator, RefusesBrokenDataFiles) {
    EXPECT_EQ(generate({{"texts:en", "# fine\n1 \"OK\"\n2 \"Caf\xC3\xA9 \\\"x\\\"\\n\"\n"}}).status,
              0);
    std::string tooMany;
    for (int i = 1; i <= 691; ++i)
        tooMany += std::to_string(i) + " \"t\"\n";
    // Kind of file, content, reason given.
    const std::tuple<std::string, std::string, const char*> bad[] = {
        {"texts", "1 \"" + std::string(122, 'x') + "\"\n", "at most 121"},
        {"texts", "1 \"\xE2\x82\xAC ok\"\n2 \"\xE2\x98\x83\"\n", "Windows-1252"},
        {"texts", "1 OK\n", "quoted"},
        {"texts", "1 \"OK\" trailing\n", "after the closing quote"},
        {"texts", "1 \"bad \\q\"\n", "unknown escape"},
        {"texts", "0 \"end\"\n", "end mark"},
        {"texts", "70000 \"big\"\n", "out of range"},
        {"texts", tooMany, "more than 690"},
        {"errors", "1.0 \"A\"\n1.0 \"B\"\n", "given twice"},
        {"errors", "1.6 \"A\"\n", "out of range"},
        {"errors", "1.0 \"A\\n\\n\"\n", "has no line 0"},
    };
    for (const auto& [kind, content, reason] : bad)
        EXPECT_THAT(refusal({{kind + ":en", content}}),
                    AllOf(HasSubstr(reason), HasSubstr("en-" + kind + ".txt:")));
}

TEST(TextGenerator, TranslationsKeepTheGermanPlaceholders) {
    const std::string de =
        "3202 \"Fehlerhaftes Feld: %d\"\n2020 \"X [%]:\"\n"
        "10 \"%s von %5.1f kB, 100 %% und 5 % mehr\"\n";
    // Same arguments with other widths, plain percent signs, "%i" for "%d",
    // and a later entry of an id (never found) that differs.
    const std::string goodEn =
        "3202 \"Invalid field: %i\"\n2020 \"X [%]:\"\n"
        "10 \"%-8s of %.3f kB, 100%% and 5 % more\"\n"
        "3202 \"unused %s\"\n";
    EXPECT_EQ(generate({{"texts:de", de}, {"texts:en", goodEn}}).status, 0);

    // Language, content, where the refusal points.
    const std::tuple<std::string, std::string, const char*> bad[] = {
        {"en", "3202 \"Invalid field: %s\"\n", "en-texts.txt:1: text 3202"},
        {"fr", "# c\n\n3202 \"Champ invalide\"\n", "fr-texts.txt:3: text 3202"},
        {"it", "10 \"%5.1f kB di %s\"\n", "it-texts.txt:1: text 10"},
        {"en", "2020 \"X [%d]:\"\n", "en-texts.txt:1: text 2020"},
        {"en", "99 \"only here %ld\"\n", "en-texts.txt:1: text 99"},
    };
    for (const auto& [lang, content, where] : bad)
        EXPECT_THAT(refusal({{"texts:de", de}, {"texts:" + lang, content}}), HasSubstr(where));
    // The German text is the reference, so the German file itself passes.
    EXPECT_EQ(generate({{"texts:de", "5 \"%s\"\n"}}).status, 0);

    // Catalogue lines are compared line by line (a catalogue needs every title).
    std::string titlesDe, titlesEn;
    for (int n = 2; n <= 114; ++n) {
        titlesDe += std::to_string(n) + ".0 \"F\"\n";
        titlesEn += std::to_string(n) + ".0 \"E\"\n";
    }
    const auto catalogues = [&](const std::string& en) {
        return Files{{"errors:de", "1.0 \"FEHLER (1)\"\n1.2 \"Wert %d ist zu groß\"\n" + titlesDe},
                     {"errors:en", en + titlesEn}};
    };
    EXPECT_EQ(generate(catalogues("1.0 \"ERROR (1)\"\n1.2 \"Value %d too big\"\n")).status, 0);
    EXPECT_THAT(refusal(catalogues("1.0 \"ERROR %s\"\n1.2 \"Value too big\"\n")),
                HasSubstr("en-errors.txt:1: line 1.0 has placeholders %s, the German text none"));
}

TEST(TextGenerator, OwnTextsNeedEveryLanguageAndTheirRange) {
    const std::string good =
        "60001 de \"%d Schritte\"\n60001 en \"%d steps\"\n"
        "60001 fr \"%d étapes\"\n60001 it \"%d passi\"\n";
    EXPECT_EQ(generate({{"own", good}}).status, 0);
    const std::pair<std::string, const char*> bad[] = {
        {"59999 de \"x\"\n", "own-own.txt:1: id 59999 is below the range"},
        {"60001 es \"x\"\n", "own-own.txt:1: unknown language code 'es'"},
        {good + "60001 en \"again\"\n", "own-own.txt:5: text 60001 given twice in en"},
        {"60002 de \"a\"\n60002 en \"b\"\n60002 it \"c\"\n", "text 60002 has no fr entry"},
        {"60003 de \"%s\"\n60003 en \"%s\"\n60003 fr \"%d\"\n60003 it \"%s\"\n",
         "own-own.txt:3: text 60003 has placeholders %d, the German text %s"},
    };
    for (const auto& [content, reason] : bad)
        EXPECT_THAT(refusal({{"own", content}}), HasSubstr(reason));
    // The compiled own texts resolve in their language through the ordinary
    // lookup.
    ASSERT_GT(generated::kOwnTextCount, 0u);
    for (unsigned i = 0; i < generated::kOwnTextCount; ++i) {
        const auto& e = generated::kOwnTexts[i];
        ASSERT_GE(e.id, kOwnTextFirst);
        EXPECT_STREQ(GetLangText(e.id, e.lang), e.text);
        EXPECT_TRUE(HasLangText(e.id, e.lang));
        // A language value from a damaged configuration selects German.
        EXPECT_STREQ(GetLangText(e.id, 99), GetLangText(e.id, kGerman));
    }
}

}  // namespace
}  // namespace quelvari::test
