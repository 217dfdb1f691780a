#include "link/usb_link.h"

#include "model/status.h"

#include <libusb.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace quelvari::link {

const std::vector<UsbId>& DefaultUsbIds() {
    // The test id of the open pid.codes range, used by the simulated and the
    // faked devices; real instruments are added in the link settings.
    static const std::vector<UsbId> ids{{0x1209, 0x0001}};
    return ids;
}

bool ParseUsbIds(const std::string& text, std::vector<UsbId>& ids) {
    std::vector<UsbId> out;
    std::string s = text;
    std::replace(s.begin(), s.end(), ',', ' ');
    std::istringstream in(s);
    std::string item;
    while (in >> item) {
        unsigned v = 0, p = 0;
        char extra = 0;
        if (item.size() != 9 || item[4] != ':' ||
            std::sscanf(item.c_str(), "%4x:%4x%c", &v, &p, &extra) != 2)
            return false;
        out.push_back({static_cast<std::uint16_t>(v), static_cast<std::uint16_t>(p)});
    }
    ids = std::move(out);
    return true;
}

std::string FormatUsbIds(const std::vector<UsbId>& ids) {
    std::string out;
    for (const UsbId& id : ids) {
        char buf[16];
        std::snprintf(buf, sizeof buf, "%04x:%04x", id.vendor, id.product);
        if (!out.empty())
            out += ",";
        out += buf;
    }
    return out;
}

LinkResult StatusFromLibusb(int error, const std::string& what) {
    LinkStatus status = LinkStatus::kIo;
    switch (error) {
        case LIBUSB_SUCCESS:
            return {};
        case LIBUSB_ERROR_ACCESS:
            status = LinkStatus::kNoAccess;
            break;
        case LIBUSB_ERROR_NO_DEVICE:
        case LIBUSB_ERROR_NOT_FOUND:
            status = LinkStatus::kNoDevice;
            break;
        case LIBUSB_ERROR_BUSY:
            status = LinkStatus::kBusy;
            break;
        case LIBUSB_ERROR_TIMEOUT:
            status = LinkStatus::kTimeout;
            break;
        case LIBUSB_ERROR_INVALID_PARAM:
            status = LinkStatus::kInvalid;
            break;
        case LIBUSB_ERROR_NOT_SUPPORTED:
            status = LinkStatus::kUnsupported;
            break;
        default:
            break;
    }
    std::string text = what + ": " + libusb_strerror(error);
    if (status == LinkStatus::kNoAccess)
        text += " (install the udev rule of Quelvari or add the user to the group plugdev)";
    return {status, text};
}

UsbLink::~UsbLink() {
    closeAll();
}

void UsbLink::traceBytes(char dir, const std::uint8_t* data, std::size_t n) {
    if (trace)
        trace->bytes(dir, clock_.nowMs(), data, n);
}

int UsbLink::handle() const {
    return currentDevice < kUsbSlots ? handles_[currentDevice] : -1;
}

void UsbLink::closeAll() {
    for (int& h : handles_) {
        if (h >= 0 && backend)
            backend->close(h);
        h = -1;
    }
}

int UsbLink::enumerate(UsbFound& found) {
    currentDevice = 0;
    closeAll();
    reason.clear();
    found = {};
    if (!backend)
        backend = MakeLibusbBackend();
    std::vector<int> devices;
    const int listed = backend->findDevices(ids, devices);
    if (listed < 0) {
        reason = StatusFromLibusb(listed, "USB").reason;
        return kErrUsbAccess;
    }
    if (devices.size() > 127)
        devices.resize(127);
    for (int device : devices) {
        // The seventh instrument and later reuse the last slot.
        if (handles_[currentDevice] >= 0) {
            backend->close(handles_[currentDevice]);
            handles_[currentDevice] = -1;
        }
        std::string why;
        const int h = backend->open(device, why);
        if (h < 0) {
            reason = why.empty() ? StatusFromLibusb(h, "USB device").reason : why;
            return kErrUsbAccess;
        }
        handles_[currentDevice] = h;
        // The product string (descriptor 2) names the instrument. It always goes
        // to the first table entry, whichever slot is being filled.
        std::uint8_t desc[260] = {};
        const int n = backend->stringDescriptor(h, 2, 0x0409, desc, sizeof desc);
        if (n > 2) {
            std::string name;
            for (int i = 2; i + 1 < n; i += 2)
                name += static_cast<char>(desc[i]);
            found.name0 = name;
            found.nameSet = true;
        }
        found.present[currentDevice] = true;
        if (currentDevice < kUsbSlots - 1)
            ++currentDevice;
    }
    currentDevice = 0;
    return 0;
}

