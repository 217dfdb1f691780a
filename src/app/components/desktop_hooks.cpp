#include "app/components/desktop_hooks.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
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
    h.help = [](QWidget* from, std::uint32_t context) {
        static QPointer<HelpWindow> window;
        if (!window) {
            window = new HelpWindow;
            window->setAttribute(Qt::WA_DeleteOnClose);
        }
        ShowHelpBeside(window, nullptr, from, HelpFileName(language(), std::string()), context);
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

void MakeOkTheDefault(QDialog* dialog, QPushButton* ok) {
    for (QPushButton* b : dialog->findChildren<QPushButton*>()) {
        auto* box = qobject_cast<QDialogButtonBox*>(b->parentWidget());
        const bool cancel = box && box->buttonRole(b) == QDialogButtonBox::RejectRole;
        b->setAutoDefault(b == ok || cancel);
        if (b != ok)
            b->setDefault(false);
    }
    // Set with the button inside the dialog, so that the dialog knows it.
    if (ok)
        ok->setDefault(true);
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
