#include "platform/linux/authorization/helper/Change.h"

#include "platform/linux/authorization/helper/Copying.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace platform::native::helper {

namespace {

/// The path of the very item, for calls that take no descriptor of one that is not opened.
std::string pathOf(const Item& item) {
    return "/proc/self/fd/" + std::to_string(item.descriptor.get());
}

void requireDone(int result) {
    if (result != 0) {
        throw startFailure(Errno::last());
    }
}

/// Puts a copy that is root's in the item's place.
void replaceByRootsCopy(const Place& place) {
    const Stage stage(place.directory);
    const int staged = stage.directory().descriptor.get();
    const char* name = place.name.c_str();
    try {
        copyItem(*place.item, Reader(place.item->status.stx_uid), stage.directory(), place.name);
        requireDone(::fchownat(staged, name, 0, 0, AT_SYMLINK_NOFOLLOW));
        requireDone(::renameat(staged, name, place.directory.descriptor.get(), name));
    } catch (const Refusal&) {
        ::unlinkat(staged, name, 0);
        throw;
    }
}

} // namespace

void touch(const Place& place) {
    requireDone(::utimensat(AT_FDCWD, pathOf(*place.item).c_str(), nullptr, 0));
}

void letEverybodyRead(const Place& place) {
    constexpr mode_t rights = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
    requireDone(::chmod(pathOf(*place.item).c_str(), rights));
}

void giveToRoot(const Place& place) {
    if (S_ISREG(place.item->status.stx_mode) && place.item->status.stx_uid != 0) {
        replaceByRootsCopy(place);
    } else {
        requireDone(::fchownat(place.item->descriptor.get(), "", 0, 0, AT_EMPTY_PATH));
    }
}

void makeDirectories(const Directories& directories) {
    constexpr mode_t everybodyMayEnter = 0755;
    int parent = directories.existing.descriptor.get();
    std::optional<Item> made;
    for (const auto& name : directories.missing) {
        if (::mkdirat(parent, name.c_str(), everybodyMayEnter) != 0 && errno != EEXIST) {
            throw startFailure(Errno::last());
        }
        made = openItem(parent, name);
        if (!made || !made->isDirectory()) {
            throw Refusal{Status::itemRedirected, name};
        }
        parent = made->descriptor.get();
    }
}

} // namespace platform::native::helper
