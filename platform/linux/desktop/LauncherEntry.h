#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace platform::native {

/// Whether a desktop is installed, one that a person can log in to: a directory of session entries
/// is among the machine's data directories (XDG_DATA_DIRS).
bool hasDesktop();

/// What a launcher entry is called and what is in it.
struct LauncherEntry {
    std::string fileName;
    std::string content;
};

/// The entry ("Desktop Entry Specification", version 1.5) by which the desktop offers an
/// application. `bundle` is its absolute path and `information` the content of its Info.plist.
///
/// Nothing in a bundle leads out of it or does more than it says: the file name is made of the
/// identifier, which may hold letters, digits, "-", "_" and "." alone, behind a prefix that no
/// other entry has; the program is a regular file in Contents/MacOS, and its path is quoted so that
/// no character of it has a meaning. Nothing when the bundle has no such identifier or program, or
/// the program's path is no text, or holds "%" or "=", which entries cannot express. The entry
/// hides itself when the program is gone.
std::optional<LauncherEntry> launcherEntry(const std::string& bundle, const Value& information);

} // namespace platform::native
