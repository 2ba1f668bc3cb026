#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <string_view>

/// Returns a path from a table of cases, with the directory's path in place of "DIR" at its
/// beginning.
inline std::string casePath(const TemporaryDirectory& directory, const std::string& path) {
    constexpr std::string_view mark = "DIR";
    return path.starts_with(mark) ? directory.path() + path.substr(mark.size()) : path;
}
