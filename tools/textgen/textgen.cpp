// quelvari-textgen: checks the text-table and error-catalogue data files and
// writes them out as C++ tables.
//
//   quelvari-textgen OUT.cpp [texts:LANG=FILE]... [errors:LANG=FILE]... [used=FILE]
//                            [own=FILE]
//
// A missing data file gives an empty table. Any rule broken in a file stops
// the build with "file:line: reason".
//
// Texts are handed to printf-style formatting ("Invalid field: %d"), so a
// translation must carry the same placeholders, in the same order and of the
// same argument types, as the German text of its id or catalogue line. A
// placeholder is '%' with optional flags "-+#0", width, precision and length
// and a conversion letter; "%%", a '%' before a blank ("5 % der") or before
// any other character ("[%]") is a plain percent sign.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "model/encoding.h"

namespace {

constexpr std::size_t kCapacity = 690;
constexpr std::size_t kMaxTextBytes = 121;
// The project's own texts: ids of their own range, every language in one file.
constexpr unsigned kOwnFirstId = 60000;
constexpr std::size_t kMaxOwnTextBytes = 400;
const char* const kLangs[] = {"de", "en", "fr", "it"};

struct Failure {
    std::string message;
};

[[noreturn]] void fail(const std::string& file, int line, const std::string& why) {
    throw Failure{file + ":" + std::to_string(line) + ": " + why};
}

int langIndex(const std::string& code) {
    for (int i = 0; i < 4; ++i)
        if (code == kLangs[i])
            return i;
    return -1;
}

// Parses `"..."` at `pos`; returns the Windows-1252 bytes and moves `pos` past it.
std::string parseQuoted(const std::string& file, int lineNo, const std::string& line,
                        std::size_t& pos) {
    if (pos >= line.size() || line[pos] != '"')
        fail(file, lineNo, "expected a quoted text");
    std::string utf8;
    for (++pos;; ++pos) {
        if (pos >= line.size())
            fail(file, lineNo, "unterminated text");
        const char c = line[pos];
        if (c == '"')
            break;
        if (c != '\\') {
            utf8.push_back(c);
            continue;
        }
        if (++pos >= line.size())
            fail(file, lineNo, "backslash at the end of the line");
        switch (line[pos]) {
            case 'n':
                utf8.push_back('\n');
                break;
            case 'r':
                utf8.push_back('\r');
                break;
            case 't':
                utf8.push_back('\t');
                break;
            case '"':
                utf8.push_back('"');
                break;
            case '\\':
                utf8.push_back('\\');
                break;
            default:
                fail(file, lineNo, std::string("unknown escape \\") + line[pos]);
        }
    }
    ++pos;
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t'))
        ++pos;
    if (pos < line.size() && line[pos] != '#')
        fail(file, lineNo, "text after the closing quote");
    auto bytes = quelvari::utf8ToCp1252(utf8);
    if (!bytes)
        fail(file, lineNo, "a character that Windows-1252 cannot hold (or invalid UTF-8)");
    if (bytes->find('\0') != std::string::npos)
        fail(file, lineNo, "a zero byte in the text");
    return *bytes;
}

bool isSkippable(const std::string& line) {
    const auto first = line.find_first_not_of(" \t\r");
    return first == std::string::npos || line[first] == '#';
}

std::size_t parseNumber(const std::string& file, int lineNo, const std::string& line,
                        std::size_t& pos, unsigned long max) {
    const std::size_t start = pos;
    unsigned long v = 0;
    while (pos < line.size() && std::isdigit(static_cast<unsigned char>(line[pos]))) {
        v = v * 10 + static_cast<unsigned long>(line[pos] - '0');
        if (v > max)
            fail(file, lineNo, "number out of range");
        ++pos;
    }
    if (pos == start)
        fail(file, lineNo, "expected a number");
    return v;
}

void skipBlanks(const std::string& line, std::size_t& pos) {
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t'))
        ++pos;
}

// Calls `entry(lineNo, line, pos)` for every line of `file` that is not blank
// or a comment, with `pos` past its leading blanks. A missing file has no
// entries. Returns the number of entries and of lines read.
struct LinesRead {
    int entries = 0;
    int lines = 0;
};
template <typename Entry>
LinesRead forEachEntry(const std::string& file, Entry entry) {
    std::ifstream in(file, std::ios::binary);
    LinesRead read;
    for (std::string line; std::getline(in, line);) {
        ++read.lines;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (isSkippable(line))
            continue;
        ++read.entries;
        std::size_t pos = 0;
        skipBlanks(line, pos);
        entry(read.lines, line, pos);
    }
    return read;
}

// The argument types a printf format would take from `text`, in order, one
// word per argument ("d", "ld", "s", "*" for a star width or precision).
std::vector<std::string> placeholders(const std::string& text) {
    std::vector<std::string> args;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%')
            continue;
        std::size_t j = i + 1;
        if (j < text.size() && text[j] == '%') {
            i = j;
            continue;
        }
        std::vector<std::string> stars;
        while (j < text.size() && std::string_view("-+#0").find(text[j]) != std::string::npos)
            ++j;
        auto number = [&] {
            if (j < text.size() && text[j] == '*') {
                stars.push_back("*");
                ++j;
                return;
            }
            while (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j])))
                ++j;
        };
        number();
        if (j < text.size() && text[j] == '.') {
            ++j;
            number();
        }
        std::string length;
        while (j < text.size() && std::string_view("hlLqjzt").find(text[j]) != std::string::npos)
            length += text[j++];
        if (j >= text.size() ||
            std::string_view("diouxXeEfFgGaAcspn").find(text[j]) == std::string_view::npos)
            continue;  // a plain percent sign
        const char conversion = text[j] == 'i' ? 'd' : text[j];
        args.insert(args.end(), stars.begin(), stars.end());
        args.push_back(length + conversion);
        i = j;
    }
    return args;
}

