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

/// A directory that is open for reading its entries. Not shared between threads.
class DirectoryReader {
public:
    /// Takes a directory that is open for reading.
    static SystemResult<DirectoryReader> of(FileDescriptor directory);

    /// The directory's descriptor, which stays the directory's.
    int descriptor() const { return ::dirfd(stream_.get()); }

    /// The next entry except "." and ".."; nothing at the end.
    SystemResult<std::optional<DirectoryEntry>> next();

    /// Starts reading again.
    void rewind() { ::rewinddir(stream_.get()); }

private:
    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };
    explicit DirectoryReader(DIR* stream) : stream_(stream) {}

    std::unique_ptr<DIR, Close> stream_;
};

} // namespace platform::native
