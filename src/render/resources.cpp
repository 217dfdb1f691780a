#include "render/resources.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QImage>
#include <QPixmap>
#include <QResource>
#include <QSvgRenderer>
#include <QTextStream>

#include <cmath>
#include <map>
#include <memory>
#include <tuple>

// Q_INIT_RESOURCE names a function of the global namespace, so it must be
// used from outside any namespace.
static void InitRenderResources() {
    Q_INIT_RESOURCE(resources);
}

namespace quelvari::render {

namespace {

const char* const kUnknownPicture = ":/pictures/picture-156.svg";

// contexts.txt: one "<context> <page>#<anchor>" per line; "contents" names the
// contents page; '#' at the start of a line is a comment.
struct HelpContexts {
    QString contents = QStringLiteral("index.html");
    QHash<std::uint32_t, QString> pages;
};

const HelpContexts& Contexts() {
    static const HelpContexts contexts = [] {
        HelpContexts c;
        QFile file(QStringLiteral(":/help/contexts.txt"));
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            return c;
        QTextStream in(&file);
        while (!in.atEnd()) {
            const QString line = in.readLine().trimmed();
            if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
                continue;
            const QStringList parts = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (parts.size() != 2)
                continue;
            if (parts[0] == QLatin1String("contents")) {
                c.contents = parts[1];
                continue;
            }
            bool ok = false;
            const uint context = parts[0].toUInt(&ok);
            if (ok)
                c.pages.insert(context, parts[1]);
        }
        return c;
    }();
    return contexts;
}

}  // namespace

void InitResources() {
    static const bool done = [] {
        InitRenderResources();
        return true;
    }();
    (void)done;
}

QString PicturePath(std::uint16_t pictureId) {
    const QString path = QStringLiteral(":/pictures/picture-%1.svg").arg(pictureId);
    return QFile::exists(path) ? path : QString::fromLatin1(kUnknownPicture);
}

namespace {

// One parsed SVG per picture path; null when the path has no picture.
QSvgRenderer* PictureRenderer(std::uint16_t pictureId) {
    static std::map<std::uint16_t, std::unique_ptr<QSvgRenderer>> renderers;
    auto [it, added] = renderers.try_emplace(pictureId);
    if (added) {
        const QString path = PicturePath(pictureId);
        if (QFile::exists(path))
            it->second = std::make_unique<QSvgRenderer>(path);
    }
    return it->second.get();
}

}  // namespace

QImage PictureImage(std::uint16_t pictureId, QSize pixels, qreal devicePixelRatio) {
    using Key = std::tuple<std::uint16_t, int, int, qreal>;
    static std::map<Key, QImage> images;
    if (pixels.isEmpty())
        return {};
    const Key key{pictureId, pixels.width(), pixels.height(), devicePixelRatio};
    if (auto it = images.find(key); it != images.end())
        return it->second;
    QSvgRenderer* svg = PictureRenderer(pictureId);
    if (!svg)
        return {};
    // A resized window leaves sizes behind that are not drawn again.
    if (images.size() >= 256)
        images.clear();
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg->render(&painter);
    }
    image.setDevicePixelRatio(devicePixelRatio);
    return images.emplace(key, std::move(image)).first->second;
}

namespace {

// The build-time rendering (1x, 2x or 3x) for a device pixel ratio.
int BakedScale(qreal devicePixelRatio) {
    return devicePixelRatio > 2 ? 3 : devicePixelRatio > 1 ? 2 : 1;
}

}  // namespace

QImage BakedIcon(const QString& name, int scale, const QString& folder) {
    const QString suffix = scale == 1 ? QString() : QStringLiteral("@%1x").arg(scale);
    const QResource resource(QStringLiteral(":/%1/%2%3.argb").arg(folder, name, suffix));
    if (!resource.isValid())
        return {};
    const QByteArray pixels = resource.uncompressedData();
    const int side =
        static_cast<int>(std::lround(std::sqrt(static_cast<double>(pixels.size()) / 4.0)));
    if (side == 0 || static_cast<qsizetype>(side) * side * 4 != pixels.size())
        return {};
    QImage image(reinterpret_cast<const uchar*>(pixels.constData()), side, side, side * 4,
                 QImage::Format_ARGB32_Premultiplied);
    QImage copy = image.copy();
    copy.setDevicePixelRatio(scale);
    return copy;
}

QImage ListPicture(std::uint16_t pictureId, qreal devicePixelRatio) {
    const int scale = BakedScale(devicePixelRatio);
    if (qFuzzyCompare(devicePixelRatio, qreal(scale))) {
        const QString name = QFileInfo(PicturePath(pictureId)).completeBaseName();
        if (QImage baked = BakedIcon(name, scale, QStringLiteral("list-pictures")); !baked.isNull())
            return baked;
    }
    const int pixels = qRound(kListPictureSize * devicePixelRatio);
    return PictureImage(pictureId, QSize(pixels, pixels), devicePixelRatio);
}

QIcon Icon(const QString& name) {
    static QHash<QString, QIcon> icons;
    if (auto it = icons.constFind(name); it != icons.constEnd())
        return *it;
    if (name.isEmpty())
        return {};
    QIcon icon;
    // Baked at 24, 48 and 72 pixels; only the one for the screen's device
    // pixel ratio is taken (QIcon would load all three at once). A window
    // moved to a screen of another ratio scales it.
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    const QImage baked = BakedIcon(name, BakedScale(ratio));
    if (!baked.isNull())
        icon.addPixmap(QPixmap::fromImage(baked));
    else if (const QString svg = QStringLiteral(":/icons/%1.svg").arg(name); QFile::exists(svg))
        icon = QIcon(svg);
    icons.insert(name, icon);
    return icon;
}

QString FlagPath(std::uint32_t language) {
    static const char* const codes[] = {"de", "en", "fr", "it"};
    if (language > 3)
        return {};
    return QStringLiteral(":/flags/%1.svg").arg(QLatin1String(codes[language]));
}

QString HelpFolder(const std::string& helpFileName) {
    const QString name = QString::fromLatin1(helpFileName).toLower();
    if (name == QLatin1String("quelvari-dt.hlp"))
        return QStringLiteral(":/help/de");
    if (name == QLatin1String("quelvari-engl.hlp"))
        return QStringLiteral(":/help/en");
    return {};
}

QUrl HelpUrl(const std::string& helpFileName, std::uint32_t context) {
    const QString folder = HelpFolder(helpFileName);
    if (folder.isEmpty())
        return {};
    const HelpContexts& contexts = Contexts();
    const QString page = contexts.pages.value(context, contexts.contents);
    // ":/help/en" becomes "qrc:/help/en/<page>#<anchor>".
    return QUrl(QStringLiteral("qrc") + folder + QLatin1Char('/') + page);
}

QUrl ComponentHelpUrl(const std::string& helpFileName, const char* typeKey) {
    const QString folder = HelpFolder(helpFileName);
    if (folder.isEmpty())
        return {};
    return QUrl(QStringLiteral("qrc") + folder + QStringLiteral("/components.html#") +
                QLatin1String(typeKey));
}

}  // namespace quelvari::render
