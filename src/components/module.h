// The module component's name test: the name becomes the file name of a
// procedure module, which travels to Windows PCs and instruments.
#pragma once

#include <string>

namespace quelvari {

// True when Windows would accept `name` as a file name: none of the
// characters < > : " / \ | ? * or control characters, not ending in a blank
// or a dot, and not a reserved device name (CON, PRN, AUX, NUL, COM1 to COM9,
// LPT1 to LPT9, with or without an extension, in any case).
bool IsPortableFileName(const std::string& name);

// The file-name test of the module dialog: the name must be portable and a
// file `name` + ".pa$" must be creatable in `directory` for reading and
// writing. A file created for the test is removed at once; one that already
// existed is only opened and left as it was.
bool ModuleNameUsable(const std::string& name, const std::string& directory = ".");

}  // namespace quelvari
