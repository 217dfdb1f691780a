// Decodes a picture file (BMP, JPEG and whatever else the image library reads)
// into plain RGB pixels for the instrument's screen format, scaled down to fit
// a box with its proportions kept. Pictures that fit stay as they are.
//
// A picture is decoded only when its header promises at most kMaxPicturePixels
// pixels, and its file is read only when it is a regular file of at most
// kMaxPictureFileBytes: a small file cannot make the decoder ask for
// gigabytes, and a FIFO or a device named as a picture is refused unread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quelvari::render {

// 64 megapixels: any camera picture of today, far beyond the screen.
inline constexpr std::int64_t kMaxPicturePixels = 64LL * 1024 * 1024;
inline constexpr std::size_t kMaxPictureFileBytes = 256u * 1024 * 1024;

struct DecodedPicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;  // 3 bytes per pixel, rows of 3 * width bytes
};

// `path` is in Windows-1252, as procedures name their pictures. False when the
// file cannot be read or decoded, or is larger than the bounds above.
bool DecodePicture(const std::string& path, int maxWidth, int maxHeight, DecodedPicture& out);

// The same for the bytes of a picture file.
bool DecodePictureData(const std::string& data, int maxWidth, int maxHeight, DecodedPicture& out);

}  // namespace quelvari::render
