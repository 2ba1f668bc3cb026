#include "platform/linux/files/ExtendedAttributes.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
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

    qf::native::ExtendedAttributes attributes;

private:
    qf::ScopedService<qf::ExtendedAttributes> attributesScope_{attributes};
};

class BadPath : public BadPaths, public testing::WithParamInterface<NamedText> {
protected:
    std::string path() const { return casePath(directory, GetParam().value); }
};

/// Not even a link is there.
class BadSource : public BadPath {};
/// Nothing can be put there.
class BadDestination : public BadPath {};
/// Nothing can be made there, whatever is missing on the way.
class BadPlace : public BadPath {};

const NamedText missingPath{{"Missing"}, "DIR/missing"};
const NamedText pathBelowMissing{{"BelowMissing"}, "DIR/missing/below"};
const NamedText relativePath{{"Relative"}, "a relative path at which nothing is"};
const NamedText linkToItself{{"Loop"}, "DIR/loop"};
const auto impossiblePaths = testing::Values(
    NamedText{{"Empty"}, ""}, NamedText{{"LongRelative"}, std::string(5000, 'x')},
    NamedText{{"Long"}, "/" + std::string(5000, 'x')},
    NamedText{{"LongName"}, "DIR/" + std::string(256, 'x')},
    NamedText{{"BelowALoop"}, "DIR/loop/below"}, NamedText{{"BelowAFile"}, "DIR/file/below"},
    // which leads to the file if the system takes the zero byte for the end
    NamedText{{"ZeroByte"}, std::string("DIR/file\0.tmp", 13)});
const auto possiblePaths =
    testing::Values(missingPath, pathBelowMissing, relativePath, linkToItself);

} // namespace

TEST_P(BadPath, HasNothing) {
    EXPECT_FALSE(QFFileManager::fileExistsAtPath(path()));
    EXPECT_FALSE(QFFileManager::isDirectoryAtPath(path()));
    EXPECT_FALSE(QFFileManager::isPackageAtPath(path()));
    EXPECT_FALSE(QFFileManager::isFileLocked(path()));
    EXPECT_FALSE(QFFileManager::fileIsOpenForWriting(path()));
    EXPECT_EQ(QFFileManager::uniqueFilename(path()), path());
}

TEST_P(BadSource, HasNoLinkAndNoDates) {
    EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(path()));
    EXPECT_EQ(QFFileManager::modificationDateForFile(path()), std::nullopt);
    EXPECT_EQ(QFFileManager::creationDateForFile(path()), std::nullopt);
    EXPECT_EQ(QFFileManager::fileSize(path()), 0U);
}

TEST_F(BadPaths, ALoopOfLinksIsALink) {
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(directory / "loop"));
    EXPECT_EQ(QFFileManager::fileSize(directory / "loop"), 4U);
}

TEST_P(BadPath, IsRemovedAndTrashed) {
    EXPECT_TRUE(QFFileManager::trashFile(path()));
    EXPECT_TRUE(QFFileManager::trashFile(path(), 5));
    EXPECT_TRUE(QFFileManager::removeFile(path()));
    EXPECT_TRUE(QFFileManager::removeFile(path(), 5));
    EXPECT_TRUE(QFFileManager::trashDirectoryContents(path()));
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", path()), Lines{});
    EXPECT_EQ(QFFileManager::trashFilesNamed("a", path()), Lines{});
    EXPECT_TRUE(QFFileManager::isFolderEmpty(path()));
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty(path()));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_TRUE(fs::is_symlink(directory / "loop"));
}

