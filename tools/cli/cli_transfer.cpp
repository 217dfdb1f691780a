// quelvari-cli transfer: a checked test procedure into the instrument.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>

#include "app/transfer/screen_converter.h"
#include "cli.h"
#include "link/instrument.h"
#include "link/link_settings.h"
#include "link/link_texts.h"
#include "link/memory.h"
#include "link/transfer.h"
#include "link/transfer_job.h"
#include "model/encoding.h"
#include "texts/texts.h"
#include "verb_link.h"

namespace quelvari::cli {
namespace {

using namespace quelvari::link;

constexpr int kExitLink = 4;
constexpr int kExitCancelled = 130;

const char kTransferUsage[] =
    "usage: quelvari-cli transfer FILE --number N [--link usb | serial:DEVICE | sim[:DIR]]\n"
    "                             [--baud N] [--slow] [--trace FILE] [--no-fast-pictures]\n"
    "                             [--lang N]\n"
    "Transfers the test procedure FILE (.PAD), its interrupt procedures and its\n"
    "pictures into the instrument as procedure number N (1 to 255). The syntax\n"
    "test must have run without errors in the check mode of the instrument's\n"
    "model after the procedure was last saved.\n"
    "  --link usb            the instrument on USB (ids from the link settings)\n"
    "  --link serial:DEVICE  a serial port or pseudo-terminal\n"
    "  --link sim[:DIR]      the built-in simulated instrument, card directory DIR\n"
    "  --baud N              serial rate: 0 9600, 1 19200, 2 38400, 3 57600\n"
    "  --slow                slow serial timing\n"
    "  --trace FILE          hex dump of every byte in both directions\n"
    "  --no-fast-pictures    send screen pictures as their files are, not in the\n"
    "                        instrument's screen format\n"
    "Progress goes to stderr when it is a terminal. Ctrl+C cancels between two\n"
    "blocks. The instrument is released whatever the outcome.\n"
    "Exit status: 0 done, 2 the procedure is not ready for this instrument, 4 the\n"
    "link or the instrument failed, 64 bad arguments, 130 cancelled.\n";

CancelToken cancelRequested;

void OnInterrupt(int) {
    cancelRequested.cancel();
}

// Progress on a terminal: phase, block and status on one line.
class Progress : public TransferObserver {
  public:
    explicit Progress(bool show) : show_(show) {}
    void phase(TransferPhase p, int sub) override {
        switch (p) {
            case TransferPhase::kHeader:
                what_ = "header";
                break;
            case TransferPhase::kProcedure:
                what_ = "procedure";
                break;
            case TransferPhase::kInterrupt:
                what_ = "interrupt " + std::to_string(sub);
                break;
            case TransferPhase::kPicture:
                what_ = "picture " + std::to_string(sub + 1);
                break;
            case TransferPhase::kDone:
                what_ = "done";
                break;
        }
        draw();
    }
    void progressRange(int maximum) override { max_ = maximum; }
    void progress(int position) override {
        position_ = position;
        draw();
    }
    void status(const std::string& text) override {
        status_ = cp1252ToUtf8(text);
        draw();
    }
    void pictureMissing(const std::string& path) override {
        end();
        printErrorMessage(73 << 8);
        std::cerr << cp1252ToUtf8(path)
                  << "\nquelvari-cli: the picture is tried again on every tick; Ctrl+C cancels\n";
    }
    void end() {
        if (show_ && drawn_)
            std::fputc('\n', stderr);
        drawn_ = false;
    }

  private:
    void draw() {
        if (!show_)
            return;
        std::fprintf(stderr, "\r\033[K%-12s %5d/%-5d %s", what_.c_str(), position_, max_,
                     status_.c_str());
        std::fflush(stderr);
        drawn_ = true;
    }
    bool show_;
    bool drawn_ = false;
    std::string what_, status_;
    int max_ = 0, position_ = 0;
};

class NoDisplay : public MemoryDisplay {
  public:
    void setField(std::uint32_t, const std::string&) override {}
    void disableStart() override {}
    void hideProgress() override {}
};

int RunTransferVerb(const std::vector<std::string>& argsIn) {
    std::vector<std::string> args = argsIn;
    std::uint32_t lang = 0;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    std::string linkSpec, tracePath, baud, numberText;
    if (!takeValue(args, "--link", linkSpec) || !takeValue(args, "--trace", tracePath) ||
        !takeValue(args, "--baud", baud) || !takeValue(args, "--number", numberText))
        return usageError("an option lacks its value (see quelvari-cli transfer --help)");
    const bool slow = takeFlag(args, "--slow");
    const bool noFast = takeFlag(args, "--no-fast-pictures");
    if (args.size() != 1)
        return usageError(args.empty() ? "transfer needs a .PAD file"
                                       : "unexpected argument '" + args.back() + "'");
    const std::string pad = args.front();
    const auto number = parseNumber(numberText);
    if (!number || *number < 1 || *number > 255)
        return usageError("--number takes the procedure's number in the instrument, 1 to 255");

    VerbLink verbLink;
    if (const int e = verbLink.open(linkSpec, baud, slow, tracePath))
        return e;
    Link& link = verbLink.link;

    cancelRequested.reset();
    link.setCancel(&cancelRequested);
    auto previous = std::signal(SIGINT, OnInterrupt);
    struct Restore {
        Link& link;
        void (*handler)(int);
        ~Restore() {
            std::signal(SIGINT, handler);
            link.setCancel(nullptr);
        }
    } restore{link, previous};

    // Whatever happens from here on, the instrument is released and the link
    // closed before the verb returns (a Ctrl+C does not stop the release).
    struct Release {
        Link& link;
        ~Release() {
            link.setCancel(nullptr);
            ReleaseAllAndDisconnect(link);
        }
    } release{link};

    TransferSettings settings;
    settings.number = static_cast<std::uint8_t>(*number);
    settings.fastPictures = !noFast;
    settings.toScreen = app::ScreenPicture;

    NoDisplay display;
    Progress progress(::isatty(2) != 0);
    const TransferOutcome outcome = TransferToInstrument(link, pad, settings, display, progress);
    progress.end();
    if (outcome.cancelled) {
        std::cerr << "quelvari-cli: transfer cancelled; the instrument was released\n";
        return kExitCancelled;
    }
    switch (outcome.code) {
        case 0:
            break;
        case 72:
        case 75:
        case 85:
        case 86:
        case 90:
            // The procedure is not ready for this instrument.
            printErrorMessage(outcome.code << 8);
            return kExitFile;
        default:
            PrintLinkFailure(link, outcome.code);
            return kExitLink;
    }
    std::printf(
        "Transferred %s as procedure %ld: %zu records, %zu interrupt procedures, %d "
        "pictures, %d blocks\n",
        cp1252ToUtf8(pad).c_str(), *number, outcome.records, outcome.interrupts,
        outcome.result.picturesSent, outcome.result.blocks);
    if (outcome.memoryAnswered)
        std::printf("Free memory: %lu kB\n",
                    static_cast<unsigned long>(outcome.memory.freeBlocks / 2));
    return kExitOk;
}

}  // namespace

std::vector<Verb> transferVerbs() {
    return {{"transfer", "transfer a checked test procedure into the instrument", kTransferUsage,
             RunTransferVerb}};
}

}  // namespace quelvari::cli
