// Verbs of the print-outs and the description side file: print (procedure
// print-out as PDF), the protocol PDF of check, and describe.
#include <QGuiApplication>
#include <QIODevice>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>

#include "check/print_layout.h"
#include "check/procedure_variables.h"
#include "cli.h"
#include "model/encoding.h"
#include "model/file_io.h"
#include "model/procedure_file.h"
#include "model/side_file.h"
#include "render/print_render.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::cli {
namespace {

// The PDF verbs need Qt's painting, which needs a GUI application object for
// as long as they paint; it runs on the offscreen platform unless another one
// is asked for. Numbers printed by the core keep the C locale that the
// application object would change.
class GuiScope {
  public:
    GuiScope() {
        if (QGuiApplication::instance())
            return;
        if (!std::getenv("QT_QPA_PLATFORM"))
            ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        app_ = std::make_unique<QGuiApplication>(argc_, argv_);
        std::setlocale(LC_NUMERIC, "C");
    }

  private:
    int argc_ = 1;
    char name_[13] = "quelvari-cli";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QGuiApplication> app_;
};

// A print-out file written through the atomic writer: QPdfWriter streams its
// pages into a temporary file beside the target, every write is checked, and
// only a complete file replaces the target. A FIFO, a device or a directory
// named as the target is refused before anything is painted.
class PdfFile : public QIODevice {
  public:
    Status begin(const std::string& path) {
        status_ = file_.begin(path, kErrFileWrite);
        if (status_.ok())
            open(QIODevice::WriteOnly);
        return status_;
    }
    // Commits when every write took and the print-out is `complete`; the
    // status of the first failure else (the temporary file is then removed).
    Status finish(bool complete) {
        close();
        if (status_.ok() && !complete)
            status_ = Status::refused(kErrFileWrite, file_.target() + ": nothing printed");
        if (!status_.ok())
            return status_;
        return status_ = file_.commit();
    }

  protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override {
        if (!status_.ok())
            return -1;
        status_ = file_.write(data, static_cast<std::size_t>(size));
        return status_.ok() ? size : -1;
    }

  private:
    AtomicFile file_;
    Status status_;
};

std::unique_ptr<QPdfWriter> makePdf(QIODevice* device, QPageLayout::Orientation orientation,
                                    double marginMm, const std::string& title) {
    auto pdf = std::make_unique<QPdfWriter>(device);
    pdf->setResolution(300);
    pdf->setPageLayout(QPageLayout(QPageSize(QPageSize::A4), orientation,
                                   QMarginsF(marginMm, marginMm, marginMm, marginMm),
                                   QPageLayout::Millimeter));
    pdf->setTitle(QString::fromStdString(cp1252ToUtf8(title)));
    pdf->setCreator(QStringLiteral("Quelvari"));
    return pdf;
}

// takeValue into an optional: set only when the option was given.
bool takeValue(std::vector<std::string>& args, const std::string& option,
               std::optional<std::string>& value) {
    std::string text;
    const bool given = std::find(args.begin(), args.end(), option) != args.end();
    if (!cli::takeValue(args, option, text))
        return false;
    if (given)
        value = text;
    return true;
}

constexpr const char* kDescribeUsage =
    "usage: quelvari-cli describe FILE [--comment TEXT] [--text-file F]\n"
    "                              [--var NAME=DESCRIPTION ...] [--auto]\n\n"
    "Shows and changes the description side file of the test procedure FILE\n"
    "(FILE with its first \".PAD\" replaced by \".TXT\"; a name without \".PAD\"\n"
    "gets \".txt\" for a lower-case \".pad\" and \".TXT\" appended otherwise, so the\n"
    "description never overwrites a procedure).\n\n"
    "Without options it prints the comment, the description text and the\n"
    "variable lines under the markers [COMMENT], [TEXT] and [VAR] (in UTF-8).\n"
    "The options change them and save the file as the dialog's OK does:\n"
    "  --comment TEXT        the short comment (at most 99 characters)\n"
    "  --text-file F         the description text from file F (UTF-8)\n"
    "  --auto                adds a line for every variable the procedure uses\n"
    "                        that the list does not hold yet, with its number\n"
    "  --var NAME=DESCR      changes the description of variable NAME, or adds\n"
    "                        it, with its number when the procedure uses NAME\n"
    "                        and \"(?)\" otherwise (repeatable; after --auto)\n"
    "The result is printed after saving.\n\n"
    "Content whose side file would not load back whole (more than 20000 bytes)\n"
    "is refused, with the number of characters that must go.\n\n"
    "Exit status: 0 success, 2 FILE does not exist, the side file or F cannot be\n"
    "read, or the side file cannot be written (message 92; a write-protected or\n"
    "too long side file is left as it is),\n"
    "64 bad arguments or text the code page cannot hold.\n";

void printContent(const SideFileContent& c) {
    auto lf = [](std::string s) {
        std::string out;
        for (std::size_t i = 0; i < s.size(); ++i)
            if (!(s[i] == '\r' && i + 1 < s.size() && s[i + 1] == '\n'))
                out += s[i];
        return out;
    };
    std::cout << "[COMMENT]\n" << cp1252ToUtf8(c.comment) << "\n[TEXT]\n";
    std::cout << cp1252ToUtf8(lf(c.text)) << "\n[VAR]\n";
    for (const std::string& line : c.variables.lines())
        std::cout << cp1252ToUtf8(line) << "\n";
}

// UTF-8 line ends (LF or CR LF) to the CR LF of the description edit.
std::string toCrLf(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r'))
            out += '\r';
        out += text[i];
    }
    return out;
}

