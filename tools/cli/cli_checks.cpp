// Verbs of the check area: the syntax test.
#include <iostream>

#include "check/syntax_test.h"
#include "cli.h"
#include "model/encoding.h"
#include "texts/errors.h"

namespace quelvari::cli {
namespace {

constexpr const char* kCheckUsage =
    "usage: quelvari-cli check FILE --mode tarvisel|lumo|pv6410|pv3320 [--lang N]\n\n"
    "Runs the syntax test on the test procedure FILE (a .PAD file, any case of\n"
    "the extension) for the place of use given by --mode: the PC runtime\n"
    "(tarvisel), the DOS runtime (lumo) or one of the instruments (pv6410,\n"
    "pv3320). The modules the procedure calls (NAME.PAM beside it) and the\n"
    "interrupt procedures it uses (FILE with .IR1 to .IR4) are checked with it.\n\n"
    "Prints the protocol lines exactly as the syntax-test dialog lists them\n"
    "(in UTF-8). When no error was counted, the system file (FILE with its last\n"
    "three characters replaced by \"sys\") is written.\n"
    "--lang N chooses the language of the protocol (0 German, 1 English,\n"
    "2 French, 3 Italian); without it the configured language is used.\n\n"
    "Exit status: 0 no error found (the warnings 8058 and 8090 do not count),\n"
    "1 errors were found. The protocol shows the count as the editor does, 8 bits\n"
    "wide (256 findings read as none and the system file is written), but the\n"
    "exit status goes by the true count. 2 FILE is not a .PAD name (message 64),\n"
    "cannot be read (message 93) or its system file cannot be written (message\n"
    "92), 64 bad arguments.\n";

int runCheck(const std::vector<std::string>& input) {
    std::vector<std::string> args = input;
    std::uint32_t lang = 0;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    std::optional<std::uint16_t> mode;
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it != "--mode")
            continue;
        if (it + 1 == args.end())
            return usageError("--mode takes tarvisel, lumo, pv6410 or pv3320");
        const std::string& m = *(it + 1);
        if (m == "tarvisel")
            mode = kCheckTarvisel;
        else if (m == "lumo")
            mode = kCheckLumo;
        else if (m == "pv6410")
            mode = kCheckPv6410;
        else if (m == "pv3320")
            mode = kCheckPv3320;
        else
            return usageError("unknown check mode '" + m + "' (tarvisel, lumo, pv6410, pv3320)");
        args.erase(it, it + 2);
        break;
    }
    if (!mode)
        return usageError("check needs --mode (see check --help)");
    if (args.size() != 1 || (!args[0].empty() && args[0][0] == '-'))
        return usageError("check takes one FILE (see check --help)");

    const SyntaxTestResult result = RunSyntaxTest(args[0], *mode);
    for (const std::string& line : result.lines)
        std::cout << cp1252ToUtf8(line) << "\n";
    std::cout.flush();
    if (!result.fileError.ok()) {
        printErrorMessage(result.fileError);
        if (result.fileError.message == kErrFileWrite)
            std::cerr << "quelvari-cli: cannot write " << result.systemFilePath << "\n";
        else
            std::cerr << "quelvari-cli: cannot check " << args[0] << "\n";
        return kExitFile;
    }
    // The protocol shows the 8-bit count (256 findings read as none); the
    // exit status goes by the true count.
    return result.countedFindings == 0 ? kExitOk : kExitFindings;
}

}  // namespace

std::vector<Verb> checkVerbs() {
    return {{"check", "syntax test of a procedure with its modules and interrupt procedures",
             kCheckUsage, runCheck}};
}

}  // namespace quelvari::cli
