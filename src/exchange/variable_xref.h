// The variable cross-reference: every variable a procedure uses, in the
// procedure itself, in the modules it calls and in the interrupt procedures
// it uses, with the steps that read it and the steps that write it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "check/procedure_variables.h"
#include "model/procedure.h"

namespace quelvari::exchange {

// A file looked at: the procedure first, then the modules and interrupt
// procedures in the order the syntax test checks them.
struct XrefFile {
    std::string name;  // "TEST.PAD", "NAME.PAM", "TEST.IR1"
    std::string path;
    bool read = false;  // false when the file could not be read
};

struct VariableSite {
    std::size_t file = 0;  // index into VariableXref::files
    std::size_t step = 0;  // 1-based
    bool operator==(const VariableSite&) const = default;
};

struct VariableEntry {
    std::string name;  // "B12", "PT3"
    std::vector<VariableSite> reads;
    std::vector<VariableSite> writes;
};

struct VariableXref {
    std::vector<XrefFile> files;
    std::vector<VariableEntry> variables;  // by letters, then number
};

// The cross-reference of the procedure held in `list`, whose file is (or
// will be) `padPath`; its modules and interrupt procedures are found as the
// syntax test finds them.
VariableXref CrossReference(const ProcedureList& list, const std::string& padPath);

// The cross-reference of records alone (no files around them).
VariableXref CrossReference(const std::vector<ComponentRecord>& records, const std::string& name);

}  // namespace quelvari::exchange
