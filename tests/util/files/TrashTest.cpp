#include "util/files/QFFileManager.h"

#include "tests/support/NamedCase.h"
#include "tests/util/files/FileManagerTest.h"

#include <cerrno>

using namespace std::chrono_literals;

namespace {

class TrashAndRemove : public FileManagerTest {
protected:
    static constexpr const char* item = "/Library/Quillfen/Tool.app";

    TrashAndRemove() { fileSystem.files = {item}; }

    void failToRecycle() { workspace.errors[item] = {.localizedDescription = "It is not yours."}; }
    void failToRemove() {
        fileSystem.removeErrors[item] = {.localizedDescription = "You can’t remove it."};
    }
};

TEST_F(TrashAndRemove, TrashRecyclesTheUnlockedItem) {
    EXPECT_TRUE(QFFileManager::trashFile(item));
    EXPECT_EQ(fileSystem.changes, Lines{"unlock /Library/Quillfen/Tool.app"});
    EXPECT_EQ(workspace.recycled,
              std::vector<Lines>({{"/Library/Quillfen", "/home/someone/.Trash", "Tool.app"}}));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashTakesAnItemOfTheRootDirectory) {
    fileSystem.files = {"/item"};
    EXPECT_TRUE(QFFileManager::trashFile("/item"));
    EXPECT_EQ(workspace.recycled, std::vector<Lines>({{"/", "/home/someone/.Trash", "item"}}));
}

struct AuthOfACall : NamedCase {
    qf::ShouldAuth shouldAuth;
};

class MissingItem : public TrashAndRemove, public testing::WithParamInterface<AuthOfACall> {};

TEST_P(MissingItem, IsTrashedWithTheLineOfTheUnlocking) {
    EXPECT_TRUE(QFFileManager::trashFile("/missing", GetParam().shouldAuth));
    EXPECT_EQ(loggedLines(),
              Lines{"Unable to unlock file /missing: There is nothing at /missing."});
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(TrashAndRemove, TrashGoesOnWhenTheItemCannotBeUnlocked) {
    fileSystem.lockErrors[item] = {.localizedDescription = "It stays locked."};
    EXPECT_TRUE(QFFileManager::trashFile(item));
    EXPECT_EQ(loggedLines(),
              Lines{"Unable to unlock file /Library/Quillfen/Tool.app: It stays locked."});
    EXPECT_EQ(workspace.recycled.size(), 1U);
}

TEST_F(TrashAndRemove, TrashFallsBackToTheAdministratorsRight) {
    failToRecycle();
    EXPECT_TRUE(QFFileManager::trashFile(item));
    EXPECT_EQ(services.tools(),
              Lines{"/bin/mv -f /Library/Quillfen/Tool.app /home/someone/.Trash/Tool.app"});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashFailsWhenTheRightIsRefused) {
    failToRecycle();
    services.rightsStatus = qf::errAuthorizationCanceled;
    EXPECT_FALSE(QFFileManager::trashFile(item, qf::ShouldAuth::yes));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashFailsSilentlyWhereTheFallbackIsForbidden) {
    failToRecycle();
    EXPECT_FALSE(QFFileManager::trashFile(item, qf::ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashRefusesAnItemInWhichAVolumeIsMountedToTheAdministratorToo) {
    workspace.errors[item] = {.code = EBUSY, .localizedDescription = "A volume is inside it."};
    EXPECT_FALSE(QFFileManager::trashFile(item));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(workspace.expected.size(), 0U);
}

TEST_F(TrashAndRemove, RemoveDeletesTheUnlockedItem) {
    EXPECT_TRUE(QFFileManager::removeFile(item));
    EXPECT_EQ(fileSystem.changes,
              (Lines{"unlock /Library/Quillfen/Tool.app", "remove /Library/Quillfen/Tool.app"}));
    EXPECT_FALSE(fileSystem.exists(item));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_P(MissingItem, IsRemovedWithTheLineOfTheUnlocking) {
    EXPECT_TRUE(QFFileManager::removeFile("/missing", GetParam().shouldAuth));
    EXPECT_EQ(loggedLines(),
              Lines{"Unable to unlock file /missing: There is nothing at /missing."});
    EXPECT_EQ(fileSystem.changes, Lines{"unlock /missing"});
    EXPECT_EQ(services.calls.size(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, MissingItem,
                         testing::Values(AuthOfACall{{"WithAuth"}, qf::ShouldAuth::yes},
                                         AuthOfACall{{"WithoutAuth"}, qf::ShouldAuth::no}),
                         nameOfCase);

TEST_F(TrashAndRemove, RemoveFallsBackToTheAdministratorsRight) {
    failToRemove();
    EXPECT_TRUE(QFFileManager::removeFile(item));
    EXPECT_EQ(services.tools(), Lines{"/bin/rm -Rdf /Library/Quillfen/Tool.app"});
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t remove it.. Authorizing..."});
}

TEST_F(TrashAndRemove, RemoveFailsWhenTheRightIsRefused) {
    failToRemove();
    services.rightsStatus = qf::errAuthorizationCanceled;
    EXPECT_FALSE(QFFileManager::removeFile(item, qf::ShouldAuth::yes));
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t remove it.. Authorizing..."});
}

TEST_F(TrashAndRemove, RemoveSaysThatItAuthorizesAlsoWhereThatIsForbidden) {
    failToRemove();
    EXPECT_FALSE(QFFileManager::removeFile(item, qf::ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t remove it.. Authorizing..."});
}

TEST_F(TrashAndRemove, APercentSignInAMessageIsNoDirective) {
    fileSystem.files = {"/100%@ %d"};
    fileSystem.lockErrors["/100%@ %d"] = {.localizedDescription = "%n%s"};
    fileSystem.removeErrors["/100%@ %d"] = {.localizedDescription = "50%"};
    EXPECT_FALSE(QFFileManager::removeFile("/100%@ %d", qf::ShouldAuth::no));
    EXPECT_EQ(loggedLines(), (Lines{"Unable to unlock file /100%@ %d: %n%s",
                                    "Error removing file: 50%. Authorizing..."}));
}

// The timed members. The described workspace leaves the item in place, like one that has not
// finished when it returns.

TEST_F(TrashAndRemove, TimedTrashWaitsUntilTheItemIsGone) {
    pauses.meanwhile = [this] {
        if (pauses.rests.size() == 3) {
            fileSystem.files.clear();
        }
    };
    EXPECT_TRUE(QFFileManager::trashFile(item, 2));
    EXPECT_EQ(workspace.recycled.size(), 1U);
    EXPECT_EQ(pauses.rests, Rests({300ms, 300ms, 300ms}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TimedTrashGivesUpWhenTheTimeIsOver) {
    EXPECT_FALSE(QFFileManager::trashFile(item, 1));
    // The fourth rest begins before the second is over.
    EXPECT_EQ(pauses.rests, Rests({300ms, 300ms, 300ms, 300ms}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TimedTrashEndsWhenExactlyTheTimeHasPassed) {
    EXPECT_FALSE(QFFileManager::trashFile(item, 3));
    EXPECT_EQ(pauses.rests.size(), 10U);
}

TEST_F(TrashAndRemove, TimedTrashLetsTheUserInterfaceLiveOnTheMainThread) {
    becomeMainThread();
    pauses.meanwhile = [this] {
        if (application.deadlines.size() == 2) {
            fileSystem.files.clear();
        }
    };
    EXPECT_TRUE(QFFileManager::trashFile(item, 1));
    EXPECT_EQ(application.deadlines, Deadlines({10ms, 10ms}));
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(TrashAndRemove, TimedTrashOnTheMainThreadGivesUpWhenTheTimeIsOver) {
    becomeMainThread();
    EXPECT_FALSE(QFFileManager::trashFile(item, 1));
    EXPECT_EQ(application.deadlines, Deadlines(100, 10ms));
}

struct TimeoutOfNothing : NamedCase {
    double seconds;
};

class TrashAndRemoveWithoutTime : public TrashAndRemove,
                                  public testing::WithParamInterface<TimeoutOfNothing> {};

TEST_P(TrashAndRemoveWithoutTime, MakesNoPause) {
    EXPECT_TRUE(QFFileManager::trashFile("/missing", GetParam().seconds));
    EXPECT_FALSE(QFFileManager::trashFile(item, GetParam().seconds));
    EXPECT_TRUE(QFFileManager::removeFile("/missing", GetParam().seconds));
    EXPECT_EQ(pauses.rests, Rests{});
}

INSTANTIATE_TEST_SUITE_P(, TrashAndRemoveWithoutTime,
                         testing::Values(TimeoutOfNothing{{"Zero"}, 0.0},
                                         TimeoutOfNothing{{"Negative"}, -3.0},
                                         TimeoutOfNothing{{"LessThanASecond"}, 0.9}),
                         nameOfCase);

TEST_F(TrashAndRemove, TimedTrashDoesNotWaitForWhatFailed) {
    failToRecycle();
    refuseTheRight();
    EXPECT_FALSE(QFFileManager::trashFile(item, 5));
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(TrashAndRemove, TimedTrashMayAskForTheRightAndWaitsForItsTool) {
    failToRecycle();
    pauses.meanwhile = [this] { fileSystem.files.clear(); };
    EXPECT_TRUE(QFFileManager::trashFile(item, 5));
    EXPECT_EQ(services.tools().size(), 1U);
    EXPECT_EQ(pauses.rests, Rests{300ms});
}

TEST_F(TrashAndRemove, TimedRemoveMayAskForTheRightAndWaitsForItsTool) {
    failToRemove();
    pauses.meanwhile = [this] { fileSystem.files.clear(); };
    EXPECT_TRUE(QFFileManager::removeFile(item, 5));
    EXPECT_EQ(services.tools(), Lines{"/bin/rm -Rdf /Library/Quillfen/Tool.app"});
    EXPECT_EQ(pauses.rests, Rests{300ms});
}

TEST_F(TrashAndRemove, TimedRemoveOfWhatGoesAtOnceMakesNoPause) {
    EXPECT_TRUE(QFFileManager::removeFile(item, 5));
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(TrashAndRemove, TimedRemoveFailsWhenTheToolDoesNotGetDone) {
    failToRemove();
    EXPECT_FALSE(QFFileManager::removeFile(item, 1));
    EXPECT_EQ(pauses.rests.size(), 4U);
}

TEST_F(TrashAndRemove, TimedTrashSaysThatTheTimeIsOver) {
    const auto result = QFFileManager::trashFileWithResult(item, 1);
    EXPECT_EQ(result.outcome, qf::TrashOutcome::failed);
    EXPECT_EQ(result.error->localizedDescription,
              "/Library/Quillfen/Tool.app still exists after the time-out.");
}

TEST_F(TrashAndRemove, TimedRemoveSaysThatTheTimeIsOver) {
    failToRemove();
    EXPECT_EQ(QFFileManager::removeFileWithResult(item, 1).error().localizedDescription,
              "/Library/Quillfen/Tool.app still exists after the time-out.");
}

TEST_F(TrashAndRemove, TimedRemoveSaysWhoDidItOrWhyItFailed) {
    EXPECT_EQ(QFFileManager::removeFileWithResult("/missing", 1).value(), qf::DoneBy::user);
    failToRemove();
    refuseTheRight();
    EXPECT_EQ(QFFileManager::removeFileWithResult(item, 1).error().localizedDescription,
              "You can’t remove it.");
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(TrashAndRemove, AClockThatIsSetBackLengthensTheWait) {
    pauses.meanwhile = [this] {
        if (pauses.rests.size() == 1) {
            pauses.pass(-1s);
        }
    };
    EXPECT_FALSE(QFFileManager::trashFile(item, 1));
    EXPECT_EQ(pauses.rests.size(), 7U);
}

// Directories.

TEST_F(TrashAndRemove, TrashContentsTrashesEveryEntryInTheListingsOrder) {
    fileSystem.directories = {{"/folder", Lines{"b", ".DS_Store", "Icon\r", "sub", "a"}},
                              {"/folder/sub", Lines{"below"}}};
    fileSystem.files = {"/folder/b", "/folder/.DS_Store", "/folder/Icon\r", "/folder/a",
                        "/folder/sub/below"};
    EXPECT_TRUE(QFFileManager::trashDirectoryContents("/folder"));
    const std::string trash = "/home/someone/.Trash";
    EXPECT_EQ(workspace.recycled, std::vector<Lines>({{"/folder", trash, "b"},
                                                      {"/folder", trash, ".DS_Store"},
                                                      {"/folder", trash, "Icon\r"},
                                                      {"/folder", trash, "sub"},
                                                      {"/folder", trash, "a"}}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashContentsGoesOnAfterAFailure) {
    fileSystem.directories = {{"/folder", Lines{"a", "b"}}};
    fileSystem.files = {"/folder/a", "/folder/b"};
    workspace.errors["/folder/a"] = {.localizedDescription = "It is not yours."};
    EXPECT_FALSE(QFFileManager::trashDirectoryContents("/folder", qf::ShouldAuth::no));
    EXPECT_EQ(workspace.recycled.size(), 2U);
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(TrashAndRemove, TrashContentsSaysWhyTheFirstEntryFailed) {
    fileSystem.directories = {{"/folder", Lines{"a", "b", "c"}}};
    fileSystem.files = {"/folder/a", "/folder/b", "/folder/c"};
    workspace.errors["/folder/b"] = {.localizedDescription = "It is not yours."};
    workspace.errors["/folder/c"] = {.localizedDescription = "It is busy."};
    EXPECT_EQ(QFFileManager::trashDirectoryContentsWithResult("/folder", qf::ShouldAuth::no)
                  .error()
                  .localizedDescription,
              "It is not yours.");
}

TEST_F(TrashAndRemove, TrashContentsMayAskForTheRight) {
    fileSystem.directories = {{"/folder", Lines{"a"}}};
    fileSystem.files = {"/folder/a"};
    workspace.errors["/folder/a"] = {.localizedDescription = "It is not yours."};
    EXPECT_TRUE(QFFileManager::trashDirectoryContents("/folder"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /folder/a /home/someone/.Trash/a"});
}

TEST_F(TrashAndRemove, ABatchIsMadeDurableOnce) {
    fileSystem.files = {"/folder/a.txt", "/folder/b.txt"};
    fileSystem.directories = {{"/folder", Lines{"a.txt", "b.txt"}}};
    EXPECT_TRUE(QFFileManager::trashFile("/folder/a.txt"));
    EXPECT_EQ(workspace.timesDurable, 0);

    EXPECT_TRUE(QFFileManager::trashDirectoryContents("/folder"));
    EXPECT_EQ(workspace.timesDurable, 1);
    QFFileManager::trashFilesOfType("txt", "/folder");
    EXPECT_EQ(workspace.timesDurable, 2);
    QFFileManager::trashFilesNamed("a.txt", "/folder");
    EXPECT_EQ(workspace.timesDurable, 3);
}

TEST_F(TrashAndRemove, TheContentsOfADirectoryAreAnnouncedAHundredAtATime) {
    constexpr int count = 250;
    Lines names;
    for (int i = 0; i < count; ++i) {
        names.push_back(std::to_string(i));
        fileSystem.files.insert("/folder/" + names.back());
    }
    fileSystem.directories = {{"/folder", names}};
    EXPECT_TRUE(QFFileManager::trashDirectoryContents("/folder"));
    ASSERT_EQ(workspace.prepared.size(), 3U);
    EXPECT_EQ(workspace.prepared[0].front(), "/folder/0");
    EXPECT_EQ(workspace.prepared[0].size(), 100U);
    EXPECT_EQ(workspace.prepared[1].front(), "/folder/100");
    EXPECT_EQ(workspace.prepared[2].back(), "/folder/249");
    EXPECT_EQ(workspace.recycled.size(), std::size_t{count});
}

TEST_F(TrashAndRemove, TheSearchAnnouncesWhatItFindsInADirectory) {
    fileSystem.directories = {{"/f", Lines{"a.txt", "none", "sub", "x.txt", "z.TXT"}},
                              {"/f/sub", Lines{"b.txt"}},
                              {"/f/x.txt", Lines{"inner.txt"}}};
    fileSystem.files = {"/f/a.txt", "/f/none", "/f/z.TXT", "/f/sub/b.txt", "/f/x.txt/inner.txt"};
    QFFileManager::trashFilesOfType("txt", "/f");
    EXPECT_EQ(
        workspace.prepared,
        std::vector<Lines>({{"/f/a.txt", "/f/z.TXT"}, {"/f/sub/b.txt"}, {"/f/x.txt/inner.txt"}}));
}

struct DirectoryOfNothing : NamedCase {
    const char* path;
};

class ContentsOfNothing : public TrashAndRemove,
                          public testing::WithParamInterface<DirectoryOfNothing> {
protected:
    ContentsOfNothing() {
        fileSystem.directories = {{"/empty", Lines{}}, {"/unreadable", std::nullopt}};
    }
};

TEST_P(ContentsOfNothing, AreTrashedAndTheDirectoryIsKept) {
    EXPECT_TRUE(QFFileManager::trashDirectoryContents(GetParam().path));
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(workspace.recycled.size(), 0U);
}

TEST_F(TrashAndRemove, TrashOfATypeFindsItWhateverItsCaseAndNoDirectory) {
    fileSystem.directories = {{"/f", Lines{"a.txt", "sub", "x.txt", "none", "z.TXT"}},
                              {"/f/sub", Lines{"b.TxT", "txt", "c.text"}},
                              {"/f/x.txt", Lines{"inner.txt"}}};
    fileSystem.files = {"/f/a.txt",   "/f/none",       "/f/z.TXT",          "/f/sub/b.TxT",
                        "/f/sub/txt", "/f/sub/c.text", "/f/x.txt/inner.txt"};
    EXPECT_EQ(QFFileManager::trashFilesOfType("TXT", "/f"),
              (Lines{"/f/a.txt", "/f/sub/b.TxT", "/f/x.txt/inner.txt", "/f/z.TXT"}));
    EXPECT_EQ(workspace.recycled.size(), 4U);
}

TEST_F(TrashAndRemove, TrashOfATypeLowersTheLettersOfEveryAlphabet) {
    fileSystem.directories = {{"/f", Lines{"a.\u00E9T\u00E9"}}};
    EXPECT_EQ(QFFileManager::trashFilesOfType("\u00C9t\u00C9", "/f"), Lines{"/f/a.\u00E9T\u00E9"});
}

TEST_F(TrashAndRemove, NoTypeIsThatOfItemsWithoutOne) {
    fileSystem.directories = {{"/f", Lines{"Notes", ".hidden", "dot.", "a.txt"}}};
    EXPECT_EQ(QFFileManager::trashFilesOfType("", "/f"),
              (Lines{"/f/Notes", "/f/.hidden", "/f/dot."}));
}

TEST_F(TrashAndRemove, TrashOfANameComparesItExactly) {
    fileSystem.directories = {{"/f", Lines{"sub", "Name", "name", "Name.txt"}},
                              {"/f/sub", Lines{"Name", "Tool.app"}},
                              {"/f/sub/Name", Lines{"Name"}},
                              {"/f/sub/Tool.app", Lines{"Name"}}};
    fileSystem.files = {"/f/Name", "/f/name", "/f/sub/Name/Name", "/f/sub/Tool.app/Name"};
    EXPECT_EQ(QFFileManager::trashFilesNamed("Name", "/f"),
              (Lines{"/f/sub/Name/Name", "/f/sub/Tool.app/Name", "/f/Name"}));
}

TEST_F(TrashAndRemove, TheSearchListsAlsoWhatCouldNotBeTrashed) {
    fileSystem.directories = {{"/f", Lines{"a.txt", "gone.txt", "b.txt"}}};
    fileSystem.files = {"/f/a.txt", "/f/b.txt"};
    workspace.errors["/f/a.txt"] = {.localizedDescription = "It is not yours."};
    refuseTheRight();
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", "/f"),
              (Lines{"/f/a.txt", "/f/gone.txt", "/f/b.txt"}));
    EXPECT_NE(services.calls.size(), 0U); // it was tried
    EXPECT_EQ(workspace.recycled.size(), 2U);
}

TEST_P(ContentsOfNothing, HoldNothingForASearch) {
    EXPECT_EQ(QFFileManager::trashFilesOfType("", GetParam().path), Lines{});
    EXPECT_EQ(QFFileManager::trashFilesNamed("a", GetParam().path), Lines{});
}

INSTANTIATE_TEST_SUITE_P(, ContentsOfNothing,
                         testing::Values(DirectoryOfNothing{{"Empty"}, "/empty"},
                                         DirectoryOfNothing{{"Unreadable"}, "/unreadable"},
                                         DirectoryOfNothing{{"Missing"}, "/missing"},
                                         DirectoryOfNothing{{"File"},
                                                            "/Library/Quillfen/Tool.app"}),
                         nameOfCase);

class DirectoryWithNothingThatCounts : public TrashAndRemove,
                                       public testing::WithParamInterface<std::string> {};

TEST_P(DirectoryWithNothingThatCounts, IsEmpty) {
    fileSystem.directories = {
        {"/none", Lines{}},
        {"/view", Lines{".DS_Store"}},
        {"/icon", Lines{"Icon\r"}},
        {"/nested", Lines{".DS_Store", "sub", "Icon\r"}},
        {"/nested/sub", Lines{"subsub", "Icon\r"}},
        {"/nested/sub/subsub", Lines{}},
        {"/unreadable", std::nullopt},
        {"/odd", Lines{".DS_Store"}},
        {"/odd/.DS_Store", Lines{"file"}},
    };
    fileSystem.files = {"/file"};
    EXPECT_TRUE(QFFileManager::isFolderEmpty(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(All, DirectoryWithNothingThatCounts,
                         testing::Values("/none", "/view", "/icon", "/nested", "/unreadable",
                                         "/odd", "/missing", "/file", ""));

class DirectoryWithSomething : public TrashAndRemove,
                               public testing::WithParamInterface<std::string> {};

TEST_P(DirectoryWithSomething, IsNotEmpty) {
    fileSystem.directories = {{"/hidden", Lines{".hidden"}},
                              {"/icon", Lines{"Icon"}},
                              {"/case", Lines{".ds_store"}},
                              {"/below", Lines{"empty", "full"}},
                              {"/below/empty", Lines{}},
                              {"/below/full", Lines{".DS_Store", "file"}},
                              {"/after", Lines{".DS_Store", "file"}}};
    EXPECT_FALSE(QFFileManager::isFolderEmpty(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(All, DirectoryWithSomething,
                         testing::Values("/hidden", "/icon", "/case", "/below", "/after"));

TEST_F(TrashAndRemove, RemoveIfEmptyDeletesTheDirectoryWithWhatDoesNotCount) {
    fileSystem.directories = {{"/folder", Lines{".DS_Store"}}};
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty("/folder"));
    EXPECT_EQ(fileSystem.changes, (Lines{"unlock /folder", "remove /folder"}));
}

TEST_F(TrashAndRemove, RemoveIfEmptyLeavesADirectoryThatIsNot) {
    fileSystem.directories = {{"/folder", Lines{"file"}}};
    EXPECT_FALSE(QFFileManager::removeFolderIfEmpty("/folder"));
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(TrashAndRemove, RemoveIfEmptySaysWhyItFailed) {
    fileSystem.directories = {{"/folder", Lines{"file"}}, {"/empty", Lines{}}};
    fileSystem.removeErrors["/empty"] = {.localizedDescription = "No."};
    refuseTheRight();
    EXPECT_EQ(QFFileManager::removeFolderIfEmptyWithResult("/folder").error().localizedDescription,
              "/folder is not empty.");
    EXPECT_EQ(QFFileManager::removeFolderIfEmptyWithResult("/empty").error().localizedDescription,
              "No.");
    EXPECT_EQ(QFFileManager::removeFolderIfEmptyWithResult("/missing").value(), qf::DoneBy::user);
}

TEST_F(TrashAndRemove, RemoveIfEmptyMayAskForTheRight) {
    fileSystem.directories = {{"/folder", Lines{}}};
    fileSystem.removeErrors["/folder"] = {.localizedDescription = "No."};
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty("/folder"));
    EXPECT_EQ(services.tools(), Lines{"/bin/rm -Rdf /folder"});
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: No.. Authorizing..."});
}

TEST_F(TrashAndRemove, RemoveIfEmptyOfNothingSucceeds) {
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty("/missing"));
    EXPECT_EQ(loggedLines(),
              Lines{"Unable to unlock file /missing: There is nothing at /missing."});
}

} // namespace
