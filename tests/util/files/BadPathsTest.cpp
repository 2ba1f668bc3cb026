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
        fs::create_symlink("loop", folder / "loop");
        folder.write("file", "content");
        refuseTheRight();
    }

    Lines badPaths() const {
        return {
            folder / "missing",
            folder / "missing/below",
            "",
            "a relative path at which nothing is",
            std::string(5000, 'x'),
            "/" + std::string(5000, 'x'),
            folder.path() + "/" + std::string(256, 'x'),
            folder / "loop",
            folder / "loop/below",
            folder / "file/below",
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
        if (path != folder / "loop") {
            EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(path));
            EXPECT_EQ(QFFileManager::modificationDateForFile(path), std::nullopt);
            EXPECT_EQ(QFFileManager::creationDateForFile(path), std::nullopt);
            EXPECT_EQ(QFFileManager::fileSize(path), 0U);
        }
    }
}

TEST_F(BadPaths, ALoopOfLinksIsALink) {
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(folder / "loop"));
    EXPECT_EQ(QFFileManager::fileSize(folder / "loop"), 4U);
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
    EXPECT_TRUE(fs::is_symlink(folder / "loop"));
}

TEST_F(BadPaths, NothingIsMovedOrCopiedFromThem) {
    for (const auto& path : badPaths()) {
        if (path == folder / "loop") {
            continue; // a link, which can be moved and copied
        }
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::moveFile(path, folder / "new"));
        EXPECT_FALSE(QFFileManager::moveFile(path, folder / "new", 5));
        EXPECT_FALSE(QFFileManager::copyFile(path, folder / "new"));
        EXPECT_FALSE(QFFileManager::copyFile(path, folder / "new", 5));
        EXPECT_TRUE(QFFileManager::copyContentsOfDirectory(path, folder.path(), 5));
    }
    EXPECT_FALSE(fs::exists(folder / "new"));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(BadPaths, NothingIsMovedOrCopiedToThem) {
    for (const auto& path : badPaths()) {
        if (path == folder / "missing" || path.starts_with("a relative")) {
            continue; // where something can be put
        }
        SCOPED_TRACE(path);
        EXPECT_FALSE(QFFileManager::moveFile(folder / "file", path, ShouldAuth::no));
        EXPECT_FALSE(QFFileManager::copyFile(folder / "file", path, ShouldAuth::no));
        EXPECT_FALSE(QFFileManager::compressFile(folder / "file", path));
        EXPECT_FALSE(QFFileManager::decompressFile(folder / "file", path));
        EXPECT_EQ(contentOf(folder / "file"), "content");
    }
}

TEST_F(BadPaths, NoFolderAndNoFileIsMadeAtThem) {
    account.temporary = folder.makeFolder("temporary");
    for (const auto& path : badPaths()) {
        if (path.starts_with(folder / "missing") || path.starts_with("a relative")) {
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
        EXPECT_EQ(QFFileManager::filesMatchingWildcardPath(path + "/*/x", folder.path()), Lines{});
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

TEST_F(BadPaths, NoFileIsMovedToWhereAFolderIs) {
    const auto sub = folder.makeFolder("sub");
    EXPECT_FALSE(QFFileManager::moveFile(folder / "file", sub, ShouldAuth::no));
    EXPECT_TRUE(fs::is_empty(sub));
    EXPECT_EQ(contentOf(folder / "file"), "content");
}

TEST_F(BadPaths, NoFolderIsMadeWhereAFileIs) {
    EXPECT_FALSE(QFFileManager::createDirectory(folder / "file", ShouldAuth::no));
    EXPECT_EQ(contentOf(folder / "file"), "content");
}

TEST_F(BadPaths, AFolderWithoutFilesHasNoSize) {
    EXPECT_EQ(QFFileManager::fileSize(folder.makeFolder("sub")), 0U);
}

TEST_F(BadPaths, AFileIsAFolderWithNothingInIt) {
    EXPECT_TRUE(QFFileManager::isFolderEmpty(folder / "file"));
}

TEST_F(BadPaths, WhatTheUserMayNotChangeStaysAndIsLogged) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make what the user may not change";
    }
    const auto theirs = folder.write("theirs/file", "content");
    const auto closed = folder.makeFolder("closed");
    folder.write("closed/file", "content");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(closed.c_str(), 0700), 0);
    loggedLines();

    const OrdinaryUser user;
    EXPECT_FALSE(QFFileManager::removeFile(theirs, ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::moveFile(theirs, folder / "new", ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::copyFile(theirs, folder / "new", ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::createDirectory(folder / "new", ShouldAuth::no));
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
