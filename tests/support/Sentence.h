#pragma once

#include "platform/foundation/Result.h"

#include <string>

/// Returns the description of a failure's error, or "no error".
inline std::string sentence(const qf::Result<void>& result) {
    return result ? "no error" : result.error().localizedDescription;
}
