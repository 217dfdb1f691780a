// The command-line tool's argument parsing: every verb that works on files
// (not the instrument verbs, not the PDF print-outs) with fuzzed arguments,
// in a scratch directory that holds a small procedure T.PAD.
//
// Input: the arguments, one per line (the verb first). Arguments that name
// anything outside the scratch directory ("/" or "..") are not run.
//
// What must hold: the verb ends with one of the documented exit statuses;
// a verb that changes T.PAD and fails leaves it byte for byte as it was.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <set>
#include <sstream>

#include "fuzz_support.h"
#include "model/procedure_file.h"

#define main quelvari_cli_main
#include "../tools/cli/main.cpp"
#undef main

using namespace quelvari;

namespace {

std::string readAll(const std::string& path) {
    std::string data;
    static_cast<void>(ReadRegularFile(path, 1 << 20, data));
    return data;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::set<std::string> kVerbs = {"add",  "check", "convert", "delete", "describe",
                                                 "dump", "edit",  "error",   "info",   "insert",
                                                 "text", "texts", "--help"};
    std::vector<std::string> args = {"quelvari-cli"};
    std::string arg;
    for (std::size_t i = 0; i < size; ++i) {
        const char c = static_cast<char>(data[i]);
        if (c == '\n') {
            args.push_back(arg);
            arg.clear();
        } else if (c != '\0') {
            arg += c;
        }
    }
    args.push_back(arg);
    if (args.size() > 24 || !kVerbs.count(args[1]))
        return 0;
    for (const std::string& a : args)
        if (a.find('/') != std::string::npos || a.find("..") != std::string::npos ||
            (args[1] == "check" && a == "--pdf"))
            return 0;

    const fuzz::ScratchDir& scratch = fuzz::ScratchDir::get();
    scratch.clear();
    FUZZ_CHECK(::chdir(scratch.path().c_str()) == 0);
    ::setenv("QUELVARI_CONFIG_ROOT", scratch.path().c_str(), 1);
    {
        ProcedureList list;
        ComponentRecord r;
        r.setTypeCode('Z');
        list.appendRecord(r);
        r.setTypeCode('B');
        list.appendRecord(r);
        FUZZ_CHECK(writeProcedure(scratch.file("T.PAD"), list).ok());
    }
    const std::string before = readAll(scratch.file("T.PAD"));

    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    // The verbs talk on the standard streams; the fuzzer does not listen.
    std::ostringstream sink;
    std::streambuf* out = std::cout.rdbuf(sink.rdbuf());
    std::streambuf* err = std::cerr.rdbuf(sink.rdbuf());
    const int status = quelvari_cli_main(static_cast<int>(args.size()), argv.data());
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    if (fuzz::Tracing())
        std::fprintf(stderr, "status %d\n%s", status, sink.str().c_str());

    FUZZ_CHECK(status == cli::kExitOk || status == cli::kExitFindings || status == cli::kExitFile ||
               status == cli::kExitField || status == cli::kExitUsage);
    if (status != cli::kExitOk)
        FUZZ_CHECK(readAll(scratch.file("T.PAD")) == before);
    return 0;
}
