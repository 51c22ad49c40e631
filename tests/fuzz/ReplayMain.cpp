// Replays a harness's inputs without libFuzzer, as the tests of the normal
// build: every file in the folders given (and any file given), in name order.
// Each input gets a heap block of exactly its size, as under libFuzzer.

#include "FuzzSupport.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> inputs;
    for (int index = 1; index < argc; ++index) {
        const std::filesystem::path given(argv[index]);
        if (!std::filesystem::is_directory(given)) {
            inputs.push_back(given);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(given))
            if (entry.is_regular_file())
                inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    // An empty corpus checks nothing, and must not pass for a check.
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s FOLDER_OR_FILE... (no input found)\n", argv[0]);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    for (const std::filesystem::path& input : inputs) {
        const std::string bytes = readWhole(input);
        std::fprintf(stderr, "%s\n", input.c_str());
        const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
        std::copy(bytes.begin(), bytes.end(), exact.get());
        LLVMFuzzerTestOneInput(exact.get(), bytes.size());
    }
    const auto elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::fprintf(stderr, "%zu inputs replayed in %.2f s\n", inputs.size(), elapsed);
    return 0;
}
