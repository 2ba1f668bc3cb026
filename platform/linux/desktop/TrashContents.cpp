#include "platform/linux/desktop/TrashContents.h"

#include "platform/foundation/Path.h"
#include "platform/linux/desktop/HomeTrash.h"
#include "platform/linux/desktop/TrashPlaces.h"
#include "platform/linux/desktop/Trashinfo.h"
#include "platform/linux/desktop/Volumes.h"
#include "platform/linux/desktop/WritableDirectory.h"
#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

namespace qf::native {

namespace {

constexpr const char* filesOfTrash = "files";
constexpr std::size_t longestTrashinfo = 1U << 20U;

bool isDirectoryOf(const std::string& path, uid_t user) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == user;
}

bool isSticky(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           (status.st_mode & S_ISVTX) != 0;
}

constexpr const char* infosOfTrash = "info";

/// Opens the directory of the trashinfos beside the open one of the trashed items.
SystemResult<FileDescriptor> openInfosBeside(int files) {
    const auto trash = opened(::openat(files, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    return trash ? opened(::openat(trash->get(), infosOfTrash,
                                   O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC))
                 : Unexpected(trash.error());
}

/// A trash directory, or a real directory in its place, by its paths.
struct TrashPaths {
    std::string files; ///< Of the trashed items.
    std::string infos; ///< Of the trashinfos; empty if there are none.
    std::string top;   ///< The top directory of the volume, which relative paths begin at.
};

TrashPaths pathsOf(const std::string& trash) {
    return {.files = path::appending(trash, filesOfTrash),
            .infos = path::appending(trash, infosOfTrash),
            .top = "/"};
}

/// Returns the path that an item had by its trashinfo; empty if it has none.
std::string formerPath(const TrashPaths& trash, const std::string& name) {
    const auto text = readFile(path::appending(trash.infos, trashinfoName(name)), longestTrashinfo);
    const auto recorded = text ? recordedPathIn(*text) : std::string();
    return recorded.empty() || recorded.starts_with('/') ? recorded
                                                         : path::appending(trash.top, recorded);
}

SystemResult<void> appendItems(const TrashPaths& trash, std::vector<ItemInTrash>& items) {
    auto directory =
        opened(::open(trash.files.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (failedWith(directory, ENOENT, ENOTDIR, ELOOP)) {
        return {};
    }
    auto reader = directory ? DirectoryReader::of(*std::move(directory))
                            : SystemResult<DirectoryReader>(Unexpected(directory.error()));
    auto entry = reader ? reader->next() : Unexpected(reader.error());
    for (; entry && *entry; entry = reader->next()) {
        const auto& name = (*entry)->name;
        items.push_back({path::appending(trash.files, name),
                         trash.infos.empty() ? std::string() : formerPath(trash, name)});
    }
    return entry ? SystemResult<void>() : Unexpected(entry.error());
}

/// Returns whether a path that a trashinfo records, perhaps relative to a top directory, is this.
bool isPathOf(const std::string& recorded, const std::string& path) {
    return recorded.starts_with('/') ? recorded == path
                                     : !recorded.empty() && path.ends_with('/' + recorded);
}

/// Deletes the trashinfo of an item that is no longer in a trash directory, if the path that it
/// records is the right one.
template <class IsRight>
void removeTrashinfo(const ItemPlace& item, IsRight isRight) {
    const auto infos = openInfosBeside(item.directory.get());
    if (!infos || !failedWith(statusOfEntry(item.directory.get(), item.name), ENOENT)) {
        return;
    }
    const auto name = trashinfoName(item.name);
    const auto text = readFile(
        path::appending("/proc/self/fd/" + std::to_string(infos->get()), name), longestTrashinfo);
    if (text && isRight(recordedPathIn(*text))) {
        ::unlinkat(infos->get(), name.c_str(), 0);
    }
}

/// Returns whether the table of the volumes can be read.
SystemResult<void> volumesAreKnown() {
    const auto table = opened(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
    return table ? SystemResult<void>() : Unexpected(table.error());
}

/// Returns the user's own trash directories on a volume.
std::vector<TrashPaths> trashesOn(const std::string& top) {
    const auto user = std::to_string(::geteuid());
    std::vector<TrashPaths> trashes;
    const auto add = [&](const std::string& trash) {
        if (isDirectoryOf(trash, ::geteuid())) {
            trashes.push_back(pathsOf(trash));
            trashes.back().top = top;
        }
    };
    if (const auto shared = path::appending(top, ".Trash"); isSticky(shared)) {
        add(path::appending(shared, user));
    }
    add(path::appending(top, ".Trash-" + user));
    return trashes;
}

/// Returns whether a volume where programs do not get their owner's rights may have been made by
/// anybody, down to what it calls root's.
bool mayBeAnybodysWork(const std::string& top) {
    struct statvfs volume {};
    return ::statvfs(top.c_str(), &volume) != 0 || (volume.f_flag & ST_NOSUID) != 0;
}

/// Has `move` take an item out of the Trash, and deletes the trashinfo.
SystemResult<void> takeOutOfTrash(const std::string& place, const std::string& path,
                                  EntryResult<void> (*move)(const EntryRef&, const EntryRef&)) {
    const auto from = findPlace(place);
    const auto to = from ? findPlace(path) : Unexpected(from.error());
    if (!to) {
        return Unexpected(to.error());
    }
    const auto attempt = [&]() -> SystemResult<void> {
        const auto moved = move(from->entry(), to->entry());
        return moved ? SystemResult<void>() : Unexpected(moved.error().number);
    };
    auto moved = attempt();
    if (failedWith(moved, EACCES)) {
        const auto infos = openInfosBeside(from->directory.get());
        // That is read when the directory has another descriptor, or none.
        const auto newPath = path::appending(resolvedPath(to->directory.get()), to->name);
        const auto writable = WritableDirectory::make(
            *from, newPath, infos ? infos->get() : from->directory.get(), from->name);
        if (writable) {
            moved = attempt();
            writable->restore(moved, from->entry(), to->entry());
        }
    }
    if (!moved) {
        return moved;
    }
    removeTrashinfo(*from, [](const std::string& /*recorded*/) { return true; });
    return {};
}

} // namespace

SystemResult<std::vector<ItemInTrash>> itemsInTrash(const std::string& trash) {
    auto seen = volumesAreKnown();
    std::vector<TrashPaths> trashes;
    if (isDirectoryOf(trash, ::geteuid())) {
        trashes.push_back({trash, {}, {}});
    }
    trashes.push_back(pathsOf(homeTrash()));
    for (const auto& volume : mountedLocalVolumes()) {
        if (::geteuid() != 0 || !mayBeAnybodysWork(volume.mountPoint)) {
            std::ranges::move(trashesOn(volume.mountPoint), std::back_inserter(trashes));
        }
    }
    std::vector<ItemInTrash> items;
    for (const auto& each : trashes) {
        seen = seen ? appendItems(each, items) : seen;
    }
    if (!seen) {
        return Unexpected(seen.error());
    }
    return items;
}

SystemResult<void> putBackFromTrash(const std::string& place, const std::string& path) {
    return takeOutOfTrash(place, path, moveItem);
}

void finishPutBack(const std::string& place, const std::string& path) {
    static_cast<void>(takeOutOfTrash(place, path, finishMove));
}

void forgetTrashed(const ItemInTrash& item) {
    const auto place = findPlace(item.place);
    if (place && path::lastComponent(resolvedPath(place->directory.get())) == filesOfTrash) {
        removeTrashinfo(*place,
                        [&](const std::string& recorded) { return isPathOf(recorded, item.path); });
    }
}

} // namespace qf::native
