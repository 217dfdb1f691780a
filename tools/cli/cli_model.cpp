// Verbs on procedure files: info, dump, convert.
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli.h"
#include "commands/file_commands.h"
#include "components/view.h"
#include "model/encoding.h"
#include "model/procedure_file.h"

namespace quelvari::cli {
namespace {

constexpr const char* kInfoUsage =
    "usage: quelvari-cli info FILE\n\n"
    "Prints the record format of a procedure file (current: 800-byte records,\n"
    "old: 768-byte records) and the number of records Open would read.\n";

constexpr const char* kDumpUsage =
    "usage: quelvari-cli dump FILE [--json] [--lang N]\n\n"
    "Prints one line per record as Open reads it (old records converted).\n"
    "--json prints one JSON object per line with the keys number, formatMark,\n"
    "recordMark, gotoTarget, inputCondition, branchCondition, comment (UTF-8),\n"
    "typeCode (one character, empty for an empty record), typeName (the type's\n"
    "name, \"unknown\" for a letter not in the catalogue), view (the lines the\n"
    "procedure view draws for the component, as text) and hex (all 800 bytes).\n"
    "The text form shows the type name and the drawn lines below each step.\n"
    "--lang N chooses the language of the texts shown.\n";

constexpr const char* kConvertUsage =
    "usage: quelvari-cli convert IN OUT\n\n"
    "Opens IN and saves it as OUT, as File/Open and File/Save As do in the\n"
    "editor: an old-format file comes out in the current format, every record\n"
    "renumbered. An existing OUT is replaced (the editor's overwrite question\n"
    "is answered Yes); the old OUT stays intact if the save fails.\n";

// Reads FILE (read-only: info and dump change nothing); prints message 93
// with the reason when it cannot.
bool readOrReport(const std::string& path, RecordFile& file) {
    const Status status = readRecordFile(path, file, Access::ReadOnly);
    if (status.ok())
        return true;
    printErrorMessage(status);
    std::cerr << "quelvari-cli: cannot read " << path << "\n";
    return false;
}

int runInfo(const std::vector<std::string>& args) {
    if (args.size() != 1)
        return usageError("info takes one FILE (see info --help)");
    RecordFile file;
    if (!readOrReport(args[0], file))
        return kExitFile;
    std::cout << "format: " << (file.oldFormat ? "old" : "current") << "\n"
              << "records: " << file.records.size() << "\n";
    return kExitOk;
}

std::string hexOf(const ComponentRecord& r) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(rec::kRecordSize * 2);
    for (std::uint8_t b : r.bytes) {
        out.push_back(digits[b >> 4]);
        out.push_back(digits[b & 15]);
    }
    return out;
}

int runDump(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    const bool json = takeFlag(args, "--json");
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    if (args.size() != 1)
        return usageError("dump takes one FILE (see dump --help)");
    RecordFile file;
    if (!readOrReport(args[0], file))
        return kExitFile;
    for (const ComponentRecord& r : file.records) {
        // A type byte is a Windows-1252 character like any text of the record.
        const std::string type =
            r.typeCode() ? cp1252ToUtf8(std::string(1, static_cast<char>(r.typeCode()))) : "";
        ComponentView view;
        if (r.typeCode())
            view = DescribeComponent(r);
        if (json) {
            nlohmann::ordered_json j;
            j["number"] = r.number();
            j["formatMark"] = r.formatMark();
            j["recordMark"] = r.recordMark();
            j["gotoTarget"] = r.gotoTarget();
            j["inputCondition"] = cp1252ToUtf8(r.inputCondition());
            j["branchCondition"] = cp1252ToUtf8(r.branchCondition());
            j["comment"] = cp1252ToUtf8(r.comment());
            j["typeCode"] = type;
            j["typeName"] = cp1252ToUtf8(view.typeName);
            j["view"] = nlohmann::ordered_json::array();
            for (const ViewLine& line : view.lines)
                j["view"].push_back(cp1252ToUtf8(ViewLineText(line)));
            j["hex"] = hexOf(r);
            std::cout << j.dump() << "\n";
        } else {
            std::cout << "step " << r.number() << ": " << (type.empty() ? "-" : type) << " | in \""
                      << cp1252ToUtf8(r.inputCondition()) << "\" | branch \""
                      << cp1252ToUtf8(r.branchCondition()) << "\"";
            if (r.hasBranch())
                std::cout << " goto " << r.gotoTarget();
            std::cout << " | \"" << cp1252ToUtf8(r.comment()) << "\"\n";
            if (r.typeCode()) {
                std::cout << "    " << cp1252ToUtf8(view.typeName) << "\n";
                for (const ViewLine& line : view.lines) {
                    std::string text = cp1252ToUtf8(ViewLineText(line));
                    for (std::size_t p = 0; (p = text.find('\n', p)) != std::string::npos; p += 1)
                        text.replace(p, 1, "\n      ");
                    std::cout << "      " << text << "\n";
                }
            }
        }
    }
    return kExitOk;
}

// Answers the editor's questions for a non-interactive Open + Save As.
class ConvertUi : public FileUi {
  public:
    ConvertUi(std::string in, std::string out) : in_(std::move(in)), out_(std::move(out)) {}
    Answer askYesNoCancel(const std::string&) override { return Answer::No; }
    Answer askYesNo(const std::string&) override { return Answer::Yes; }
    std::optional<std::string> chooseOpenFile(const std::string&) override { return in_; }
    std::optional<std::string> chooseSaveFile(const std::string&, const std::string&) override {
        return out_;
    }
    void showError(const Status& status) override {
        error = status.code();
        printErrorMessage(status);
    }
    void setWindowTitle(const std::string&) override {}
    void setStatusCount(const std::string&) override {}
    void repaint() override {}
    int error = 0;

  private:
    std::string in_, out_;
};

int runConvert(const std::vector<std::string>& args) {
    if (args.size() != 2)
        return usageError("convert takes IN and OUT (see convert --help)");
    ProcedureList list;
    ConvertUi ui(args[0], args[1]);
    FileCommands commands(list, ui);
    commands.fileOpen();
    if (ui.error || !list.documentOpen)
        return kExitFile;
    commands.fileSaveAs();
    if (ui.error || list.modified)
        return kExitFile;
    std::cout << args[1] << ": " << list.componentCount << " records, "
              << (list.oldFormat ? "converted from the old format" : "current format") << "\n";
    return kExitOk;
}

}  // namespace

std::vector<Verb> modelVerbs() {
    return {
        {"info", "format and record count of a procedure file", kInfoUsage, runInfo},
        {"dump", "the records of a procedure file, as text or JSON", kDumpUsage, runDump},
        {"convert", "open a file and save it again in the current format", kConvertUsage,
         runConvert},
    };
}

}  // namespace quelvari::cli