std::string describe(const std::vector<std::string>& args) {
    if (args.empty())
        return "none";
    std::string out;
    for (const auto& a : args)
        out += (out.empty() ? "%" : " %") + a;
    return out;
}

struct Entry {
    unsigned id;
    std::string text;
    int line;  // in its data file
};
using TextTable = std::vector<Entry>;

TextTable parseTexts(const std::string& file) {
    TextTable table;
    forEachEntry(file, [&](int lineNo, const std::string& line, std::size_t pos) {
        const auto id = static_cast<unsigned>(parseNumber(file, lineNo, line, pos, 65535));
        if (id == 0)
            fail(file, lineNo, "id 0 is the end mark of a table");
        if (pos >= line.size() || (line[pos] != ' ' && line[pos] != '\t'))
            fail(file, lineNo, "expected a blank after the id");
        skipBlanks(line, pos);
        std::string text = parseQuoted(file, lineNo, line, pos);
        if (text.size() > kMaxTextBytes)
            fail(file, lineNo,
                 "text of " + std::to_string(text.size()) + " bytes, at most " +
                     std::to_string(kMaxTextBytes) + " fit an entry");
        table.push_back({id, std::move(text), lineNo});
        if (table.size() > kCapacity)
            fail(file, lineNo, "more than " + std::to_string(kCapacity) + " entries");
    });
    return table;
}

struct Catalogue {
    std::vector<std::string> lines = std::vector<std::string>(684);
    std::vector<int> fileLines = std::vector<int>(684, 0);  // 0 when not given
};

Catalogue parseErrors(const std::string& file) {
    Catalogue cat;
    std::set<std::pair<unsigned, unsigned>> seen;
    std::set<unsigned> withTitle;
    const LinesRead read =
        forEachEntry(file, [&](int lineNo, const std::string& line, std::size_t pos) {
            const auto n = static_cast<unsigned>(parseNumber(file, lineNo, line, pos, 114));
            if (n == 0)
                fail(file, lineNo, "message numbers run from 1 to 114");
            if (pos >= line.size() || line[pos] != '.')
                fail(file, lineNo, "expected N.K");
            ++pos;
            const auto k = static_cast<unsigned>(parseNumber(file, lineNo, line, pos, 5));
            if (!seen.insert({n, k}).second)
                fail(file, lineNo,
                     "line " + std::to_string(n) + "." + std::to_string(k) + " given twice");
            if (k == 0)
                withTitle.insert(n);
            skipBlanks(line, pos);
            cat.lines[(n - 1) * 6 + k] = parseQuoted(file, lineNo, line, pos);
            cat.fileLines[(n - 1) * 6 + k] = lineNo;
        });
    // A catalogue that has entries must give every message its title line.
    if (read.entries > 0) {
        for (unsigned n = 1; n <= 114; ++n)
            if (!withTitle.count(n))
                fail(file, read.lines, "message " + std::to_string(n) + " has no line 0");
    }
    return cat;
}

