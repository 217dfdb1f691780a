// The transfer dialog against the in-process simulated instrument on the wall
// clock: opening connects and shows the memory, Start transfers on the worker
// thread while the window keeps handling events, Cancel stops and releases.
// The link settings dialog, which reads and writes the link's own settings
// file.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>
#include <fstream>

#include "app/link/link_settings_dialog.h"
#include "app/transfer/transfer_dialog.h"
#include "check/syntax_test.h"
#include "link/instrument.h"
#include "link/simulator.h"
#include "link/transfer_job.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

namespace fs = std::filesystem;

class TransferDialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
            fs::copy_file(fs::path(QUELVARI_EXAMPLES) / "check-clean" / name, dir / name);
        // Checked: the system file the transfer needs is there.
        ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    }

    std::unique_ptr<TransferDialog> open(const link::SimSettings& settings) {
        auto d = std::make_unique<TransferDialog>(nullptr, pad, [this, settings](link::Link& l) {
            sims = link::AttachSimulatedUsb(l, settings);
        });
        d->showMessage = [this](const QString&, const QString& text) { messages << text; };
        QSignalSpy done(d.get(), &TransferDialog::finishedWork);
        d->show();
        EXPECT_TRUE(done.wait(5000));
        return d;
    }
    link::SimSettings settings() const {
        link::SimSettings s = link::DefaultSimSettings();
        s.cardDir = card;
        return s;
    }

    QTemporaryDir tmp;
    fs::path dir = tmp.path().toStdString();
    std::string pad = (dir / "CLEAN.PAD").string(), card = (dir / "card").string();
    std::vector<std::shared_ptr<link::SimulatedInstrument>> sims;
    QStringList messages;
};

TEST_F(TransferDialogTest, OpensConnectedTransfersAndCancelStopsTheNextTransfer) {
    auto d = open(settings());
    EXPECT_TRUE(messages.isEmpty()) << messages.join("|").toStdString();
    EXPECT_TRUE(d->fastPictures()->isChecked());
    EXPECT_EQ(d->memoryField(link::kFieldTotal)->text(), "    1024 MB");
    EXPECT_EQ(d->numberField()->value(), 1);
    EXPECT_NE(d->needField(0)->text(), "???");
    ASSERT_TRUE(d->startButton()->isEnabled());
    EXPECT_FALSE(d->progressBar()->isVisible());

    QSignalSpy done(d.get(), &TransferDialog::finishedWork);
    d->numberField()->setValue(4);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    EXPECT_TRUE(d->busy());
    EXPECT_FALSE(d->startButton()->isEnabled());
    // The window handles events while the worker sends: the progress shows.
    EXPECT_TRUE(QTest::qWaitFor([&] { return d->progressBar()->isVisible(); }, 5000));
    ASSERT_TRUE(done.size() > 0 || done.wait(20000));
    EXPECT_EQ(done.front().at(0).toInt(), 0);
    EXPECT_TRUE(fs::exists(fs::path(card) / "P004.PAD"));
    EXPECT_TRUE(fs::exists(fs::path(card) / "P004.IR1"));
    // Completion in the status line; Cancel now closes.
    EXPECT_EQ(d->statusLine()->text(), QString::fromUtf8("Übertragung beendet."));
    EXPECT_TRUE(d->statusLine()->isVisible());
    EXPECT_FALSE(d->progressBar()->isVisible());
    EXPECT_EQ(d->cancelButton()->text(), QString::fromUtf8("Schließen"));
    EXPECT_EQ(d->numberField()->value(), 5);  // the instrument's next free place
    ASSERT_TRUE(d->startButton()->isEnabled());

    // A longer procedure, checked again. Cancel during its transfer only
    // stops it: no message, the dialog stays open, the instrument is released.
    {
        std::ifstream in(pad, std::ios::binary);
        const std::string data{std::istreambuf_iterator<char>(in), {}};
        std::ofstream out(pad, std::ios::binary | std::ios::app);
        for (int i = 0; i < 40; ++i)
            out.write(data.data() + data.size() - 800, 800);
    }
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    EXPECT_EQ(d->cancelButton()->text(), QStringLiteral("Abbrechen"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return d->progressBar()->value() >= 5; }, 5000));
    QTest::mouseClick(d->cancelButton(), Qt::LeftButton);
    ASSERT_TRUE(done.wait(5000));
    EXPECT_TRUE(done.back().at(1).toBool());
    EXPECT_TRUE(messages.isEmpty()) << messages.join("|").toStdString();
    EXPECT_TRUE(d->isVisible());
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_FALSE(fs::exists(fs::path(card) / "P005.PAD"));
}

TEST_F(TransferDialogTest, LostFullOrRefusingInstrumentsAreToldAndKeepStartDisabled) {
    auto d = open(settings());
    // The instrument goes away after the connect and "pI" (4 requests), "pI",
    // the header and two blocks.
    sims[0]->settings().faults.goneAfter = 8;
    QSignalSpy done(d.get(), &TransferDialog::finishedWork);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    ASSERT_TRUE(done.wait(10000));
    EXPECT_EQ(done.back().at(0).toInt(), 79);
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages.front().contains("FEHLER 79")) << messages.join("|").toStdString();
    EXPECT_TRUE(messages.front().contains("No such device")) << messages.front().toStdString();

    // A refused selection: the connect fails, and "pI" is sent all the same.
    messages.clear();
    link::SimSettings s = settings();
    s.faults.refuseSelection = true;
    d = open(s);
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages.front().contains("81")) << messages.front().toStdString();
    EXPECT_GT(sims[0]->counts().count("pI"), 0u);
    EXPECT_FALSE(d->startButton()->isEnabled());

    // Full (procedure number 0), and a model that takes no transfer.
    s = settings();
    s.memory.procedureNumber = 0;
    d = open(s);
    EXPECT_EQ(d->memoryField(link::kFieldNumber)->text(), " voll");
    EXPECT_FALSE(d->startButton()->isEnabled());
    // Nothing stays selected when the dialog goes.
    EXPECT_TRUE(sims[0]->selected());
    d.reset();
    EXPECT_FALSE(sims[0]->selected());
    s = settings();
    s.identity.model = link::kModel3310;
    d = open(s);
    EXPECT_FALSE(d->startButton()->isEnabled());
}

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
