#pragma once

#include "platform/Workspace.h"
#include "platform/linux/posix/Errno.h"

#include <string>
#include <vector>

namespace qf::native {

/// Returns the items in `trash`, as the user knows it, and in the user's trash directories on other
/// volumes, in no order. A real directory at `trash` has no trashinfos, so its items have no former
/// path. Trash directories of others, and links in place of one, are left out. Fails if a directory
/// or the table of the volumes cannot be read.
SystemResult<std::vector<ItemInTrash>> itemsInTrash(const std::string& trash);

/// Moves the item at `place` in the Trash to `path`, as FileSystem::moveItem() does, and deletes
/// its trashinfo. A directory of the user's own without write permission keeps its mode.
SystemResult<void> putBackFromTrash(const std::string& place, const std::string& path);

/// Finishes a putBackFromTrash() that was killed when it had copied the item; see finishMove().
void finishPutBack(const std::string& place, const std::string& path);

/// Deletes the trashinfo of an item that was in the Trash unless it is still there, or the
/// trashinfo records another path.
void forgetTrashed(const ItemInTrash& item);

} // namespace qf::native
