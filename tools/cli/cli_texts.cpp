// Verbs on the text tables and the error catalogue: text, error, texts.
#include <iostream>

#include "cli.h"
#include "commands/used_texts.h"
#include "model/encoding.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::cli {
namespace {

constexpr const char* kTextUsage =
    "usage: quelvari-cli text ID [--lang N]\n\n"
    "Prints the text with id ID in language N (0 German, 1 English, 2 French,\n"
    "3 Italian; default: the configured language) exactly as the program looks\n"
    "it up: a missing id prints as ?ID?.\n";

constexpr const char* kErrorUsage =
    "usage: quelvari-cli error CODE [--lang N]\n\n"
    "Prints the message box the program shows for an error code (message\n"
    "number x 256 + field number, decimal or 0x hex): the caption on the first\n"
    "line, then the text.\n";

constexpr const char* kTextsUsage =
    "usage: quelvari-cli texts --missing [--lang N]\n\n"
    "Lists the ids the program can show that the table of language N lacks,\n"
    "one per line, for translators: the labels of every dialog (English, French\n"
    "and Italian), the menus, and every text the view, the syntax-test protocol,\n"
    "the print-outs and the questions look up. Exits 1 when something is missing.\n";

int runText(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    if (args.size() != 1)
        return usageError("text takes one ID (see text --help)");
    const auto id = parseNumber(args[0]);
    if (!id || *id < 0 || *id > 0xFFFFFFFFL)
        return usageError("ID must be a number");
    std::cout << cp1252ToUtf8(GetLangText(static_cast<std::uint32_t>(*id), lang)) << "\n";
    return kExitOk;
}

int runError(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    if (args.size() != 1)
        return usageError("error takes one CODE (see error --help)");
    const auto code = parseNumber(args[0]);
    if (!code || *code < 1 || ErrorNumber(static_cast<std::int32_t>(*code)) > kErrorMessageCount)
        return usageError("CODE must be a message number x 256 + field, messages 1 to 114");
    const ErrorBox box = ComposeErrorMessage(static_cast<std::int32_t>(*code), lang);
    std::cout << cp1252ToUtf8(box.caption) << "\n" << cp1252ToUtf8(box.text) << "\n";
    return kExitOk;
}

int runTexts(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    if (!takeFlag(args, "--missing") || !args.empty())
        return usageError("texts takes --missing (see texts --help)");
    const std::vector<std::uint32_t> missing = MissingTextIds(lang);
    for (std::uint32_t id : missing)
        std::cout << id << "\n";
    return missing.empty() ? kExitOk : 1;
}

}  // namespace

std::vector<Verb> textVerbs() {
    return {
        {"text", "the text of an id in a language", kTextUsage, runText},
        {"error", "the message box of an error code", kErrorUsage, runError},
        {"texts", "ids the program uses that a language lacks", kTextsUsage, runTexts},
    };
}

}  // namespace quelvari::cli
