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
// the count is that of the counted findings (modulo 256, as the program acts
// on it); the system file is written exactly when no error was counted, whole
// and with its version and mode; a second run over the same files gives the
// same protocol; and the editor's pre-check of the procedure loaded into a
// list finds the same as the test of the file.
#include <unistd.h>

#include "check/syntax_test.h"
#include "fuzz_support.h"
#include "model/procedure.h"
#include "model/procedure_file.h"
#include "texts/texts.h"

using namespace quelvari;
using quelvari::fuzz::ScratchDir;

namespace {

bool sameFindings(const SyntaxTestResult& a, const SyntaxTestResult& b) {
    if (a.findings.size() != b.findings.size())
        return false;
    for (std::size_t i = 0; i < a.findings.size(); ++i) {
        const SyntaxFinding& x = a.findings[i];
        const SyntaxFinding& y = b.findings[i];
        if (x.textId != y.textId || x.file != y.file || x.step != y.step || x.detail != y.detail ||
            x.counted != y.counted || x.figure != y.figure)
            return false;
    }
    return true;
}

void printFindings(const char* what, const SyntaxTestResult& r) {
    std::fprintf(stderr, "%s: %zu findings\n", what, r.findings.size());
    for (const SyntaxFinding& f : r.findings)
        std::fprintf(stderr, "  %d file %zu step %d %s%s\n", f.textId, f.file, f.step,
                     f.detail.c_str(), f.counted ? "" : " (not counted)");
}

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
    std::size_t counted = 0;
    for (const SyntaxFinding& f : first.findings)
        counted += f.counted ? 1 : 0;
    FUZZ_CHECK(first.countedFindings == counted);
    FUZZ_CHECK(first.errorCount == counted % 256);
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

    ProcedureList list;
    FUZZ_CHECK(loadProcedure("P.PAD", list).ok());
    const SyntaxTestResult inMemory = RunSyntaxTestInMemory(list, "P.PAD", mode);
    if (!sameFindings(first, inMemory)) {
        printFindings("file", first);
        printFindings("in memory", inMemory);
    }
    FUZZ_CHECK(sameFindings(first, inMemory));
    FUZZ_CHECK(inMemory.errorCount == first.errorCount && !inMemory.systemFileWritten);
    return 0;
}