std::string cEscape(const std::string& bytes) {
    std::string out = "\"";
    for (unsigned char c : bytes) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7F && c != '?') {
            out += static_cast<char>(c);
        } else {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\%03o", c);
            out += buf;
        }
    }
    return out + "\"";
}

struct UsedLine {
    unsigned id;
    unsigned mask;
};

std::vector<UsedLine> parseUsed(const std::string& file) {
    std::vector<UsedLine> used;
    forEachEntry(file, [&](int lineNo, const std::string& line, std::size_t pos) {
        const auto id = static_cast<unsigned>(parseNumber(file, lineNo, line, pos, 65535));
        skipBlanks(line, pos);
        std::size_t end = line.find_first_of(" \t#", pos);
        std::string list =
            line.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        unsigned mask = 0;
        std::stringstream ss(list);
        for (std::string code; std::getline(ss, code, ',');) {
            const int li = langIndex(code);
            if (li < 0)
                fail(file, lineNo, "unknown language code '" + code + "'");
            mask |= 1u << li;
        }
        if (mask == 0)
            fail(file, lineNo, "no languages given");
        used.push_back({id, mask});
    });
    return used;
}

// The project's own texts: "ID LANG \"TEXT\"" per line, the four languages of
// an id together. Every id of the file needs all four languages, once each,
// and the translations carry the placeholders of the German text.
struct OwnEntry {
    unsigned id;
    int lang;
    std::string text;
};

std::vector<OwnEntry> parseOwn(const std::string& file) {
    std::vector<OwnEntry> own;
    std::map<unsigned, std::map<int, int>> lines;  // id -> language -> line
    forEachEntry(file, [&](int lineNo, const std::string& line, std::size_t pos) {
        const auto id = static_cast<unsigned>(parseNumber(file, lineNo, line, pos, 65535));
        if (id < kOwnFirstId)
            fail(file, lineNo,
                 "id " + std::to_string(id) + " is below the range of the own texts (" +
                     std::to_string(kOwnFirstId) + " to 65535)");
        skipBlanks(line, pos);
        const std::size_t end = line.find_first_of(" \t", pos);
        const std::string code = line.substr(pos, end == std::string::npos ? end : end - pos);
        const int lang = langIndex(code);
        if (lang < 0)
            fail(file, lineNo, "unknown language code '" + code + "'");
        pos = end == std::string::npos ? line.size() : end;
        skipBlanks(line, pos);
        std::string text = parseQuoted(file, lineNo, line, pos);
        if (text.size() > kMaxOwnTextBytes)
            fail(file, lineNo,
                 "text of " + std::to_string(text.size()) + " bytes, at most " +
                     std::to_string(kMaxOwnTextBytes));
        if (!lines[id].emplace(lang, lineNo).second)
            fail(file, lineNo, "text " + std::to_string(id) + " given twice in " + code);
        own.push_back({id, lang, std::move(text)});
    });
    std::map<unsigned, std::string> german;
    for (const OwnEntry& e : own)
        if (e.lang == 0)
            german[e.id] = e.text;
    for (const auto& [id, langs] : lines) {
        for (int l = 0; l < 4; ++l)
            if (!langs.count(l))
                fail(file, langs.begin()->second,
                     "text " + std::to_string(id) + " has no " + kLangs[l] + " entry");
    }
    for (const OwnEntry& e : own) {
        const auto want = placeholders(german[e.id]), got = placeholders(e.text);
        if (want != got)
            fail(file, lines[e.id][e.lang],
                 "text " + std::to_string(e.id) + " has placeholders " + describe(got) +
                     ", the German text " + describe(want));
    }
    return own;
}

// Refuses a translation whose placeholders differ from the German text's.
// Only the first entry of an id counts: it is the one the program finds.
void comparePlaceholders(const std::map<int, TextTable>& texts,
                         const std::map<int, Catalogue>& errors,
                         const std::map<std::string, std::string>& files) {
    auto check = [](const std::string& file, int line, const std::string& what,
                    const std::string& german, const std::string& translated) {
        const auto want = placeholders(german), got = placeholders(translated);
        if (want != got)
            fail(file, line,
                 what + " has placeholders " + describe(got) + ", the German text " +
                     describe(want));
    };
    std::map<unsigned, std::string> german;
    if (const auto de = texts.find(0); de != texts.end())
        for (const Entry& e : de->second)
            german.try_emplace(e.id, e.text);
    for (const auto& [lang, table] : texts) {
        std::set<unsigned> seen;
        for (const Entry& e : table) {
            if (!seen.insert(e.id).second)
                continue;
            const auto g = german.find(e.id);
            check(files.at(std::string("texts:") + kLangs[lang]), e.line,
                  "text " + std::to_string(e.id), g == german.end() ? "" : g->second, e.text);
        }
    }
    const auto de = errors.find(0);
    for (const auto& [lang, cat] : errors) {
        for (std::size_t i = 0; i < cat.lines.size(); ++i) {
            if (cat.fileLines[i] == 0)
                continue;
            check(files.at(std::string("errors:") + kLangs[lang]), cat.fileLines[i],
                  "line " + std::to_string(i / 6 + 1) + "." + std::to_string(i % 6),
                  de == errors.end() ? "" : de->second.lines[i], cat.lines[i]);
        }
    }
}

}  // namespace

