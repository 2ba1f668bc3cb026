#pragma once

#include <string>
#include <string_view>

/// A fresh directory for a test, deleted with all its contents at the end of the scope.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    TemporaryDirectory(TemporaryDirectory&&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;

    /// Returns the directory's absolute path, links resolved, without a trailing slash.
    const std::string& path() const { return path_; }

    /// Returns the path of an item inside the directory.
    std::string operator/(std::string_view name) const;

    /// Writes a file, creating its parent directories, and returns its path.
    std::string write(std::string_view name, std::string_view content = "") const;

    /// Creates a directory and its parents, and returns its path.
    std::string makeDirectory(std::string_view name) const;

private:
    std::string path_;
};

/// Returns whether an item exists at a path. A final link is not followed.
bool exists(const std::string& path);

/// Returns the content of a file; the test fails if it cannot be read.
std::string contentOf(const std::string& path);
