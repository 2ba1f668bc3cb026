#pragma once

#include "platform/foundation/Value.h"

#include <string>

namespace qf {

/// A notification of an event: its name, its sender, and a dictionary of details. The last two may
/// be none.
struct Notification {
    std::string name; ///< The name of the event.
    Value object;     ///< The sender.
    Value userInfo;   ///< The details.
};

} // namespace qf
