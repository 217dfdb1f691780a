#include "render/picture_decoder.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageReader>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "model/encoding.h"
#include "model/file_io.h"

namespace quelvari::render {
namespace {

// A PNG file tells the length of every chunk ahead of its data, and the image
// library takes memory for a chunk as its length says: a few bytes could ask
// for gigabytes. A chunk longer than what the file still holds is refused
// before the library sees it. Other files pass unchanged.
bool PngChunksFitTheFile(const std::string& data) {
    static constexpr unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    if (data.size() < sizeof kSignature || std::memcmp(data.data(), kSignature, sizeof kSignature))
        return true;
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
    std::size_t pos = sizeof kSignature;
    while (data.size() - pos >= 8) {  // length and type
        const std::uint64_t length = std::uint64_t{bytes[pos]} << 24 |
                                     std::uint64_t{bytes[pos + 1]} << 16 |
                                     std::uint64_t{bytes[pos + 2]} << 8 | bytes[pos + 3];
        if (length > data.size() - pos - 8)
            return false;
        pos += 8 + static_cast<std::size_t>(length);
        pos += std::min<std::size_t>(4, data.size() - pos);  // the check sum
    }
    return true;
}

}  // namespace

bool DecodePictureData(const std::string& data, int maxWidth, int maxHeight, DecodedPicture& out) {
    if (maxWidth <= 0 || maxHeight <= 0 || !PngChunksFitTheFile(data))
        return false;
    QByteArray bytes = QByteArray::fromRawData(data.data(), static_cast<qsizetype>(data.size()));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    // The header's size decides before any pixel memory is taken (a BMP
    // stored top down tells a negative height). A format that tells no size
    // in advance is still held by the library's own allocation limit.
    const QSize size = reader.size();
    const std::int64_t width = std::abs(static_cast<std::int64_t>(size.width()));
    const std::int64_t height = std::abs(static_cast<std::int64_t>(size.height()));
    if (width * height > kMaxPicturePixels)
        return false;
    // The image is handed to the reader cleared: a file that ends before its
    // pixels do (a cut BMP) leaves the missing pixels black instead of
    // whatever the memory held, so the same file always gives the same
    // picture. Readers that make an image of their own are not affected.
    QImage image;
    if (width > 0 && height > 0 && reader.imageFormat() != QImage::Format_Invalid) {
        image = QImage(static_cast<int>(width), static_cast<int>(height), reader.imageFormat());
        if (!image.isNull())
            image.fill(0);
    }
    if (!reader.read(&image))
        return false;
    if (image.isNull() ||
        static_cast<std::int64_t>(image.width()) * image.height() > kMaxPicturePixels)
        return false;
    if (image.width() > maxWidth || image.height() > maxHeight)
        image = image.scaled(maxWidth, maxHeight, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    image = image.convertToFormat(QImage::Format_RGB888);
    if (image.isNull())
        return false;
    out.width = image.width();
    out.height = image.height();
    const std::size_t row = 3 * static_cast<std::size_t>(out.width);
    out.rgb.resize(row * static_cast<std::size_t>(out.height));
    for (int y = 0; y < out.height; ++y)
        std::memcpy(out.rgb.data() + row * static_cast<std::size_t>(y), image.constScanLine(y),
                    row);
    return true;
}

bool DecodePicture(const std::string& path, int maxWidth, int maxHeight, DecodedPicture& out) {
    std::string data;
    bool tooLarge = false;
    if (!ReadRegularFile(cp1252ToUtf8(path), kMaxPictureFileBytes, data, kErrPictureAccess,
                         &tooLarge)
             .ok() ||
        tooLarge)
        return false;
    return DecodePictureData(data, maxWidth, maxHeight, out);
}

}  // namespace quelvari::render
