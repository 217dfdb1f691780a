// quelvari-editor-bench: speed figures of the editor window, printed as
// quelvari-bench prints them (tools/bench/figures.h), each a ratio to a floor
// measured side by side in the same run.
//
//   startup_ratio       a fresh editor process from its start to the end of
//                       its first frame with the sample open, against a bare
//                       QMainWindow process that draws one line of text in
//                       the application font
//   startup_drawing_ratio
//                       the same start against a bare QMainWindow process
//                       that draws what the editor's first frame draws (its
//                       text runs and images, recorded from the editor)
//   edit_repaint_ratio  one Insert and one Delete at 10,000 steps, each with
//                       its repaint and the event processing after it, per
//                       edit, against a bare repaint of what the user sees
//                       (the view and the step list) with the event
//                       processing after it
//   print_ratio         the print-out of 1,000 components of every type to
//                       PDF, against a bare PDF writer that draws the same
//                       text runs and images (recorded from the print-out)
//                       without our layout
//   list_open_ratio     opening 65,535 steps and showing the last row of the
//                       step list, against the same open with the list hidden
//   move_repaint_ratio  a Move Down (or Up) of one step at 10,000 steps with
//                       the repaint of view and list, against a bare repaint
//                       of both
//
// Names of figures given on the command line (startup, edit, print, list,
// move) run only those. Without a display the offscreen platform is used.
#include <unistd.h>

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <QLine>
#include <QMainWindow>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPdfWriter>
#include <QPen>
#include <QProcess>
#include <QTextItem>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/editor_extras.h"
#include "app/first_frame.h"
#include "app/main_window.h"
#include "app/procedure_view.h"
#include "app/step_list.h"
#include "components/catalogue.h"
#include "figures.h"
#include "model/procedure_file.h"
#include "render/print_render.h"
#include "render/resources.h"

namespace {

using quelvari::bench::Ratios;
using quelvari::bench::Report;
using quelvari::bench::ReportCount;
using quelvari::bench::Runs;

// What a print-out draws that a PDF writer must draw too: its text runs and
// images, page by page, in device coordinates.
struct Drawn {
    struct Text {
        QPointF at;
        QFont font;
        QString text;
    };
    struct Image {
        QRectF rect;
        QImage image;
    };
    struct Page {
        std::vector<Text> texts;
        std::vector<Image> images;
    };
    std::vector<Page> pages{1};
};

// A paint engine that only records text runs and images. The print-outs
// translate but never scale, so recording the translation is enough.
class RecordingEngine : public QPaintEngine {
  public:
    explicit RecordingEngine(Drawn& drawn) : QPaintEngine(AllFeatures), drawn_(drawn) {}
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState& changed) override {
        if (changed.state() & DirtyTransform)
            transform_ = changed.transform();
    }
    void drawTextItem(const QPointF& at, const QTextItem& item) override {
        drawn_.pages.back().texts.push_back({transform_.map(at), item.font(), item.text()});
    }
    void drawImage(const QRectF& rect, const QImage& image, const QRectF&,
                   Qt::ImageConversionFlags) override {
        drawn_.pages.back().images.push_back({transform_.mapRect(rect), image});
    }
    void drawPixmap(const QRectF& rect, const QPixmap& pixmap, const QRectF&) override {
        drawn_.pages.back().images.push_back({transform_.mapRect(rect), pixmap.toImage()});
    }
    // Lines, rectangles and paths are our layout's, not the floor's.
    void drawPath(const QPainterPath&) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}

  private:
    Drawn& drawn_;
    QTransform transform_;
};

// Called from a floor's paint: once the first frame is done, says when (as
// the editor does under QUELVARI_QUIT_AFTER_PAINT), `excluded` earlier, and
// quits.
void FirstFrameDone(std::chrono::nanoseconds excluded = {}) {
    QTimer::singleShot(0, qApp, [excluded] { quelvari::app::SayFirstFrameAndQuit(excluded); });
}

