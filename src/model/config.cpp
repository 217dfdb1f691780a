#include "model/config.h"

#include <unistd.h>

#include <cstdlib>

#include "model/file_io.h"

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

bool EnsureConfigDirectories() {
    return CreateDirectories(GetConfigPaths().programDir);
}

namespace {

void pack(const Configuration& config, std::uint8_t* b) {
    for (int i = 0; i < 4; ++i) {
        b[i] = static_cast<std::uint8_t>(config.language >> (8 * i));
        b[4 + i] = static_cast<std::uint8_t>(config.printSize >> (8 * i));
    }
}

}  // namespace

void ReadConfiguration(Configuration& config) {
    Status ignored;
    const int fd = OpenRegularFile(GetConfigPaths().file, Access::ReadOnly, kErrFileOpen, ignored);
    if (fd < 0)
        return;
    // The bytes the file has replace the matching bytes of the two values, so
    // a short file changes only what it holds.
    std::uint8_t b[8];
    pack(config, b);
    const long got = ReadFully(fd, b, sizeof b);
    ::close(fd);
    if (got < 0)
        return;
    config.language = config.printSize = 0;
    for (int i = 0; i < 4; ++i) {
        config.language |= static_cast<std::uint32_t>(b[i]) << (8 * i);
        config.printSize |= static_cast<std::uint32_t>(b[4 + i]) << (8 * i);
    }
}

Status WriteConfiguration(const Configuration& config) {
    std::uint8_t b[8];
    pack(config, b);
    return WriteFileAtomically(GetConfigPaths().file, b, sizeof b);
}

Status UpdateConfiguration(const std::function<void(Configuration&)>& change,
                           Configuration* config) {
    const ConfigPaths paths = GetConfigPaths();
    CreateDirectories(paths.programDir);
    return LockedUpdate(paths.file, kErrFileWrite, [&] {
        Configuration now;
        ReadConfiguration(now);
        change(now);
        if (config)
            *config = now;
        return WriteConfiguration(now);
    });
}

}  // namespace quelvari
