// The USB seam on libusb-1.0.
#include <libusb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>

#include "link/usb_link.h"

namespace quelvari::link {
namespace {

class LibusbBackend : public UsbBackend {
  public:
    ~LibusbBackend() override {
        for (auto& [id, h] : handles_) {
            libusb_release_interface(h, 0);
            libusb_close(h);
        }
        for (libusb_device* d : devices_)
            libusb_unref_device(d);
        if (ctx_)
            libusb_exit(ctx_);
    }

    int findDevices(const std::vector<UsbId>& ids, std::vector<int>& out,
                    std::vector<UsbSeen>& all) override {
        out.clear();
        all.clear();
        if (!ctx_) {
            const int r = libusb_init(&ctx_);
            if (r < 0) {
                ctx_ = nullptr;
                return r;
            }
        }
        for (libusb_device* d : devices_)
            libusb_unref_device(d);
        devices_.clear();
        libusb_device** list = nullptr;
        const ssize_t n = libusb_get_device_list(ctx_, &list);
        if (n < 0)
            return static_cast<int>(n);
        // Every device on the bus, in the order of bus and address (stable
        // between runs); the instruments are those with a listed id. A device
        // number is its place in `all`.
        std::vector<std::pair<UsbSeen, libusb_device*>> seen;
        for (ssize_t i = 0; i < n; ++i) {
            libusb_device_descriptor desc{};
            if (libusb_get_device_descriptor(list[i], &desc) != 0)
                continue;
            seen.push_back({{{desc.idVendor, desc.idProduct},
                             libusb_get_bus_number(list[i]),
                             libusb_get_device_address(list[i])},
                            list[i]});
        }
        std::sort(seen.begin(), seen.end(), [](const auto& a, const auto& b) {
            return a.first.bus * 256 + a.first.address < b.first.bus * 256 + b.first.address;
        });
        for (const auto& [info, dev] : seen) {
            all.push_back(info);
            devices_.push_back(libusb_ref_device(dev));
            if (std::find(ids.begin(), ids.end(), info.id) != ids.end())
                out.push_back(static_cast<int>(all.size() - 1));
        }
        libusb_free_device_list(list, 1);
        return 0;
    }

    int open(int device, bool mayDetach, std::string& reason) override {
        if (device < 0 || static_cast<std::size_t>(device) >= devices_.size())
            return LIBUSB_ERROR_NOT_FOUND;
        libusb_device* d = devices_[static_cast<std::size_t>(device)];
        libusb_device_handle* h = nullptr;
        char where[64];
        std::snprintf(where, sizeof where, "USB device %03d/%03d", libusb_get_bus_number(d),
                      libusb_get_device_address(d));
        int r = libusb_open(d, &h);
        if (r < 0) {
            reason = StatusFromLibusb(r, where).reason;
            return r;
        }
        r = libusb_claim_interface(h, 0);
        // A kernel driver that holds the interface is detached only when the
        // caller allows it, then the claim is tried once more.
        if (r == LIBUSB_ERROR_BUSY && mayDetach && libusb_kernel_driver_active(h, 0) == 1 &&
            libusb_detach_kernel_driver(h, 0) == 0)
            r = libusb_claim_interface(h, 0);
        if (r < 0) {
            reason = StatusFromLibusb(r, where).reason;
            libusb_close(h);
            return r;
        }
        const int id = next_++;
        handles_[id] = h;
        return id;
    }

    void close(int handle) override {
        auto it = handles_.find(handle);
        if (it == handles_.end())
            return;
        libusb_release_interface(it->second, 0);
        libusb_close(it->second);
        handles_.erase(it);
    }

    int controlOut(int handle, std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                   std::uint16_t index, const std::uint8_t* data, std::uint16_t length,
                   unsigned timeoutMs) override {
        libusb_device_handle* h = find(handle);
        if (!h)
            return LIBUSB_ERROR_NO_DEVICE;
        return libusb_control_transfer(h, requestType, request, value, index,
                                       const_cast<std::uint8_t*>(data), length, timeoutMs);
    }

    int bulk(int handle, std::uint8_t endpoint, std::uint8_t* data, int length, int& transferred,
             unsigned timeoutMs) override {
        transferred = 0;
        libusb_device_handle* h = find(handle);
        if (!h)
            return LIBUSB_ERROR_NO_DEVICE;
        return libusb_bulk_transfer(h, endpoint, data, length, &transferred, timeoutMs);
    }

    int stringDescriptor(int handle, std::uint8_t index, std::uint16_t language, std::uint8_t* data,
                         int capacity) override {
        libusb_device_handle* h = find(handle);
        if (!h)
            return LIBUSB_ERROR_NO_DEVICE;
        return libusb_get_string_descriptor(h, index, language, data, capacity);
    }

  private:
    libusb_device_handle* find(int handle) {
        auto it = handles_.find(handle);
        return it == handles_.end() ? nullptr : it->second;
    }

    libusb_context* ctx_ = nullptr;
    std::vector<libusb_device*> devices_;
    std::map<int, libusb_device_handle*> handles_;
    int next_ = 0;
};

}  // namespace

std::unique_ptr<UsbBackend> MakeLibusbBackend() {
    return std::make_unique<LibusbBackend>();
}

}  // namespace quelvari::link
