#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qf {

/// A reference to a file: 80 opaque bytes, which may be copied and compared. Valid for the life of
/// the process, except that of the references to paths of more than 80 bytes only those to the
/// latest 10,000 are. A reference whose bytes are all zero refers to nothing.
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

/// Notifies the desktop's file browser that the item that the reference refers to has changed.
/// Returns 0 on success, -43 if the item does not exist, otherwise the error of the notification.
/// Any thread.
std::int32_t SendFinderSyncEvent(const FSRef& reference);

} // namespace qf
