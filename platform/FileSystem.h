#pragma once

#include "platform/foundation/Error.h"

#include <optional>
#include <string>
#include <vector>

namespace platform {

/// Files and folders as the current user may see and change them, without any privilege.
///
/// Paths are absolute, of any bytes but zero. A member that can fail gives the Error, or nothing
/// on success. Any thread may call every member.
class FileSystem {
public:
    static constexpr const char* portName = "FileSystem";
    virtual ~FileSystem() = default;

    /// Whether something stands at the path. A final link is followed: a broken one does not exist.
    virtual bool exists(const std::string& path) = 0;

    /// Whether a folder stands at the path; links are followed.
    virtual bool isDirectory(const std::string& path) = 0;

    /// Whether the current user may run, or enter, what stands at the path; links are followed.
    /// For a system tool that this machine replaces by a stand-in, the stand-in is tested.
    virtual bool isExecutable(const std::string& path) = 0;

    /// The names in a folder, hidden ones included, "." and ".." left out, in the system's order;
    /// nothing when the folder is missing, unreadable or no folder. A final link is followed.
    virtual std::optional<std::vector<std::string>>
    contentsOfDirectory(const std::string& path) = 0;

    /// Sets or clears the flag that keeps an item from being changed, moved or deleted. A final
    /// link is not followed. An item whose file system knows no such flag counts as unlocked:
    /// clearing succeeds there and setting fails. Clearing a flag that is not set needs no
    /// privilege. A missing item is an error.
    [[nodiscard]] virtual std::optional<Error> setImmutable(const std::string& path,
                                                            bool immutable) = 0;

    /// Deletes an item, a folder with all that is in it. Links are deleted, never followed, and
    /// nothing outside the item is touched even while others change it. What was deleted before a
    /// failure stays deleted. A missing item is an error.
    [[nodiscard]] virtual std::optional<Error> removeItem(const std::string& path) = 0;
};

} // namespace platform
