#include "link/usb_link.h"

#include "model/status.h"
#include "texts/texts.h"

#include "link/link_texts.h"

#include <libusb.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace quelvari::link {

const std::vector<UsbIdEntry>& KnownUsbIds() {
    static const std::vector<UsbIdEntry> ids{
        {kUsbTestId, "pid.codes test id: the simulated instrument and test set-ups", true},
    };
    return ids;
}

std::vector<UsbId> DefaultUsbIds() {
    std::vector<UsbId> ids;
    for (const UsbIdEntry& e : KnownUsbIds())
        if (!e.testOnly)
            ids.push_back(e.id);
    return ids;
}

std::string UsbPlace(const UsbSeen& seen) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%04x:%04x (bus %03d device %03d)", seen.id.vendor,
                  seen.id.product, seen.bus, seen.address);
    return buf;
}

namespace {

bool HexField(const std::string& text, unsigned digits, unsigned& out) {
    if (text.size() != digits ||
        text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    out = static_cast<unsigned>(std::stoul(text, nullptr, 16));
    return true;
}

std::vector<std::string> Split(const std::string& text, char sep) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, sep))
        parts.push_back(part);
    return parts;
}

}  // namespace

bool ParseUsbRequestMap(const std::string& text, UsbRequestMap& map) {
    UsbRequestMap m;
    for (std::string item : Split(text, ',')) {
        item.erase(std::remove(item.begin(), item.end(), ' '), item.end());
        if (item.empty())
            continue;
        const std::vector<std::string> f = Split(item, ':');
        unsigned a = 0, b = 0, c = 0, d = 0;
        if (f[0] == "control" && f.size() == 5 && HexField(f[1], 2, a) && HexField(f[2], 2, b) &&
            HexField(f[3], 4, c) && HexField(f[4], 4, d)) {
            m.viaControl = true;
            m.requestType = static_cast<std::uint8_t>(a);
            m.request = static_cast<std::uint8_t>(b);
            m.value = static_cast<std::uint16_t>(c);
            m.index = static_cast<std::uint16_t>(d);
        } else if (f[0] == "bulk" && f.size() == 2 && HexField(f[1], 2, a) && !(a & 0x80)) {
            m.viaControl = false;
            m.outEndpoint = static_cast<std::uint8_t>(a);
        } else if (f[0] == "in" && f.size() == 2 && HexField(f[1], 2, a) && (a & 0x80)) {
            m.answerEndpoint = static_cast<std::uint8_t>(a);
        } else {
            return false;
        }
    }
    map = m;
    return true;
}

std::string FormatUsbRequestMap(const UsbRequestMap& m) {
    char buf[64];
    if (m.viaControl)
        std::snprintf(buf, sizeof buf, "control:%02x:%02x:%04x:%04x,in:%02x", m.requestType,
                      m.request, m.value, m.index, m.answerEndpoint);
    else
        std::snprintf(buf, sizeof buf, "bulk:%02x,in:%02x", m.outEndpoint, m.answerEndpoint);
    return buf;
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
    return {status, what + ": " + libusb_strerror(error)};
}

UsbLink::~UsbLink() {
    closeAll();
}

