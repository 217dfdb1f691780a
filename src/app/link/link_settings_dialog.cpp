#include "app/link/link_settings_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QSerialPortInfo>

namespace quelvari::app {

using link::LinkConfig;

LinkSettingsDialog::LinkSettingsDialog(QWidget* parent, const QString& settingsPath)
    : QDialog(parent),
      path_(settingsPath.isEmpty() ? QString::fromStdString(link::LinkConfigPath())
                                   : settingsPath) {
    setWindowTitle(tr("Instrument link"));
    setObjectName("LinkSettingsDialog");
    const LinkConfig config = link::ReadLinkConfig(path_.toStdString());

    kind_ = new QComboBox(this);
    kind_->setObjectName("kind");
    kind_->addItem(tr("USB"), int(LinkConfig::Kind::kUsb));
    kind_->addItem(tr("Serial port"), int(LinkConfig::Kind::kSerial));
    kind_->addItem(tr("Simulated instrument"), int(LinkConfig::Kind::kSimulated));
    kind_->setCurrentIndex(kind_->findData(int(config.kind)));

    // The system's ports; pseudo-terminals are not listed, so a typed path is
    // taken as well.
    device_ = new QComboBox(this);
    device_->setObjectName("device");
    device_->setEditable(true);
    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
        device_->addItem(info.systemLocation());
    const QString current =
        QString::fromStdString(link::SerialDevicePath(config.comPortIndex, config.device));
    if (device_->findText(current) < 0)
        device_->addItem(current);
    device_->setCurrentText(current);

    baud_ = new QComboBox(this);
    baud_->setObjectName("baud");
    for (const char* rate : {"9600", "19200", "38400", "57600"})
        baud_->addItem(rate);
    baud_->setCurrentIndex(std::min<int>(config.baudIndex, 3));

    slow_ = new QCheckBox(tr("Slow timing (DTR and RTS on, longer waits)"), this);
    slow_->setObjectName("slow");
    slow_->setChecked(config.slow);

    usbIds_ = new QLineEdit(QString::fromStdString(link::FormatUsbIds(config.usbIds)), this);
    usbIds_->setObjectName("usbIds");
    usbIds_->setPlaceholderText("1209:0001, vvvv:pppp");

    cardDir_ = new QLineEdit(QString::fromStdString(config.cardDir), this);
    cardDir_->setObjectName("cardDir");
    cardDir_->setPlaceholderText(QString::fromStdString(link::DefaultCardDir()));

    auto* form = new QFormLayout(this);
    form->addRow(tr("Link:"), kind_);
    form->addRow(tr("Serial port:"), device_);
    form->addRow(tr("Baud rate:"), baud_);
    form->addRow(QString(), slow_);
    form->addRow(tr("USB ids (vendor:product):"), usbIds_);
    form->addRow(tr("Card directory of the simulated instrument:"), cardDir_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &LinkSettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(kind_, &QComboBox::currentIndexChanged, this, &LinkSettingsDialog::updateEnabled);
    updateEnabled();
}

void LinkSettingsDialog::updateEnabled() {
    const auto kind = LinkConfig::Kind(kind_->currentData().toInt());
    const bool serial = kind == LinkConfig::Kind::kSerial;
    device_->setEnabled(serial);
    baud_->setEnabled(serial);
    slow_->setEnabled(serial);
    usbIds_->setEnabled(kind == LinkConfig::Kind::kUsb);
    cardDir_->setEnabled(kind == LinkConfig::Kind::kSimulated);
}

bool LinkSettingsDialog::readControls(LinkConfig& config, QString& error) const {
    config = link::ReadLinkConfig(path_.toStdString());
    config.kind = LinkConfig::Kind(kind_->currentData().toInt());
    const QString device = device_->currentText().trimmed();
    if (config.kind == LinkConfig::Kind::kSerial && device.isEmpty()) {
        error = tr("Enter the serial port, for example /dev/ttyUSB0.");
        return false;
    }
    config.device = device.toStdString();
    config.baudIndex = static_cast<std::uint16_t>(baud_->currentIndex());
    config.slow = slow_->isChecked();
    std::vector<link::UsbId> ids;
    if (!link::ParseUsbIds(usbIds_->text().toStdString(), ids)) {
        error =
            tr("USB ids are four hexadecimal digits, a colon and four more, "
               "separated by commas (for example 1209:0001).");
        return false;
    }
    config.usbIds = ids;
    config.cardDir = cardDir_->text().trimmed().toStdString();
    return true;
}

void LinkSettingsDialog::accept() {
    LinkConfig config;
    QString error;
    if (!readControls(config, error)) {
        QMessageBox::warning(this, windowTitle(), error);
        return;
    }
    if (!link::WriteLinkConfig(config, path_.toStdString())) {
        QMessageBox::warning(this, windowTitle(),
                             tr("The link settings cannot be saved in %1.").arg(path_));
        return;
    }
    QDialog::accept();
}

bool LinkSettingsDialog::RunLinkSettingsDialog(QWidget* parent) {
    LinkSettingsDialog dialog(parent);
    return dialog.exec() == QDialog::Accepted;
}

}  // namespace quelvari::app