TEST_P(BadSource, IsNeitherMovedNorCopied) {
    EXPECT_FALSE(QFFileManager::moveFile(path(), directory / "new"));
    EXPECT_FALSE(QFFileManager::moveFile(path(), directory / "new", 5));
    EXPECT_FALSE(QFFileManager::copyFile(path(), directory / "new"));
    EXPECT_FALSE(QFFileManager::copyFile(path(), directory / "new", 5));
    EXPECT_TRUE(QFFileManager::copyContentsOfDirectory(path(), directory.path(), 5));
    EXPECT_FALSE(fs::exists(directory / "new"));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_P(BadDestination, GetsNothing) {
    EXPECT_FALSE(QFFileManager::moveFile(directory / "file", path(), qf::ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::copyFile(directory / "file", path(), qf::ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::compressFile(directory / "file", path()));
    EXPECT_FALSE(QFFileManager::decompressFile(directory / "file", path()));
    EXPECT_EQ(contentOf(directory / "file"), "content");
}

TEST_P(BadPlace, GetsNoDirectoryAndNoFile) {
    account.temporary = directory.makeDirectory("temporary");
    EXPECT_FALSE(QFFileManager::createDirectory(path()));
    EXPECT_FALSE(QFFileManager::createDirectory(path(), 5));
    EXPECT_FALSE(QFFileManager::createEmptyFile(path()));
}

TEST_P(BadPath, GetsNoAttributes) {
    EXPECT_FALSE(QFFileManager::setModificationDate(pauses.now(), path()));
    EXPECT_FALSE(QFFileManager::touchFile(path()));
    EXPECT_FALSE(QFFileManager::touchFile(path(), qf::SetCreationDate::yes));
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", path()), std::nullopt);
    EXPECT_FALSE(QFFileManager::setMetadataValue("value", "key", path()));
    loggedLines();
    QFFileManager::setPosixPermissions(0644, path());
    EXPECT_EQ(loggedLines().size(), 1U);
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_P(BadPath, LeavesOneLineWhenItCannotBeLocked) {
    QFFileManager::lockFile(path());
    const auto lines = loggedLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("Unable to unlock file " + path() + ": ")) << lines[0];
    QFFileManager::lockFolder(path());
    QFFileManager::unlockFolder(path());
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_P(BadPath, HasNoMatchOfAWildcardBelow) {
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*", path()), Lines{});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath(path() + "/*/x", directory.path()), Lines{});
}

TEST_P(BadPath, IsWaitedForByOnePause) {
    QFFileManager::waitForFileCreation(path(), 5);
    EXPECT_EQ(pauses.rests.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Impossible, BadPath, impossiblePaths, nameOfCase);
INSTANTIATE_TEST_SUITE_P(Possible, BadPath, possiblePaths, nameOfCase);
INSTANTIATE_TEST_SUITE_P(Impossible, BadSource, impossiblePaths, nameOfCase);
INSTANTIATE_TEST_SUITE_P(Possible, BadSource,
                         testing::Values(missingPath, pathBelowMissing, relativePath), nameOfCase);
INSTANTIATE_TEST_SUITE_P(Impossible, BadDestination, impossiblePaths, nameOfCase);
INSTANTIATE_TEST_SUITE_P(Possible, BadDestination, testing::Values(pathBelowMissing, linkToItself),
                         nameOfCase);
INSTANTIATE_TEST_SUITE_P(Impossible, BadPlace, impossiblePaths, nameOfCase);
INSTANTIATE_TEST_SUITE_P(Possible, BadPlace, testing::Values(linkToItself), nameOfCase);

TEST_F(BadPaths, NoFileIsMovedToWhereADirectoryIs) {
    const auto sub = directory.makeDirectory("sub");
    EXPECT_FALSE(QFFileManager::moveFile(directory / "file", sub, qf::ShouldAuth::no));
    EXPECT_TRUE(fs::is_empty(sub));
    EXPECT_EQ(contentOf(directory / "file"), "content");
}

TEST_F(BadPaths, NoDirectoryIsMadeWhereAFileIs) {
    EXPECT_FALSE(QFFileManager::createDirectory(directory / "file", qf::ShouldAuth::no));
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
    EXPECT_FALSE(QFFileManager::removeFile(theirs, qf::ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::moveFile(theirs, directory / "new", qf::ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::copyFile(theirs, directory / "new", qf::ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::createDirectory(directory / "new", qf::ShouldAuth::no));
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
