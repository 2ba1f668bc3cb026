// Reads every file of the directories that are named as one input of a fuzzer: for builds without
// libFuzzer, so that what once was found stays mended.

#include "tests/fuzz/Fuzzing.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>

int main(int argc, char** argv) {
    int count = 0;
    for (const char* directory : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes(std::istreambuf_iterator<char>(file), {});
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
            ++count;
        }
    }
    std::cout << count << " inputs\n";
    return count > 0 ? 0 : 1;
}
