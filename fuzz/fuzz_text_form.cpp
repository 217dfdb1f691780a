// The text form of a procedure: any bytes as a text. Reading never crashes
// and either refuses the text with a line inside it or gives records; the
// text form of those records reads back to the same records.
//
// Registered with: quelvari_fuzz_target(text_form quelvari_exchange ...)
#include <algorithm>
#include <string>

#include "exchange/text_form.h"
#include "fuzz_support.h"

using namespace quelvari;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    const exchange::ImportResult result = exchange::ImportText(text);
    if (!result.ok()) {
        const std::size_t lines =
            static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        FUZZ_CHECK(result.errors.front().line <= lines + 1);
        FUZZ_CHECK(!result.errors.front().expected.empty());
        return 0;
    }
    const exchange::ImportResult again = exchange::ImportText(exchange::ExportText(result.records));
    FUZZ_CHECK(again.ok());
    FUZZ_CHECK(again.records == result.records);
    return 0;
}
