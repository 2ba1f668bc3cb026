#pragma once

#include "platform/foundation/Value.h"

#include <string>

namespace platform {

/// A record of something that happened: its name, who says so, and a dictionary of what there is to
/// know about it. The last two may be none.
struct Notification {
    std::string name; ///< What happened.
    Value object;     ///< Who says so.
    Value userInfo;   ///< What there is to know.
};

} // namespace platform
