#include "app/editor_style.h"

#include "render/resources.h"

namespace quelvari::app {

EditorStyle::EditorStyle(const QString& key) : QProxyStyle(key) {}

QIcon EditorStyle::standardIcon(StandardPixmap icon, const QStyleOption* option,
                                const QWidget* widget) const {
    const char* name = nullptr;
    switch (icon) {
        case SP_TitleBarCloseButton:
        case SP_DockWidgetCloseButton:
            name = "dock-close";
            break;
        case SP_TitleBarNormalButton:
            name = "dock-float";
            break;
        case SP_ToolBarHorizontalExtensionButton:
            name = "more";
            break;
        case SP_ToolBarVerticalExtensionButton:
            name = "more-down";
            break;
        default:
            break;
    }
    if (name)
        if (QIcon baked = render::Icon(QLatin1String(name)); !baked.isNull())
            return baked;
    return QProxyStyle::standardIcon(icon, option, widget);
}

}  // namespace quelvari::app
