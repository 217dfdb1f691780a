// The libusb backend against faked devices (umockdev): enumeration by id, the
// product string, and what goes on the wire. Run under umockdev-run with the
// device descriptions and usbmon captures in tests/usb/; QUELVARI_USB_DEVICES
// tells how many instruments the testbed holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "link/instrument.h"
#include "link/link.h"

namespace quelvari::link {
namespace {

int ExpectedDevices() {
    const char* v = std::getenv("QUELVARI_USB_DEVICES");
    return v ? std::atoi(v) : -1;
}

TEST(UsbUmockdev, EnumerationFindsTheListedInstruments) {
    const int expected = ExpectedDevices();
    if (expected < 0)
        GTEST_SKIP() << "runs only in the umockdev testbed (ctest usb.umockdev.*)";
    Link link;
    link.linkKind = kLinkUsb;
    link.usb.backend = MakeLibusbBackend();
    link.usb.ids = {kUsbTestId};  // the faked devices carry the test id
    ASSERT_EQ(LinkConnect(link), 0) << link.lastReason;
    EXPECT_EQ(link.usb.deviceCount(), expected);
    for (int i = 0; i < kInstrumentEntries; ++i)
        EXPECT_EQ(link.table[static_cast<std::size_t>(i)].present != 0, i < expected) << i;
    if (expected > 0) {  // the last instrument's product string, in entry 0
        EXPECT_STREQ(link.table[0].name, expected == 1 ? "PV-SIM 6410" : "PV-SIM B");
    }

    // A device of an id that is not listed is not taken.
    link.usb.ids = {{0x1209, 0x0002}};
    ASSERT_EQ(LinkConnect(link), 0);
    EXPECT_EQ(link.usb.deviceCount(), 0);
}

TEST(UsbUmockdev, EndpointsAndThe64ByteRuleOnTheWire) {
    if (ExpectedDevices() != 1)
        GTEST_SKIP() << "runs only in the one-instrument testbed";
    Link link;
    link.linkKind = kLinkUsb;
    link.usb.backend = MakeLibusbBackend();
    link.usb.ids = {kUsbTestId};
    ASSERT_EQ(LinkConnect(link), 0) << link.lastReason;
    for (std::size_t i = 0; i < 808; ++i)
        link.buf.tx[i] = static_cast<std::uint8_t>(i);
    // The capture expects 65 bytes, then 808, on endpoint 0x06.
    EXPECT_EQ(LinkSend(link, 64), 64);
    EXPECT_EQ(LinkSend(link, 808), 807);
    // "pI" as a vendor control transfer; the answer from endpoint 0x85.
    std::copy_n("pI", 2, link.buf.tx.begin());
    EXPECT_EQ(LinkRequest(link, 2, 1500).code, 23);
    EXPECT_EQ(AnswerByte(link, 16), 1);
    EXPECT_EQ(AnswerByte(link, 17), 0x00);
    EXPECT_EQ(AnswerByte(link, 18), 0x08);
    LinkDisconnect(link);
}

}  // namespace
}  // namespace quelvari::link
