#pragma once

#include "platform/linux/authorization/helper/Walk.h"

#include <string>
#include <string_view>

namespace qf::native::helper {

/// The identifier that an application has in its Contents/Info.plist; empty when it has none, or
/// when others than its owner and root have put that file there. Throws a Refusal.
std::string bundleIdentifier(const Item& application);

/// Returns the identifier in a property list of any bytes, XML or binary, or an empty text.
std::string identifierIn(std::string_view propertyList);

} // namespace qf::native::helper
