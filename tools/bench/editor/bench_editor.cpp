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
#include <QMainWindow>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <QPdfWriter>
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

// Once the first frame is done: says when on the monotonic clock (as the
// editor does under QUELVARI_QUIT_AFTER_PAINT) and quits.
void FirstFrameDone() {
    QTimer::singleShot(0, qApp, [] {
        std::printf("first-frame %lld\n",
                    static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                               std::chrono::steady_clock::now().time_since_epoch())
                                               .count()));
        std::fflush(stdout);
        QApplication::quit();
    });
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

// A screen-like paint device whose painting is recorded: what a window draws.
class RecordingDevice : public QPaintDevice {
  public:
    RecordingDevice(QSize size, Drawn& drawn) : size_(size), engine_(drawn) {}
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
                return 96;  // resolutions, physical sizes follow from 96 dpi
        }
    }

  private:
    QSize size_;
    mutable RecordingEngine engine_;
};

// The editor's first frame as text runs and images, in a file the floor reads
// without decoding anything: fonts as their descriptions, images as raw pixels.
void SaveDrawn(const Drawn& drawn, const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        std::exit(1);
    QDataStream out(&file);
    const Drawn::Page& page = drawn.pages.front();
    out << qint32(page.texts.size());
    for (const Drawn::Text& t : page.texts)
        out << t.at << t.font.toString() << t.text;
    out << qint32(page.images.size());
    for (const Drawn::Image& im : page.images) {
        const QImage image = im.image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        out << im.rect << qint32(image.width()) << qint32(image.height())
            << QByteArray(reinterpret_cast<const char*>(image.constBits()),
                          static_cast<qsizetype>(image.sizeInBytes()));
    }
}

Drawn LoadDrawn(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        std::exit(1);
    QDataStream in(&file);
    Drawn drawn;
    Drawn::Page& page = drawn.pages.front();
    qint32 count = 0;
    in >> count;
    for (qint32 i = 0; i < count; ++i) {
        Drawn::Text t;
        QString font;
        in >> t.at >> font >> t.text;
        t.font.fromString(font);
        page.texts.push_back(std::move(t));
    }
    in >> count;
    for (qint32 i = 0; i < count; ++i) {
        Drawn::Image im;
        qint32 width = 0, height = 0;
        QByteArray bits;
        in >> im.rect >> width >> height >> bits;
        im.image = QImage(width, height, QImage::Format_ARGB32_Premultiplied);
        if (im.image.sizeInBytes() != bits.size())
            std::exit(1);
        std::memcpy(im.image.bits(), bits.constData(), static_cast<std::size_t>(bits.size()));
        page.images.push_back(std::move(im));
    }
    return drawn;
}

// The second floor of the start-up: a bare window that draws what the
// editor's first frame draws (every text run in its font, every picture and
// icon), recorded from the editor's window, and quits after that paint. It
// pays every font and glyph the editor pays, but none of our widgets, model
// or layout; lines, frames and fills are left to the editor's side.
class ReplayView : public QWidget {
  public:
    explicit ReplayView(Drawn drawn) : drawn_(std::move(drawn)) {}

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        for (const Drawn::Text& t : drawn_.pages.front().texts) {
            painter.setFont(t.font);
            painter.drawText(t.at, t.text);
        }
        for (const Drawn::Image& im : drawn_.pages.front().images)
            painter.drawImage(im.rect, im.image);
        FirstFrameDone();
    }

  private:
    Drawn drawn_;
};

int RunReplay(int argc, char** argv, const char* path) {
    QApplication app(argc, argv);
    QMainWindow window;
    window.setCentralWidget(new ReplayView(LoadDrawn(QString::fromLocal8Bit(path))));
    window.resize(1000, 720);
    window.show();
    return app.exec();
}

// Records the first frame of the editor's window with the sample open.
Drawn RecordFirstFrame(const QString& sample) {
    quelvari::app::MainWindow window;
    window.show();
    window.openPath(sample);
    QApplication::processEvents();
    Drawn drawn;
    RecordingDevice device(window.size(), drawn);
    window.render(&device);
    return drawn;
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
        std::sscanf(process.readAllStandardOutput().constData(), "first-frame %lld", &done) != 1) {
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
    const Drawn frame = RecordFirstFrame(sample);
    const QString framePath = scratch + QStringLiteral("/first-frame.bin");
    SaveDrawn(frame, framePath);
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
    ReportCount("first_frame_text_runs", static_cast<double>(frame.pages.front().texts.size()));
    ReportCount("first_frame_images", static_cast<double>(frame.pages.front().images.size()));
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
        SaveDrawn(RecordFirstFrame(QStringLiteral(QUELVARI_SAMPLE)),
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
