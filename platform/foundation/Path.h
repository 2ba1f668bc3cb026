#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Paths as text. Nothing here touches the disk or resolves "..", and bytes of a path other than
/// "/" and "." are never interpreted, so that a name in any encoding survives.
namespace qf::path {

/// Returns `path` and `component` joined by one "/": slashes at the end of the one and at the start
/// of the other count once, and the result has no trailing slash. For an empty `path`, returns the
/// component alone.
std::string appending(std::string_view path, std::string_view component);

/// Returns the parts between the slashes. The first component of an absolute path is "/"; repeated
/// slashes count as one and a trailing slash is ignored.
std::vector<std::string> components(std::string_view path);

/// Returns the last component; empty for the empty path.
std::string lastComponent(std::string_view path);

/// Returns the path without its last component and the slash before it: "/" for an item in the root
/// directory, empty for a path of one relative component.
std::string deletingLastComponent(std::string_view path);

/// Returns what follows the last "." of the last component; empty if the component has no ".",
/// begins with its only one, or ends with it.
std::string extension(std::string_view path);

/// Returns the path without its extension and the "." before it.
std::string deletingExtension(std::string_view path);

} // namespace qf::path
