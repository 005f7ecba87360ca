// Replays a corpus of the SimBase fuzz target without libFuzzer: every file in
// the folders given, one execution each. A finding aborts, as under the fuzzer.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            if (entry.is_regular_file())
                inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    if (inputs.empty()) {
        std::fprintf(stderr, "no corpus files\n");
        return 1;
    }
    for (const auto& input : inputs) {
        std::ifstream in(input, std::ios::binary);
        const std::vector<std::uint8_t> bytes(std::istreambuf_iterator<char>(in), {});
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("replayed %zu inputs\n", inputs.size());
    return 0;
}
