#pragma once

#include "platform/foundation/Value.h"

#include <map>
#include <optional>
#include <string>

namespace qf {

/// Returns a task's environment from a dictionary of strings; no value for an empty Value. Throws
/// qf::Exception "NSInvalidArgumentException" for any other value.
std::optional<std::map<std::string, std::string>> taskEnvironment(const Value& value);

} // namespace qf
