#include "platform/linux/desktop/TrashPlaces.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <utility>

namespace qf::native {

namespace {

/// The top directory of the volume that an item is on.
struct VolumeTop {
    FileDescriptor directory;
    std::string pathFromThere; ///< the item's
};

SystemResult<FileDescriptor> openPath(int parent, const char* name) {
    return opened(::openat(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Walks up from the item's directory to the root of its mount. No value if that cannot be found,
/// or is the root of the machine's own volume, whose trash directory no desktop would list.
std::optional<VolumeTop> findTop(const ItemPlace& item) {
    auto path = resolvedPath(item.directory.get());
    auto directory = openPath(item.directory.get(), ".");
    std::string below = item.name;
    while (directory && !path.empty() && path != "/") {
        const auto status = statusOf(directory->get());
        if (!status) {
            return std::nullopt;
        }
        if ((status->stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
            return VolumeTop{*std::move(directory), std::move(below)};
        }
        below = path::appending(path::lastComponent(path), below);
        path = path::deletingLastComponent(path);
        directory = openPath(directory->get(), "..");
    }
    return std::nullopt;
}

/// Method 1 demands a directory that is sticky and no link. It would have the administrator told of
/// one that is not, but trashing writes no lines.
SystemResult<TrashDirectory> openAdministrators(int top, const std::string& user) {
    const auto shared = openPath(top, ".Trash");
    if (!shared) {
        return Unexpected(shared.error());
    }
    const auto status = statusOf(shared->get());
    const bool isSticky = status && (status->stx_mode & S_ISVTX) != 0;
    return isSticky ? TrashDirectory::open(shared->get(), user) : Unexpected(Errno(EPERM));
}

SystemResult<TrashDirectory> openTrashOfVolume(int top) {
    const auto user = std::to_string(::geteuid());
    auto trash = openAdministrators(top, user);
    return trash ? std::move(trash) : TrashDirectory::open(top, ".Trash-" + user); // Method 2
}

bool isVolumeInMemory(int directory) {
    struct statfs volume {};
    return ::fstatfs(directory, &volume) == 0 &&
           (volume.f_type == TMPFS_MAGIC || volume.f_type == RAMFS_MAGIC);
}

std::optional<TrashPlace> openOnVolume(const ItemPlace& item) {
    if (isVolumeInMemory(item.directory.get())) {
        return std::nullopt;
    }
    auto top = findTop(item);
    if (!top) {
        return std::nullopt;
    }
    auto trash = openTrashOfVolume(top->directory.get());
    if (!trash) {
        return std::nullopt;
    }
    return TrashPlace{std::make_shared<const TrashDirectory>(*std::move(trash)),
                      std::move(top->pathFromThere)};
}

} // namespace

TrashPlace trashFor(const ItemPlace& item, const struct statx& directory, const std::string& path,
                    const std::shared_ptr<const TrashDirectory>& home) {
    if (fileIdOf(directory).volume != home->id().volume) {
        if (auto onVolume = openOnVolume(item)) {
            return *std::move(onVolume);
        }
    }
    return {home, path};
}

std::string resolvedPath(int directory) {
    const auto link = "/proc/self/fd/" + std::to_string(directory);
    std::array<char, PATH_MAX> path{};
    const auto length = ::readlink(link.c_str(), path.data(), path.size());
    const bool isUsable =
        length > 0 && path.front() == '/' && static_cast<std::size_t>(length) < path.size();
    return isUsable ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
}

} // namespace qf::native
