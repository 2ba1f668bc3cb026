#include "util/files/QFFileManager.h"

#include "platform/linux/FileSystem.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// Real files in a folder of the test's own; the Trash is still a double.
class FilesOnDisk : public DescribedMachine {
protected:
    TemporaryFolder folder;

private:
    platform::native::FileSystem onDisk_;
    platform::ScopedService<platform::FileSystem> onDiskScope_{onDisk_};
};

} // namespace

TEST_F(FilesOnDisk, RemoveDeletesAFile) {
    const auto file = folder.write("file", "content");
    EXPECT_TRUE(QFFileManager::removeFile(file));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, RemoveDeletesAFolderWithAllThatIsInIt) {
    const auto outside = folder.write("outside", "kept");
    folder.write("Tool.app/Contents/MacOS/Tool");
    fs::create_symlink(outside, folder / "Tool.app/link");
    EXPECT_TRUE(QFFileManager::removeFile(folder / "Tool.app"));
    EXPECT_FALSE(fs::exists(folder / "Tool.app"));
    EXPECT_EQ(contentOf(outside), "kept");
}

TEST_F(FilesOnDisk, RemoveDeletesALinkNotWhatItLeadsTo) {
    const auto file = folder.write("file", "kept");
    fs::create_symlink(file, folder / "link");
    EXPECT_TRUE(QFFileManager::removeFile(folder / "link"));
    EXPECT_FALSE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(contentOf(file), "kept");
}

TEST_F(FilesOnDisk, ABrokenLinkCountsAsMissingAndStays) {
    fs::create_symlink(folder / "nowhere", folder / "link");
    EXPECT_FALSE(QFFileManager::fileExistsAtPath(folder / "link"));
    EXPECT_TRUE(QFFileManager::trashFile(folder / "link"));
    EXPECT_TRUE(QFFileManager::removeFile(folder / "link"));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(FilesOnDisk, RemovingNothingLeavesOneLineWithThePathInTheLog) {
    const auto missing = folder / "missing";
    EXPECT_TRUE(QFFileManager::removeFile(missing));
    const auto lines = loggedLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("Unable to unlock file " + missing + ": ")) << lines[0];
}

TEST_F(FilesOnDisk, UnlockingWhatIsNotLockedIsHarmless) {
    const auto file = folder.write("file", "content");
    QFFileManager::unlockFile(file);
    EXPECT_EQ(contentOf(file), "content");
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, FolderAndExistenceFollowLinks) {
    folder.makeFolder("real");
    fs::create_symlink(folder / "real", folder / "link");
    EXPECT_TRUE(QFFileManager::fileExistsAtPath(folder / "link"));
    EXPECT_TRUE(QFFileManager::isDirectoryAtPath(folder / "link"));
}

TEST_F(FilesOnDisk, ANameThatIsNoTextIsRemovedLikeAnyOther) {
    const auto file = folder.write("a\xFF\nb");
    EXPECT_TRUE(QFFileManager::removeFile(file));
    EXPECT_FALSE(fs::exists(file));
}
