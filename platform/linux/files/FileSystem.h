#pragma once

#include "platform/FileSystem.h"

namespace platform::native {

/// Files and folders through the system calls.
class FileSystem : public platform::FileSystem {
public:
    bool exists(const std::string& path) override;
    bool isDirectory(const std::string& path) override;
    bool isExecutable(const std::string& path) override;
    bool isWritable(const std::string& path) override;
    std::optional<ItemIdentity> identityOfItem(const std::string& path) override;
    std::optional<std::string> destinationOfSymbolicLink(const std::string& path) override;
    std::optional<ItemAttributes> attributesOfItem(const std::string& path) override;
    std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override;
    std::optional<std::vector<DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override;
    [[nodiscard]] std::optional<Error> createDirectory(const std::string& path) override;

    /// A move onto another volume begins only where all of the item can be removed as far as can be
    /// told: not with a folder that may not be written to, a locked file or a mounted volume
    /// inside. The copy grows under a hidden name beside `newPath`; what a killed process left
    /// there is deleted by the next move or copy to the same path.
    [[nodiscard]] std::optional<Error> moveItem(const std::string& path,
                                                const std::string& newPath) override;

    /// Blocks are shared where the file system can do that. Owners that the user may not give away,
    /// and attributes that the volume does not have, are left behind. The copy grows as in a move.
    [[nodiscard]] std::optional<Error> copyItem(const std::string& path,
                                                const std::string& newPath) override;

    [[nodiscard]] std::optional<Error> writeAtomically(const std::string& path,
                                                       std::string_view content) override;
    [[nodiscard]] std::optional<Error> setModificationDate(const std::string& path,
                                                           Date date) override;

    /// Stores the date beside the file, as docs/attributes.md says.
    [[nodiscard]] std::optional<Error> setCreationDate(const std::string& path, Date date) override;

    [[nodiscard]] std::optional<Error> setPosixPermissions(const std::string& path,
                                                           unsigned permissions) override;

    /// The inode's immutable flag. Only regular files and folders carry one: setting it fails for
    /// any other item, which is never opened.
    [[nodiscard]] std::optional<Error> setImmutable(const std::string& path,
                                                    bool immutable) override;

    /// Stops at the first item that cannot be deleted, whose name and reason the Error holds. A
    /// volume that is mounted inside the item belongs to the outside and is such an item. A folder
    /// without write permission is not made writable.
    [[nodiscard]] std::optional<Error> removeItem(const std::string& path) override;
};

} // namespace platform::native
