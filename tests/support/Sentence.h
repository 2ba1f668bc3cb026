#pragma once

#include "platform/foundation/Error.h"

#include <optional>
#include <string>

/// What an error tells, or "no error".
inline std::string sentence(const std::optional<platform::Error>& error) {
    return error ? error->localizedDescription : "no error";
}
