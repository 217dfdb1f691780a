// The help window: the help of the current language, an HTML book, opened at
// the topic of a help command (0 = contents).
#pragma once

#include <QMainWindow>
#include <QUrl>

#include <cstdint>
#include <string>

class QTextBrowser;

namespace quelvari::app {

// The page of `topic` in the help named `helpFile` ("Quelvari-dt.hlp" is the
// German help; every other name the English one). Contents is topic 0.
QUrl HelpPage(const std::string& helpFile, std::uint32_t topic);

class HelpWindow : public QMainWindow {
    Q_OBJECT
  public:
    explicit HelpWindow(QWidget* parent = nullptr);
    void showTopic(const std::string& helpFile, std::uint32_t topic);
    QTextBrowser* browser() const { return browser_; }

  private:
    QTextBrowser* browser_;
};

}  // namespace quelvari::app
