#include "platform/linux/desktop/Trash.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/desktop/HomeTrash.h"
#include "platform/linux/files/FreeName.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/Folders.h"
#include "platform/linux/posix/LongPath.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

namespace platform::native {

namespace {

using TrashOutcome = std::optional<TrashFailure>;

TrashOutcome failure(int number) {
    return TrashFailure{number, number == EINVAL ? "the Trash is inside it" : reason(number)};
}

TrashOutcome failureUnlessZero(int number) {
    return number == 0 ? std::nullopt : failure(number);
}

bool isSameItem(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Makes the Trash that the user knows where nothing stands at it. 0, or the errno.
int linkTrash(const std::string& trash) {
    struct stat status {};
    if (::lstat(trash.c_str(), &status) == 0 || errno != ENOENT) {
        return 0;
    }
    const int error = makeHomeTrash();
    if (error != 0) {
        return error;
    }
    const bool linked = ::symlink(homeTrashFiles().c_str(), trash.c_str()) == 0;
    return linked || errno == EEXIST ? 0 : errno;
}

/// Whether `trash` is a link that was made for a home trash which is not there any more.
bool isLinkToMissingHomeTrash(const std::string& trash) {
    std::array<char, 4096> target{};
    const auto length = ::readlink(trash.c_str(), target.data(), target.size());
    return length > 0 &&
           homeTrashFiles() == std::string_view(target.data(), static_cast<std::size_t>(length));
}

/// The errno for a failure of GIO that has one, 0 for another.
int errorNumber(const GError& error) {
    if (error.domain != G_IO_ERROR) {
        return 0;
    }
    switch (error.code) {
    case G_IO_ERROR_NOT_FOUND:
        return ENOENT;
    case G_IO_ERROR_PERMISSION_DENIED:
        return EACCES;
    case G_IO_ERROR_NO_SPACE:
        return ENOSPC;
    case G_IO_ERROR_READ_ONLY:
        return EROFS;
    case G_IO_ERROR_BUSY:
        return EBUSY;
    default:
        return 0;
    }
}

TrashOutcome failureOfGio(const GError& error) {
    if (const int number = errorNumber(error); number != 0) {
        return failure(number);
    }
    return TrashFailure{EIO, "the system reports: " + text::printable(error.message)};
}

/// Whether GIO has not even tried: for an item of a volume without Trash, of a bind mount, or whose
/// path is too long.
bool needsCopy(const GError& error) {
    return g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED) != FALSE ||
           g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_FILENAME_TOO_LONG) != FALSE;
}

bool stands(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

/// The name that GIO tries as the `count`th for an item in the home trash, from 1 on.
std::string nameInHomeTrash(std::string name, int count) {
    if (count > 1) {
        name.insert(std::min(name.find('.'), name.size()), '.' + std::to_string(count));
    }
    return name;
}

/// Where an item stands in the home trash without a note of its own, under the name that GIO gives
/// to the next one called `name`, moves it to a free name: GIO looks at the notes alone and would
/// replace it. 0, or the errno.
int protectNamesake(const std::string& name) {
    const auto files = homeTrashFiles();
    const auto notes = homeTrashNotes();
    std::string chosen = name;
    for (int count = 2; stands(path::appending(notes, chosen + noteExtension)); ++count) {
        chosen = nameInHomeTrash(name, count);
    }
    if (!stands(path::appending(files, chosen))) {
        return 0;
    }
    const FileDescriptor folder(::open(files.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return folder ? moveToFreeName(folder.get(), chosen, folder.get()) : errno;
}

/// Whether GIO can write the note of an item with this name, which it does as a temporary file with
/// a suffix. Where it cannot, it leaves the note empty, or cuts the name together with its
/// extension.
bool hasRoomForNote(const std::string& name) {
    constexpr std::string_view temporarySuffix = ".XXXXXX";
    return (name + noteExtension).size() + temporarySuffix.size() <= NAME_MAX;
}

TrashOutcome trashThroughGio(const std::string& item) {
    const auto name = path::lastComponent(item);
    if (!hasRoomForNote(name)) {
        return failureUnlessZero(moveToHomeTrash(item));
    }
    if (const int error = protectNamesake(name); error != 0) {
        return failure(error);
    }
    // The local files alone are meant: other GIO volumes would bring in the session bus.
    const std::unique_ptr<GFile, decltype(&g_object_unref)> file(
        g_vfs_get_file_for_path(g_vfs_get_local(), item.c_str()), &g_object_unref);
    GError* raised = nullptr;
    if (g_file_trash(file.get(), nullptr, &raised) != FALSE) {
        return std::nullopt;
    }
    const std::unique_ptr<GError, decltype(&g_error_free)> error(raised, &g_error_free);
    return needsCopy(*error) ? failureUnlessZero(moveToHomeTrash(item)) : failureOfGio(*error);
}

TrashOutcome trashByRename(const std::string& folder, const std::string& trash,
                           const std::string& name) {
    const FileDescriptor source(atPath(folder, [](int start, const char* rest) {
        return ::openat(start, rest, O_PATH | O_DIRECTORY | O_CLOEXEC);
    }));
    const FileDescriptor destination(
        ::open(trash.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!source || !destination) {
        return failure(errno);
    }
    return failureUnlessZero(moveToFreeName(source.get(), name, destination.get()));
}

bool isEntryName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

} // namespace

int makeTrash(const std::string& trash) {
    const int error = linkTrash(trash);
    return error == 0 && isLinkToMissingHomeTrash(trash) ? makeHomeTrash() : error;
}

TrashOutcome trashItem(const std::string& folder, const std::string& trash,
                       const std::string& name) {
    const auto item = path::appending(folder, name);
    struct stat itemStatus {};
    if (!isEntryName(name) || !item.starts_with('/') || !trash.starts_with('/')) {
        return failure(EINVAL);
    }
    const int found = atPath(item, [&itemStatus](int start, const char* rest) {
        return ::fstatat(start, rest, &itemStatus, AT_SYMLINK_NOFOLLOW);
    });
    if (found != 0) {
        return failure(errno);
    }
    int error = makeTrash(trash);
    struct stat trashStatus {};
    if (error == 0 && ::lstat(trash.c_str(), &trashStatus) != 0) {
        error = errno;
    }
    if (error != 0) {
        return TrashFailure{error, "the Trash can’t be used: " + reason(error)};
    }
    if (isSameItem(itemStatus, trashStatus)) {
        return TrashFailure{EINVAL, "it is the Trash itself"};
    }
    struct stat target {};
    struct stat files {};
    const bool isHomeTrash = ::stat(trash.c_str(), &target) == 0 &&
                             ::stat(homeTrashFiles().c_str(), &files) == 0 &&
                             isSameItem(target, files);
    if (isHomeTrash) {
        return trashThroughGio(item);
    }
    if (S_ISDIR(trashStatus.st_mode)) {
        return trashByRename(folder, trash, name);
    }
    return TrashFailure{ENOTDIR, S_ISLNK(trashStatus.st_mode)
                                     ? "the Trash is a link that leads elsewhere"
                                     : "the Trash is a file"};
}

} // namespace platform::native
