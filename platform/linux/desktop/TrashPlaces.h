#pragma once

#include "platform/linux/desktop/TrashDirectory.h"
#include "platform/linux/posix/ItemPlace.h"

#include <sys/stat.h>

#include <memory>
#include <string>

namespace qf::native {

/// A trash directory, and the path by which its trashinfo records an item.
struct TrashPlace {
    std::shared_ptr<const TrashDirectory> trash;
    std::string recordedPath;
};

/// Returns the trash directory for the item at an absolute path, `item`, in a directory of this
/// status: that of its volume, or `home`, the home trash ("Trash directories" in the Trash
/// specification 1.0).
///
/// An item on the volume of the home trash goes there. On another volume, an administrator's
/// "$topdir/.Trash" is used if it is sticky and no link, else "$topdir/.Trash-$uid"; there, the
/// recorded path is relative to $topdir. An item goes into the home trash too if its volume has no
/// trash directory and none can be made, from the machine's own volume, "/", and from a volume in
/// memory, whose trash would not last.
TrashPlace trashFor(const ItemPlace& item, const struct statx& directory, const std::string& path,
                    const std::shared_ptr<const TrashDirectory>& home);

/// Returns the path of an open directory, links resolved; an empty string if it has none that this
/// process can use.
std::string resolvedPath(int directory);

} // namespace qf::native
