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
    const auto file = directory.write("file", "content");
    EXPECT_TRUE(QFFileManager::removeFile(file));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, RemoveDeletesADirectoryWithAllThatIsInIt) {
    const auto outside = directory.write("outside", "kept");
    directory.write("Tool.app/Contents/MacOS/Tool");
    fs::create_symlink(outside, directory / "Tool.app/link");
    EXPECT_TRUE(QFFileManager::removeFile(directory / "Tool.app"));
    EXPECT_FALSE(fs::exists(directory / "Tool.app"));
    EXPECT_EQ(contentOf(outside), "kept");
}

TEST_F(FilesOnDisk, RemoveDeletesALinkNotWhatItLeadsTo) {
    const auto file = directory.write("file", "kept");
    fs::create_symlink(file, directory / "link");
    EXPECT_TRUE(QFFileManager::removeFile(directory / "link"));
    EXPECT_FALSE(fs::is_symlink(directory / "link"));
    EXPECT_EQ(contentOf(file), "kept");
}

TEST_F(FilesOnDisk, ABrokenLinkCountsAsMissingAndStays) {
    fs::create_symlink(directory / "nowhere", directory / "link");
    EXPECT_FALSE(QFFileManager::fileExistsAtPath(directory / "link"));
    EXPECT_TRUE(QFFileManager::trashFile(directory / "link"));
    EXPECT_TRUE(QFFileManager::removeFile(directory / "link"));
    EXPECT_TRUE(fs::is_symlink(directory / "link"));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(FilesOnDisk, RemovingNothingLeavesOneLineWithThePathInTheLog) {
    const auto missing = directory / "missing";
    EXPECT_TRUE(QFFileManager::removeFile(missing));
    const auto lines = loggedLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("Unable to unlock file " + missing + ": ")) << lines[0];
}

TEST_F(FilesOnDisk, UnlockingWhatIsNotLockedIsHarmless) {
    const auto file = directory.write("file", "content");
    QFFileManager::unlockFile(file);
    EXPECT_EQ(contentOf(file), "content");
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, DirectoryAndExistenceFollowLinks) {
    directory.makeDirectory("real");
    fs::create_symlink(directory / "real", directory / "link");
    EXPECT_TRUE(QFFileManager::fileExistsAtPath(directory / "link"));
    EXPECT_TRUE(QFFileManager::isDirectoryAtPath(directory / "link"));
}

TEST_F(FilesOnDisk, ANameThatIsNoTextIsRemovedLikeAnyOther) {
    const auto file = directory.write("a\xFF\nb");
    EXPECT_TRUE(QFFileManager::removeFile(file));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(FilesOnDisk, ALinkIsOneWhereverItLeads) {
    fs::create_symlink(directory / "nowhere", directory / "broken");
    fs::create_symlink(directory.write("file"), directory / "link");
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(directory / "broken"));
    EXPECT_TRUE(QFFileManager::isSymbolicLinkAtPath(directory / "link"));
    EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(directory / "file"));
    EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(directory / "missing"));
}

TEST_F(FilesOnDisk, ADateThatIsSetIsRead) {
    const auto file = directory.write("file");
    const auto moment = std::chrono::sys_days(std::chrono::year(2001) / 2 / 3) + 4h;
    EXPECT_TRUE(QFFileManager::setModificationDate(moment, file));
    EXPECT_EQ(QFFileManager::modificationDateForFile(file), moment);
    EXPECT_FALSE(QFFileManager::setModificationDate(moment, directory / "missing"));
}

TEST_F(FilesOnDisk, TheSizeOfADirectoryCountsItsFilesAndItsLinksThemselves) {
    directory.write("folder/ten", "0123456789");
    directory.write("folder/sub/five", "01234");
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder"), 15U);
    fs::create_symlink("sub/five", directory / "folder/link");
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder"), 15U + 8U);
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder/link"), 8U);
    fs::create_symlink("nowhere", directory / "folder/broken");
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder"), 15U + 8U + 7U);
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder/broken"), 7U);
}

TEST_F(FilesOnDisk, TheSizeOfALinkToADirectoryIsTheDirectories) {
    directory.write("real/five", "01234");
    directory.makeDirectory("folder");
    fs::create_symlink(directory / "real", directory / "folder/link");
    fs::create_symlink(directory / "real", directory / "folder/again");
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder/link"), 5U);
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder"), 10U);
}

