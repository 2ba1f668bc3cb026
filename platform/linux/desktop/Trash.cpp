#include "platform/linux/desktop/Trash.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/desktop/HomeTrash.h"
#include "platform/linux/files/UniqueName.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/LongPath.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <optional>
#include <string_view>

namespace platform::native {

namespace {

using TrashResult = Result<void, TrashError>;

TrashResult failure(Errno number) {
    return Unexpected(
        TrashError{number, number.is(EINVAL) ? "the Trash is inside it" : reason(number)});
}

TrashResult afterMoving(const SystemResult<void>& moved) {
    return moved ? TrashResult() : failure(moved.error());
}

/// Creates the Trash that the user knows if it does not exist.
SystemResult<void> linkTrash(const std::string& trash) {
    struct stat status {};
    if (::lstat(trash.c_str(), &status) == 0 || errno != ENOENT) {
        return {};
    }
    if (auto made = makeHomeTrash(); !made) {
        return made;
    }
    auto linked = checked(::symlink(homeTrashFiles().c_str(), trash.c_str()));
    return failedWith(linked, EEXIST) ? SystemResult<void>() : linked;
}

/// Returns whether `trash` is a link that was made for a home trash that no longer exists.
bool isLinkToMissingHomeTrash(const std::string& trash) {
    std::array<char, 4096> target{};
    const auto length = ::readlink(trash.c_str(), target.data(), target.size());
    return length > 0 &&
           homeTrashFiles() == std::string_view(target.data(), static_cast<std::size_t>(length));
}

/// Returns the errno for a failure of GIO that has one.
std::optional<Errno> errorNumber(const GError& error) {
    if (error.domain != G_IO_ERROR) {
        return std::nullopt;
    }
    switch (error.code) {
    case G_IO_ERROR_NOT_FOUND:
        return Errno(ENOENT);
    case G_IO_ERROR_PERMISSION_DENIED:
        return Errno(EACCES);
    case G_IO_ERROR_NO_SPACE:
        return Errno(ENOSPC);
    case G_IO_ERROR_READ_ONLY:
        return Errno(EROFS);
    case G_IO_ERROR_BUSY:
        return Errno(EBUSY);
    default:
        return std::nullopt;
    }
}

TrashResult failureOfGio(const GError& error) {
    if (const auto number = errorNumber(error)) {
        return failure(*number);
    }
    return Unexpected(
        TrashError{Errno(EIO), "the system reports: " + text::printable(error.message)});
}

/// Returns whether GIO has not even tried: for an item on a volume without trash or on a bind
/// mount, or with too long a path.
bool needsCopy(const GError& error) {
    return g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED) != FALSE ||
           g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_FILENAME_TOO_LONG) != FALSE;
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

/// Returns the name that GIO tries as the `count`th for an item in the home trash, from 1 on.
std::string nameInHomeTrash(std::string name, int count) {
    if (count > 1) {
        name.insert(std::min(name.find('.'), name.size()), '.' + std::to_string(count));
    }
    return name;
}

/// Moves an item without a trashinfo in the home trash to a unique name if it has the name that GIO
/// would choose for the next item called `name`: GIO checks the trashinfos only and would replace
/// it.
SystemResult<void> protectNamesake(const std::string& name) {
    const auto files = homeTrashFiles();
    const auto infos = homeTrashInfo();
    std::string chosen = name;
    for (int count = 2; exists(path::appending(infos, chosen + trashinfoExtension)); ++count) {
        chosen = nameInHomeTrash(name, count);
    }
    if (!exists(path::appending(files, chosen))) {
        return {};
    }
    const auto directory = opened(::open(files.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        return Unexpected(directory.error());
    }
    return moveToUniqueName({directory->get(), chosen}, directory->get());
}

/// Returns whether GIO can write the trashinfo of an item with this name, which it does as a
/// temporary file with a suffix. If it cannot, it leaves the trashinfo empty, or cuts the name
/// together with its extension.
bool hasRoomForNote(const std::string& name) {
    constexpr std::string_view temporarySuffix = ".XXXXXX";
    return (name + trashinfoExtension).size() + temporarySuffix.size() <= NAME_MAX;
}

TrashResult trashThroughGio(const std::string& item) {
    const auto name = path::lastComponent(item);
    if (!hasRoomForNote(name)) {
        return afterMoving(moveToHomeTrash(item));
    }
    if (const auto isProtected = protectNamesake(name); !isProtected) {
        return failure(isProtected.error());
    }
    // Local files only: other GIO volumes would bring in the session bus.
    const std::unique_ptr<GFile, decltype(&g_object_unref)> file(
        g_vfs_get_file_for_path(g_vfs_get_local(), item.c_str()), &g_object_unref);
    GError* raised = nullptr;
    if (g_file_trash(file.get(), nullptr, &raised) != FALSE) {
        return {};
    }
    const std::unique_ptr<GError, decltype(&g_error_free)> error(raised, &g_error_free);
    return needsCopy(*error) ? afterMoving(moveToHomeTrash(item)) : failureOfGio(*error);
}

TrashResult trashByRename(const std::string& directory, const std::string& trash,
                          const std::string& name) {
    const auto source = openAtPath(directory, O_PATH | O_DIRECTORY | O_CLOEXEC);
    const auto destination =
        opened(::open(trash.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!source || !destination) {
        return failure(destination ? source.error() : destination.error());
    }
    return afterMoving(moveToUniqueName({source->get(), name}, destination->get()));
}

bool isEntryName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

} // namespace

SystemResult<void> makeTrash(const std::string& trash) {
    auto linked = linkTrash(trash);
    return linked && isLinkToMissingHomeTrash(trash) ? makeHomeTrash() : linked;
}

TrashResult trashItem(const std::string& directory, const std::string& trash,
                      const std::string& name) {
    const auto item = path::appending(directory, name);
    struct stat itemStatus {};
    if (!isEntryName(name) || !item.starts_with('/') || !trash.starts_with('/')) {
        return failure(Errno(EINVAL));
    }
    const auto found = atPath(item, [&itemStatus](int start, const char* rest) {
        return ::fstatat(start, rest, &itemStatus, AT_SYMLINK_NOFOLLOW);
    });
    if (!found) {
        return failure(found.error());
    }
    auto usable = makeTrash(trash);
    struct stat trashStatus {};
    if (usable) {
        usable = checked(::lstat(trash.c_str(), &trashStatus));
    }
    if (!usable) {
        return Unexpected(
            TrashError{usable.error(), "the Trash can’t be used: " + reason(usable.error())});
    }
    if (fileIdOf(itemStatus) == fileIdOf(trashStatus)) {
        return Unexpected(TrashError{Errno(EINVAL), "it is the Trash itself"});
    }
    struct stat target {};
    struct stat files {};
    const bool isHomeTrash = ::stat(trash.c_str(), &target) == 0 &&
                             ::stat(homeTrashFiles().c_str(), &files) == 0 &&
                             fileIdOf(target) == fileIdOf(files);
    if (isHomeTrash) {
        return trashThroughGio(item);
    }
    if (S_ISDIR(trashStatus.st_mode)) {
        return trashByRename(directory, trash, name);
    }
    return Unexpected(TrashError{Errno(ENOTDIR), S_ISLNK(trashStatus.st_mode)
                                                     ? "the Trash is a link that leads elsewhere"
                                                     : "the Trash is a file"});
}

} // namespace platform::native
