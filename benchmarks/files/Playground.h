#pragma once

#include <string>
#include <vector>

/// A directory of the benchmark's own, which is the home directory of this process and its tools;
/// deleted with all that is in it at the scope's end. It is made in TMPDIR, else in /tmp.
class Playground {
public:
    Playground();
    ~Playground();
    Playground(const Playground&) = delete;
    Playground& operator=(const Playground&) = delete;
    Playground(Playground&&) = delete;
    Playground& operator=(Playground&&) = delete;

    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

    /// The user's Trash.
    std::string trash() const { return *this / ".Trash"; }

    void emptyTrash() const;

    /// Makes empty files in a directory, which is made too.
    void makeFiles(const std::string& directory, const std::vector<std::string>& names) const;

    /// Makes a tree of files of 0 to 8 KiB, 50 to a directory, unless it stands already.
    void makeTree(const std::string& directory, int count) const;

private:
    std::string path_;
};

/// A directory on another volume than the playground's, deleted with all that is in it at the
/// scope's end. Throws std::runtime_error where there is none: QF_OTHER_VOLUME names a directory
/// there, else it is /dev/shm.
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
