#include "exchange/procedure_text.h"

#include "model/file_io.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "model/record_reader.h"

namespace quelvari::exchange {

Status ReadProcedureRecords(const std::string& path, std::vector<ComponentRecord>& records) {
    RecordFile file;
    const Status status = readRecordFile(path, file, Access::ReadOnly);
    if (status.ok())
        records = std::move(file.records);
    return status;
}

void FillList(ProcedureList& list, const std::vector<ComponentRecord>& records) {
    list.freeProcedure();
    if (records.empty())
        return;
    list.procedureHead.record = records.front();
    list.componentCount = 1;
    for (std::size_t i = 1; i < records.size(); ++i)
        list.appendNode(records[i]);
    list.currentNode = &list.procedureHead;
    list.currentNumber = 1;
    list.viewRecord = list.procedureHead.record;
}

std::vector<ComponentRecord> ListRecords(const ProcedureList& list) {
    std::vector<ComponentRecord> out;
    for (const ComponentNode* n = &list.procedureHead; n; n = n->next)
        out.push_back(n->record);
    return out;
}

ImportResult ImportTextFile(const std::string& path) {
    // The text form of the largest procedure stays far below this bound.
    constexpr std::size_t kMaxTextBytes = std::size_t{512} << 20;
    std::string text;
    bool truncated = false;
    Status read = ReadRegularFile(path, kMaxTextBytes, text, kErrFileOpen, &truncated);
    if (read.ok() && truncated)
        read = Status::system(kErrFileOpen, EFBIG, path);
    if (!read.ok()) {
        ImportResult r;
        // Own text: "a readable text file (%s)" with the system's reason.
        r.errors.push_back(MakeTextError(0, 60644, {read.detail()}));
        return r;
    }
    return ImportText(text);
}

}  // namespace quelvari::exchange
