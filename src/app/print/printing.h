// Printing from the editor: the procedure print-out (menu Print), the
// protocol print-out (the syntax-test dialog's Print button) and the printer
// set-up. One printer object lives as long as the program, so the printer,
// paper and orientation chosen in the set-up are the ones the print-outs use.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/procedure.h"

class QPrinter;
class QWidget;

namespace quelvari::app {

// The program's printer.
QPrinter& SharedPrinter();

// Test seam: when set, it stands in for the print dialog; it may change the
// printer (an output file, say) and returns whether to print.
using PrintDialogSeam = std::function<bool(QPrinter& printer)>;
void SetPrintDialogSeam(PrintDialogSeam seam);

// Printer set-up (32774): the platform's page set-up dialog on the printer.
void RunPrinterSetup(QWidget* parent);

// Print (32773): the print dialog, then every component of `list` in the grid
// of `printOption` (0 normal, 1 extended). Cancel prints nothing. Returns the
// number of pages printed.
int PrintProcedure(QWidget* parent, const ProcedureList& list, std::uint32_t printOption);

// Print of the syntax-test dialog: the print dialog, then the protocol lines
// (Windows-1252). Returns the number of pages printed.
int PrintProtocol(QWidget* parent, const std::vector<std::string>& lines);

}  // namespace quelvari::app
