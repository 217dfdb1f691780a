#include "check/protocol_jump.h"

namespace quelvari {

std::vector<std::optional<ProtocolTarget>> ProtocolTargets(const SyntaxTestResult& result) {
    std::vector<std::optional<ProtocolTarget>> out(result.lines.size());
    // The findings are listed in order, each as the lines RenderFinding gives;
    // walk the protocol and match them one after the other.
    std::size_t at = 0;
    for (std::size_t f = 0; f < result.findings.size(); ++f) {
        const SyntaxFinding& finding = result.findings[f];
        const std::vector<std::string> lines = RenderFinding(finding);
        if (lines.empty())
            continue;
        std::size_t pos = at;
        while (pos + lines.size() <= result.lines.size()) {
            bool same = true;
            for (std::size_t k = 0; k < lines.size() && same; ++k)
                same = result.lines[pos + k] == lines[k];
            if (same)
                break;
            ++pos;
        }
        if (pos + lines.size() > result.lines.size())
            continue;  // not listed (the protocol was rendered otherwise)
        ProtocolTarget target;
        target.finding = f;
        if (finding.file < result.files.size()) {
            target.kind = result.files[finding.file].kind;
            target.path = result.files[finding.file].path;
        }
        target.step = finding.wholeFile() ? 0 : finding.step;
        for (std::size_t k = 0; k < lines.size(); ++k)
            out[pos + k] = target;
        at = pos + lines.size();
    }
    return out;
}

}  // namespace quelvari
