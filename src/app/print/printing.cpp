#include "app/print/printing.h"

#include <QPageSetupDialog>
#include <QPrintDialog>
#include <QPrinter>

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

bool askPrinter(QWidget* parent, QPrinter& printer) {
    if (dialogSeam())
        return dialogSeam()(printer);
    QPrintDialog dialog(&printer, parent);
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
    if (!askPrinter(parent, printer))
        return 0;
    printer.setDocName(LangQt(kTextDocumentName));
    return PrintProcedureToDevice(printer, recordsOf(list), printOption, list.documentPath);
}

int PrintProtocol(QWidget* parent, const std::vector<std::string>& lines) {
    QPrinter& printer = SharedPrinter();
    if (!askPrinter(parent, printer))
        return 0;
    printer.setDocName(QString::fromLatin1(kProtocolDocumentName));
    return PaintProtocolPrint(printer, lines);
}

}  // namespace quelvari::app
