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

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qf::native {

namespace {

/// The number of trashinfos that are prepared at a time; each is an open file.
constexpr std::size_t mostPrepared = 128;

constexpr auto trashInside = translatable("because", "the Trash is inside it");
constexpr auto isLinkElsewhere =
    translatable("because", "the Trash is a link that leads elsewhere");
constexpr auto isFile = translatable("because", "the Trash is a file");
constexpr auto isTheTrash = translatable("because", "it is the Trash itself");
constexpr auto hasMount = translatable("because", "a volume is mounted inside it");
constexpr auto mountsUnknown =
    translatable("because", "it can’t be determined whether a volume is mounted inside it: %1");
constexpr auto isUnusable = translatable("because", "the Trash can’t be used: %1");

using TakeResult = Result<std::string, TrashError>;

TakeResult failure(Errno number) {
    return Unexpected(
        TrashError{number, number.is(EINVAL) ? translated(trashInside) : reason(number)});
}

/// Returns the path of an entry of an open directory; an empty string if it has none.
std::string pathIn(int directory, const std::string& name) {
    const auto path = resolvedPath(directory);
    return path.empty() ? path : path::appending(path, name);
}

TakeResult afterMoving(int destination, const SystemResult<std::string>& name) {
    return name ? TakeResult(pathIn(destination, *name)) : failure(name.error());
}

bool isHomeTrash(const std::string& trash) {
    struct stat target {};
    struct stat files {};
    return ::stat(trash.c_str(), &target) == 0 && ::stat(homeTrashFiles().c_str(), &files) == 0 &&
           fileIdOf(target) == fileIdOf(files);
}

/// Opens the user's own home trash if `trash` leads to its items.
SystemResult<TrashDirectory> openOwnHomeTrash(const std::string& trash) {
    struct stat owner {};
    const bool isOwn = isHomeTrash(trash) && ::stat(homeTrash().c_str(), &owner) == 0 &&
                       owner.st_uid == ::geteuid();
    return isOwn ? TrashDirectory::open(homeTrash()) : Unexpected(Errno(EPERM));
}

/// Returns whether an item of this status is what `trash` names, be it a link.
bool isTrashItself(const struct statx& item, const std::string& trash) {
    struct stat status {};
    return (S_ISDIR(item.stx_mode) || S_ISLNK(item.stx_mode)) &&
           ::lstat(trash.c_str(), &status) == 0 && fileIdOf(item) == fileIdOf(status);
}

/// Takes an item into a Trash that is not the home trash.
TakeResult takeByRename(const ItemPlace& item, const std::string& trash) {
    const auto destination =
        opened(::open(trash.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (failedWith(destination, ENOTDIR, ELOOP)) {
        struct stat status {};
        const bool isLink = ::lstat(trash.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
        return Unexpected(
            TrashError{Errno(ENOTDIR), isLink ? translated(isLinkElsewhere) : translated(isFile)});
    }
    const auto from = statusOf(item.directory.get());
    const auto to = destination ? statusOf(destination->get()) : Unexpected(destination.error());
    if (!from || !to) {
        return failure(to ? from.error() : to.error());
    }
    if (fileIdOf(*from) == fileIdOf(*to)) {
        return pathIn(destination->get(), item.name);
    }
    return afterMoving(destination->get(), moveToUniqueName(item.entry(), destination->get()));
}

/// Gives whatever exists at a place in a Trash a unique name.
void makeRoom(const std::string& place) {
    if (const auto former = findPlace(place)) {
        static_cast<void>(moveToUniqueName(former->entry(), former->directory.get()));
    }
}

bool isEntryName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
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
    if (!isEntryName(name) || !isUsablePath(directory) || !isUsablePath(trash)) {
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
    auto prepared = preparedFor(path);
    if (isTrashItself(*status, trash)) {
        return Unexpected(TrashError{Errno(EINVAL), translated(isTheTrash)});
    }
    if (const auto checked = checkMounts(*place, *status); !checked) {
        return Unexpected(checked.error());
    }
    if (prepared && prepared->claim.isIntact()) {
        return takePrepared({*place, path, path}, *std::move(prepared));
    }
    const auto home = homeTrashAt(trash);
    if (!home) {
        return Unexpected(TrashError{home.error(), translated(isUnusable, reason(home.error()))});
    }
    return *home ? takeWithTrashinfo(*place, path, *home) : takeByRename(*place, trash);
}

/// Returns the home trash if `trash` is, or leads to, its items, and creates it first if needed;
/// null if it is something else.
SystemResult<Trash::OpenTrash> Trash::homeTrashAt(const std::string& trash) {
    if (auto home = rememberedHomeTrash(trash)) {
        return home;
    }
    if (auto made = makeTrash(trash); !made) {
        return Unexpected(made.error());
    }
    if (!isHomeTrash(trash)) {
        return OpenTrash();
    }
    auto opened = TrashDirectory::open(homeTrash());
    if (!opened) {
        return Unexpected(opened.error());
    }
    tidy(*opened);
    const std::lock_guard lock(mutex_);
    home_ = std::make_shared<const TrashDirectory>(*std::move(opened));
    return home_;
}

/// Returns the home trash that is open if `trash` still leads there.
Trash::OpenTrash Trash::rememberedHomeTrash(const std::string& trash) {
    const std::lock_guard lock(mutex_);
    struct stat target {};
    const bool isThere = home_ && ::stat(trash.c_str(), &target) == 0 &&
                         fileIdOf(target) == home_->id() && home_->canRecord();
    return isThere ? home_ : nullptr;
}

/// If the item's path is too long, so is that of a volume inside it.
SystemResult<bool> Trash::hasMountIn(const ItemPlace& item) {
    const auto path = pathIn(item.directory.get(), item.name);
    return path.empty() ? mounts_.hasMountOnLongPath() : mounts_.hasMountIn(path);
}

/// EBUSY unless it is certain that no volume is mounted on the item or inside it.
Result<void, TrashError> Trash::checkMounts(const ItemPlace& item, const struct statx& status) {
    const auto found = S_ISDIR(status.stx_mode) ? hasMountIn(item) : false;
    if (!found) {
        return Unexpected(
            TrashError{Errno(EBUSY), translated(mountsUnknown, reason(found.error()))});
    }
    if (*found) {
        return Unexpected(TrashError{Errno(EBUSY), translated(hasMount)});
    }
    return {};
}

TakeResult Trash::takeWithTrashinfo(const ItemPlace& item, const std::string& path,
                                    const OpenTrash& home) {
    const auto directory = statusOf(item.directory.get());
    if (!directory) {
        return failure(directory.error());
    }
    const auto [trash, recordedPath] = trashFor(item, *directory, path, home);
    if (fileIdOf(*directory) == trash->id()) {
        return pathIn(trash->files(), item.name);
    }
    tidy(*trash);
    return afterTaking(trash, trash->take({item, path, recordedPath}));
}

TakeResult Trash::takePrepared(const TrashedItem& item, Prepared prepared) {
    return afterTaking(prepared.trash, prepared.trash->take(item, prepared.claim));
}

/// Remembers to make an item durable that was taken, and returns its path.
TakeResult Trash::afterTaking(const OpenTrash& trash, const SystemResult<std::string>& taken) {
    if (taken) {
        const std::lock_guard lock(mutex_);
        unsynced_.try_emplace(trash->id(), trash);
    }
    return afterMoving(trash->files(), taken);
}

void Trash::prepare(const std::string& trash, const std::vector<std::string>& paths) {
    const auto home = isUsablePath(trash) ? homeTrashAt(trash) : OpenTrash();
    if (!home || !*home) {
        return;
    }
    std::vector<std::pair<const std::string&, Prepared>> written;
    const auto room = mostPrepared - std::min(countPrepared(), mostPrepared);
    std::optional<Parent> parent;
    for (std::size_t i = 0; i < paths.size() && written.size() < room; ++i) {
        if (!parent || parent->path != path::deletingLastComponent(paths[i])) {
            parent = findParent(paths[i]);
        }
        if (parent) {
            parent->place.name = path::lastComponent(paths[i]);
            if (auto prepared = prepareOne(*home, *parent)) {
                written.emplace_back(paths[i], *std::move(prepared));
            }
        }
    }
    for (auto& [path, prepared] : written) {
        if (prepared.trash->claimName(prepared.claim)) {
            const std::lock_guard lock(mutex_);
            prepared_.try_emplace(path, std::move(prepared));
        }
    }
}

std::size_t Trash::countPrepared() {
    const std::lock_guard lock(mutex_);
    return prepared_.size();
}

/// Opens the directory of an announced item, if that can be.
std::optional<Trash::Parent> Trash::findParent(const std::string& path) {
    auto place = findPlace(path);
    const auto status = place ? statusOf(place->directory.get()) : Unexpected(place.error());
    return status ? std::optional(
                        Parent{path::deletingLastComponent(path), *std::move(place), *status})
                  : std::nullopt;
}

/// Writes the trashinfo of an item, unless it needs none.
std::optional<Trash::Prepared> Trash::prepareOne(const OpenTrash& home, const Parent& parent) {
    const auto& place = parent.place;
    if (!isEntryName(place.name) || !statusOfEntry(place.directory.get(), place.name)) {
        return std::nullopt;
    }
    const auto path = path::appending(parent.path, place.name);
    const auto [trash, recordedPath] = trashFor(place, parent.status, path, home);
    if (fileIdOf(parent.status) == trash->id()) {
        return std::nullopt;
    }
    tidy(*trash);
    auto claim = trash->prepare({place, path, recordedPath});
    return claim ? std::optional(Prepared{trash, *std::move(claim)}) : std::nullopt;
}

/// Returns what is prepared for the item at a path, if anything; it is not kept.
std::optional<Trash::Prepared> Trash::preparedFor(const std::string& path) {
    const std::lock_guard lock(mutex_);
    auto found = prepared_.extract(path);
    return found ? std::optional(std::move(found.mapped())) : std::nullopt;
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

void Trash::tidyHome() {
    if (const auto home = TrashDirectory::open(homeTrash())) {
        tidy(*home);
    }
}

/// Gives up a name that is claimed for an announced item; that will get another one.
void Trash::giveUpPrepared(const FileId& trash, const std::string& name) {
    std::unordered_map<std::string, Prepared> givenUp; // Deleted without the lock.
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find_if(prepared_, [&](const auto& entry) {
        const auto& [path, prepared] = entry;
        return prepared.trash->id() == trash && prepared.claim.name() == name;
    });
    if (found != prepared_.end()) {
        givenUp.insert(prepared_.extract(found));
    }
}

Result<std::function<void()>, TrashError> Trash::expect(const std::string& path,
                                                        const std::string& place) {
    if (!isUsablePath(path) || !isUsablePath(place)) {
        return Unexpected(TrashError{Errno(EINVAL), reason(Errno(EINVAL))});
    }
    const auto item = findPlace(path);
    const auto status =
        item ? statusOfEntry(item->directory.get(), item->name) : Unexpected(item.error());
    if (!status) {
        return Unexpected(TrashError{status.error(), reason(status.error())});
    }
    if (const auto checked = checkMounts(*item, *status); !checked) {
        return Unexpected(checked.error());
    }
    if (auto home = openOwnHomeTrash(path::deletingLastComponent(place))) {
        const auto name = path::lastComponent(place);
        tidy(*home);
        giveUpPrepared(home->id(), name);
        auto claimed = TrashDirectory::claimForOthers(*std::move(home), name, path);
        if (claimed) {
            return *std::move(claimed);
        }
    }
    makeRoom(place);
    return std::function<void()>([] {});
}

void Trash::makeDurable() {
    std::map<FileId, OpenTrash> unsynced;
    std::unordered_map<std::string, Prepared> unused; // Deleted without the lock.
    {
        const std::lock_guard lock(mutex_);
        unsynced.swap(unsynced_);
        unused.swap(prepared_);
    }
    for (const auto& [id, trash] : unsynced) {
        // The items are in the Trash; that a power cut may undo that is nobody's failure.
        static_cast<void>(trash->makeDurable());
    }
}

} // namespace qf::native
