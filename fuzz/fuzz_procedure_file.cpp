// Procedure files in both formats: the input is the whole file. Open's reader,
// the list loader and the syntax test's streaming reader must all give the
// records that a plain decoding of the bytes gives (the first word chooses the
// format; the first record is taken whatever its length, later ones only when
// whole), and a saved copy must reopen as the same records in the current
// format, saving again giving the same bytes.
#include <cstring>

#include "fuzz_support.h"
#include "model/procedure.h"
#include "model/procedure_file.h"
#include "model/record_reader.h"

using namespace quelvari;
using quelvari::fuzz::ScratchDir;

namespace {

// The records the bytes stand for, decoded in the simplest way there is.
std::vector<ComponentRecord> decode(std::string_view bytes) {
    const bool old = bytes.size() < 2 || static_cast<std::uint8_t>(bytes[0]) != 0xFF ||
                     static_cast<std::uint8_t>(bytes[1]) != 0xFF;
    const std::size_t step = old ? kOldRecordSize : rec::kRecordSize;
    const std::size_t count = bytes.size() < step ? 1 : bytes.size() / step;
    std::vector<ComponentRecord> out(count);
    std::vector<std::uint8_t> raw(step);
    for (std::size_t i = 0; i < count; ++i) {
        std::fill(raw.begin(), raw.end(), 0);
        const std::string_view chunk = bytes.substr(std::min(bytes.size(), i * step), step);
        std::memcpy(raw.data(), chunk.data(), chunk.size());
        if (old)
            convertOldRecord(raw.data(), out[i]);
        else
            std::memcpy(out[i].data(), raw.data(), step);
    }
    return out;
}

std::vector<ComponentRecord> listRecords(ProcedureList& list) {
    std::vector<ComponentRecord> out;
    for (ComponentNode* n = &list.procedureHead; n; n = n->next)
        out.push_back(n->record);
    return out;
}

std::string fileBytes(const std::string& path) {
    std::string out;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    FUZZ_CHECK(f != nullptr);
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
        out.append(buf, n);
    std::fclose(f);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ScratchDir& dir = ScratchDir::get();
    dir.clear();
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::string path = dir.write("F.PAD", bytes);
    const std::vector<ComponentRecord> expected = decode(bytes);
    const bool old = size < 2 || data[0] != 0xFF || data[1] != 0xFF;

    RecordFile file;
    FUZZ_CHECK(readRecordFile(path, file).ok());
    FUZZ_CHECK(file.oldFormat == old);
    FUZZ_CHECK(file.records == expected);

    ProcedureList list;
    FUZZ_CHECK(loadProcedure(path, list).ok());
    FUZZ_CHECK(list.oldFormat == (old ? 1u : 0u));
    FUZZ_CHECK(list.componentCount == expected.size());
    FUZZ_CHECK(listRecords(list) == expected);
    FUZZ_CHECK(list.viewRecord == expected.front());

    RecordReader reader;
    FUZZ_CHECK(reader.open(path).ok());
    FUZZ_CHECK(reader.oldFormat() == old);
    std::size_t streamed = 0;
    while (const ComponentRecord* r = reader.next()) {
        FUZZ_CHECK(streamed < expected.size());
        FUZZ_CHECK(*r == expected[streamed]);
        ++streamed;
    }
    FUZZ_CHECK(reader.status().ok());
    FUZZ_CHECK(streamed == expected.size() && reader.count() == streamed);
    FUZZ_CHECK(reader.last() == expected.back());

    // Save: every record with the current format mark, record mark 1 and its
    // position as step number; nothing else changes.
    const std::string copy = dir.file("COPY.PAD");
    FUZZ_CHECK(writeProcedure(copy, list).ok());
    const std::string saved = fileBytes(copy);
    FUZZ_CHECK(saved.size() == expected.size() * rec::kRecordSize);
    RecordFile reread;
    FUZZ_CHECK(readRecordFile(copy, reread).ok());
    FUZZ_CHECK(!reread.oldFormat);
    FUZZ_CHECK(reread.records.size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ComponentRecord want = expected[i];
        want.setFormatMark(kCurrentFormatMark);
        want.setRecordMark(kRecordMarkSaved);
        want.setNumber(static_cast<std::uint16_t>(i + 1));
        FUZZ_CHECK(reread.records[i] == want);
    }
    ProcedureList again;
    FUZZ_CHECK(loadProcedure(copy, again).ok());
    FUZZ_CHECK(writeProcedure(copy, again).ok());
    FUZZ_CHECK(fileBytes(copy) == saved);
    return 0;
}
