#include "exchange/step_diff.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "exchange/text_form.h"

namespace quelvari::exchange {

namespace {

// The step a record names, as renumbering sees it: the goto target while a
// branch condition is set, and the type's own step reference while in force.
struct References {
    std::optional<int> target;
    std::optional<int> step;
};

References referencesOf(const ComponentRecord& r) {
    References refs;
    if (r.hasBranch())
        refs.target = r.gotoTarget();
    int step = 0;
    if (StepReference(r, step))
        refs.step = step;
    return refs;
}

// The record without what saving and renumbering rewrite: marks, step
// number and the step references in force.
std::string contentKey(const ComponentRecord& r) {
    ComponentRecord k = r;
    k.setFormatMark(0);
    k.setRecordMark(0);
    k.setNumber(0);
    if (k.hasBranch())
        k.setGotoTarget(0);
    switch (k.typeCode()) {
        case 'G':
            if (k.u8(89) == 0)
                k.setU16(92, 0);
            break;
        case 'P':
            if (k.u8(90) == 0)
                k.setU16(94, 0);
            break;
        case 'T':
            if (k.u8(152) == 0)
                k.setI16(154, 0);
            break;
        default:
            break;
    }
    return std::string(reinterpret_cast<const char*>(k.data()), rec::kRecordSize);
}

using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;

// A common subsequence of a[a0, a1) and b[b0, b1), appended to `pairs` in
// order. Common head and tail are taken first; a middle that fits the table
// gets the longest common subsequence. A larger middle is split at the steps
// that occur exactly once on both sides (the longest run of them in the same
// order), and each gap between them is matched the same way; a large gap
// without such steps stays unmatched (its steps pair up as changes).
void commonSteps(const std::vector<std::string>& a, const std::vector<std::string>& b,
                 std::size_t a0, std::size_t a1, std::size_t b0, std::size_t b1, Pairs& pairs) {
    while (a0 < a1 && b0 < b1 && a[a0] == b[b0])
        pairs.emplace_back(a0++, b0++);
    std::size_t tail = 0;
    while (a0 < a1 - tail && b0 < b1 - tail && a[a1 - 1 - tail] == b[b1 - 1 - tail])
        ++tail;
    const std::size_t n = a1 - tail - a0, m = b1 - tail - b0;
    constexpr std::size_t kMaxCells = 4u * 1024 * 1024;  // 16 MB of table
    if (n > 0 && m > 0 && (n + 1) * (m + 1) <= kMaxCells) {
        std::vector<std::uint32_t> len((n + 1) * (m + 1), 0);
        const auto at = [&](std::size_t i, std::size_t j) -> std::uint32_t& {
            return len[i * (m + 1) + j];
        };
        for (std::size_t i = n; i-- > 0;)
            for (std::size_t j = m; j-- > 0;)
                at(i, j) = a[a0 + i] == b[b0 + j] ? at(i + 1, j + 1) + 1
                                                  : std::max(at(i + 1, j), at(i, j + 1));
        std::size_t i = 0, j = 0;
        while (i < n && j < m) {
            if (a[a0 + i] == b[b0 + j]) {
                pairs.emplace_back(a0 + i, b0 + j);
                ++i;
                ++j;
            } else if (at(i + 1, j) >= at(i, j + 1)) {
                ++i;
            } else {
                ++j;
            }
        }
    } else if (n > 0 && m > 0) {
        // Steps unique on both sides, in the order of a, with their place in b.
        std::unordered_map<std::string_view, std::pair<int, std::size_t>> countA, countB;
        for (std::size_t i = a0; i < a0 + n; ++i) {
            auto& c = countA[a[i]];
            ++c.first;
            c.second = i;
        }
        for (std::size_t j = b0; j < b0 + m; ++j) {
            auto& c = countB[b[j]];
            ++c.first;
            c.second = j;
        }
        Pairs unique;
        for (std::size_t i = a0; i < a0 + n; ++i) {
            const auto inB = countB.find(a[i]);
            if (countA[a[i]].first == 1 && inB != countB.end() && inB->second.first == 1)
                unique.emplace_back(i, inB->second.second);
        }
        // Longest increasing run of their places in b (patience sorting).
        std::vector<std::size_t> piles, back(unique.size(), SIZE_MAX);
        for (std::size_t k = 0; k < unique.size(); ++k) {
            const auto pos = std::lower_bound(
                piles.begin(), piles.end(), unique[k].second,
                [&](std::size_t p, std::size_t j) { return unique[p].second < j; });
            if (pos != piles.begin())
                back[k] = *(pos - 1);
            if (pos == piles.end())
                piles.push_back(k);
            else
                *pos = k;
        }
        Pairs anchors;
        for (std::size_t k = piles.empty() ? SIZE_MAX : piles.back(); k != SIZE_MAX; k = back[k])
            anchors.push_back(unique[k]);
        std::reverse(anchors.begin(), anchors.end());
        std::size_t i = a0, j = b0;
        for (const auto& [ai, bj] : anchors) {
            commonSteps(a, b, i, ai, j, bj, pairs);
            pairs.emplace_back(ai, bj);
            i = ai + 1;
            j = bj + 1;
        }
        if (!anchors.empty())
            commonSteps(a, b, i, a0 + n, j, b0 + m, pairs);
    }
    for (std::size_t t = tail; t > 0; --t)
        pairs.emplace_back(a1 - t, b1 - t);
}

Pairs commonSteps(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    Pairs pairs;
    commonSteps(a, b, 0, a.size(), 0, b.size(), pairs);
    return pairs;
}

// The changed fields of a pair of steps; `sameContent` when only their
// references can differ (the named fields are then not compared).
std::vector<FieldChange> fieldChanges(const ComponentRecord& a, const ComponentRecord& b,
                                      const std::map<std::size_t, std::size_t>& aToB,
                                      bool sameContent) {
    std::vector<FieldChange> out;
    const References ra = referencesOf(a), rb = referencesOf(b);
    // A reference is the same when it leads to the step that corresponds.
    const auto sameTarget = [&](std::optional<int> x, std::optional<int> y) {
        if (!x || !y)
            return x.has_value() == y.has_value();
        if (*x > 0) {
            const auto it = aToB.find(static_cast<std::size_t>(*x));
            if (it != aToB.end())
                return static_cast<int>(it->second) == *y;
        }
        return *x == *y;
    };
    const auto refText = [](std::optional<int> v) {
        return v ? std::to_string(*v) : std::string("-");
    };
    // The first procedure's reference, with the step it led to in the second
    // one's numbering when that differs ("2 (now 3)").
    const auto beforeText = [&](std::optional<int> v) {
        std::string text = refText(v);
        if (v && *v > 0) {
            const auto it = aToB.find(static_cast<std::size_t>(*v));
            if (it != aToB.end() && static_cast<int>(it->second) != *v)
                text += " (now " + std::to_string(it->second) + ")";
        }
        return text;
    };
    if (sameContent) {
        std::vector<FieldChange> refs;
        if (!sameTarget(ra.target, rb.target))
            refs.push_back({"goto", beforeText(ra.target), refText(rb.target)});
        if (!sameTarget(ra.step, rb.step))
            refs.push_back({"step_reference", beforeText(ra.step), refText(rb.step)});
        return refs;
    }
    const std::vector<NamedField> fa = RecordFields(a), fb = RecordFields(b);
    const auto find = [](const std::vector<NamedField>& f, const std::string& name) {
        return std::find_if(f.begin(), f.end(),
                            [&](const NamedField& x) { return x.name == name; });
    };
    // Fields in the order of the first record, then those only the second has.
    std::vector<std::string> names;
    for (const NamedField& f : fa)
        names.push_back(f.name);
    for (const NamedField& f : fb)
        if (find(fa, f.name) == fa.end())
            names.push_back(f.name);
    for (const std::string& name : names) {
        const auto x = find(fa, name), y = find(fb, name);
        const std::string before = x != fa.end() ? ValueText(x->value) : "-";
        const std::string after = y != fb.end() ? ValueText(y->value) : "-";
        if (name == "goto") {
            if (!sameTarget(ra.target, rb.target))
                out.push_back({name, beforeText(ra.target), refText(rb.target)});
            continue;
        }
        if (name == "step_reference") {
            if (!sameTarget(ra.step, rb.step) || (!ra.step && !rb.step && before != after))
                out.push_back({name, ra.step ? beforeText(ra.step) : before, after});
            continue;
        }
        if (before != after)
            out.push_back({name, before, after});
    }
    if (a.typeCode() != b.typeCode())
        out.insert(out.begin(), {"type", std::string(1, static_cast<char>(a.typeCode())),
                                 std::string(1, static_cast<char>(b.typeCode()))});
    // Bytes no named field covers.
    const auto rawText = [](const ComponentRecord& r) {
        std::string s;
        for (const RawRun& run : UncoveredBytes(r)) {
            s += std::to_string(run.offset) + ":";
            for (std::uint8_t v : run.bytes)
                s += " " + std::to_string(v);
            s += ";";
        }
        return s;
    };
    if (rawText(a) != rawText(b))
        out.push_back({"raw", "(bytes)", "(other bytes)"});
    return out;
}

}  // namespace

const char* StepChangeName(StepChangeKind kind) {
    switch (kind) {
        case StepChangeKind::Added:
            return "added";
        case StepChangeKind::Removed:
            return "removed";
        case StepChangeKind::Moved:
            return "moved";
        case StepChangeKind::Changed:
            return "changed";
    }
    return "";
}

std::vector<StepChange> DiffSteps(const std::vector<ComponentRecord>& a,
                                  const std::vector<ComponentRecord>& b) {
    std::vector<std::string> ka, kb;
    for (const auto& r : a)
        ka.push_back(contentKey(r));
    for (const auto& r : b)
        kb.push_back(contentKey(r));
    const auto common = commonSteps(ka, kb);

    // Pairs (0-based): common steps, then moved steps (same content outside
    // the common sequence), then changed steps (same type, in the same gap
    // between two common steps, in order).
    std::vector<std::optional<std::size_t>> matchA(a.size()), matchB(b.size());
    std::vector<bool> moved(a.size(), false);
    for (auto [i, j] : common) {
        matchA[i] = j;
        matchB[j] = i;
    }
    {
        std::unordered_map<std::string_view, std::vector<std::size_t>> freeB;
        for (std::size_t j = b.size(); j-- > 0;)
            if (!matchB[j])
                freeB[kb[j]].push_back(j);
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (matchA[i])
                continue;
            auto it = freeB.find(ka[i]);
            if (it == freeB.end() || it->second.empty())
                continue;
            const std::size_t j = it->second.back();
            it->second.pop_back();
            matchA[i] = j;
            matchB[j] = i;
            moved[i] = true;
        }
    }
    {
        // Gaps: unmatched steps of A and B between consecutive common pairs.
        std::size_t ia = 0, ib = 0;
        std::vector<std::pair<std::size_t, std::size_t>> anchors = common;
        anchors.emplace_back(a.size(), b.size());
        for (auto [ea, eb] : anchors) {
            std::vector<std::size_t> ga, gb;
            for (; ia < ea; ++ia)
                if (!matchA[ia])
                    ga.push_back(ia);
            for (; ib < eb; ++ib)
                if (!matchB[ib])
                    gb.push_back(ib);
            std::size_t next = 0;
            for (std::size_t i : ga)
                for (std::size_t k = next; k < gb.size(); ++k)
                    if (a[i].typeCode() == b[gb[k]].typeCode()) {
                        matchA[i] = gb[k];
                        matchB[gb[k]] = i;
                        next = k + 1;
                        break;
                    }
            ia = ea + 1;
            ib = eb + 1;
        }
    }
    std::map<std::size_t, std::size_t> aToB;  // 1-based step numbers
    for (std::size_t i = 0; i < a.size(); ++i)
        if (matchA[i])
            aToB[i + 1] = *matchA[i] + 1;

    std::vector<StepChange> out;
    std::size_t nextRemoved = 0;
    const auto flushRemoved = [&](std::size_t upTo) {
        for (; nextRemoved < upTo && nextRemoved < a.size(); ++nextRemoved)
            if (!matchA[nextRemoved])
                out.push_back({StepChangeKind::Removed, nextRemoved + 1, 0, {}});
    };
    for (std::size_t j = 0; j < b.size(); ++j) {
        if (!matchB[j]) {
            out.push_back({StepChangeKind::Added, 0, j + 1, {}});
            continue;
        }
        const std::size_t i = *matchB[j];
        if (!moved[i])
            flushRemoved(i);
        std::vector<FieldChange> fields = fieldChanges(a[i], b[j], aToB, ka[i] == kb[j]);
        if (moved[i])
            out.push_back({StepChangeKind::Moved, i + 1, j + 1, std::move(fields)});
        else if (!fields.empty())
            out.push_back({StepChangeKind::Changed, i + 1, j + 1, std::move(fields)});
    }
    flushRemoved(a.size());
    return out;
}

}  // namespace quelvari::exchange
