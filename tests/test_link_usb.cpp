// The USB link on a recording USB seam: enumeration, the 64-byte rule, the
// request mapping, the -99 rule and the 20 ms polling.
#include <gtest/gtest.h>
#include <libusb.h>

#include <deque>

#include "link/instrument.h"
#include "link/link.h"
#include "link/usb_link.h"
#include "link_test_util.h"

namespace quelvari::link {
namespace {

using test::Bytes;

class RecordingUsb : public UsbBackend {
  public:
    explicit RecordingUsb(VirtualClock& clock, std::vector<std::string> names = {"PV 6410"})
        : clock_(clock), names_(std::move(names)) {}

    struct Transfer {
        std::uint8_t endpoint;  // 0 for a control transfer
        std::uint8_t requestType, request;
        std::vector<std::uint8_t> data;
        std::uint64_t time;
    };
    std::vector<Transfer> writes;
    std::vector<std::uint64_t> reads;
    std::deque<std::pair<std::uint64_t, std::vector<std::uint8_t>>> answers;  // (ready at, data)
    int failSends = 0;
    int openError = 0;
    int opened = 0, closed = 0;

    int findDevices(const std::vector<UsbId>&, std::vector<int>& devices) override {
        devices.clear();
        for (std::size_t i = 0; i < names_.size(); ++i)
            devices.push_back(static_cast<int>(i));
        return 0;
    }
    int open(int device, std::string& reason) override {
        if (openError) {
            reason = StatusFromLibusb(openError, "USB device 001/004").reason;
            return openError;
        }
        ++opened;
        return device;
    }
    void close(int) override { ++closed; }
    int controlOut(int, std::uint8_t type, std::uint8_t request, std::uint16_t, std::uint16_t,
                   const std::uint8_t* data, std::uint16_t length, unsigned) override {
        if (failSends > 0) {
            --failSends;
            return LIBUSB_ERROR_PIPE;
        }
        writes.push_back({0, type, request, {data, data + length}, clock_.nowMs()});
        return length;
    }
    int bulk(int, std::uint8_t endpoint, std::uint8_t* data, int length, int& transferred,
             unsigned) override {
        transferred = 0;
        if (endpoint == kUsbEndpointOut) {
            if (failSends > 0) {
                --failSends;
                return LIBUSB_ERROR_IO;
            }
            writes.push_back({endpoint, 0, 0, {data, data + length}, clock_.nowMs()});
            transferred = length;
            return 0;
        }
        EXPECT_EQ(endpoint, kUsbEndpointIn);
        EXPECT_EQ(length, 2500);
        reads.push_back(clock_.nowMs());
        if (answers.empty() || answers.front().first > clock_.nowMs())
            return LIBUSB_ERROR_TIMEOUT;
        const auto a = answers.front().second;
        answers.pop_front();
        std::copy(a.begin(), a.end(), data);
        transferred = static_cast<int>(a.size());
        return 0;
    }
    int stringDescriptor(int handle, std::uint8_t index, std::uint16_t language, std::uint8_t* data,
                         int) override {
        EXPECT_EQ(index, 2);
        EXPECT_EQ(language, 0x0409);
        const std::string& name = names_[static_cast<std::size_t>(handle)];
        data[0] = static_cast<std::uint8_t>(2 + 2 * name.size());
        data[1] = 3;
        for (std::size_t i = 0; i < name.size(); ++i) {
            data[2 + 2 * i] = static_cast<std::uint8_t>(name[i]);
            data[3 + 2 * i] = 0x01;  // only the low byte of each unit is kept
        }
        return data[0];
    }

  private:
    VirtualClock& clock_;
    std::vector<std::string> names_;
};

struct UsbFixture {
    explicit UsbFixture(std::vector<std::string> names = {"PV 6410"}) : link(clock) {
        auto b = std::make_unique<RecordingUsb>(clock, std::move(names));
        usb = b.get();
        link.usb.backend = std::move(b);
        link.linkKind = kLinkUsb;
    }
    VirtualClock clock;
    Link link;
    RecordingUsb* usb = nullptr;
};

TEST(LinkUsb, EnumerationOpensEverySlotAndNamesEntryZero) {
    {
        UsbFixture f(std::vector<std::string>{});
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.link.usb.deviceCount(), 0);
        EXPECT_FALSE(f.link.table[0].present);
        EXPECT_EQ(InstrumentConnect(f.link), 76);  // nothing attached
    }
    {
        UsbFixture f({"First", "Second"});
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.link.usb.deviceCount(), 2);
        EXPECT_TRUE(f.link.table[0].present);
        EXPECT_TRUE(f.link.table[1].present);
        EXPECT_FALSE(f.link.table[2].present);
        // Both names went to entry 0; the second one stays.
        EXPECT_STREQ(f.link.table[0].name, "Second");
        EXPECT_STREQ(f.link.table[1].name, "");
        EXPECT_EQ(f.link.usb.currentDevice, 0u);

        LinkDisconnect(f.link);
        EXPECT_EQ(f.link.usb.deviceCount(), 0);
        EXPECT_EQ(f.usb->closed, 2);
        EXPECT_FALSE(f.link.table[0].present);
        EXPECT_TRUE(f.link.table[1].present);  // only entry 0 is marked absent
    }
    {
        // Eight instruments: six slots, the last reused.
        UsbFixture f({"1", "2", "3", "4", "5", "6", "7", "8"});
        EXPECT_EQ(LinkConnect(f.link), 0);
        EXPECT_EQ(f.link.usb.deviceCount(), 6);
        EXPECT_EQ(f.usb->opened - f.usb->closed, 6);
    }
    {
        // No permission: 74 inside the link, 79 from the connect, and the
        // system's reason with a hint.
        UsbFixture f;
        f.usb->openError = LIBUSB_ERROR_ACCESS;
        EXPECT_EQ(LinkConnect(f.link), 79);
        EXPECT_NE(f.link.lastReason.find("udev"), std::string::npos);
        EXPECT_NE(f.link.lastReason.find("001/004"), std::string::npos);
    }
}

