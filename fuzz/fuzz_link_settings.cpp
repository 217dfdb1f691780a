// The link settings file on untrusted bytes. Whatever it holds, the settings
// read from it, written out and read again are the same, and writing those
// gives the same text (a file the program wrote is a fixed point).
#include <string>

#include "fuzz_support.h"
#include "link/link_settings.h"

namespace {

bool Same(const quelvari::link::LinkConfig& a, const quelvari::link::LinkConfig& b) {
    return a.kind == b.kind && a.device == b.device && a.comPortIndex == b.comPortIndex &&
           a.baudIndex == b.baudIndex && a.slow == b.slow && a.usbIds == b.usbIds &&
           a.usbMap == b.usbMap && a.cardDir == b.cardDir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quelvari::link;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const LinkConfig first = ParseLinkConfig(text);
    const std::string written = FormatLinkConfig(first);
    const LinkConfig second = ParseLinkConfig(written);
    FUZZ_CHECK(Same(first, second));
    FUZZ_CHECK(FormatLinkConfig(second) == written);
    return 0;
}
