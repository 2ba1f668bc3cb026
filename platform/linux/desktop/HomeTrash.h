#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// What the trashinfo that tells where a trashed item comes from has after the item's name.
constexpr const char* trashinfoExtension = ".trashinfo";

/// The directory of the trashed items themselves in the freedesktop home trash that GIO uses.
std::string homeTrashFiles();

/// The directory of their infos.
std::string homeTrashInfo();

/// Makes the home trash with the mode that others insist on.
SystemResult<void> makeHomeTrash();

/// Moves the item at an absolute path into the home trash, from another volume too, with a
/// trashinfo beside it. Of "a.txt", the second becomes "a.2.txt"; the name is cut where the
/// trashinfo's would be too long. Nothing is ever replaced. A trashinfo that a killed process left
/// for the same item gives way to the new one.
SystemResult<void> moveToHomeTrash(const std::string& path);

} // namespace platform::native
