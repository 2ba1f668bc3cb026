#include "platform/linux/desktop/TrashDirectory.h"

#include "platform/linux/desktop/WritableDirectory.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/files/UniqueName.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/Rename.h"
#include "platform/linux/posix/SystemCall.h"
#include "platform/linux/posix/WriteRest.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

namespace qf::native {

namespace {

constexpr mode_t trashMode = 0700;
constexpr mode_t trashinfoMode = S_IFREG | 0600;

/// The most names to try when other processes keep taking those that are free.
constexpr int mostAttempts = 100000;

/// A trashinfo is at most as long as this: a path that is percent-encoded, and two short lines.
constexpr std::size_t largestTrashinfo = 1U << 20U;

SystemResult<FileDescriptor> openOrMake(int parent, const std::string& name, int flags = 0) {
    const auto made = checked(::mkdirat(parent, name.c_str(), trashMode));
    if (!made && !failedWith(made, EEXIST)) {
        return Unexpected(made.error());
    }
    return opened(::openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | flags));
}

/// Has the volume write a file's content, and waits for that. Journaling volumes then have the file
/// whole whenever they have a later rename, without the flush of the disk's cache that fsync()
/// waits for. Not to wait would not do: ext4 records a file's size before its content is there.
SystemResult<void> sendToDisk(int file) {
    constexpr unsigned andWait = SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    auto sent = checked(retryOnEintr([file] { return ::sync_file_range(file, 0, 0, andWait); }));
    return failedWith(sent, ENOSYS, EINVAL, ESPIPE)
               ? checked(retryOnEintr([file] { return ::fsync(file); }))
               : sent;
}

/// Has the volume begin to write a file's content: a batch of files is then written together.
void startSending(int file) {
    static_cast<void>(::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE));
}

/// Returns whether a process that was killed left a file, so that nobody works on it. A mover that
/// holds no lock is given a day.
bool isAbandoned(const FileDescriptor& trashinfo, const struct statx& status, Mover mover) {
    const auto written = status.stx_mtime.tv_sec;
    return lockIfAbandoned(trashinfo, written) && (mover == Mover::self || isOverADayAgo(written));
}

/// A killed move has a day to be finished.
bool isRecent(const FileDescriptor& item) {
    const auto status = statusOf(item.get());
    return status && !isOverADayAgo(status->stx_mtime.tv_sec);
}

std::string contentOf(const FileDescriptor& file) {
    std::string text;
    std::array<char, 4096> block{};
    while (text.size() < largestTrashinfo) {
        const auto length =
            ::pread(file.get(), block.data(), block.size(), static_cast<off_t>(text.size()));
        if (length <= 0) {
            break;
        }
        text.append(block.data(), static_cast<std::size_t>(length));
    }
    return text;
}