TEST_F(FilesOnDisk, ALinkToAnEmptyDirectoryCountsAsOneAndIsDeletedItself) {
    const auto real = directory.makeDirectory("real");
    directory.makeDirectory("folder");
    fs::create_symlink(real, directory / "folder/link");
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty(directory / "folder"));
    EXPECT_FALSE(fs::exists(directory / "folder"));
    EXPECT_TRUE(fs::exists(real));
}

TEST_F(FilesOnDisk, ALinkToAFileOrNowhereIsContent) {
    directory.makeDirectory("folder");
    fs::create_symlink("nowhere", directory / "folder/link");
    EXPECT_FALSE(QFFileManager::isFolderEmpty(directory / "folder"));
    directory.write("folder/nowhere");
    EXPECT_FALSE(QFFileManager::isFolderEmpty(directory / "folder"));
}

TEST_F(FilesOnDisk, TheSearchGoesThroughLinksToDirectoriesAndTakesThoseToFiles) {
    const auto outside = directory.write("outside/inner.txt");
    directory.makeDirectory("folder");
    fs::create_symlink(directory / "outside", directory / "folder/linked.txt");
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", directory / "folder"),
              Lines{directory / "folder/linked.txt/inner.txt"});
    fs::remove(directory / "folder/linked.txt");
    fs::create_symlink(outside, directory / "folder/a.txt");
    EXPECT_EQ(QFFileManager::trashFilesNamed("a.txt", directory / "folder"),
              Lines{directory / "folder/a.txt"});
}

TEST_F(FilesOnDisk, ABrokenLinkThatMatchesIsListedAndStays) {
    directory.makeDirectory("folder");
    fs::create_symlink("nowhere", directory / "folder/a.txt");
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", directory / "folder"),
              Lines{directory / "folder/a.txt"});
    EXPECT_EQ(workspace.recycled.size(), 0U);
}

TEST_F(FilesOnDisk, ANameThatIsNoTextIsFoundAndMatched) {
    const auto file = directory.write("folder/a\xFF.txt");
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", directory / "folder"), Lines{file});
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("a?.t*", directory / "folder"), Lines{file});
}

TEST_F(FilesOnDisk, DirectoriesAreMadeMovedAndCopied) {
    EXPECT_TRUE(QFFileManager::createDirectory(directory / "a/b/c"));
    EXPECT_TRUE(QFFileManager::createDirectory(directory / "a/b/c", 5));
    directory.write("a/b/file", "content");
    EXPECT_TRUE(QFFileManager::copyFile(directory / "a/b", directory / "copy"));
    EXPECT_EQ(contentOf(directory / "copy/file"), "content");
    EXPECT_TRUE(QFFileManager::moveFile(directory / "a/b", directory / "moved", 5));
    EXPECT_EQ(contentOf(directory / "moved/file"), "content");
    EXPECT_FALSE(fs::exists(directory / "a/b"));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, NothingIsReplacedWithoutPrivilege) {
    const auto source = directory.write("source", "new");
    const auto destination = directory.write("destination", "old");
    EXPECT_FALSE(QFFileManager::moveFile(source, destination, qf::ShouldAuth::no));
    EXPECT_FALSE(QFFileManager::copyFile(source, destination, qf::ShouldAuth::no));
    EXPECT_EQ(contentOf(source), "new");
    EXPECT_EQ(contentOf(destination), "old");
    EXPECT_EQ(loggedLines().size(), 2U);
}

TEST_F(FilesOnDisk, AChangeOfCaseMovesTheItem) {
    const auto source = directory.write("Movie.MOV", "content");
    EXPECT_TRUE(QFFileManager::moveFile(source, directory / "movie.mov", 5));
    EXPECT_EQ(contentOf(directory / "movie.mov"), "content");
    EXPECT_FALSE(fs::exists(source));
    EXPECT_FALSE(fs::exists(directory / "movie 2.mov"));
    EXPECT_EQ(pauses.rests, Rests{500us});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FilesOnDisk, AChangeOfCaseReplacesNothing) {
    const auto source = directory.write("Movie", "one");
    const auto other = directory.write("movie", "other");
    EXPECT_FALSE(QFFileManager::moveFile(source, other, qf::ShouldAuth::no));
    EXPECT_EQ(contentOf(other), "other");
    EXPECT_EQ(contentOf(directory / "movie 2"), "one"); // where the failure left it
}

