// quelvari-iconbake: renders the tool bar icons from SVG into PNG files at
// build time, so that the editor loads ready pixels at start instead of
// parsing SVG.
//
//   quelvari-iconbake OUT_DIR SIZE SVG...
//
// Each SVG becomes OUT_DIR/<name>.png (SIZE x SIZE) and <name>@2x.png and
// <name>@3x.png for screens with a device pixel ratio of 2 and 3, the names
// QIcon looks for on such screens.
#include <QCoreApplication>
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
            const QString pngPath = out + QLatin1Char('/') + name + suffix + QStringLiteral(".png");
            if (!image.save(pngPath, "PNG")) {
                std::fprintf(stderr, "quelvari-iconbake: cannot write %s\n", qPrintable(pngPath));
                return 1;
            }
        }
    }
    return 0;
}
