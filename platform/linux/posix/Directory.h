#pragma once

#include "platform/FileSystem.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <dirent.h>
#include <sys/types.h>

#include <memory>
#include <optional>

namespace platform::native {

/// What an inode's mode says that an item is.
ItemKind itemKind(mode_t mode);

/// A folder that is open for reading its entries. Not shared between threads.
class Directory {
public:
    /// Takes an open folder. Where that is none, or cannot be read, the directory is none either
    /// and errno tells why.
    explicit Directory(FileDescriptor folder);

    explicit operator bool() const { return stream_ != nullptr; }

    /// The folder's descriptor, which stays the directory's.
    int descriptor() const { return ::dirfd(stream_.get()); }

    /// The next entry but "." and ".."; nothing at the end and on failure, which error() tells
    /// apart.
    std::optional<DirectoryEntry> next();

    /// The errno of the last next(), or 0.
    int error() const { return error_; }

    /// Starts reading again.
    void rewind() { ::rewinddir(stream_.get()); }

private:
    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };
    std::unique_ptr<DIR, Close> stream_;
    int error_ = 0;
};

} // namespace platform::native
