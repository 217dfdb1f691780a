// The instrument's answers on untrusted bytes. Byte 0 picks the answer:
// even the identification ("V"), odd the memory ("pI"); the rest is the
// answer's data. An accepted identification, built again by the simulated
// instrument's builder, reads back as the same entry; an accepted memory
// answer gives back its first 21 bytes and formats in fixed widths.
#include <cstring>

#include "fuzz_support.h"
#include "link/instrument.h"
#include "link/memory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quelvari::link;
    if (size == 0)
        return 0;
    const std::uint8_t* d = data + 1;
    const std::size_t n = size - 1;
    if (data[0] % 2 == 0) {
        InstrumentEntry e;
        const int r = ParseIdentification(d, n, e);
        FUZZ_CHECK(r == 0 || r == 80);
        FUZZ_CHECK(e.name[31] == 0);
        if (r == 0) {
            const auto built = BuildIdentification(e);
            InstrumentEntry back;
            FUZZ_CHECK(ParseIdentification(built.data(), built.size(), back) == 0);
            FUZZ_CHECK(std::memcmp(&back.name, &e.name, sizeof e.name) == 0);
            FUZZ_CHECK(back.model == e.model && back.word2 == e.word2 && back.word3 == e.word3);
            FUZZ_CHECK(back.word4 == e.word4 && back.word5 == e.word5 && back.word6 == e.word6);
            FUZZ_CHECK(back.long1 == e.long1 && back.byte1to8 == e.byte1to8);
            FUZZ_CHECK(back.byte9 == e.byte9 && back.byte10to12 == e.byte10to12);
            FUZZ_CHECK(back.byte13 == e.byte13);
        }
    } else {
        InstrumentMemory m;
        if (ParseMemoryAnswer(d, n, m)) {
            const auto built = BuildMemoryAnswer(m);
            FUZZ_CHECK(std::memcmp(built.data(), d, kMemoryAnswerSize) == 0);
            const MemoryTexts t = FormatMemory(m);
            FUZZ_CHECK(t.total.size() >= 11 && t.free.size() >= 11);
            FUZZ_CHECK(t.number.size() >= 4);
            FUZZ_CHECK(m.freeBytes() == std::uint64_t{m.freeBlocks} * 512);
        } else {
            FUZZ_CHECK(n < kMemoryAnswerSize);
        }
    }
    return 0;
}
