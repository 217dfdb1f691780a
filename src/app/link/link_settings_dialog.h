// Extras > link settings: how the editor reaches the instrument (USB, a serial
// port or the built-in simulated instrument), kept in the link's own settings
// file.
#pragma once

#include <QDialog>

#include "link/link_settings.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QLabel;

namespace quelvari::app {

class LinkSettingsDialog : public QDialog {
    Q_OBJECT
  public:
    explicit LinkSettingsDialog(QWidget* parent = nullptr, const QString& settingsPath = QString());

    // The settings as the controls show them; false (with a message in
    // `error`) when a field cannot be taken.
    bool readControls(link::LinkConfig& config, QString& error) const;

    // Opens the dialog; true when the user saved new settings.
    static bool RunLinkSettingsDialog(QWidget* parent);

  public slots:
    void accept() override;

  private:
    void updateEnabled();

    QString path_;
    QComboBox* kind_;
    QComboBox* device_;
    QComboBox* baud_;
    QCheckBox* slow_;
    QLineEdit* usbIds_;
    QLineEdit* cardDir_;
};

}  // namespace quelvari::app
