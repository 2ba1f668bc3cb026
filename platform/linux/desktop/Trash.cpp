#include "platform/linux/desktop/Trash.h"

#include "platform/foundation/Path.h"
#include "platform/linux/desktop/HomeTrash.h"
#include "platform/linux/desktop/TrashPlaces.h"
#include "platform/linux/files/UniqueName.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::native {

namespace {

using TakeResult = Result<void, TrashError>;

TakeResult failure(Errno number) {
    return Unexpected(
        TrashError{number, number.is(EINVAL) ? "the Trash is inside it" : reason(number)});
}

TakeResult afterMoving(const SystemResult<void>& moved) {
    return moved ? TakeResult() : failure(moved.error());
}

bool isHomeTrash(const std::string& trash) {
    struct stat target {};
    struct stat files {};
    return ::stat(trash.c_str(), &target) == 0 && ::stat(homeTrashFiles().c_str(), &files) == 0 &&
           fileIdOf(target) == fileIdOf(files);
}

bool isSameItem(int directory, const FileId& item) {
    const auto status = statusOf(directory);
    return status && fileIdOf(*status) == item;
}

TakeResult takeByRename(const ItemPlace& item, const std::string& trash, const FileId& trashId) {
    if (isSameItem(item.directory.get(), trashId)) {
        return {};
    }
    const auto destination =
        opened(::open(trash.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return destination
               ? afterMoving(moveToUniqueName(item.directory.get(), item.name, destination->get()))
               : failure(destination.error());
}

bool isEntryName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

bool isUsablePath(const std::string& path) {
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

} // namespace

SystemResult<void> makeTrash(const std::string& trash) {
    return linkToHomeTrash(trash);
}

TakeResult Trash::take(const std::string& directory, const std::string& trash,
                       const std::string& name) {
    const auto path = path::appending(directory, name);
    if (!isEntryName(name) || !isUsablePath(path) || !isUsablePath(trash)) {
        return Unexpected(TrashError{Errno(EINVAL), reason(Errno(EINVAL))});
    }
    const auto place = findPlace(path);
    if (!place) {
        return failure(place.error());
    }
    const auto status = statusOfEntry(place->directory.get(), name);
    if (!status) {
        return failure(status.error());
    }
    struct stat trashStatus {};
    auto usable = makeTrash(trash);
    if (usable) {
        usable = checked(::lstat(trash.c_str(), &trashStatus));
    }
    if (!usable) {
        return Unexpected(
            TrashError{usable.error(), "the Trash can’t be used: " + reason(usable.error())});
    }
    if (fileIdOf(*status) == fileIdOf(trashStatus)) {
        return Unexpected(TrashError{Errno(EINVAL), "it is the Trash itself"});
    }
    if (S_ISDIR(status->stx_mode) && hasMountIn(*place)) {
        return Unexpected(TrashError{Errno(EBUSY), "a volume is mounted inside it"});
    }
    if (isHomeTrash(trash)) {
        return takeWithTrashinfo(*place, path);
    }
    if (S_ISDIR(trashStatus.st_mode)) {
        return takeByRename(*place, trash, fileIdOf(trashStatus));
    }
    return Unexpected(TrashError{Errno(ENOTDIR), S_ISLNK(trashStatus.st_mode)
                                                     ? "the Trash is a link that leads elsewhere"
                                                     : "the Trash is a file"});
}

bool Trash::hasMountIn(const ItemPlace& item) {
    const auto directory = resolvedPath(item.directory.get());
    return !directory.empty() && mounts_.hasMountIn(path::appending(directory, item.name));
}

TakeResult Trash::takeWithTrashinfo(const ItemPlace& item, const std::string& path) {
    auto place = openTrashFor(item, path, homeTrash());
    if (!place) {
        return failure(place.error());
    }
    if (isSameItem(item.directory.get(), place->trash.id())) {
        return {};
    }
    tidy(place->trash);
    auto taken = afterMoving(place->trash.take({item, path, place->recordedPath}));
    if (taken) {
        const std::lock_guard lock(mutex_);
        unsynced_.try_emplace(place->trash.id(), std::move(place->trash));
    }
    return taken;
}

/// Takes back what killed processes left in a trash directory, once.
void Trash::tidy(const TrashDirectory& trash) {
    {
        const std::lock_guard lock(mutex_);
        if (!tidied_.insert(trash.id()).second) {
            return;
        }
    }
    trash.takeBackAbandoned();
}

std::function<void()> Trash::expect(const std::string& path, const std::string& place) {
    const auto trash = path::deletingLastComponent(place);
    if (isUsablePath(path) && isUsablePath(place) && isHomeTrash(trash)) {
        if (auto home = TrashDirectory::open(homeTrash())) {
            tidy(*home);
            auto claimed =
                TrashDirectory::claimForOthers(*std::move(home), path::lastComponent(place), path);
            if (claimed) {
                return *std::move(claimed);
            }
        }
    }
    return [] {};
}

void Trash::makeDurable() {
    std::map<FileId, TrashDirectory> unsynced;
    {
        const std::lock_guard lock(mutex_);
        unsynced.swap(unsynced_);
    }
    for (const auto& [id, trash] : unsynced) {
        // The items are in the Trash; that a power cut may undo that is nobody's failure.
        static_cast<void>(trash.makeDurable());
    }
}

} // namespace platform::native
