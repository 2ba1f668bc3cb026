#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// What could not be done to an item, for failureSentence().
constexpr const char* movedToTrash = "moved to the Trash";

/// Why an item could not be trashed, also in a person's words, fit to follow "because".
struct TrashError {
    Errno number;
    std::string why;
};

/// Moves the entry `name` of `directory` whole into the Trash that the user knows as `trash`.
///
/// Where nothing stands at `trash`, it becomes a link to the "files" directory of the freedesktop
/// home trash ("The FreeDesktop.org Trash specification", version 1.0), which is made too. Where
/// `trash` is, or leads to, that directory, the item goes through GIO, which records where it came
/// from: the desktop shows it and can restore it, and an item of another volume goes into the trash
/// of that volume. What GIO refuses to take because its volume has no trash, and what has a name
/// without room for the trashinfo's, goes into the home trash with a trashinfo all the same. A real
/// directory that stands at `trash` is used as it is: of "a.txt", the second becomes "a 2.txt".
/// Nothing is ever replaced or deleted. An item that a rename cannot bring there is moved as
/// moveItem() moves to another volume. Anything else at `trash` is a failure.
///
/// On failure the item is whole where it was, or, when only the removal
/// after a copy failed, in the Trash.
Result<void, TrashError> trashItem(const std::string& directory, const std::string& trash,
                                   const std::string& name);

/// Makes what trashItem() makes before it moves the item.
SystemResult<void> makeTrash(const std::string& trash);

} // namespace platform::native