// The floor of the start-up: a window that draws one line of text in the
// application font (so it pays the font set-up every real window pays) and
// quits once it has painted.
class BareView : public QWidget {
  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.drawText(20, 40, QStringLiteral("Quelvari"));
        FirstFrameDone();
    }
};

int RunBare(int argc, char** argv) {
    QApplication app(argc, argv);
    QMainWindow window;
    window.setCentralWidget(new BareView);
    window.resize(1000, 720);
    window.show();
    return app.exec();
}

// One painting call of a recorded window frame, with the painter state it
// ran in: a text run, an image, a path or a polygon.
struct FrameOp {
    enum Kind : qint32 { Text, Image, Path, Polygon, Rects, Lines, IntRects, IntLines };
    qint32 kind = Text;
    QTransform transform;
    QPen pen;
    QBrush brush;
    qint32 hints = 0;
    QPointF at;  // Text
    QFont font;
    QString text;
    QRectF rect;  // Image
    QImage image;
    QPainterPath path;  // Path
    QPolygonF polygon;  // Polygon
    qint32 mode = 0;
    QList<QRectF> rects;    // Rects
    QList<QLineF> lines;    // Lines
    QList<QRect> intRects;  // IntRects
    QList<QLine> intLines;  // IntLines
};

// Records every call of a window's paint, so that the replay floor draws the
// same text runs, images, lines, frames and fills the window drew.
class FrameEngine : public QPaintEngine {
  public:
    explicit FrameEngine(std::vector<FrameOp>& ops) : QPaintEngine(AllFeatures), ops_(ops) {}
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState& changed) override {
        const QPaintEngine::DirtyFlags flags = changed.state();
        if (flags & DirtyTransform)
            state_.transform = changed.transform();
        if (flags & DirtyPen)
            state_.pen = changed.pen();
        if (flags & DirtyBrush)
            state_.brush = changed.brush();
        if (flags & DirtyHints)
            state_.hints = static_cast<qint32>(changed.renderHints());
    }
    void drawTextItem(const QPointF& at, const QTextItem& item) override {
        FrameOp& op = add(FrameOp::Text);
        op.at = at;
        op.font = item.font();
        op.text = item.text();
    }
    void drawImage(const QRectF& rect, const QImage& image, const QRectF& source,
                   Qt::ImageConversionFlags) override {
        FrameOp& op = add(FrameOp::Image);
        op.rect = rect;
        op.image = image.copy(source.toAlignedRect());
    }
    void drawPixmap(const QRectF& rect, const QPixmap& pixmap, const QRectF& source) override {
        drawImage(rect, pixmap.toImage(), source, Qt::AutoColor);
    }
    void drawPath(const QPainterPath& path) override { add(FrameOp::Path).path = path; }
    // Rectangles and lines stay what they are, so that the replay takes the
    // raster engine's fast paths as the window did.
    void drawRects(const QRectF* rects, int count) override {
        add(FrameOp::Rects).rects = QList<QRectF>(rects, rects + count);
    }
    void drawRects(const QRect* rects, int count) override {
        add(FrameOp::IntRects).intRects = QList<QRect>(rects, rects + count);
    }
    void drawLines(const QLineF* lines, int count) override {
        add(FrameOp::Lines).lines = QList<QLineF>(lines, lines + count);
    }
    void drawLines(const QLine* lines, int count) override {
        add(FrameOp::IntLines).intLines = QList<QLine>(lines, lines + count);
    }
    void drawPolygon(const QPointF* points, int count, PolygonDrawMode mode) override {
        FrameOp& op = add(FrameOp::Polygon);
        op.polygon = QPolygonF(QList<QPointF>(points, points + count));
        op.mode = mode;
    }

  private:
    FrameOp& add(FrameOp::Kind kind) {
        ops_.push_back(state_);
        ops_.back().kind = kind;
        return ops_.back();
    }

    std::vector<FrameOp>& ops_;
    FrameOp state_;
};

// A screen-like paint device whose painting is recorded.
class FrameDevice : public QPaintDevice {
  public:
    FrameDevice(QSize size, std::vector<FrameOp>& ops) : size_(size), engine_(ops) {}
    QPaintEngine* paintEngine() const override { return &engine_; }

