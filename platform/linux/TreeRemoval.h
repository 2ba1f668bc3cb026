#pragma once

#include "platform/foundation/Error.h"

#include <optional>
#include <string>

namespace platform::native {

/// Deletes the entry `name` of the open folder `parent`, with all that is in it.
///
/// Every step goes through the descriptor of the folder that it changes, so that a link, or a
/// folder that others put in the place of one that is being emptied, never leads outside the entry.
/// A volume mounted inside is not entered. The number of open descriptors is bounded, and the
/// memory for each level too, whatever the depth. Gives the Error of the first thing that could not
/// be deleted, which ends the work, or nothing on success.
[[nodiscard]] std::optional<Error> removeTree(int parent, const std::string& name);

} // namespace platform::native
