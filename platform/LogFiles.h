#pragma once

#include "platform/foundation/Result.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A log file that is open for appending. It is closed when nobody refers to it any more. One
/// thread at a time uses it.
class LogFile {
public:
    virtual ~LogFile() = default;

    /// Adds `entry` at the file's end in one step, so that entries of several processes that share
    /// the file never mix. Once it returns, the entry is in the file whatever becomes of the
    /// process. Throws platform::Exception "NSFileHandleOperationException", whose reason a person
    /// understands, when the entry is not, or not wholly, in the file; the next entry then begins
    /// on a line of its own.
    virtual void append(std::string_view entry) = 0;

    /// Whether others can still find the file, at its path or elsewhere. When they cannot, because
    /// it was deleted, all that was appended to it is lost.
    virtual bool hasName() = 0;

    /// Whether the file is the one that the path leads to at which it was opened: neither it nor a
    /// folder on the way was moved, deleted or replaced.
    virtual bool isInPlace() = 0;
};

/// Keeps everybody else who locks one of the same folders waiting for as long as it lives, in this
/// process and in others. It is gone with the process, however that ends.
class LogLock {
public:
    LogLock() = default;
    virtual ~LogLock() = default;
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
    LogLock(LogLock&&) = delete;
    LogLock& operator=(LogLock&&) = delete;
};

/// Where logs are kept. Paths are absolute, of any bytes but zero. Any thread may call every
/// member.
class LogFiles {
public:
    static constexpr const char* portName = "LogFiles";
    virtual ~LogFiles() = default;

    /// Whether something stands at the path. A final link is followed: a broken one does not exist.
    virtual bool exists(const std::string& path) = 0;

    /// Makes a folder, and those on the way to it that are missing.
    virtual Result<void> createFolder(const std::string& path) = 0;

    /// Deletes a file, a link (never what it leads to) or a folder with all that is in it.
    virtual Result<void> removeItem(const std::string& path) = 0;

    /// Gives the item at `path` the name `newPath` in one step. A link is moved itself. What stands
    /// at `newPath` is never replaced: an error.
    virtual Result<void> moveItem(const std::string& path, const std::string& newPath) = 0;

    /// As moveItem, but where the item is a file, it keeps its name at `path` as well until
    /// createEmptyFile() takes that: a process that is killed in between leaves the path no moment
    /// without a log.
    virtual Result<void> setAside(const std::string& path, const std::string& newPath) = 0;

    /// Puts a new, empty file at the path in one step, in place of a file or link that may stand
    /// there; a link is replaced, never followed.
    virtual Result<void> createEmptyFile(const std::string& path) = 0;

    /// Opens the existing file at the path for appending; nothing when that cannot be done.
    ///
    /// Only what nobody else could have planted is opened: a regular file that belongs to the
    /// current user or the superuser. A final link, or a second name of the file, is the user's own
    /// where the link and the folder that it is in belong to one of the two and nobody else may
    /// write to the folder. A missing file is not created.
    virtual std::shared_ptr<LogFile> open(const std::string& path) = 0;

    /// Locks those of the folders that exist and can be locked. Null when somebody else has kept
    /// one of them locked for longer than starting a log takes, several seconds.
    virtual std::unique_ptr<LogLock> lock(const std::vector<std::string>& folders) = 0;
};

} // namespace platform
