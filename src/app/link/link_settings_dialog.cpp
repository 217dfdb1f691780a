#include "app/link/link_settings_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSerialPortInfo>

#include "link/link_texts.h"
#include "model/encoding.h"
#include "texts/texts.h"

namespace quelvari::app {

using link::LinkConfig;

namespace {

QString Own(std::uint32_t id) {
    return QString::fromStdString(cp1252ToUtf8(LangText(id)));
}

}  // namespace

LinkSettingsDialog::LinkSettingsDialog(QWidget* parent, const QString& settingsPath)
    : QDialog(parent),
      path_(settingsPath.isEmpty() ? QString::fromStdString(link::LinkConfigPath())
                                   : settingsPath) {
    setWindowTitle(Own(link::kTextLinkTitle));
    setObjectName("LinkSettingsDialog");
    const LinkConfig config = link::ReadLinkConfig(path_.toStdString());

    kind_ = new QComboBox(this);
    kind_->setObjectName("kind");
    kind_->addItem(Own(link::kTextLinkUsb), int(LinkConfig::Kind::kUsb));
    kind_->addItem(Own(link::kTextLinkSerial), int(LinkConfig::Kind::kSerial));
    kind_->addItem(Own(link::kTextLinkSimulated), int(LinkConfig::Kind::kSimulated));
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

    slow_ = new QCheckBox(Own(link::kTextLinkSlow), this);
    slow_->setObjectName("slow");
    slow_->setChecked(config.slow);

    usbIds_ = new QLineEdit(QString::fromStdString(link::FormatUsbIds(config.usbIds)), this);
    usbIds_->setObjectName("usbIds");
    usbIds_->setPlaceholderText("vvvv:pppp, vvvv:pppp");

    cardDir_ = new QLineEdit(QString::fromStdString(config.cardDir), this);
    cardDir_->setObjectName("cardDir");
    cardDir_->setPlaceholderText(QString::fromStdString(link::DefaultCardDir()));

    auto* form = new QFormLayout(this);
    form->addRow(Own(link::kTextLinkKindLabel), kind_);
    form->addRow(Own(link::kTextLinkPortLabel), device_);
    form->addRow(Own(link::kTextLinkBaudLabel), baud_);
    form->addRow(QString(), slow_);
    form->addRow(Own(link::kTextLinkIdsLabel), usbIds_);
    form->addRow(Own(link::kTextLinkCardLabel), cardDir_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    // Cancel in the current language, as every dialog of the program has it.
    buttons->button(QDialogButtonBox::Cancel)
        ->setText(QString::fromStdString(cp1252ToUtf8(ControlText(2))));
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
    config.kind = LinkConfig::Kind(kind_->currentData().toInt());
    const QString device = device_->currentText().trimmed();
    if (config.kind == LinkConfig::Kind::kSerial && device.isEmpty()) {
        error = Own(link::kTextLinkNoPort);
        return false;
    }
    config.device = device.toStdString();
    config.baudIndex = static_cast<std::uint16_t>(baud_->currentIndex());
    config.slow = slow_->isChecked();
    std::vector<link::UsbId> ids;
    if (!link::ParseUsbIds(usbIds_->text().toStdString(), ids)) {
        error = Own(link::kTextLinkBadIds);
        return false;
    }
    config.usbIds = ids;
    config.cardDir = cardDir_->text().trimmed().toStdString();
    return true;
}

void LinkSettingsDialog::accept() {
    LinkConfig checked;
    QString error;
    if (!readControls(checked, error)) {
        QMessageBox::warning(this, windowTitle(), error);
        return;
    }
    // The settings this dialog does not show (the request mapping) stay as
    // the file has them at the moment of saving.
    const Status saved = link::UpdateLinkConfig(path_.toStdString(), [&](LinkConfig& config) {
        QString ignored;
        readControls(config, ignored);
    });
    if (!saved.ok()) {
        const std::string text =
            link::TextWith(link::kTextLinkNotSaved, {path_.toStdString(), saved.detail()});
        QMessageBox::warning(this, windowTitle(), QString::fromStdString(cp1252ToUtf8(text)));
        return;
    }
    QDialog::accept();
}

bool LinkSettingsDialog::RunLinkSettingsDialog(QWidget* parent) {
    LinkSettingsDialog dialog(parent);
    return dialog.exec() == QDialog::Accepted;
}

}  // namespace quelvari::app
