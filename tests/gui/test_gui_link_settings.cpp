// The link settings dialog reads and writes the link's own settings file.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>

#include "app/link/link_settings_dialog.h"

namespace quelvari::app {
namespace {

TEST(GuiLinkSettings, ShowsSavesAndRefusesBadIds) {
    const QString path = QDir::tempPath() + "/quelvari-gui-link.conf";
    QFile::remove(path);
    {
        LinkSettingsDialog dialog(nullptr, path);
        auto* kind = dialog.findChild<QComboBox*>("kind");
        auto* device = dialog.findChild<QComboBox*>("device");
        ASSERT_TRUE(kind && device);
        EXPECT_EQ(kind->currentData().toInt(), int(link::LinkConfig::Kind::kUsb));  // no file
        EXPECT_FALSE(device->isEnabled());
        kind->setCurrentIndex(1);
        EXPECT_TRUE(device->isEnabled());
        device->setCurrentText("/dev/pts/7");  // typed, not listed
        dialog.findChild<QComboBox*>("baud")->setCurrentIndex(3);
        dialog.findChild<QCheckBox*>("slow")->setChecked(true);

        dialog.findChild<QLineEdit*>("usbIds")->setText("12:34");
        link::LinkConfig config;
        QString error;
        EXPECT_FALSE(dialog.readControls(config, error));
        EXPECT_FALSE(error.isEmpty());
        dialog.findChild<QLineEdit*>("usbIds")->setText("1209:0001,abcd:0002");
        dialog.accept();
        EXPECT_EQ(dialog.result(), QDialog::Accepted);
    }
    const link::LinkConfig saved = link::ReadLinkConfig(path.toStdString());
    EXPECT_EQ(saved.kind, link::LinkConfig::Kind::kSerial);
    EXPECT_EQ(saved.device, "/dev/pts/7");
    EXPECT_EQ(saved.baudIndex, 3);
    EXPECT_TRUE(saved.slow);
    EXPECT_EQ(saved.usbIds.size(), 2u);

    // A setting the dialog does not show survives its save; the labels are the
    // program's own texts in the current language.
    ASSERT_TRUE(link::UpdateLinkConfig(path.toStdString(), [](link::LinkConfig& c) {
                    c.usbMap.request = 7;
                }).ok());
    LinkSettingsDialog again(nullptr, path);
    EXPECT_EQ(again.windowTitle(), QString::fromUtf8("Verbindung zum Messgerät"));
    EXPECT_EQ(again.findChild<QComboBox*>("device")->currentText(), "/dev/pts/7");
    EXPECT_EQ(again.findChild<QComboBox*>("kind")->currentText(),
              QString::fromUtf8("Serielle Schnittstelle"));
    again.accept();
    EXPECT_EQ(link::ReadLinkConfig(path.toStdString()).usbMap.request, 7);
    QFile::remove(path);
}

}  // namespace
}  // namespace quelvari::app
