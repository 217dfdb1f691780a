// quelvari-iconbake: renders the tool bar icons from SVG into raw pixels at
// build time, so that the editor takes ready pixels at start instead of
// parsing SVG or decoding an image file.
//
//   quelvari-iconbake OUT_DIR SIZE SVG...
//
// Each SVG becomes OUT_DIR/<name>.argb (SIZE x SIZE) and <name>@2x.argb and
// <name>@3x.argb for screens with a device pixel ratio of 2 and 3: square
// images of premultiplied 32-bit ARGB pixels in the machine's byte order, row
// after row, nothing else (the side follows from the length).
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: quelvari-iconbake OUT_DIR SIZE SVG...\n");
        return 64;
    }
    const QString out = QString::fromLocal8Bit(argv[1]);
    const int size = std::atoi(argv[2]);
    if (size <= 0) {
        std::fprintf(stderr, "quelvari-iconbake: bad size %s\n", argv[2]);
        return 64;
    }
    for (int i = 3; i < argc; ++i) {
        const QString svgPath = QString::fromLocal8Bit(argv[i]);
        QSvgRenderer svg(svgPath);
        if (!svg.isValid()) {
            std::fprintf(stderr, "quelvari-iconbake: cannot read %s\n", argv[i]);
            return 1;
        }
        const QString name = QFileInfo(svgPath).completeBaseName();
        for (int scale = 1; scale <= 3; ++scale) {
            QImage image(size * scale, size * scale, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            svg.render(&painter);
            painter.end();
            const QString suffix = scale == 1 ? QString() : QStringLiteral("@%1x").arg(scale);
            const QString path = out + QLatin1Char('/') + name + suffix + QStringLiteral(".argb");
            QFile file(path);
            const auto bytes = static_cast<qint64>(image.sizeInBytes());
            if (!file.open(QIODevice::WriteOnly) ||
                file.write(reinterpret_cast<const char*>(image.constBits()), bytes) != bytes ||
                !file.flush()) {
                std::fprintf(stderr, "quelvari-iconbake: cannot write %s\n", qPrintable(path));
                return 1;
            }
        }
    }
    return 0;
}
