#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace qf::native {

/// Returns whether a desktop is installed that users can log in to: one of the machine's data
/// directories (XDG_DATA_DIRS) has a directory of session entries.
bool hasDesktop();

/// A launcher entry: its file name and content.
struct LauncherEntry {
    std::string fileName;
    std::string content;
};

/// Returns the entry ("Desktop Entry Specification", version 1.5) by which the desktop offers an
/// application. `bundle` is its absolute path and `information` the content of its Info.plist.
///
/// A bundle cannot make its entry lead elsewhere: the file name is a prefix that no other entry
/// has, followed by the identifier, which may contain only letters, digits, "-", "_" and "."; the
/// program is a regular file in Contents/MacOS, and its path is quoted so that no character of it
/// is special. Returns nullopt if the bundle has no such identifier or program, or if the program's
/// path is not text or contains "%" or "=", which entries cannot express. The desktop hides the
/// entry when the program no longer exists.
std::optional<LauncherEntry> launcherEntry(const std::string& bundle, const Value& information);

} // namespace qf::native
