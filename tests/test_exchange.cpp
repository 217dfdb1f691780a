// The text form (round trip, edits, refusals), the step diff and the variable
// cross-reference; quelvari-cli export, import, textconv (with real git),
// diff, vars and the check reports for pipelines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <random>
#include <regex>

#include "check_builders.h"
#include "components/layouts.h"
#include "exchange/procedure_text.h"
#include "exchange/step_diff.h"
#include "exchange/variable_xref.h"
#include "model/procedure_file.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari::test {
namespace {

using ::testing::HasSubstr;

using exchange::ExportText;
using exchange::ImportText;

const std::string kExamples = QUELVARI_EXAMPLES;
const std::string kSample = kExamples + "/sample.PAD";

std::string q(const std::string& s) {
    return "'" + s + "'";
}

// What Save As writes for `records`.
std::vector<std::uint8_t> savedBytes(const std::vector<ComponentRecord>& records,
                                     const TempDir& dir) {
    ProcedureList list;
    exchange::FillList(list, records);
    const std::string path = dir.file("saved.PAD");
    EXPECT_TRUE(writeProcedure(path, list).ok());
    return readBytes(path);
}

std::vector<ComponentRecord> importOk(const std::string& text) {
    const auto result = ImportText(text);
    EXPECT_TRUE(result.ok()) << "line " << result.errors.front().line << ": "
                             << result.errors.front().expected;
    return result.records;
}

std::vector<std::string> procedureFiles() {
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    const fs::path examples = QUELVARI_EXAMPLES;
    for (const fs::path& dir : {examples, fs::path(QUELVARI_TEST_DATA),
                                examples.parent_path() / "fuzz/corpus/procedure_file"})
        for (const auto& e : fs::recursive_directory_iterator(dir)) {
            const std::string ext = e.path().extension().string();
            const bool corpus = dir.filename() == "procedure_file";
            if (e.is_regular_file() &&
                (corpus ||
                 std::regex_match(ext, std::regex(R"(\.(PAD|PAM|IR[1-4]))", std::regex::icase))))
                files.push_back(e.path().string());
        }
    return files;
}

TEST(TextForm, EveryProcedureFileRoundTripsToTheBytesSaveAsWrites) {
    TempDir dir;
    const auto files = procedureFiles();
    ASSERT_GE(files.size(), 14u);  // sample, two check examples of 3 files, 8 seeds
    for (const std::string& path : files) {
        std::vector<ComponentRecord> records;
        ASSERT_TRUE(exchange::ReadProcedureRecords(path, records).ok()) << path;
        const std::string text = ExportText(records, path);
        EXPECT_EQ(savedBytes(importOk(text), dir), savedBytes(records, dir)) << path;
        // A second export of the imported records gives the same text.
        EXPECT_EQ(ExportText(importOk(text), path), text) << path;
    }
}

TEST(TextForm, RandomRecordsOfEveryTypeRoundTrip) {
    // Records of the laid-out types, unknown letters and type 0, filled with
    // random bytes in random places: texts without terminator, bytes behind
    // a terminator, NaN floats, out-of-range variable letters.
    TempDir dir;
    std::mt19937 rng(21);
    const std::string types = "MZIuCUDpiGPTBbx\x01\xE4";
    std::vector<ComponentRecord> records;
    for (int n = 0; n < 400; ++n) {
        ComponentRecord r;
        const int fill = static_cast<int>(rng() % 120);
        for (int k = 0; k < fill; ++k) {
            const std::size_t at = rng() % rec::kRecordSize;
            r.bytes[at] = static_cast<std::uint8_t>(rng() % 4 == 0 ? rng() : 'A' + rng() % 26);
        }
        r.setTypeCode(n % 5 == 4 ? 0 : static_cast<std::uint8_t>(types[rng() % types.size()]));
        records.push_back(r);
    }
    const std::string text = ExportText(records);
    EXPECT_EQ(savedBytes(importOk(text), dir), savedBytes(records, dir));
}

// A step whose fields all have names: the edits below change one line each.
std::vector<ComponentRecord> sampleRecords() {
    std::vector<ComponentRecord> records;
    EXPECT_TRUE(exchange::ReadProcedureRecords(kSample, records).ok());
    return records;
}

TEST(TextForm, AnEditedLineImportsAsExactlyThatEdit) {
    const auto original = sampleRecords();
    const std::string text = ExportText(original);
    // The line to replace (a regular expression), its new text, the step and
    // the change the import must make to it.
    const std::tuple<const char*, const char*, std::size_t, void (*)(ComponentRecord&)> cases[] = {
        {R"(comment = "Settle for 2 s")", R"(comment = "Settle für 3 s")", 3,
         [](ComponentRecord& r) { storeComment(r, "Settle f\xFCr 3 s"); }},
        {R"(time_factor = 200)", "time_factor = 300", 3,
         [](ComponentRecord& r) { r.setU16(layout::time::kTimeFactor, 300); }},
        {R"(trigger2_value = 250.0)", "trigger2_value = 12.5", 2,
         [](ComponentRecord& r) { r.setF32(layout::measuring::kTrigger2Value, 12.5f); }},
        {R"(variables = "P1P2T1")", R"(variables = "P1T1")", 2,
         [](ComponentRecord& r) {
             const std::uint8_t list[] = {'P', 1, 0, 'T', 1, 0, 0, 0, 0, 0};
             for (std::size_t k = 0; k < sizeof list; ++k)
                 r.setU8(layout::measuring::kVariables + k, list[k]);
         }},
        {R"(routine2_state = "disable")", R"(routine2_state = "unused")", 4,
         [](ComponentRecord& r) { r.setU8(layout::interrupt::entry(1), 0); }},
        {R"(routine2_time_base = "none")", R"(routine2_time_base = "s")", 4,
         [](ComponentRecord& r) {
             r.setU8(layout::interrupt::entry(1) + layout::interrupt::kTimeBase, 1);
         }},
        {R"(registration = "B7")", R"(registration = "B9")", 8,
         [](ComponentRecord& r) { r.setU8(layout::brk::kRegistrationNumber, 9); }},
    };
    for (const auto& [from, to, step, change] : cases) {
        const std::string edited = std::regex_replace(text, std::regex(from), to);
        ASSERT_NE(edited, text) << from;
        auto expected = original;
        change(expected[step - 1]);
        auto got = importOk(edited);
        for (auto* records : {&got, &expected})  // the mark says where a record came from
            for (ComponentRecord& r : *records)
                r.setRecordMark(0);
        EXPECT_EQ(got, expected) << to;
    }
}

TEST(TextForm, ADamagedTextIsRefusedWithItsLineAndWhatWasExpected) {
    const std::string good = ExportText(sampleRecords());
    // The line to replace, its new text, part of what the error says was expected.
    const std::tuple<std::string, std::string, const char*> cases[] = {
        {R"(time_factor = 200)", "time_factor = 70000", "from 0 to 65535"},
        {R"(time_factor = 200)", "time_factor = \"fast\"", "from 0 to 65535"},
        {R"(time_factor = 200)", "speed = 2", "not 'speed'"},
        {R"(comment = "Settle for 2 s")", "comment = \"Ωmega\"", "Windows-1252"},
        {R"(comment = "Settle for 2 s")", "comment = \"" + std::string(52, 'x') + "\"",
         "at most 51"},
        {R"(registration = "B7")", "registration = \"7B\"", "a variable"},
        {R"(routine2_state = "disable")", "routine2_state = \"maybe\"", "\"enable\""},
        {R"(comment = "Settle for 2 s")", "comment = \"Settle", "string"},
        {R"(type = "Z")", "typ = \"Z\"", "type = "},
    };
    for (const auto& [from, to, expected] : cases) {
        const std::string bad =
            std::regex_replace(good, std::regex(from), to, std::regex_constants::format_first_only);
        const auto result = ImportText(bad);
        ASSERT_FALSE(result.ok()) << to;
        const std::size_t at = bad.find(to);
        const auto line = static_cast<std::size_t>(
            1 + std::count(bad.begin(), bad.begin() + static_cast<long>(at), '\n'));
        const auto& e = result.errors.front();
        // A missing type is reported at its step's header line.
        if (from.rfind("type", 0) != 0) {
            EXPECT_EQ(e.line, line) << to;
        }
        EXPECT_THAT(e.expected, HasSubstr(expected)) << to << ": " << e.expected;
    }
    // The editor shows what was expected in its language.
    const auto range = ImportText(
        std::regex_replace(good, std::regex("time_factor = 200"), "time_factor = 70000"));
    ASSERT_FALSE(range.ok());
    EXPECT_EQ(exchange::ExpectedText(range.errors.front(), kGerman),
              "time_factor: eine ganze Zahl von 0 bis 65535");
    EXPECT_EQ(exchange::ExpectedText(range.errors.front(), kFrench),
              "time_factor : un nombre entier de 0 \u00e0 65535");
    EXPECT_FALSE(ImportText("[[step]]\ntype = \"Z\"\n").ok());  // no version line
    const auto raw =
        ImportText("quelvari_text_form = 1\n[[step]]\ntype = \"x\"\nraw.799 = \"01 02\"\n");
    ASSERT_FALSE(raw.ok());
    EXPECT_EQ(raw.errors.front().line, 4u);
}

// The records the editor leaves after inserting `record` before `step`.
std::vector<ComponentRecord> withInsert(const std::vector<ComponentRecord>& records,
                                        std::uint32_t step, const ComponentRecord& record) {
    ProcedureList list;
    exchange::FillList(list, records);
    list.goToStep(step);
    list.insertAtCurrent(record);
    return exchange::ListRecords(list);
}

// The changes from `a` to `b`, each as "kind step", then its fields.
std::string changes(const std::vector<ComponentRecord>& a, const std::vector<ComponentRecord>& b) {
    using K = exchange::StepChangeKind;
    std::string out;
    for (const auto& c : exchange::DiffSteps(a, b)) {
        out += c.kind == K::Added     ? "added "
               : c.kind == K::Removed ? "removed "
               : c.kind == K::Moved   ? "moved "
                                      : "changed ";
        out += std::to_string(c.kind == K::Removed ? c.stepA : c.stepB);
        for (const auto& f : c.fields)
            out += ", " + f.name + ": " + f.before + " -> " + f.after;
        out += "; ";
    }
    return out;
}

TEST(StepDiff, AlignsByContentAndFollowsRenumberedReferences) {
    const auto a = sampleRecords();
    // Sample step 8 branches to step 2 (an insertion before step 1, which
    // moves the target along, is the diff command's test). An insertion
    // before step 2 leaves the target at 2 (a reference equal to the place of
    // insertion stays), so the branch now leads to the new step.
    EXPECT_EQ(changes(a, withInsert(a, 2, makeRecord('Z', "new wait"))),
              "added 2; changed 9, goto: 2 (now 3) -> 2; ");
    auto edited = a;
    storeComment(edited[3], "Pressure watch 2");
    edited[2].setU16(layout::time::kTimeFactor, 300);
    EXPECT_EQ(changes(a, edited),
              "changed 3, time_factor: 200 -> 300; "
              "changed 4, comment: \"Pressure watch\" -> \"Pressure watch 2\"; ");

    // A goto that now leads elsewhere is a change; removing a step and moving
    // one to the end are told as such.
    auto retargeted = a;
    retargeted[7].setGotoTarget(3);
    EXPECT_EQ(changes(a, retargeted), "changed 8, goto: 2 -> 3; ");
    auto reordered = a;
    reordered.erase(reordered.begin() + 5);                                  // D removed
    std::rotate(reordered.begin(), reordered.begin() + 1, reordered.end());  // C to the end
    reordered[5].setGotoTarget(1);  // the break still leads to the measuring step
    EXPECT_EQ(changes(a, reordered), "removed 6; moved 7; ");
}

TEST(StepDiff, LargeProceduresStillAlignAroundAnInsertion) {
    // 3000 steps changed near both ends leave a middle too large for the
    // table; the steps that occur once on both sides still align it.
    std::vector<ComponentRecord> a;
    for (int i = 0; i < 3000; ++i)
        a.push_back(makeRecord(i % 7 ? 'Z' : 'D', "step " + std::to_string(i % 2000)));
    auto b = withInsert(a, 1500, makeRecord('Z', "inserted"));
    storeComment(b[9], "changed near the start");
    storeComment(b[2990], "changed near the end");
    EXPECT_EQ(changes(a, b),
              "changed 10, comment: \"step 9\" -> \"changed near the start\"; added 1500; "
              "changed 2991, comment: \"step 989\" -> \"changed near the end\"; ");
}

TEST(VariableXref, ConditionsReadMeasuringWritesAndBreaksDoBoth) {
    // Entry conditions are read, measured variables are written, the break's
    // reference is read and its registration written (the files a procedure
    // calls are the vars command's test).
    namespace m = layout::measuring;
    const std::vector<ComponentRecord> own = {
        makeRecord('Z', "wait", "Z5>=Z6", 3),
        withBytes(withBytes(makeRecord('M'), m::kVariables, {'P', 1, 0, 'F', 'R', 3}),
                  m::kTriggerLetter, {'Z', 5}),
        withBytes(withEntry(makeRecord('u'), "P1>2"), layout::brk::kReferenceLetter,
                  {'Z', 6, 0, 'B', 7})};
    std::string uses;
    for (const auto& v : exchange::CrossReference(own, "OWN.PAD").variables) {
        uses += v.name + " r";
        for (const auto& site : v.reads)
            uses += " " + std::to_string(site.step);
        uses += " w";
        for (const auto& site : v.writes)
            uses += " " + std::to_string(site.step);
        uses += "; ";
    }
    EXPECT_EQ(uses, "B7 r w 3; P1 r 3 w 2; Z5 r 1 2 w; Z6 r 1 3 w; FR3 r w 2; ");
}

TEST(CliExchange, ExportImportGivesTheSaveAsBytesAndRefusesADamagedText) {
    TempDir dir;
    const std::string text = dir.file("sample.txt"), out = dir.file("OUT.PAD");
    ASSERT_EQ(runCli("export " + q(kSample) + " --output " + q(text)).status, 0);
    const auto imported = runCli("import " + q(text) + " " + q(out));
    ASSERT_EQ(imported.status, 0) << imported.out;
    ASSERT_EQ(runCli("convert " + q(kSample) + " " + q(dir.file("C.PAD"))).status, 0);
    EXPECT_EQ(readBytes(out), readBytes(dir.file("C.PAD")));
    // textconv, as git runs it on a file of the work tree, prints the export.
    EXPECT_EQ(
        runCommand("cd " + q(QUELVARI_EXAMPLES) + " && " + QUELVARI_CLI + " textconv sample.PAD")
            .out,
        runCli("export " + q(kSample)).out);

    // Line 29 is the measuring step's scan period; the target stays as it was.
    runCommand("sed -i '29s/.*/scan_period_us = -1/' " + q(text));
    const auto refused = runCli("import " + q(text) + " " + q(out));
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.out,
                HasSubstr("sample.txt:29: expected scan_period_us: a whole number from 0"));
    EXPECT_EQ(readBytes(out), readBytes(dir.file("C.PAD")));
    EXPECT_EQ(runCli("export " + q(dir.file("none.PAD"))).status, 2);
    EXPECT_EQ(runCli("import " + q(text)).status, 64);
}

