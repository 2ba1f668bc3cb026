#include "platform/linux/files/ExtendedAttributes.h"
#include "tests/util/files/OnDiskTest.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

class FilesOnDisk : public OnDiskTest {};

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

TEST_F(FilesOnDisk, ALinkIsOneWhereverItLeads) {
    fs::create_symlink(folder / "nowhere", folder / "broken");
    fs::create_symlink(folder.write("file"), folder / "link");
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(folder / "broken"));
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(folder / "link"));
    EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(folder / "file"));
    EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(folder / "missing"));
}

TEST_F(FilesOnDisk, ADateThatIsSetIsRead) {
    const auto file = folder.write("file");
    const auto moment = std::chrono::sys_days(std::chrono::year(2001) / 2 / 3) + 4h;
    EXPECT_TRUE(QFFileManager::setModificationDate(moment, file));
    EXPECT_EQ(QFFileManager::modificationDateForFile(file), moment);
    EXPECT_FALSE(QFFileManager::setModificationDate(moment, folder / "missing"));
}

TEST_F(FilesOnDisk, TheSizeOfAFolderCountsItsFilesAndItsLinksThemselves) {
    folder.write("folder/ten", "0123456789");
    folder.write("folder/sub/five", "01234");
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder"), 15U);
    fs::create_symlink("sub/five", folder / "folder/link");
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder"), 15U + 8U);
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder/link"), 8U);
    fs::create_symlink("nowhere", folder / "folder/broken");
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder"), 15U + 8U + 7U);
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder/broken"), 7U);
}

TEST_F(FilesOnDisk, TheSizeOfALinkToAFolderIsTheFolders) {
    folder.write("real/five", "01234");
    folder.makeFolder("folder");
    fs::create_symlink(folder / "real", folder / "folder/link");
    fs::create_symlink(folder / "real", folder / "folder/again");
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder/link"), 5U);
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder"), 10U);
}

TEST_F(FilesOnDisk, ALinkToAnEmptyFolderCountsAsOneAndIsDeletedItself) {
    const auto real = folder.makeFolder("real");
    folder.makeFolder("folder");
    fs::create_symlink(real, folder / "folder/link");
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty(folder / "folder"));
    EXPECT_FALSE(fs::exists(folder / "folder"));
    EXPECT_TRUE(fs::exists(real));
}

TEST_F(FilesOnDisk, ALinkToAFileOrNowhereIsContent) {
    folder.makeFolder("folder");
    fs::create_symlink("nowhere", folder / "folder/link");
    EXPECT_FALSE(QFFileManager::isFolderEmpty(folder / "folder"));
    folder.write("folder/nowhere");
    EXPECT_FALSE(QFFileManager::isFolderEmpty(folder / "folder"));
}

TEST_F(FilesOnDisk, TheSearchGoesThroughLinksToFoldersAndTakesThoseToFiles) {
    const auto outside = folder.write("outside/inner.txt");
    folder.makeFolder("folder");
    fs::create_symlink(folder / "outside", folder / "folder/linked.txt");
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", folder / "folder"),
              Lines{folder / "folder/linked.txt/inner.txt"});
    fs::remove(folder / "folder/linked.txt");
    fs::create_symlink(outside, folder / "folder/a.txt");
    EXPECT_EQ(QFFileManager::trashFilesNamed("a.txt", folder / "folder"),
              Lines{folder / "folder/a.txt"});
}

TEST_F(FilesOnDisk, ABrokenLinkThatMatchesIsListedAndStays) {
    folder.makeFolder("folder");
    fs::create_symlink("nowhere", folder / "folder/a.txt");
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", folder / "folder"),
              Lines{folder / "folder/a.txt"});
    EXPECT_EQ(workspace.recycled.size(), 0U);
}

TEST_F(FilesOnDisk, ANameThatIsNoTextIsFoundAndMatched) {
    const auto file = folder.write("folder/a\xFF.txt");
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", folder / "folder"), Lines{file});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("a?.t*", folder / "folder"), Lines{file});
}