FileDescriptor openForReading(int directory, const std::string& name) {
    return FileDescriptor(::openat(directory, name.c_str(),
                                   O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool entryExists(int directory, const std::string& name) {
    return ::faccessat(directory, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Returns whether it is certain that there is no such entry.
bool isMissing(int directory, const std::string& name) {
    return !entryExists(directory, name) && errno == ENOENT;
}

} // namespace

bool TrashClaim::isIntact() const {
    const auto status = statusOf(trashinfo_.item().get());
    return status && status->stx_nlink > 0;
}

void TrashClaim::giveUpName() {
    if (!name_.empty()) {
        trashinfo_.takeBack();
        name_.clear();
    }
}

SystemResult<TrashDirectory> TrashDirectory::openIn(const FileDescriptor& trash) {
    auto files = openOrMake(trash.get(), "files");
    if (!files) {
        return Unexpected(files.error());
    }
    auto infos = openOrMake(trash.get(), "info");
    if (!infos) {
        return Unexpected(infos.error());
    }
    const auto status = statusOf(files->get());
    if (!status) {
        return Unexpected(status.error());
    }
    TrashDirectory opened(*std::move(files), *std::move(infos));
    opened.id_ = fileIdOf(*status);
    return opened;
}

SystemResult<TrashDirectory> TrashDirectory::open(int parent, const std::string& name) {
    const auto trash = openOrMake(parent, name, O_NOFOLLOW);
    if (!trash) {
        return Unexpected(trash.error());
    }
    const auto status = statusOf(trash->get());
    if (!status) {
        return Unexpected(status.error());
    }
    return status->stx_uid == ::geteuid() ? openIn(*trash) : Unexpected(Errno(EPERM));
}

SystemResult<TrashDirectory> TrashDirectory::open(const std::string& path) {
    const auto trash = opened(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!trash) {
        return Unexpected(trash.error());
    }
    return openIn(*trash);
}

bool TrashDirectory::canRecord() const {
    const auto status = statusOf(infos());
    return status && status->stx_nlink > 0;
}

bool TrashDirectory::holdsItem(const std::string& name) const {
    return entryExists(files_.get(), name);
}

bool TrashDirectory::lacksItem(const std::string& name) const {
    return isMissing(files_.get(), name);
}

bool TrashDirectory::isTaken(const std::string& name) const {
    return entryExists(infos_.get(), trashinfoName(name)) || holdsItem(name);
}

/// Writes a trashinfo under a hidden name, and does not wait for the disk. It is locked while it is
/// open.
SystemResult<TemporaryItem> TrashDirectory::write(const std::string& purpose,
                                                  std::string_view text) const {
    auto trashinfo = TemporaryItem::make(infos_.get(), purpose, trashinfoMode);
    if (trashinfo) {
        if (const auto written = writeRest(trashinfo->item().get(), text); !written) {
            return Unexpected(written.error());
        }
    }
    return trashinfo;
}

/// Makes the trashinfo of this name, whole from the first moment; EEXIST if there is one.
SystemResult<TemporaryItem> TrashDirectory::claim(const Claim& wanted) const {
    auto trashinfo = write(trashinfoName(wanted.name), wanted.text);
    if (!trashinfo) {
        return trashinfo;
    }
    auto claimed = sendToDisk(trashinfo->item().get());
    if (claimed) {
        claimed = trashinfo->rename();
    }
    if (!claimed) {
        return Unexpected(claimed.error());
    }
    return trashinfo;
}

SystemResult<TrashClaim> TrashDirectory::prepare(const TrashedItem& item) const {
    auto trashinfo = write(item.recordedPath, trashinfoText(item.recordedPath, Mover::self));
    if (!trashinfo) {
        return Unexpected(trashinfo.error());
    }
    startSending(trashinfo->item().get());
    return TrashClaim(*std::move(trashinfo), item.place.name);
}

SystemResult<void> TrashDirectory::claimName(TrashClaim& claim) const {
    if (!claim.name_.empty()) {
        return {};
    }
    auto claimed = sendToDisk(claim.trashinfo_.item().get());
    for (int attempt = 0; attempt < mostAttempts && claimed; ++attempt) {
        // Most names are free, which claiming them tells.
        claim.count_ = claim.count_ == 0 ? 1 : freeNumber(claim.count_ + 1, [&](int number) {
            return isTaken(nameInTrash(claim.wantedName_, number));
        });
        auto name = nameInTrash(claim.wantedName_, claim.count_);
        const auto renamed = claim.trashinfo_.rename(trashinfoName(name));
        if (renamed) {
            claim.name_ = std::move(name);
            return {};
        }
        if (!failedWith(renamed, EEXIST)) {
            return renamed;
        }
    }
    return claimed ? Unexpected(Errno(EEXIST)) : claimed;
}

SystemResult<std::string> TrashDirectory::take(const TrashedItem& item) const {
    auto claim = prepare(item);
    return claim ? take(item, *claim) : Unexpected(claim.error());
}

SystemResult<std::string> TrashDirectory::take(const TrashedItem& item, TrashClaim& claim) const {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (const auto claimed = claimName(claim); !claimed) {
            return Unexpected(claimed.error());
        }
        // The first name, or the last that was taken, may be that of a killed process.
        for (const int number : std::set{1, claim.count_ - 1}) {
            auto former = nameInTrash(claim.wantedName_, number);
            if (number > 0 && former != claim.name_ && finishesMove(item, former)) {
                claim.giveUpName();
                return former;
            }
        }
        auto name = claim.name_;
        const auto moved = moveAsClaimed(item, claim);
        if (moved) {
            return name;
        }
        if (!failedWith(moved, EEXIST)) {
            return Unexpected(moved.error());
        }
    }
    return Unexpected(Errno(EEXIST));
}

/// Returns whether a killed process has moved this very item to the name, and what it left at the
/// item's place is gone now.
bool TrashDirectory::finishesMove(const TrashedItem& item, const std::string& name) const {
    const auto former = openForReading(infos(), trashinfoName(name));
    return former && holdsItem(name) && recordedPathIn(contentOf(former)) == item.recordedPath &&
           finishMove(item.place.entry(), {files(), name});
}

/// EEXIST if the name is taken; it is no longer claimed then.
SystemResult<void> TrashDirectory::moveAsClaimed(const TrashedItem& item, TrashClaim& claim) const {
    auto moved = move(item, claim.name_);
    // An item that was copied, but could not be removed, stays in the Trash with its trashinfo.
    if (moved || (!failedWith(moved, EEXIST) && !lacksItem(claim.name_))) {
        claim.name_.clear();
    } else {
        claim.giveUpName();
    }
    return moved;
}

SystemResult<void> TrashDirectory::move(const TrashedItem& item, const std::string& name) const {
    const auto attempt = [&]() -> SystemResult<void> {
        const auto moved = moveItem(item.place.entry(), {files(), name});
        return moved ? SystemResult<void>() : Unexpected(moved.error().number);
    };
    auto moved = attempt();
    if (!failedWith(moved, EACCES)) {
        return moved;
    }
    if (const auto writable = WritableDirectory::make(item.place, item.path, infos(), name)) {
        moved = attempt();
        writable->restore(moved, item.place.entry(), {files(), name});
    }
    return moved;
}

/// Renames the item of this name, and its trashinfo, to a unique name.
SystemResult<void> TrashDirectory::giveUniqueName(const std::string& name) const {
    const auto former = openForReading(infos(), trashinfoName(name));
    const int count = freeNumber(2, [&](int number) { return isTaken(nameInTrash(name, number)); });
    const auto newName = nameInTrash(name, count);
    if (!former) {
        return renameWithoutReplacing({files(), name}, {files(), newName});
    }
    const auto text = contentOf(former);
    auto trashinfo = claim({newName, text});
    if (!trashinfo) {
        return Unexpected(trashinfo.error());
    }
    auto renamed = renameWithoutReplacing({files(), name}, {files(), newName});
    if (renamed) {
        removeTrashinfo(name, former);
    } else {
        removeTrashinfo(newName, trashinfo->item());
    }
    return renamed;
}

/// Claims a name that no item has, even if a trashinfo without an item has it.
SystemResult<TemporaryItem> TrashDirectory::claimFree(const std::string& name,
                                                      const std::string& text) const {
    auto trashinfo = claim({name, text});
    if (!failedWith(trashinfo, EEXIST)) {
        return trashinfo;
    }
    const auto former = openForReading(infos(), trashinfoName(name));
    const bool isInUse = !former || ::flock(former.get(), LOCK_EX | LOCK_NB) != 0;
    return !isInUse && removeTrashinfo(name, former) ? claim({name, text}) : std::move(trashinfo);
}

SystemResult<std::function<void()>>
TrashDirectory::claimForOthers(TrashDirectory trash, const std::string& name,
                               const std::string& recordedPath) {
    if (trash.holdsItem(name)) {
        if (auto renamed = trash.giveUniqueName(name); !renamed) {
            return Unexpected(renamed.error());
        }
    }
    auto claimed = trash.claimFree(name, trashinfoText(recordedPath, Mover::administrator));
    if (!claimed) {
        return Unexpected(claimed.error());
    }
    // The claim refers to the trash directory's descriptor, which keeps its number.
    const auto directory = std::make_shared<TrashDirectory>(std::move(trash));
    const auto trashinfo = std::make_shared<TemporaryItem>(*std::move(claimed));
    return std::function<void()>([directory, trashinfo, name] {
        if (directory->lacksItem(name)) {
            directory->removeTrashinfo(name, trashinfo->item());
        }
    });
}

/// Deletes the trashinfo of this name if it is the open one.
bool TrashDirectory::removeTrashinfo(const std::string& name,
                                     const FileDescriptor& trashinfo) const {
    const auto named = statusOfEntry(infos(), trashinfoName(name));
    const auto own = statusOf(trashinfo.get());
    return named && own && fileIdOf(*named) == fileIdOf(*own) &&
           ::unlinkat(infos(), trashinfoName(name).c_str(), 0) == 0;
}

/// Deletes the trashinfo of an item that is not there if its mover was killed. What other programs
/// wrote is left: one of them may be about to move the item.
void TrashDirectory::takeBackIfAbandoned(const std::string& name) const {
    const auto trashinfo = openForReading(infos(), trashinfoName(name));
    const auto status = trashinfo ? statusOf(trashinfo.get()) : Unexpected(Errno(ENOENT));
    if (!status || !S_ISREG(status->stx_mode)) {
        return;
    }
    const auto mover = moverIn(contentOf(trashinfo));
    // The item may have come before its mover gave up the lock.
    if (mover && isAbandoned(trashinfo, *status, *mover) && lacksItem(name)) {
        removeTrashinfo(name, trashinfo);
    }
}

void TrashDirectory::takeBackAbandoned() const {
    TemporaryItem::removeAbandoned(infos(), [this](const FileDescriptor& item, const auto&) {
        WritableDirectory::restoreRecorded(item, files());
        return true;
    });
    // A user may have trashed an item with such a name. By its mark, the next run knows a killed
    // move that it has to finish.
    TemporaryItem::removeAbandoned(files(),
                                   [this](const FileDescriptor& item, const std::string& name) {
                                       return !(TemporaryItem::isMark(name) && isRecent(item)) &&
                                              isMissing(infos(), trashinfoName(name));
                                   });
    auto directory = openDirectory(infos(), ".");
    if (!directory) {
        return;
    }
    auto reader = DirectoryReader::of(*std::move(directory));
    auto entry = reader ? reader->next() : Unexpected(reader.error());
    for (; entry && *entry; entry = reader->next()) {
        auto name = (*entry)->name;
        if (name.ends_with(trashinfoExtension)) {
            name.resize(name.size() - std::string_view(trashinfoExtension).size());
            if (lacksItem(name)) {
                takeBackIfAbandoned(name);
            }
        }
    }
}

SystemResult<void> TrashDirectory::makeDurable() const {
    const auto directory = openDirectory(files(), ".");
    if (!directory) {
        return Unexpected(directory.error());
    }
    struct statfs volume {};
    const bool isKnown = ::fstatfs(directory->get(), &volume) == 0;
    // On these, one sync of a directory commits all earlier changes to names.
    const bool commitsInOrder =
        isKnown && (volume.f_type == EXT4_SUPER_MAGIC || volume.f_type == XFS_SUPER_MAGIC);
    return checked(retryOnEintr(
        [&] { return commitsInOrder ? ::fsync(directory->get()) : ::syncfs(directory->get()); }));
}

} // namespace qf::native
