// The program's two settings that live between runs, the user-interface
// language and the print size, kept in an 8-byte file:
//
//   offset 0  u32 little-endian  language   0 German, 1 English, 2 French, 3 Italian
//   offset 4  u32 little-endian  printSize  0 standard ("normal"), 1 enlarged ("extended")
//
// Where the file lives: on Windows c:\ZR_ConfigDir\Quelvari\Quelvari_config.sys;
// elsewhere the root directory ZR_ConfigDir sits in the user's configuration
// directory ($XDG_CONFIG_HOME, else ~/.config). QUELVARI_CONFIG_ROOT, when
// set, names the root directory itself. No failure here is ever reported: a
// missing file gives the defaults and a failed write is ignored.
#pragma once

#include <cstdint>
#include <string>

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

// Creates the root and the program directory where they are missing.
void EnsureConfigDirectories();
// Fills `config` from the file as far as the file reaches; leaves the rest.
void ReadConfiguration(Configuration& config);
// Writes the 8 bytes. Returns false when the file could not be written (the
// program does not report it; the command-line tool does).
bool WriteConfiguration(const Configuration& config);

}  // namespace quelvari
