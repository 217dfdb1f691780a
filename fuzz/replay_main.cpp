// The replay driver: feeds every file of the given corpus directories (and
// any files named directly) to the target's LLVMFuzzerTestOneInput, so that
// builds without libFuzzer, g++ ones included, run the seeds and the inputs
// of past findings as ordinary tests. A crash or failed check ends the run
// with the name of the input on standard error.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    // Absolute names: a target may change the working directory.
    for (int i = 1; i < argc; ++i) {
        const fs::path arg = fs::absolute(argv[i]);
        if (fs::is_directory(arg)) {
            for (const auto& entry : fs::directory_iterator(arg))
                if (entry.is_regular_file())
                    inputs.push_back(entry.path());
        } else if (fs::is_regular_file(arg)) {
            inputs.push_back(arg);
        } else {
            std::fprintf(stderr, "%s: no such file or directory\n", argv[i]);
            return 2;
        }
    }
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR_OR_FILE...  (no inputs found)\n", argv[0]);
        return 2;
    }
    std::sort(inputs.begin(), inputs.end());
    for (const fs::path& p : inputs) {
        std::ifstream in(p, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(in),
                                      std::istreambuf_iterator<char>()};
        std::fprintf(stderr, "%s\n", p.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs replayed\n", inputs.size());
    return 0;
}
