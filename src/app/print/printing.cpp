#include "app/print/printing.h"

#include <QDialogButtonBox>
#include <QPageSetupDialog>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>

#include "app/print/print_preview.h"
#include "app/qt_text.h"
#include "check/print_layout.h"
#include "render/print_render.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace {

PrintDialogSeam& dialogSeam() {
    static PrintDialogSeam seam;
    return seam;
}

bool askPrinter(QWidget* parent, QPrinter& printer, const std::function<void(QPrinter&)>& paint) {
    if (dialogSeam())
        return dialogSeam()(printer);
    QPrintDialog dialog(&printer, parent);
    // A Preview button shows the pages of this print-out first.
    if (auto* buttons = dialog.findChild<QDialogButtonBox*>()) {
        QPushButton* preview = buttons->addButton(LangQt(60424), QDialogButtonBox::ActionRole);
        preview->setObjectName(QStringLiteral("previewButton"));
        QObject::connect(preview, &QPushButton::clicked, &dialog,
                         [&dialog, &paint] { ShowPrintPreview(&dialog, paint); });
    }
    return dialog.exec() == QDialog::Accepted;
}

std::vector<ComponentRecord> recordsOf(const ProcedureList& list) {
    std::vector<ComponentRecord> records;
    if (list.componentCount == 0)
        return records;
    records.reserve(list.componentCount);
    for (const ComponentNode* node = &list.procedureHead; node; node = node->next)
        records.push_back(node->record);
    return records;
}

}  // namespace

QPrinter& SharedPrinter() {
    // Lives until the process ends: a printer must not outlive the
    // application object's teardown order, so it is never destroyed.
    static QPrinter* printer = new QPrinter(QPrinter::HighResolution);
    return *printer;
}

void SetPrintDialogSeam(PrintDialogSeam seam) {
    dialogSeam() = std::move(seam);
}

void RunPrinterSetup(QWidget* parent) {
    QPageSetupDialog dialog(&SharedPrinter(), parent);
    dialog.exec();
}

int PrintProcedure(QWidget* parent, const ProcedureList& list, std::uint32_t printOption) {
    QPrinter& printer = SharedPrinter();
    const auto preview = [&](QPrinter& p) {
        p.setDocName(LangQt(kTextDocumentName));
        PrintProcedureToDevice(p, recordsOf(list), printOption, list.documentPath);
    };
    if (!askPrinter(parent, printer, preview))
        return 0;
    printer.setDocName(LangQt(kTextDocumentName));
    return PrintProcedureToDevice(printer, recordsOf(list), printOption, list.documentPath);
}

int PrintProtocol(QWidget* parent, const std::vector<std::string>& lines) {
    QPrinter& printer = SharedPrinter();
    const auto preview = [&](QPrinter& p) {
        p.setDocName(QString::fromLatin1(kProtocolDocumentName));
        PaintProtocolPrint(p, lines);
    };
    if (!askPrinter(parent, printer, preview))
        return 0;
    printer.setDocName(QString::fromLatin1(kProtocolDocumentName));
    return PaintProtocolPrint(printer, lines);
}

}  // namespace quelvari::app
