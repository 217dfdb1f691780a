// The main window's own dialogs: Go to (175), settings (205), language (194)
// and the about box (100). Each relabels itself from the text tables as it
// opens unless the language is German.
#pragma once

#include <QDialog>

#include <cstdint>
#include <functional>

#include "model/config.h"

class QLineEdit;
class QLabel;
class QRadioButton;

namespace quelvari::app {

// Go to: `accept` gets the typed text and says whether the dialog may close.
class GoToDialog : public QDialog {
    Q_OBJECT
  public:
    GoToDialog(std::uint32_t componentCount, std::function<bool(const QString&)> accept,
               QWidget* parent = nullptr);
    QLineEdit* numberField() const { return number_; }
    QLabel* rangeLine() const { return range_; }
    void accept() override;

  private:
    std::function<bool(const QString&)> accept_;
    QLineEdit* number_;
    QLabel* range_;
};

// Settings: the print size; OK writes the configuration file.
class SettingsDialog : public QDialog {
    Q_OBJECT
  public:
    SettingsDialog(Configuration& config, QWidget* parent = nullptr);
    QRadioButton* normal() const { return normal_; }
    QRadioButton* extended() const { return extended_; }
    void accept() override;

  private:
    Configuration& config_;
    QRadioButton* normal_;
    QRadioButton* extended_;
};

// Language: four radio buttons beside their flags; OK sets the language,
// writes the configuration file and runs `apply` (ApplyLanguage).
class LanguageDialog : public QDialog {
    Q_OBJECT
  public:
    LanguageDialog(Configuration& config, std::function<void()> apply, QWidget* parent = nullptr);
    QRadioButton* button(int language) const { return buttons_[language]; }
    void accept() override;

  private:
    Configuration& config_;
    std::function<void()> apply_;
    QRadioButton* buttons_[4];
};

class AboutDialog : public QDialog {
    Q_OBJECT
  public:
    explicit AboutDialog(QWidget* parent = nullptr);
};

// The version and build lines of the about box.
QString VersionLine();
QString BuildLine();

}  // namespace quelvari::app
