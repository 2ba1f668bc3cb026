#pragma once

#include <cstddef>
#include <cstdint>

/// Calls the formatter with a format and arguments made of arbitrary bytes. The first two bytes
/// tell the arguments' types, the rest is cut into the format and their content. Ends the process
/// when the result is longer than the formatter's contract allows.
void fuzzFormat(const std::uint8_t* bytes, std::size_t size);
