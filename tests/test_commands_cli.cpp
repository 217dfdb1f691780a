// quelvari-cli insert and delete: the view's Insert and Delete on a file.
#include <gtest/gtest.h>

#include "model/procedure_file.h"
#include "test_util.h"

namespace quelvari {
namespace {

using test::runCli;

struct Step {
    char type;
    std::string comment;
    std::uint16_t target;
    bool operator==(const Step&) const = default;
    friend void PrintTo(const Step& s, std::ostream* os) {
        *os << s.type << " \"" << s.comment << "\" -> " << s.target;
    }
};

std::vector<Step> Steps(const std::string& path) {
    ProcedureList list;
    EXPECT_TRUE(loadProcedure(path, list).ok());
    std::vector<Step> out;
    std::uint16_t n = 1;
    for (const ComponentNode* node = &list.procedureHead; node; node = node->next, ++n) {
        EXPECT_EQ(node->record.number(), n);
        out.push_back({static_cast<char>(node->record.typeCode()), node->record.comment(),
                       node->record.gotoTarget()});
    }
    return out;
}

TEST(EditCli, InsertAndDeleteRenumberAsTheViewDoes) {
    test::TempDir dir;
    const std::string pad = dir.file("r.PAD");
    ASSERT_EQ(runCli("insert " + pad + " 1 Z time-wait=1 factor=5").status, 2);  // no file yet
    for (const char* step : {"a branch=B1 target=3", "b branch=B1 target=2", "c"})
        ASSERT_EQ(runCli("add " + pad + " Z time-wait=1 factor=5 description=" + step).status, 0);

    auto r = runCli("insert " + pad + " 2 Z time-wait=1 factor=5 description=new");
    ASSERT_EQ(r.status, 0) << r.out;
    // Before step 2; the target 3 rises, the target 2 stays and leads to the new step.
    EXPECT_EQ(Steps(pad),
              (std::vector<Step>{{'Z', "a", 4}, {'Z', "new", 0}, {'Z', "b", 2}, {'Z', "c", 0}}));

    r = runCli("delete " + pad + " 2");
    ASSERT_EQ(r.status, 0) << r.out;
    // Pivot 3 (the moved-up record's old number): 4 becomes 3, 2 stays.
    EXPECT_EQ(Steps(pad), (std::vector<Step>{{'Z', "a", 3}, {'Z', "b", 2}, {'Z', "c", 0}}));

    const auto before = test::readBytes(pad);
    EXPECT_EQ(runCli("delete " + pad + " 4").status, 64);
    EXPECT_EQ(runCli("delete " + pad + " 0").status, 64);
    EXPECT_EQ(runCli("insert " + pad + " 4 Z time-wait=1 factor=5").status, 64);
    EXPECT_EQ(runCli("insert " + pad + " 1 Z time-wait=1 factor=60001").status, 3);
    EXPECT_EQ(test::readBytes(pad), before);

    // Down to one step, which stays: no procedure is saved without steps.
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(runCli("delete " + pad + " 1").status, 0);
    EXPECT_EQ(runCli("delete " + pad + " 1").status, 64);
    EXPECT_EQ(Steps(pad), (std::vector<Step>{{'Z', "c", 0}}));
}

}  // namespace
}  // namespace quelvari
