#pragma once

#include <string>
#include <vector>

/// The benchmark's own directory, in TMPDIR or else in /tmp. It is the home directory of this
/// process and its tools, and is deleted with its contents at the scope's end.
class Playground {
public:
    Playground();
    ~Playground();
    Playground(const Playground&) = delete;
    Playground& operator=(const Playground&) = delete;
    Playground(Playground&&) = delete;
    Playground& operator=(Playground&&) = delete;

    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

    /// Returns the user's Trash.
    std::string trash() const { return *this / ".Trash"; }

    /// Moves the home trash away without deleting what is in it: for some seconds, ext4 looks for
    /// inodes beside those that were just deleted, which would be measured, too.
    void setTrashAside();

    /// Creates a directory with empty files.
    void makeFiles(const std::string& directory, const std::vector<std::string>& names) const;

    /// Creates a tree of files of 0 to 8 KiB, 50 in each directory, unless it exists.
    void makeTree(const std::string& directory, int count) const;

private:
    std::string path_;
    int trashesUsed_ = 0;
};

/// A directory on another volume than the playground's, deleted with its contents at the scope's
/// end. QF_OTHER_VOLUME names a directory on that volume; the default is /dev/shm. Throws
/// std::runtime_error if it is not another volume.
class OtherVolume {
public:
    OtherVolume();
    ~OtherVolume();
    OtherVolume(const OtherVolume&) = delete;
    OtherVolume& operator=(const OtherVolume&) = delete;
    OtherVolume(OtherVolume&&) = delete;
    OtherVolume& operator=(OtherVolume&&) = delete;

    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

    const std::string& description() const { return parent_; }

private:
    std::string parent_;
    std::string path_;
};
