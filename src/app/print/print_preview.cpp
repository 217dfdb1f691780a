#include "app/print/print_preview.h"

#include <QPrintPreviewDialog>
#include <QPrinter>

#include "app/print/printing.h"
#include "app/qt_text.h"
#include "check/print_layout.h"
#include "render/print_render.h"

namespace quelvari::app {
namespace {

std::function<void(QWidget*)>& previewSeam() {
    static std::function<void(QWidget*)> seam;
    return seam;
}

}  // namespace

void SetPreviewSeam(std::function<void(QWidget* dialog)> seam) {
    previewSeam() = std::move(seam);
}

void ShowPrintPreview(QWidget* parent, const std::function<void(QPrinter&)>& paint) {
    QPrintPreviewDialog dialog(&SharedPrinter(), parent);
    dialog.setObjectName(QStringLiteral("printPreview"));
    dialog.setWindowTitle(LangQt(60424));
    // Most of the window, so that a page can be read.
    if (parent)
        dialog.resize(parent->window()->size() * 0.9);
    QObject::connect(&dialog, &QPrintPreviewDialog::paintRequested, &dialog,
                     [&paint](QPrinter* printer) { paint(*printer); });
    if (previewSeam())
        previewSeam()(&dialog);
    else
        dialog.exec();
}

void PreviewProcedure(QWidget* parent, const ProcedureList& list, std::uint32_t printOption) {
    std::vector<ComponentRecord> records;
    std::uint32_t n = 0;
    for (const ComponentNode* node = &list.procedureHead; node && n < list.componentCount;
         node = node->next, ++n)
        records.push_back(node->record);
    const std::string title = list.documentPath;
    ShowPrintPreview(parent, [&](QPrinter& printer) {
        printer.setDocName(LangQt(kTextDocumentName));
        PrintProcedureToDevice(printer, records, printOption, title);
    });
}

void PreviewProtocol(QWidget* parent, const std::vector<std::string>& lines) {
    ShowPrintPreview(parent, [&](QPrinter& printer) {
        printer.setDocName(QString::fromLatin1(kProtocolDocumentName));
        PaintProtocolPrint(printer, lines);
    });
}

}  // namespace quelvari::app
