#include "app/help_window.h"

#include <QAction>
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

}  // namespace quelvari::app
