#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// The participle for failureSentence().
constexpr const char* movedToTrash = "moved to the Trash";

/// Why an item could not be trashed, also in words that can follow "because".
struct TrashError {
    Errno number;
    std::string why;
};

/// Moves the entry `name` of `directory` whole into the user's Trash, `trash`.
///
/// If `trash` does not exist, it becomes a link to the "files" directory of the freedesktop home
/// trash ("The FreeDesktop.org Trash specification", version 1.0), which is created too. If `trash`
/// is, or leads to, that directory, the item is trashed by GIO, which records where it came from:
/// the desktop shows it and can restore it, and an item on another volume goes into the trash of
/// that volume. An item that GIO refuses because its volume has no trash, or whose name leaves no
/// room for the trashinfo's, still goes into the home trash with a trashinfo. A real directory at
/// `trash` is used as it is: a second "a.txt" becomes "a 2.txt". Nothing is ever replaced or
/// deleted. An item that cannot be renamed to there is moved as moveItem() moves to another volume.
/// Anything else at `trash` is a failure.
///
/// On failure the item is whole where it was or, if only the removal after a copy failed, in the
/// Trash.
Result<void, TrashError> trashItem(const std::string& directory, const std::string& trash,
                                   const std::string& name);

/// Creates the Trash as trashItem() does before it moves the item.
SystemResult<void> makeTrash(const std::string& trash);

} // namespace platform::native
