// The syntax-test dialog, the pre-check, printing and the description dialog
// on the offscreen platform; and the printed pages as pictures: PDFs from the
// print-out painters, turned into images with pdftoppm, then searched for ink
// where none belongs. The transfer dialog against the in-process simulated
// instrument on the wall clock: opening connects and shows the memory, Start
// transfers on the worker thread while the window keeps handling events,
// Cancel stops and releases. The link settings dialog, which reads and writes
// the link's own settings file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPdfWriter>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "app/check/syntax_test_dialog.h"
#include "app/describe/description_dialog.h"
#include "app/link/link_settings_dialog.h"
#include "app/print/printing.h"
#include "app/transfer/transfer_dialog.h"
#include "check/print_layout.h"
#include "check/syntax_test.h"
#include "components/layouts.h"
#include "dialog_driver.h"
#include "link/instrument.h"
#include "link/simulator.h"
#include "link/transfer_job.h"
#include "model/encoding.h"
#include "model/procedure_file.h"
#include "model/record.h"
#include "render/print_render.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

ComponentRecord timeStep(const std::string& branch = "", std::uint16_t target = 0) {
    ComponentRecord r;
    r.setFormatMark(kCurrentFormatMark);
    r.setRecordMark(kRecordMarkMemory);
    r.setTypeCode('Z');
    r.setU8(layout::time::kWaitKind, layout::time::kKindTime);
    r.setU16(layout::time::kTimeFactor, 10);
    storeInputCondition(r, "B12");
    storeBranchCondition(r, branch);
    r.setGotoTarget(target);
    return r;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The protocol shows exactly the lines of the core's test (those the
// command-line check prints).
void ExpectProtocol(QListWidget* shown, const SyntaxTestResult& expected) {
    ASSERT_EQ(shown->count(), static_cast<int>(expected.lines.size()));
    for (int i = 0; i < shown->count(); ++i)
        EXPECT_EQ(shown->item(i)->text(), QString::fromStdString(cp1252ToUtf8(expected.lines[i])));
}

// The row of the protocol's finding on step 2, or -1.
int FindingOnStep2(QListWidget* shown) {
    for (int i = 0; i < shown->count(); ++i)
        if (shown->item(i)->text().startsWith(QStringLiteral("       2:")))
            return i;
    return -1;
}

class PrintDialogs : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        setLanguage(kEnglish);
    }
    void TearDown() override {
        SetPrintDialogSeam({});
        setLanguage(kGerman);
    }
    std::string path(const char* name) const { return dir.filePath(name).toStdString(); }
    // Writes `list` as `name` and opens it under that name; returns the path.
    std::string save(ProcedureList& list, const char* name) {
        list.documentPath = path(name);
        list.documentOpen = 1;
        EXPECT_TRUE(writeProcedure(list.documentPath, list).ok());
        return list.documentPath;
    }

    // Prints to `pdf` instead of asking, or cancels.
    void printTo(const QString& pdf, QPageLayout::Orientation orientation, bool cancel = false) {
        SetPrintDialogSeam([pdf, orientation, cancel](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(pdf);
            printer.setPageOrientation(orientation);
            return !cancel;
        });
    }

    QTemporaryDir dir;
};

