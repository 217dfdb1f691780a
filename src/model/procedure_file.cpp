#include "model/procedure_file.h"

#include <cstring>
#include <map>
#include <vector>

#include "model/file_io.h"
#include "model/numbers.h"

namespace quelvari {
namespace {

std::map<std::uint8_t, PayloadConverter>& converters() {
    static std::map<std::uint8_t, PayloadConverter> table = [] {
        std::map<std::uint8_t, PayloadConverter> t;
        // Types whose old payload is carried over. Until a type gives its old
        // layout, its payload moves unchanged to the new payload offset.
        for (char type : std::string_view("ABDGIMNPSTUZbdiu")) {
            t[static_cast<std::uint8_t>(type)] = [](const std::uint8_t* old, ComponentRecord& r) {
                std::memcpy(r.data() + rec::kPayload, old, kOldPayloadSize);
            };
        }
        return t;
    }();
    return table;
}

// Copies a zero-terminated text of at most `size` bytes up to its terminator.
void copyText(const std::uint8_t* src, std::size_t size, std::uint8_t* dst) {
    for (std::size_t i = 0; i < size && src[i] != 0; ++i)
        dst[i] = src[i];
}

}  // namespace

bool IsOldFormat(const std::uint8_t* head, std::size_t got) {
    std::uint8_t word[2] = {};
    for (std::size_t i = 0; i < got && i < 2; ++i)
        word[i] = head[i];
    return GetLe16(word) != kCurrentFormatMark;
}

bool hasPayloadConverter(std::uint8_t typeCode) {
    return converters().count(typeCode) != 0;
}

void setPayloadConverter(std::uint8_t typeCode, PayloadConverter converter) {
    converters()[typeCode] = std::move(converter);
}

void convertDosComment(const std::uint8_t* src, std::size_t srcSize, std::uint8_t* dst,
                       std::size_t dstSize) {
    std::size_t out = 0;
    auto put = [&](std::uint8_t b, bool advance) {
        if (out < dstSize)
            dst[out] = b;
        if (advance)
            ++out;
    };
    for (std::size_t i = 0; i < srcSize && src[i] != 0; ++i) {
        const std::uint8_t c = src[i];
        switch (c) {
            case 0x81:
                put(0xFC, true);
                break;
            case 0x84:
                put(0xE4, true);
                break;
            case 0x8E:
                put(0xC4, true);
                break;
            case 0x94:
                put(0xF6, true);
                break;
            case 0x99:
                put(0xD6, true);
                break;
            case 0x9A:
                put(0xDC, true);
                break;
            case 0xE1:
                put(0xDF, true);
                break;
            case 0xB3:
                put(0xA6, true);
                break;
            case 0xC4:
                put('-', true);
                break;
            case 0xBF:
            case 0xC0:
            case 0xD9:
            case 0xDA:
                put('+', true);
                break;
            case 0xAE:
                put(0xAB, false);
                break;
            case 0xAF:
                put(0xBB, false);
                break;
            case 0x1B:
                // The escape and the two bytes after it are copied as they are.
                put(c, true);
                for (int k = 0; k < 2 && i + 1 < srcSize; ++k)
                    put(src[++i], true);
                put(0xAB, false);
                break;
            default:
                put(c, true);
                break;
        }
    }
}

void convertOldRecord(const std::uint8_t* old, ComponentRecord& out) {
    out.clear();
    out.setFormatMark(kCurrentFormatMark);
    out.setRecordMark(kRecordMarkMemory);
    out.setNumber(GetLe16(old));
    copyText(old + 2, rec::kConditionSize, out.data() + rec::kInputCondition);
    copyText(old + 13, rec::kConditionSize, out.data() + rec::kBranchCondition);
    out.setGotoTarget(GetLe16(old + 24));
    convertDosComment(old + 26, rec::kCommentSize, out.data() + rec::kComment, rec::kCommentSize);
    out.setTypeCode(old[77]);
    auto& table = converters();
    if (auto it = table.find(old[77]); it != table.end())
        it->second(old + kOldPayloadOffset, out);
}

Status loadProcedure(const std::string& path, ProcedureList& list) {
    list.freeProcedure();
    list.componentCount = 0;
    list.documentOpen = 0;
    list.viewRecord.clear();
    RecordReader reader;
    if (Status s = reader.open(path, Access::ReadWrite); !s.ok())
        return s;
    list.oldFormat = reader.oldFormat() ? 1 : 0;
    // Every file gives a first record; it lives in procedureHead.
    if (reader.oldFormat()) {
        const ComponentRecord* record = reader.next();
        if (record) {
            list.procedureHead.record = *record;
            list.componentCount = 1;
            while ((record = reader.next()))
                list.appendUnfilledNode() = *record;
        }
    } else {
        // Current records are read straight into the nodes, a batch of nodes
        // per read; the nodes of a batch that the file did not fill are dropped.
        constexpr std::size_t kBatch = 256;
        ComponentRecord* records[kBatch] = {&list.procedureHead.record};
        if (reader.readInto(records, 1) == 1) {
            list.componentCount = 1;
            for (;;) {
                for (ComponentRecord*& r : records)
                    r = &list.appendUnfilledNode();
                const std::size_t got = reader.readInto(records, kBatch);
                list.dropTail(kBatch - got);
                if (got < kBatch)
                    break;
            }
        }
    }
    if (!reader.status().ok()) {
        list.freeProcedure();
        list.componentCount = 0;
        list.oldFormat = 0;
        return reader.status();
    }
    list.documentPath = path;
    list.currentNode = &list.procedureHead;
    list.viewRecord = list.procedureHead.record;
    list.currentNumber = 1;
    list.documentOpen = 1;
    return {};
}

Status writeProcedure(const std::string& path, ProcedureList& list) {
    // What Open would refuse is not written: step numbers are 16-bit.
    if (list.nodeCount() > kMaxSteps)
        return Status::refused(kErrFileWrite, path + ": too large for a procedure (at most " +
                                                  std::to_string(kMaxSteps) + " steps)");
    AtomicFile file;
    if (Status s = file.begin(path, kErrFileWrite); !s.ok())
        return s;
    constexpr std::size_t kBufferRecords = 64;
    std::vector<std::uint8_t> buffer;
    buffer.reserve(kBufferRecords * rec::kRecordSize);
    std::uint16_t n = 1;
    for (ComponentNode* node = &list.procedureHead; node; node = node->next, ++n) {
        ComponentRecord& r = node->record;
        r.setFormatMark(kCurrentFormatMark);
        r.setRecordMark(kRecordMarkSaved);
        r.setNumber(n);
        buffer.insert(buffer.end(), r.bytes.begin(), r.bytes.end());
        if (buffer.size() >= kBufferRecords * rec::kRecordSize || !node->next) {
            if (Status s = file.write(buffer.data(), buffer.size()); !s.ok())
                return s;
            buffer.clear();
        }
    }
    return file.commit();
}

}  // namespace quelvari
