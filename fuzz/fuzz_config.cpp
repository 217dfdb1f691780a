// The configuration file: any content, any length. Reading takes the bytes the
// file has over the values already held (a short file changes only what it
// holds); writing gives the 8-byte file back, which reads as the same values.
// Whatever language a damaged file names, every text lookup still answers.
#include <cstdlib>

#include "fuzz_support.h"
#include "model/config.h"
#include "texts/errors.h"
#include "texts/texts.h"

using namespace quelvari;
using quelvari::fuzz::ScratchDir;

namespace {

std::uint32_t le32(const std::uint8_t* b) {
    return b[0] | (b[1] << 8) | (b[2] << 16) | (static_cast<std::uint32_t>(b[3]) << 24);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ScratchDir& dir = ScratchDir::get();
    static const bool rooted = [&] {
        return ::setenv("QUELVARI_CONFIG_ROOT", dir.file("ZR_ConfigDir").c_str(), 1) == 0;
    }();
    FUZZ_CHECK(rooted);
    dir.clear();
    FUZZ_CHECK(EnsureConfigDirectories());
    const ConfigPaths paths = GetConfigPaths();
    FUZZ_CHECK(paths.file.rfind(dir.path(), 0) == 0);
    dir.write(paths.file.substr(dir.path().size() + 1),
              {reinterpret_cast<const char*>(data), size});

    // The bytes the file holds, over values that were there before.
    std::uint8_t expected[8] = {0xA5, 0x5A, 0xC3, 0x3C, 0x96, 0x69, 0x0F, 0xF0};
    Configuration config{le32(expected), le32(expected + 4)};
    for (std::size_t i = 0; i < size && i < 8; ++i)
        expected[i] = data[i];
    ReadConfiguration(config);
    FUZZ_CHECK(config.language == le32(expected));
    FUZZ_CHECK(config.printSize == le32(expected + 4));

    FUZZ_CHECK(WriteConfiguration(config).ok());
    Configuration reread;
    ReadConfiguration(reread);
    FUZZ_CHECK(reread.language == config.language && reread.printSize == config.printSize);

    // Values other than 1, 2 and 3 select the German texts.
    setLanguage(config.language);
    const std::uint32_t table = config.language <= 3 ? config.language : kGerman;
    for (std::uint32_t id : {130u, 3102u, 3201u, 60000u})
        FUZZ_CHECK(LangText(id) == LangText(id, table));
    FUZZ_CHECK(ComposeErrorMessage(ErrorCode(92)).text ==
               ComposeErrorMessage(ErrorCode(92), table).text);
    FUZZ_CHECK(!HelpFileName(config.language, "previous.hlp").empty());
    return 0;
}
