// Small readers the syntax test needs: the facts it takes from a picture
// file's header, the form of a transfer command.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quelvari {

// What the syntax test learns from a picture file: its size and, for a
// bitmap, the bits per pixel of its header.
struct PictureInfo {
    bool found = false;
    long size = 0;
    bool bitmap = false;   // starts with "BM"
    bool jpeg = false;     // starts with FF D8
    int bitsPerPixel = 0;  // bitmaps only
};
PictureInfo ProbePicture(const std::string& path);

// True when a command line of a command component is a transfer command of
// the runtime's memory ("SAVE -m123 -Sxx" or "SAVE -irx123 -Sxx"), and
// `wellFormed` tells whether it has one of these two forms.
bool IsTransferCommand(std::string_view line, bool& wellFormed);

}  // namespace quelvari
