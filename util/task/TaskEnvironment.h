#pragma once

#include "platform/foundation/Value.h"

#include <map>
#include <optional>
#include <string>

/// A task's environment out of a dictionary of strings, or nothing out of none. Throws
/// platform::Exception "NSInvalidArgumentException" for any other value.
std::optional<std::map<std::string, std::string>> taskEnvironment(const platform::Value& value);
