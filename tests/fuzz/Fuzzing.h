#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// Ends the fuzzer, which keeps the input, unless a demand on the result is met.
inline void demand(bool isMet) {
    if (!isMet) {
        std::abort();
    }
}

/// Reads one input: the entry point of every fuzzer, for libFuzzer and for Replay.cpp.
///
/// NOLINTNEXTLINE(readability-identifier-naming): libFuzzer's name
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Returns the bytes of an input.
inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}
