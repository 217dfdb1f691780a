// Reading the files the link sends or is configured by (the system file of
// the check, pictures, the link settings). Only regular files are read, up to
// a bound: a FIFO, a terminal or /dev/zero named as a picture or put in place
// of the system file is refused at once instead of blocking the transfer or
// filling the memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/status.h"

namespace quelvari::link {

// The whole file at `path` when it is a regular file of at most `maxBytes`.
// Otherwise false, with the reason in `status` when given.
bool ReadBoundedFile(const std::string& path, std::uint64_t maxBytes,
                     std::vector<std::uint8_t>& out, Status* status = nullptr);

// The size of the regular file at `path`, or 0 when it is none or cannot be
// opened.
std::uint64_t RegularFileSize(const std::string& path);

}  // namespace quelvari::link
