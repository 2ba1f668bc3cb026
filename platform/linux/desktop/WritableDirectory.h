#pragma once

#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/ItemPlace.h"

#include <sys/types.h>

#include <string>

namespace qf::native {

/// A directory of the user's own without write permission, which has it for the moment of a rename:
/// the kernel demands it to give a directory another parent. A record on disk lets another process
/// restore the mode if this one is killed.
class WritableDirectory {
public:
    /// Makes the item writable, and writes the record into the open directory `records`. `path` is
    /// the item's path, `newName` the name that it is about to get. EACCES if it is not a directory
    /// of the user's own without write permission, or if that would not let the user move it.
    static SystemResult<WritableDirectory> make(const ItemPlace& item, const std::string& path,
                                                int records, const std::string& newName);

    /// Restores the mode after an attempt to move the directory from one entry to another: wherever
    /// it is now, or of both if it was copied and could not be removed.
    void restore(const SystemResult<void>& moved, const EntryRef& source,
                 const EntryRef& destination) const;

    /// Restores the mode that an abandoned record is about, if the file is one. The directory has
    /// its new name in the open directory `destination`, or is at the recorded path, or there is a
    /// copy at that path too.
    static void restoreRecorded(const FileDescriptor& record, int destination);

private:
    WritableDirectory(TemporaryItem record, mode_t mode)
        : record_(std::move(record)), mode_(mode) {}

    TemporaryItem record_;
    mode_t mode_;
};

} // namespace qf::native
