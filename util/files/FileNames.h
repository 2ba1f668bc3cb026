#pragma once

#include <string>

/// The first path at which nothing exists of those that are made of `path` by adding a blank and a
/// number, 2 and upwards, before the extension.
std::string numberedFilename(const std::string& path);
