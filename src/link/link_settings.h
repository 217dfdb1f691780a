// The link's own settings file, beside the program's 8-byte configuration
// file (which stays as it is): <program directory>/Quelvari_link.conf, lines
// of "key=value":
//
//   kind=usb|serial|simulated
//   device=/dev/ttyUSB0        serial device; empty: /dev/ttyS<port>
//   port=0                     comPortIndex (0 = COM1 = /dev/ttyS0)
//   baud=0                     baudIndex: 0 9600, 1 19200, 2 38400, else 57600
//   slow=0                     slow timing
//   usbids=abcd:0102,...       vendor:product of the instruments, hexadecimal
//   usbmap=control:40:01:0000:0000,in:85   how requests travel (UsbRequestMap)
//   card=DIR                   card directory of the simulated instrument
//
// Unknown keys and malformed lines are skipped; a missing file gives USB.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "link/link.h"
#include "link/usb_link.h"
#include "model/status.h"

namespace quelvari::link {

struct LinkConfig {
    enum class Kind { kUsb, kSerial, kSimulated };
    Kind kind = Kind::kUsb;
    std::string device;
    std::uint8_t comPortIndex = 0;
    std::uint16_t baudIndex = 0;
    bool slow = false;
    std::vector<UsbId> usbIds = DefaultUsbIds();
    UsbRequestMap usbMap;
    std::string cardDir;
};

std::string LinkConfigPath();
// The simulated instrument's card directory when none is set.
std::string DefaultCardDir();
LinkConfig ReadLinkConfig(const std::string& path = LinkConfigPath());
// The settings file is small: anything larger, or anything but a regular file,
// reads as the defaults.
inline constexpr std::uint64_t kLinkConfigMax = 64 * 1024;
// Replaces the file atomically. False when it failed.
bool WriteLinkConfig(const LinkConfig& config, const std::string& path = LinkConfigPath());
// Read, `change`, write, under the settings file's advisory lock.
Status UpdateLinkConfig(const std::string& path, const std::function<void(LinkConfig&)>& change);
std::string FormatLinkConfig(const LinkConfig& config);
LinkConfig ParseLinkConfig(const std::string& text);

// Puts the settings into `link`: USB and the simulated instrument are link
// kind 1 (the simulated one replaces the USB library), serial is kind 0.
void ApplyLinkConfig(Link& link, const LinkConfig& config);

}  // namespace quelvari::link
