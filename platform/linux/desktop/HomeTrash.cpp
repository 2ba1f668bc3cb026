#include "platform/linux/desktop/HomeTrash.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/files/UniqueName.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/ItemPlace.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

namespace platform::native {

namespace {

constexpr int mostAttempts = 100000;

SystemResult<FileDescriptor> openForEntries(const std::string& directory) {
    return opened(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// Returns the name for the `count`th try, from 1 on, which leaves room for the trashinfo's.
std::string nameInTrash(const std::string& name, int count) {
    const auto room = NAME_MAX - std::string_view(trashinfoExtension).size();
    const auto number = count > 1 ? '.' + std::to_string(count) : std::string();
    const auto extension = path::extension(name);
    const auto tail = extension.empty() ? number : number + '.' + extension;
    return tail.size() < room ? cutTo(path::deletingExtension(name), room - tail.size()) + tail
                              : cutTo(name, room - number.size()) + number;
}

/// Returns the beginning of a trashinfo, as the Trash specification defines it: the item's path,
/// percent-encoded.
std::string headOfNote(const std::string& item) {
    const std::unique_ptr<char, decltype(&g_free)> path(
        g_uri_escape_string(item.c_str(), "/", FALSE), &g_free);
    return std::string("[Trash Info]\nPath=") + path.get() + '\n';
}

/// Returns the rest of a trashinfo: the local time.
std::string deletionDate() {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_local(),
                                                                       &g_date_time_unref);
    const std::unique_ptr<char, decltype(&g_free)> date(
        g_date_time_format(now.get(), "%Y-%m-%dT%H:%M:%S"), &g_free);
    return std::string("DeletionDate=") + date.get() + '\n';
}

/// The item to move, and the beginning of its trashinfo.
struct TrashedItem {
    ItemPlace place;
    std::string head;
};

/// The directories of the home trash.
struct TrashDirectories {
    FileDescriptor files;
    FileDescriptor infos;
};

bool exists(int directory, const std::string& name) {
    return ::faccessat(directory, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

bool lock(const FileDescriptor& trashinfo) {
    return ::flock(trashinfo.get(), LOCK_EX | LOCK_NB) == 0;
}

/// Creates a trashinfo of this name unless one exists, which claims the name. It is locked while it
/// is open, which distinguishes it from one that a killed process left.
SystemResult<FileDescriptor> makeTrashinfo(int infos, const std::string& name,
                                           const std::string& text) {
    constexpr mode_t privateFile = 0600;
    auto trashinfo = opened(::openat(
        infos, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateFile));
    if (!trashinfo) {
        return trashinfo;
    }
    static_cast<void>(
        lock(*trashinfo)); // Without locks, as on some volumes, no trashinfo counts as abandoned.
    if (const auto written = writeAll(trashinfo->get(), text); !written) {
        ::unlinkat(infos, name.c_str(), 0);
        return Unexpected(written.error());
    }
    return trashinfo;
}

/// Deletes the trashinfo of this name in the home trash if a killed process left it: it is for the
/// same item, nobody holds its lock, and no item has its name.
bool removeAbandonedNote(const TrashDirectories& trash, const std::string& name,
                         const std::string& head) {
    const auto trashinfoName = name + trashinfoExtension;
    const FileDescriptor trashinfo(
        ::openat(trash.infos.get(), trashinfoName.c_str(),
                 O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    std::string begin(head.size(), '\0');
    return trashinfo && lock(trashinfo) &&
           ::pread(trashinfo.get(), begin.data(), begin.size(), 0) >= 0 && begin == head &&
           !exists(trash.files.get(), name) &&
           ::unlinkat(trash.infos.get(), trashinfoName.c_str(), 0) == 0;
}

/// EEXIST if the name is taken.
SystemResult<void> moveToName(const TrashedItem& item, const TrashDirectories& trash,
                              const std::string& name) {
    const auto trashinfoName = name + trashinfoExtension;
    const auto trashinfo =
        makeTrashinfo(trash.infos.get(), trashinfoName, item.head + deletionDate());
    if (!trashinfo) {
        return Unexpected(trashinfo.error());
    }
    const auto moved = moveItem(item.place.entry(), {trash.files.get(), name});
    const bool isTaken = !moved && moved.error().number.is(EEXIST);
    // An item that was copied, but could not be removed, stays in the Trash with its trashinfo.
    if (isTaken || !exists(trash.files.get(), name)) {
        ::unlinkat(trash.infos.get(), trashinfoName.c_str(), 0);
    }
    if (!moved) {
        return Unexpected(moved.error().number);
    }
    return {};
}

} // namespace

std::string homeTrashFiles() {
    return path::appending(g_get_user_data_dir(), "Trash/files");
}

std::string homeTrashInfo() {
    return path::appending(g_get_user_data_dir(), "Trash/info");
}

SystemResult<void> makeHomeTrash() {
    constexpr mode_t privateMode = 0700;
    auto made = makeDirectories(homeTrashFiles(), privateMode);
    return made ? makeDirectories(homeTrashInfo(), privateMode) : made;
}

SystemResult<void> moveToHomeTrash(const std::string& path) {
    auto place = findPlace(path);
    if (!place) {
        return Unexpected(place.error());
    }
    if (auto made = makeHomeTrash(); !made) {
        return made;
    }
    const TrashedItem item{*std::move(place), headOfNote(path)};
    auto files = openForEntries(homeTrashFiles());
    auto infos = openForEntries(homeTrashInfo());
    if (!files || !infos) {
        return Unexpected(infos ? files.error() : infos.error());
    }
    const TrashDirectories trash{*std::move(files), *std::move(infos)};
    SystemResult<void> moved = Unexpected(Errno(EEXIST));
    for (int count = 1; count <= mostAttempts && failedWith(moved, EEXIST); ++count) {
        const auto name = nameInTrash(item.place.name, count);
        moved = moveToName(item, trash, name);
        if (failedWith(moved, EEXIST) && removeAbandonedNote(trash, name, item.head)) {
            moved = moveToName(item, trash, name);
        }
    }
    return moved;
}

} // namespace platform::native
