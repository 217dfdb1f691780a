#include "model/config.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

namespace quelvari {

ConfigPaths GetConfigPaths() {
    ConfigPaths p;
#ifdef _WIN32
    p.root = "c:\\ZR_ConfigDir";
    p.programDir = p.root + "\\Quelvari";
    p.file = p.programDir + "\\Quelvari_config.sys";
#else
    if (const char* root = std::getenv("QUELVARI_CONFIG_ROOT"); root && *root) {
        p.root = root;
    } else {
        std::string base;
        if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg)
            base = xdg;
        else if (const char* home = std::getenv("HOME"); home && *home)
            base = std::string(home) + "/.config";
        else
            base = ".config";
        p.root = base + "/ZR_ConfigDir";
    }
    p.programDir = p.root + "/Quelvari";
    p.file = p.programDir + "/Quelvari_config.sys";
#endif
    return p;
}

void EnsureConfigDirectories() {
    const ConfigPaths p = GetConfigPaths();
    for (const std::string& dir : {p.root, p.programDir}) {
        struct stat st {};
        if (::stat(dir.c_str(), &st) != 0)
            ::mkdir(dir.c_str(), 0777);
    }
}

void ReadConfiguration(Configuration& config) {
    std::FILE* f = std::fopen(GetConfigPaths().file.c_str(), "rb");
    if (!f)
        return;
    // The bytes the file has replace the matching bytes of the two values, so
    // a short file changes only what it holds.
    unsigned char b[8];
    for (int i = 0; i < 4; ++i) {
        b[i] = static_cast<unsigned char>(config.language >> (8 * i));
        b[4 + i] = static_cast<unsigned char>(config.printSize >> (8 * i));
    }
    const std::size_t got = std::fread(b, 1, 8, f);
    static_cast<void>(got);
    std::fclose(f);
    config.language = config.printSize = 0;
    for (int i = 0; i < 4; ++i) {
        config.language |= static_cast<std::uint32_t>(b[i]) << (8 * i);
        config.printSize |= static_cast<std::uint32_t>(b[4 + i]) << (8 * i);
    }
}

bool WriteConfiguration(const Configuration& config) {
    std::FILE* f = std::fopen(GetConfigPaths().file.c_str(), "wb");
    if (!f)
        return false;
    unsigned char b[8];
    for (int i = 0; i < 4; ++i) {
        b[i] = static_cast<unsigned char>(config.language >> (8 * i));
        b[4 + i] = static_cast<unsigned char>(config.printSize >> (8 * i));
    }
    const bool ok = std::fwrite(b, 1, 8, f) == 8;
    return (std::fclose(f) == 0) && ok;
}

}  // namespace quelvari
