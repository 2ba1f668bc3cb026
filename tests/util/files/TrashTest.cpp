#include "util/files/QFFileManager.h"

#include "tests/support/DescribedMachine.h"

namespace {

class TrashAndRemove : public DescribedMachine {
protected:
    static constexpr const char* item = "/Library/Quillfen/Tool.app";

    TrashAndRemove() { fileSystem.files = {item}; }

    void failToRecycle() { workspace.errors[item] = {.localizedDescription = "It is not yours."}; }
    void failToRemove() {
        fileSystem.removeErrors[item] = {.localizedDescription = "You can’t remove it."};
    }
};

} // namespace

TEST_F(TrashAndRemove, TrashRecyclesTheUnlockedItem) {
    EXPECT_TRUE(QFFileManager::trashFile(item));
    EXPECT_EQ(fileSystem.changes, Lines{"unlock /Library/Quillfen/Tool.app"});
    EXPECT_EQ(workspace.recycled,
              std::vector<Lines>({{"/Library/Quillfen", "/home/someone/.Trash", "Tool.app"}}));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashTakesAnItemOfTheRootFolder) {
    fileSystem.files = {"/item"};
    EXPECT_TRUE(QFFileManager::trashFile("/item"));
    EXPECT_EQ(workspace.recycled, std::vector<Lines>({{"/", "/home/someone/.Trash", "item"}}));
}

TEST_F(TrashAndRemove, TrashingNothingSucceedsWithTheLineOfTheUnlocking) {
    for (const auto shouldAuth : {ShouldAuth::yes, ShouldAuth::no}) {
        EXPECT_TRUE(QFFileManager::trashFile("/missing", shouldAuth));
        EXPECT_EQ(loggedLines(),
                  Lines{"Unable to unlock file /missing: There is nothing at /missing."});
    }
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
    services.rightsStatus = platform::errAuthorizationCanceled;
    EXPECT_FALSE(QFFileManager::trashFile(item, ShouldAuth::yes));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, TrashFailsSilentlyWhereTheFallbackIsForbidden) {
    failToRecycle();
    EXPECT_FALSE(QFFileManager::trashFile(item, ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(TrashAndRemove, RemoveDeletesTheUnlockedItem) {
    EXPECT_TRUE(QFFileManager::removeFile(item));
    EXPECT_EQ(fileSystem.changes,
              (Lines{"unlock /Library/Quillfen/Tool.app", "remove /Library/Quillfen/Tool.app"}));
    EXPECT_FALSE(fileSystem.exists(item));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TrashAndRemove, RemovingNothingSucceedsWithTheLineOfTheUnlocking) {
    for (const auto shouldAuth : {ShouldAuth::yes, ShouldAuth::no}) {
        fileSystem.changes.clear();
        EXPECT_TRUE(QFFileManager::removeFile("/missing", shouldAuth));
        EXPECT_EQ(loggedLines(),
                  Lines{"Unable to unlock file /missing: There is nothing at /missing."});
        EXPECT_EQ(fileSystem.changes, Lines{"unlock /missing"});
    }
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(TrashAndRemove, RemoveFallsBackToTheAdministratorsRight) {
    failToRemove();
    EXPECT_TRUE(QFFileManager::removeFile(item));
    EXPECT_EQ(services.tools(), Lines{"/bin/rm -Rdf /Library/Quillfen/Tool.app"});
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t remove it.. Authorizing..."});
}

TEST_F(TrashAndRemove, RemoveFailsWhenTheRightIsRefused) {
    failToRemove();
    services.rightsStatus = platform::errAuthorizationCanceled;
    EXPECT_FALSE(QFFileManager::removeFile(item, ShouldAuth::yes));
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t remove it.. Authorizing..."});
}

TEST_F(TrashAndRemove, RemoveSaysThatItAuthorizesAlsoWhereThatIsForbidden) {
    failToRemove();
    EXPECT_FALSE(QFFileManager::removeFile(item, ShouldAuth::no));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t remove it.. Authorizing..."});
}

TEST_F(TrashAndRemove, APercentSignInAMessageIsNoDirective) {
    fileSystem.files = {"/100%@ %d"};
    fileSystem.lockErrors["/100%@ %d"] = {.localizedDescription = "%n%s"};
    fileSystem.removeErrors["/100%@ %d"] = {.localizedDescription = "50%"};
    EXPECT_FALSE(QFFileManager::removeFile("/100%@ %d", ShouldAuth::no));
    EXPECT_EQ(loggedLines(), (Lines{"Unable to unlock file /100%@ %d: %n%s",
                                    "Error removing file: 50%. Authorizing..."}));
}
