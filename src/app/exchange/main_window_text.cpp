// File > Export text form and Import text form, and the Variables panel's
// link to the main window.
#include <QFileDialog>
#include <QMessageBox>
#include <QSaveFile>

#include "app/exchange/variables_panel.h"
#include "app/main_window.h"
#include "app/procedure_view.h"
#include "app/qt_text.h"
#include "exchange/procedure_text.h"
#include "model/record.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace {

constexpr std::uint32_t kExportTitle = 60600;
constexpr std::uint32_t kImportTitle = 60601;
constexpr std::uint32_t kFilter = 60606;
constexpr std::uint32_t kUnreadable = 60607;
constexpr std::uint32_t kUnwritable = 60608;

QString fileName(std::string path) {
    return QString::fromLocal8Bit(stripFileName(path).c_str());
}

}  // namespace

void MainWindow::fileExportText() {
    if (!list_.documentOpen)
        return;
    QString suggestion = fileName(list_.documentPath);
    suggestion = suggestion.left(suggestion.lastIndexOf(QLatin1Char('.'))) + QStringLiteral(".txt");
    const QString path =
        QFileDialog::getSaveFileName(this, LangQt(kExportTitle), suggestion, LangQt(kFilter));
    if (path.isEmpty())
        return;
    exportTextPath(path);
}

bool MainWindow::exportTextPath(const QString& path) {
    const std::string text = exchange::ExportText(exchange::ListRecords(list_),
                                                  fileName(list_.documentPath).toStdString());
    QSaveFile file(path);
    // Every write must be whole before the file replaces the old one; the
    // reason is taken from the failing step.
    bool written = file.open(QIODevice::WriteOnly) &&
                   file.write(text.data(), static_cast<qint64>(text.size())) ==
                       static_cast<qint64>(text.size()) &&
                   file.flush();
    QString reason = file.errorString();
    if (!written)
        file.cancelWriting();
    else if (!file.commit()) {
        written = false;
        reason = file.errorString();
    }
    if (!written)
        QMessageBox::warning(
            this, LangQt(3201),
            LangQt(kUnwritable) + QStringLiteral("\n") + path + QStringLiteral(": ") + reason);
    return written;
}

void MainWindow::fileImportText() {
    const QString path =
        QFileDialog::getOpenFileName(this, LangQt(kImportTitle), QString(), LangQt(kFilter));
    if (path.isEmpty())
        return;
    importTextPath(path);
}

bool MainWindow::importTextPath(const QString& path) {
    // The text is read first: a text that cannot be read changes nothing.
    const exchange::ImportResult result =
        exchange::ImportTextFile(QFile::encodeName(path).toStdString());
    if (!result.ok()) {
        const exchange::TextError& e = result.errors.front();
        QMessageBox::warning(
            this, LangQt(3201),
            LangQt(kUnreadable).replace(QStringLiteral("%d"), QString::number(e.line)) +
                QStringLiteral("\n") +
                QString::fromStdString(exchange::ExpectedText(e, language())));
        return false;
    }
    if (!files_.askSaveChanges())
        return false;
    // The imported steps become a new procedure that is not saved yet.
    exchange::FillList(list_, result.records);
    list_.documentOpen = 1;
    list_.oldFormat = 0;
    list_.modified = 1;
    list_.documentPath = "NoName.PAD";
    list_.lastPath.clear();
    edits_.undoStack().clear();
    files_.showCount();
    files_.setTitle(list_.documentPath);
    view_->update();
    updateCommands();
    return true;
}

void MainWindow::goToVariableStep(int step) {
    edits_.goTo(std::to_string(step));
    view_->update();
    updateCommands();
}

}  // namespace quelvari::app
