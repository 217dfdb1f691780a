// The description side file: any bytes as a side file. Loading never reads
// past the data, splits it into parts that stand in the data as they were
// read, and what Save writes of them loads back the same whenever the parts
// hold none of the markers and line ends the file layout uses for itself.
// Change keeps the number of a variable whose name stays.
//
// Registered with: quelvari_fuzz_target(side_file quelvari_model)
#include <algorithm>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "model/side_file.h"

using namespace quelvari;

namespace {

bool plain(std::string_view s, bool lineEndsAllowed) {
    for (std::string_view marker : {"[COMMENT]\r\n", "[TEXT]\r\n", "[VAR]\r\n"})
        if (s.find(marker) != std::string_view::npos)
            return false;
    if (s.find('\0') != std::string_view::npos)
        return false;
    return lineEndsAllowed || s.find_first_of("\r\n") == std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view data(reinterpret_cast<const char*>(bytes), size);
    const SideFileContent c = ParseSideFile(data);
    FUZZ_CHECK(c.comment.size() <= size && c.text.size() <= size);
    FUZZ_CHECK(data.find(c.comment) != std::string_view::npos);
    FUZZ_CHECK(data.find(c.text) != std::string_view::npos);
    for (const std::string& line : c.variables.lines()) {
        FUZZ_CHECK(line.find('\r') == std::string::npos);
        FUZZ_CHECK(data.find(line) != std::string_view::npos);
        // Change with the same name keeps the number (and "(?)"), as long as
        // the name (padded to 7 columns) and the number end before column 16,
        // where the description is printed over whatever stands there.
        const VariableEntry e = ParseVariableLine(line);
        const std::size_t numberWidth = e.number ? std::to_string(*e.number).size() + 2 : 3;
        const std::size_t nameWidth = std::max<std::size_t>(e.name.size(), 7);
        if (!e.name.empty() && nameWidth + numberWidth <= kVariableDescriptionColumn) {
            const VariableEntry again = ParseVariableLine(ChangedVariableLine(line, e.name, "d"));
            FUZZ_CHECK(again.name == e.name);
            FUZZ_CHECK(again.number == e.number);
        }
    }

    const std::string saved = SerializeSideFile(c);
    FUZZ_CHECK(saved.rfind("[COMMENT]\r\n", 0) == 0);
    // The CR LF that Save writes behind a part can complete a marker.
    bool exact = plain(c.comment + "\r\n", true) && plain(c.comment, false) &&
                 plain(c.text + "\r\n", true) && c.comment.size() <= kSideCommentMax &&
                 c.text.size() <= kSideTextMax && (c.text.empty() || c.text.back() != '\r');
    for (const std::string& line : c.variables.lines())
        exact = exact && plain(line, false);
    if (exact) {
        const SideFileContent back = ParseSideFile(saved);
        FUZZ_CHECK(back.comment == c.comment);
        FUZZ_CHECK(back.text == c.text);
        FUZZ_CHECK(back.variables.lines() == c.variables.lines());
    }

    // Through the disk: what Save writes is what SerializeSideFile gives.
    const fuzz::ScratchDir& dir = fuzz::ScratchDir::get();
    dir.clear();
    const std::string path = dir.file("T.TXT");
    FUZZ_CHECK(SaveSideFile(path, c) == 0);
    const SideFileLoad load = LoadSideFile(path);
    FUZZ_CHECK(load.found && load.writable);
    if (saved.size() <= kSideFileReadLimit) {
        const SideFileContent direct = ParseSideFile(saved);
        FUZZ_CHECK(load.content.comment == direct.comment && load.content.text == direct.text);
        FUZZ_CHECK(load.content.variables.lines() == direct.variables.lines());
    }
    return 0;
}
