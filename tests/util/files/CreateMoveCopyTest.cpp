#include "platform/foundation/Text.h"
#include "tests/support/NamedCase.h"
#include "tests/util/files/FileManagerTest.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

class CreateMoveCopy : public FileManagerTest {
protected:
    CreateMoveCopy() {
        fileSystem.files = {"/a/item"};
        fileSystem.directories = {{"/a", Lines{"item"}}, {"/b", Lines{}}};
    }

    void fail(const std::string& change) {
        fileSystem.failures[change] = {.localizedDescription = "You can’t."};
    }
};

/// A volume that takes names which differ in case only for the same.
class CaselessFileSystem : public DescribedFileSystem {
public:
    bool exists(const std::string& path) override {
        return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
            return qf::text::lowercased(file) == qf::text::lowercased(path);
        });
    }
};

class CaseRename : public CreateMoveCopy {
protected:
    CaseRename() { volume.files = {"/a/Movie.MOV"}; }

    CaselessFileSystem volume;

private:
    qf::ScopedService<qf::FileSystem> volumeScope_{volume};
};

} // namespace

// Reasons.

namespace {

/// An operation, and the change that it tries first.
struct Operation {
    const char* name;
    const char* change;
    qf::FileResult (*perform)(qf::ShouldAuth shouldAuth);
};

const Operation operations[]{
    {"Create", "create /b/new",
     [](auto shouldAuth) {
         return QFFileManager::createDirectoryWithResult("/b/new", shouldAuth);
     }},
    {"Move", "move /a/item /b/other",
     [](auto shouldAuth) {
         return QFFileManager::moveFileWithResult("/a/item", "/b/other", shouldAuth);
     }},
    {"Copy", "copy /a/item /b/other",
     [](auto shouldAuth) {
         return QFFileManager::copyFileWithResult("/a/item", "/b/other", shouldAuth);
     }},
    {"Remove", "remove /a/item",
     [](auto shouldAuth) { return QFFileManager::removeFileWithResult("/a/item", shouldAuth); }},
};

class FileResultOf : public CreateMoveCopy, public testing::WithParamInterface<Operation> {
protected:
    void failOwnAttempt() {
        fail(GetParam().change);
        fileSystem.removeErrors["/a/item"] = {.localizedDescription = "You can’t."};
    }
};

} // namespace

TEST_P(FileResultOf, WhatTheUserDid) {
    EXPECT_EQ(GetParam().perform(qf::ShouldAuth::yes).value(), qf::DoneBy::user);
}

TEST_P(FileResultOf, WhatTheAdministratorDoes) {
    failOwnAttempt();
    EXPECT_EQ(GetParam().perform(qf::ShouldAuth::yes).value(), qf::DoneBy::administrator);
}

TEST_P(FileResultOf, WhatTheUserMayNotDoAndTheAdministratorIsNotAskedFor) {
    failOwnAttempt();
    EXPECT_EQ(GetParam().perform(qf::ShouldAuth::no).error().localizedDescription, "You can’t.");
}

TEST_P(FileResultOf, WhatIsRefused) {
    failOwnAttempt();
    refuseTheRight();
    EXPECT_EQ(GetParam().perform(qf::ShouldAuth::yes).error().localizedDescription, "You can’t.");
}

