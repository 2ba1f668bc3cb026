#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// What the note that tells where a trashed item comes from has after the item's name.
constexpr const char* noteExtension = ".trashinfo";

/// The folder of the trashed items themselves in the freedesktop home trash that GIO uses.
std::string homeTrashFiles();

/// The folder of their notes.
std::string homeTrashNotes();

/// Makes the home trash with the mode that others insist on.
SystemResult<void> makeHomeTrash();

/// Moves the item at an absolute path into the home trash, from another volume too, with a note
/// beside it. Of "a.txt", the second becomes "a.2.txt"; the name is cut where the note's would be
/// too long. Nothing is ever replaced. A note that a killed process left for the same item gives
/// way to the new one.
SystemResult<void> moveToHomeTrash(const std::string& path);

} // namespace platform::native
