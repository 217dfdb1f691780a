#include "link/link.h"

#include "model/status.h"

#include <cstdlib>

#include "link/link_texts.h"
#include "link/posix_serial.h"

namespace quelvari::link {

std::string SerialDevicePath(std::uint8_t comPortIndex, const std::string& chosenDevice) {
    if (!chosenDevice.empty())
        return chosenDevice;
    return "/dev/ttyS" + std::to_string(comPortIndex);
}

Link::Link(Clock& c) : clock(c), tracePoint(c), serial(buf, c), usb(buf, c) {
    serial.tracePoint = &tracePoint;
    usb.tracePoint = &tracePoint;
    serial.makePort = [this]() -> std::unique_ptr<Transport> {
        if (makeSerialPort)
            return makeSerialPort();
        return std::make_unique<PosixSerialPort>(SerialDevicePath(comPortIndex, serialDevice),
                                                 baudIndex, slowLink != 0);
    };
    serial.onClose = [this] { instrumentConnected = false; };
    serial.beep = [this] {
        if (beep)
            beep();
    };
}

void Link::setCancel(const CancelToken* token) {
    cancel_ = token;
    serial.cancel = token;
    usb.cancel = token;
}

void Link::setTrace(Trace* trace) {
    tracePoint.setSink(trace);
}

LinkBackend* Backend(Link& link) {
    switch (link.linkKind) {
        case kLinkSerial:
            return &link.serial;
        case kLinkUsb:
            return &link.usb;
        default:
            return nullptr;
    }
}

LinkResult LinkFault(Link& link) {
    LinkBackend* b = Backend(link);
    return b ? b->fault() : LinkResult{};
}

std::string LinkDetail(Link& link) {
    if (!link.lastReason.empty())
        return link.lastReason;
    const LinkResult fault = LinkFault(link);
    return fault.ok() ? std::string() : TextWith(kTextLinkLost, {fault.reason});
}

// A serial port that may not be opened: the user is not in the group that
// owns serial ports.
std::string SerialReason(const LinkResult& why, const std::string& device) {
    if (why.status != LinkStatus::kNoAccess)
        return why.reason;
    const char* user = std::getenv("USER");
    return why.reason + "\n" + TextWith(kTextDialout, {device, user && *user ? user : "$USER"});
}

int LinkConnect(Link& link) {
    int result = 0;
    link.lastReason.clear();
    if (link.linkKind == kLinkSerial) {
        link.serial.slowLink = link.slowLink != 0;
        link.serial.baudRate = SerialBaudRate(link.baudIndex);
        LinkResult why;
        if (!link.serial.open(&why)) {
            link.lastReason =
                SerialReason(why, SerialDevicePath(link.comPortIndex, link.serialDevice));
            result = kErrNoUsbInstrument;
        }
    } else if (link.linkKind == kLinkUsb) {
        UsbFound found;
        const int enumerated = link.usb.enumerate(found);
        link.lastReason = link.usb.reason;
        if (enumerated != 0) {
            result = kErrTransfer;
        } else {
            for (int i = 0; i < kUsbSlots; ++i)
                if (found.present[static_cast<std::size_t>(i)])
                    link.table[static_cast<std::size_t>(i)].present = 1;
            if (found.nameSet) {
                InstrumentEntry& e = link.table[0];
                std::fill(std::begin(e.name), std::end(e.name), '\0');
                found.name0.copy(e.name, sizeof e.name - 1);
            }
        }
    }
    link.linkBusy = 0;
    return result;
}

void LinkDisconnect(Link& link) {
    if (LinkBackend* b = Backend(link))
        b->disconnect();
    link.table[0].present = 0;
}

LinkReply LinkRequest(Link& link, std::size_t length, std::uint32_t timeoutMs) {
    return LinkBlockRequest(link, length, timeoutMs, 0);
}

int LinkSend(Link& link, std::size_t length) {
    LinkBackend* b = Backend(link);
    return b ? b->send(length) : 0;
}

LinkReply LinkBlockRequest(Link& link, std::size_t length, std::uint32_t timeoutMs, int viaBulk) {
    LinkBackend* b = Backend(link);
    if (!b)
        return LinkReply::None();
    LinkReply reply = b->ask(length, timeoutMs, viaBulk);
    if (!reply.answered())
        reply.why = b->fault();
    return reply;
}

}  // namespace quelvari::link