TEST(CliExchange, GitDiffShowsAOneFieldChangeAsText) {
    if (runCommand("git --version").status != 0)
        GTEST_SKIP() << "git is not installed";
    TempDir dir;
    const std::string git = "cd " + q(dir.path()) + " && git -c user.name=t -c user.email=t@t ";
    ASSERT_EQ(runCommand(git + "init -q . && cp " + q(kSample) +
                         " TEST.PAD && "
                         "printf '*.PAD diff=quelvari\\n' > .gitattributes && "
                         "git config diff.quelvari.textconv " +
                         q(std::string(QUELVARI_CLI) + " textconv") + " && " + git + "add . && " +
                         git + "commit -q -m sample")
                  .status,
              0);
    ASSERT_EQ(runCli("edit " + q(dir.file("TEST.PAD")) + " 3 'description=Settle for 3 s'").status,
              0);
    const auto diff = runCommand(git + "diff --no-color -U0");
    EXPECT_EQ(diff.status, 0);
    EXPECT_THAT(diff.out,
                HasSubstr("-comment = \"Settle for 2 s\"\n+comment = \"Settle for 3 s\"\n"));
    EXPECT_THAT(diff.out, ::testing::Not(HasSubstr("Binary files")));
}

TEST(CliExchange, DiffExitCodesAndJson) {
    TempDir dir;
    const std::string b = dir.file("B.PAD");
    ASSERT_EQ(runCommand("cp " + q(kSample) + " " + q(b)).status, 0);
    const auto same = runCli("diff " + q(kSample) + " " + q(b));
    EXPECT_EQ(std::pair(same.status, same.out), std::pair(0, std::string("no differences\n")));
    ASSERT_EQ(runCli("insert " + q(b) + " 1 Z 'description=Vent' time-wait=1 factor=50").status, 0);
    ASSERT_EQ(runCli("edit " + q(b) + " 4 'description=Settle'").status, 0);
    const auto text = runCli("diff " + q(kSample) + " " + q(b));
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out,
              "added    step 1: Z \"Vent\"\n"
              "changed  step 3 -> 4: Z \"Settle\"\n"
              "    comment: \"Settle for 2 s\" -> \"Settle\"\n"
              "1 added, 0 removed, 0 moved, 1 changed\n");
    const auto json = runCli("diff --format json " + q(kSample) + " " + q(b));
    EXPECT_EQ(json.status, 1);
    const auto j = nlohmann::json::parse(json.out);
    EXPECT_FALSE(j["equal"].get<bool>());
    ASSERT_EQ(j["changes"].size(), 2u);
    EXPECT_EQ(j["changes"][1]["kind"], "changed");
    EXPECT_EQ(j["changes"][1]["fields"][0]["name"], "comment");
    EXPECT_EQ(runCli("diff " + q(kSample) + " " + q(dir.file("none.PAD"))).status, 2);
}

