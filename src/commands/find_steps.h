// Find over the procedure: which steps name a text in their comment, their
// entry or branch condition, a variable they use or their type's name.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/procedure.h"

namespace quelvari {

enum class FindField : std::uint8_t {
    Comment,
    InputCondition,
    BranchCondition,
    Variable,
    TypeName
};

struct FindHit {
    std::uint32_t step = 0;
    FindField field = FindField::Comment;
    std::string text;  // the field's text (Windows-1252)
    bool operator==(const FindHit&) const = default;
};

// Every step whose fields contain `needle` (Windows-1252), compared without
// regard to case; one hit per step and field, in step order. An empty needle
// finds nothing.
std::vector<FindHit> FindSteps(const ProcedureList& list, std::string_view needle);

// The first hit on a step after `step`, wrapping round to the first hit; -1
// without hits.
int NextHit(const std::vector<FindHit>& hits, std::uint32_t step);

}  // namespace quelvari
