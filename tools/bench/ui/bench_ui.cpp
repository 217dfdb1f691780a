// quelvari-bench-ui: the worst delay of a 10 ms timer in the transfer
// dialog's event loop while the dialog transfers a 300-step procedure with an
// interrupt procedure to the in-process simulated instrument. Prints
// "transfer_ui_latency_ms" (the largest gap between two timer events beyond
// the 10 ms period) and, as its floor, the same figure for an idle second.
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "app/transfer/transfer_dialog.h"
#include "check/syntax_test.h"
#include "link/simulator.h"

namespace fs = std::filesystem;
using namespace quelvari;

namespace {

// Runs the event loop until `done` or `limitMs`, with a 10 ms timer; returns
// the largest lateness of the timer.
double WorstLateness(const std::function<bool()>& done, int limitMs) {
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.elapsed();
    double worst = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const qint64 now = clock.elapsed();
        worst = std::max(worst, static_cast<double>(now - last - 10));
        last = now;
    });
    timer.start(10);
    while (!done() && clock.elapsed() < limitMs)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return worst;
}

}  // namespace

int main(int argc, char** argv) {
    if (!std::getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);

    const fs::path dir =
        fs::temp_directory_path() / ("quelvari-bench-ui-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
        fs::copy_file(fs::path(QUELVARI_EXAMPLES) / "check-clean" / name, dir / name);
    const std::string pad = (dir / "CLEAN.PAD").string();
    {
        // 300 steps: the last step repeated.
        const auto size = fs::file_size(pad);
        std::vector<char> data(size);
        FILE* f = std::fopen(pad.c_str(), "rb");
        const bool read = f && std::fread(data.data(), 1, size, f) == size;
        if (f)
            std::fclose(f);
        f = read ? std::fopen(pad.c_str(), "ab") : nullptr;
        for (auto n = size / 800; f && n < 300; ++n)
            std::fwrite(data.data() + size - 800, 1, 800, f);
        if (f)
            std::fclose(f);
    }
    if (!RunSyntaxTest(pad, kCheckPv6410).systemFileWritten) {
        std::fprintf(stderr, "bench-ui: the syntax test found errors\n");
        return 1;
    }

    app::TransferDialog dialog(nullptr, pad, [&](link::Link& l) {
        link::SimSettings s = link::DefaultSimSettings();
        s.cardDir = (dir / "card").string();
        link::AttachSimulatedUsb(l, s);
    });
    dialog.showMessage = [](const QString&, const QString& text) {
        std::fprintf(stderr, "bench-ui: %s\n", text.toLocal8Bit().constData());
    };
    QSignalSpy done(&dialog, &app::TransferDialog::finishedWork);
    dialog.show();
    if (!done.wait(10000))
        return 1;
    const double idle = WorstLateness([] { return false; }, 1000);
    dialog.startButton()->click();
    const double busy = WorstLateness([&] { return done.size() >= 2; }, 60000);
    fs::remove_all(dir);
    if (done.size() < 2 || done.back().at(0).toInt() != 0) {
        std::fprintf(stderr, "bench-ui: the transfer did not finish\n");
        return 1;
    }
    std::printf("transfer_ui_idle_latency_ms: %.4g\n", idle);
    std::printf("transfer_ui_latency_ms: %.4g\n", busy);
    return 0;
}