  protected:
    int metric(PaintDeviceMetric m) const override {
        switch (m) {
            case PdmWidth:
                return size_.width();
            case PdmHeight:
                return size_.height();
            case PdmDepth:
                return 32;
            case PdmDevicePixelRatio:
                return 1;
            case PdmDevicePixelRatioScaled:
                return static_cast<int>(devicePixelRatioFScale());
            case PdmNumColors:
                return INT_MAX;
            default:
                return 96;  // resolutions; physical sizes follow from 96 dpi
        }
    }

  private:
    QSize size_;
    mutable FrameEngine engine_;
};

// A recorded frame in a file the floor reads without decoding anything:
// fonts as their descriptions, images as raw pixels.
void SaveFrame(const std::vector<FrameOp>& ops, const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        std::exit(1);
    QDataStream out(&file);
    out << qint32(ops.size());
    for (const FrameOp& op : ops) {
        out << op.kind << op.transform << op.pen << op.brush << op.hints;
        switch (op.kind) {
            case FrameOp::Text:
                out << op.at << op.font << op.text;
                break;
            case FrameOp::Image: {
                const QImage image = op.image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
                out << op.rect << qint32(image.width()) << qint32(image.height())
                    << QByteArray(reinterpret_cast<const char*>(image.constBits()),
                                  static_cast<qsizetype>(image.sizeInBytes()));
                break;
            }
            case FrameOp::Path:
                out << op.path;
                break;
            case FrameOp::Rects:
                out << op.rects;
                break;
            case FrameOp::Lines:
                out << op.lines;
                break;
            case FrameOp::IntRects:
                out << op.intRects;
                break;
            case FrameOp::IntLines:
                out << op.intLines;
                break;
            default:
                out << op.polygon << op.mode;
        }
    }
}

std::vector<FrameOp> LoadFrame(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        std::exit(1);
    QDataStream in(&file);
    qint32 count = 0;
    in >> count;
    std::vector<FrameOp> ops(static_cast<std::size_t>(std::max(count, 0)));
    for (FrameOp& op : ops) {
        in >> op.kind >> op.transform >> op.pen >> op.brush >> op.hints;
        switch (op.kind) {
            case FrameOp::Text:
                in >> op.at >> op.font >> op.text;
                break;
            case FrameOp::Image: {
                qint32 width = 0, height = 0;
                QByteArray bits;
                in >> op.rect >> width >> height >> bits;
                op.image = QImage(width, height, QImage::Format_ARGB32_Premultiplied);
                if (op.image.sizeInBytes() != bits.size())
                    std::exit(1);
                std::memcpy(op.image.bits(), bits.constData(),
                            static_cast<std::size_t>(bits.size()));
                break;
            }
            case FrameOp::Path:
                in >> op.path;
                break;
            case FrameOp::Rects:
                in >> op.rects;
                break;
            case FrameOp::Lines:
                in >> op.lines;
                break;
            case FrameOp::IntRects:
                in >> op.intRects;
                break;
            case FrameOp::IntLines:
                in >> op.intLines;
                break;
            default:
                in >> op.polygon >> op.mode;
        }
    }
    if (in.status() != QDataStream::Ok)
        std::exit(1);
    return ops;
}