TEST(CliExchange, VarsListsReadersAndWriters) {
    const auto out = runCli("vars " + q(kSample));
    EXPECT_EQ(out.status, 0);
    // The sample's break reads Z2 and writes B7; its measuring step writes P1
    // and reads it as a trigger.
    EXPECT_THAT(out.out, HasSubstr("B7     read: 8  written: 8\n"));
    EXPECT_THAT(out.out, HasSubstr("P1     read: 2  written: 2\n"));
    EXPECT_THAT(out.out, HasSubstr("Z2     read: 8  written: -\n"));
    // FINDINGS.PAD reads B1 at step 3; its module VALVES.PAM sets it at step 1
    // and reads Z1; the files it cannot find are named.
    EXPECT_EQ(runCli("vars " + q(kExamples + "/check-findings/FINDINGS.PAD")).out,
              "# MISSING.PAM: not found\n# FINDINGS.IR2: not found\n"
              "B1     read: 3  written: VALVES.PAM:1\nB2     read: 9  written: -\n"
              "Z1     read: VALVES.PAM:1  written: -\n");
}

TEST(CliExchange, CheckReportsAsJsonAndJunitForSeveralFiles) {
    TempDir dir;
    // Copies, so that the system files land in the temporary directory.
    for (const char* example : {"check-clean", "check-findings"})
        std::filesystem::copy(kExamples + "/" + example, dir.file(example));
    const std::string clean = dir.file("check-clean/CLEAN.PAD");
    const std::string findings = dir.file("check-findings/FINDINGS.PAD");
    const std::string files = q(clean) + " " + q(findings);

    const auto json = runCli("check --mode pv6410 --lang 1 --format json " + files);
    EXPECT_EQ(json.status, 1);
    const auto j = nlohmann::json::parse(json.out);
    ASSERT_EQ(j["files"].size(), 2u);
    EXPECT_EQ(j["files"][0]["counted"], 0);
    EXPECT_TRUE(j["files"][0]["systemFileWritten"].get<bool>());
    const auto& found = j["files"][1]["findings"];
    ASSERT_FALSE(found.empty());
    std::size_t counted = 0;
    for (const auto& f : found) {
        EXPECT_GE(f["textId"].get<int>(), 8001);
        EXPECT_FALSE(f["message"].get<std::string>().empty());
        counted += f["counted"].get<bool>() ? 1 : 0;
    }
    EXPECT_EQ(j["files"][1]["counted"], counted);
    EXPECT_EQ(j["summary"]["counted"], counted);
    EXPECT_EQ(j["summary"]["withErrors"], 1);

    const auto junit =
        runCli("check --mode pv6410 --format junit " + files + " " + q(dir.file("NONE.PAD")));
    EXPECT_EQ(junit.status, 2);
    const std::string xml = junit.out.substr(junit.out.find("<?xml"));
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string(xml.c_str())) << junit.out;
    const auto suite = doc.child("testsuites").child("testsuite");
    EXPECT_EQ(suite.attribute("tests").as_int(), 3);
    EXPECT_EQ(suite.attribute("failures").as_uint(), counted);
    EXPECT_EQ(suite.attribute("errors").as_int(), 1);
    std::vector<std::size_t> perCase;
    for (auto tc : suite.children("testcase"))
        perCase.push_back(static_cast<std::size_t>(
            std::distance(tc.children("failure").begin(), tc.children("failure").end())));
    EXPECT_EQ(perCase, (std::vector<std::size_t>{0, counted, 0}));

    const auto text = runCli("check --mode pv6410 " + files);
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(text.out, HasSubstr("2 files checked, 1 with errors, 0 not checked, " +
                                    std::to_string(counted) + " errors counted"));
}

}  // namespace
}  // namespace quelvari::test
