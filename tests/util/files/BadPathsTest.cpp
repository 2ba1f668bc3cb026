#include "platform/linux/files/ExtendedAttributes.h"
#include "tests/util/files/OnDiskTest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// Does without the superuser's power for a scope.
class OrdinaryUser {
public:
    OrdinaryUser() { static_cast<void>(::seteuid(nobody)); }
    ~OrdinaryUser() { static_cast<void>(::seteuid(::getuid())); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    OrdinaryUser(OrdinaryUser&&) = delete;
    OrdinaryUser& operator=(OrdinaryUser&&) = delete;

private:
    static constexpr uid_t nobody = 65534;
};

/// Paths at which nothing is or can be.
class BadPaths : public OnDiskTest {
protected:
    BadPaths() {
        fs::create_symlink("loop", directory / "loop");
        directory.write("file", "content");
        refuseTheRight();
    }

    Lines badPaths() const {
        return {
            directory / "missing",
            directory / "missing/below",
            "",
            "a relative path at which nothing is",
            std::string(5000, 'x'),
            "/" + std::string(5000, 'x'),
            directory.path() + "/" + std::string(256, 'x'),
            directory / "loop",
            directory / "loop/below",
            directory / "file/below",
            // which leads to the file if the system takes the zero byte for the end
            directory / "file" + std::string("\0.tmp", 5),
        };
    }

    platform::native::ExtendedAttributes attributes;

private:
    platform::ScopedService<platform::ExtendedAttributes> attributesScope_{attributes};
};

} // namespace

TEST_F(BadPaths, NothingIsAtThem) {
    for (const auto& path : badPaths()) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::fileExistsAtPath(path));
        EXPECT_FALSE(QFFileManager::isDirectoryAtPath(path));
        EXPECT_FALSE(QFFileManager::isPackageAtPath(path));
        EXPECT_FALSE(QFFileManager::isFileLocked(path));
        EXPECT_FALSE(QFFileManager::fileIsOpenForWriting(path));
        EXPECT_EQ(QFFileManager::uniqueFilename(path), path);
        if (path != directory / "loop") {
            EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(path));
            EXPECT_EQ(QFFileManager::modificationDateForFile(path), std::nullopt);
            EXPECT_EQ(QFFileManager::creationDateForFile(path), std::nullopt);
            EXPECT_EQ(QFFileManager::fileSize(path), 0U);
        }
    }
}

TEST_F(BadPaths, ALoopOfLinksIsALink) {
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(directory / "loop"));
    EXPECT_EQ(QFFileManager::fileSize(directory / "loop"), 4U);
}

TEST_F(BadPaths, RemovingAndTrashingThemIsDone) {
    for (const auto& path : badPaths()) {
        SCOPED_TRACE(path);
        EXPECT_TRUE(QFFileManager::trashFile(path));
        EXPECT_TRUE(QFFileManager::trashFile(path, 5));
        EXPECT_TRUE(QFFileManager::removeFile(path));
        EXPECT_TRUE(QFFileManager::removeFile(path, 5));
        EXPECT_TRUE(QFFileManager::trashDirectoryContents(path));
        EXPECT_EQ(QFFileManager::trashFilesOfType("txt", path), Lines{});
        EXPECT_EQ(QFFileManager::trashFilesNamed("a", path), Lines{});
        EXPECT_TRUE(QFFileManager::isFolderEmpty(path));
        EXPECT_TRUE(QFFileManager::removeFolderIfEmpty(path));
    }
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_TRUE(fs::is_symlink(directory / "loop"));
}

TEST_F(BadPaths, NothingIsMovedOrCopiedFromThem) {
    for (const auto& path : badPaths()) {
        if (path == directory / "loop") {
            continue; // a link, which can be moved and copied
        }
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::moveFile(path, directory / "new"));
        EXPECT_FALSE(QFFileManager::moveFile(path, directory / "new", 5));
        EXPECT_FALSE(QFFileManager::copyFile(path, directory / "new"));
        EXPECT_FALSE(QFFileManager::copyFile(path, directory / "new", 5));
        EXPECT_TRUE(QFFileManager::copyContentsOfDirectory(path, directory.path(), 5));
    }
    EXPECT_FALSE(fs::exists(directory / "new"));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(BadPaths, NothingIsMovedOrCopiedToThem) {
    for (const auto& path : badPaths()) {
        if (path == directory / "missing" || path.starts_with("a relative")) {
            continue; // where something can be put
        }
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::moveFile(directory / "file", path, ShouldAuth::no));
        EXPECT_FALSE(QFFileManager::copyFile(directory / "file", path, ShouldAuth::no));
        EXPECT_FALSE(QFFileManager::compressFile(directory / "file", path));
        EXPECT_FALSE(QFFileManager::decompressFile(directory / "file", path));
        EXPECT_EQ(contentOf(directory / "file"), "content");
    }
}

