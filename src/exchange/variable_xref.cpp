#include "exchange/variable_xref.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "check/syntax_test.h"
#include "model/record_reader.h"

namespace quelvari::exchange {

namespace {

void addUses(VariableXref& x, std::size_t file, const std::vector<ComponentRecord>& records,
             std::map<std::string, std::size_t>& index) {
    for (const VariableUse& use : CollectVariableUses(records)) {
        std::string key = use.variable.name;
        for (char& c : key)
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
        auto [it, added] = index.emplace(key, x.variables.size());
        if (added)
            x.variables.push_back({key, {}, {}});
        auto& sites = use.access == VariableAccess::Read ? x.variables[it->second].reads
                                                         : x.variables[it->second].writes;
        const VariableSite site{file, use.step};
        if (std::find(sites.begin(), sites.end(), site) == sites.end())
            sites.push_back(site);
    }
}

// Letters first, then the number: B2 before B10 before PT1.
void sortVariables(VariableXref& x) {
    const auto split = [](const std::string& name) {
        const std::size_t digits = name.find_first_of("0123456789");
        const std::string letters = name.substr(0, digits);
        const int number = digits == std::string::npos ? 0 : std::stoi(name.substr(digits));
        return std::make_tuple(letters.size(), letters, number);
    };
    std::stable_sort(x.variables.begin(), x.variables.end(),
                     [&](const VariableEntry& a, const VariableEntry& b) {
                         return split(a.name) < split(b.name);
                     });
}

std::vector<ComponentRecord> recordsOf(const ProcedureList& list) {
    std::vector<ComponentRecord> out;
    for (const ComponentNode* n = &list.procedureHead; n; n = n->next)
        out.push_back(n->record);
    return out;
}

}  // namespace

VariableXref CrossReference(const std::vector<ComponentRecord>& records, const std::string& name) {
    VariableXref x;
    x.files.push_back({name, name, true});
    std::map<std::string, std::size_t> index;
    addUses(x, 0, records, index);
    sortVariables(x);
    return x;
}

VariableXref CrossReference(const ProcedureList& list, const std::string& padPath) {
    VariableXref x;
    std::map<std::string, std::size_t> index;
    // The syntax test knows which modules and interrupt procedures belong to
    // the procedure; its in-memory run writes no file.
    const SyntaxTestResult check = RunSyntaxTestInMemory(list, padPath, kCheckTarvisel);
    for (std::size_t f = 0; f < check.files.size(); ++f) {
        const CheckedFile& cf = check.files[f];
        x.files.push_back({cf.name, cf.path, false});
        if (cf.kind == CheckedFileKind::Procedure) {
            x.files.back().read = true;
            addUses(x, f, recordsOf(list), index);
            continue;
        }
        RecordFile file;
        if (!readRecordFile(cf.path, file).ok())
            continue;
        x.files.back().read = true;
        addUses(x, f, file.records, index);
    }
    if (x.files.empty()) {
        x.files.push_back({padPath, padPath, true});
        addUses(x, 0, recordsOf(list), index);
    }
    sortVariables(x);
    return x;
}

}  // namespace quelvari::exchange
