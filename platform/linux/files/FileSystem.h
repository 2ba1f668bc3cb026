#pragma once

#include "platform/FileSystem.h"

namespace qf::native {

/// The file system on the system calls.
class FileSystem : public qf::FileSystem {
public:
    bool exists(const std::string& path) override;
    bool isDirectory(const std::string& path) override;
    bool isWritable(const std::string& path) override;
    std::optional<FileId> fileIdOfItem(const std::string& path) override;
    std::optional<std::string> destinationOfSymbolicLink(const std::string& path) override;
    std::optional<ItemAttributes> attributesOfItem(const std::string& path) override;
    std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override;
    std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override;
    Result<void> createDirectory(const std::string& path) override;

    /// The path leads through /proc.
    Result<std::unique_ptr<HeldDirectory>> holdDirectory(const std::string& path,
                                                         const std::vector<std::string>& links,
                                                         MissingDirectories missing) override;

    /// A move to another volume begins only if, as far as can be told, all of the item can be
    /// removed: not if it contains a directory without write permission, a locked file or a mounted
    /// volume. The copy is made under a hidden name beside `newPath`; the next move or copy to the
    /// same path deletes what a killed process left there.
    Result<void> moveItem(const std::string& path, const std::string& newPath) override;

    /// Blocks are shared if the file system supports that. Owners that the user may not set, and
    /// attributes that the volume does not support, are not copied. The copy is made under a hidden
    /// name as in a move.
    Result<void> copyItem(const std::string& path, const std::string& newPath) override;

    Result<void> writeAtomically(const std::string& path, std::string_view content) override;
    Result<void> writeAtomicallyWith(const std::string& path, std::string_view content,
                                     unsigned permissions,
                                     const std::optional<FileDate>& date) override;
    Result<void> setModificationDate(const std::string& path, FileDate date) override;

    /// Stores the date as docs/attributes.md describes.
    Result<void> setCreationDate(const std::string& path, FileDate date) override;

    Result<void> setPosixPermissions(const std::string& path, unsigned permissions) override;

    /// The inode's immutable flag. Only regular files and directories have one: setting it fails
    /// for any other item, which is never opened.
    Result<void> setImmutable(const std::string& path, bool immutable) override;

    /// See TemporaryItem.
    void removeAbandonedCopies(const std::string& directory) override;

    /// Stops at the first item that cannot be deleted; the Error names it and the reason. A volume
    /// mounted inside the item is outside of it and cannot be deleted. A directory without write
    /// permission is not made writable.
    Result<void> removeItem(const std::string& path) override;
};

} // namespace qf::native
