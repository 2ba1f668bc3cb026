#pragma once

#include "platform/PropertyLists.h"

#include <optional>
#include <string>

namespace qf::native {

/// Returns whether the path is a directory, a final link followed, that users see as one item: its
/// name has the extension of a package, or it contains a bundle's Contents/Info.plist.
bool isPackage(const std::string& path);

/// Returns the content of a bundle's Contents/Info.plist; none if it cannot be read.
Value bundleInformation(const std::string& bundle, qf::PropertyLists& propertyLists);

/// Returns the identifier in the content of an Info.plist; empty if it has none.
std::string identifierIn(const Value& information);

/// Returns the identifier in a bundle's Info.plist; empty if it has none.
std::string bundleIdentifier(const std::string& bundle, qf::PropertyLists& propertyLists);

/// Returns the first bundle below `directory`, up to eight directories deep and in byte order of
/// names, whose identifier is `identifier`, compared ignoring case. Links below `directory` are not
/// followed and packages are not searched. An unreadable Info.plist counts as missing.
std::optional<std::string> findBundle(const std::string& directory, const std::string& identifier,
                                      qf::PropertyLists& propertyLists);

} // namespace qf::native
