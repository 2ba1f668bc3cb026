#pragma once

#include "platform/foundation/Date.h"
#include "platform/foundation/FileId.h"
#include "platform/foundation/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// What an item itself is: a link is a link, whatever it leads to.
enum class ItemKind { file, directory, link, other };

/// An entry of a directory.
struct DirectoryEntry {
    std::string name;                ///< In the directory: no path.
    ItemKind kind = ItemKind::other; ///< Of the entry itself.
    /// In bytes, of a link its own; only where sizes were asked for, and never of a directory.
    std::optional<std::uint64_t> size;
    bool operator==(const DirectoryEntry&) const = default;
};

/// What the system keeps about an item; of a link, about the link itself.
struct ItemAttributes {
    ItemKind kind = ItemKind::other; ///< Of the item itself.
    std::uint64_t size = 0;          ///< In bytes.
    Date modificationDate;           ///< When the content last changed.
    /// Missing where the file system keeps none.
    std::optional<Date> creationDate;
    /// Whether it may not be changed, moved or deleted.
    bool immutable = false;
};

/// Files and directories as the current user may see and change them, without any privilege.
///
/// Paths are absolute, of any bytes but zero. What is there is seen, moved and deleted however long
/// its path is. Any thread may call every member.
class FileSystem {
public:
    static constexpr const char* portName = "FileSystem";
    virtual ~FileSystem() = default;

    /// Whether something stands at the path. A final link is followed: a broken one does not exist.
    virtual bool exists(const std::string& path) = 0;

    /// Whether a directory stands at the path; links are followed.
    virtual bool isDirectory(const std::string& path) = 0;

    /// Whether the current user may run, or enter, what stands at the path; links are followed.
    /// For a system tool that this machine replaces by a stand-in, the stand-in is tested.
    virtual bool isExecutable(const std::string& path) = 0;

    /// Whether the current user may write to what stands at the path; links are followed.
    virtual bool isWritable(const std::string& path) = 0;

    /// Which item stands at the path; links are followed. Nothing when there is none.
    virtual std::optional<FileId> fileIdOfItem(const std::string& path) = 0;

    /// What a link leads to, as it is written there; nothing when there is no link.
    virtual std::optional<std::string> destinationOfSymbolicLink(const std::string& path) = 0;

    /// What is known of an item; nothing when there is none. A final link is not followed.
    virtual std::optional<ItemAttributes> attributesOfItem(const std::string& path) = 0;

    /// The entries of a directory, hidden ones included, "." and ".." left out, in the system's
    /// order; nothing when the directory is missing, unreadable or no directory. A final link is
    /// followed.
    virtual std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectory(const std::string& path) = 0;

    /// As contentsOfDirectory, with sizes. An entry that goes while the directory is read has none.
    virtual std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) = 0;

    /// Makes a directory, and those on the way to it that are missing. A directory that is there
    /// already is success.
    virtual Result<void> createDirectory(const std::string& path) = 0;

    /// Gives the item at `path` the place `newPath`. A link is moved itself. What stands at
    /// `newPath` is never replaced: an error. Onto another volume the item is copied, the copy is
    /// compared and made durable, and only then does the item go, so that at any moment one of the
    /// two is whole. What a failure leaves at `newPath` is nothing, or, when something of the item
    /// could not be removed after all, because others changed it meanwhile, the whole copy.
    virtual Result<void> moveItem(const std::string& path, const std::string& newPath) = 0;

    /// Copies an item, a directory with all that is in it, with links as links, modes, times,
    /// extended attributes, holes, and hard links among its files. What stands at `newPath` is
    /// never replaced: an error. A copy that fails is taken away again.
    virtual Result<void> copyItem(const std::string& path, const std::string& newPath) = 0;

    /// Puts a file of exactly this content in the place of what stands at the path: it holds all of
    /// the content, or what was there before.
    virtual Result<void> writeAtomically(const std::string& path, std::string_view content) = 0;

    /// Sets the date of the last change; links are followed.
    virtual Result<void> setModificationDate(const std::string& path, Date date) = 0;

    /// Sets the date that attributesOfItem gives as the creation date; links are followed.
    virtual Result<void> setCreationDate(const std::string& path, Date date) = 0;

    /// Sets the permission bits (at most 07777); links are followed.
    virtual Result<void> setPosixPermissions(const std::string& path, unsigned permissions) = 0;

    /// Sets or clears the flag that keeps an item from being changed, moved or deleted. A final
    /// link is not followed. An item whose file system knows no such flag counts as unlocked:
    /// clearing succeeds there and setting fails. Clearing a flag that is not set needs no
    /// privilege. A missing item is an error.
    virtual Result<void> setImmutable(const std::string& path, bool immutable) = 0;

    /// Deletes an item, a directory with all that is in it. Links are deleted, never followed, and
    /// nothing outside the item is touched even while others change it. What was deleted before a
    /// failure stays deleted. A missing item is an error.
    virtual Result<void> removeItem(const std::string& path) = 0;
};

} // namespace platform
