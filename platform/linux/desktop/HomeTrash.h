#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// The extension of a trashinfo, the file that records where a trashed item comes from.
constexpr const char* trashinfoExtension = ".trashinfo";

/// Returns the directory of the trashed items themselves in the freedesktop home trash that GIO
/// uses.
std::string homeTrashFiles();

/// Returns the directory of their trashinfos.
std::string homeTrashInfo();

/// Creates the home trash with the mode that other programs require.
SystemResult<void> makeHomeTrash();

/// Moves the item at an absolute path into the home trash, even from another volume, and writes its
/// trashinfo. A second "a.txt" becomes "a.2.txt"; the name is cut if the trashinfo's would be too
/// long. Nothing is ever replaced, except a trashinfo that a killed process left for the same item.
SystemResult<void> moveToHomeTrash(const std::string& path);

} // namespace platform::native
