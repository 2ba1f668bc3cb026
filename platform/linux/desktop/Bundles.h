#pragma once

#include "platform/PropertyLists.h"

#include <optional>
#include <string>

namespace platform::native {

/// Whether a directory stands at the path, a final link followed, that a person sees as one item:
/// its name has the extension of a package, or it holds a bundle's Contents/Info.plist.
bool isPackage(const std::string& path);

/// What a bundle says of itself, its Contents/Info.plist; none where that cannot be read.
Value bundleInformation(const std::string& bundle, platform::PropertyLists& propertyLists);

/// The identifier in what a bundle says of itself; empty for none.
std::string identifierIn(const Value& information);

/// The identifier that a bundle has in its Info.plist; empty for none.
std::string bundleIdentifier(const std::string& bundle, platform::PropertyLists& propertyLists);

/// The first bundle below `directory`, eight directories deep and in the order of the names' bytes,
/// whose identifier is `identifier`, compared without case. Links below `directory` are not
/// followed and packages are not searched inside. An Info.plist that cannot be read counts as none.
std::optional<std::string> findBundle(const std::string& directory, const std::string& identifier,
                                      platform::PropertyLists& propertyLists);

} // namespace platform::native
