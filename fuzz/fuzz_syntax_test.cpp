// The syntax test on a fuzzed procedure with fuzzed files beside it: modules
// (.PAM), interrupt procedures (.IR1 to .IR4) and pictures, all in a scratch
// directory that is the working directory, so that the relative names the
// records hold find them.
//
// Input: byte 0 picks the check mode, byte 1 the language; then the procedure
// P.PAD up to the first part mark, then named parts (first line the file
// name, the rest its bytes), see fuzz_support.h.
//
// What must hold: the procedure is always read; the protocol is never empty;
// the system file is written exactly when no error was counted, whole and
// with its version and mode; and a second run over the same files gives the
// same protocol.
#include <unistd.h>

#include "check/syntax_test.h"
#include "fuzz_support.h"
#include "texts/texts.h"

using namespace quelvari;
using quelvari::fuzz::ScratchDir;

namespace {

std::string readAll(const std::string& path) {
    std::string out;
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        char buf[4096];
        for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
            out.append(buf, n);
        std::fclose(f);
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ScratchDir& dir = ScratchDir::get();
    static const bool inside = ::chdir(dir.path().c_str()) == 0;
    FUZZ_CHECK(inside);
    dir.clear();

    fuzz::Reader in(data, size);
    const auto mode = static_cast<std::uint16_t>(in.byte() % 4);
    setLanguage(in.byte() % 4);
    const std::vector<std::string_view> parts = fuzz::SplitParts(in.rest());
    dir.write("P.PAD", parts.front());
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const fuzz::NamedPart part = fuzz::SplitNamedPart(parts[i]);
        if (!part.name.empty() && part.name != "P.PAD" && part.name != "P.sys")
            dir.write(part.name, part.bytes);
    }

    const SyntaxTestResult first = RunSyntaxTest("P.PAD", mode);
    if (fuzz::Tracing()) {
        for (const std::string& line : first.lines)
            std::fprintf(stderr, "%s\n", line.c_str());
        std::fprintf(stderr, "errors %u, file error %d\n", first.errorCount,
                     first.fileError.code());
    }
    FUZZ_CHECK(first.fileError.ok());
    FUZZ_CHECK(!first.lines.empty());
    FUZZ_CHECK(first.systemFileWritten == (first.errorCount == 0));
    const std::string system = readAll("P.sys");
    if (first.systemFileWritten) {
        FUZZ_CHECK(system.size() == kSystemBlockSize);
        FUZZ_CHECK(static_cast<std::uint8_t>(system[sysblk::kVersion]) == kSystemBlockVersion);
        FUZZ_CHECK(static_cast<std::uint8_t>(system[sysblk::kMode]) == mode);
    } else {
        FUZZ_CHECK(system.empty());
    }

    // A picture path may name the system file: take it away as before.
    ::unlink("P.sys");
    const SyntaxTestResult second = RunSyntaxTest("P.PAD", mode);
    FUZZ_CHECK(second.lines == first.lines);
    FUZZ_CHECK(second.errorCount == first.errorCount);
    return 0;
}