TEST_F(FilesOnDisk, FoldersAreMadeMovedAndCopied) {
    EXPECT_TRUE(QFFileManager::createDirectory(folder / "a/b/c"));
    EXPECT_TRUE(QFFileManager::createDirectory(folder / "a/b/c", 5));
    folder.write("a/b/file", "content");
    EXPECT_TRUE(QFFileManager::copyFile(folder / "a/b", folder / "copy"));
    EXPECT_EQ(contentOf(folder / "copy/file"), "content");
    EXPECT_TRUE(QFFileManager::moveFile(folder / "a/b", folder / "moved", 5));
    EXPECT_EQ(contentOf(folder / "moved/file"), "content");
    EXPECT_FALSE(fs::exists(folder / "a/b"));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, NothingIsReplacedWithoutPrivilege) {
    const auto source = folder.write("source", "new");
    const auto destination = folder.write("destination", "old");
    EXPECT_FALSE(QFFileManager::moveFile(source, destination, ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::copyFile(source, destination, ShouldAuth::no));
    EXPECT_EQ(contentOf(source), "new");
    EXPECT_EQ(contentOf(destination), "old");
    EXPECT_EQ(loggedLines().size(), 2U);
}

TEST_F(FilesOnDisk, AChangeOfCaseMovesTheItem) {
    const auto source = folder.write("Movie.MOV", "content");
    EXPECT_TRUE(QFFileManager::moveFile(source, folder / "movie.mov", 5));
    EXPECT_EQ(contentOf(folder / "movie.mov"), "content");
    EXPECT_FALSE(fs::exists(source));
    EXPECT_FALSE(fs::exists(folder / "movie 2.mov"));
    EXPECT_EQ(pauses.rests, Rests{500us});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, AChangeOfCaseReplacesNothing) {
    const auto source = folder.write("Movie", "one");
    const auto other = folder.write("movie", "other");
    EXPECT_FALSE(QFFileManager::moveFile(source, other, ShouldAuth::no));
    EXPECT_EQ(contentOf(other), "other");
    EXPECT_EQ(contentOf(folder / "movie 2"), "one"); // where the failure left it
}

TEST_F(FilesOnDisk, TheContentsOfAFolderAreCopied) {
    folder.write("source/file", "content");
    folder.write("source/.sub/below", "too");
    folder.makeFolder("destination");
    EXPECT_TRUE(
        QFFileManager::copyContentsOfDirectory(folder / "source", folder / "destination", 5));
    EXPECT_EQ(contentOf(folder / "destination/file"), "content");
    EXPECT_EQ(contentOf(folder / "destination/.sub/below"), "too");
}

TEST_F(FilesOnDisk, AnEmptyFileIsMade) {
    account.temporary = folder.makeFolder("temporary");
    EXPECT_TRUE(QFFileManager::createEmptyFile(folder / "new"));
    EXPECT_EQ(contentOf(folder / "new"), "");
    EXPECT_TRUE(fs::is_empty(folder / "temporary"));
}

TEST_F(FilesOnDisk, AnEmptyFileReplacesNothing) {
    account.temporary = folder.makeFolder("temporary");
    const auto file = folder.write("file", "content");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::createEmptyFile(file));
    EXPECT_EQ(contentOf(file), "content");
}

TEST_F(FilesOnDisk, UniqueNamesAreFree) {
    const auto clip = folder.write("clip.mov");
    folder.write("clip 2.mov");
    EXPECT_EQ(QFFileManager::uniqueFilename(clip), folder / "clip 3.mov");
}

TEST_F(FilesOnDisk, WildcardsLeadThroughLinksThatLeadSomewhere) {
    folder.write("base/real/Info.plist");
    fs::create_symlink("real", folder / "base/link");
    fs::create_symlink("nowhere", folder / "base/broken");
    auto found = QFFileManager::filesMatchingWildcardPath("*/Info.plist", folder / "base");
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Lines{folder / "base/link/Info.plist", folder / "base/real/Info.plist"}));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("b*", folder / "base"), Lines{});
}

TEST_F(FilesOnDisk, MatchesComeInTheOrderOfTheListing) {
    for (int number = 0; number < 50; ++number) {
        folder.write("base/com.example." + std::to_string(number));
    }
    folder.write("base/com.other");
    Lines expected;
    const auto entries =
        platform::service<platform::FileSystem>().contentsOfDirectory(folder / "base");
    for (const auto& entry : *entries) {
        if (entry.name != "com.other") {
            expected.push_back(folder / "base/" + entry.name);
        }
    }
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("base/com.example.*", folder.path()),
              expected);
}

TEST_F(FilesOnDisk, AttributesOfAProgramsOwnAreKept) {
    platform::native::ExtendedAttributes attributes;
    const platform::ScopedService<platform::ExtendedAttributes> scope(attributes);
    const auto file = folder.write("file");
    if (!attributes.set(file, "probe", "x")) {
        GTEST_SKIP() << "the temporary folder's volume keeps no extended attributes";
    }
    EXPECT_TRUE(QFFileManager::setMetadataValue("first value", "com.quillfen.key", file));
    EXPECT_TRUE(QFFileManager::setMetadataValue("second", "com.quillfen.key", file));
    EXPECT_EQ(QFFileManager::metadataValueForKey("com.quillfen.key", file), "second");
    EXPECT_EQ(QFFileManager::metadataValueForKey("com.quillfen.other", file), std::nullopt);
    const std::string longest(255, 'x');
    EXPECT_TRUE(QFFileManager::setMetadataValue(longest, "key", file));
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", file), longest);
    EXPECT_TRUE(QFFileManager::setMetadataValue(longest + "x", "key", file));
    EXPECT_EQ(QFFileManager::metadataValueForKey("key", file), std::string(256, '\0'));
}

// How often the disk is asked.

TEST_F(FilesOnDisk, ASizeTakesOneListingAFolder) {
    folder.write("folder/a", "1");
    folder.write("folder/b", "1");
    folder.write("folder/sub/c", "1");
    fs::create_symlink("a", folder / "folder/link");
    EXPECT_EQ(QFFileManager::fileSize(folder / "folder"), 4U);
    // What is a folder: asked of the path and of the link.
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"sizes", 2}, {"isDirectory", 2}}));
}

TEST_F(FilesOnDisk, EmptinessAsksNothingBesideTheListings) {
    folder.makeFolder("folder/sub/subsub");
    folder.write("folder/.DS_Store");
    EXPECT_TRUE(QFFileManager::isFolderEmpty(folder / "folder"));
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", 3}}));
}

TEST_F(FilesOnDisk, AWildcardReadsAFolderOnceAndANameTakesOneLook) {
    folder.write("base/one/Info.plist");
    folder.write("base/two/Info.plist");
    folder.write("base/file");
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/Info.plist", folder / "base").size(), 2U);
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", 1}, {"exists", 2}}));
    onDisk.looks.clear();
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/*", folder / "base").size(), 2U);
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", 3}}));
}
