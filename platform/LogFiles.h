#pragma once

#include "platform/foundation/Error.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A log file that is open for appending. It is closed when nobody refers to it any more.
class LogFile {
public:
    virtual ~LogFile() = default;

    /// Adds `entry` at the file's end in one step, so that entries of several processes that share
    /// the file never mix. Once it returns, the entry is in the file whatever becomes of the
    /// process. Throws platform::Exception "NSFileHandleOperationException", whose reason a person
    /// understands, when the entry is not, or not wholly, in the file; the next entry then begins
    /// on a line of its own. One thread at a time.
    virtual void append(std::string_view entry) = 0;
};

/// Where logs are kept. Paths are absolute, of any bytes but zero. A member that can fail gives
/// the Error, or nothing on success. Any thread may call every member.
class LogFiles {
public:
    static constexpr const char* portName = "LogFiles";
    virtual ~LogFiles() = default;

    /// Whether something stands at the path. A final link is followed: a broken one does not exist.
    virtual bool exists(const std::string& path) = 0;

    /// Makes a folder, and those on the way to it that are missing.
    [[nodiscard]] virtual std::optional<Error> createFolder(const std::string& path) = 0;

    /// Deletes a file, a link (never what it leads to) or an empty folder. A folder with something
    /// in it is no log and stays: an error.
    [[nodiscard]] virtual std::optional<Error> removeItem(const std::string& path) = 0;

    /// Gives the item at `path` the name `newPath` in one step. A link is moved itself. What stands
    /// at `newPath` is never replaced: an error.
    [[nodiscard]] virtual std::optional<Error> moveItem(const std::string& path,
                                                        const std::string& newPath) = 0;

    /// Puts a new, empty file at the path in one step, in place of a file or link that may stand
    /// there; a link is replaced, never followed.
    [[nodiscard]] virtual std::optional<Error> createEmptyFile(const std::string& path) = 0;

    /// Opens the existing file at the path for appending; nothing when that cannot be done.
    ///
    /// Only what could not have been planted is opened: no final link (whoever made it), nothing
    /// but a regular file, which belongs to the current user or the superuser and has no second
    /// name. A missing file is not created.
    virtual std::shared_ptr<LogFile> open(const std::string& path) = 0;
};

} // namespace platform
