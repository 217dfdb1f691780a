// quelvari-cli: the command-line face of Quelvari, for scripts, build
// pipelines and version control.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "cli.h"
#include "model/config.h"
#include "model/encoding.h"
#include "model/numbers.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::cli {

int usageError(const std::string& message) {
    std::cerr << "quelvari-cli: " << message << "\n";
    return kExitUsage;
}

void printErrorMessage(int code) {
    printErrorMessage(Status::fromCode(code));
}

void printErrorMessage(const Status& status) {
    const ErrorBox box = ComposeErrorMessage(status);
    std::cerr << cp1252ToUtf8(box.caption) << "\n" << cp1252ToUtf8(box.text) << "\n";
}

std::optional<long> parseNumber(const std::string& text) {
    long long v = 0;
    if (!ParseWholeInteger(text, v) || v < LONG_MIN || v > LONG_MAX)
        return std::nullopt;
    return static_cast<long>(v);
}

bool takeFlag(std::vector<std::string>& args, const std::string& flag) {
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it == flag) {
            args.erase(it);
            return true;
        }
    }
    return false;
}

bool takeLanguageOption(std::vector<std::string>& args, std::uint32_t& lang) {
    Configuration config;
    ReadConfiguration(config);
    lang = config.language;
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it != "--lang")
            continue;
        const auto value = it + 1 != args.end() ? parseNumber(*(it + 1)) : std::nullopt;
        if (!value || *value < 0 || *value > 0xFFFFFFFFL) {
            usageError("--lang takes a number (0 German, 1 English, 2 French, 3 Italian)");
            return false;
        }
        lang = static_cast<std::uint32_t>(*value);
        args.erase(it, it + 2);
        break;
    }
    setLanguage(lang);
    return true;
}

}  // namespace quelvari::cli

namespace {

using quelvari::cli::Verb;

std::vector<Verb> allVerbs() {
    std::vector<Verb> verbs;
    for (auto group :
         {quelvari::cli::modelVerbs, quelvari::cli::textVerbs, quelvari::cli::componentVerbs,
          quelvari::cli::checkVerbs, quelvari::cli::printVerbs, quelvari::cli::linkVerbs,
          quelvari::cli::transferVerbs, quelvari::cli::exchangeVerbs})
        for (const Verb& v : group())
            verbs.push_back(v);
    return verbs;
}

void printOverview(std::ostream& out, const std::vector<Verb>& verbs) {
    out << "usage: quelvari-cli VERB [ARGS...]\n\nVerbs:\n";
    // The summaries start in one column, two blanks after the longest verb.
    std::size_t width = 0;
    for (const Verb& v : verbs)
        width = std::max(width, std::strlen(v.name));
    for (const Verb& v : verbs) {
        std::string name = v.name;
        name.resize(width + 2, ' ');
        out << "  " << name << v.summary << "\n";
    }
    out << "\n\"quelvari-cli VERB --help\" describes a verb.\n";
}

}  // namespace

int main(int argc, char** argv) {
    const auto verbs = allVerbs();
    if (argc < 2) {
        printOverview(std::cerr, verbs);
        return quelvari::cli::kExitUsage;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        printOverview(std::cout, verbs);
        return 0;
    }
    std::vector<std::string> args(argv + 2, argv + argc);
    for (const Verb& v : verbs) {
        if (name != v.name)
            continue;
        for (const auto& a : args) {
            if (a == "--help" || a == "-h") {
                std::cout << v.usage;
                return 0;
            }
        }
        return v.run(args);
    }
    return quelvari::cli::usageError("unknown verb '" + name + "' (see quelvari-cli --help)");
}
