#pragma once

#include "platform/foundation/FileId.h"
#include "platform/linux/desktop/MountTable.h"
#include "platform/linux/desktop/TrashDirectory.h"
#include "platform/linux/posix/Errno.h"
#include "platform/linux/posix/ItemPlace.h"

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace qf::native {

/// Why an item could not be trashed, also in words that can follow "because".
struct TrashError {
    Errno number;
    std::string why;
};

/// The only writer of the user's Trash. Any thread may call the members.
class Trash {
public:
    /// Moves the entry `name` of `directory` whole into the user's Trash, `trash`.
    ///
    /// If `trash` does not exist, it becomes a link to the "files" directory of the home trash
    /// ("The FreeDesktop.org Trash specification", version 1.0), which is created too. If `trash`
    /// is, or leads to, that directory, the item goes into the trash directory of its volume with
    /// a trashinfo: see trashFor() and TrashDirectory::take(). A real directory at `trash` is
    /// used as it is: a second "a.txt" becomes "a 2.txt". Anything else at `trash` is a failure.
    ///
    /// Returns the item's path in the Trash, as resolvedPath() has it.
    ///
    /// Nothing is ever replaced or deleted. An item that is in the Trash already stays as it is.
    /// EBUSY if a volume is mounted on the item or inside it, or if it is unknown whether one is:
    /// emptying the Trash would delete what is on that volume.
    ///
    /// On failure the item is whole where it was or, if only the removal after a copy failed, in
    /// the Trash. The first item that goes into a trash directory has what killed processes left
    /// there taken back.
    Result<std::string, TrashError> take(const std::string& directory, const std::string& trash,
                                         const std::string& name);

    /// Writes the trashinfos of the items at these paths, which take() is about to be asked for,
    /// and waits for the disk once for all of them. Those that take() has not used are deleted by
    /// makeDurable(). Ignores failures, items that need no trashinfo, and what exceeds the limit of
    /// open trashinfos: take() writes what it finds missing.
    void prepare(const std::string& trash, const std::vector<std::string>& paths);

    /// Writes the trashinfo of the item at `path`, which other means are about to move to `place`
    /// in the Trash. An item at `place` gets a unique name. Returns what to call when the move has
    /// ended or failed: it deletes the trashinfo unless the item has arrived. If the Trash is a
    /// real directory, which has no trashinfos, or if there is no room for one, the item goes
    /// without. Fails if the item must not be moved: EBUSY as for take().
    Result<std::function<void()>, TrashError> expect(const std::string& path,
                                                     const std::string& place);

    /// Takes back what killed processes left in the home trash, if it exists: see
    /// TrashDirectory::takeBackAbandoned().
    void tidyHome();

    /// Makes all that was taken since the last call durable, with one sync for each volume.
    void makeDurable();

private:
    using OpenTrash = std::shared_ptr<const TrashDirectory>;

    /// The trashinfo of an announced item; the claim refers to its trash directory.
    struct Prepared {
        OpenTrash trash;
        TrashClaim claim;
    };

    /// The directory of announced items, mostly the same for many; the place is that of the last.
    struct Parent {
        std::string path;
        ItemPlace place;
        struct statx status;
    };

    static std::optional<Parent> findParent(const std::string& path);
    std::optional<Prepared> prepareOne(const OpenTrash& home, const Parent& parent);
    std::optional<Prepared> preparedFor(const std::string& path);
    void giveUpPrepared(const FileId& trash, const std::string& name);
    std::size_t countPrepared();
    Result<std::string, TrashError> afterTaking(const OpenTrash& trash,
                                                const SystemResult<std::string>& taken);
    Result<std::string, TrashError> takePrepared(const TrashedItem& item, Prepared prepared);
    Result<std::string, TrashError>
    takeWithTrashinfo(const ItemPlace& item, const std::string& path, const OpenTrash& home);
    SystemResult<OpenTrash> homeTrashAt(const std::string& trash);
    OpenTrash rememberedHomeTrash(const std::string& trash);
    SystemResult<bool> hasMountIn(const ItemPlace& item);
    Result<void, TrashError> checkMounts(const ItemPlace& item, const struct statx& status);
    void tidy(const TrashDirectory& trash);

    MountTable mounts_;
    std::mutex mutex_;
    OpenTrash home_; ///< Stays open, as most items go there.
    std::set<FileId> tidied_;
    std::map<FileId, OpenTrash> unsynced_;
    std::unordered_map<std::string, Prepared> prepared_; ///< By the path of the item.
};

/// Creates the Trash as Trash::take() does before it moves the item.
SystemResult<void> makeTrash(const std::string& trash);

} // namespace qf::native
