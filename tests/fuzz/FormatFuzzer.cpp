// The formatter, under arbitrary formats and arguments.

#include "tests/fuzz/FormatFuzzing.h"
#include "tests/fuzz/Fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzFormat(data, size);
    return 0;
}
