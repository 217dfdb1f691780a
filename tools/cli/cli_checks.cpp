// Verbs of the check area: the syntax test.
#include <iostream>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>

#include "check/syntax_test.h"
#include "cli.h"
#include "model/encoding.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::cli {
namespace {

constexpr const char* kCheckUsage =
    "usage: quelvari-cli check FILE... --mode tarvisel|lumo|pv6410|pv3320\n"
    "                           [--format text|json|junit] [--pdf OUT] [--lang N]\n\n"
    "Runs the syntax test on the test procedure FILE (a .PAD file, any case of\n"
    "the extension) for the place of use given by --mode: the PC runtime\n"
    "(tarvisel), the DOS runtime (lumo) or one of the instruments (pv6410,\n"
    "pv3320). The modules the procedure calls (NAME.PAM beside it) and the\n"
    "interrupt procedures it uses (FILE with .IR1 to .IR4) are checked with it.\n\n"
    "Prints the protocol lines exactly as the syntax-test dialog lists them\n"
    "(in UTF-8). When no error was counted, the system file (FILE with its last\n"
    "three characters replaced by \"sys\") is written.\n"
    "--lang N chooses the language of the protocol (0 German, 1 English,\n"
    "2 French, 3 Italian); without it the configured language is used.\n"
    "--pdf OUT also prints the protocol to the PDF file OUT as the dialog's\n"
    "Print button prints it (A4 portrait); one FILE only.\n\n"
    "Several FILEs are checked one after the other; the text format prints each\n"
    "protocol and a summary line. --format json prints one JSON document: per\n"
    "file its findings (textId, message, file, step, detail, counted), the\n"
    "counted findings and whether the system file was written, and a summary.\n"
    "--format junit prints a JUnit XML report: one test case per FILE, one\n"
    "failure per counted finding, the warnings in the test case's output, an\n"
    "error for a FILE that could not be checked.\n\n"
    "Exit status: 0 no error found (the warnings 8058 and 8090 do not count),\n"
    "1 errors were found. The protocol shows the count as the editor does, 8 bits\n"
    "wide (256 findings read as none and the system file is written), but the\n"
    "exit status goes by the true count. 2 FILE is not a .PAD name (message 64),\n"
    "cannot be read (message 93), its system file or OUT cannot be written\n"
    "(message 92), 64 bad arguments. With several FILEs: 2 when any FILE had\n"
    "a file error, else 1 when any had errors, else 0.\n";

const char* modeName(std::uint16_t mode) {
    switch (mode) {
        case kCheckLumo:
            return "lumo";
        case kCheckPv6410:
            return "pv6410";
        case kCheckPv3320:
            return "pv3320";
        default:
            return "tarvisel";
    }
}

// The finding's text in the current language, without the protocol's
// leading blanks.
std::string findingMessage(const SyntaxFinding& f) {
    std::string text = cp1252ToUtf8(LangText(static_cast<std::uint32_t>(f.textId)));
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first);
}

// The catalogue message of a file error with the system's reason.
std::string fileErrorText(const Status& status) {
    std::string text = cp1252ToUtf8(ComposeErrorMessage(status).text);
    for (char& c : text)
        if (c == '\n')
            c = ' ';
    return text;
}

std::string CheckSummaryLine(const std::vector<SyntaxTestResult>& results) {
    std::size_t counted = 0, failed = 0, unreadable = 0;
    for (const auto& r : results) {
        counted += r.countedFindings;
        failed += r.fileError.ok() && r.countedFindings ? 1 : 0;
        unreadable += r.fileError.ok() ? 0 : 1;
    }
    return std::to_string(results.size()) + " files checked, " + std::to_string(failed) +
           " with errors, " + std::to_string(unreadable) + " not checked, " +
           std::to_string(counted) + " errors counted";
}

std::string CheckReportJson(const std::vector<std::string>& paths,
                            const std::vector<SyntaxTestResult>& results, const char* mode) {
    nlohmann::ordered_json out;
    out["mode"] = mode;
    out["files"] = nlohmann::ordered_json::array();
    std::size_t counted = 0, failed = 0, unreadable = 0;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const SyntaxTestResult& r = results[i];
        nlohmann::ordered_json f;
        f["path"] = paths[i];
        f["checked"] = r.fileError.ok() || r.fileError.message == kErrFileWrite;
        f["counted"] = r.countedFindings;
        f["systemFileWritten"] = r.systemFileWritten;
        if (!r.fileError.ok())
            f["error"] = fileErrorText(r.fileError);
        f["findings"] = nlohmann::ordered_json::array();
        for (const SyntaxFinding& finding : r.findings) {
            nlohmann::ordered_json j;
            j["textId"] = finding.textId;
            j["message"] = findingMessage(finding);
            j["file"] = finding.file < r.files.size() ? cp1252ToUtf8(r.files[finding.file].name)
                                                      : std::string();
            j["step"] = finding.wholeFile() ? nlohmann::ordered_json(nullptr)
                                            : nlohmann::ordered_json(finding.step);
            j["detail"] = cp1252ToUtf8(finding.detail);
            j["counted"] = finding.counted;
            f["findings"].push_back(std::move(j));
        }
        counted += r.countedFindings;
        failed += r.fileError.ok() && r.countedFindings ? 1 : 0;
        unreadable += r.fileError.ok() ? 0 : 1;
        out["files"].push_back(std::move(f));
    }
    out["summary"] = {{"files", results.size()},
                      {"withErrors", failed},
                      {"notChecked", unreadable},
                      {"counted", counted}};
    return out.dump(2);
}