TEST_F(PrintDialogs, SyntaxTestListsTheCoreProtocolAndLeadsToSteps) {
    ProcedureList list;
    list.appendRecord(timeStep());
    list.appendRecord(timeStep("B1", 9));  // GOTO to a step that does not exist
    list.appendRecord(timeStep());
    const std::string pad = save(list, "T.PAD");

    SyntaxTestDialog dialog(pad, {});
    // Localised, Print waits for a run.
    EXPECT_EQ(dialog.startButton()->text(), QStringLiteral("Start syntax check"));
    EXPECT_FALSE(dialog.printButton()->isEnabled());
    dialog.modeButton(kCheckPv6410)->setChecked(true);
    dialog.startButton()->click();
    EXPECT_TRUE(dialog.printButton()->isEnabled());
    EXPECT_EQ(LastCheckMode(), kCheckPv6410);

    ExpectProtocol(dialog.protocol(), RunSyntaxTest(pad, kCheckPv6410));

    // A double click on the head does nothing; on the GOTO finding it closes
    // the dialog with the file and the step.
    dialog.openLine(0);
    EXPECT_FALSE(dialog.chosen());
    const int gotoRow = FindingOnStep2(dialog.protocol());
    ASSERT_GE(gotoRow, 0);
    dialog.openLine(gotoRow);
    ASSERT_TRUE(dialog.chosen());
    EXPECT_EQ(dialog.chosen()->path, pad);
    EXPECT_EQ(dialog.chosen()->step, 2);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);

    // A cancelled file choice opens nothing.
    bool opened = false;
    RunSyntaxTestDialog(
        nullptr, [&](const std::string&, int) { opened = true; },
        [] { return std::optional<std::string>(); });
    EXPECT_FALSE(opened);
}

TEST_F(PrintDialogs, PreCheckRunsOnTheProcedureInMemory) {
    ProcedureList list;
    list.appendRecord(timeStep());
    list.appendRecord(timeStep());
    const std::string pad = save(list, "P.PAD");
    // An unsaved change: the last step now jumps nowhere.
    ComponentRecord& last = list.tail()->record;
    storeBranchCondition(last, "B1");
    last.setGotoTarget(7);
    list.modified = 1;
    SetLastCheckMode(kCheckTarvisel);

    std::vector<int> wentTo;
    QWidget parent;
    PreCheckDialog* dialog = RunPreCheck(&parent, list, [&](int step) { wentTo.push_back(step); });
    ASSERT_NE(dialog, nullptr);
    ExpectProtocol(dialog->protocol(), RunSyntaxTestInMemory(list, pad, kCheckTarvisel));
    const int row = FindingOnStep2(dialog->protocol());
    ASSERT_GE(row, 0);
    dialog->openLine(0);
    dialog->openLine(row);
    EXPECT_EQ(wentTo, std::vector<int>{2});
    // The procedure file was not saved for it.
    RecordFile onDisk;
    ASSERT_TRUE(readRecordFile(pad, onDisk).ok());
    EXPECT_FALSE(onDisk.records.back().hasBranch());
    // A second run reuses the window.
    EXPECT_EQ(RunPreCheck(&parent, list, {}), dialog);
}

TEST_F(PrintDialogs, PrintoutsReachThePrinter) {
    ProcedureList list;
    for (int i = 0; i < 13; ++i)
        list.appendRecord(timeStep());
    list.documentPath = path("P13.PAD");
    // Each returns the pages it printed; the pages in a PDF, from the same
    // painters, are tested through the command-line print.
    const QString pdf = dir.filePath("out.pdf"), protocol = dir.filePath("protocol.pdf");
    printTo(pdf, QPageLayout::Landscape);
    EXPECT_EQ(PrintProcedure(nullptr, list, kPrintNormal), 2);
    EXPECT_GT(QFileInfo(pdf).size(), 0);
    EXPECT_EQ(SharedPrinter().docName(), QStringLiteral("Quelvari- Document"));

    // The protocol goes to the same printer under its own document name; the
    // page arithmetic itself is the core's.
    printTo(protocol, QPageLayout::Portrait);
    const std::vector<std::string> lines = {"line 1", "line 2"};
    EXPECT_EQ(PrintProtocol(nullptr, lines), 1);
    EXPECT_GT(QFileInfo(protocol).size(), 0);
    EXPECT_EQ(SharedPrinter().docName(), QStringLiteral("QuelvariDoc"));

    // Cancel prints nothing.
    QFile::remove(pdf);
    printTo(pdf, QPageLayout::Portrait, true);
    EXPECT_EQ(PrintProtocol(nullptr, lines), 0);
    EXPECT_EQ(PrintProcedure(nullptr, list, kPrintNormal), 0);
    EXPECT_FALSE(QFile::exists(pdf));
}

