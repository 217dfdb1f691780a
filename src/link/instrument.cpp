#include "link/instrument.h"

#include "model/numbers.h"
#include "model/status.h"

#include <algorithm>
#include <cstring>

namespace quelvari::link {

namespace {

// Where bytes 1 to 8 and 10 to 12 of the entry come from.
constexpr std::size_t kByte1to8Source[8] = {17, 16, 18, 19, 20, 21, 24, 23};
constexpr std::size_t kByte10to12Source[3] = {22, 25, 26};
constexpr std::size_t kNameOffset = 27;
constexpr std::size_t kNameKept = 31;

}  // namespace

int ParseIdentification(const std::uint8_t* d, std::size_t n, InstrumentEntry& e) {
    // The fixed part is read as it stands in the buffer; only its end is
    // checked, through the bytes behind the name.
    std::uint8_t fixed[kNameOffset] = {};
    std::memcpy(fixed, d, std::min(n, kNameOffset));
    e.model = GetLe16(fixed + 0);
    e.word2 = GetLe16(fixed + 2);
    e.word3 = static_cast<std::uint16_t>(fixed[4] << 8 | fixed[5]);
    e.word6 = GetLe16(fixed + 6);
    e.word5 = GetLe16(fixed + 8);
    e.word4 = GetLe16(fixed + 10);
    e.long1 = static_cast<std::uint32_t>(fixed[12]) | static_cast<std::uint32_t>(fixed[13]) << 8 |
              static_cast<std::uint32_t>(fixed[14]) << 16 |
              static_cast<std::uint32_t>(fixed[15]) << 24;
    for (std::size_t i = 0; i < 8; ++i)
        e.byte1to8[i] = fixed[kByte1to8Source[i]];
    for (std::size_t i = 0; i < 3; ++i)
        e.byte10to12[i] = fixed[kByte10to12Source[i]];

    std::fill(std::begin(e.name), std::end(e.name), '\0');
    std::size_t end = kNameOffset;
    while (end < n && d[end] != 0)
        ++end;
    // The terminator and the two bytes behind it must be in the answer.
    if (end + 2 >= n)
        return kErrInstrumentUnsupported;
    std::memcpy(e.name, d + kNameOffset, std::min(end - kNameOffset, kNameKept));
    e.byte13 = d[end + 1];
    e.byte9 = d[end + 2];
    return 0;
}

std::vector<std::uint8_t> BuildIdentification(const InstrumentEntry& e) {
    std::vector<std::uint8_t> d(kNameOffset, 0);
    PutLe16(&d[0], e.model);
    PutLe16(&d[2], e.word2);
    d[4] = static_cast<std::uint8_t>(e.word3 >> 8);
    d[5] = static_cast<std::uint8_t>(e.word3);
    PutLe16(&d[6], e.word6);
    PutLe16(&d[8], e.word5);
    PutLe16(&d[10], e.word4);
    for (int i = 0; i < 4; ++i)
        d[12 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(e.long1 >> (8 * i));
    for (std::size_t i = 0; i < 8; ++i)
        d[kByte1to8Source[i]] = e.byte1to8[i];
    for (std::size_t i = 0; i < 3; ++i)
        d[kByte10to12Source[i]] = e.byte10to12[i];
    for (std::size_t i = 0; i < sizeof e.name && e.name[i]; ++i)
        d.push_back(static_cast<std::uint8_t>(e.name[i]));
    d.push_back(0);
    d.push_back(e.byte13);
    d.push_back(e.byte9);
    return d;
}

int InstrumentIdentify(Link& link, int slot) {
    if (slot < 0 || slot >= kInstrumentEntries)
        return kErrTransfer;
    InstrumentEntry& entry = link.table[static_cast<std::size_t>(slot)];
    link.buf.tx[0] = 'V';
    entry = InstrumentEntry{};
    const LinkReply r = LinkRequest(link, 1, SessionTiming::kIdentify);
    // A request that did not get through is handed on: -99 on USB, 76 on the
    // serial link.
    if (r.kind == LinkReply::Kind::kNotSent)
        return r.code;
    if (!r.answered())
        return kErrTransfer;
    if (r.dataBytes() < 9)
        return kErrInstrumentUnsupported;
    if (ParseIdentification(link.buf.rx.data() + 1, r.dataBytes(), entry) != 0)
        return kErrInstrumentUnsupported;
    entry.present = 1;
    return 0;
}

int InstrumentSelect(Link& link, int n) {
    const std::size_t slot = static_cast<std::size_t>(std::clamp(n, 0, kInstrumentEntries - 1));
    link.selected[slot] = false;
    link.buf.tx[0] = 'Z';
    const LinkReply attention = LinkRequest(link, 1, SessionTiming::kAttention);
    if (link.linkKind == kLinkSerial && attention.kind == LinkReply::Kind::kNotSent)
        return kErrNoUsbInstrument;
    if (!attention.answered())
        return kErrInstrumentUnsupported;
    if (AnswerByte(link, 0) != 1 || AnswerByte(link, 1) == 1)
        return kErrNotBasicState;
    link.buf.tx[0] = 'W';
    link.buf.tx[1] = 1;
    link.buf.tx[2] = static_cast<std::uint8_t>(n);
    link.selected[slot] = LinkRequest(link, 3, SessionTiming::kSelect).answered() &&
                          AnswerByte(link, 0) == 0 && AnswerByte(link, 1) == 0;
    return 0;
}

void InstrumentRelease(Link& link, int) {
    link.buf.tx[0] = 'W';
    link.buf.tx[1] = 0;
    LinkRequest(link, 2, SessionTiming::kSelect);
}

void ReleaseAllAndDisconnect(Link& link) {
    for (int slot = 0; slot < kInstrumentEntries; ++slot) {
        if (!link.table[static_cast<std::size_t>(slot)].present)
            continue;
        link.usb.currentDevice = static_cast<std::uint32_t>(slot);
        InstrumentRelease(link, slot);
    }
    link.usb.currentDevice = 0;
    LinkDisconnect(link);
}

namespace {

int Refuse(Link& link, int code) {
    ReleaseAllAndDisconnect(link);
    link.table = InstrumentTable{};
    return code;
}

}  // namespace

int InstrumentConnect(Link& link) {
    for (int i = 0; i < 4; ++i)
        link.table[static_cast<std::size_t>(i)].present = 0;
    if (const int r = LinkConnect(link); r != 0)
        return r;

    if (link.linkKind == kLinkSerial) {
        if (const int r = InstrumentIdentify(link, 0); r != 0)
            return r;
        return InstrumentSelect(link, 0);
    }
    if (link.linkKind != kLinkUsb)
        return 0;

    if (!link.table[0].present)
        return kErrNoUsbInstrument;
    int slot = 0;
    for (; slot < kInstrumentEntries && link.table[static_cast<std::size_t>(slot)].present;
         ++slot) {
        link.usb.currentDevice = static_cast<std::uint32_t>(slot);
        if (const int r = InstrumentIdentify(link, slot); r != 0)
            return r;
        link.clock.sleepMs(SessionTiming::kSlotPause);
        int r = InstrumentSelect(link, slot);
        if (r == 0 && !link.selected[static_cast<std::size_t>(slot)])
            r = InstrumentSelect(link, slot);
        link.clock.sleepMs(SessionTiming::kSlotPause);
        if (r != 0)
            return r;
    }
    link.usb.currentDevice = 0;

    // All attached instruments must be of one model.
    for (const InstrumentEntry& e : link.table)
        if (e.present && e.model != link.table[0].model)
            return Refuse(link, kErrDifferentInstruments);

    // How many instruments a model allows. The model compared is that of the
    // entry behind the last present one, not entry 0's; this is kept.
    const int open = link.usb.deviceCount();
    const std::uint16_t model =
        slot < kInstrumentEntries ? link.table[static_cast<std::size_t>(slot)].model : 0;
    if ((model == kModel3310 && open > 4) || (model == kModel6410 && open > 2))
        return Refuse(link, kErrTooManyInstruments);
    return 0;
}

}  // namespace quelvari::link
