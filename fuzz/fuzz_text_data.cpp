// The data files the text generator reads: a text table, an error catalogue,
// the list of used ids or the own texts (byte 0 picks which), any content. A
// refusal names the file and line; an accepted file, written out again in the
// data format, reads back as the same table with the same printf placeholders;
// every text comes out of the generator as a C++ literal of printable ASCII.
#define QUELVARI_TEXTGEN_NO_MAIN
#include "../tools/textgen/textgen.cpp"  // the generator's parsers
#undef QUELVARI_TEXTGEN_NO_MAIN

#include "fuzz_support.h"

using quelvari::fuzz::ScratchDir;

namespace {

// A text as the data files write it: UTF-8 in quotes, with escapes.
std::string quoted(const std::string& cp1252) {
    std::string out = "\"";
    for (char c : quelvari::cp1252ToUtf8(cp1252)) {
        switch (c) {
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            default:
                out += c;
        }
    }
    return out + "\"";
}

bool sameTexts(const TextTable& a, const TextTable& b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].id != b[i].id || a[i].text != b[i].text)
            return false;
    return true;
}

void checkLiteral(const std::string& cp1252) {
    for (char c : cEscape(cp1252))
        FUZZ_CHECK(c >= 0x20 && c < 0x7F && c != '?');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ScratchDir& dir = ScratchDir::get();
    dir.clear();
    quelvari::fuzz::Reader in(data, size);
    const int kind = in.byte() % 4;
    const std::string path = dir.write("data.txt", in.rest());
    const std::string again = dir.file("again.txt");
    std::string written;
    try {
        if (kind == 0) {
            const TextTable table = parseTexts(path);
            FUZZ_CHECK(table.size() <= kCapacity);
            for (const Entry& e : table) {
                FUZZ_CHECK(e.id >= 1 && e.id <= 65535);
                FUZZ_CHECK(e.text.size() <= kMaxTextBytes &&
                           e.text.find('\0') == std::string::npos);
                checkLiteral(e.text);
                written += std::to_string(e.id) + " " + quoted(e.text) + "\n";
            }
            dir.write("again.txt", written);
            const TextTable reread = parseTexts(again);
            FUZZ_CHECK(sameTexts(reread, table));
            // Written back as a translation, it carries the same placeholders.
            comparePlaceholders({{0, table}, {1, reread}}, {},
                                {{"texts:de", path}, {"texts:en", again}});
        } else if (kind == 1) {
            const Catalogue cat = parseErrors(path);
            FUZZ_CHECK(cat.lines.size() == 684);
            bool any = false;
            for (const std::string& line : cat.lines) {
                checkLiteral(line);
                any = any || !line.empty();
            }
            // Line 0 of every message (a catalogue with entries has them all),
            // and every line that holds text.
            for (unsigned n = 1; n <= 114 && any; ++n)
                for (unsigned k = 0; k < 6; ++k)
                    if (k == 0 || !cat.lines[(n - 1) * 6 + k].empty())
                        written += std::to_string(n) + "." + std::to_string(k) + " " +
                                   quoted(cat.lines[(n - 1) * 6 + k]) + "\n";
            dir.write("again.txt", written);
            const Catalogue reread = parseErrors(again);
            FUZZ_CHECK(reread.lines == cat.lines);
            comparePlaceholders({}, {{0, cat}, {1, reread}},
                                {{"errors:de", path}, {"errors:en", again}});
        } else if (kind == 3) {
            // The own texts: every id complete in four languages, each
            // translation with the German placeholders; written back, the same.
            const std::vector<OwnEntry> own = parseOwn(path);
            std::map<unsigned, int> languages;
            for (const OwnEntry& e : own) {
                FUZZ_CHECK(e.id >= kOwnFirstId && e.id <= 65535 && e.lang >= 0 && e.lang < 4);
                FUZZ_CHECK(e.text.size() <= kMaxOwnTextBytes);
                checkLiteral(e.text);
                languages[e.id] |= 1 << e.lang;
                written +=
                    std::to_string(e.id) + " " + kLangs[e.lang] + " " + quoted(e.text) + "\n";
            }
            for (const auto& [id, mask] : languages)
                FUZZ_CHECK(mask == 15);
            dir.write("again.txt", written);
            const std::vector<OwnEntry> reread = parseOwn(again);
            FUZZ_CHECK(reread.size() == own.size());
            for (std::size_t i = 0; i < own.size(); ++i)
                FUZZ_CHECK(reread[i].id == own[i].id && reread[i].lang == own[i].lang &&
                           reread[i].text == own[i].text);
        } else {
            const std::vector<UsedLine> used = parseUsed(path);
            for (const UsedLine& u : used) {
                FUZZ_CHECK(u.id <= 65535 && u.mask != 0 && u.mask < 16);
                written += std::to_string(u.id);
                const char* sep = " ";
                for (int l = 0; l < 4; ++l)
                    if (u.mask & (1u << l)) {
                        written += sep + std::string(kLangs[l]);
                        sep = ",";
                    }
                written += "\n";
            }
            dir.write("again.txt", written);
            const std::vector<UsedLine> reread = parseUsed(again);
            FUZZ_CHECK(reread.size() == used.size());
            for (std::size_t i = 0; i < used.size(); ++i)
                FUZZ_CHECK(reread[i].id == used[i].id && reread[i].mask == used[i].mask);
        }
    } catch (const Failure& f) {
        // "FILE:LINE: reason", and never about the file written back.
        FUZZ_CHECK(f.message.rfind(path + ":", 0) == 0);
        const std::size_t digits = f.message.find_first_not_of("0123456789", path.size() + 1);
        FUZZ_CHECK(digits > path.size() + 1 && digits != std::string::npos);
        FUZZ_CHECK(f.message.compare(digits, 2, ": ") == 0);
    }
    return 0;
}