// The fuzz target of the data files includes this file for its parsers and
// brings its own main.
#ifndef QUELVARI_TEXTGEN_NO_MAIN
int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: quelvari-textgen OUT.cpp [texts:LANG=FILE]... [errors:LANG=FILE]... "
                     "[used=FILE] [own=FILE]\n";
        return 2;
    }
    try {
        std::map<int, TextTable> texts;
        std::map<int, Catalogue> errors;
        std::vector<UsedLine> used;
        std::vector<OwnEntry> own;
        std::map<std::string, std::string> files;
        for (int i = 2; i < argc; ++i) {
            const std::string arg = argv[i];
            const auto eq = arg.find('=');
            if (eq == std::string::npos)
                throw Failure{"bad argument " + arg};
            const std::string key = arg.substr(0, eq), file = arg.substr(eq + 1);
            files[key] = file;
            if (key == "used") {
                used = parseUsed(file);
            } else if (key == "own") {
                own = parseOwn(file);
            } else if (key.rfind("texts:", 0) == 0 && langIndex(key.substr(6)) >= 0) {
                texts[langIndex(key.substr(6))] = parseTexts(file);
            } else if (key.rfind("errors:", 0) == 0 && langIndex(key.substr(7)) >= 0) {
                errors[langIndex(key.substr(7))] = parseErrors(file);
            } else {
                throw Failure{"bad argument " + arg};
            }
        }
        comparePlaceholders(texts, errors, files);
        std::ostringstream out;
        out << "// Generated by quelvari-textgen from resources/. Do not edit.\n"
               "#include \"texts/generated_tables.h\"\n\nnamespace quelvari::generated {\n\n";
        const char* const textNames[] = {"kTextsDe", "kTextsEn", "kTextsFr", "kTextsIt"};
        const char* const errorNames[] = {"kErrorsDe", "kErrorsEn", "kErrorsFr", "kErrorsIt"};
        for (int l = 0; l < 4; ++l) {
            out << "const TextEntry " << textNames[l] << "[kTextTableCapacity + 1] = {\n";
            for (const Entry& e : texts[l])
                out << "    {" << e.id << ", " << cEscape(e.text) << "},\n";
            out << "    {0, \"\"},\n};\n\n";
        }
        for (int l = 0; l < 4; ++l) {
            const auto& cat = errors[l];
            out << "const char* const " << errorNames[l] << "[684] = {\n";
            for (const auto& line : cat.lines)
                out << "    " << cEscape(line) << ",\n";
            out << "};\n\n";
        }
        out << "const UsedId kUsedIds[] = {\n";
        for (const auto& u : used)
            out << "    {" << u.id << ", " << u.mask << "},\n";
        out << "    {0, 0},\n};\nconst unsigned kUsedIdCount = " << used.size() << ";\n\n";
        out << "const OwnTextEntry kOwnTexts[] = {\n";
        for (const OwnEntry& e : own)
            out << "    {" << e.id << ", " << e.lang << ", " << cEscape(e.text) << "},\n";
        out << "    {0, 0, \"\"},\n};\nconst unsigned kOwnTextCount = " << own.size() << ";\n\n";
        out << "}  // namespace quelvari::generated\n";

        // Write only when the content changed, to keep rebuilds quick.
        const std::string target = argv[1];
        std::ifstream old(target, std::ios::binary);
        std::stringstream oldContent;
        oldContent << old.rdbuf();
        if (!old || oldContent.str() != out.str()) {
            std::ofstream f(target, std::ios::binary | std::ios::trunc);
            f << out.str();
            if (!f)
                throw Failure{"cannot write " + target};
        }
    } catch (const Failure& f) {
        std::cerr << "quelvari-textgen: " << f.message << "\n";
        return 1;
    }
    return 0;
}
#endif
