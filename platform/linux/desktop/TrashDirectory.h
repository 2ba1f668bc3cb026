#pragma once

#include "platform/foundation/FileId.h"
#include "platform/linux/desktop/Trashinfo.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/ItemPlace.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace qf::native {

/// An item to be moved into a trash directory.
struct TrashedItem {
    const ItemPlace& place;
    std::string path;         ///< absolute
    std::string recordedPath; ///< for the trashinfo
};

/// A trashinfo in a trash directory for an item that is to come, and soon the name that the item
/// gets. It is locked, so that other processes leave it alone, and is deleted with this unless the
/// item has come. Not shared between threads.
class TrashClaim {
public:
    TrashClaim(TrashClaim&& other) noexcept
        : trashinfo_(std::move(other.trashinfo_)), wantedName_(std::move(other.wantedName_)),
          name_(std::exchange(other.name_, {})), count_(other.count_) {}
    TrashClaim(const TrashClaim&) = delete;
    TrashClaim& operator=(const TrashClaim&) = delete;
    TrashClaim& operator=(TrashClaim&&) = delete;
    ~TrashClaim() { giveUpName(); }

    /// Returns whether the trashinfo still exists.
    bool isIntact() const;

    /// Returns the claimed name; empty if there is none.
    const std::string& name() const { return name_; }

private:
    friend class TrashDirectory;
    TrashClaim(TemporaryItem trashinfo, std::string wantedName)
        : trashinfo_(std::move(trashinfo)), wantedName_(std::move(wantedName)) {}

    void giveUpName();

    TemporaryItem trashinfo_;
    std::string wantedName_;
    std::string name_; ///< Empty while nothing is claimed, and once the item has come.
    int count_ = 0;    ///< The number of the last name that was tried.
};

/// A trash directory of the Trash specification 1.0 that is open for taking items. Any thread may
/// call the members; other processes may use the same one at any time.
///
/// An item is taken in two steps ("Contents of a trash directory"): its trashinfo is made, whole
/// and exclusively, which claims the name; then the item is renamed without replacing anything. If
/// the process is killed in between, the name stays claimed until takeBackAbandoned().
class TrashDirectory {
public:
    /// Opens the trash directory `name` of an open directory, and creates what is missing of it,
    /// for its owner alone ("Trash directories"). A link is not followed. EPERM if it is another
    /// user's.
    static SystemResult<TrashDirectory> open(int parent, const std::string& name);

    /// Opens the trash directory at a path, whose last component may be a link.
    static SystemResult<TrashDirectory> open(const std::string& path);

    /// Returns the directory of the trashed items, open for looking up entries only.
    int files() const { return files_.get(); }

    /// Returns the identity of that directory.
    const FileId& id() const { return id_; }

    /// Returns whether the directory of the trashinfos still exists.
    bool canRecord() const;

    /// Moves an item into the trash directory, even from another volume, under its own name or one
    /// with a number, which it returns. Nothing is ever replaced. An item of which only the removal
    /// after a copy failed stays in the trash directory, with its trashinfo. If a killed process
    /// has copied the item from another volume, what it left is removed, and that copy's name
    /// returned.
    ///
    /// The trashinfo's content has been written before the item is renamed: on a journaling volume
    /// no power cut leaves an item in the trash directory without its trashinfo, or with an empty
    /// one. Neither is durable before makeDurable().
    SystemResult<std::string> take(const TrashedItem& item) const;

    /// Writes the trashinfo of an item that is soon to be taken, and does not wait for the disk.
    /// The claim refers to this object and must not outlive it.
    SystemResult<TrashClaim> prepare(const TrashedItem& item) const;

    /// Waits until a prepared trashinfo is written, and claims a name that is free, if the claim
    /// has none yet.
    SystemResult<void> claimName(TrashClaim& claim) const;

    /// Like take() without a claim, for an item whose trashinfo has been prepared.
    SystemResult<std::string> take(const TrashedItem& item, TrashClaim& claim) const;

    /// Claims `name` in a trash directory for an item that other means move there. An item that has
    /// the name gets a unique one first. Returns what to call, at most once, when the move has
    /// ended or failed: it takes the claim back unless the item is there.
    static SystemResult<std::function<void()>>
    claimForOthers(TrashDirectory trash, const std::string& name, const std::string& recordedPath);

    /// Takes back what killed processes left: names that were claimed for items that never came,
    /// parts of copies, and modes of directories that were made writable for the moment of a
    /// rename.
    void takeBackAbandoned() const;

    /// Makes what was taken durable.
    SystemResult<void> makeDurable() const;

private:
    TrashDirectory(FileDescriptor files, FileDescriptor infos)
        : files_(std::move(files)), infos_(std::move(infos)) {}

    static SystemResult<TrashDirectory> openIn(const FileDescriptor& trash);
    int infos() const { return infos_.get(); }

    bool isTaken(const std::string& name) const;
    bool holdsItem(const std::string& name) const;
    bool lacksItem(const std::string& name) const;
    /// The name that an item is to have, and the text of its trashinfo.
    struct Claim {
        const std::string& name;
        const std::string& text;
    };
    SystemResult<TemporaryItem> claim(const Claim& wanted) const;
    SystemResult<TemporaryItem> write(const std::string& purpose, std::string_view text) const;
    bool finishesMove(const TrashedItem& item, const std::string& name) const;
    SystemResult<void> moveAsClaimed(const TrashedItem& item, TrashClaim& claim) const;
    SystemResult<void> move(const TrashedItem& item, const std::string& name) const;
    SystemResult<void> giveUniqueName(const std::string& name) const;
    SystemResult<TemporaryItem> claimFree(const std::string& name, const std::string& text) const;
    bool removeTrashinfo(const std::string& name, const FileDescriptor& trashinfo) const;
    void takeBackIfAbandoned(const std::string& name) const;

    FileDescriptor files_;
    FileDescriptor infos_;
    FileId id_;
};

} // namespace qf::native
