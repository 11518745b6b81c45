// Runs a fuzz target over the inputs of folders; small inputs also cut at every byte.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "Fuzz.h"

namespace {

void Run(const std::string& input) {
    // A block of just its size, so that the sanitizer sees every read past its end.
    const std::vector<std::uint8_t> exact(input.begin(), input.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

}  // namespace

int main(int argc, char** argv) {
    constexpr std::size_t smallSize = 1024;
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream stream(entry.path(), std::ios::binary);
            const std::string input(std::istreambuf_iterator<char>(stream), {});
            if (input.size() <= smallSize)
                for (std::size_t size = 0; size < input.size(); size += 1 + size / 256)
                    Run(input.substr(0, size));
            Run(input);
            ++inputs;
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