// The second floor of the start-up: a bare window that makes the painting
// calls of the editor's first frame (every text run in its font, every
// picture and icon, every line, frame and fill), recorded from the editor's
// window, and quits after that paint. It pays every font, glyph and pixel the
// editor pays, but none of our widgets, model or layout.
class ReplayView : public QWidget {
  public:
    // `reading` is the time the recording took to read, which is not part of
    // the floor.
    ReplayView(std::vector<FrameOp> ops, std::chrono::nanoseconds reading)
        : ops_(std::move(ops)), reading_(reading) {}

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        for (const FrameOp& op : ops_) {
            painter.setTransform(op.transform);
            // The hints as recorded, those not recorded off.
            const QPainter::RenderHints hints(op.hints);
            painter.setRenderHints(painter.renderHints() & ~hints, false);
            painter.setRenderHints(hints);
            painter.setPen(op.pen);
            painter.setBrush(op.brush);
            switch (op.kind) {
                case FrameOp::Text:
                    painter.setFont(op.font);
                    painter.drawText(op.at, op.text);
                    break;
                case FrameOp::Image:
                    painter.drawImage(op.rect, op.image);
                    break;
                case FrameOp::Path:
                    painter.drawPath(op.path);
                    break;
                case FrameOp::Rects:
                    rects(painter, op, op.rects);
                    break;
                case FrameOp::Lines:
                    painter.drawLines(op.lines);
                    break;
                case FrameOp::IntRects:
                    rects(painter, op, op.intRects);
                    break;
                case FrameOp::IntLines:
                    painter.drawLines(op.intLines);
                    break;
                default:
                    if (op.mode == QPaintEngine::PolylineMode)
                        painter.drawPolyline(op.polygon);
                    else
                        painter.drawPolygon(op.polygon, op.mode == QPaintEngine::WindingMode
                                                            ? Qt::WindingFill
                                                            : Qt::OddEvenFill);
            }
        }
        FirstFrameDone(reading_);
    }

  private:
    // Rectangles without a pen are fills (the painter hands a fillRect to
    // the engine as one); the window's painter took its fill path for them,
    // and so does the replay.
    template <typename Rect>
    static void rects(QPainter& painter, const FrameOp& op, const QList<Rect>& list) {
        if (op.pen.style() == Qt::NoPen)
            for (const Rect& r : list)
                painter.fillRect(r, op.brush);
        else
            painter.drawRects(list);
    }

    std::vector<FrameOp> ops_;
    std::chrono::nanoseconds reading_;
};

int RunReplay(int argc, char** argv, const char* path) {
    QApplication app(argc, argv);
    const auto start = std::chrono::steady_clock::now();
    std::vector<FrameOp> ops = LoadFrame(QString::fromLocal8Bit(path));
    const auto reading = std::chrono::steady_clock::now() - start;
    QMainWindow window;
    window.setCentralWidget(new ReplayView(std::move(ops), reading));
    window.resize(1000, 720);
    window.show();
    return app.exec();
}

// Records the first frame of the editor's window with the sample open.
std::vector<FrameOp> RecordFirstFrame(const QString& sample) {
    quelvari::app::MainWindow window;
    window.show();
    window.openPath(sample);
    QApplication::processEvents();
    std::vector<FrameOp> ops;
    FrameDevice device(window.size(), ops);
    window.render(&device);
    return ops;
}

// Milliseconds from the start of a fresh process to the end of its first
// frame, as the process reports it on the monotonic clock. Its exit is not
// part of the start.
double TimeProcess(const QString& program, const QStringList& args,
                   const QProcessEnvironment& env) {
    QProcess process;
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const auto started = std::chrono::steady_clock::now().time_since_epoch();
    process.start(program, args);
    long long done = 0;
    if (!process.waitForFinished(60000) || process.exitCode() != 0 ||
        std::sscanf(process.readAllStandardOutput().constData(), quelvari::app::kFirstFrameFormat,
                    &done) != 1) {
        std::fprintf(stderr, "%s did not run cleanly\n", qPrintable(program));
        std::exit(1);
    }
    return static_cast<double>(
               done - std::chrono::duration_cast<std::chrono::nanoseconds>(started).count()) /
           1e6;
}

