#pragma once

#include "platform/FileSystem.h"

namespace platform::native {

/// Files and directories through the system calls.
class FileSystem : public platform::FileSystem {
public:
    bool exists(const std::string& path) override;
    bool isDirectory(const std::string& path) override;
    bool isExecutable(const std::string& path) override;
    bool isWritable(const std::string& path) override;
    std::optional<FileId> fileIdOfItem(const std::string& path) override;
    std::optional<std::string> destinationOfSymbolicLink(const std::string& path) override;
    std::optional<ItemAttributes> attributesOfItem(const std::string& path) override;
    std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override;
    std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override;
    Result<void> createDirectory(const std::string& path) override;

    /// A move onto another volume begins only where all of the item can be removed as far as can be
    /// told: not with a directory that may not be written to, a locked file or a mounted volume
    /// inside. The copy grows under a hidden name beside `newPath`; what a killed process left
    /// there is deleted by the next move or copy to the same path.
    Result<void> moveItem(const std::string& path, const std::string& newPath) override;

    /// Blocks are shared where the file system can do that. Owners that the user may not give away,
    /// and attributes that the volume does not have, are left behind. The copy grows as in a move.
    Result<void> copyItem(const std::string& path, const std::string& newPath) override;

    Result<void> writeAtomically(const std::string& path, std::string_view content) override;
    Result<void> setModificationDate(const std::string& path, Date date) override;

    /// Stores the date beside the file, as docs/attributes.md says.
    Result<void> setCreationDate(const std::string& path, Date date) override;

    Result<void> setPosixPermissions(const std::string& path, unsigned permissions) override;

    /// The inode's immutable flag. Only regular files and directories carry one: setting it fails
    /// for any other item, which is never opened.
    Result<void> setImmutable(const std::string& path, bool immutable) override;

    /// Stops at the first item that cannot be deleted, whose name and reason the Error holds. A
    /// volume that is mounted inside the item belongs to the outside and is such an item. A
    /// directory without write permission is not made writable.
    Result<void> removeItem(const std::string& path) override;
};

} // namespace platform::native
