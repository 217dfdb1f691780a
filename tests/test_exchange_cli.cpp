// quelvari-cli export, import, textconv (with real git), diff, vars and the
// check reports for pipelines.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "test_util.h"

namespace quelvari {
namespace {

using test::runCli;
using test::runCommand;
using test::TempDir;

const std::string kSample = std::string(QUELVARI_EXAMPLES) + "/sample.PAD";

std::string q(const std::string& s) {
    return "'" + s + "'";
}

TEST(CliExchange, ExportImportGivesTheSaveAsBytesAndRefusesADamagedText) {
    TempDir dir;
    const std::string text = dir.file("sample.txt"), out = dir.file("OUT.PAD");
    ASSERT_EQ(runCli("export " + q(kSample) + " --output " + q(text)).status, 0);
    const auto imported = runCli("import " + q(text) + " " + q(out));
    ASSERT_EQ(imported.status, 0) << imported.out;
    ASSERT_EQ(runCli("convert " + q(kSample) + " " + q(dir.file("C.PAD"))).status, 0);
    EXPECT_EQ(test::readBytes(out), test::readBytes(dir.file("C.PAD")));
    EXPECT_EQ(runCli("textconv " + q(kSample)).out, runCli("export " + q(kSample)).out);

    // Line 29 is the measuring step's scan period; the target stays as it was.
    runCommand("sed -i '29s/.*/scan_period_us = -1/' " + q(text));
    const auto refused = runCli("import " + q(text) + " " + q(out));
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.out.find("sample.txt:29: expected scan_period_us: a whole number from 0"),
              std::string::npos)
        << refused.out;
    EXPECT_EQ(test::readBytes(out), test::readBytes(dir.file("C.PAD")));
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
    EXPECT_NE(diff.out.find("-comment = \"Settle for 2 s\"\n+comment = \"Settle for 3 s\"\n"),
              std::string::npos)
        << diff.out;
    EXPECT_EQ(diff.out.find("Binary files"), std::string::npos);
}

TEST(CliExchange, DiffExitCodesAndJson) {
    TempDir dir;
    const std::string b = dir.file("B.PAD");
    ASSERT_EQ(runCommand("cp " + q(kSample) + " " + q(b)).status, 0);
    EXPECT_EQ(runCli("diff " + q(kSample) + " " + q(b)).out, "no differences\n");
    EXPECT_EQ(runCli("diff " + q(kSample) + " " + q(b)).status, 0);
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
    EXPECT_NE(out.out.find("B7     read: 8  written: 8\n"), std::string::npos) << out.out;
    EXPECT_NE(out.out.find("P1     read: 2  written: 2\n"), std::string::npos) << out.out;
    EXPECT_NE(out.out.find("Z2     read: 8  written: -\n"), std::string::npos) << out.out;
}

TEST(CliExchange, CheckReportsAsJsonAndJunitForSeveralFiles) {
    TempDir dir;
    // Copies, so that the system files land in the temporary directory.
    ASSERT_EQ(
        runCommand("cp -r " + q(std::string(QUELVARI_EXAMPLES) + "/check-clean") + " " +
                   q(std::string(QUELVARI_EXAMPLES) + "/check-findings") + " " + q(dir.path()))
            .status,
        0);
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
    EXPECT_NE(text.out.find("2 files checked, 1 with errors, 0 not checked, " +
                            std::to_string(counted) + " errors counted"),
              std::string::npos);
}

}  // namespace
}  // namespace quelvari