void StartupFigures(const QString& self, const QString& editor, const QString& sample,
                    const QString& scratch) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUELVARI_QUIT_AFTER_PAINT"), QStringLiteral("1"));
    env.insert(QStringLiteral("QUELVARI_CONFIG_ROOT"), scratch + QStringLiteral("/config"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), scratch + QStringLiteral("/data"));
    const std::vector<FrameOp> frame = RecordFirstFrame(sample);
    const QString framePath = scratch + QStringLiteral("/first-frame.bin");
    SaveFrame(frame, framePath);
    const QStringList replay{QStringLiteral("--replay"), framePath};
    Runs bare, same, start;
    // Warm the caches once, then alternate so all see the same machine.
    TimeProcess(self, {QStringLiteral("--bare")}, env);
    TimeProcess(self, replay, env);
    TimeProcess(editor, {sample}, env);
    for (int i = 0; i < 11; ++i) {
        bare.add(TimeProcess(self, {QStringLiteral("--bare")}, env));
        same.add(TimeProcess(self, replay, env));
        start.add(TimeProcess(editor, {sample}, env));
    }
    ReportCount("first_frame_painting_calls", static_cast<double>(frame.size()));
    Report("startup_ms", start);
    Report("bare_window_ms", bare);
    Report("startup_ratio", Ratios(start, bare), "bare_window_ms");
    Report("same_drawing_window_ms", same);
    Report("startup_drawing_ratio", Ratios(start, same), "same_drawing_window_ms");
}

// A procedure file of `steps` steps, every fourth with a goto.
std::string WriteSteps(const std::string& scratch, int steps) {
    using namespace quelvari;
    const std::string path = scratch + "/bench-" + std::to_string(steps) + ".PAD";
    ProcedureList list;
    for (int i = 1; i <= steps; ++i) {
        ComponentRecord r;
        r.setFormatMark(kCurrentFormatMark);
        r.setTypeCode(i % 2 ? 'Z' : 'M');
        storeComment(r, "step " + std::to_string(i));
        if (i % 4 == 0) {
            storeBranchCondition(r, "B1");
            r.setGotoTarget(static_cast<std::uint16_t>(i / 2 + 1));
        }
        i == 1 ? void(list.procedureHead.record = r) : list.appendNode(r);
        list.componentCount = static_cast<std::uint32_t>(i);
    }
    if (!writeProcedure(path, list).ok())
        std::exit(1);
    return path;
}

void StepListOpenFigures(const std::string& scratch) {
    using namespace quelvari;
    constexpr int kSteps = 65535;
    const QString path = QString::fromStdString(WriteSteps(scratch, kSteps));
    // One open in a fresh window: the file read, the list (when shown) and
    // the last step made current and painted with its row.
    const auto open = [&](bool withList) {
        app::MainWindow window;
        window.resize(1280, 900);
        window.show();
        app::StepListDock* dock = window.extras()->stepList();
        dock->setVisible(withList);
        QApplication::processEvents();
        QElapsedTimer clock;
        clock.start();
        window.openPath(path);
        window.procedure().goToStep(kSteps);
        window.updateCommands();
        window.view()->repaint();
        if (withList)
            dock->view()->viewport()->repaint();
        const double ms = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        if (window.procedure().componentCount != kSteps ||
            (withList && dock->view()->currentIndex().row() != kSteps - 1))
            std::exit(1);
        window.procedure().modified = 0;
        return ms;
    };
    open(true);  // warm the file cache
    Runs bare, list;
    for (int i = 0; i < quelvari::bench::kMinRuns; ++i) {
        bare.add(open(false));
        list.add(open(true));
    }
    Report("list_open_ms", list);
    Report("open_without_list_ms", bare);
    Report("list_open_ratio", Ratios(list, bare), "open_without_list_ms");
}

