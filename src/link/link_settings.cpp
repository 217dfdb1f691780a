#include "link/link_settings.h"

#include <sstream>

#include "link/link_files.h"
#include "link/simulator.h"
#include "model/config.h"
#include "model/file_io.h"

namespace quelvari::link {

std::string LinkConfigPath() {
    return GetConfigPaths().programDir + "/Quelvari_link.conf";
}

std::string DefaultCardDir() {
    return GetConfigPaths().programDir + "/simulated-card";
}

std::string FormatLinkConfig(const LinkConfig& c) {
    std::ostringstream out;
    out << "kind="
        << (c.kind == LinkConfig::Kind::kSerial      ? "serial"
            : c.kind == LinkConfig::Kind::kSimulated ? "simulated"
                                                     : "usb")
        << "\n";
    out << "device=" << c.device << "\n";
    out << "port=" << unsigned{c.comPortIndex} << "\n";
    out << "baud=" << c.baudIndex << "\n";
    out << "slow=" << (c.slow ? 1 : 0) << "\n";
    out << "usbids=" << FormatUsbIds(c.usbIds) << "\n";
    out << "usbmap=" << FormatUsbRequestMap(c.usbMap) << "\n";
    out << "card=" << c.cardDir << "\n";
    return out.str();
}

LinkConfig ParseLinkConfig(const std::string& text) {
    LinkConfig c;
    std::istringstream in(text);
    std::string line;
    auto number = [](const std::string& v, unsigned long max, unsigned long& out) {
        if (v.empty() || v.find_first_not_of("0123456789") != std::string::npos || v.size() > 9)
            return false;
        out = std::stoul(v);
        return out <= max;
    };
    while (std::getline(in, line)) {
        // Lines may end in CR LF (a file edited on Windows), also more than
        // one CR: none of them belongs to the value.
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        const auto eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        const std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        unsigned long n = 0;
        if (key == "kind") {
            if (value == "usb")
                c.kind = LinkConfig::Kind::kUsb;
            else if (value == "serial")
                c.kind = LinkConfig::Kind::kSerial;
            else if (value == "simulated")
                c.kind = LinkConfig::Kind::kSimulated;
        } else if (key == "device") {
            c.device = value;
        } else if (key == "port" && number(value, 255, n)) {
            c.comPortIndex = static_cast<std::uint8_t>(n);
        } else if (key == "baud" && number(value, 65535, n)) {
            c.baudIndex = static_cast<std::uint16_t>(n);
        } else if (key == "slow" && number(value, 1, n)) {
            c.slow = n != 0;
        } else if (key == "usbids") {
            std::vector<UsbId> ids;
            if (ParseUsbIds(value, ids))
                c.usbIds = ids;
        } else if (key == "usbmap") {
            UsbRequestMap map;
            if (ParseUsbRequestMap(value, map))
                c.usbMap = map;
        } else if (key == "card") {
            c.cardDir = value;
        }
    }
    return c;
}

LinkConfig ReadLinkConfig(const std::string& path) {
    std::vector<std::uint8_t> bytes;
    if (!ReadBoundedFile(path, kLinkConfigMax, bytes))
        return LinkConfig{};
    return ParseLinkConfig(std::string(bytes.begin(), bytes.end()));
}

bool WriteLinkConfig(const LinkConfig& config, const std::string& path) {
    EnsureConfigDirectories();
    const std::string text = FormatLinkConfig(config);
    return WriteFileAtomically(path, text.data(), text.size()).ok();
}

Status UpdateLinkConfig(const std::string& path, const std::function<void(LinkConfig&)>& change) {
    EnsureConfigDirectories();
    // Held from the read until the new file is in place, so that a second
    // program saving at the same time does not undo this change.
    FileLock lock;
    if (Status s = lock.acquire(path, kErrFileWrite, kLockWait, true); !s.ok())
        return s;
    LinkConfig config = ReadLinkConfig(path);
    change(config);
    const std::string text = FormatLinkConfig(config);
    return WriteFileAtomically(path, text.data(), text.size());
}

void ApplyLinkConfig(Link& link, const LinkConfig& c) {
    link.comPortIndex = c.comPortIndex;
    link.baudIndex = c.baudIndex;
    link.slowLink = c.slow ? 1 : 0;
    link.serialDevice = c.device;
    link.usb.ids = c.usbIds;
    link.usb.map = c.usbMap;
    link.usb.settingsPath = LinkConfigPath();
    switch (c.kind) {
        case LinkConfig::Kind::kSerial:
            link.linkKind = kLinkSerial;
            break;
        case LinkConfig::Kind::kUsb:
            link.linkKind = kLinkUsb;
            link.usb.backend = MakeLibusbBackend();
            break;
        case LinkConfig::Kind::kSimulated: {
            SimSettings s = DefaultSimSettings();
            s.cardDir = c.cardDir.empty() ? DefaultCardDir() : c.cardDir;
            AttachSimulatedUsb(link, s);
            break;
        }
    }
}

}  // namespace quelvari::link
