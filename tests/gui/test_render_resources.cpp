// The compiled-in pictures, icons, flags and help pages: every component type
// has a drawing of its own, the icons and flags load, and every help context
// the program opens leads to an existing page and anchor in both help
// languages. The picture decoder that turns pictures into the screen's
// pixels.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QSet>
#include <QSvgRenderer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>

#include "components/catalogue.h"
#include "render/picture_decoder.h"
#include "render/resources.h"
#include "texts/texts.h"

namespace {

using namespace quelvari;

QImage Draw(const QString& path, int size, int height = 0) {
    QImage image(size, height ? height : size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QSvgRenderer svg(path);
    QPainter painter(&image);
    svg.render(&painter);
    return image;
}

int OpaquePixels(const QImage& image) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            n += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
    return n;
}

QString ReadAll(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

class RenderResources : public ::testing::Test {
  protected:
    void SetUp() override { render::InitResources(); }
};

TEST_F(RenderResources, EveryComponentTypeHasItsOwnLegibleCachedPicture) {
    const QString unknown = render::PicturePath(kUnknownPictureId);
    ASSERT_TRUE(QSvgRenderer(unknown).isValid());

    // The view draws each picture from an image rendered from its SVG.
    const auto image = [](std::uint16_t id, int size = 48, double ratio = 1.0) {
        return render::PictureImage(id, QSize(size, size), ratio);
    };
    QList<QImage> drawings{image(kUnknownPictureId)};
    for (const ComponentType& type : kCatalogue) {
        SCOPED_TRACE(type.key);
        const QString path = render::PicturePath(type.pictureId);
        EXPECT_TRUE(QSvgRenderer(path).isValid());
        const QImage drawing = image(type.pictureId);
        const int opaque = OpaquePixels(Draw(path, 48));
        EXPECT_NEAR(OpaquePixels(drawing), opaque, opaque / 50 + 1);
        // Something is drawn, and not merely the same tile as another type.
        EXPECT_GT(opaque, 48 * 48 / 2);
        for (const QImage& other : drawings)
            EXPECT_NE(drawing, other) << "looks the same as another type";
        drawings.append(drawing);
        // The step list's picture: the same drawing, rendered at build time
        // for the ratios 1 to 3.
        for (int ratio : {1, 2, 3}) {
            const QImage listed = render::ListPicture(type.pictureId, ratio);
            EXPECT_EQ(listed.devicePixelRatio(), ratio);
            EXPECT_EQ(listed, image(type.pictureId, render::kListPictureSize * ratio, ratio));
        }
    }
    // Exactly these pictures, each of its own file, are compiled in: no
    // orphan and no gap.
    EXPECT_EQ(QDir(":/pictures").entryList().size(), static_cast<int>(kComponentTypeCount + 1));

    // An id without a drawing falls back to the unknown picture.
    for (int id : {0, 1, 139, 158, 220, 65535}) {
        EXPECT_EQ(render::PicturePath(static_cast<std::uint16_t>(id)), unknown) << id;
        EXPECT_EQ(image(static_cast<std::uint16_t>(id)), drawings.front()) << id;
        EXPECT_EQ(render::ListPicture(static_cast<std::uint16_t>(id), 1),
                  render::ListPicture(kUnknownPictureId, 1));
    }

    // The images are cached per picture, size and device pixel ratio.
    const std::uint16_t id = kCatalogue[0].pictureId;
    EXPECT_EQ(image(id).cacheKey(), image(id).cacheKey());
    const QImage sharp = image(id, 120, 2.0);
    EXPECT_EQ(sharp.size(), QSize(120, 120));
    EXPECT_EQ(sharp.devicePixelRatio(), 2.0);
    EXPECT_NE(sharp.cacheKey(), image(id, 120).cacheKey());
    EXPECT_TRUE(image(id, 0).isNull());
    // A ratio nothing was baked for renders at its size.
    EXPECT_EQ(render::ListPicture(id, 1.5).size(), QSize(24, 24));
}

TEST_F(RenderResources, IconsAndFlagsLoad) {
    const QStringList names{"new",    "open",   "save",        "cut",       "copy",     "paste",
                            "undo",   "print",  "syntax-test", "pre-check", "transfer", "help",
                            "append", "insert", "change",      "delete",    "goto",     "quelvari"};
    QSet<QString> seen;
    for (const QString& name : names) {
        SCOPED_TRACE(name.toStdString());
        const QIcon icon = render::Icon(name);
        ASSERT_FALSE(icon.isNull());
        const QImage image = icon.pixmap(24, 24).toImage();
        EXPECT_GT(OpaquePixels(image), 24);
        // Rendered at build time for screens of ratio 1, 2 and 3, each the
        // drawing of its SVG.
        for (int scale : {1, 2, 3}) {
            const QImage baked = render::BakedIcon(name, scale);
            EXPECT_EQ(baked.width(), 24 * scale);
            EXPECT_EQ(baked.devicePixelRatio(), scale);
            EXPECT_EQ(OpaquePixels(baked), OpaquePixels(Draw(QString(":/icons/%1.svg").arg(name),
                                                             24 * scale, 24 * scale)));
        }
        // The screen's ratio is 1 here: the icon holds the baked 24-pixel image.
        EXPECT_EQ(image.convertToFormat(QImage::Format_ARGB32_Premultiplied),
                  render::BakedIcon(name, 1));
        seen.insert(ReadAll(QString(":/icons/%1.svg").arg(name)));
    }
    EXPECT_EQ(seen.size(), names.size()) << "two icons share one drawing";
    EXPECT_TRUE(render::Icon("no-such-icon").isNull());
    EXPECT_TRUE(render::Icon("").isNull());

    // A flag fills its whole rectangle.
    for (std::uint32_t lang = 0; lang < 4; ++lang)
        EXPECT_EQ(OpaquePixels(Draw(render::FlagPath(lang), 30, 20)), 30 * 20) << lang;
    EXPECT_TRUE(render::FlagPath(4).isEmpty());
}

// The anchors a page defines (id="..." or name="...").
QSet<QString> Anchors(const QString& html) {
    QSet<QString> anchors;
    static const QRegularExpression re(R"re((?:id|name)="([^"]+)")re");
    for (const auto& m : re.globalMatch(html))
        anchors.insert(m.captured(1));
    return anchors;
}

TEST_F(RenderResources, EveryHelpContextOpensAnExistingPageAndAnchor) {
    using namespace render;
    const std::uint32_t contexts[] = {
        kHelpContents,        kHelpFile,      kHelpEdit,      kHelpProcedure,
        kHelpQuickStart,      kHelpSelection, kHelpVariables, kHelpCommandComponent,
        kHelpPictureComponent};
    // No help file (a language outside 0..3) or a foreign one: no help.
    EXPECT_TRUE(HelpUrl("", kHelpVariables).isEmpty());
    EXPECT_TRUE(HelpFolder("other.hlp").isEmpty());
    // Italian's name is the English one in capitals: the English help.
    EXPECT_EQ(HelpUrl("QUELVARI-engl.hlp", kHelpContents).toString(), "qrc:/help/en/index.html");
    for (const char* helpFile : {"Quelvari-dt.hlp", "Quelvari-engl.hlp", "QUELVARI-engl.hlp"}) {
        std::set<QString> pages;
        for (std::uint32_t context : contexts) {
            SCOPED_TRACE(std::string(helpFile) + " " + std::to_string(context));
            const QUrl url = HelpUrl(helpFile, context);
            ASSERT_EQ(url.scheme(), "qrc");
            const QString html = ReadAll(":" + url.path());
            ASSERT_FALSE(html.isEmpty()) << url.toString().toStdString();
            if (url.hasFragment()) {
                EXPECT_TRUE(Anchors(html).contains(url.fragment())) << url.toString().toStdString();
            }
            pages.insert(url.toString());
        }
        // Every context has a place of its own.
        EXPECT_EQ(pages.size(), std::size(contexts));
        // The Help button of every component dialog opens its type's own
        // section on the types page.
        std::set<QString> sections;
        const QString types = ReadAll(":" + ComponentHelpUrl(helpFile, "time").path());
        for (const ComponentType& type : kCatalogue) {
            const QUrl url = HelpUrl(helpFile, type.dialogId);
            EXPECT_EQ(url, ComponentHelpUrl(helpFile, type.key)) << type.key;
            EXPECT_TRUE(Anchors(types).contains(url.fragment())) << type.key;
            sections.insert(url.toString());
        }
        EXPECT_EQ(sections.size(), kComponentTypeCount);
        for (std::uint32_t interbusFunction :
             {kInterbusCycleDialog, kInterbusInitialiseDialog, kInterbusResetDialog})
            EXPECT_EQ(HelpUrl(helpFile, interbusFunction), ComponentHelpUrl(helpFile, "interbus"));
        // A context the program never uses opens the contents page.
        EXPECT_EQ(HelpUrl(helpFile, 4711), HelpUrl(helpFile, kHelpContents));
    }
}

TEST_F(RenderResources, HelpPagesLinkOnlyToPagesAndAnchorsThatExist) {
    const QStringList de = QDir(":/help/de").entryList(QDir::Files, QDir::Name);
    const QStringList en = QDir(":/help/en").entryList(QDir::Files, QDir::Name);
    EXPECT_EQ(de, en) << "both languages hold the same pages";
    ASSERT_TRUE(de.contains("index.html"));
    static const QRegularExpression href(R"re(href="([^"]*)")re");
    static const QRegularExpression img(R"re(<img src="([^"]*)")re");
    for (const char* lang : {"de", "en"}) {
        const QString folder = QString(":/help/%1/").arg(lang);
        for (const QString& page : QDir(folder).entryList(QDir::Files)) {
            SCOPED_TRACE((folder + page).toStdString());
            const QString html = ReadAll(folder + page);
            EXPECT_TRUE(html.contains("<title>"));
            for (const auto& m : href.globalMatch(html)) {
                const QString target = m.captured(1);
                const QString file = target.section('#', 0, 0);
                const QString anchor = target.section('#', 1);
                const QString linked = file.isEmpty() ? html : ReadAll(folder + file);
                EXPECT_FALSE(linked.isEmpty()) << "broken link " << target.toStdString();
                if (!anchor.isEmpty()) {
                    EXPECT_TRUE(Anchors(linked).contains(anchor))
                        << "missing anchor " << target.toStdString();
                }
            }
            // Pictures are referred to relative to the page, as the help
            // browser resolves them.
            for (const auto& m : img.globalMatch(html)) {
                const QString path = QDir::cleanPath(folder + m.captured(1));
                EXPECT_TRUE(QSvgRenderer(path).isValid()) << path.toStdString();
            }
        }
    }
}

TEST(PictureDecoder, ScalesLargePicturesIntoTheScreenAndRefusesOthers) {
    QTemporaryDir tmp;
    const auto path = [&](const char* name) { return tmp.filePath(name).toStdString(); };
    QImage wide(800, 200, QImage::Format_RGB32);
    wide.fill(QColor(0, 0, 255));
    ASSERT_TRUE(wide.save(tmp.filePath("wide.bmp"), "BMP"));
    QImage small(10, 20, QImage::Format_RGB32);
    small.fill(QColor(0, 255, 0));
    ASSERT_TRUE(small.save(tmp.filePath("small.jpg"), "JPG"));
    std::ofstream(path("broken.bmp")) << "BM not a picture";

    render::DecodedPicture p;
    ASSERT_TRUE(render::DecodePicture(path("wide.bmp"), 400, 300, p));
    EXPECT_EQ(p.width, 400);  // proportions kept: 800 x 200 becomes 400 x 100
    EXPECT_EQ(p.height, 100);
    ASSERT_EQ(p.rgb.size(), 3u * 400 * 100);
    EXPECT_EQ(p.rgb[2], 255);  // blue

    ASSERT_TRUE(render::DecodePicture(path("small.jpg"), 400, 300, p));
    EXPECT_EQ(p.width, 10);  // small pictures stay as they are
    EXPECT_EQ(p.height, 20);
    EXPECT_GT(p.rgb[1], 200);

    EXPECT_FALSE(render::DecodePicture(path("broken.bmp"), 400, 300, p));
    EXPECT_FALSE(render::DecodePicture(path("missing.bmp"), 400, 300, p));

    // BMP headers of 54 bytes, 24 bits a pixel.
    auto bmp = [](std::int32_t width, std::int32_t height) {
        std::string b = "BM";
        auto u32 = [&b](std::uint32_t v) {
            for (int i = 0; i < 4; ++i)
                b += static_cast<char>(v >> (8 * i));
        };
        u32(120), u32(0), u32(54), u32(40), u32(static_cast<std::uint32_t>(width));
        u32(static_cast<std::uint32_t>(height));
        b += std::string("\x01\x00\x18\x00", 4);  // one plane, 24 bits
        u32(0), u32(0), u32(2835), u32(2835), u32(0), u32(0);
        return b;
    };
    // One that claims 100,000 x 100,000 pixels (bottom up or top down) in a
    // file of 120 bytes: refused before any pixel memory is taken.
    for (const std::int32_t height : {100000, -100000}) {
        std::string huge = bmp(100000, height);
        huge.resize(120, '\x7f');
        EXPECT_FALSE(render::DecodePictureData(huge, 400, 300, p)) << height;
    }
    // A 4 x 4 picture cut after its first (bottom) row: the rows the file
    // does not hold are black, whatever the memory held before.
    std::string cut = bmp(4, 4) + std::string(12, '\x50');
    for (int round = 0; round < 2; ++round) {
        std::vector<char*> junk;  // leaves freed memory full of 0xAB
        for (int i = 0; i < 64; ++i)
            junk.push_back(static_cast<char*>(std::memset(std::malloc(64), 0xAB, 64)));
        for (char* j : junk)
            std::free(j);
        ASSERT_TRUE(render::DecodePictureData(cut, 400, 300, p));
        ASSERT_EQ(p.rgb.size(), 3u * 4 * 4);
        EXPECT_EQ(p.rgb[3 * 4 * 3], 0x50);  // the bottom row
        EXPECT_EQ(std::count(p.rgb.begin(), p.rgb.begin() + 3 * 4 * 3, 0), 3 * 4 * 3);
    }
    // A FIFO, /dev/zero and a directory named as a picture: refused unread.
    ASSERT_EQ(::mkfifo(path("fifo.bmp").c_str(), 0600), 0);
    for (const std::string& bad : {path("fifo.bmp"), std::string("/dev/zero"), path("")})
        EXPECT_FALSE(render::DecodePicture(bad, 400, 300, p)) << bad;
}

}  // namespace
