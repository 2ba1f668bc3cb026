#include "platform/linux/authorization/helper/Change.h"

#include "platform/linux/authorization/helper/Copying.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"
#include "platform/linux/authorization/helper/ToolStart.h"
#include "platform/linux/posix/WriteRest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

namespace qf::native::helper {

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

void writeAll(const FileDescriptor& file, std::string_view bytes) {
    if (const auto written = writeRest(file.get(), bytes); !written) {
        throw startFailure(written.error());
    }
}

/// Makes a file of root's for an item in a directory that none but root can enter. Only root may
/// write to it, whatever the item's mode and access list say.
void makeRootsFile(const Change& change, const Item& directory) {
    constexpr mode_t mostRights = 0755;
    const auto& [path, parent, name, item] = change.place;
    const FileDescriptor file(::openat(directory.descriptor.get(), name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       S_IRUSR | S_IWUSR));
    requireDone(file ? 0 : -1);
    if (change.content) {
        writeAll(file, *change.content);
    } else {
        copyContent(*item, Reader(item->status.stx_uid), file);
    }
    requireDone(::fchown(file.get(), 0, 0));
    requireDone(::fchmod(file.get(), item->status.stx_mode & mostRights));
}

/// Puts a new file of root's in the item's place.
void replaceByRootsFile(const Change& change) {
    const Place& place = change.place;
    const Stage stage(place.directory, StageFor::copies);
    const int staged = stage.directory().descriptor.get();
    const char* name = place.name.c_str();
    try {
        makeRootsFile(change, stage.directory());
        requireDone(::renameat(staged, name, place.directory.descriptor.get(), name));
    } catch (const Refusal&) {
        ::unlinkat(staged, name, 0);
        throw;
    }
}

} // namespace

void touch(const Change& change) {
    requireDone(::utimensat(AT_FDCWD, pathOf(*change.place.item).c_str(), nullptr, 0));
}

void letEverybodyRead(const Change& change) {
    constexpr mode_t rights = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
    requireDone(::chmod(pathOf(*change.place.item).c_str(), rights));
}

void giveToRoot(const Change& change) {
    const Item& item = *change.place.item;
    const bool isFile = S_ISREG(item.status.stx_mode);
    if (isFile && (change.content || item.status.stx_uid != 0)) {
        replaceByRootsFile(change);
    } else if (change.content) {
        throw startFailure(Errno(EINVAL));
    } else {
        requireDone(::fchownat(item.descriptor.get(), "", 0, 0, AT_EMPTY_PATH));
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
        made = findItem(parent, name);
        if (!made || !made->isDirectory()) {
            throw Refusal{Status::itemRedirected, name};
        }
        parent = made->descriptor.get();
    }
}

} // namespace qf::native::helper