TEST_F(BadPaths, NoDirectoryAndNoFileIsMadeAtThem) {
    account.temporary = directory.makeDirectory("temporary");
    for (const auto& path : badPaths()) {
        if (path.starts_with(directory / "missing") || path.starts_with("a relative")) {
            continue; // where one can be made
        }
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::createDirectory(path));
        EXPECT_FALSE(QFFileManager::createDirectory(path, 5));
        EXPECT_FALSE(QFFileManager::createEmptyFile(path));
    }
}

TEST_F(BadPaths, TheirAttributesCannotBeSet) {
    for (const auto& path : badPaths()) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::setModificationDate(pauses.now(), path));
        EXPECT_FALSE(QFFileManager::touchFile(path));
        EXPECT_FALSE(QFFileManager::touchFile(path, SetCreationDate::yes));
        EXPECT_EQ(QFFileManager::metadataValueForKey("key", path), std::nullopt);
        EXPECT_FALSE(QFFileManager::setMetadataValue("value", "key", path));
        loggedLines();
        QFFileManager::setPosixPermissions(0644, path);
        EXPECT_EQ(loggedLines().size(), 1U);
    }
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(BadPaths, WhatCannotBeLockedLeavesOneLineEach) {
    for (const auto& path : badPaths()) {
        SCOPED_TRACE(path);
        QFFileManager::lockFile(path);
        const auto lines = loggedLines();
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_TRUE(lines[0].starts_with("Unable to unlock file " + path + ": ")) << lines[0];
        QFFileManager::lockFolder(path);
        QFFileManager::unlockFolder(path);
        EXPECT_EQ(loggedLines(), Lines{});
    }
}

TEST_F(BadPaths, NoWildcardLeadsThroughThem) {
    for (const auto& path : badPaths()) {
        SCOPED_TRACE(path);
        EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*", path), Lines{});
        EXPECT_EQ(QFFileManager::filesMatchingWildcardPath(path + "/*/x", directory.path()),
                  Lines{});
    }
}

TEST_F(BadPaths, AWaitForThemPausesOnce) {
    for (const auto& path : badPaths()) {
        SCOPED_TRACE(path);
        pauses.rests.clear();
        QFFileManager::waitForFileCreation(path, 5);
        EXPECT_EQ(pauses.rests.size(), 1U);
    }
}

TEST_F(BadPaths, NoFileIsMovedToWhereADirectoryIs) {
    const auto sub = directory.makeDirectory("sub");
    EXPECT_FALSE(QFFileManager::moveFile(directory / "file", sub, ShouldAuth::no));
    EXPECT_TRUE(fs::is_empty(sub));
    EXPECT_EQ(contentOf(directory / "file"), "content");
}

TEST_F(BadPaths, NoDirectoryIsMadeWhereAFileIs) {
    EXPECT_FALSE(QFFileManager::createDirectory(directory / "file", ShouldAuth::no));
    EXPECT_EQ(contentOf(directory / "file"), "content");
}

TEST_F(BadPaths, ADirectoryWithoutFilesHasNoSize) {
    EXPECT_EQ(QFFileManager::fileSize(directory.makeDirectory("sub")), 0U);
}

TEST_F(BadPaths, AFileIsADirectoryWithNothingInIt) {
    EXPECT_TRUE(QFFileManager::isFolderEmpty(directory / "file"));
}

TEST_F(BadPaths, WhatTheUserMayNotChangeStaysAndIsLogged) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make what the user may not change";
    }
    const auto theirs = directory.write("theirs/file", "content");
    const auto closed = directory.makeDirectory("closed");
    directory.write("closed/file", "content");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(closed.c_str(), 0700), 0);
    loggedLines();

    const OrdinaryUser user;
    EXPECT_FALSE(QFFileManager::removeFile(theirs, ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::moveFile(theirs, directory / "new", ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::copyFile(theirs, directory / "new", ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::createDirectory(directory / "new", ShouldAuth::no));
    QFFileManager::setPosixPermissions(0777, theirs);
    EXPECT_EQ(loggedLines().size(), 5U);
    EXPECT_FALSE(QFFileManager::setModificationDate(pauses.now(), theirs));
    EXPECT_FALSE(QFFileManager::touchFile(theirs));
    EXPECT_EQ(QFFileManager::fileSize(closed), 0U);
    EXPECT_TRUE(QFFileManager::isFolderEmpty(closed));
    EXPECT_TRUE(QFFileManager::trashDirectoryContents(closed));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*", closed), Lines{});
    EXPECT_EQ(contentOf(theirs), "content");
}
