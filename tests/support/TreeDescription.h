#pragma once

#include <string>
#include <vector>

/// Returns a description of an item: a line for itself and for each item in it, with its relative
/// path, kind, mode, owner, modification date, size, content or link target, and the `user.`
/// extended attributes. Empty for a missing item. Two items are alike if their descriptions are.
std::vector<std::string> description(const std::string& path);

/// Returns the names in a directory that are not in `expected`.
std::vector<std::string> strangers(const std::string& directory,
                                   const std::vector<std::string>& expected);

/// Makes a directory of a few entries, one of each kind that an ordinary user can make.
void makeSampleTree(const std::string& path);

/// Makes as many nested directories named "folder" as there are levels below a new directory at
/// `path`, and a file named "file" beside each.
void makeDeepTree(const std::string& path, int levels);

/// Returns the number of nested directories named "folder" below the one at `path`.
int depthOf(const std::string& path);

/// A fresh directory in memory, which is faster than a temporary directory and usually on another
/// volume; deleted with all its contents at the end of the scope. If there is no file system in
/// memory, a temporary directory.
class MemoryDirectory {
public:
    MemoryDirectory();
    ~MemoryDirectory();
    MemoryDirectory(const MemoryDirectory&) = delete;
    MemoryDirectory& operator=(const MemoryDirectory&) = delete;
    MemoryDirectory(MemoryDirectory&&) = delete;
    MemoryDirectory& operator=(MemoryDirectory&&) = delete;

    /// Returns why it is not on another volume than temporary directories; empty if it is.
    const std::string& whyNoOtherVolume() const { return whyNoOtherVolume_; }

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

private:
    std::string path_;
    std::string whyNoOtherVolume_;
};
