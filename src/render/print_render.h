// The two print-outs drawn on a paged device (a printer or a PDF writer):
// the procedure's component drawings in the grid of the page arithmetic, and
// the syntax-test protocol as text lines.
#pragma once

#include <QRectF>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/record.h"

class QPagedPaintDevice;
class QPainter;

namespace quelvari {

// Draws one component into `cell` (device units). `scale` maps the drawing's
// 640-unit cell height to the cell; `widthFactor` (page width x 0.001) sizes
// lines and fonts.
using CellPainter = std::function<void(QPainter& painter, const ComponentRecord& record,
                                       const QRectF& cell, double scale, double widthFactor)>;

// Prints every record on `device` (not yet painted on). The document name
// (text 3200) is the caller's to set on the device. Returns the number of
// pages printed; 0 when there was nothing to print or painting could not
// start.
int PaintProcedurePrint(QPagedPaintDevice& device, const std::vector<ComponentRecord>& records,
                        std::uint32_t printOption, const std::string& documentTitle,
                        const CellPainter& paintCell);

// The procedure print-out with the painter of the view: every record drawn
// into its cell (clipped to it) as the view shows its step.
int PrintProcedureToDevice(QPagedPaintDevice& device, const std::vector<ComponentRecord>& records,
                           std::uint32_t printOption, const std::string& documentTitle);

// Prints the protocol lines (Windows-1252) on `device`; its document name is
// "QuelvariDoc". The line height is the height of "1" in the device's default
// font; page height and width are those of the whole sheet. Returns the
// number of pages printed (0 when painting could not start).
int PaintProtocolPrint(QPagedPaintDevice& device, const std::vector<std::string>& lines);

// The line height and sheet size PaintProtocolPrint uses on `device`.
struct ProtocolMetrics {
    double lineHeight = 0;
    double pageWidth = 0;
    double pageHeight = 0;
};
ProtocolMetrics ProtocolPrintMetrics(QPagedPaintDevice& device);

}  // namespace quelvari