TEST_F(FilesOnDisk, TheContentsOfADirectoryAreCopied) {
    directory.write("source/file", "content");
    directory.write("source/.sub/below", "too");
    directory.makeDirectory("destination");
    EXPECT_TRUE(
        QFFileManager::copyContentsOfDirectory(directory / "source", directory / "destination", 5));
    EXPECT_EQ(contentOf(directory / "destination/file"), "content");
    EXPECT_EQ(contentOf(directory / "destination/.sub/below"), "too");
}

TEST_F(FilesOnDisk, AnEmptyFileIsMade) {
    account.temporary = directory.makeDirectory("temporary");
    EXPECT_TRUE(QFFileManager::createEmptyFile(directory / "new"));
    EXPECT_EQ(contentOf(directory / "new"), "");
    EXPECT_TRUE(fs::is_empty(directory / "temporary"));
}

TEST_F(FilesOnDisk, AnEmptyFileReplacesNothing) {
    account.temporary = directory.makeDirectory("temporary");
    const auto file = directory.write("file", "content");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::createEmptyFile(file));
    EXPECT_EQ(contentOf(file), "content");
}

TEST_F(FilesOnDisk, UniqueNamesAreFree) {
    const auto clip = directory.write("clip.mov");
    directory.write("clip 2.mov");
    EXPECT_EQ(QFFileManager::uniqueFilename(clip), directory / "clip 3.mov");
}

TEST_F(FilesOnDisk, WildcardsLeadThroughLinksThatLeadSomewhere) {
    directory.write("base/real/Info.plist");
    fs::create_symlink("real", directory / "base/link");
    fs::create_symlink("nowhere", directory / "base/broken");
    auto found = QFFileManager::filesMatchingWildcardPath("*/Info.plist", directory / "base");
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found,
              (Lines{directory / "base/link/Info.plist", directory / "base/real/Info.plist"}));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("b*", directory / "base"), Lines{});
}

TEST_F(FilesOnDisk, MatchesComeInTheOrderOfTheListing) {
    for (int number = 0; number < 50; ++number) {
        directory.write("base/com.example." + std::to_string(number));
    }
    directory.write("base/com.other");
    Lines expected;
    const auto entries = qf::service<qf::FileSystem>().contentsOfDirectory(directory / "base");
    for (const auto& entry : *entries) {
        if (entry.name != "com.other") {
            expected.push_back(directory / "base/" + entry.name);
        }
    }
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("base/com.example.*", directory.path()),
              expected);
}

TEST_F(FilesOnDisk, AttributesOfAProgramsOwnAreKept) {
    qf::native::ExtendedAttributes attributes;
    const qf::ScopedService<qf::ExtendedAttributes> scope(attributes);
    const auto file = directory.write("file");
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

// How often the disk is queried.

TEST_F(FilesOnDisk, ASizeTakesOneListingADirectory) {
    directory.write("folder/a", "1");
    directory.write("folder/b", "1");
    directory.write("folder/sub/c", "1");
    fs::create_symlink("a", directory / "folder/link");
    EXPECT_EQ(QFFileManager::fileSize(directory / "folder"), 4U);
    // Whether it is a directory is queried for the path and for the link.
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"sizes", 2}, {"isDirectory", 2}}));
}

TEST_F(FilesOnDisk, EmptinessAsksNothingBesideTheListings) {
    directory.makeDirectory("folder/sub/subsub");
    directory.write("folder/.DS_Store");
    EXPECT_TRUE(QFFileManager::isFolderEmpty(directory / "folder"));
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", 3}}));
}

TEST_F(FilesOnDisk, AWildcardReadsADirectoryOnceAndANameTakesOneLook) {
    directory.write("base/one/Info.plist");
    directory.write("base/two/Info.plist");
    directory.write("base/file");
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/Info.plist", directory / "base").size(),
              2U);
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", 1}, {"exists", 2}}));
    onDisk.looks.clear();
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("*/*", directory / "base").size(), 2U);
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", 3}}));
}
