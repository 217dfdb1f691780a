// Protocol lines lead back to their findings (the dialogs' double click).
#include <gtest/gtest.h>

#include <algorithm>

#include "check/protocol_jump.h"
#include "components/layouts.h"
#include "model/procedure_file.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

TEST(ProtocolTargets, LinesLeadToTheirFindings) {
    test::TempDir dir;
    ProcedureList list;
    // Step 1 jumps to a step that does not exist; step 2 calls a missing
    // module (a finding about a file, without a step) and is the last one.
    list.appendRecord(test::makeRecord('Z', "wait", "B1", 9));
    ComponentRecord module = test::makeRecord('U', "call");
    module.setText(layout::module::kName, "NOPE");
    list.appendRecord(module);
    const std::string pad = dir.file("T.PAD");
    ASSERT_TRUE(writeProcedure(pad, list).ok());

    const SyntaxTestResult r = RunSyntaxTest(pad, kCheckTarvisel);
    ASSERT_FALSE(r.findings.empty());
    const auto targets = ProtocolTargets(r);
    ASSERT_EQ(targets.size(), r.lines.size());
    // The head and the file header lead nowhere.
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_FALSE(targets[i]) << r.lines[i];
    EXPECT_FALSE(targets.back());

    std::vector<bool> reached(r.findings.size());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (!targets[i])
            continue;
        const SyntaxFinding& f = r.findings[targets[i]->finding];
        reached[targets[i]->finding] = true;
        const auto lines = RenderFinding(f);
        EXPECT_NE(std::find(lines.begin(), lines.end(), r.lines[i]), lines.end()) << r.lines[i];
        EXPECT_EQ(targets[i]->step, f.wholeFile() ? 0 : f.step);
        EXPECT_EQ(targets[i]->path, r.files[f.file].path);
    }
    EXPECT_TRUE(std::all_of(reached.begin(), reached.end(), [](bool b) { return b; }));

    // The GOTO finding leads to the procedure at its step; the missing module
    // to no step.
    auto goTo = std::find_if(targets.begin(), targets.end(), [&](const auto& t) {
        return t && r.findings[t->finding].textId == 8019;
    });
    ASSERT_NE(goTo, targets.end());
    EXPECT_EQ((*goTo)->kind, CheckedFileKind::Procedure);
    EXPECT_GT((*goTo)->step, 0);
    auto missing = std::find_if(targets.begin(), targets.end(), [&](const auto& t) {
        return t && r.findings[t->finding].textId == 8025;
    });
    ASSERT_NE(missing, targets.end());
    EXPECT_EQ((*missing)->step, 0);
}

}  // namespace
}  // namespace quelvari
