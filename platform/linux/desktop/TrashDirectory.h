#pragma once

#include "platform/foundation/FileId.h"
#include "platform/linux/desktop/Trashinfo.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/ItemPlace.h"

#include <functional>
#include <string>
#include <utility>

namespace platform::native {

/// An item to be moved into a trash directory.
struct TrashedItem {
    const ItemPlace& place;
    std::string path;         ///< absolute
    std::string recordedPath; ///< for the trashinfo
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
    /// after a copy failed stays in the trash directory, with its trashinfo.
    ///
    /// The trashinfo's content has been written before the item is renamed: on a journaling volume
    /// no power cut leaves an item in the trash directory without its trashinfo, or with an empty
    /// one. Neither is durable before makeDurable().
    SystemResult<std::string> take(const TrashedItem& item) const;

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
    SystemResult<void> takeAs(const std::string& name, const TrashedItem& item,
                              const std::string& text) const;
    SystemResult<void> move(const TrashedItem& item, const std::string& name) const;
    SystemResult<void> giveUniqueName(const std::string& name) const;
    SystemResult<TemporaryItem> claimFree(const std::string& name, const std::string& text) const;
    bool removeTrashinfo(const std::string& name, const FileDescriptor& trashinfo) const;
    void takeBackIfAbandoned(const std::string& name) const;

    FileDescriptor files_;
    FileDescriptor infos_;
    FileId id_;
};

} // namespace platform::native
