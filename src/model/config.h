// The program's two settings that live between runs, the user-interface
// language and the print size, kept in an 8-byte file:
//
//   offset 0  u32 little-endian  language   0 German, 1 English, 2 French, 3 Italian
//   offset 4  u32 little-endian  printSize  0 standard ("normal"), 1 enlarged ("extended")
//
// Where the file lives: on Windows c:\ZR_ConfigDir\Quelvari\Quelvari_config.sys;
// elsewhere the root directory ZR_ConfigDir sits in the user's configuration
// directory ($XDG_CONFIG_HOME, else ~/.config). QUELVARI_CONFIG_ROOT, when
// set, names the root directory itself. The program reports no failure here:
// a missing or unreadable file (or anything but a regular file at that path)
// gives the defaults, and a failed write leaves the old file intact.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "model/status.h"

namespace quelvari {

struct Configuration {
    std::uint32_t language = 0;
    std::uint32_t printSize = 0;
};

struct ConfigPaths {
    std::string root;        // ZR_ConfigDir
    std::string programDir;  // root + Quelvari
    std::string file;        // programDir + Quelvari_config.sys
};
ConfigPaths GetConfigPaths();

// Creates the program directory and every missing directory above it.
bool EnsureConfigDirectories();
// Fills `config` from the file as far as the file reaches; leaves the rest.
void ReadConfiguration(Configuration& config);
// Replaces the file with the 8 bytes, atomically. A failure carries message 92
// and the system's reason (the program does not report it; the command-line
// tool does).
Status WriteConfiguration(const Configuration& config);
// Changes settings in the file as one read-modify-write under the file's lock:
// the file is read again, `change` sets the values it is about, and the file
// is written, so a value that another instance of the program wrote meanwhile
// is kept. `config`, when given, receives the values written.
Status UpdateConfiguration(const std::function<void(Configuration&)>& change,
                           Configuration* config = nullptr);

}  // namespace quelvari
