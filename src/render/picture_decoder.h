// Decodes a picture file (BMP, JPEG and whatever else the image library reads)
// into plain RGB pixels for the instrument's screen format, scaled down to fit
// a box with its proportions kept. Pictures that fit stay as they are.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quelvari::render {

struct DecodedPicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;  // 3 bytes per pixel, rows of 3 * width bytes
};

// `path` is in Windows-1252, as procedures name their pictures. False when the
// file cannot be read or decoded.
bool DecodePicture(const std::string& path, int maxWidth, int maxHeight, DecodedPicture& out);

}  // namespace quelvari::render
