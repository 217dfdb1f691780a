#include "link/link.h"

#include "model/status.h"

#include "link/posix_serial.h"

namespace quelvari::link {

std::string SerialPortName(std::uint8_t comPortIndex) {
    std::string name = "COM1";
    name.back() = static_cast<char>('1' + comPortIndex);
    return name;
}

std::string SerialDevicePath(std::uint8_t comPortIndex, const std::string& chosenDevice) {
    if (!chosenDevice.empty())
        return chosenDevice;
    return "/dev/ttyS" + std::to_string(comPortIndex);
}

Link::Link(Clock& c) : clock(c), serial(buf, c), usb(buf, c) {
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

void Link::setTrace(Trace* trace) {
    serial.trace = trace;
    usb.trace = trace;
    if (serial.port())
        serial.port()->setTrace(trace, &clock);
}

Link& ProgramLink() {
    static Link link(SystemClock());
    return link;
}

int LinkConnect(Link& link) {
    if (link.busyCursor)
        link.busyCursor(true);
    int result = 0;
    link.lastReason.clear();
    if (link.linkKind == kLinkSerial) {
        link.serial.slowLink = link.slowLink != 0;
        LinkResult why;
        if (!link.serial.open(&why)) {
            link.lastReason = why.reason;
            result = kErrNoUsbInstrument;
        }
    } else if (link.linkKind == kLinkUsb) {
        UsbFound found;
        if (link.usb.enumerate(found) != 0) {
            link.lastReason = link.usb.reason;
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
    if (link.busyCursor)
        link.busyCursor(false);
    return result;
}

void LinkDisconnect(Link& link) {
    if (link.linkKind == kLinkSerial)
        link.serial.close();
    else if (link.linkKind == kLinkUsb)
        link.usb.closeAll();
    link.table[0].present = 0;
}

int LinkRequest(Link& link, std::size_t length, std::uint32_t timeoutMs) {
    if (link.linkKind == kLinkSerial)
        return link.serial.request(length, timeoutMs);
    if (link.linkKind == kLinkUsb)
        return link.usb.request(length, timeoutMs, 0);
    return 0;
}

int LinkSend(Link& link, std::size_t length) {
    if (link.linkKind == kLinkSerial)
        return link.serial.sendFrame(length);
    if (link.linkKind == kLinkUsb)
        return link.usb.bulkWrite(length);
    return 0;
}

int LinkBlockRequest(Link& link, std::size_t length, std::uint32_t timeoutMs, int viaBulk) {
    if (link.linkKind == kLinkSerial)
        return link.serial.request(length, timeoutMs);
    if (link.linkKind == kLinkUsb)
        return link.usb.request(length, timeoutMs, viaBulk);
    return 0;
}

int LinkBlockWrite(Link& link, std::size_t length) {
    if (link.linkKind == kLinkSerial)
        return link.serial.sendFrame(length);
    if (link.linkKind == kLinkUsb)
        return link.usb.bulkWrite(length);
    return 0;
}

}  // namespace quelvari::link
