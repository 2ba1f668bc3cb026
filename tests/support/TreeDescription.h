#pragma once

#include <string>
#include <vector>

/// What an item holds and is: a line for itself and for each that is in it, with its path inside,
/// kind, mode, owner, date of the last change, size, content or link text, and the `user.` extended
/// attributes. Nothing for a missing item. Two items are alike when their descriptions are.
std::vector<std::string> description(const std::string& path);

/// The names in a directory that are not in `expected`.
std::vector<std::string> strangers(const std::string& directory,
                                   const std::vector<std::string>& expected);

/// A directory of a few entries, one of each kind that an ordinary user can make.
void makeSampleTree(const std::string& path);

/// Makes directories named "folder" inside one another, as many as there are levels, below a new
/// directory at `path`, and a file named "file" beside each.
void makeDeepTree(const std::string& path, int levels);

/// How many directories named "folder" are inside one another below the one at `path`.
int depthOf(const std::string& path);

/// A fresh directory in memory, which is quicker than a temporary directory and as a rule on
/// another volume; deleted with all that is in it at the scope's end. Where there is no memory to
/// be had, a temporary directory.
class MemoryDirectory {
public:
    MemoryDirectory();
    ~MemoryDirectory();
    MemoryDirectory(const MemoryDirectory&) = delete;
    MemoryDirectory& operator=(const MemoryDirectory&) = delete;
    MemoryDirectory(MemoryDirectory&&) = delete;
    MemoryDirectory& operator=(MemoryDirectory&&) = delete;

    /// Why it is not on another volume than temporary directories; empty when it is.
    const std::string& whyNoOtherVolume() const { return whyNoOtherVolume_; }

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

private:
    std::string path_;
    std::string whyNoOtherVolume_;
};
