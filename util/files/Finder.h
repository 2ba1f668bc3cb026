#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// A reference to a file: 80 bytes that mean nothing to their holder, who passes them on and may
/// copy and compare them. It stays valid for the life of the process. One whose bytes are all zero
/// refers to nothing.
struct FSRef {
    std::array<std::byte, 80> hidden{}; ///< For the system only.
    bool operator==(const FSRef&) const = default;
};
static_assert(sizeof(FSRef) == 80);

/// A colour in the calibrated colour space, each component from 0 to 1.
struct CalibratedColor {
    double hue = 0;        ///< Red is 0.
    double saturation = 0; ///< Grey is 0.
    double brightness = 0; ///< Black is 0.
    double alpha = 1;      ///< Invisible is 0.
    bool operator==(const CalibratedColor&) const = default;
};

/// Tells the desktop's file browser that what the reference refers to has changed. Gives 0 when it
/// was told, otherwise the error: -43 when nothing stands there, or that of telling it. Any thread.
std::int32_t SendFinderSyncEvent(const FSRef& reference);
