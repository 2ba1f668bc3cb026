#pragma once

#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <concepts>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace qf::native {

/// The open directories on the way down a tree, `Handle` being FileDescriptor or DirectoryReader.
///
/// Only a limited number of the deepest stay open, whatever the depth; one above them is reopened
/// through ".." when the work returns to it. It must still be the one that the work came through:
/// others may have moved the directory below it elsewhere.
template <class Handle>
class DirectoryStack {
public:
    explicit DirectoryStack(std::size_t mostOpen) : mostOpen_(mostOpen) {}

    bool empty() const { return levels_.empty(); }
    std::size_t size() const { return levels_.size(); }

    /// Makes an open directory, whose identity is `identity`, the deepest.
    SystemResult<void> push(FileDescriptor directory, const FileId& identity) {
        auto made = directoryOf(std::move(directory));
        if (!made) {
            return Unexpected(made.error());
        }
        levels_.push_back({*std::move(made), identity});
        if (levels_.size() > mostOpen_) {
            levels_[levels_.size() - 1 - mostOpen_].directory.reset();
        }
        return {};
    }

    /// Returns the deepest directory, which must exist.
    Handle& top() { return *levels_.back().directory; }
    int descriptor() const { return descriptorOf(*levels_.back().directory); }

    /// Reopens the directory above the deepest if it is not open. ESTALE means that it is not the
    /// one that the work came through. Does nothing for the last one.
    SystemResult<void> reopenAbove() {
        if (levels_.size() < 2 || above().directory) {
            return {};
        }
        auto directory = openDirectoryAbove(descriptor(), above().identity);
        if (!directory) {
            return Unexpected(directory.error());
        }
        auto made = directoryOf(*std::move(directory));
        if (!made) {
            return Unexpected(made.error());
        }
        above().directory = *std::move(made);
        return {};
    }

    /// Returns the directory above the deepest, which must exist, once reopenAbove() has succeeded.
    int descriptorAbove() const { return descriptorOf(*levels_[levels_.size() - 2].directory); }

    /// Leaves the deepest directory, once reopenAbove() has succeeded.
    void pop() { levels_.pop_back(); }

private:
    struct Level {
        std::optional<Handle> directory; ///< Empty while the work is far below it.
        FileId identity;
    };

    Level& above() { return levels_[levels_.size() - 2]; }

    static SystemResult<FileDescriptor>
    directoryOf(FileDescriptor directory) requires std::same_as<Handle, FileDescriptor> {
        return directory;
    }
    static SystemResult<DirectoryReader>
    directoryOf(FileDescriptor directory) requires std::same_as<Handle, DirectoryReader> {
        return DirectoryReader::of(std::move(directory));
    }
    static int descriptorOf(const FileDescriptor& directory) { return directory.get(); }
    static int descriptorOf(const DirectoryReader& directory) { return directory.descriptor(); }

    std::size_t mostOpen_;
    std::vector<Level> levels_;
};

} // namespace qf::native
