#include "app/help_window.h"

#include <QAction>
#include <QDialog>
#include <QFile>
#include <QTextBrowser>
#include <QToolBar>

#include "render/resources.h"

namespace quelvari::app {

QUrl HelpPage(const std::string& helpFile, std::uint32_t topic) {
    return render::HelpUrl(helpFile, topic);
}

HelpWindow::HelpWindow(QWidget* parent) : QMainWindow(parent), browser_(new QTextBrowser(this)) {
    setWindowFlag(Qt::Window);
    setCentralWidget(browser_);
    browser_->setOpenExternalLinks(true);
    auto* bar = addToolBar(QStringLiteral("Help"));
    bar->addAction(QStringLiteral("<"), browser_, &QTextBrowser::backward);
    bar->addAction(QStringLiteral(">"), browser_, &QTextBrowser::forward);
    bar->addAction(QStringLiteral("\u2302"), browser_, &QTextBrowser::home);
    resize(720, 640);
}

void HelpWindow::showTopic(const std::string& helpFile, std::uint32_t topic) {
    const QUrl url = HelpPage(helpFile, topic);
    setWindowTitle(QStringLiteral("Quelvari - %1").arg(QString::fromStdString(helpFile)));
    if (!url.isEmpty() && QFile::exists(QLatin1Char(':') + url.path())) {
        browser_->setSource(url);
    } else {
        // No help of this name (a language value from a damaged settings file).
        browser_->setHtml(QStringLiteral("<h2>Quelvari</h2><p>%1 / %2</p>")
                              .arg(QString::fromStdString(helpFile), QString::number(topic)));
    }
    show();
    raise();
    activateWindow();
}

namespace {

// Moves `help` under `parent` as a window of its own, keeping its place and
// whether it is shown.
void Reparent(HelpWindow* help, QWidget* parent) {
    if (help->parentWidget() == parent)
        return;
    const bool shown = help->isVisible();
    const QRect place = help->geometry();
    help->setParent(parent, Qt::Window);
    help->setGeometry(place);
    if (shown)
        help->show();
}

}  // namespace

void ShowHelpBeside(QPointer<HelpWindow>& help, QWidget* home, QWidget* from,
                    const std::string& helpFile, std::uint32_t topic) {
    if (!help)
        help = new HelpWindow(home);
    QWidget* owner = from ? from->window() : nullptr;
    auto* dialog = qobject_cast<QDialog*>(owner);
    if (dialog && dialog->isModal() && help->parentWidget() != dialog) {
        Reparent(help, dialog);
        QPointer<HelpWindow> h = help;
        QPointer<QWidget> back = home;
        QObject::connect(
            dialog, &QDialog::finished, help,
            [h, back] {
                if (h)
                    Reparent(h, back);
            },
            Qt::SingleShotConnection);
    } else if (!dialog) {
        Reparent(help, home);
    }
    help->showTopic(helpFile, topic);
}

}  // namespace quelvari::app
