#pragma once

#include <chrono>

namespace platform::native::helper {

/// What a helper serves. Each program that is built of these sources has its own.
struct Terms {
    /// How long it is there for a program that asks nothing of it.
    std::chrono::milliseconds patience;
};

extern const Terms terms;

} // namespace platform::native::helper