int UsbLink::deviceCount() const {
    int n = 0;
    while (n < kUsbSlots && handles_[n] >= 0)
        ++n;
    return n;
}

// A request goes to the instrument as a vendor control transfer to the device
// (request type 0x40), request 1, value 0, index 0, the request's bytes as its
// data stage. This is the one place that decides how requests travel.
int UsbLink::controlWrite(std::size_t length) {
    const int h = handle();
    if (h < 0 || length > 0xFFFF)
        return 0;
    traceBytes('>', buf_.tx.data(), length);
    const int r = backend->controlOut(h, kUsbRequestType, kUsbRequestWrite, 0, 0, buf_.tx.data(),
                                      static_cast<std::uint16_t>(length), 1000);
    if (r < 0)
        return 0;
    bytesReturned = static_cast<std::uint32_t>(r);
    return r;
}

// A transfer must not end on a full 64-byte packet: a length that is a multiple
// of 64 goes out with one byte more. The count reported is the bytes written
// less one whenever that is not a multiple of 64, so 64 reports 64 and 808
// reports 807. Callers test only for zero: a one-byte write counts as failed.
int UsbLink::bulkWrite(std::size_t length) {
    const int h = handle();
    if (h < 0)
        return 0;
    std::size_t n = length % 64 == 0 ? length + 1 : length;
    n = std::min(n, kLinkBufferSize);
    int transferred = 0;
    const int r =
        backend->bulk(h, kUsbEndpointOut, buf_.tx.data(), static_cast<int>(n), transferred, 5000);
    traceBytes('>', buf_.tx.data(), static_cast<std::size_t>(std::max(transferred, 0)));
    if (r < 0)
        return 0;
    bytesReturned = static_cast<std::uint32_t>(transferred);
    return transferred % 64 != 0 ? transferred - 1 : transferred;
}

int UsbLink::read() {
    const int h = handle();
    if (h < 0)
        return 0;
    int transferred = 0;
    backend->bulk(h, kUsbEndpointIn, buf_.rx.data() + 1, static_cast<int>(kUsbReadCapacity),
                  transferred, 10);
    if (transferred > 0)
        traceBytes('<', buf_.rx.data() + 1, static_cast<std::size_t>(transferred));
    bytesReturned = static_cast<std::uint32_t>(std::max(transferred, 0));
    return transferred >= 2 ? transferred + 2 : 0;
}

int UsbLink::request(std::size_t length, std::uint32_t timeoutMs, int viaBulk) {
    const std::uint64_t t0 = clock_.nowMs();
    auto send = [&] { return viaBulk ? bulkWrite(length) : controlWrite(length); };
    if (send() == 0 && send() == 0)
        return -99;
    const std::uint64_t t1 = clock_.nowMs();
    // Poll every 20 ms from the start of the request on, until the time-out
    // has passed since the send.
    std::uint64_t lastPoll = t0;
    int result = viaBulk;
    for (;;) {
        const std::uint64_t now = clock_.nowMs();
        if (now - lastPoll > kPollInterval) {
            lastPoll = now;
            result = read();
            if (result != 0)
                return result;
        }
        if (clock_.nowMs() - t1 > timeoutMs)
            return result;
        clock_.sleepUntil(std::min(lastPoll + kPollInterval + 1, t1 + timeoutMs + 1));
    }
}

}  // namespace quelvari::link
