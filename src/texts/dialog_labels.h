// The labels each dialog of the editor relabels when it opens in English,
// French or Italian: its title has the dialog's id, then its controls in
// order. The dialogs take their lists from here, and the check of the text
// tables reads the same lists.
#pragma once

#include <cstdint>
#include <vector>

namespace quelvari {

struct DialogLabels {
    std::uint32_t dialogId;
    std::vector<std::uint32_t> ids;
};

// Every dialog with a list of its own. A component dialog not named here
// (the families without an editor of their own) uses ComponentDialogLabels.
const std::vector<DialogLabels>& DialogLabelLists();
// The list of `dialogId`; the common component list for any other id.
const std::vector<std::uint32_t>& DialogLabelIds(std::uint32_t dialogId);
// Head, branch and buttons: what every component dialog holds.
const std::vector<std::uint32_t>& ComponentDialogLabels();

// Dialog ids of the lists.
namespace dialog_id {
inline constexpr std::uint32_t kAbout = 100;
inline constexpr std::uint32_t kMeasuring = 130;
inline constexpr std::uint32_t kSelection = 139;
inline constexpr std::uint32_t kTime = 160;
inline constexpr std::uint32_t kModule = 162;
inline constexpr std::uint32_t kBreak = 163;
inline constexpr std::uint32_t kInterrupt = 164;
inline constexpr std::uint32_t kPicture = 169;
inline constexpr std::uint32_t kCommand = 172;
inline constexpr std::uint32_t kSyntaxTest = 173;
inline constexpr std::uint32_t kGoTo = 175;
inline constexpr std::uint32_t kInterbusSelect = 189;
inline constexpr std::uint32_t kDescription = 199;
inline constexpr std::uint32_t kVariable = 202;
inline constexpr std::uint32_t kSettings = 205;
inline constexpr std::uint32_t kSection = 221;
}  // namespace dialog_id

// Texts the window looks up itself, outside any dialog's list: the buttons
// of its questions (in German the built-in "Ja" / "Nein", see ControlText),
// the hint of the measuring list, the menu item of the link settings, the
// message about a character Windows-1252 cannot store.
namespace window_text {
inline constexpr std::uint32_t kOk = 1;
inline constexpr std::uint32_t kCancel = 2;
inline constexpr std::uint32_t kNo = 1056;
inline constexpr std::uint32_t kYes = 1057;
inline constexpr std::uint32_t kQuantitiesExample = 60001;
inline constexpr std::uint32_t kQuantitiesForm = 60002;
inline constexpr std::uint32_t kLinkSettings = 60003;
inline constexpr std::uint32_t kRefusedCharacter = 60004;
inline constexpr std::uint32_t kAll[] = {
    kOk, kCancel, kNo, kYes, kQuantitiesExample, kQuantitiesForm, kLinkSettings, kRefusedCharacter};
}  // namespace window_text

}  // namespace quelvari
