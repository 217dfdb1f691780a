// A step-level comparison of two procedures. Steps are aligned by their
// content, so a step inserted in the middle is one added step, and the step
// references (goto targets and the step references of the graphic, print and
// statistic components) are compared by the step they lead to, so a reference
// that only moved with renumbering is no difference.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "model/record.h"

namespace quelvari::exchange {

// A named field whose value differs, as the text form shows both values.
struct FieldChange {
    std::string name;
    std::string before;
    std::string after;
};

enum class StepChangeKind { Added, Removed, Moved, Changed };

struct StepChange {
    StepChangeKind kind = StepChangeKind::Changed;
    std::size_t stepA = 0;            // 1-based in the first procedure; 0 for an added step
    std::size_t stepB = 0;            // 1-based in the second procedure; 0 for a removed step
    std::vector<FieldChange> fields;  // Changed (and a moved step that also changed)
};

// The changes in the order of the second procedure's steps, removed steps
// where they stood.
std::vector<StepChange> DiffSteps(const std::vector<ComponentRecord>& a,
                                  const std::vector<ComponentRecord>& b);

const char* StepChangeName(StepChangeKind kind);

}  // namespace quelvari::exchange
