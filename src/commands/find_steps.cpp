#include "commands/find_steps.h"

#include <algorithm>

#include "check/procedure_variables.h"
#include "components/catalogue.h"

namespace quelvari {
namespace {

// Case folding of Windows-1252: ASCII and the Latin-1 letters from 0xC0
// (without the multiplication sign), plus Š, Œ, Ž and Ÿ.
unsigned char Fold(unsigned char c) {
    if (c >= 'A' && c <= 'Z')
        return static_cast<unsigned char>(c + 32);
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
        return static_cast<unsigned char>(c + 32);
    switch (c) {
        case 0x8A:
            return 0x9A;
        case 0x8C:
            return 0x9C;
        case 0x8E:
            return 0x9E;
        case 0x9F:
            return 0xFF;
        default:
            return c;
    }
}

bool Contains(std::string_view haystack, std::string_view needle) {
    const auto it = std::search(
        haystack.begin(), haystack.end(), needle.begin(), needle.end(), [](char a, char b) {
            return Fold(static_cast<unsigned char>(a)) == Fold(static_cast<unsigned char>(b));
        });
    return it != haystack.end();
}

}  // namespace

std::vector<FindHit> FindSteps(const ProcedureList& list, std::string_view needle) {
    std::vector<FindHit> hits;
    if (needle.empty() || list.componentCount == 0)
        return hits;
    std::uint32_t step = 1;
    for (const ComponentNode* n = &list.procedureHead; n && step <= list.componentCount;
         n = n->next, ++step) {
        const ComponentRecord& r = n->record;
        const auto check = [&](FindField field, const std::string& text) {
            if (Contains(text, needle))
                hits.push_back({step, field, text});
        };
        check(FindField::Comment, r.comment());
        check(FindField::InputCondition, r.inputCondition());
        check(FindField::BranchCondition, r.branchCondition());
        for (const UsedVariable& v : CollectUsedVariables({r}))
            if (Contains(v.name, needle)) {
                hits.push_back({step, FindField::Variable, v.name});
                break;
            }
        check(FindField::TypeName, TypeName(r));
    }
    return hits;
}

int NextHit(const std::vector<FindHit>& hits, std::uint32_t step) {
    if (hits.empty())
        return -1;
    for (std::size_t i = 0; i < hits.size(); ++i)
        if (hits[i].step > step)
            return static_cast<int>(i);
    return 0;
}

}  // namespace quelvari
