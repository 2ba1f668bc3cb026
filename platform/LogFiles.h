#pragma once

#include "platform/foundation/Result.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qf {

/// A log file that is open for appending. It is closed when its last owner releases it. Not shared
/// between threads.
class LogFile {
public:
    virtual ~LogFile() = default;

    /// Adds `entry` at the file's end in one step, so that entries of several processes that share
    /// the file never mix. Once it returns, the entry is in the file whatever becomes of the
    /// process. Throws qf::Exception "NSFileHandleOperationException", whose reason a person
    /// understands, when the entry is not, or not wholly, in the file; the next entry then begins
    /// on a line of its own.
    virtual void append(std::string_view entry) = 0;

    /// Whether others can still find the file, at its path or elsewhere. When they cannot, because
    /// it was deleted, all that was appended to it is lost.
    virtual bool hasName() = 0;

    /// Returns whether the path at which the file was opened still leads to it: neither the file
    /// nor a directory on the way was moved, deleted or replaced.
    virtual bool isInPlace() = 0;
};

/// A lock on directories: while it lives, everybody else who locks one of them waits, in this
/// process and in others. The lock is released when the process ends, however it ends.
class LogLock {
public:
    LogLock() = default;
    virtual ~LogLock() = default;
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
    LogLock(LogLock&&) = delete;
    LogLock& operator=(LogLock&&) = delete;
};

/// The storage for logs. Paths are absolute and may contain any byte except zero. Any thread may
/// call every member.
class LogFiles {
public:
    static constexpr const char* portName = "LogFiles";
    virtual ~LogFiles() = default;

    /// Returns whether an item exists at the path. A final link is followed: a broken one does not
    /// exist.
    virtual bool exists(const std::string& path) = 0;

    /// Creates a directory and any missing parents.
    virtual Result<void> createDirectory(const std::string& path) = 0;

    /// Deletes whatever exists at a log's path: a file, a link (never its target) or a directory
    /// with all its contents.
    virtual Result<void> removeLog(const std::string& path) = 0;

    /// Renames the item at `path` to `newPath` in one step, on the same volume only. A link is
    /// renamed itself. An existing item at `newPath` is never replaced: that is an error.
    virtual Result<void> renameLog(const std::string& path, const std::string& newPath) = 0;

    /// Like renameLog, except that a file also keeps its name at `path` until createEmptyFile()
    /// takes it: if the process is killed in between, the path is never without a log.
    virtual Result<void> setAside(const std::string& path, const std::string& newPath) = 0;

    /// Creates a new, empty file at the path in one step, replacing an existing file or link; a
    /// link is replaced, never followed.
    virtual Result<void> createEmptyFile(const std::string& path) = 0;

    /// Opens the existing file at the path for appending; returns null on failure.
    ///
    /// Only a file that nobody else could have planted is opened: a regular file that belongs to
    /// the current user or the superuser. A final link, or a second name of the file, is trusted if
    /// the link and its directory belong to one of the two and nobody else may write to the
    /// directory. A missing file is not created.
    virtual std::shared_ptr<LogFile> open(const std::string& path) = 0;

    /// Locks those of the directories that exist and can be locked. Returns null if somebody else
    /// keeps one of them locked for several seconds, longer than starting a log takes.
    virtual std::unique_ptr<LogLock> lock(const std::vector<std::string>& directories) = 0;
};

} // namespace qf
