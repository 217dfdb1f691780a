// Verbs for version control and review: export, import, textconv, diff, vars.
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli.h"
#include "exchange/procedure_text.h"
#include "exchange/step_diff.h"
#include "exchange/variable_xref.h"
#include "model/encoding.h"
#include "model/file_io.h"
#include "model/procedure_file.h"
#include "model/record_reader.h"

namespace quelvari::cli {
namespace {

constexpr const char* kExportUsage =
    "usage: quelvari-cli export FILE [--output F]\n\n"
    "Writes the text form of the procedure FILE (UTF-8, described in\n"
    "docs/text-form.md) to standard output or to F. Old-format files are\n"
    "converted as Open converts them. \"import\" turns the text back into the\n"
    "same bytes that Save As would write.\n\n"
    "Exit status: 0 done, 2 FILE cannot be read or F cannot be written.\n";

constexpr const char* kImportUsage =
    "usage: quelvari-cli import TEXT OUT\n\n"
    "Reads the text form TEXT and saves the procedure as OUT, as Save As\n"
    "saves (OUT is replaced only when every byte was written). A text that\n"
    "cannot be read is refused with its line number and what was expected\n"
    "there; OUT is then left untouched. Texts must be ones Windows-1252 can\n"
    "hold.\n\n"
    "Exit status: 0 saved, 2 TEXT cannot be read or is refused, or OUT cannot\n"
    "be written, 64 bad arguments.\n";

constexpr const char* kTextconvUsage =
    "usage: quelvari-cli textconv FILE\n\n"
    "Prints the text form of FILE, for git's diff driver:\n"
    "  .gitattributes:  *.PAD diff=quelvari\n"
    "  git config diff.quelvari.textconv \"quelvari-cli textconv\"\n"
    "(see docs/text-form.md for every procedure extension).\n";

constexpr const char* kDiffUsage =
    "usage: quelvari-cli diff A B [--format text|json]\n\n"
    "Compares two procedures step by step. Steps are aligned by content, so a\n"
    "step inserted in the middle shows as one added step; goto targets and\n"
    "step references are compared by the step they lead to, so references\n"
    "that only moved with renumbering are no difference. Lists added,\n"
    "removed, moved and changed steps, the changed fields by name.\n\n"
    "Exit status: 0 equal, 1 different, 2 A or B cannot be read, 64 bad\n"
    "arguments.\n";

constexpr const char* kVarsUsage =
    "usage: quelvari-cli vars FILE [--format text|json]\n\n"
    "Lists every variable the procedure FILE uses, with the modules it calls\n"
    "and the interrupt procedures it uses (found beside FILE as the syntax\n"
    "test finds them): per variable the steps that read it and the steps\n"
    "that write it. Steps of FILE are plain numbers, steps of another file\n"
    "NAME:STEP.\n\n"
    "Exit status: 0 done, 2 FILE cannot be read, 64 bad arguments.\n";

bool readRecords(const std::string& path, std::vector<ComponentRecord>& records) {
    const Status status = exchange::ReadProcedureRecords(path, records);
    if (status.ok())
        return true;
    printErrorMessage(status);
    std::cerr << "quelvari-cli: cannot read " << path << "\n";
    return false;
}

std::string baseName(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

int runExport(const std::vector<std::string>& input) {
    auto args = input;
    std::string output;
    if (!takeValue(args, "--output", output))
        return usageError("--output takes a file name");
    if (args.size() != 1)
        return usageError("export takes one FILE (see export --help)");
    std::vector<ComponentRecord> records;
    if (!readRecords(args[0], records))
        return kExitFile;
    const std::string text = exchange::ExportText(records, baseName(args[0]));
    if (output.empty()) {
        std::cout << text;
        return std::cout.flush() ? kExitOk : kExitFile;
    }
    // Replaced whole or not at all, like a saved procedure.
    const Status status = WriteFileAtomically(output, text.data(), text.size());
    if (!status.ok()) {
        printErrorMessage(status);
        std::cerr << "quelvari-cli: cannot write " << output << "\n";
        return kExitFile;
    }
    return kExitOk;
}

int runTextconv(const std::vector<std::string>& args) {
    if (args.size() != 1)
        return usageError("textconv takes one FILE");
    return runExport(args);
}

int runImport(const std::vector<std::string>& args) {
    if (args.size() != 2)
        return usageError("import takes TEXT and OUT (see import --help)");
    const exchange::ImportResult result = exchange::ImportTextFile(args[0]);
    if (!result.ok()) {
        const exchange::TextError& e = result.errors.front();
        std::cerr << "quelvari-cli: " << args[0];
        if (e.line)
            std::cerr << ":" << e.line;
        std::cerr << ": expected " << e.expected << "\nquelvari-cli: " << args[1]
                  << " was not written\n";
        return kExitFile;
    }
    ProcedureList list;
    exchange::FillList(list, result.records);
    const Status status = writeProcedure(args[1], list);
    if (!status.ok()) {
        printErrorMessage(status);
        std::cerr << "quelvari-cli: cannot write " << args[1] << "\n";
        return kExitFile;
    }
    std::cout << args[1] << ": " << result.records.size() << " records\n";
    return kExitOk;
}

bool takeFormat(std::vector<std::string>& args, bool& json) {
    std::string format = "text";
    if (!takeValue(args, "--format", format) || (format != "text" && format != "json")) {
        usageError("--format takes text or json");
        return false;
    }
    json = format == "json";
    return true;
}

std::string stepLabel(const ComponentRecord& r) {
    std::string type = r.typeCode() ? std::string(1, static_cast<char>(r.typeCode())) : "-";
    return cp1252ToUtf8(type) + " \"" + cp1252ToUtf8(r.comment()) + "\"";
}

int runDiff(const std::vector<std::string>& input) {
    auto args = input;
    bool json = false;
    if (!takeFormat(args, json))
        return kExitUsage;
    if (args.size() != 2)
        return usageError("diff takes A and B (see diff --help)");
    std::vector<ComponentRecord> a, b;
    if (!readRecords(args[0], a) || !readRecords(args[1], b))
        return kExitFile;
    const auto changes = exchange::DiffSteps(a, b);
    if (json) {
        nlohmann::ordered_json out;
        out["equal"] = changes.empty();
        out["changes"] = nlohmann::ordered_json::array();
        for (const auto& c : changes) {
            nlohmann::ordered_json j;
            j["kind"] = exchange::StepChangeName(c.kind);
            j["stepA"] = c.stepA ? nlohmann::ordered_json(c.stepA) : nullptr;
            j["stepB"] = c.stepB ? nlohmann::ordered_json(c.stepB) : nullptr;
            const ComponentRecord& r = c.stepB ? b[c.stepB - 1] : a[c.stepA - 1];
            j["type"] =
                r.typeCode() ? cp1252ToUtf8(std::string(1, static_cast<char>(r.typeCode()))) : "";
            j["comment"] = cp1252ToUtf8(r.comment());
            j["fields"] = nlohmann::ordered_json::array();
            for (const auto& f : c.fields)
                j["fields"].push_back({{"name", f.name}, {"before", f.before}, {"after", f.after}});
            out["changes"].push_back(std::move(j));
        }
        std::cout << out.dump(2) << "\n";
    } else {
        std::size_t counts[4] = {};
        for (const auto& c : changes) {
            ++counts[static_cast<int>(c.kind)];
            std::string name = exchange::StepChangeName(c.kind);
            name.resize(8, ' ');
            std::cout << name << " ";
            switch (c.kind) {
                case exchange::StepChangeKind::Added:
                    std::cout << "step " << c.stepB << ": " << stepLabel(b[c.stepB - 1]);
                    break;
                case exchange::StepChangeKind::Removed:
                    std::cout << "step " << c.stepA << ": " << stepLabel(a[c.stepA - 1]);
                    break;
                default:
                    std::cout << "step " << c.stepA;
                    if (c.stepA != c.stepB)
                        std::cout << " -> " << c.stepB;
                    std::cout << ": " << stepLabel(b[c.stepB - 1]);
            }
            std::cout << "\n";
            for (const auto& f : c.fields)
                std::cout << "    " << f.name << ": " << f.before << " -> " << f.after << "\n";
        }
        if (changes.empty())
            std::cout << "no differences\n";
        else
            std::cout << counts[0] << " added, " << counts[1] << " removed, " << counts[2]
                      << " moved, " << counts[3] << " changed\n";
    }
    return changes.empty() ? kExitOk : kExitFindings;
}

int runVars(const std::vector<std::string>& input) {
    auto args = input;
    bool json = false;
    if (!takeFormat(args, json))
        return kExitUsage;
    if (args.size() != 1)
        return usageError("vars takes one FILE (see vars --help)");
    std::vector<ComponentRecord> records;
    if (!readRecords(args[0], records))
        return kExitFile;
    ProcedureList list;
    exchange::FillList(list, records);
    const exchange::VariableXref x = exchange::CrossReference(list, args[0]);
    const auto site = [&](const exchange::VariableSite& s) {
        return s.file == 0 ? std::to_string(s.step)
                           : cp1252ToUtf8(x.files[s.file].name) + ":" + std::to_string(s.step);
    };
    if (json) {
        nlohmann::ordered_json out;
        out["files"] = nlohmann::ordered_json::array();
        for (const auto& f : x.files)
            out["files"].push_back({{"name", cp1252ToUtf8(f.name)}, {"read", f.read}});
        out["variables"] = nlohmann::ordered_json::array();
        for (const auto& v : x.variables) {
            nlohmann::ordered_json j;
            j["name"] = cp1252ToUtf8(v.name);
            for (const char* key : {"reads", "writes"}) {
                j[key] = nlohmann::ordered_json::array();
                for (const auto& s : key[0] == 'r' ? v.reads : v.writes)
                    j[key].push_back(
                        {{"file", cp1252ToUtf8(x.files[s.file].name)}, {"step", s.step}});
            }
            out["variables"].push_back(std::move(j));
        }
        std::cout << out.dump(2) << "\n";
        return kExitOk;
    }
    for (std::size_t f = 1; f < x.files.size(); ++f)
        if (!x.files[f].read)
            std::cout << "# " << cp1252ToUtf8(x.files[f].name) << ": not found\n";
    for (const auto& v : x.variables) {
        std::string name = cp1252ToUtf8(v.name);
        name.resize(std::max<std::size_t>(name.size(), 6), ' ');
        std::cout << name << " read:";
        for (const auto& s : v.reads)
            std::cout << " " << site(s);
        if (v.reads.empty())
            std::cout << " -";
        std::cout << "  written:";
        for (const auto& s : v.writes)
            std::cout << " " << site(s);
        if (v.writes.empty())
            std::cout << " -";
        std::cout << "\n";
    }
    return kExitOk;
}

}  // namespace

std::vector<Verb> exchangeVerbs() {
    return {
        {"export", "the text form of a procedure", kExportUsage, runExport},
        {"import", "a procedure file from its text form", kImportUsage, runImport},
        {"textconv", "the text form for git's diff driver", kTextconvUsage, runTextconv},
        {"diff", "step-level comparison of two procedures", kDiffUsage, runDiff},
        {"vars", "variables with the steps that read and write them", kVarsUsage, runVars},
    };
}

}  // namespace quelvari::cli