int runDescribe(const std::vector<std::string>& input) {
    std::vector<std::string> args = input;
    std::uint32_t lang = 0;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    std::optional<std::string> comment, textFile;
    if (!takeValue(args, "--comment", comment) || !takeValue(args, "--text-file", textFile))
        return usageError("--comment and --text-file take a value");
    std::vector<std::string> vars;
    for (;;) {
        std::optional<std::string> v;
        if (!takeValue(args, "--var", v))
            return usageError("--var takes NAME=DESCRIPTION");
        if (!v)
            break;
        vars.push_back(*v);
    }
    const bool automatic = takeFlag(args, "--auto");
    if (args.size() != 1 || (!args[0].empty() && args[0][0] == '-'))
        return usageError("describe takes one FILE (see describe --help)");
    const std::string& procedure = args[0];
    RecordFile records;
    if (!readRecordFile(procedure, records).ok()) {
        printErrorMessage(ErrorCode(93));
        std::cerr << "quelvari-cli: cannot read " << procedure << "\n";
        return kExitFile;
    }

    const std::string sidePath = SideFilePath(procedure);
    const bool change = comment || textFile || !vars.empty() || automatic;
    if (!change) {
        const SideFileLoad load = LoadSideFile(sidePath);
        if (!load.status.ok()) {
            printErrorMessage(load.status);
            return kExitFile;
        }
        printContent(load.content);
        return kExitOk;
    }
    std::optional<std::string> newComment, newText;
    if (comment) {
        newComment = utf8ToCp1252(*comment);
        if (!newComment)
            return usageError("the comment holds a character the code page cannot hold");
    }
    if (textFile) {
        // A text that could never fit is not read to its end: four bytes of
        // UTF-8 for every character the side file can hold.
        std::string utf8;
        bool tooLong = false;
        const Status read =
            ReadRegularFile(*textFile, 4 * kSideFileReadLimit, utf8, kErrFileOpen, &tooLong);
        if (!read.ok()) {
            printErrorMessage(read);
            return kExitFile;
        }
        if (tooLong) {
            std::cerr << cp1252ToUtf8(FormatText(GetLangText(kTextTextFileTooLong),
                                                 static_cast<long>(utf8.size())))
                      << "\n";
            return kExitFile;
        }
        newText = utf8ToCp1252(toCrLf(utf8));
        if (!newText)
            return usageError(*textFile + " holds a character the code page cannot hold");
    }
    std::vector<std::pair<std::string, std::string>> entries;
    for (const std::string& v : vars) {
        const std::size_t eq = v.find('=');
        const auto entry = utf8ToCp1252(v);
        if (eq == std::string::npos || eq == 0 || !entry)
            return usageError("--var takes NAME=DESCRIPTION in the code page, got '" + v + "'");
        std::string name = utf8ToCp1252(v.substr(0, eq)).value_or("");
        if (name.find(' ') != std::string::npos)
            return usageError("a variable name holds no blank: '" + v + "'");
        entries.emplace_back(std::move(name), utf8ToCp1252(v.substr(eq + 1)).value_or(""));
    }
    // The side file is read, changed and written under its lock: another
    // describe of the same procedure waits and then changes the new file.
    SideFileContent result;
    std::size_t excess = 0;
    const Status saved = UpdateSideFile(
        sidePath,
        [&](SideFileContent& c) {
            if (newComment)
                c.comment = *newComment;
            if (newText)
                c.text = *newText;
            // Automatic generation first, so that a description given for a
            // variable of the procedure lands on its numbered line.
            if (automatic)
                AddUsedVariables(c.variables, records.records);
            for (const auto& [name, description] : entries) {
                std::optional<std::size_t> at;
                for (std::size_t i = 0; i < c.variables.size() && !at; ++i)
                    if (ParseVariableLine(c.variables[i]).name == name)
                        at = i;
                if (at)
                    ChangeVariable(c.variables, *at, name, description);
                else
                    c.variables.add(NewVariableLine(records.records, name, description));
            }
            result = c;
        },
        &excess);
    if (!saved.ok()) {
        printErrorMessage(saved);
        if (excess > 0)
            std::cerr << cp1252ToUtf8(FormatText(GetLangText(kTextSideFileTooLong),
                                                 static_cast<long>(excess)))
                      << "\n";
        std::cerr << "quelvari-cli: cannot write " << sidePath << "\n";
        return kExitFile;
    }
    printContent(result);
    return kExitOk;
}

