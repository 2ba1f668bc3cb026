#pragma once

#include "platform/FileSystem.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <dirent.h>
#include <sys/types.h>

#include <memory>
#include <optional>

namespace qf::native {

/// Returns the kind of item that an inode's mode describes.
ItemKind itemKind(mode_t mode);

/// A directory that is open for reading its entries. Not shared between threads.
class DirectoryReader {
public:
    /// Makes a reader of a directory that is open for reading.
    static SystemResult<DirectoryReader> of(FileDescriptor directory);

    /// Returns the directory's descriptor, which the reader still owns.
    int descriptor() const { return ::dirfd(stream_.get()); }

    /// Returns the next entry except "." and ".."; nullopt at the end.
    SystemResult<std::optional<DirectoryEntry>> next();

    /// Starts reading from the beginning again.
    void rewind() { ::rewinddir(stream_.get()); }

private:
    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };
    explicit DirectoryReader(DIR* stream) : stream_(stream) {}

    std::unique_ptr<DIR, Close> stream_;
};

} // namespace qf::native
