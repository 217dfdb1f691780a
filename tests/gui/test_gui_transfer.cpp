// The transfer dialog against the in-process simulated instrument on the wall
// clock: opening connects and shows the memory, Start transfers on the worker
// thread while the window keeps handling events, Cancel stops and releases.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTimer>

#include <filesystem>

#include <QImage>

#include <fstream>

#include "app/transfer/transfer_dialog.h"
#include "check/syntax_test.h"
#include "link/instrument.h"
#include "link/simulator.h"
#include "link/transfer_job.h"
#include "render/picture_decoder.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

namespace fs = std::filesystem;

class TransferDialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("quelvari-transfer-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
            fs::copy_file(fs::path(QUELVARI_EXAMPLES) / "check-clean" / name, dir / name);
        pad = (dir / "CLEAN.PAD").string();
        card = (dir / "card").string();
    }
    void TearDown() override { fs::remove_all(dir); }

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

    fs::path dir;
    std::string pad, card;
    std::vector<std::shared_ptr<link::SimulatedInstrument>> sims;
    QStringList messages;
};

TEST_F(TransferDialogTest, OpensConnectedAndTransfersACheckedProcedure) {
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    auto d = open(settings());
    EXPECT_TRUE(messages.isEmpty()) << messages.join("|").toStdString();
    EXPECT_EQ(d->windowTitle(), QString::fromUtf8("Prüfablauf übertragen"));
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
    // The window goes on handling events while the worker sends.
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(10);
    EXPECT_TRUE(QTest::qWaitFor([&] { return d->progressBar()->isVisible(); }, 5000));
    ASSERT_TRUE(done.size() > 0 || done.wait(20000));
    EXPECT_GT(ticks, 10);
    EXPECT_EQ(done.front().at(0).toInt(), 0);
    EXPECT_TRUE(messages.isEmpty()) << messages.join("|").toStdString();
    EXPECT_TRUE(fs::exists(fs::path(card) / "P004.PAD"));
    EXPECT_TRUE(fs::exists(fs::path(card) / "P004.IR1"));
    EXPECT_EQ(d->statusLine()->text(), "Write IRQ1 -> CF");
    EXPECT_FALSE(d->statusLine()->isVisible());
    EXPECT_FALSE(d->progressBar()->isVisible());
    EXPECT_EQ(d->numberField()->value(), 5);  // the instrument's next free place
    EXPECT_TRUE(d->startButton()->isEnabled());
    d.reset();
    EXPECT_FALSE(sims[0]->selected());  // released when the dialog went
}

TEST_F(TransferDialogTest, CancelStopsBetweenBlocksAndReleases) {
    // A long procedure: 400 records of the checked one.
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    auto d = open(settings());
    // Re-check after making the procedure long, so the system file is newer.
    {
        const auto bytes = fs::file_size(pad);
        std::string data(bytes, '\0');
        FILE* f = std::fopen(pad.c_str(), "rb");
        ASSERT_EQ(std::fread(data.data(), 1, bytes, f), bytes);
        std::fclose(f);
        f = std::fopen(pad.c_str(), "ab");
        for (int i = 0; i < 40; ++i)
            std::fwrite(data.data() + bytes - 800, 1, 800, f);
        std::fclose(f);
    }
    QSignalSpy done(d.get(), &TransferDialog::finishedWork);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    ASSERT_TRUE(done.wait(5000));
    ASSERT_EQ(messages.size(), 1);  // saved after the check: run it again
    EXPECT_TRUE(messages.front().contains("90")) << messages.front().toStdString();

    RunSyntaxTest(pad, kCheckPv6410);
    messages.clear();
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return d->progressBar()->value() >= 5; }, 5000));
    QTest::mouseClick(d->cancelButton(), Qt::LeftButton);
    ASSERT_TRUE(done.wait(5000));
    EXPECT_TRUE(done.back().at(1).toBool());
    EXPECT_TRUE(messages.isEmpty());
    EXPECT_TRUE(d->isVisible());  // Cancel during a transfer only stops it
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_FALSE(fs::exists(fs::path(card) / "P001.PAD"));
}

TEST_F(TransferDialogTest, FullInstrumentKeepsStartDisabled) {
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    link::SimSettings s = settings();
    s.memory.procedureNumber = 0;
    auto d = open(s);
    EXPECT_EQ(d->memoryField(link::kFieldNumber)->text(), " voll");
    EXPECT_FALSE(d->startButton()->isEnabled());

    link::SimSettings other = settings();
    other.identity.model = link::kModel3310;
    auto d2 = open(other);
    EXPECT_FALSE(d2->startButton()->isEnabled());  // this model takes no transfer
}

}  // namespace
}  // namespace quelvari::app

namespace quelvari::render {
namespace {

TEST(PictureDecoder, ScalesLargePicturesIntoTheScreenAndRefusesOthers) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("quelvari-pic-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    QImage wide(800, 200, QImage::Format_RGB32);
    wide.fill(QColor(0, 0, 255));
    ASSERT_TRUE(wide.save(QString::fromStdString((dir / "wide.bmp").string()), "BMP"));
    QImage small(10, 20, QImage::Format_RGB32);
    small.fill(QColor(0, 255, 0));
    ASSERT_TRUE(small.save(QString::fromStdString((dir / "small.jpg").string()), "JPG"));
    { std::ofstream((dir / "broken.bmp").string()) << "BM not a picture"; }

    DecodedPicture p;
    ASSERT_TRUE(DecodePicture((dir / "wide.bmp").string(), 400, 300, p));
    EXPECT_EQ(p.width, 400);  // proportions kept: 800 x 200 becomes 400 x 100
    EXPECT_EQ(p.height, 100);
    ASSERT_EQ(p.rgb.size(), 3u * 400 * 100);
    EXPECT_EQ(p.rgb[2], 255);
    const auto screen = link::PackScreen(link::kModel6410, p.width, p.height, p.rgb.data(),
                                         3 * static_cast<std::size_t>(p.width));
    ASSERT_EQ(screen.size(), link::kScreenBufferSize);
    EXPECT_EQ(screen[0], 0x1F);  // blue in 5-6-5
    EXPECT_EQ(screen[1], 0x00);
    EXPECT_EQ(screen[2 * 400 * 100], 0xFF);  // below the picture: the preset

    ASSERT_TRUE(DecodePicture((dir / "small.jpg").string(), 400, 300, p));
    EXPECT_EQ(p.width, 10);  // small pictures stay as they are
    EXPECT_EQ(p.height, 20);
    EXPECT_GT(p.rgb[1], 200);

    EXPECT_FALSE(DecodePicture((dir / "broken.bmp").string(), 400, 300, p));
    EXPECT_FALSE(DecodePicture((dir / "missing.bmp").string(), 400, 300, p));
    fs::remove_all(dir);
}

}  // namespace
}  // namespace quelvari::render