void MoveFigures(const std::string& scratch) {
    using namespace quelvari;
    constexpr int kSteps = 10000;
    app::MainWindow window;
    window.resize(1280, 900);
    window.show();
    window.openPath(QString::fromStdString(WriteSteps(scratch, kSteps)));
    ProcedureList& list = window.procedure();
    if (list.componentCount != kSteps)
        std::exit(1);
    list.goToStep(kSteps / 2);
    window.updateCommands();
    QApplication::processEvents();
    QAction* down = window.extras()->action(cmd::kMoveDown);
    QAction* up = window.extras()->action(cmd::kMoveUp);
    QWidget* rows = window.extras()->stepList()->view()->viewport();

    Runs bare, move;
    QElapsedTimer clock;
    for (int run = 0; run < quelvari::bench::kMinRuns; ++run) {
        std::vector<double> b, m;
        for (int i = 0; i < 20; ++i) {
            // The floor repaints what the user sees: the view and the list.
            clock.start();
            window.view()->repaint();
            rows->repaint();
            b.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
            // Down and up in turn; the move repaints the view at once, the
            // list follows.
            clock.start();
            (i % 2 ? up : down)->trigger();
            rows->repaint();
            m.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
            QApplication::processEvents();
        }
        if (list.currentNumber != kSteps / 2) {
            std::fprintf(stderr, "move: step %u is current\n", list.currentNumber);
            std::exit(1);
        }
        bare.add(Runs{b}.median());
        move.add(Runs{m}.median());
    }
    list.modified = 0;
    Report("move_repaint_ms", move);
    Report("bare_view_and_list_repaint_ms", bare);
    Report("move_repaint_ratio", Ratios(move, bare), "bare_view_and_list_repaint_ms");
}

void EditFigures(const std::string& scratch) {
    using namespace quelvari;
    constexpr int kSteps = 10000;
    const std::string path = WriteSteps(scratch, kSteps);
    app::MainWindow window;
    window.show();
    window.openPath(QString::fromStdString(path));
    ProcedureList& list = window.procedure();
    if (list.componentCount != kSteps)
        std::exit(1);
    list.goToStep(kSteps / 2);
    EditCommands& edits = window.editCommands();
    edits.copy();
    QApplication::processEvents();
    QWidget* rows = window.extras()->stepList()->view()->viewport();
    if (!rows->isVisible())
        std::exit(1);

    Runs bare, edit;
    QElapsedTimer clock;
    for (int i = 0; i < 31; ++i) {
        // An edit changes the view and the list, so the floor repaints both.
        clock.start();
        window.view()->repaint();
        rows->repaint();
        QApplication::processEvents();
        bare.add(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        clock.start();
        list.pastePending = 1;
        edits.insert();  // repaints at once
        QApplication::processEvents();
        edits.remove();  // repaints at once
        QApplication::processEvents();
        edit.add(static_cast<double>(clock.nsecsElapsed()) / 1e6 / 2);
    }
    list.modified = 0;
    ReportCount("steps", kSteps);
    Report("edit_repaint_ms", edit);
    Report("bare_view_and_list_repaint_ms", bare);
    Report("edit_repaint_ratio", Ratios(edit, bare), "bare_view_and_list_repaint_ms");
}

// A PDF writer (the same page geometry and resolution as the real one) whose
// painting is recorded instead of written.
class RecordingPdf : public QPdfWriter {
  public:
    RecordingPdf(QIODevice* sink, Drawn& drawn) : QPdfWriter(sink), drawn_(drawn), engine_(drawn) {}
    bool newPage() override {
        drawn_.pages.emplace_back();
        return true;
    }

  protected:
    QPaintEngine* paintEngine() const override { return &engine_; }

  private:
    Drawn& drawn_;
    mutable RecordingEngine engine_;
};

void SetUpPdf(QPdfWriter& pdf) {
    pdf.setResolution(300);
    pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape,
                                  QMarginsF(10, 10, 10, 10), QPageLayout::Millimeter));
}

