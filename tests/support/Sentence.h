#pragma once

#include "platform/foundation/Result.h"

#include <string>

/// What the error of a failure tells, or "no error".
inline std::string sentence(const platform::Result<void>& result) {
    return result ? "no error" : result.error().localizedDescription;
}
