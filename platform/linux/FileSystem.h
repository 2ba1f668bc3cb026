#pragma once

#include "platform/FileSystem.h"

namespace platform::native {

/// Files and folders through the system calls.
class FileSystem : public platform::FileSystem {
public:
    bool exists(const std::string& path) override;
    bool isDirectory(const std::string& path) override;
    bool isExecutable(const std::string& path) override;
    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override;

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