TEST(LinkUsb, BulkWritesNeverEndOnAFullPacket) {
    UsbFixture f;
    ASSERT_EQ(LinkConnect(f.link), 0);
    for (std::size_t i = 0; i < 900; ++i)
        f.link.buf.tx[i] = static_cast<std::uint8_t>(i);

    EXPECT_EQ(f.link.usb.bulkWrite(64), 64);
    ASSERT_EQ(f.usb->writes.size(), 1u);
    EXPECT_EQ(f.usb->writes[0].endpoint, kUsbEndpointOut);
    EXPECT_EQ(f.usb->writes[0].data.size(), 65u);
    EXPECT_EQ(f.usb->writes[0].data[64], 64);  // one byte past the data

    EXPECT_EQ(f.link.usb.bulkWrite(808), 807);
    EXPECT_EQ(f.usb->writes[1].data.size(), 808u);
    EXPECT_EQ(LinkSend(f.link, 128), 128);
    EXPECT_EQ(f.usb->writes[2].data.size(), 129u);
    EXPECT_EQ(LinkBlockWrite(f.link, 807), 806);
    // A one-byte write reports 0: callers take it as failed.
    EXPECT_EQ(f.link.usb.bulkWrite(1), 0);

    f.usb->failSends = 1;
    EXPECT_EQ(f.link.usb.bulkWrite(807), 0);
}

TEST(LinkUsb, RequestsAreVendorControlTransfersPolledEvery20Ms) {
    UsbFixture f;
    ASSERT_EQ(LinkConnect(f.link), 0);
    f.link.buf.tx[0] = 'p';
    f.link.buf.tx[1] = 'I';
    const std::uint64_t t0 = f.clock.nowMs();
    f.usb->answers.push_back({t0 + 45, Bytes({1, 2, 3})});
    EXPECT_EQ(LinkRequest(f.link, 2, 1500), 5);  // 3 bytes + 2
    ASSERT_EQ(f.usb->writes.size(), 1u);
    EXPECT_EQ(f.usb->writes[0].endpoint, 0);
    EXPECT_EQ(f.usb->writes[0].requestType, 0x40);
    EXPECT_EQ(f.usb->writes[0].request, 1);
    EXPECT_EQ(f.usb->writes[0].data, Bytes({'p', 'I'}));
    EXPECT_EQ(f.usb->reads, (std::vector<std::uint64_t>{t0 + 21, t0 + 42, t0 + 63}));
    EXPECT_EQ(f.link.buf.rx[1], 1);
    EXPECT_EQ(f.link.buf.rx[3], 3);

    // Nothing within the time-out: 0 once more than 1500 ms have passed.
    f.usb->reads.clear();
    const std::uint64_t t1 = f.clock.nowMs();
    EXPECT_EQ(LinkRequest(f.link, 2, 1500), 0);
    EXPECT_EQ(f.clock.nowMs(), t1 + 1501);
    EXPECT_EQ(f.usb->reads.size(), 71u);  // every 21 ms

    // A single byte is no answer.
    f.usb->answers.push_back({0, Bytes({'?'})});
    EXPECT_EQ(LinkRequest(f.link, 2, 100), 0);

    // Via bulk: the request goes to endpoint 0x06 instead.
    f.usb->answers.push_back({0, Bytes({0, 0})});
    EXPECT_EQ(LinkBlockRequest(f.link, 4, 8000, 1), 4);
    EXPECT_EQ(f.usb->writes.back().endpoint, kUsbEndpointOut);

    // Two failed sends: -99 at once, without polling.
    f.usb->failSends = 2;
    f.usb->reads.clear();
    const std::uint64_t t2 = f.clock.nowMs();
    EXPECT_EQ(LinkRequest(f.link, 2, 1500), -99);
    EXPECT_EQ(f.clock.nowMs(), t2);
    EXPECT_TRUE(f.usb->reads.empty());
    // One failed send is repeated at once.
    f.usb->failSends = 1;
    f.usb->answers.push_back({0, Bytes({9, 9})});
    EXPECT_EQ(LinkRequest(f.link, 2, 1500), 4);

    // -99 is handed on by the identification.
    f.usb->failSends = 2;
    EXPECT_EQ(InstrumentIdentify(f.link, 0), -99);
}

TEST(LinkUsb, UsbIdListsParseAndPrint) {
    std::vector<UsbId> ids;
    ASSERT_TRUE(ParseUsbIds("1209:0001, abcd:EF01", ids));
    EXPECT_EQ(ids, (std::vector<UsbId>{{0x1209, 0x0001}, {0xabcd, 0xef01}}));
    EXPECT_EQ(FormatUsbIds(ids), "1209:0001,abcd:ef01");
    EXPECT_FALSE(ParseUsbIds("1209-0001", ids));
    EXPECT_FALSE(ParseUsbIds("12090:001", ids));
    EXPECT_FALSE(ParseUsbIds("1209:00g1", ids));
    EXPECT_EQ(ids.size(), 2u);  // a refused list leaves the old one
    ASSERT_TRUE(ParseUsbIds("", ids));
    EXPECT_TRUE(ids.empty());
}

}  // namespace
}  // namespace quelvari::link
