#include "link/memory.h"

#include "model/numbers.h"
#include "model/status.h"

#include <cstdio>

namespace quelvari::link {

namespace {

std::string Format(const char* format, long value) {
    char buf[32];
    std::snprintf(buf, sizeof buf, format, value);
    return buf;
}

}  // namespace

bool ParseMemoryAnswer(const std::uint8_t* d, std::size_t n, InstrumentMemory& m) {
    if (n < kMemoryAnswerSize)
        return false;
    m.word0 = GetLe32(d + 0);
    m.totalMb = GetLe32(d + 4);
    m.seriesMb = GetLe32(d + 8);
    m.databaseMb = GetLe32(d + 12);
    m.procedureNumber = d[16];
    m.freeBlocks = GetLe32(d + 17);
    return true;
}

std::vector<std::uint8_t> BuildMemoryAnswer(const InstrumentMemory& m) {
    std::vector<std::uint8_t> d(kMemoryAnswerSize, 0);
    PutLe32(&d[0], m.word0);
    PutLe32(&d[4], m.totalMb);
    PutLe32(&d[8], m.seriesMb);
    PutLe32(&d[12], m.databaseMb);
    d[16] = m.procedureNumber;
    PutLe32(&d[17], m.freeBlocks);
    return d;
}

MemoryTexts FormatMemory(const InstrumentMemory& m) {
    MemoryTexts t;
    t.total = Format("%8ld MB", static_cast<long>(m.totalMb));
    t.series = Format("%8ld MB", static_cast<long>(m.seriesMb));
    t.database = Format("%8ld MB", static_cast<long>(m.databaseMb));
    t.free = Format("%8ld kB", static_cast<long>(m.freeBlocks / 2));
    t.number = m.procedureNumber == 0 ? std::string(" voll") : Format("%4ld", m.procedureNumber);
    return t;
}

bool ShowInstrumentMemory(Link& link, InstrumentMemory& memory, MemoryDisplay& display) {
    if (!link.instrumentConnected)
        for (std::uint32_t id = kFieldTotal; id <= kFieldNumber; ++id)
            display.setField(id, "???");
    link.buf.tx[0] = 'p';
    link.buf.tx[1] = 'I';
    const LinkReply r = LinkBlockRequest(link, 2, 1500, 0);
    bool answered = false;
    InstrumentMemory fresh;
    if (r.answered() && ParseMemoryAnswer(link.buf.rx.data() + 1, r.dataBytes(), fresh)) {
        memory = fresh;
        const MemoryTexts t = FormatMemory(memory);
        display.setField(kFieldTotal, t.total);
        display.setField(kFieldFree, t.free);
        display.setField(kFieldSeries, t.series);
        display.setField(kFieldDatabase, t.database);
        display.setField(kFieldNumber, t.number);
        if (memory.procedureNumber == 0)
            display.disableStart();
        answered = true;
    }
    display.hideProgress();
    return answered;
}

}  // namespace quelvari::link
