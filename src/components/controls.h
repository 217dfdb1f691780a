// Control ids of the component dialogs that both the component readers here
// and the editor's dialogs name. The dialog templates fix every control's id;
// the rest of each dialog's ids live beside the one reader or dialog that uses
// them.
#pragma once

#include <cstdint>

namespace quelvari::control {

// Measuring component (dialog 130).
namespace measuring {
inline constexpr std::uint32_t kModeButton = 1004;  // + mode index: 1005 save, 1006 transfer
inline constexpr std::uint32_t kLinkCombo = 2177;
}  // namespace measuring

// Module component.
namespace module {
inline constexpr std::uint32_t kModuleName = 1206;
}  // namespace module

// Picture component (dialog 169).
namespace picture {
inline constexpr std::uint32_t kScreenButton = 1170;  // printer 1171
inline constexpr std::uint32_t kPrinterButton = 1171;
inline constexpr std::uint32_t kChooseFile = 1172;
inline constexpr std::uint32_t kLinePosition = 2180;
}  // namespace picture

}  // namespace quelvari::control
