#pragma once

#include <string>
#include <string_view>

/// A fresh directory of a test's own, deleted with all that is in it at the scope's end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    TemporaryDirectory(TemporaryDirectory&&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;

    /// The directory's absolute path, links resolved, without a trailing slash.
    const std::string& path() const { return path_; }

    /// The path of something inside the directory.
    std::string operator/(std::string_view name) const;

    /// Writes a file, making the directories that lead to it, and gives its path.
    std::string write(std::string_view name, std::string_view content = "") const;

    /// Makes a directory with all that lead to it, and gives its path.
    std::string makeDirectory(std::string_view name) const;

private:
    std::string path_;
};

/// Whether anything is at a path; of a link, the link itself.
bool stands(const std::string& path);

/// What is in a file; the test fails when it cannot be read.
std::string contentOf(const std::string& path);
