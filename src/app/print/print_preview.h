// The print preview of both print-outs: the pages as the printer would get
// them, in Qt's preview dialog on the program's printer.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/procedure.h"

class QPrinter;
class QWidget;

namespace quelvari::app {

// Shows the preview of what `paint` prints; the dialog's own print button
// prints it.
void ShowPrintPreview(QWidget* parent, const std::function<void(QPrinter&)>& paint);
void PreviewProcedure(QWidget* parent, const ProcedureList& list, std::uint32_t printOption);
void PreviewProtocol(QWidget* parent, const std::vector<std::string>& lines);

// Test seam: when set, it gets the preview dialog instead of its exec().
void SetPreviewSeam(std::function<void(QWidget* dialog)> seam);

}  // namespace quelvari::app
