#include "tests/fuzz/FormatFuzzing.h"

/// The entry point that libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(
    const std::uint8_t* bytes,
    std::size_t size) { // NOLINT(readability-identifier-naming): libFuzzer's name
    fuzzFormat(bytes, size);
    return 0;
}
