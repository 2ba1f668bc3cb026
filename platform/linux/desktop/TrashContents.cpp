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
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::native {

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

std::string infosBeside(const std::string& files) {
    return path::appending(path::deletingLastComponent(files), "info");
}

/// Returns the path that an item had by its trashinfo; empty if it has none. A relative one is
/// below `top`.
std::string formerPath(const std::string& infos, const std::string& name, const std::string& top) {
    const auto text = readFile(path::appending(infos, trashinfoName(name)), longestTrashinfo);
    const auto recorded = text ? recordedPathIn(*text) : std::string();
    return recorded.empty() || recorded.starts_with('/') ? recorded
                                                         : path::appending(top, recorded);
}

/// Appends the items in a directory of trashed items on the volume whose top directory is `top`;
/// `infos` is empty if there are no trashinfos.
void appendItems(const std::string& files, const std::string& infos, const std::string& top,
                 std::vector<ItemInTrash>& items) {
    auto directory = opened(::open(files.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    auto reader = directory ? DirectoryReader::of(*std::move(directory))
                            : SystemResult<DirectoryReader>(Unexpected(directory.error()));
    auto entry = reader ? reader->next() : Unexpected(reader.error());
    for (; entry && *entry; entry = reader->next()) {
        const auto& name = (*entry)->name;
        items.push_back({path::appending(files, name),
                         infos.empty() ? std::string() : formerPath(infos, name, top)});
    }
}

void appendItemsOf(const std::string& trash, const std::string& top,
                   std::vector<ItemInTrash>& items) {
    if (isDirectoryOf(trash, ::geteuid())) {
        const auto files = path::appending(trash, filesOfTrash);
        appendItems(files, infosBeside(files), top, items);
    }
}

} // namespace

std::vector<ItemInTrash> itemsInTrash(const std::string& trash) {
    std::vector<ItemInTrash> items;
    if (isDirectoryOf(trash, ::geteuid())) {
        appendItems(trash, {}, {}, items);
    }
    appendItems(homeTrashFiles(), infosBeside(homeTrashFiles()), {}, items);
    const auto user = std::to_string(::geteuid());
    for (const auto& volume : mountedLocalVolumes()) {
        const auto& top = volume.mountPoint;
        if (const auto shared = path::appending(top, ".Trash"); isSticky(shared)) {
            appendItemsOf(path::appending(shared, user), top, items);
        }
        appendItemsOf(path::appending(top, ".Trash-" + user), top, items);
    }
    return items;
}

SystemResult<void> putBackFromTrash(const std::string& place, const std::string& path) {
    const auto from = findPlace(place);
    const auto to = from ? findPlace(path) : Unexpected(from.error());
    if (!to) {
        return Unexpected(to.error());
    }
    auto moved = moveItem(from->entry(), to->entry());
    if (!moved && moved.error().number.is(EACCES)) {
        const auto directory = resolvedPath(from->directory.get());
        const auto infos = opened(
            ::open(infosBeside(directory).c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        const auto writable = WritableDirectory::make(
            *from, path, infos ? infos->get() : from->directory.get(), from->name);
        if (writable) {
            moved = moveItem(from->entry(), to->entry());
            if (!writable->restore(to->directory.get(), to->name)) {
                writable->restore(from->directory.get(), from->name);
            }
        }
    }
    if (!moved) {
        return Unexpected(moved.error().number);
    }
    forgetTrashed(place);
    return {};
}

void forgetTrashed(const std::string& place) {
    const auto item = findPlace(place);
    const auto files = item ? resolvedPath(item->directory.get()) : std::string();
    if (path::lastComponent(files) != filesOfTrash) {
        return;
    }
    const bool isGone = failedWith(statusOfEntry(item->directory.get(), item->name), ENOENT);
    if (isGone) {
        ::unlink(path::appending(infosBeside(files), trashinfoName(item->name)).c_str());
    }
}

} // namespace platform::native
