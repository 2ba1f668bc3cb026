#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/foundation/Error.h"

#include <functional>
#include <optional>
#include <string>

namespace qf {

/// What became of an item that was to be moved into the Trash.
enum class TrashOutcome {
    absent,     ///< it did not exist
    moved,      ///< the current user moved it
    handedOver, ///< a tool with the administrator's right was started to move it
    failed,     ///< it is where it was
};

/// The result of an attempt to move an item into the Trash.
struct TrashResult {
    /// What became of the item.
    TrashOutcome outcome;
    /// The path in the Trash of an item that was moved, or that the tool is to move. Empty if it is
    /// in place or too long.
    std::string place;
    /// Why the current user could not move it, or that it was still there after the time-out.
    std::optional<Error> error;
    /// The platform's answer to the request for the administrator's right; no value if it was not
    /// requested.
    std::optional<AuthorizationStatus> right;
    /// Waits until the tool has ended, whether or not it moved the item. Empty if no tool runs. Any
    /// thread may call it, once.
    std::function<void()> waitUntilDone;
};

} // namespace qf
