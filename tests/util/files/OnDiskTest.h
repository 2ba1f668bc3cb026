#pragma once

#include "platform/linux/files/FileSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/util/files/FileManagerTest.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

/// The disk, counting the queries.
class WatchedFileSystem : public qf::native::FileSystem {
public:
    std::map<std::string, int> looks;

    bool exists(const std::string& path) override {
        look("exists");
        return FileSystem::exists(path);
    }
    bool isDirectory(const std::string& path) override {
        look("isDirectory");
        return FileSystem::isDirectory(path);
    }
    std::optional<qf::FileId> fileIdOfItem(const std::string& path) override {
        look("identity");
        return FileSystem::fileIdOfItem(path);
    }
    std::optional<qf::ItemAttributes> attributesOfItem(const std::string& path) override {
        look("attributes");
        return FileSystem::attributesOfItem(path);
    }
    std::optional<std::vector<qf::DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override {
        look("contents");
        return FileSystem::contentsOfDirectory(path);
    }
    std::optional<std::vector<qf::DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override {
        look("sizes");
        return FileSystem::contentsOfDirectoryWithSizes(path);
    }

private:
    void look(const std::string& what) {
        const std::lock_guard lock(mutex_);
        ++looks[what];
    }

    std::mutex mutex_;
};

/// Real files in a directory of the test's own; the Trash is still a double.
class OnDiskTest : public FileManagerTest {
protected:
    TemporaryDirectory directory;
    WatchedFileSystem onDisk;

private:
    qf::ScopedService<qf::FileSystem> onDiskScope_{onDisk};
};
