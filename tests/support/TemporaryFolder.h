#pragma once

#include <string>
#include <string_view>

/// A fresh folder of a test's own, deleted with all that is in it at the scope's end.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    TemporaryFolder(TemporaryFolder&&) = delete;
    TemporaryFolder& operator=(TemporaryFolder&&) = delete;

    /// The folder's absolute path, links resolved, without a trailing slash.
    const std::string& path() const { return path_; }

    /// The path of something inside the folder.
    std::string operator/(std::string_view name) const;

    /// Writes a file, making the folders that lead to it, and gives its path.
    std::string write(std::string_view name, std::string_view content = "") const;

    /// Makes a folder with all that lead to it, and gives its path.
    std::string makeFolder(std::string_view name) const;

private:
    std::string path_;
};

/// Whether anything is at a path; of a link, the link itself.
bool stands(const std::string& path);

/// What is in a file; the test fails when it cannot be read.
std::string contentOf(const std::string& path);
