#pragma once

#include "platform/foundation/FileDate.h"
#include "platform/foundation/FileId.h"
#include "platform/foundation/Result.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qf {

/// The kind of an item itself: a link is a link, whatever it leads to.
enum class ItemKind { file, directory, link, other };

/// An entry of a directory.
struct DirectoryEntry {
    std::string name;                ///< In the directory: no path.
    ItemKind kind = ItemKind::other; ///< Of the entry itself.
    /// In bytes, for a link its own; set only if sizes were asked for, and never for a directory.
    std::optional<std::uint64_t> size;
    bool operator==(const DirectoryEntry&) const = default;
};

/// The attributes of an item; for a link, those of the link itself.
struct ItemAttributes {
    ItemKind kind = ItemKind::other; ///< Of the item itself.
    std::uint64_t size = 0;          ///< In bytes.
    FileDate modificationDate;       ///< When the content last changed.
    FileId id;                       ///< The item's identity.
    unsigned owner = 0;              ///< The user identifier.
    unsigned group = 0;              ///< The group identifier.
    unsigned permissions = 0;        ///< The permission bits, at most 07777.
    /// Missing if the file system keeps none.
    std::optional<FileDate> creationDate;
    /// Whether the item is protected from being changed, moved or deleted.
    bool immutable = false;
};

/// A directory that is held open. Not shared between threads.
class HeldDirectory {
public:
    HeldDirectory() = default;
    virtual ~HeldDirectory() = default;
    HeldDirectory(const HeldDirectory&) = delete;
    HeldDirectory& operator=(const HeldDirectory&) = delete;
    HeldDirectory(HeldDirectory&&) = delete;
    HeldDirectory& operator=(HeldDirectory&&) = delete;

    /// Returns a path that leads to this very directory for as long as this object exists, whatever
    /// becomes of its name.
    virtual std::string path() const = 0;
};

/// What holdDirectory() does about directories that do not exist.
enum class MissingDirectories { fail, create };

/// Files and directories as the current user may see and change them, without any privilege.
///
/// Paths are absolute and may contain any byte except zero. Existing items are seen, moved and
/// deleted however long their paths are. Any thread may call every member.
class FileSystem {
public:
    static constexpr const char* portName = "FileSystem";
    virtual ~FileSystem() = default;

    /// Returns whether an item exists at the path. A final link is followed: a broken one does not
    /// exist.
    virtual bool exists(const std::string& path) = 0;

    /// Returns whether a directory exists at the path; links are followed.
    virtual bool isDirectory(const std::string& path) = 0;

    /// Returns whether the current user may write to the item at the path; links are followed.
    virtual bool isWritable(const std::string& path) = 0;

    /// Returns the identity of the item at the path, or nullopt if there is no item; links are
    /// followed.
    virtual std::optional<FileId> fileIdOfItem(const std::string& path) = 0;

    /// Returns the target of a link exactly as stored, or nullopt if the item is not a link.
    virtual std::optional<std::string> destinationOfSymbolicLink(const std::string& path) = 0;

    /// Returns the attributes of an item, or nullopt if it does not exist. A final link is not
    /// followed.
    virtual std::optional<ItemAttributes> attributesOfItem(const std::string& path) = 0;

    /// Returns the entries of a directory in the system's order, hidden ones included, "." and ".."
    /// excluded; nullopt if the directory is missing, unreadable or not a directory. A final link
    /// is followed.
    virtual std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectory(const std::string& path) = 0;

    /// Like contentsOfDirectory, with sizes. An entry that disappears during the call has no size.
    virtual std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) = 0;

    /// Creates a directory and any missing parents. An existing directory is a success.
    virtual Result<void> createDirectory(const std::string& path) = 0;

    /// Holds the directory at a path open, or creates it with any missing parents first. Follows a
    /// link on the way, and at its end, only if the path of the link is among `links`; any other is
    /// an error.
    virtual Result<std::unique_ptr<HeldDirectory>>
    holdDirectory(const std::string& path, const std::vector<std::string>& links,
                  MissingDirectories missing) = 0;

    /// Moves the item at `path` to `newPath`. A link is moved itself. An existing item at `newPath`
    /// is never replaced: that is an error. To another volume, the item is copied, the copy is
    /// compared and made durable, and only then is the item removed, so that one of the two is
    /// complete at any moment. A failure leaves nothing at `newPath` or, if part of the item could
    /// not be removed because others changed it meanwhile, the complete copy.
    virtual Result<void> moveItem(const std::string& path, const std::string& newPath) = 0;

    /// Copies an item, a directory with all its contents, preserving links, modes, times, extended
    /// attributes, holes, and hard links among its files. An existing item at `newPath` is never
    /// replaced: that is an error. A failed copy is removed.
    virtual Result<void> copyItem(const std::string& path, const std::string& newPath) = 0;

    /// Atomically writes a file with exactly this content, replacing an existing one: the path
    /// holds all of the new content or what it held before.
    virtual Result<void> writeAtomically(const std::string& path, std::string_view content) = 0;

    /// Like writeAtomically, but the file has these permission bits (at most 07777) and, if one is
    /// given, this modification date before it gets its name.
    virtual Result<void> writeAtomicallyWith(const std::string& path, std::string_view content,
                                             unsigned permissions,
                                             const std::optional<FileDate>& date) = 0;

    /// Sets the modification date; links are followed.
    virtual Result<void> setModificationDate(const std::string& path, FileDate date) = 0;

    /// Sets the date that attributesOfItem reports as the creation date; links are followed. A date
    /// that is beyond every Date is an error.
    virtual Result<void> setCreationDate(const std::string& path, FileDate date) = 0;

    /// Sets the permission bits (at most 07777); links are followed.
    virtual Result<void> setPosixPermissions(const std::string& path, unsigned permissions) = 0;

    /// Sets or clears the flag that keeps an item from being changed, moved or deleted. A final
    /// link is not followed. On a file system without such a flag, items count as unlocked:
    /// clearing succeeds and setting fails. Clearing a flag that is not set needs no privilege. A
    /// missing item is an error.
    virtual Result<void> setImmutable(const std::string& path, bool immutable) = 0;

    /// Deletes what killed processes of this user have left of unfinished copies, moves and saved
    /// files directly in a directory. What a living process works on stays, and so does the mark by
    /// which the next move recognizes an unfinished one. Failures are ignored.
    virtual void removeAbandonedCopies(const std::string& directory) = 0;

    /// Deletes an item, a directory with all its contents. Links are deleted, never followed, and
    /// nothing outside the item is touched even if others change it meanwhile. A failure does not
    /// restore what was already deleted. A missing item is an error.
    virtual Result<void> removeItem(const std::string& path) = 0;
};

} // namespace qf
