#include "app/components/desktop_hooks.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QStringList>

#include "app/help_window.h"
#include "app/qt_text.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

UiHooks defaults() {
    UiHooks h;
    h.message = [](QWidget* parent, const QString& caption, const QString& text) {
        QMessageBox box(QMessageBox::NoIcon, caption, text, QMessageBox::Ok, parent);
        box.exec();
    };
    h.openFile = [](QWidget* parent, const QString& filter) {
        return QFileDialog::getOpenFileName(parent, QString(), QString(), filter);
    };
    // The help of the current language at the dialog's topic, in one help
    // window shared by all dialogs.
    h.help = [](QWidget*, std::uint32_t context) {
        static QPointer<HelpWindow> window;
        if (!window)
            window = new HelpWindow;
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->showTopic(HelpFileName(language(), std::string()), context);
    };
    return h;
}

}  // namespace

UiHooks& uiHooks() {
    static UiHooks hooks = defaults();
    return hooks;
}

void ResetUiHooks() {
    uiHooks() = defaults();
}

void ShowMessage(QWidget* parent, const QString& caption, const QString& text) {
    uiHooks().message(parent, caption, text);
}

QString ChooseOpenFile(QWidget* parent, const QString& filter) {
    return uiHooks().openFile(parent, filter);
}

void ShowHelp(QWidget* parent, std::uint32_t context) {
    uiHooks().help(parent, context);
}

QString QtFileFilter(const QString& pipeFilter) {
    // Pairs of description and pattern, ended by an empty pair.
    const QStringList parts = pipeFilter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        if (parts[i].isEmpty())
            break;
        const QString pattern = QString(parts[i + 1]).replace(QLatin1Char(';'), QLatin1Char(' '));
        // The description usually names the pattern already: "Bitmap (*.bmp)".
        filters << (parts[i].contains(pattern) ? parts[i]
                                               : QStringLiteral("%1 (%2)").arg(parts[i], pattern));
    }
    return filters.join(QStringLiteral(";;"));
}

}  // namespace quelvari::app
