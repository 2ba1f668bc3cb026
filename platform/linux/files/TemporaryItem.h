#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace qf::native {

/// Returns whether that moment is over a day ago.
bool isOverADayAgo(std::time_t moment);

/// Locks an open item unless somebody works on it. Returns whether nobody does: on a volume that
/// knows no locks, because the item was last changed, at the moment `changed`, over a day ago.
bool lockIfAbandoned(const FileDescriptor& item, std::time_t changed);

/// A new file or directory with a hidden name, which is filled and then renamed to its final name.
/// It is locked while this process works on it, so that the remains of a killed process can be told
/// from the work of a live one. One that the superuser makes where others may rename it has a mark
/// that only the superuser can set, so that nothing else of the superuser's is taken for a remain;
/// on a volume that keeps no such mark, remains stay. Not shared between threads.
class TemporaryItem {
public:
    /// Makes one in the open directory `directory`, for the final name `purpose`: a file or a
    /// directory, depending on `mode` (such as S_IFREG | 0600), with its permissions less the
    /// umask. Deletes one that a killed process left there for the same name first.
    static SystemResult<TemporaryItem> make(int directory, const std::string& purpose, mode_t mode);

    /// Shows an item, open for reading, and its hidden name; the answer is whether to delete it.
    using Examine = std::function<bool(const FileDescriptor& item, const std::string& name)>;

    /// Makes an empty file that marks some work as unfinished, and is never renamed. Its hidden
    /// name has another form.
    static SystemResult<TemporaryItem> makeMark(int directory, const std::string& purpose);

    /// Returns whether an item with this hidden name is a mark.
    static bool isMark(const std::string& name);

    /// Deletes those that killed processes left in the open directory, for whatever names, and for
    /// which `examine` returns true.
    static void removeAbandoned(int directory, const Examine& examine);

    /// Likewise, all that are no marks.
    static void removeAbandonedCopies(int directory);

    /// Takes over the mark that a killed process left in the directory for the same purpose;
    /// nullopt if there is none.
    static std::optional<TemporaryItem> adoptMark(int directory, const std::string& purpose);

    /// Deletes the item with all its contents, unless it has been renamed.
    ~TemporaryItem();

    TemporaryItem(TemporaryItem&& other) noexcept
        : directory_(other.directory_), purpose_(std::move(other.purpose_)),
          name_(std::exchange(other.name_, {})), item_(std::move(other.item_)),
          isMarked_(other.isMarked_) {}
    TemporaryItem(const TemporaryItem&) = delete;
    TemporaryItem& operator=(const TemporaryItem&) = delete;
    TemporaryItem& operator=(TemporaryItem&&) = delete;

    /// Returns the item, open for reading and, if it is a file, for writing.
    const FileDescriptor& item() const { return item_; }

    /// Renames the item to its final name. An existing item there is never replaced: EEXIST.
    SystemResult<void> rename() { return rename(purpose_); }

    /// Like rename(), but to another final name than the one that it was made for.
    SystemResult<void> rename(const std::string& name);

    /// Like rename(), but replaces an existing file or, if this is a directory, an empty directory.
    SystemResult<void> replace();

    /// Keeps the item under its hidden name, for whoever adopts or removes abandoned ones.
    void leave() {
        name_.clear();
        item_.reset();
    }

    /// Undoes the rename, if the item is to be deleted after all or is to get another name.
    void takeBack();

private:
    TemporaryItem(int directory, std::string purpose)
        : directory_(directory), purpose_(std::move(purpose)) {}

    SystemResult<void> claimAny(std::string_view prefix, mode_t mode);
    SystemResult<void> claim(const std::string& name, mode_t mode);
    SystemResult<void> removeMark();
    SystemResult<void> renamed(const std::string& name, const SystemResult<void>& result);

    int directory_;
    std::string purpose_; ///< The final name, once the item has it.
    std::string name_;    ///< Empty if there is nothing to delete.
    FileDescriptor item_;
    bool isMarked_ = false; ///< As the superuser's.
};

} // namespace qf::native
