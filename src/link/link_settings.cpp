#include "link/link_settings.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "link/simulator.h"
#include "model/config.h"

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
        if (!line.empty() && line.back() == '\r')
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
        } else if (key == "card") {
            c.cardDir = value;
        }
    }
    return c;
}

LinkConfig ReadLinkConfig(const std::string& path) {
    std::ifstream in(path);
    if (!in)
        return LinkConfig{};
    std::ostringstream text;
    text << in.rdbuf();
    return ParseLinkConfig(text.str());
}

bool WriteLinkConfig(const LinkConfig& config, const std::string& path) {
    EnsureConfigDirectories();
    const std::string temp = path + ".tmp";
    const std::string text = FormatLinkConfig(config);
    std::FILE* f = std::fopen(temp.c_str(), "wb");
    if (!f)
        return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size() &&
                         std::fflush(f) == 0 && ::fsync(::fileno(f)) == 0;
    if (std::fclose(f) != 0 || !written || std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

void ApplyLinkConfig(Link& link, const LinkConfig& c) {
    link.comPortIndex = c.comPortIndex;
    link.baudIndex = c.baudIndex;
    link.slowLink = c.slow ? 1 : 0;
    link.serialDevice = c.device;
    link.usb.ids = c.usbIds;
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