constexpr const char* kPrintUsage =
    "usage: quelvari-cli print FILE --pdf OUT [--extended] [--portrait | --landscape]\n"
    "                           [--lang N]\n\n"
    "Prints the test procedure FILE to the PDF file OUT as the editor's Print\n"
    "command prints it: the component drawings in a grid, a head line with the\n"
    "file name and the page number on every page. The page is A4 with 10 mm\n"
    "margins, portrait unless --landscape is given. The grid is the one of the\n"
    "print option \"normal\" (landscape 3 x 4, portrait 4 x 2) or, with\n"
    "--extended, \"extended\" (landscape 2 x 3, portrait 3 x 1).\n\n"
    "Exit status: 0 success, 2 FILE cannot be read or OUT cannot be written,\n"
    "64 bad arguments.\n";

int runPrint(const std::vector<std::string>& input) {
    std::vector<std::string> args = input;
    std::uint32_t lang = 0;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    std::optional<std::string> pdf;
    if (!takeValue(args, "--pdf", pdf) || !pdf)
        return usageError("print needs --pdf OUT (see print --help)");
    const bool extended = takeFlag(args, "--extended");
    const bool portrait = takeFlag(args, "--portrait");
    const bool landscape = takeFlag(args, "--landscape");
    if (portrait && landscape)
        return usageError("--portrait and --landscape exclude each other");
    if (args.size() != 1 || (!args[0].empty() && args[0][0] == '-'))
        return usageError("print takes one FILE (see print --help)");
    RecordFile records;
    if (!readRecordFile(args[0], records).ok()) {
        printErrorMessage(ErrorCode(93));
        std::cerr << "quelvari-cli: cannot read " << args[0] << "\n";
        return kExitFile;
    }
    PdfFile out;
    Status status = out.begin(*pdf);
    if (status.ok()) {
        GuiScope gui;
        auto writer = makePdf(&out, landscape ? QPageLayout::Landscape : QPageLayout::Portrait, 10,
                              LangText(kTextDocumentName));
        const int pages = PrintProcedureToDevice(*writer, records.records,
                                                 extended ? kPrintExtended : kPrintNormal, args[0]);
        writer.reset();
        status = out.finish(pages > 0);
    }
    if (!status.ok()) {
        printErrorMessage(status);
        std::cerr << "quelvari-cli: cannot write " << *pdf << "\n";
        return kExitFile;
    }
    return kExitOk;
}

}  // namespace

Status WriteProtocolPdf(const std::vector<std::string>& lines, const std::string& path) {
    PdfFile out;
    if (Status s = out.begin(path); !s.ok())
        return s;
    GuiScope gui;
    // The protocol counts its lines on the whole sheet.
    auto writer = makePdf(&out, QPageLayout::Portrait, 0, kProtocolDocumentName);
    const int pages = PaintProtocolPrint(*writer, lines);
    writer.reset();
    return out.finish(pages > 0);
}

std::vector<Verb> printVerbs() {
    return {{"print", "print a procedure to a PDF file", kPrintUsage, runPrint},
            {"describe", "show or change the description side file of a procedure", kDescribeUsage,
             runDescribe}};
}

}  // namespace quelvari::cli
