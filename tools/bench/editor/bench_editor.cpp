// quelvari-editor-bench: speed figures of the editor window, printed as
// "name: value" lines like quelvari-bench, each a ratio to a floor measured in
// the same run.
//
//   startup_ratio       the editor's start to the first paint of its view with
//                       the sample open, against a bare QMainWindow that quits
//                       after its first paint (both as fresh processes)
//   edit_repaint_ratio  one Insert and one Delete at 10,000 steps, each with
//                       its repaint, per edit, against a bare repaint of the view
//
// Without a display the offscreen platform is used.
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QPaintEvent>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/main_window.h"
#include "app/procedure_view.h"
#include "model/procedure_file.h"
#include "render/resources.h"

namespace {

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

void Print(const char* name, double value) {
    std::printf("%s: %.4g\n", name, value);
    std::fflush(stdout);
}

// The floor of the start-up: a window that quits once it has painted.
class BareView : public QWidget {
  protected:
    void paintEvent(QPaintEvent*) override { QTimer::singleShot(0, qApp, &QApplication::quit); }
};

int RunBare(int argc, char** argv) {
    QApplication app(argc, argv);
    QMainWindow window;
    window.setCentralWidget(new BareView);
    window.resize(1000, 720);
    window.show();
    return app.exec();
}

// Wall time of one fresh process, in milliseconds.
double TimeProcess(const QString& program, const QStringList& args,
                   const QProcessEnvironment& env) {
    QProcess process;
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer clock;
    clock.start();
    process.start(program, args);
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        std::fprintf(stderr, "%s did not run cleanly\n", qPrintable(program));
        std::exit(1);
    }
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void StartupFigures(const QString& self, const QString& editor, const QString& sample,
                    const QString& scratch) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUELVARI_QUIT_AFTER_PAINT"), QStringLiteral("1"));
    env.insert(QStringLiteral("QUELVARI_CONFIG_ROOT"), scratch + QStringLiteral("/config"));
    std::vector<double> bare, start;
    // Warm the caches once, then alternate so both see the same machine.
    TimeProcess(self, {QStringLiteral("--bare")}, env);
    TimeProcess(editor, {sample}, env);
    for (int i = 0; i < 11; ++i) {
        bare.push_back(TimeProcess(self, {QStringLiteral("--bare")}, env));
        start.push_back(TimeProcess(editor, {sample}, env));
    }
    Print("startup_ms", Median(start));
    Print("bare_window_ms", Median(bare));
    Print("startup_ratio", Median(start) / Median(bare));
}

void EditFigures(const std::string& scratch) {
    using namespace quelvari;
    constexpr int kSteps = 10000;
    const std::string path = scratch + "/bench.PAD";
    {
        ProcedureList list;
        for (int i = 1; i <= kSteps; ++i) {
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
    }
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

    std::vector<double> bare, edit;
    QElapsedTimer clock;
    for (int i = 0; i < 31; ++i) {
        clock.start();
        window.view()->repaint();
        bare.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        clock.start();
        list.pastePending = 1;
        edits.insert();  // repaints at once
        edits.remove();  // repaints at once
        edit.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6 / 2);
        QApplication::processEvents();
    }
    list.modified = 0;
    Print("steps", kSteps);
    Print("edit_repaint_ms", Median(edit));
    Print("bare_repaint_ms", Median(bare));
    Print("edit_repaint_ratio", Median(edit) / Median(bare));
}

}  // namespace

int main(int argc, char** argv) {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") &&
        !std::getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (argc > 1 && std::strcmp(argv[1], "--bare") == 0)
        return RunBare(argc, argv);
    std::string scratch = "/tmp/quelvari-editor-bench-XXXXXX";
    if (!::mkdtemp(scratch.data()))
        return 1;
    setenv("QUELVARI_CONFIG_ROOT", (scratch + "/config").c_str(), 1);
    QApplication app(argc, argv);
    quelvari::render::InitResources();
    StartupFigures(QCoreApplication::applicationFilePath(), QStringLiteral(QUELVARI_EDITOR),
                   QStringLiteral(QUELVARI_SAMPLE), QString::fromStdString(scratch));
    EditFigures(scratch);
    const std::string cmd = "rm -rf '" + scratch + "'";
    return std::system(cmd.c_str()) == 0 ? 0 : 1;
}
