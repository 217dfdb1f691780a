// The program's pictures, icons, flags and help pages, compiled into the
// render library from resources.qrc.
//
// Resource paths:
//   :/pictures/picture-<pictureId>.svg   one picture per component type, by the
//                                        catalogue's pictureId (picture-156.svg
//                                        is the unknown-type picture)
//   :/icons/<name>.svg                   tool bar icons (24x24) and quelvari.svg,
//                                        the application icon
//   :/flags/<de|en|fr|it>.svg            language flags
//   :/help/<de|en>/<page>.html           the user help; :/help/contexts.txt maps
//                                        help context numbers to page#anchor
#pragma once

#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <string>

namespace quelvari::render {

// Registers the compiled-in resources. The render layer is a static library,
// so its resources are not registered by themselves: call once at start-up
// (and in tests) before any of the paths above is used.
void InitResources();

// ":/pictures/picture-<pictureId>.svg", or the unknown-type picture when no
// picture of that id exists.
QString PicturePath(std::uint16_t pictureId);

// The picture of `pictureId` (the unknown-type picture for an id without one)
// drawn into an image of `pixels` device pixels, with `devicePixelRatio` set
// on it. Each picture is parsed from SVG once and each size rendered once;
// the view draws these images instead of parsing SVG on every paint. A null
// image when there is no picture at all.
QImage PictureImage(std::uint16_t pictureId, QSize pixels, qreal devicePixelRatio);

// The picture as the step list shows it: kListPictureSize pixels square at
// `devicePixelRatio`. For ratios 1, 2 and 3 it is the rendering made at
// build time, so a list opens without parsing SVG; other ratios render
// through PictureImage.
constexpr int kListPictureSize = 16;
QImage ListPicture(std::uint16_t pictureId, qreal devicePixelRatio);

// A tool bar icon by name ("new", "open", "save", "cut", "copy", "paste",
// "undo", "print", "syntax-test", "pre-check", "transfer", "help", "append",
// "insert", "change", "delete", "goto", "quelvari"). A null icon for an
// unknown name. The icons are rendered to pixels at build time (1x, 2x and
// 3x); an icon without a rendering comes from its SVG. Loaded once per name.
QIcon Icon(const QString& name);

// The build-time rendering of icon `name` for device pixel ratio `scale`
// (1, 2 or 3): 24 * scale pixels square. A null image when there is none.
// With `folder` "list-pictures", `name` "picture-<pictureId>" is a list
// picture instead.
QImage BakedIcon(const QString& name, int scale, const QString& folder = QStringLiteral("icons"));

// ":/flags/<code>.svg" for language 0..3 (German, English, French, Italian),
// empty for any other value.
QString FlagPath(std::uint32_t language);

// The help context numbers the program opens. Contents is not a number of its
// own: it opens the contents page.
inline constexpr std::uint32_t kHelpContents = 0;
inline constexpr std::uint32_t kHelpFile = 8;
inline constexpr std::uint32_t kHelpEdit = 16;
inline constexpr std::uint32_t kHelpProcedure = 24;
inline constexpr std::uint32_t kHelpQuickStart = 700;
inline constexpr std::uint32_t kHelpSelection = 200;
inline constexpr std::uint32_t kHelpVariables = 202;
// The Help buttons of the command and picture component dialogs.
inline constexpr std::uint32_t kHelpCommandComponent = 307;
inline constexpr std::uint32_t kHelpPictureComponent = 317;

// The help folder for the program's help file name: ":/help/de" for
// "Quelvari-dt.hlp", ":/help/en" for "Quelvari-engl.hlp" in any case of
// letters (French and Italian use it). Empty when the name is empty or
// unknown: then there is no help to show.
QString HelpFolder(const std::string& helpFileName);

// The page (and anchor) that shows help context `context` in the help named
// by `helpFileName`, as a qrc URL a QTextBrowser can open. A context without
// an entry in contexts.txt opens the contents page; no help file gives an
// empty URL.
QUrl HelpUrl(const std::string& helpFileName, std::uint32_t context);

// The section of the component types page on one type, by the catalogue's
// key ("measuring", "time", ...): what the Help button of a component dialog
// without a context number of its own opens. Empty without a help file.
QUrl ComponentHelpUrl(const std::string& helpFileName, const char* typeKey);

}  // namespace quelvari::render
