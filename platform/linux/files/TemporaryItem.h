#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <string>
#include <utility>

namespace platform::native {

/// An empty file or directory with a hidden name of its own, in which something grows until it gets
/// the name that it is for. It is locked while this process works on it, so that what a killed
/// process left behind is told from what another one works on. Not shared between threads.
class TemporaryItem {
public:
    /// Makes one in the open directory `directory`, for the name `purpose`: a file or a directory,
    /// as `mode` says (S_IFREG | 0600), with its permissions less the umask. One that a killed
    /// process left there for the same name is deleted first.
    static SystemResult<TemporaryItem> make(int directory, const std::string& purpose, mode_t mode);

    /// Deletes the item with all that is in it, unless it has been renamed.
    ~TemporaryItem();

    TemporaryItem(TemporaryItem&& other) noexcept
        : directory_(other.directory_), purpose_(std::move(other.purpose_)),
          name_(std::exchange(other.name_, {})), item_(std::move(other.item_)) {}
    TemporaryItem(const TemporaryItem&) = delete;
    TemporaryItem& operator=(const TemporaryItem&) = delete;
    TemporaryItem& operator=(TemporaryItem&&) = delete;

    /// The item, open for reading and, when it is a file, for writing.
    const FileDescriptor& item() const { return item_; }

    /// Gives the item the name that it is for. What stands there is never replaced: EEXIST.
    SystemResult<void> rename();

    /// As rename(), but a file that stands there, or an empty directory where this is one, goes.
    SystemResult<void> replace();

    /// Takes the given name back, when the item is to be deleted after all.
    void takeBack();

private:
    TemporaryItem(int directory, std::string purpose)
        : directory_(directory), purpose_(std::move(purpose)) {}

    SystemResult<void> claim(const std::string& name, mode_t mode);
    bool removeAbandoned(const std::string& name) const;
    SystemResult<void> renamed(const SystemResult<void>& result);

    int directory_;
    std::string purpose_;
    std::string name_; ///< Empty when there is nothing to delete.
    FileDescriptor item_;
};

} // namespace platform::native
