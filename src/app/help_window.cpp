#include "app/help_window.h"

#include <QAction>
#include <QFile>
#include <QTextBrowser>
#include <QToolBar>

namespace quelvari::app {

QUrl HelpPage(const std::string& helpFile, std::uint32_t topic) {
    const QString book =
        helpFile == "Quelvari-dt.hlp" ? QStringLiteral("de") : QStringLiteral("en");
    const QString page =
        topic == 0 ? QStringLiteral("index") : QStringLiteral("topic-%1").arg(topic);
    return QUrl(QStringLiteral("qrc:/help/%1/%2.html").arg(book, page));
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
    const QString path = QLatin1Char(':') + url.path();
    setWindowTitle(QStringLiteral("Quelvari - %1").arg(QString::fromStdString(helpFile)));
    if (QFile::exists(path)) {
        browser_->setSource(url);
    } else {
        browser_->setHtml(QStringLiteral("<h2>Quelvari</h2><p>%1 / %2</p>")
                              .arg(QString::fromStdString(helpFile), QString::number(topic)));
    }
    show();
    raise();
    activateWindow();
}

}  // namespace quelvari::app
