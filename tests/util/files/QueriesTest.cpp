#include "util/files/QFFileManager.h"

#include "tests/support/DescribedMachine.h"

namespace {

class FileQueries : public DescribedMachine {
protected:
    FileQueries() {
        fileSystem.files = {"/file"};
        fileSystem.folders = {{"/folder", Lines{}}, {"/Tool.app", Lines{}}};
        workspace.packages = {"/Tool.app"};
    }
};

} // namespace

TEST_F(FileQueries, WhatStandsAtAPathExists) {
    EXPECT_TRUE(QFFileManager::fileExistsAtPath("/file"));
    EXPECT_TRUE(QFFileManager::fileExistsAtPath("/folder"));
    EXPECT_FALSE(QFFileManager::fileExistsAtPath("/missing"));
}

TEST_F(FileQueries, OnlyAFolderIsADirectory) {
    EXPECT_TRUE(QFFileManager::isDirectoryAtPath("/folder"));
    EXPECT_FALSE(QFFileManager::isDirectoryAtPath("/file"));
    EXPECT_FALSE(QFFileManager::isDirectoryAtPath("/missing"));
}

TEST_F(FileQueries, ThePackageIsWhatTheDesktopTakesForOne) {
    EXPECT_TRUE(QFFileManager::isPackageAtPath("/Tool.app"));
    EXPECT_FALSE(QFFileManager::isPackageAtPath("/folder"));
}

TEST_F(FileQueries, LockingAndUnlockingChangeTheFlagSilently) {
    QFFileManager::lockFile("/file");
    QFFileManager::unlockFile("/file");
    EXPECT_EQ(fileSystem.changes, (Lines{"lock /file", "unlock /file"}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FileQueries, AFailedLockingIsLoggedAsAnUnlockingToo) {
    QFFileManager::lockFile("/missing");
    QFFileManager::unlockFile("/missing");
    const std::string line = "Unable to unlock file /missing: There is nothing at /missing.";
    EXPECT_EQ(loggedLines(), (Lines{line, line}));
}
