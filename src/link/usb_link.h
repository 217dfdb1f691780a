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

// The ids looked for when the user has listed none.
const std::vector<UsbId>& DefaultUsbIds();
// "1234:5678" one per entry, separated by commas or blanks. Returns false on a
// malformed entry.
bool ParseUsbIds(const std::string& text, std::vector<UsbId>& ids);
std::string FormatUsbIds(const std::vector<UsbId>& ids);

inline constexpr std::uint8_t kUsbEndpointIn = 0x85;
inline constexpr std::uint8_t kUsbEndpointOut = 0x06;
inline constexpr int kUsbSlots = 6;
inline constexpr std::size_t kUsbReadCapacity = 2500;

// The request as a control transfer: host to device, vendor, to the device.
inline constexpr std::uint8_t kUsbRequestType = 0x40;
inline constexpr std::uint8_t kUsbRequestWrite = 1;

// Errors of the seam are libusb's negative codes.
class UsbBackend {
  public:
    virtual ~UsbBackend() = default;
    // Instruments present whose ids are in `ids`, in a stable order. 0 or a
    // negative error.
    virtual int findDevices(const std::vector<UsbId>& ids, std::vector<int>& devices) = 0;
    // Opens a device found by findDevices and claims its interface 0; returns a
    // handle (>= 0) or a negative error, with the system's reason.
    virtual int open(int device, std::string& reason) = 0;
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

class UsbLink {
  public:
    UsbLink(LinkBuffers& buffers, Clock& clock) : buf_(buffers), clock_(clock) {}
    ~UsbLink();

    // libusb unless set before the first enumeration.
    std::unique_ptr<UsbBackend> backend;
    std::vector<UsbId> ids = DefaultUsbIds();
    Trace* trace = nullptr;

    // UsbEnumerate: 0, or 74 when the USB system or a device cannot be opened
    // (`reason` says why).
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
    // request could not be sent twice.
    int request(std::size_t length, std::uint32_t timeoutMs, int viaBulk);

    std::uint32_t currentDevice = 0;
    std::uint32_t bytesReturned = 0;
    std::string reason;  // why the last enumeration failed

    static constexpr std::uint32_t kPollInterval = 20;

  private:
    void traceBytes(char dir, const std::uint8_t* data, std::size_t n);
    int handle() const;

    LinkBuffers& buf_;
    Clock& clock_;
    std::array<int, kUsbSlots> handles_{-1, -1, -1, -1, -1, -1};
};

}  // namespace quelvari::link
