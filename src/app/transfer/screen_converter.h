// The picture converter of the transfer, for the dialog and the command line:
// a picture file decoded by the image library and packed into the
// instrument's screen format. Header only, without Qt in its interface, so
// that the command line can use it without the editor.
#pragma once

#include <string>
#include <vector>

#include "link/transfer.h"
#include "link/transfer_job.h"
#include "render/picture_decoder.h"

namespace quelvari::app {

inline bool ScreenPicture(const std::string& path, std::uint16_t model,
                          std::vector<std::uint8_t>& out) {
    render::DecodedPicture picture;
    if (!render::DecodePicture(path, link::kScreenWidth, link::kScreenHeight, picture))
        return false;
    out = link::PackScreen(model, picture.width, picture.height, picture.rgb.data(),
                           3 * static_cast<std::size_t>(picture.width));
    return true;
}

}  // namespace quelvari::app
