// The description side file: name, bytes, variable lines, Change and Delete,
// the safe save and automatic generation.
#include <gtest/gtest.h>

#include "check/procedure_variables.h"
#include "check_builders.h"
#include "components/layouts.h"
#include "model/file_io.h"
#include "model/side_file.h"
#include "test_util.h"

namespace quelvari::test {
namespace {

TEST(SideFile, NameNeverNamesAProcedure) {
    const std::pair<std::string, std::string> cases[] = {
        {"/d/T.PAD", "/d/T.TXT"},
        // The first ".PAD" is the one replaced, wherever it stands.
        {"/d/A.PADX/T.bin", "/d/A.TXTX/T.bin"},
        // Would name another procedure: the file's own extension instead.
        {"/d/A.PAD/T.PAD", "/d/A.PAD/T.TXT"},
        // Without ".PAD" the path itself would be overwritten.
        {"/d/x.pad", "/d/x.txt"},
        {"/d/x.Pad", "/d/x.Txt"},
        {"/d/M.PAM", "/d/M.PAM.TXT"},
        {"/d/R.ir1", "/d/R.ir1.TXT"},
        {"noext", "noext.TXT"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(SideFilePath(in), out) << in;
        EXPECT_FALSE(IsProcedureFileName(SideFilePath(in))) << in;
    }
}

TEST(SideFile, BytesAndSections) {
    SideFileContent c;
    c.comment = "Pump test";
    c.text = "Line 1\r\nLine 2";
    c.variables.add(FormatVariableLine("ZB", 3, "Counter"));
    c.variables.add(FormatVariableLine("ABC", 12, "Pressure"));
    const std::string bytes = SerializeSideFile(c);
    EXPECT_EQ(bytes,
              "[COMMENT]\r\nPump test\r\n[TEXT]\r\nLine 1\r\nLine 2\r\n[VAR]\r\n"
              "ABC    (12)     Pressure\r\n"
              "ZB     (3)      Counter\r\n");
    // Loading gives back what was saved: saving that gives the same bytes.
    EXPECT_EQ(SerializeSideFile(ParseSideFile(bytes)), bytes);

    // An empty text: the marker directly followed by CR LF.
    const std::string empty = "[COMMENT]\r\n\r\n[TEXT]\r\n\r\n[VAR]\r\n";
    EXPECT_EQ(SerializeSideFile({}), empty);
    EXPECT_EQ(SerializeSideFile(ParseSideFile(empty)), empty);

    // Without "[VAR]" the text runs to the end of the data and no variable is read.
    EXPECT_EQ(SerializeSideFile(ParseSideFile("[COMMENT]\r\nC\r\n[TEXT]\r\nSome\r\ntext")),
              "[COMMENT]\r\nC\r\n[TEXT]\r\nSome\r\ntext\r\n[VAR]\r\n");

    // Lines after [VAR] are taken up to their CR, sorted as the list sorts
    // them (without regard to case); a last line without CR LF counts too.
    const SideFileContent vars =
        ParseSideFile("[COMMENT]\r\n\r\n[TEXT]\r\n\r\n[VAR]\r\nz1\r\nB2\r\na3");
    EXPECT_EQ(vars.variables.lines(), (std::vector<std::string>{"a3", "B2", "z1"}));

    // A zero byte ends the data; the limits cut comment and text on save.
    const SideFileContent nul =
        ParseSideFile(std::string("[COMMENT]\r\nA\r\n[TEXT]\r\nB\0C\r\n[VAR]\r\nX\r\n", 32));
    EXPECT_EQ(nul.text, "B");
    EXPECT_TRUE(nul.variables.empty());
    SideFileContent big;
    big.comment = std::string(150, 'c');
    big.text = std::string(25000, 't');
    const SideFileContent cut = ParseSideFile(SerializeSideFile(big));
    EXPECT_EQ(std::pair(cut.comment.size(), cut.text.size()),
              std::pair(kSideCommentMax, kSideTextMax));
    // Missing markers leave their parts empty instead of reading past them.
    EXPECT_EQ(ParseSideFile("garbage").comment, "");
    EXPECT_EQ(ParseSideFile("[COMMENT]\r\nonly\r\n").comment, "only");
}

TEST(SideFile, LoadReadsAtMost20000Bytes) {
    TempDir dir;
    const std::string path = dir.file("T.TXT");
    std::string data = "[COMMENT]\r\nC\r\n[TEXT]\r\n";
    data += std::string(kSideFileReadLimit, 'x');
    data += "\r\n[VAR]\r\nB1     (1)      late\r\n";
    writeText(path, data);
    const SideFileLoad load = LoadSideFile(path);
    EXPECT_EQ(std::tuple(load.found, load.writable, load.content.comment, load.content.text.size(),
                         load.content.variables.size()),
              std::tuple(true, true, "C", kSideFileReadLimit - 22, 0u));

    EXPECT_FALSE(LoadSideFile(dir.file("none.TXT")).found);
    EXPECT_TRUE(LoadSideFile(dir.file("none.TXT")).writable);
    EXPECT_FALSE(LoadSideFile("/nonexistent-dir/x.TXT").writable);
}

TEST(SideFile, SaveKeepsTheOldFileOnFailure) {
    TempDir dir;
    const std::string path = dir.file("T.TXT");
    const std::string old = "[COMMENT]\r\nold\r\n[TEXT]\r\n\r\n[VAR]\r\n";
    writeText(path, old);
    SideFileContent c;
    c.comment = "new";
    c.text = std::string(5000, 'n');
    // A full disk: the first write fails.
    SetIoFault([](IoCall call) { return call == IoCall::Write ? 28 : 0; });
    EXPECT_EQ(SaveSideFile(path, c), 92 << 8);
    SetIoFault({});
    EXPECT_EQ(readText(path), old);
    // No temporary file is left behind.
    EXPECT_EQ(listing(dir.path()), std::vector<std::string>{"T.TXT"});

    EXPECT_EQ(SaveSideFile(path, c), 0);
    EXPECT_EQ(readText(path), SerializeSideFile(c));

    // A procedure is never taken for a side file.
    const std::string pad = dir.file("x.pad");
    writeText(pad, "procedure");
    EXPECT_EQ(SaveSideFile(pad, c), 92 << 8);
    EXPECT_EQ(readText(pad), "procedure");
    EXPECT_EQ(SaveSideFile(SideFilePath(pad), c), 0);
    EXPECT_EQ(readText(dir.file("x.txt")), SerializeSideFile(c));
}

TEST(SideFile, VariableLinesChangeAndDelete) {
    // ABC, four blanks, "(12)", five blanks, Pressure from position 16.
    EXPECT_EQ(FormatVariableLine("ABC", 12, "Pressure"), "ABC    (12)     Pressure");
    EXPECT_EQ(FormatVariableLine("ABC", std::nullopt, "P"), "ABC    (?)      P");
    // Long names are not cut; the description still starts at position 16.
    EXPECT_EQ(FormatVariableLine("LONGNAME", 7, "D"), "LONGNAME(7)     D");
    EXPECT_EQ(FormatVariableLine("VERYLONGNAME", 123, "D"), "VERYLONGNAME(123D");

    EXPECT_EQ(ParseVariableLine("ABC    (12)     Pressure"),
              (VariableEntry{"ABC", 12, "Pressure"}));
    EXPECT_EQ(ParseVariableLine("ABC    (?)      Pressure high"),
              (VariableEntry{"ABC", std::nullopt, "Pressure high"}));
    EXPECT_EQ(ParseVariableLine("LONGNAME(7)     D"), (VariableEntry{"LONGNAME", 7, "D"}));
    EXPECT_EQ(ParseVariableLine("free text"), (VariableEntry{"free", std::nullopt, "text"}));

    // Renaming loses the number; keeping the name keeps it, "(?)" included.
    EXPECT_EQ(ChangedVariableLine("B3     (3)      Old", "B4", "New"), "B4     (?)      New");
    EXPECT_EQ(ChangedVariableLine("B3     (3)      Old", "B3", "New"), "B3     (3)      New");

    VariableLines list;
    list.add(FormatVariableLine("B1", 1, "one"));
    list.add(FormatVariableLine("B3", 3, "three"));
    list.add(FormatVariableLine("B2", 2, "two"));
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(ParseVariableLine(list[1]).name, "B2");
    // Change moves the line to its sorted place and returns it for selection.
    const std::size_t at = ChangeVariable(list, 0, "Z1", "renamed");
    EXPECT_EQ(at, 2u);
    EXPECT_EQ(list[2], "Z1     (?)      renamed");
    // Delete selects the line that now stands at the same place, or nothing.
    EXPECT_EQ(DeleteVariable(list, 0), std::optional<std::size_t>(0));
    EXPECT_EQ(ParseVariableLine(list[0]).name, "B3");
    EXPECT_EQ(DeleteVariable(list, 1), std::nullopt);
    ASSERT_EQ(list.size(), 1u);
    // The reselection goes by text, without regard to case: among equal
    // lines it lands on the first of them.
    for (const char* line : {"x", "X", "X"})
        list.add(line);
    ASSERT_EQ(list.lines(), (std::vector<std::string>{"B3     (3)      three", "x", "X", "X"}));
    EXPECT_EQ(DeleteVariable(list, 2), std::optional<std::size_t>(1));
}

TEST(SideFile, AutomaticGenerationAddsWhatIsMissing) {
    namespace m = layout::measuring;
    const std::vector<ComponentRecord> records = {
        withEntry({}, "z5>=Z6"),
        withBytes(withBytes(typed('M'), m::kVariables, {'P', 1, 0, 'P', 'T', 3, 'B', 12}),
                  m::kTriggerLetter, {'E', 4}),
        // The break's reference was named by step 1 already.
        withBytes(typed('u'), layout::brk::kReferenceLetter, {'Z', 5, 0, 'B', 9})};

    const std::vector<UsedVariable> used = CollectUsedVariables(records);
    const std::vector<UsedVariable> expected = {{"Z5", 5},   {"Z6", 6}, {"P1", 1}, {"PT3", 3},
                                                {"B12", 12}, {"E4", 4}, {"B9", 9}};
    EXPECT_EQ(used, expected);

    VariableLines lines;
    lines.add(FormatVariableLine("b12", std::nullopt, "kept as written"));
    EXPECT_EQ(AddUsedVariables(lines, records), 6u);
    EXPECT_EQ(lines.size(), 7u);
    EXPECT_TRUE(lines.findPrefix("PT3    (3)"));
    EXPECT_TRUE(lines.findPrefix("b12    (?)      kept as written"));
    // A second run finds nothing new.
    EXPECT_EQ(AddUsedVariables(lines, records), 0u);
    // New takes the number of a variable the procedure uses.
    EXPECT_EQ(NewVariableLine(records, "pt3", "Temp"), "pt3    (3)      Temp");
    EXPECT_EQ(NewVariableLine(records, "X1", "Other"), "X1     (?)      Other");
}

}  // namespace
}  // namespace quelvari::test