std::string CheckReportJunit(const std::vector<std::string>& paths,
                             const std::vector<SyntaxTestResult>& results, const char* mode) {
    pugi::xml_document doc;
    auto decl = doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    auto suites = doc.append_child("testsuites");
    auto suite = suites.append_child("testsuite");
    const std::string suiteName = std::string("syntax check (") + mode + ")";
    suite.append_attribute("name") = suiteName.c_str();
    std::size_t failures = 0, errors = 0;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const SyntaxTestResult& r = results[i];
        auto tc = suite.append_child("testcase");
        tc.append_attribute("classname") = (std::string("quelvari.check.") + mode).c_str();
        tc.append_attribute("name") = paths[i].c_str();
        std::string warnings;
        for (const SyntaxFinding& finding : r.findings) {
            const std::string where =
                (finding.file < r.files.size() ? cp1252ToUtf8(r.files[finding.file].name) : "") +
                (finding.wholeFile() ? std::string() : ":" + std::to_string(finding.step));
            std::string text =
                where + ": " + std::to_string(finding.textId) + " " + findingMessage(finding);
            if (!finding.detail.empty())
                text += " (" + cp1252ToUtf8(finding.detail) + ")";
            if (!finding.counted) {
                warnings += "warning " + text + "\n";
                continue;
            }
            auto failure = tc.append_child("failure");
            failure.append_attribute("type") = std::to_string(finding.textId).c_str();
            failure.append_attribute("message") = text.c_str();
            failure.text() = text.c_str();
            ++failures;
        }
        if (!r.fileError.ok()) {
            auto error = tc.append_child("error");
            error.append_attribute("message") = fileErrorText(r.fileError).c_str();
            ++errors;
        }
        if (!warnings.empty())
            tc.append_child("system-out").text() = warnings.c_str();
    }
    for (auto node : {suites, suite}) {
        node.append_attribute("tests") = static_cast<unsigned long long>(results.size());
        node.append_attribute("failures") = static_cast<unsigned long long>(failures);
        node.append_attribute("errors") = static_cast<unsigned long long>(errors);
    }
    std::ostringstream out;
    doc.save(out, "  ");
    return out.str();
}

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
    std::optional<std::string> pdf;
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it != "--pdf")
            continue;
        if (it + 1 == args.end())
            return usageError("--pdf takes a file name");
        pdf = *(it + 1);
        args.erase(it, it + 2);
        break;
    }
    std::string format = "text";
    if (!takeValue(args, "--format", format) ||
        (format != "text" && format != "json" && format != "junit"))
        return usageError("--format takes text, json or junit");
    if (args.empty())
        return usageError("check takes FILE... (see check --help)");
    for (const std::string& a : args)
        if (a.empty() || a[0] == '-')
            return usageError("unknown option '" + a + "' (see check --help)");
    if (pdf && args.size() != 1)
        return usageError("--pdf takes one FILE");

    std::vector<SyntaxTestResult> results;
    int exit = kExitOk;
    for (const std::string& file : args) {
        results.push_back(RunSyntaxTest(file, *mode));
        const SyntaxTestResult& result = results.back();
        if (format == "text") {
            for (const std::string& line : result.lines)
                std::cout << cp1252ToUtf8(line) << "\n";
            std::cout.flush();
        }
        // The protocol of a procedure that could be checked is printed even
        // when its system file could not be written.
        if (const Status printed =
                pdf && !result.lines.empty() ? WriteProtocolPdf(result.lines, *pdf) : Status{};
            !printed.ok()) {
            printErrorMessage(printed);
            std::cerr << "quelvari-cli: cannot write " << *pdf << "\n";
            return kExitFile;
        }
        if (!result.fileError.ok()) {
            printErrorMessage(result.fileError);
            if (result.fileError.message == kErrFileWrite)
                std::cerr << "quelvari-cli: cannot write " << result.systemFilePath << "\n";
            else
                std::cerr << "quelvari-cli: cannot check " << file << "\n";
            exit = kExitFile;
        } else if (result.countedFindings != 0 && exit == kExitOk) {
            // The protocol shows the 8-bit count (256 findings read as none);
            // the exit status goes by the true count.
            exit = kExitFindings;
        }
    }
    if (format == "json")
        std::cout << CheckReportJson(args, results, modeName(*mode)) << "\n";
    else if (format == "junit")
        std::cout << CheckReportJunit(args, results, modeName(*mode));
    else if (args.size() > 1)
        std::cout << "\n" << CheckSummaryLine(results) << "\n";
    return exit;
}

}  // namespace

std::vector<Verb> checkVerbs() {
    return {{"check", "syntax test of a procedure with its modules and interrupt procedures",
             kCheckUsage, runCheck}};
}

}  // namespace quelvari::cli