void PrintFigures(const std::string& scratch) {
    using namespace quelvari;
    constexpr int kComponents = 1000;
    // Every type of the catalogue in turn, with conditions, targets and comments.
    std::vector<ComponentRecord> records;
    for (int i = 0; i < kComponents; ++i) {
        ComponentRecord r;
        r.setFormatMark(kCurrentFormatMark);
        r.setTypeCode(static_cast<std::uint8_t>(
            kCatalogue[static_cast<std::size_t>(i) % kCatalogue.size()].code));
        storeInputCondition(r, "B" + std::to_string(i % 50 + 1));
        storeComment(r,
                     "Pr\xFC"
                     "fschritt " +
                         std::to_string(i + 1));  // Windows-1252
        if (i % 3 == 0) {
            storeBranchCondition(r, "Z2");
            r.setGotoTarget(static_cast<std::uint16_t>(i / 2 + 1));
        }
        records.push_back(r);
    }
    const std::string title = scratch + "/PRINT.PAD";
    Drawn drawn;
    {
        QBuffer sink;
        RecordingPdf recorder(&sink, drawn);
        SetUpPdf(recorder);
        if (PrintProcedureToDevice(recorder, records, 0, title) <= 0)
            std::exit(1);
    }
    const QString ours = QString::fromStdString(scratch + "/ours.pdf");
    const QString floorPath = QString::fromStdString(scratch + "/floor.pdf");
    Runs print, floor;
    for (int i = 0; i < 7; ++i) {
        QElapsedTimer clock;
        clock.start();
        {
            QPdfWriter pdf(floorPath);
            SetUpPdf(pdf);
            QPainter painter(&pdf);
            for (std::size_t page = 0; page < drawn.pages.size(); ++page) {
                if (page > 0)
                    pdf.newPage();
                for (const Drawn::Text& t : drawn.pages[page].texts) {
                    painter.setFont(t.font);
                    painter.drawText(t.at, t.text);
                }
                for (const Drawn::Image& im : drawn.pages[page].images)
                    painter.drawImage(im.rect, im.image);
            }
        }
        floor.add(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        clock.start();
        {
            QPdfWriter pdf(ours);
            SetUpPdf(pdf);
            if (PrintProcedureToDevice(pdf, records, 0, title) <= 0)
                std::exit(1);
        }
        print.add(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    std::size_t texts = 0, images = 0;
    for (const Drawn::Page& page : drawn.pages) {
        texts += page.texts.size();
        images += page.images.size();
    }
    ReportCount("print_components", kComponents);
    ReportCount("print_pages", static_cast<double>(drawn.pages.size()));
    ReportCount("print_text_runs", static_cast<double>(texts));
    ReportCount("print_images", static_cast<double>(images));
    Report("print_ms", print);
    Report("bare_pdf_ms", floor);
    Report("print_ratio", Ratios(print, floor), "bare_pdf_ms");
}

}  // namespace

int main(int argc, char** argv) {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") &&
        !std::getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (argc > 1 && std::strcmp(argv[1], "--bare") == 0)
        return RunBare(argc, argv);
    if (argc > 2 && std::strcmp(argv[1], "--replay") == 0)
        return RunReplay(argc, argv, argv[2]);
    std::string scratch = "/tmp/quelvari-editor-bench-XXXXXX";
    if (!::mkdtemp(scratch.data()))
        return 1;
    setenv("QUELVARI_CONFIG_ROOT", (scratch + "/config").c_str(), 1);
    QApplication app(argc, argv);
    quelvari::render::InitResources();
    // Names on the command line (startup, edit, print, list, move) run only
    // those figures; none runs them all.
    const auto wanted = [&](const char* name) {
        if (argc < 2)
            return true;
        for (int i = 1; i < argc; ++i)
            if (std::strcmp(argv[i], name) == 0)
                return true;
        return false;
    };
    // --record FILE writes the first frame the replay floor draws, for
    // profiling that floor on its own.
    if (argc > 2 && std::strcmp(argv[1], "--record") == 0) {
        SaveFrame(RecordFirstFrame(QStringLiteral(QUELVARI_SAMPLE)),
                  QString::fromLocal8Bit(argv[2]));
        return 0;
    }
    if (wanted("startup"))
        StartupFigures(QCoreApplication::applicationFilePath(), QStringLiteral(QUELVARI_EDITOR),
                       QStringLiteral(QUELVARI_SAMPLE), QString::fromStdString(scratch));
    if (wanted("edit"))
        EditFigures(scratch);
    if (wanted("print"))
        PrintFigures(scratch);
    if (wanted("list"))
        StepListOpenFigures(scratch);
    if (wanted("move"))
        MoveFigures(scratch);
    const std::string cmd = "rm -rf '" + scratch + "'";
    return std::system(cmd.c_str()) == 0 ? 0 : 1;
}
