// The help window: the help of the current language, an HTML book, opened at
// the topic of a help command (0 = contents).
#pragma once

#include <QMainWindow>
#include <QPointer>
#include <QUrl>

#include <cstdint>
#include <string>

class QTextBrowser;

namespace quelvari::app {

// The page of `topic` in the help named `helpFile`; contents is topic 0.
// Empty when there is no help of that name.
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

// Shows `help` (made when null) at `topic`. Help asked for from a modal
// dialog (`from` inside it) must stay usable beside it, and a modal dialog
// blocks every window but its own: the help window becomes a window of that
// dialog while it is open and returns to `home` (or stands alone) when the
// dialog closes, staying where it is.
void ShowHelpBeside(QPointer<HelpWindow>& help, QWidget* home, QWidget* from,
                    const std::string& helpFile, std::uint32_t topic);

}  // namespace quelvari::app
