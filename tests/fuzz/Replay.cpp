// Runs a fuzz target over the inputs of folders; small ones also cut at every byte, and with each
// allocation failing once, of which the sanitizer tells what is lost.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

#include "Fuzz.h"

namespace {

long untilFailure = -1;  // allocations; none fails below zero

void Run(const std::string& input) {
    // A block of just its size, so that the sanitizer sees every read past its end.
    const std::vector<std::uint8_t> exact(input.begin(), input.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

// How many allocations there are. Not of JSON, nor of the fourth recipe, which makes some of lines:
// its library allocates where it frees, and ends the program when it cannot.
long RunWithoutMemory(const std::string& input) {
    for (long good = 0;; ++good) {
        untilFailure = good;
        try {
            Run(input);
        } catch (const std::bad_alloc&) {
        }
        if (std::exchange(untilFailure, -1) >= 0) return good;
    }
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return untilFailure-- == 0 ? nullptr : std::malloc(size);
}
void* operator new(std::size_t size) {
    if (void* const memory = operator new(size, std::nothrow)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

int main(int argc, char** argv) {
    constexpr std::size_t smallSize = 1024;
    int inputs = 0;
    long failures = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream stream(entry.path(), std::ios::binary);
            const std::string input(std::istreambuf_iterator<char>(stream), {});
            if (input.size() <= smallSize)
                for (std::size_t size = 0; size < input.size(); size += 1 + size / 256)
                    Run(input.substr(0, size));
            Run(input);
            if (input.size() <= smallSize && input.find_first_of("{[") == input.npos &&
                !input.starts_with('4'))
                failures += RunWithoutMemory(input);
            ++inputs;
        }
    }
    std::printf("%d inputs, %ld allocations that failed\n", inputs, failures);
    return inputs > 0 ? 0 : 1;
}
