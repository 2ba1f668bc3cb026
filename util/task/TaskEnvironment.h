#pragma once

#include "platform/foundation/Value.h"

#include <map>
#include <optional>
#include <string>

/// Returns a task's environment from a dictionary of strings; no value for an empty Value. Throws
/// platform::Exception "NSInvalidArgumentException" for any other value.
std::optional<std::map<std::string, std::string>> taskEnvironment(const platform::Value& value);
