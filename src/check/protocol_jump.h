// Where a line of the syntax-test protocol leads: the file and step of the
// finding it lists, so that the user interface can open the procedure there.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "check/syntax_test.h"

namespace quelvari {

struct ProtocolTarget {
    std::size_t finding = 0;  // index into SyntaxTestResult::findings
    CheckedFileKind kind = CheckedFileKind::Procedure;
    std::string path;  // the file the finding is in
    int step = 0;      // 0 for findings about a file as a whole
};

// For every line of `result.lines`, the finding it lists (both lines of a
// finding with a detail lead to it); nothing for the head, the file headers
// and the closing lines.
std::vector<std::optional<ProtocolTarget>> ProtocolTargets(const SyntaxTestResult& result);

}  // namespace quelvari
