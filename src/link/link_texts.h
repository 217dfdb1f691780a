// The link's own texts (the detail lines behind a catalogue message), by id in
// the program's own text file, and the one helper that fills them in.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

namespace quelvari::link {

inline constexpr std::uint32_t kTextDevicesPresent = 60200;  // "USB devices present: %s."
inline constexpr std::uint32_t kTextNone = 60201;
inline constexpr std::uint32_t kTextNoIdMatches = 60202;      // ids, settings file
inline constexpr std::uint32_t kTextUdevRuleMissing = 60203;  // device, rule, reload command
inline constexpr std::uint32_t kTextDialout = 60204;          // device, user
inline constexpr std::uint32_t kTextInstrumentFull = 60205;
inline constexpr std::uint32_t kTextLinkLost = 60206;      // the system's reason
inline constexpr std::uint32_t kTextKernelDriver = 60207;  // device
inline constexpr std::uint32_t kTextNotSent = 60208;
inline constexpr std::uint32_t kTextTransferComplete = 60209;
inline constexpr std::uint32_t kTextClose = 60210;
inline constexpr std::uint32_t kTextPictureTooLarge = 60211;  // path, bytes
// The link settings dialog.
inline constexpr std::uint32_t kTextLinkTitle = 60212;
inline constexpr std::uint32_t kTextLinkUsb = 60213;
inline constexpr std::uint32_t kTextLinkSerial = 60214;
inline constexpr std::uint32_t kTextLinkSimulated = 60215;
inline constexpr std::uint32_t kTextLinkSlow = 60216;
inline constexpr std::uint32_t kTextLinkKindLabel = 60217;
inline constexpr std::uint32_t kTextLinkPortLabel = 60218;
inline constexpr std::uint32_t kTextLinkBaudLabel = 60219;
inline constexpr std::uint32_t kTextLinkIdsLabel = 60220;
inline constexpr std::uint32_t kTextLinkCardLabel = 60221;
inline constexpr std::uint32_t kTextLinkNoPort = 60222;
inline constexpr std::uint32_t kTextLinkBadIds = 60223;
inline constexpr std::uint32_t kTextLinkNotSaved = 60224;  // path, reason

// The text `id` in the current language with each "%s" replaced by the next
// of `values` (Windows-1252).
std::string TextWith(std::uint32_t id, std::initializer_list<std::string> values);

// Where the installed udev rule for the instruments lives.
std::string UdevRulePath();

}  // namespace quelvari::link