TEST_F(PrintDialogs, DescriptionDialogEditsTheSideFile) {
    ProcedureList list;
    list.appendRecord(timeStep());
    const std::string pad = save(list, "D.PAD");
    EXPECT_TRUE(DescriptionAvailable(list));
    ProcedureList unsaved;
    unsaved.documentOpen = 1;
    unsaved.documentPath = path("NoName.PAD");
    EXPECT_FALSE(DescriptionAvailable(unsaved));
    EXPECT_FALSE(RunDescriptionDialog(nullptr, unsaved));
    // A side file that is no regular file (a FIFO would block its reader) is
    // reported with the loader's reason, whose other kinds are its own tests.
    save(list, "S.PAD");
    ASSERT_EQ(::mkfifo(path("S.TXT").c_str(), 0600), 0);
    QString shown;
    test::ReadNextBox(shown);
    EXPECT_FALSE(RunDescriptionDialog(nullptr, list));
    EXPECT_TRUE(shown.contains(QLatin1String("is not a regular file"))) << shown.toStdString();
    list.documentPath = pad;

    const std::string side = path("D.TXT");
    std::ofstream(side, std::ios::binary)
        << "[COMMENT]\r\nOld\r\n[TEXT]\r\nA\r\nB\r\n[VAR]\r\nZ3     (3)      Counter\r\n";
    DescriptionDialog dialog(side, {list.procedureHead.record});
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Description of the test procedure"));
    EXPECT_EQ(dialog.commentField()->text(), QStringLiteral("Old"));
    EXPECT_EQ(dialog.textField()->toPlainText(), QStringLiteral("A\nB"));
    // Description pane first: the list and its buttons hidden.
    EXPECT_TRUE(dialog.descriptionPane()->isChecked());
    EXPECT_TRUE(dialog.variableList()->isHidden());
    EXPECT_TRUE(dialog.button(describe_ids::kNew)->isHidden());
    dialog.showVariablesPane();
    EXPECT_TRUE(dialog.textField()->isHidden());
    EXPECT_FALSE(dialog.button(describe_ids::kNew)->isHidden());
    EXPECT_FALSE(dialog.button(describe_ids::kAutomatic)->isHidden());
    // Change and Delete only while a line is selected.
    EXPECT_TRUE(dialog.button(describe_ids::kChange)->isHidden());
    dialog.variableList()->setCurrentRow(0);
    EXPECT_FALSE(dialog.button(describe_ids::kChange)->isHidden());
    EXPECT_FALSE(dialog.button(describe_ids::kDelete)->isHidden());

    // The buttons run the core's Change, New, Automatic and Delete on the list.
    dialog.setVariableEditor([](std::string& name, std::string& description) {
        name = name.empty() ? "A1" : "Z4";
        description = "Cycles";
        return true;
    });
    dialog.changeVariable();
    EXPECT_EQ(dialog.variables().lines(), (std::vector<std::string>{"Z4     (?)      Cycles"}));
    dialog.newVariable();
    dialog.generateVariables();
    ASSERT_EQ(dialog.variables().size(), 3u);
    dialog.variableList()->setCurrentRow(0);
    dialog.deleteVariable();
    EXPECT_EQ(dialog.variableList()->currentRow(), 0);
    EXPECT_EQ(dialog.variableList()->item(0)->text(), QStringLiteral("B12    (12)     "));

    dialog.commentField()->setText(QStringLiteral("Neu geprüft"));
    dialog.textField()->setPlainText(QStringLiteral("L1\nL2"));
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(fileText(side),
              "[COMMENT]\r\nNeu gepr\xfc"
              "ft\r\n[TEXT]\r\nL1\r\nL2\r\n[VAR]\r\n"
              "B12    (12)     \r\nZ4     (?)      Cycles\r\n");
}

