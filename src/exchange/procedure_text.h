// Procedure files to and from their text form, for the command-line tool and
// the editor.
#pragma once

#include <string>
#include <vector>

#include "exchange/text_form.h"
#include "model/procedure.h"
#include "model/status.h"

namespace quelvari::exchange {

// The records of a procedure file as Open reads them (old records
// converted), read-only. Failures carry message 93 and the system's reason.
Status ReadProcedureRecords(const std::string& path, std::vector<ComponentRecord>& records);

// Replaces the contents of `list` with `records` (at least one).
void FillList(ProcedureList& list, const std::vector<ComponentRecord>& records);
std::vector<ComponentRecord> ListRecords(const ProcedureList& list);

// Reads a text form file (UTF-8) into records. A file that cannot be read is
// an error at line 0 whose text is the system's reason.
ImportResult ImportTextFile(const std::string& path);

}  // namespace quelvari::exchange
