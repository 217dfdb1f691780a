// quelvari-cli instrument: connect, identify, select, show the memory, release.
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>

#include "cli.h"
#include "link/instrument.h"
#include "link/link_settings.h"
#include "link/link_texts.h"
#include "link/memory.h"
#include "link/simulator.h"
#include "model/encoding.h"
#include "texts/texts.h"
#include "verb_link.h"

namespace quelvari::cli {
namespace {

using namespace quelvari::link;

constexpr int kExitLink = 4;

const char kInstrumentUsage[] =
    "usage: quelvari-cli instrument [--link usb | serial:DEVICE | sim[:DIR]]\n"
    "                               [--baud N] [--slow] [--trace FILE] [--lang N]\n"
    "Connects to the instrument, identifies and selects it, prints the\n"
    "identification and the memory, and releases it again.\n"
    "  --link usb            the instruments on USB (ids from the link settings)\n"
    "  --link serial:DEVICE  a serial port or pseudo-terminal, e.g. /dev/ttyUSB0\n"
    "  --link sim[:DIR]      the built-in simulated instrument, card directory DIR\n"
    "  --baud N              serial rate: 0 9600, 1 19200, 2 38400, 3 57600\n"
    "  --slow                slow serial timing\n"
    "  --trace FILE          hex dump of every byte in both directions\n"
    "Without --link the link settings of the editor apply.\n"
    "Exit status: 0 done, 4 the link or the instrument failed, 64 bad arguments.\n";

std::string Label(std::uint32_t id) {
    return cp1252ToUtf8(ControlText(id));
}

void PrintEntry(int slot, const InstrumentEntry& e) {
    std::printf("Instrument %d: %s\n", slot, cp1252ToUtf8(e.name).c_str());
    std::printf(
        "  model 0x%04X  word2 0x%04X  word3 0x%04X  word4 0x%04X  word5 0x%04X  "
        "word6 0x%04X  long1 0x%08X\n",
        e.model, e.word2, e.word3, e.word4, e.word5, e.word6, e.long1);
    std::printf("  bytes 1-13:");
    for (std::uint8_t b : e.byte1to8)
        std::printf(" %u", b);
    std::printf(" %u", e.byte9);
    for (std::uint8_t b : e.byte10to12)
        std::printf(" %u", b);
    std::printf(" %u\n", e.byte13);
}

class PrintedMemory : public MemoryDisplay {
  public:
    void setField(std::uint32_t id, const std::string& text) override { fields[id] = text; }
    void disableStart() override { startDisabled = true; }
    void hideProgress() override {}
    std::map<std::uint32_t, std::string> fields;
    bool startDisabled = false;
};

int RunInstrument(const std::vector<std::string>& argsIn) {
    std::vector<std::string> args = argsIn;
    std::uint32_t lang = 0;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    std::string linkSpec, tracePath, baud;
    if (!takeValue(args, "--link", linkSpec) || !takeValue(args, "--trace", tracePath) ||
        !takeValue(args, "--baud", baud))
        return usageError("an option lacks its value (see quelvari-cli instrument --help)");
    const bool slow = takeFlag(args, "--slow");
    if (!args.empty())
        return usageError("unexpected argument '" + args.front() + "'");

    VerbLink verbLink;
    if (const int e = verbLink.open(linkSpec, baud, slow, tracePath))
        return e;
    Link& link = verbLink.link;

    const int r = InstrumentConnect(link);
    if (r != 0) {
        PrintLinkFailure(link, r);
        // Nothing stays selected: release whatever answered and close.
        ReleaseAllAndDisconnect(link);
        return kExitLink;
    }
    link.instrumentConnected = true;
    for (int slot = 0; slot < kInstrumentEntries; ++slot)
        if (link.table[static_cast<std::size_t>(slot)].present)
            PrintEntry(slot, link.table[static_cast<std::size_t>(slot)]);

    InstrumentMemory memory;
    PrintedMemory shown;
    const bool answered = ShowInstrumentMemory(link, memory, shown);
    std::printf("%s\n", Label(2143).c_str());
    const std::pair<std::uint32_t, std::uint32_t> rows[] = {{2144, kFieldTotal},
                                                            {2145, kFieldFree},
                                                            {2146, kFieldSeries},
                                                            {2147, kFieldDatabase},
                                                            {2148, kFieldNumber}};
    for (const auto& [label, field] : rows) {
        const auto it = shown.fields.find(field);
        std::printf("  %-30s%s\n", Label(label).c_str(),
                    it == shown.fields.end() ? "???" : it->second.c_str());
    }
    if (!answered)
        std::fprintf(stderr, "quelvari-cli: the instrument did not report its memory\n");

    ReleaseAllAndDisconnect(link);
    return kExitOk;
}

}  // namespace

std::vector<Verb> linkVerbs() {
    return {{"instrument", "connect, identify and show the instrument's memory", kInstrumentUsage,
             RunInstrument}};
}

bool takeValue(std::vector<std::string>& args, const std::string& option, std::string& value) {
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it != option)
            continue;
        if (it + 1 == args.end())
            return false;
        value = *(it + 1);
        args.erase(it, it + 2);
        return true;
    }
    return true;
}

namespace {

// The editor's link settings changed by the options; empty, or what is wrong.
std::string ApplyLinkOptions(LinkConfig& config, const std::string& linkSpec,
                             const std::string& baud, bool slow) {
    if (linkSpec == "usb") {
        config.kind = LinkConfig::Kind::kUsb;
    } else if (linkSpec.rfind("serial:", 0) == 0 && linkSpec.size() > 7) {
        config.kind = LinkConfig::Kind::kSerial;
        config.device = linkSpec.substr(7);
    } else if (linkSpec == "sim" || linkSpec.rfind("sim:", 0) == 0) {
        config.kind = LinkConfig::Kind::kSimulated;
        if (linkSpec.size() > 4)
            config.cardDir = linkSpec.substr(4);
    } else if (!linkSpec.empty()) {
        return "--link takes usb, serial:DEVICE or sim[:DIR]";
    }
    if (!baud.empty()) {
        const auto n = parseNumber(baud);
        if (!n || *n < 0 || *n > 3)
            return "--baud takes 0 to 3";
        config.baudIndex = static_cast<std::uint16_t>(*n);
    }
    if (slow)
        config.slow = true;
    return {};
}

}  // namespace

void PrintLinkFailure(Link& link, int code) {
    if (code == -99)
        std::cerr << cp1252ToUtf8(LangText(kTextNotSent)) << " (-99)\n";
    else
        printErrorMessage(code << 8);
    const std::string detail = LinkDetail(link);
    if (!detail.empty())
        std::cerr << cp1252ToUtf8(detail) << "\n";
}

int VerbLink::open(const std::string& linkSpec, const std::string& baud, bool slow,
                   const std::string& tracePath) {
    LinkConfig config = ReadLinkConfig();
    if (const std::string wrong = ApplyLinkOptions(config, linkSpec, baud, slow); !wrong.empty())
        return usageError(wrong);
    if (!tracePath.empty()) {
        traceFile_.reset(std::fopen(tracePath.c_str(), "w"));
        if (!traceFile_) {
            std::perror(tracePath.c_str());
            return kExitFile;
        }
        trace_ = Trace(traceFile_.get());
    }
    ApplyLinkConfig(link, config);
    if (traceFile_)
        link.setTrace(&trace_);
    return 0;
}

}  // namespace quelvari::cli