TEST_F(PrintDialogs, DescriptionDialogKeepsTheFileWhenTheTextDoesNotFitOrItIsReadOnly) {
    const std::string side = path("L.TXT");
    const std::string old = "[COMMENT]\r\n\r\n[TEXT]\r\n\r\n[VAR]\r\nB1     (1)      x\r\n";
    std::ofstream(side, std::ios::binary) << old;
    DescriptionDialog dialog(side, {});
    // 30 bytes of markers and 19 of the variable line leave 19,951.
    EXPECT_EQ(dialog.roomLabel()->text(), QStringLiteral("19951 characters left"));
    // Each line break takes two bytes of the file.
    dialog.textField()->setPlainText(QString(19940, QLatin1Char('t')) +
                                     QStringLiteral("\n\n\n\n\n\n"));
    EXPECT_EQ(dialog.roomLabel()->text(), QStringLiteral("-1 characters left"));
    QString shown;
    test::ReadNextBox(shown);
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(shown, QStringLiteral("The description is 1 characters too long to be read back "
                                    "whole (a line break counts as 2)."));
    EXPECT_EQ(fileText(side), old);
    // One character less fits and loads back whole.
    dialog.textField()->setPlainText(QString(19939, QLatin1Char('t')) +
                                     QStringLiteral("\n\n\n\n\n\n"));
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(fileText(side).size(), 20000u);
    EXPECT_EQ(LoadSideFile(side).content.variables.size(), 1u);

    // Read-only: the editing buttons are off and OK writes nothing. Root
    // writes past permission bits: the file is made immutable instead.
    const std::string full = fileText(side);
    const bool root = ::geteuid() == 0;
    if (root ? std::system(("chattr +i '" + side + "' 2>/dev/null").c_str()) != 0
             : ::chmod(side.c_str(), 0444) != 0)
        GTEST_SKIP() << "cannot make a file read-only here";
    {
        DescriptionDialog readOnly(side, {});
        for (std::uint32_t id :
             {1u, describe_ids::kNew, describe_ids::kChange, describe_ids::kDelete})
            EXPECT_FALSE(readOnly.button(id)->isEnabled()) << id;
        EXPECT_TRUE(readOnly.button(describe_ids::kAutomatic)->isEnabled());
        readOnly.commentField()->setText(QStringLiteral("Changed"));
        readOnly.accept();
        EXPECT_NE(readOnly.result(), QDialog::Accepted);
    }
    if (root) {
        EXPECT_EQ(std::system(("chattr -i '" + side + "'").c_str()), 0);
    }
    EXPECT_EQ(fileText(side), full);
}

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
    std::string longer = fileText(pad);
    for (int i = 0; i < 40; ++i)
        longer += longer.substr(longer.size() - 800);
    std::ofstream(pad, std::ios::binary) << longer;
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
    EXPECT_EQ(
        std::tuple(saved.kind, saved.device, saved.baudIndex, saved.slow, saved.usbIds.size()),
        std::tuple(link::LinkConfig::Kind::kSerial, "/dev/pts/7", 3, true, 2u));

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

constexpr int kPdfDpi = 300;
constexpr int kImageDpi = 150;
constexpr double kToImage = double(kImageDpi) / kPdfDpi;

// Page 1 of what `paint` prints on A4 paper of this orientation and margin,
// as a grey image at kImageDpi.
QImage Printed(QPageLayout::Orientation orientation, double marginMm,
               const std::function<void(QPdfWriter&)>& paint) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("page.pdf"));
    {
        QPdfWriter pdf(path);
        pdf.setResolution(kPdfDpi);
        pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), orientation,
                                      QMarginsF(marginMm, marginMm, marginMm, marginMm),
                                      QPageLayout::Millimeter));
        paint(pdf);
    }
    const std::string cmd = "pdftoppm -r " + std::to_string(kImageDpi) +
                            " -gray -png -f 1 -l 1 -singlefile '" + path.toStdString() + "' '" +
                            path.toStdString() + "'";
    if (std::system(cmd.c_str()) != 0)
        return {};
    return QImage(path + QStringLiteral(".png")).convertToFormat(QImage::Format_Grayscale8);
}

// Dark pixels (text, not the grey rules) in the image columns [x0, x1) and
// rows [y0, y1).
int Ink(const QImage& page, int x0, int x1, int y0, int y1, int below = 100) {
    int n = 0;
    for (int y = std::max(0, y0); y < std::min(page.height(), y1); ++y)
        for (int x = std::max(0, x0); x < std::min(page.width(), x1); ++x)
            n += qGray(page.pixel(x, y)) < below;
    return n;
}

