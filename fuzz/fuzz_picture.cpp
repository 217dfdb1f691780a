// The picture decoding of the transfer: the bytes of any file a picture
// component names, through every image reader the library has, into the box
// of the instrument's screen.
//
// Input: byte 0 picks the box (the two screens, a single pixel, a large
// one), the rest is the picture file.
//
// What must hold: a picture whose header promises more than the pixel bound
// is refused; an accepted picture fits the box, is not empty, has three bytes
// for each pixel and decodes again to the same pixels (a cut file too: no
// pixel comes from leftover memory).
#include <QBuffer>
#include <QCoreApplication>
#include <QImageReader>

#include <cstdlib>

#include "fuzz_support.h"
#include "render/picture_decoder.h"

using namespace quelvari;
using quelvari::fuzz::Reader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The image format plug-ins are found through the application object.
    static int argc = 1;
    static char name[] = "fuzz-picture";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);

    Reader in(data, size);
    static constexpr int kBoxes[][2] = {{320, 240}, {400, 300}, {1, 1}, {4096, 4096}};
    const auto& box = kBoxes[in.byte() % 4];
    const std::string file(in.take(size));

    render::DecodedPicture out;
    const bool decoded = render::DecodePictureData(file, box[0], box[1], out);

    // What the header promises, read the way the decoder reads it.
    QByteArray bytes = QByteArray::fromRawData(file.data(), static_cast<qsizetype>(file.size()));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize promised = reader.size();
    // A BMP stored top down promises a negative height.
    if (std::abs(static_cast<std::int64_t>(promised.width())) *
            std::abs(static_cast<std::int64_t>(promised.height())) >
        render::kMaxPicturePixels)
        FUZZ_CHECK(!decoded);
    if (!decoded)
        return 0;
    FUZZ_CHECK(out.width >= 1 && out.width <= box[0]);
    FUZZ_CHECK(out.height >= 1 && out.height <= box[1]);
    FUZZ_CHECK(out.rgb.size() ==
               3u * static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.height));
    render::DecodedPicture again;
    FUZZ_CHECK(render::DecodePictureData(file, box[0], box[1], again));
    FUZZ_CHECK(again.width == out.width && again.height == out.height && again.rgb == out.rgb);
    return 0;
}
