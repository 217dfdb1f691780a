// The editor's style: the platform's own (or the one chosen with -style),
// with the standard icons the main window shows at start drawn from the
// editor's baked icons.
#pragma once

#include <QProxyStyle>

namespace quelvari::app {

class EditorStyle : public QProxyStyle {
  public:
    // `key` names the style to wrap, as QStyleFactory knows it.
    explicit EditorStyle(const QString& key);

    // The dock title buttons and the extension buttons of the tool bar and
    // the menu bar. The base style would load them from image files through
    // the icon plug-ins, which costs the start a plug-in load and the
    // decoding of a dozen images; every other icon is the base style's.
    QIcon standardIcon(StandardPixmap icon, const QStyleOption* option = nullptr,
                       const QWidget* widget = nullptr) const override;
};

}  // namespace quelvari::app
