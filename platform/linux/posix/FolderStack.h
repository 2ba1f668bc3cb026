#pragma once

#include "platform/linux/posix/Directory.h"
#include "platform/linux/posix/OpenFolder.h"

#include <concepts>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace platform::native {

/// The open folders on the way down a tree, `Folder` being FileDescriptor or Directory.
///
/// Only so many of the deepest stay open, whatever the depth; one above them is opened again,
/// through "..", when the work comes back to it. It must still be the one that the work came
/// through: others may have moved the folder below it elsewhere.
template <class Folder>
class FolderStack {
public:
    explicit FolderStack(std::size_t mostOpen) : mostOpen_(mostOpen) {}

    bool empty() const { return levels_.empty(); }
    std::size_t size() const { return levels_.size(); }

    /// Makes an open folder, whose identity is given, the deepest.
    SystemResult<void> push(FileDescriptor folder, const Identity& identity) {
        auto made = folderOf(std::move(folder));
        if (!made) {
            return Unexpected(made.error());
        }
        levels_.push_back({*std::move(made), identity});
        if (levels_.size() > mostOpen_) {
            levels_[levels_.size() - 1 - mostOpen_].folder.reset();
        }
        return {};
    }

    /// The deepest folder. There must be one.
    Folder& top() { return *levels_.back().folder; }
    int descriptor() const { return descriptorOf(*levels_.back().folder); }

    /// Sees that the folder above the deepest is open. ESTALE means that it is another one than
    /// the work came through. Without effect for the last one.
    SystemResult<void> reopenAbove() {
        if (levels_.size() < 2 || above().folder) {
            return {};
        }
        auto folder = openFolderAbove(descriptor(), above().identity);
        if (!folder) {
            return Unexpected(folder.error());
        }
        auto made = folderOf(*std::move(folder));
        if (!made) {
            return Unexpected(made.error());
        }
        above().folder = *std::move(made);
        return {};
    }

    /// The folder above the deepest, once reopenAbove() has succeeded. There must be one.
    int descriptorAbove() const { return descriptorOf(*levels_[levels_.size() - 2].folder); }

    /// Leaves the deepest folder, once reopenAbove() has succeeded.
    void pop() { levels_.pop_back(); }

private:
    struct Level {
        std::optional<Folder> folder; ///< Empty while the work is far below.
        Identity identity;
    };

    Level& above() { return levels_[levels_.size() - 2]; }

    static SystemResult<FileDescriptor>
    folderOf(FileDescriptor folder) requires std::same_as<Folder, FileDescriptor> {
        return folder;
    }
    static SystemResult<Directory>
    folderOf(FileDescriptor folder) requires std::same_as<Folder, Directory> {
        return Directory::of(std::move(folder));
    }
    static int descriptorOf(const FileDescriptor& folder) { return folder.get(); }
    static int descriptorOf(const Directory& folder) { return folder.descriptor(); }

    std::size_t mostOpen_;
    std::vector<Level> levels_;
};

} // namespace platform::native
