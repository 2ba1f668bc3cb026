#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Paths as text. Nothing here touches the disk or resolves "..", and a path's bytes other than "/"
/// and "." are never looked into, so that a name in any encoding survives.
namespace platform::path {

/// `path` and `component` with one "/" between them: slashes at the end of the one and at the start
/// of the other count once, and the result has no trailing slash. An empty `path` gives the
/// component alone.
std::string appending(std::string_view path, std::string_view component);

/// The parts between the slashes. An absolute path's first component is "/"; doubled slashes count
/// as one and a trailing one counts for nothing.
std::vector<std::string> components(std::string_view path);

/// The last of the components, the empty string for the empty path.
std::string lastComponent(std::string_view path);

/// The path without its last component and the slash before it: "/" for an item in the root
/// directory, the empty string for a path of one relative component.
std::string deletingLastComponent(std::string_view path);

/// What follows the last "." of the last component; the empty string when it has none, begins with
/// its only ".", or ends with it.
std::string extension(std::string_view path);

/// The path without its extension and the "." before it.
std::string deletingExtension(std::string_view path);

} // namespace platform::path