TEST(PrintPages, CellsAreCutInsideTheirMarginAndRuledApart) {
    // Every cell's command lines and comment are far longer than the cell:
    // without the cut they run over the edge into the next cell.
    std::vector<ComponentRecord> records(12);
    for (ComponentRecord& r : records) {
        r.setTypeCode('D');
        r.setText(rec::kComment, std::string(50, 'W'));
        r.setText(152, std::string(70, 'M'));
        r.setText(152 + 80, std::string(70, 'M'));
    }
    const double marginMm = 10;
    double width = 0, height = 0;
    const QImage page = Printed(QPageLayout::Landscape, marginMm, [&](QPdfWriter& pdf) {
        width = pdf.width();
        height = pdf.height();
        EXPECT_EQ(PrintProcedureToDevice(pdf, records, kPrintNormal, "T.PAD"), 1);
    });
    ASSERT_FALSE(page.isNull());

    // The grid is the one the page arithmetic gives: 3 x 4 on landscape.
    const ProcedurePlan plan = PlanProcedurePrint(records.size(), width, height, kPrintNormal, "T");
    ASSERT_EQ(plan.pages.at(0).cells.size(), 12u);
    const double origin = marginMm / 25.4 * kImageDpi;
    const auto ix = [&](double x) { return static_cast<int>(origin + x * kToImage); };
    int inkedCells = 0, ruledEdges = 0;
    for (const ProcedureCell& cell : plan.pages[0].cells) {
        const Rect& r = cell.rect;
        const int left = ix(r.x), right = ix(r.x + r.width);
        const int top = ix(r.y), bottom = ix(r.y + r.height);
        inkedCells += Ink(page, left, right, top, bottom) > 0;
        // A band of two pixels on each side of the right edge stays clear of
        // text; between two cells the edge carries a rule.
        if (r.x + r.width < width * 0.9) {
            EXPECT_EQ(Ink(page, right - 3, right + 3, top, bottom), 0) << "step " << cell.step;
            ruledEdges += Ink(page, right - 1, right + 2, top + 10, top + 11, 250) > 0;
        }
    }
    EXPECT_EQ(inkedCells, 12);
    EXPECT_EQ(ruledEdges, 9);
}

TEST(PrintPages, ProtocolLinesStayInsideTheColumn) {
    // Lines far longer than the column: they end at its right edge x1 (with
    // an ellipsis), never beyond it; short lines are printed whole.
    std::vector<std::string> lines(6, std::string(240, 'X'));
    lines.push_back("*** PAD ***");
    ProtocolMetrics m;
    const QImage page = Printed(QPageLayout::Portrait, 0, [&](QPdfWriter& pdf) {
        m = ProtocolPrintMetrics(pdf);
        EXPECT_EQ(PaintProtocolPrint(pdf, lines), 1);
    });
    ASSERT_FALSE(page.isNull());
    const ProtocolPlan plan =
        PlanProtocolPrint(lines.size(), m.pageWidth, m.pageHeight, m.lineHeight);

    const int x0 = static_cast<int>(plan.x0 * kToImage);
    const int x1 = static_cast<int>(plan.x1 * kToImage);
    const int firstRow = static_cast<int>(plan.pages[0].lines.front().y * kToImage);
    const int rowHeight = static_cast<int>(m.lineHeight * kToImage);
    const int bodyEnd = firstRow + 7 * rowHeight;
    EXPECT_EQ(Ink(page, x1 + 2, page.width(), 0, page.height()), 0);
    // The long lines fill the column up to its edge.
    EXPECT_GT(Ink(page, x1 - rowHeight, x1 + 2, firstRow, firstRow + 6 * rowHeight), 0);
    EXPECT_GT(Ink(page, x0, x0 + rowHeight, firstRow + 6 * rowHeight, bodyEnd), 0);
}

}  // namespace
}  // namespace quelvari::app
