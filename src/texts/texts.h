// Text tables: every text the user interface shows that changes with the
// language, keyed by a 16-bit text id, one compiled-in table per language.
//
// The tables are built from resources/texts/<lang>.txt at build time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quelvari {

enum Language : std::uint32_t { kGerman = 0, kEnglish = 1, kFrench = 2, kItalian = 3 };

// The program-wide language: 0 German, 1 English, 2 French, 3 Italian. Other
// values (from a damaged configuration file) are kept and select German.
std::uint32_t language();
void setLanguage(std::uint32_t lang);

// One entry of a text table: 124 bytes, the text in Windows-1252.
struct TextEntry {
    std::uint16_t id;
    char text[122];
};
static_assert(sizeof(TextEntry) == 124);

inline constexpr std::size_t kTextTableCapacity = 690;

// Ids from here up name the project's own texts (resources/texts/own.txt):
// the texts of the dialogs and features this editor adds, in all four
// languages. The lookups below find them like any table text.
inline constexpr std::uint32_t kOwnTextFirst = 60000;

// The table of a language, ended by an entry with id 0. Any value other than
// 1, 2 and 3 gives the German table.
const TextEntry* textTable(std::uint32_t lang);
// Number of entries in front of the end mark.
std::size_t textTableSize(std::uint32_t lang);

// Looks up `id` in the table of the current language: the first entry with
// that id wins; id 0 and ids above 65535 never match. A missing id gives
// "?<id>?" in a buffer shared by all lookups, which the next miss overwrites:
// use the result at once or copy it (LangText does).
const char* GetLangText(std::uint32_t id);
// The same lookup in a given language.
const char* GetLangText(std::uint32_t id, std::uint32_t lang);
// A copy of the result, safe to keep.
std::string LangText(std::uint32_t id);
std::string LangText(std::uint32_t id, std::uint32_t lang);
// True when the table of `lang` holds `id`.
bool HasLangText(std::uint32_t id, std::uint32_t lang);

// The label of a control or the title of a dialog that the program builds in
// code or draws (the transfer dialog, the instrument verb's memory lines, the
// buttons of the questions, check-box labels in the view): in German
// the texts built into the program stand, as they do in every dialog layout;
// the other languages take the text tables. Windows-1252.
std::string ControlText(std::uint32_t id);

// True when `id` shows a text of its own in `lang` through ControlText: the
// table holds it, or (in German) it is built into the program.
bool HasControlText(std::uint32_t id, std::uint32_t lang);

// Called by every lookup: notes `id` for the recorder, if one lives.
void NoteLookup(std::uint32_t id);

// Notes the id of every lookup while it lives (one at a time), so that the
// texts a piece of the program shows can be gathered by running it.
class TextLookupRecorder {
  public:
    TextLookupRecorder();
    ~TextLookupRecorder();
    TextLookupRecorder(const TextLookupRecorder&) = delete;
    TextLookupRecorder& operator=(const TextLookupRecorder&) = delete;
    const std::vector<std::uint32_t>& ids() const { return ids_; }

  private:
    friend void NoteLookup(std::uint32_t id);
    std::vector<std::uint32_t> ids_;
};

// Formats a table text that holds one printf placeholder (such as "%d %s").
std::string FormatText(const char* format, long value);

// The user-interface side of a dialog that relabels itself.
class DialogTexts {
  public:
    virtual ~DialogTexts() = default;
    virtual void setTitle(const std::string& cp1252Text) = 0;
    virtual void setItemText(std::uint32_t controlId, const std::string& cp1252Text) = 0;
};

// Sets each control in `ids` (ended by 0, or by the end of the list) to its
// text in the current language.
void SetDlgItemTexts(DialogTexts& dialog, const std::vector<std::uint32_t>& ids);

// Relabels a dialog as it opens: nothing in German (the built-in German texts
// stand); otherwise the title from the dialog's own id and the controls from
// its list.
void LocaliseDialog(DialogTexts& dialog, std::uint32_t dialogId,
                    const std::vector<std::uint32_t>& ids);

// What a change of language rewrites in the main window.
struct MenuRelabel {
    // The five top-level menus by position p get text 2300 + p.
    static constexpr std::uint32_t kTopLevelBase = 2300;
    static constexpr int kTopLevelCount = 5;
};
// The command items relabelled by id, in this order.
const std::vector<std::uint32_t>& MenuCommandIds();

// Gives each text of one menu (Windows-1252, an accelerator after a tab
// allowed) an Alt+letter mnemonic: a "&" before the first letter or digit
// that no earlier text of the list has taken, preferring the starts of words.
// Ampersands of the text itself are doubled, so the shown text is unchanged;
// a text whose letters are all taken gets none.
std::vector<std::string> WithMnemonics(const std::vector<std::string>& cp1252Texts);
// The mnemonic character of a text made by WithMnemonics, folded to lower
// case; 0 when it has none.
unsigned char MnemonicOf(const std::string& cp1252Text);
// The shown text: the mnemonic mark removed, doubled ampersands made single.
std::string WithoutMnemonic(const std::string& cp1252Text);

// The help file name after ApplyLanguage: `current` is kept for values above 3.
std::string HelpFileName(std::uint32_t lang, const std::string& current);

// The main-window side of ApplyLanguage.
class MenuTexts {
  public:
    virtual ~MenuTexts() = default;
    virtual void setTopLevelText(int position, const std::string& cp1252Text) = 0;
    virtual void setCommandText(std::uint32_t commandId, const std::string& cp1252Text) = 0;
    virtual void setHelpFile(const std::string& name) = 0;
    virtual void repaintAll() = 0;
};
// Help file name, menus, repaint: in that order.
void ApplyLanguage(MenuTexts& menu, std::string& helpFile);

}  // namespace quelvari
