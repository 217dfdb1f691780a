// The USB link. The instrument is a vendor-specific USB device with two bulk
// endpoints: answers come from IN endpoint 0x85, data blocks go to OUT endpoint
// 0x06, and a request is a vendor control transfer on endpoint 0 (see
// UsbControlWrite). No framing: the bytes go as they are.
//
// The USB library is reached through UsbBackend, a small seam shaped like
// libusb-1.0; the real backend wraps libusb, the simulated instrument and the
// tests provide their own.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "link/clock.h"
#include "link/serial_link.h"
#include "link/transport.h"

namespace quelvari::link {

struct UsbId {
    std::uint16_t vendor;
    std::uint16_t product;
    bool operator==(const UsbId&) const = default;
};

// The USB ids the link knows, as data. The instruments' own ids are not built
// in: the user lists them in the link settings (usbids=). The one built-in
// entry is the pid.codes test id, shared by any prototype board; only the
// simulated instrument and test set-ups use it.
struct UsbIdEntry {
    UsbId id;
    const char* what;
    bool testOnly;  // never looked for unless a test set-up asks for it
};
const std::vector<UsbIdEntry>& KnownUsbIds();
inline constexpr UsbId kUsbTestId{0x1209, 0x0001};
// The ids looked for when the settings list none: no test id, so nothing.
std::vector<UsbId> DefaultUsbIds();
// "1234:5678" one per entry, separated by commas or blanks. Returns false on a
// malformed entry.
bool ParseUsbIds(const std::string& text, std::vector<UsbId>& ids);
std::string FormatUsbIds(const std::vector<UsbId>& ids);

inline constexpr std::uint8_t kUsbEndpointIn = 0x85;
inline constexpr std::uint8_t kUsbEndpointOut = 0x06;
inline constexpr int kUsbSlots = 6;
inline constexpr std::size_t kUsbReadCapacity = 2500;

// How a request travels to the instrument and how its answer comes back. The
// instrument maker's driver is the only documentation of this, so the mapping
// is a setting (usbmap= in the link settings) rather than a constant:
//
//   control:TT:RR:VVVV:IIII  vendor control transfer, request type TT, request
//                            RR, value VVVV, index IIII (hexadecimal); the
//                            default is control:40:01:0000:0000
//   bulk:EE                  the request as a bulk OUT transfer on endpoint EE
//   in:EE                    answers from bulk IN endpoint EE (default 85)
//
// Parts are separated by commas, e.g. "control:40:01:0000:0000,in:85".
struct UsbRequestMap {
    bool viaControl = true;
    std::uint8_t requestType = 0x40;  // host to device, vendor, device
    std::uint8_t request = 1;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint8_t outEndpoint = 0x06;  // when not via control
    std::uint8_t answerEndpoint = 0x85;
    bool operator==(const UsbRequestMap&) const = default;
};
bool ParseUsbRequestMap(const std::string& text, UsbRequestMap& map);
std::string FormatUsbRequestMap(const UsbRequestMap& map);

// Errors of the seam are libusb's negative codes.
// A device on the bus, whatever it is.
struct UsbSeen {
    UsbId id;
    int bus = 0;
    int address = 0;
};
// "bus 001 device 004" of a device, for messages.
std::string UsbPlace(const UsbSeen& seen);

class UsbBackend {
  public:
    virtual ~UsbBackend() = default;
    // Instruments present whose ids are in `ids`, in a stable order; `all`
    // gets every device on the bus. 0 or a negative error.
    virtual int findDevices(const std::vector<UsbId>& ids, std::vector<int>& devices,
                            std::vector<UsbSeen>& all) = 0;
    // Opens a device found by findDevices and claims its interface 0. A kernel
    // driver that holds the interface is detached only with `mayDetach`.
    // Returns a handle (>= 0) or a negative error, with the system's reason.
    virtual int open(int device, bool mayDetach, std::string& reason) = 0;
    virtual void close(int handle) = 0;
    // Returns the bytes sent or a negative error.
    virtual int controlOut(int handle, std::uint8_t requestType, std::uint8_t request,
                           std::uint16_t value, std::uint16_t index, const std::uint8_t* data,
                           std::uint16_t length, unsigned timeoutMs) = 0;
    // 0 or a negative error; `transferred` is set in both cases.
    virtual int bulk(int handle, std::uint8_t endpoint, std::uint8_t* data, int length,
                     int& transferred, unsigned timeoutMs) = 0;
    // The raw string descriptor (length byte, type byte, UTF-16LE units); the
    // byte count or a negative error.
    virtual int stringDescriptor(int handle, std::uint8_t index, std::uint16_t language,
                                 std::uint8_t* data, int capacity) = 0;
};

// libusb's error code as a link status, with its text.
LinkResult StatusFromLibusb(int error, const std::string& what);

// The real backend, libusb-1.0.
std::unique_ptr<UsbBackend> MakeLibusbBackend();

// What the enumeration leaves in the instrument table: a present flag per slot
// and one name (the product string), always written to entry 0.
struct UsbFound {
    std::array<bool, kUsbSlots> present{};
    std::string name0;
    bool nameSet = false;
};

class UsbLink : public LinkBackend {
  public:
    UsbLink(LinkBuffers& buffers, Clock& clock) : buf_(buffers), clock_(clock) {}
    ~UsbLink() override;

    void disconnect() override { closeAll(); }
    int send(std::size_t length) override { return bulkWrite(length); }
    LinkResult fault() const override { return fault_; }

    // libusb unless set before the first enumeration.
    std::unique_ptr<UsbBackend> backend;
    std::vector<UsbId> ids = DefaultUsbIds();
    UsbRequestMap map;
    // The settings file named in the "no instrument" detail.
    std::string settingsPath;
    // Where the transfers' bytes are traced (the link's one trace point).
    TracePoint* tracePoint = nullptr;

    // UsbEnumerate: 0, or 74 when the USB system or a device cannot be opened.
    // A device whose interface cannot be claimed ends the enumeration with the
    // instruments found so far. `reason` says what went wrong, and when no
    // instrument was found, which devices were seen and what to do.
    int enumerate(UsbFound& found);
    void closeAll();
    // UsbDeviceCount: open slots counted from slot 0.
    int deviceCount() const;
    // UsbControlWrite: bytes reported sent, 0 on failure.
    int controlWrite(std::size_t length);
    // UsbBulkWrite: see the 64-byte rule in the source; 0 on failure.
    int bulkWrite(std::size_t length);
    // UsbRead: bytes + 2 when at least two bytes came, else 0.
    int read();
    // UsbRequest: the answer's count, 0 when none came in time, -99 when the
    // request could not be sent twice. The code of ask().
    int request(std::size_t length, std::uint32_t timeoutMs, int viaBulk) {
        return ask(length, timeoutMs, viaBulk).code;
    }
    LinkReply ask(std::size_t length, std::uint32_t timeoutMs, int viaBulk) override;

    std::uint32_t currentDevice = 0;
    std::uint32_t bytesReturned = 0;
    std::string reason;  // why the last enumeration failed

    static constexpr std::uint32_t kPollInterval = 20;

  private:
    void traceBytes(char dir, const std::uint8_t* data, std::size_t n);
    int handle() const;
    // A device that went away is gone for good: later requests fail at once.
    void noteError(int libusbError, const char* what);
    std::string noInstrumentDetail(const std::vector<UsbSeen>& all) const;

    LinkResult fault_;

    LinkBuffers& buf_;
    Clock& clock_;
    std::array<int, kUsbSlots> handles_{-1, -1, -1, -1, -1, -1};
};

}  // namespace quelvari::link