void UsbLink::traceBytes(char dir, const std::uint8_t* data, std::size_t n) {
    if (tracePoint)
        tracePoint->pass(dir, data, n);
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
    fault_ = {};
    found = {};
    if (!backend)
        backend = MakeLibusbBackend();
    std::vector<int> devices;
    std::vector<UsbSeen> all;
    const int listed = backend->findDevices(ids, devices, all);
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
        const UsbSeen seen = device >= 0 && static_cast<std::size_t>(device) < all.size()
                                 ? all[static_cast<std::size_t>(device)]
                                 : UsbSeen{};
        // A kernel driver is never taken from a device that merely carries
        // the test id: any prototype board may have it.
        const bool mayDetach = !(seen.id == kUsbTestId);
        std::string why;
        const int h = backend->open(device, mayDetach, why);
        if (h == LIBUSB_ERROR_ACCESS) {
            reason = why + "\n" +
                     TextWith(kTextUdevRuleMissing,
                              {UsbPlace(seen), UdevRulePath(), "sudo udevadm control --reload"});
            return kErrUsbAccess;
        }
        if (h == LIBUSB_ERROR_BUSY) {
            // The interface cannot be claimed: the enumeration ends here with
            // the instruments found so far.
            reason = why + "\n" + TextWith(kTextKernelDriver, {UsbPlace(seen)});
            break;
        }
        if (h < 0) {
            reason = why.empty() ? StatusFromLibusb(h, "USB device").reason : why;
            if (h == LIBUSB_ERROR_NO_DEVICE || h == LIBUSB_ERROR_NOT_FOUND)
                return kErrUsbAccess;
            break;
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
    if (!found.present[0] && reason.empty())
        reason = noInstrumentDetail(all);
    return 0;
}

std::string UsbLink::noInstrumentDetail(const std::vector<UsbSeen>& all) const {
    std::string seen;
    for (const UsbSeen& d : all)
        seen += (seen.empty() ? "" : ", ") + UsbPlace(d);
    if (seen.empty())
        seen = LangText(kTextNone);
    const std::string wanted = ids.empty() ? LangText(kTextNone) : FormatUsbIds(ids);
    return TextWith(kTextDevicesPresent, {seen}) + "\n" +
           TextWith(kTextNoIdMatches, {wanted, settingsPath});
}

void UsbLink::noteError(int error, const char* what) {
    if (error == LIBUSB_ERROR_NO_DEVICE || error == LIBUSB_ERROR_IO)
        if (fault_.ok())
            fault_ = StatusFromLibusb(error, what);
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
    if (h < 0 || length > 0xFFFF || !fault_.ok())
        return 0;
    if (!map.viaControl) {
        int transferred = 0;
        const int r = backend->bulk(h, map.outEndpoint, buf_.tx.data(), static_cast<int>(length),
                                    transferred, 1000);
        traceBytes('>', buf_.tx.data(), static_cast<std::size_t>(std::max(transferred, 0)));
        noteError(r, "USB request");
        if (r < 0)
            return 0;
        bytesReturned = static_cast<std::uint32_t>(transferred);
        return transferred;
    }
    const int r = backend->controlOut(h, map.requestType, map.request, map.value, map.index,
                                      buf_.tx.data(), static_cast<std::uint16_t>(length), 1000);
    traceBytes('>', buf_.tx.data(), r > 0 ? static_cast<std::size_t>(r) : 0);
    noteError(r, "USB request");
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
    if (h < 0 || !fault_.ok())
        return 0;
    std::size_t n = length % 64 == 0 ? length + 1 : length;
    n = std::min(n, kLinkBufferSize);
    int transferred = 0;
    const int r =
        backend->bulk(h, kUsbEndpointOut, buf_.tx.data(), static_cast<int>(n), transferred, 5000);
    traceBytes('>', buf_.tx.data(), static_cast<std::size_t>(std::max(transferred, 0)));
    noteError(r, "USB block");
    if (r < 0)
        return 0;
    bytesReturned = static_cast<std::uint32_t>(transferred);
    return transferred % 64 != 0 ? transferred - 1 : transferred;
}

int UsbLink::read() {
    const int h = handle();
    if (h < 0 || !fault_.ok())
        return 0;
    int transferred = 0;
    const int r = backend->bulk(h, map.answerEndpoint, buf_.rx.data() + 1,
                                static_cast<int>(kUsbReadCapacity), transferred, 10);
    noteError(r, "USB answer");
    if (transferred > 0)
        traceBytes('<', buf_.rx.data() + 1, static_cast<std::size_t>(transferred));
    bytesReturned = static_cast<std::uint32_t>(std::max(transferred, 0));
    return transferred >= 2 ? transferred + 2 : 0;
}

LinkReply UsbLink::ask(std::size_t length, std::uint32_t timeoutMs, int viaBulk) {
    const std::uint64_t t0 = clock_.nowMs();
    auto send = [&] { return viaBulk ? bulkWrite(length) : controlWrite(length); };
    // A device that is gone gets no second attempt.
    if (send() == 0 && (!fault_.ok() || send() == 0))
        return LinkReply::NotSent(-99);
    const std::uint64_t t1 = clock_.nowMs();
    // Poll every 20 ms from the start of the request on, until the time-out
    // has passed since the send. When no poll ran at all the request's code
    // is `viaBulk` as given, which still is no answer.
    std::uint64_t lastPoll = t0;
    LinkReply result = LinkReply::None(viaBulk);
    for (;;) {
        const std::uint64_t now = clock_.nowMs();
        if (now - lastPoll > kPollInterval) {
            lastPoll = now;
            const int got = read();
            if (got != 0)
                return LinkReply::Answer(got);
            result = LinkReply::None();
        }
        if (clock_.nowMs() - t1 > timeoutMs || !fault_.ok())
            return result;
        if (!WaitUntil(clock_, std::min(lastPoll + kPollInterval + 1, t1 + timeoutMs + 1), cancel))
            return result;
    }
}

}  // namespace quelvari::link
