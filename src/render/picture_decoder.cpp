#include "render/picture_decoder.h"

#include <QImage>
#include <QImageReader>

#include <cstring>

#include "model/encoding.h"

namespace quelvari::render {

bool DecodePicture(const std::string& path, int maxWidth, int maxHeight, DecodedPicture& out) {
    QImageReader reader(QString::fromStdString(cp1252ToUtf8(path)));
    reader.setAutoTransform(true);
    QImage image = reader.read();
    if (image.isNull())
        return false;
    if (image.width() > maxWidth || image.height() > maxHeight)
        image = image.scaled(maxWidth, maxHeight, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    image = image.convertToFormat(QImage::Format_RGB888);
    out.width = image.width();
    out.height = image.height();
    const std::size_t row = 3 * static_cast<std::size_t>(out.width);
    out.rgb.resize(row * static_cast<std::size_t>(out.height));
    for (int y = 0; y < out.height; ++y)
        std::memcpy(out.rgb.data() + row * static_cast<std::size_t>(y), image.constScanLine(y),
                    row);
    return true;
}

}  // namespace quelvari::render
