#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace qf::native {

/// Returns the path of the home trash of the Trash specification 1.0 ("Trash directories"):
/// $XDG_DATA_HOME/Trash.
std::string homeTrash();

/// Returns the directory of its trashed items.
std::string homeTrashFiles();

/// Creates the home trash with the mode that other programs require.
SystemResult<void> makeHomeTrash();

/// Makes `link` a link to homeTrashFiles() if nothing exists there. A link that this has made when
/// XDG_DATA_HOME was different is replaced; it is recognized by the spelling of its target.
/// Whatever else exists at the path is left, such as a user's link to the Trash of another data
/// directory.
SystemResult<void> linkToHomeTrash(const std::string& link);

} // namespace qf::native
