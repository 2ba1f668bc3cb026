#include "tests/util/files/FileManagerTest.h"

using namespace std::chrono_literals;

namespace {

class FileWaits : public FileManagerTest {
protected:
    FileWaits() { fileSystem.files = {"/file", "/lock"}; }

    /// Sets the file's last change to that long ago.
    void change(std::chrono::microseconds ago) {
        fileSystem.attributes["/file"] = {.modificationDate = pauses.now() - ago};
    }

    const Lines waited{"File /file is currently being written to. Waiting...",
                       "File /file finished writing."};
};

} // namespace

TEST_F(FileWaits, AFileWithContentIsCreated) {
    fileSystem.attributes["/file"] = {.size = 1};
    QFFileManager::waitForFileCreation("/file", 10);
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FileWaits, AMissingOrEmptyFileIsWaitedForOnce) {
    QFFileManager::waitForFileCreation("/missing", 10);
    QFFileManager::waitForFileCreation("/file", 1);
    EXPECT_EQ(pauses.rests, Rests({500us, 500us}));
    EXPECT_EQ(loggedLines(), (Lines{"File /missing is not yet created. Waiting...",
                                    "File /file is not yet created. Waiting..."}));
}

TEST_F(FileWaits, WithoutTimeThereIsNoWaitForCreation) {
    for (const auto timeout : {0, -5}) {
        QFFileManager::waitForFileCreation("/missing", timeout);
    }
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FileWaits, AFileThatHasBeenQuietForLongIsWritten) {
    change(1min);
    QFFileManager::waitForFileWrites("/file");
    QFFileManager::waitForFileWrites("/file", "/missing lock");
    change(5s + 1us);
    QFFileManager::waitForFileWrites("/file");
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FileWaits, TheEarliestDateOfAllLiesInThePast) {
    fileSystem.attributes["/file"] = {.modificationDate = qf::Date::min()};
    QFFileManager::waitForFileWrites("/file");
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(FileWaits, AFileIsWaitedForUntilItHasBeenQuietForMoreThanFiveSeconds) {
    change(4999ms);
    QFFileManager::waitForFileWrites("/file");
    EXPECT_EQ(pauses.rests, Rests(3, 500us));
    EXPECT_EQ(loggedLines(), waited);
}

TEST_F(FileWaits, ExactlyFiveSecondsAreNotEnough) {
    change(5s);
    QFFileManager::waitForFileWrites("/file");
    EXPECT_EQ(pauses.rests, Rests(1, 500us));
    EXPECT_EQ(loggedLines(), waited);
}

TEST_F(FileWaits, AFileThatIsWrittenMeanwhileIsWaitedForLonger) {
    change(4999ms);
    pauses.meanwhile = [this] {
        if (pauses.rests.size() == 2) {
            change(4999ms);
        }
    };
    QFFileManager::waitForFileWrites("/file");
    EXPECT_EQ(pauses.rests.size(), 5U);
}

TEST_F(FileWaits, ADateInTheFutureIsWaitedFor) {
    change(-1s);
    pauses.meanwhile = [this] { pauses.pass(1s); };
    QFFileManager::waitForFileWrites("/file");
    EXPECT_EQ(pauses.rests.size(), 6U);
}

TEST_F(FileWaits, ALockFileOnlyDecidesWhetherThereIsAWait) {
    change(1min);
    QFFileManager::waitForFileWrites("/file", "/lock");
    EXPECT_EQ(pauses.rests, Rests{});
    EXPECT_EQ(loggedLines(), waited);
}

TEST_F(FileWaits, AMissingFileIsWaitedForUntilItIsThereAndQuiet) {
    fileSystem.files = {"/lock"};
    pauses.meanwhile = [this] {
        if (pauses.rests.size() == 100) {
            fileSystem.files.insert("/file");
            change(4999ms);
        }
    };
    QFFileManager::waitForFileWrites("/file", "/lock");
    EXPECT_EQ(pauses.rests.size(), 103U);
    EXPECT_EQ(loggedLines(), waited);
}