INSTANTIATE_TEST_SUITE_P(Operations, FileResultOf, testing::ValuesIn(operations),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(CreateMoveCopy, WhatCannotBeTriedSaysWhy) {
    const auto reason = [](const qf::FileResult& result) {
        return result.error().localizedDescription;
    };
    EXPECT_EQ(reason(QFFileManager::createDirectoryWithResult("/Volumes/Gone/folder",
                                                              qf::ShouldAuth::yes)),
              "Unable to create directory. Drive is not mounted.");
    EXPECT_EQ(reason(QFFileManager::copyFileWithResult(std::nullopt, "/b", qf::ShouldAuth::yes)),
              "Error copying file: source path is nil");
    EXPECT_EQ(
        reason(QFFileManager::copyFileWithResult("/a/item", std::nullopt, qf::ShouldAuth::yes)),
        "Error copying file /a/item: destination path is nil");
}

TEST_F(CreateMoveCopy, WhatIsBegunAndNotDoneInTimeSaysSo) {
    const auto reason = [](const qf::FileResult& result) {
        return result.error().localizedDescription;
    };
    fail("create /b/new");
    fail("move /a/item /b/item");
    fail("copy /a/item /b/item");
    EXPECT_EQ(reason(QFFileManager::createDirectoryWithResult("/b/new", 1)),
              "/b/new does not exist yet after the time-out.");
    EXPECT_EQ(reason(QFFileManager::moveFileWithResult("/a/item", "/b/item", 1)),
              "/a/item still exists after the time-out.");
    EXPECT_EQ(reason(QFFileManager::copyFileWithResult("/a/item", "/b/item", 1)),
              "/b/item does not exist yet after the time-out.");
}

TEST_F(CreateMoveCopy, WhatFailsWithATimeOutSaysWhy) {
    const auto reason = [](const qf::FileResult& result) {
        return result.error().localizedDescription;
    };
    refuseTheRight();
    for (const auto* change : {"create /b/new", "move /a/item /b/item", "copy /a/item /b/item"}) {
        fail(change);
    }
    EXPECT_EQ(reason(QFFileManager::createDirectoryWithResult("/b/new", 1)), "You can’t.");
    EXPECT_EQ(reason(QFFileManager::moveFileWithResult("/a/item", "/b/item", 1)), "You can’t.");
    EXPECT_EQ(reason(QFFileManager::copyFileWithResult("/a/item", "/b/item", 1)), "You can’t.");
    EXPECT_EQ(reason(QFFileManager::copyFileWithResult("/a/item", std::nullopt, 1)),
              "Error copying file /a/item: destination path is nil");
    EXPECT_EQ(QFFileManager::copyContentsOfDirectoryWithResult("/a", "/b", 1)
                  .error()
                  .localizedDescription,
              "You can’t.");
    EXPECT_EQ(pauses.rests, Rests{});
}

// Make directories.

TEST_F(CreateMoveCopy, CreateMakesADirectory) {
    EXPECT_TRUE(QFFileManager::createDirectory("/b/new/folder"));
    EXPECT_EQ(fileSystem.changes, Lines{"create /b/new/folder"});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(CreateMoveCopy, CreateOfADirectoryThatExistsSucceedsSilently) {
    EXPECT_TRUE(QFFileManager::createDirectory("/b"));
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(CreateMoveCopy, CreateFallsBackToTheAdministratorsRight) {
    fail("create /b/new");
    EXPECT_TRUE(QFFileManager::createDirectory("/b/new"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mkdir -p /b/new"});
    EXPECT_EQ(loggedLines(), Lines{"Error creating folder: You can’t.. Authorizing..."});
}

TEST_F(CreateMoveCopy, CreateSaysThatItAuthorizesAlsoWhereThatIsForbidden) {
    fail("create /b/new");
    EXPECT_FALSE(QFFileManager::createDirectory("/b/new", qf::ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error creating folder: You can’t.. Authorizing..."});
}

TEST_F(CreateMoveCopy, CreateFailsWhenTheRightIsRefused) {
    fail("create /b/new");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::createDirectory("/b/new", qf::ShouldAuth::yes));
}

TEST_F(CreateMoveCopy, CreateDoesNotTryOnAVolumeThatIsNotMounted) {
    EXPECT_FALSE(QFFileManager::createDirectory("/Volumes/Gone/folder"));
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(console.systemLogLines(), Lines{"Unable to create directory. Drive is not mounted."});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(CreateMoveCopy, TimedCreateOfWhatIsThereAtOnceMakesNoPause) {
    EXPECT_TRUE(QFFileManager::createDirectory("/b/new", 5));
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(CreateMoveCopy, TimedCreateWaitsForTheAdministratorsDirectory) {
    fail("create /b/new");
    pauses.meanwhile = [this] {
        if (pauses.rests.back() == 300ms) {
            fileSystem.directories["/b/new"] = Lines{};
        }
    };
    EXPECT_TRUE(QFFileManager::createDirectory("/b/new", 5));
    EXPECT_EQ(pauses.rests, Rests({500us, 300ms}));
}

TEST_F(CreateMoveCopy, TimedCreatePumpsEventsOnTheMainThread) {
    becomeMainThread();
    fail("create /b/new");
    EXPECT_FALSE(QFFileManager::createDirectory("/b/new", 2));
    EXPECT_EQ(application.deadlines, Deadlines(200, 10ms));
    EXPECT_EQ(pauses.rests, Rests{500us});
}

TEST_F(CreateMoveCopy, TimedCreateFailsAtOnceWhereTheDirectoryCannotBe) {
    fail("create /b/new");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::createDirectory("/b/new", 5));
    EXPECT_FALSE(QFFileManager::createDirectory("/Volumes/Gone/folder", 5));
    EXPECT_EQ(pauses.rests, Rests{});
}

// Mirror a directory.

TEST_F(CreateMoveCopy, AFilesDirectoryIsMirrored) {
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a/item", "/Backup"), "/Backup/a");
    EXPECT_EQ(fileSystem.changes, Lines{"create /Backup/a"});
}

TEST_F(CreateMoveCopy, ADirectoryItselfIsMirrored) {
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a", "/Backup"), "/Backup/a");
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a", "/Backup/"), "/Backup/a");
}

TEST_F(CreateMoveCopy, APackagesDirectoryIsMirrored) {
    fileSystem.directories["/a/Tool.app"] = Lines{};
    workspace.packages = {"/a/Tool.app"};
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a/Tool.app", "/Backup"), "/Backup/a");
}

TEST_F(CreateMoveCopy, TheDirectoryOfNothingIsMirrored) {
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/x/y/missing", "/Backup"), "/Backup/x/y");
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/missing", "/Backup"), "/Backup");
}

TEST_F(CreateMoveCopy, AMirrorThatExistsIsLeftAlone) {
    fileSystem.directories["/b/a"] = Lines{};
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a", "/b"), "/b/a");
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(CreateMoveCopy, TheMirrorsPathIsGivenAlsoWhenItCouldNotBeMade) {
    fail("create /b/a");
    refuseTheRight();
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a", "/b"), "/b/a");
    EXPECT_NE(services.calls.size(), 0U); // it was tried
    EXPECT_EQ(QFFileManager::createDirectoryStructure("/a", "/Volumes/Gone"), "/Volumes/Gone/a");
}

// Move.

TEST_F(CreateMoveCopy, MoveGivesTheItemItsFullNewPath) {
    EXPECT_TRUE(QFFileManager::moveFile("/a/item", "/b/other"));
    EXPECT_EQ(fileSystem.changes, Lines{"move /a/item /b/other"});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(CreateMoveCopy, MoveOntoAnItemUnlocksItThenGoesThePrivilegedWay) {
    fileSystem.files.insert("/b/other");
    EXPECT_TRUE(QFFileManager::moveFile("/a/item", "/b/other"));
    EXPECT_EQ(fileSystem.changes, (Lines{"unlock /b/other", "move /a/item /b/other"}));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /a/item /b/other"});
    EXPECT_EQ(loggedLines(),
              (Lines{"Error moving file: There is something at /b/other..", "Authorizing..."}));
}

TEST_F(CreateMoveCopy, MoveDoesNotSayThatItAuthorizesWhereThatIsForbidden) {
    fail("move /a/item /b/other");
    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b/other", qf::ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error moving file: You can’t.."});
}

TEST_F(CreateMoveCopy, MoveLetsNoToolPutAnItemIntoItsOwnCopy) {
    fail("move /a/item /b/other");
    fileSystem.copiedByFailedMoves = {"/a/item"};

    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b/other"));

    EXPECT_EQ(services.tools(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{"Error moving file: You can’t.."});
}

TEST_F(CreateMoveCopy, MoveFailsWhenTheRightIsRefused) {
    fail("move /a/item /b/other");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b/other"));
    EXPECT_EQ(loggedLines(), (Lines{"Error moving file: You can’t..", "Authorizing..."}));
}

TEST_F(CreateMoveCopy, MoveGoesOnWhenTheDestinationCannotBeUnlocked) {
    fileSystem.files.insert("/b/other");
    fileSystem.lockErrors["/b/other"] = {.localizedDescription = "It stays locked."};
    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b/other", qf::ShouldAuth::no));
    EXPECT_EQ(loggedLines(), (Lines{"Unable to unlock file /b/other: It stays locked.",
                                    "Error moving file: There is something at /b/other.."}));
}

TEST_F(CreateMoveCopy, MoveUnlocksWhatIsInTheDirectoryOfTheItemsNameInsideTheDestination) {
    fileSystem.directories["/b"] = Lines{"neighbour", "item"};
    fileSystem.directories["/b/item"] = Lines{"x", "sub"};
    fileSystem.directories["/b/item/sub"] = Lines{"y"};
    fileSystem.files = {"/a/item", "/b/neighbour", "/b/item/x", "/b/item/sub/y"};
    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b", qf::ShouldAuth::no));
    EXPECT_EQ(fileSystem.changes,
              (Lines{"unlock /b", "unlock /b/item/x", "unlock /b/item/sub/y", "move /a/item /b"}));
}

TEST_F(CreateMoveCopy, MovingNothingFails) {
    EXPECT_FALSE(QFFileManager::moveFile("/missing", "/b/other"));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(),
              (Lines{"Error moving file: There is nothing at /missing..", "Authorizing..."}));
}

TEST_F(CaseRename, GoesThroughAUniqueName) {
    EXPECT_TRUE(QFFileManager::moveFile("/a/Movie.MOV", "/a/movie.mov"));
    EXPECT_EQ(volume.changes, (Lines{"unlock /a/movie.mov", "move /a/Movie.MOV /a/movie 2.mov",
                                     "move /a/movie 2.mov /a/movie.mov"}));
    EXPECT_EQ(volume.files, std::set<std::string>{"/a/movie.mov"});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(CaseRename, TakesTheFirstFreeNumber) {
    volume.files.insert("/a/MOVIE 2.mov");
    EXPECT_TRUE(QFFileManager::moveFile("/a/Movie.MOV", "/a/movie.mov"));
    EXPECT_EQ(volume.changes[1], "move /a/Movie.MOV /a/movie 3.mov");
}

TEST_F(CaseRename, IsSeenInTheWholePathAndInEveryAlphabet) {
    volume.files = {"/A/\u00C9t\u00C9"};
    EXPECT_TRUE(QFFileManager::moveFile("/A/\u00C9t\u00C9", "/a/\u00E9t\u00E9"));
    EXPECT_EQ(volume.changes.size(), 3U);
}

TEST_F(CaseRename, IsTriedDirectlyWhenTheFirstStepFails) {
    volume.failures["move /a/Movie.MOV /a/movie 2.mov"] = {.localizedDescription = "No."};
    EXPECT_FALSE(QFFileManager::moveFile("/a/Movie.MOV", "/a/movie.mov", qf::ShouldAuth::no));
    EXPECT_EQ(volume.changes.back(), "move /a/Movie.MOV /a/movie.mov");
    EXPECT_EQ(loggedLines(), Lines{"Error moving file: There is something at /a/movie.mov.."});
}

TEST_F(CaseRename, LeavesTheItemUnderTheUniqueNameWhenTheSecondStepFails) {
    volume.failures["move /a/movie 2.mov /a/movie.mov"] = {.localizedDescription = "No."};
    EXPECT_FALSE(QFFileManager::moveFile("/a/Movie.MOV", "/a/movie.mov"));
    EXPECT_EQ(volume.files, std::set<std::string>{"/a/movie 2.mov"});
    EXPECT_EQ(loggedLines(),
              (Lines{"Error moving file: There is nothing at /a/Movie.MOV..", "Authorizing..."}));
}

TEST_F(CaseRename, IsWaitedForOnlyAMoment) {
    EXPECT_TRUE(QFFileManager::moveFile("/a/Movie.MOV", "/a/movie.mov", 5));
    EXPECT_EQ(pauses.rests, Rests{500us});
}

TEST_F(CaseRename, OnTheMainThreadTakesThatMomentToo) {
    becomeMainThread();
    EXPECT_TRUE(QFFileManager::moveFile("/a/Movie.MOV", "/a/movie.mov", 0));
    EXPECT_EQ(pauses.rests, Rests{500us});
    EXPECT_EQ(application.deadlines, Deadlines{});
}

TEST_F(CreateMoveCopy, AMoveToTheItemsOwnPlaceIsACaseRename) {
    EXPECT_TRUE(QFFileManager::moveFile("/a/item", "/a/item"));
    EXPECT_EQ(fileSystem.changes,
              (Lines{"unlock /a/item", "move /a/item /a/item 2", "move /a/item 2 /a/item"}));
}

TEST_F(CreateMoveCopy, TimedMoveWaitsUntilTheAdministratorsToolIsDone) {
    fail("move /a/item /b/other");
    pauses.meanwhile = [this] {
        if (pauses.rests.size() == 2) {
            fileSystem.files.erase("/a/item");
        }
    };
    EXPECT_TRUE(QFFileManager::moveFile("/a/item", "/b/other", 1));
    EXPECT_EQ(pauses.rests, Rests({300ms, 300ms}));
}

TEST_F(CreateMoveCopy, TimedMoveFailsWhenTheItemStays) {
    fail("move /a/item /b/other");
    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b/other", 1));
    EXPECT_EQ(pauses.rests.size(), 4U);
    becomeMainThread();
    EXPECT_FALSE(QFFileManager::moveFile("/a/item", "/b/other", 1));
    EXPECT_EQ(application.deadlines.size(), 100U);
}

TEST_F(CreateMoveCopy, TimedMoveDoesNotWaitForWhatFailed) {
    EXPECT_FALSE(QFFileManager::moveFile("/missing", "/b/other", 5));
    EXPECT_EQ(pauses.rests, Rests{});
}

// Copy.

TEST_F(CreateMoveCopy, CopyUnlocksTheDirectoryThatTakesTheCopy) {
    EXPECT_TRUE(QFFileManager::copyFile("/a/item", "/b/copy"));
    EXPECT_EQ(fileSystem.changes, (Lines{"unlock /b", "copy /a/item /b/copy"}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(CreateMoveCopy, CopyOntoAnItemGoesThePrivilegedWay) {
    fileSystem.files.insert("/b/copy");
    EXPECT_TRUE(QFFileManager::copyFile("/a/item", "/b/copy"));
    EXPECT_EQ(services.tools(), Lines{"/bin/cp -f -p -R /a/item /b/copy"});
    EXPECT_EQ(loggedLines(),
              Lines{"Error copying file: There is something at /b/copy.. Authorizing..."});
}

TEST_F(CreateMoveCopy, CopySaysThatItAuthorizesAlsoWhereThatIsForbidden) {
    fail("copy /a/item /b/copy");
    EXPECT_FALSE(QFFileManager::copyFile("/a/item", "/b/copy", qf::ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error copying file: You can’t.. Authorizing..."});
}

TEST_F(CreateMoveCopy, CopyFailsWhenTheRightIsRefused) {
    fail("copy /a/item /b/copy");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::copyFile("/a/item", "/b/copy"));
}

TEST_F(CreateMoveCopy, CopyingFromNowhereIsLoggedAndPrinted) {
    EXPECT_FALSE(QFFileManager::copyFile(std::nullopt, "/b/copy"));
    EXPECT_FALSE(QFFileManager::copyFile(std::nullopt, std::nullopt, qf::ShouldAuth::no));
    const std::string line = "Error copying file: source path is nil";
    EXPECT_EQ(loggedLines(), (Lines{line, line}));
    EXPECT_EQ(console.printed(), line + "\n" + line + "\n");
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(CreateMoveCopy, CopyingToNowhereIsLoggedAndPrinted) {
    EXPECT_FALSE(QFFileManager::copyFile("/a/item", std::nullopt));
    const std::string line = "Error copying file /a/item: destination path is nil";
    EXPECT_EQ(loggedLines(), Lines{line});
    EXPECT_EQ(console.printed(), line + "\n");
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_FALSE(QFFileManager::copyFile("/a/item", std::nullopt, 5));
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(CreateMoveCopy, CopyGoesOnWhenTheDirectoryCannotBeUnlocked) {
    EXPECT_TRUE(QFFileManager::copyFile("/a/item", "/gone/copy"));
    EXPECT_EQ(loggedLines(), Lines{"Unable to unlock file /gone: There is nothing at /gone."});
}

TEST_F(CreateMoveCopy, TimedCopyWaitsForTheAdministratorsCopy) {
    fail("copy /a/item /b/copy");
    pauses.meanwhile = [this] {
        if (pauses.rests.size() == 2) {
            fileSystem.files.insert("/b/copy");
        }
    };
    EXPECT_TRUE(QFFileManager::copyFile("/a/item", "/b/copy", 1));
    EXPECT_EQ(pauses.rests, Rests({300ms, 300ms}));
}

TEST_F(CreateMoveCopy, TimedCopyFailsWhenNoCopyComes) {
    fail("copy /a/item /b/copy");
    EXPECT_FALSE(QFFileManager::copyFile("/a/item", "/b/copy", 0));
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_FALSE(QFFileManager::copyFile("/a/item", "/b/copy", 1));
    EXPECT_EQ(pauses.rests.size(), 4U);
}

// Copy what is in a directory.

TEST_F(CreateMoveCopy, CopyOfContentsCopiesEveryEntryInOrder) {
    fileSystem.directories["/a"] = Lines{"z", ".hidden", "sub"};
    fileSystem.directories["/a/sub"] = Lines{"below"};
    fileSystem.files = {"/a/z", "/a/.hidden", "/a/sub/below"};
    EXPECT_TRUE(QFFileManager::copyContentsOfDirectory("/a", "/b", 5));
    EXPECT_EQ(fileSystem.changes,
              (Lines{"unlock /b", "copy /a/z /b/z", "unlock /b", "copy /a/.hidden /b/.hidden",
                     "unlock /b", "copy /a/sub /b/sub"}));
    EXPECT_EQ(loggedLines(), (Lines{"File: z", "File: .hidden", "File: sub"}));
}

TEST_F(CreateMoveCopy, CopyOfContentsDoesNotWaitForTheLog) {
    fileSystem.directories["/a"] = Lines{"1"};
    fileSystem.files = {"/a/1"};
    EXPECT_TRUE(endsBeforeTheLogIsWritten(
        [] { QFFileManager::copyContentsOfDirectory("/a", "/b", 5); }, longPatience));
    EXPECT_EQ(loggedLines(), Lines{"File: 1"});
}

TEST_F(CreateMoveCopy, CopyOfContentsStopsAtTheFirstFailure) {
    fileSystem.directories["/a"] = Lines{"1", "2", "3"};
    fileSystem.files = {"/a/1", "/a/2", "/a/3"};
    fail("copy /a/2 /b/2");
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::copyContentsOfDirectory("/a", "/b", 5));
    EXPECT_EQ(loggedLines(),
              (Lines{"File: 1", "File: 2", "Error copying file: You can’t.. Authorizing..."}));
    EXPECT_TRUE(fileSystem.exists("/b/1"));
    EXPECT_FALSE(fileSystem.exists("/b/3"));
}

TEST_F(CreateMoveCopy, CopyOfContentsGivesEachEntryItsTime) {
    fileSystem.directories["/a"] = Lines{"1", "2"};
    fileSystem.files = {"/a/1", "/a/2"};
    fail("copy /a/1 /b/1");
    fail("copy /a/2 /b/2");
    pauses.meanwhile = [this] {
        fileSystem.files.insert(pauses.rests.size() > 3 ? "/b/2" : "/b/1");
    };
    EXPECT_FALSE(QFFileManager::copyContentsOfDirectory("/a", "/b", 0));
    EXPECT_TRUE(QFFileManager::copyContentsOfDirectory("/a", "/b", 2));
    EXPECT_EQ(pauses.rests.size(), 4U);
}

class CreateMoveCopyOfNothing : public CreateMoveCopy,
                                public testing::WithParamInterface<NamedText> {};

TEST_P(CreateMoveCopyOfNothing, CopyOfContentsSucceeds) {
    fileSystem.directories["/unreadable"] = std::nullopt;
    EXPECT_TRUE(QFFileManager::copyContentsOfDirectory(GetParam().value, "/b", 5));
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(, CreateMoveCopyOfNothing,
                         testing::Values(NamedText{{"Empty"}, "/b"},
                                         NamedText{{"Unreadable"}, "/unreadable"},
                                         NamedText{{"Missing"}, "/missing"},
                                         NamedText{{"File"}, "/a/item"}),
                         nameOfCase);
