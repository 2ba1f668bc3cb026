#include "tests/util/log/LogTest.h"

namespace {

/// A log that is about to be full.
class LogLimit : public LogTest {
protected:
    LogLimit() {
        useEmptyLog();
        log.setBytesWritten(499990);
    }

    /// Its entry has 50 bytes.
    const std::string crossing = "the crossing entry...";
};

} // namespace

TEST_F(LogLimit, LeavesTheEntryThatCrossesItInTheOldFile) {
    ASSERT_EQ(entry(crossing).size(), 50U);
    QFLog::appendLog(crossing);
    EXPECT_EQ(content(2), entry(crossing));
    EXPECT_EQ(content(1), header() + entry("Log truncated at 500KB"));
    EXPECT_EQ(log.bytesWritten(), contentOf(logPath(1)).size());
}

TEST_F(LogLimit, IsReachedByExactlyHalfAMillionBytes) {
    log.setBytesWritten(499950);
    QFLog::appendLog(crossing);
    EXPECT_EQ(content(2), entry(crossing));
}

TEST_F(LogLimit, IsNotReachedByOneByteLess) {
    log.setBytesWritten(499949);
    QFLog::appendLog(crossing);
    EXPECT_EQ(content(1), entry(crossing));
    EXPECT_FALSE(exists(2));
}

TEST_F(LogLimit, LosesNoEntryThatWasQueuedBehindTheOneThatCrossesIt) {
    std::string expected = entry(crossing);
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog(crossing);
        for (int i = 0; i < 200; ++i) {
            QFLog::fastAppendLog("queued %d", i);
            expected += entry("queued " + std::to_string(i));
        }
    }
    EXPECT_EQ(content(2), expected);
    EXPECT_EQ(content(1), header() + entry("Log truncated at 500KB"));
    EXPECT_FALSE(exists(3));
}

TEST_F(LogLimit, LeavesNothingCountedAsQueued) {
    QFLog::appendLog(crossing);
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(log.bytesInQueue(), 0U);
}

TEST_F(LogLimit, AllowsPrintingAgain) {
    log.setNoPrinting(true);
    QFLog::appendLog(crossing);
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_FALSE(log.noPrinting());
}

TEST_F(LogLimit, StartsTheNewLogUnderTheNameOfTheExecutableWhenItHasNoOther) {
    log.setAppName(std::nullopt);
    system.executable = "/bin/Test";
    QFLog::appendLog(crossing);
    EXPECT_EQ(content(2), entry(crossing));
    system.executable = "/bin/Other";
    EXPECT_EQ(log.appName(), "Test");
}

TEST_F(LogLimit, GoesOnInTheOldFileWhenItCannotBeMoved) {
    StuckLogFiles stuck(logPath(4));
    const qf::ScopedService<qf::LogFiles> inPlace(stuck);
    writeLog(4, "old 4");
    QFLog::appendLog(crossing);
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(content(1), entry(crossing) + entry("Log truncated at 500KB"));
    EXPECT_EQ(console.printed(), "Unable to move file " + logPath(4) + " to " + logPath(5) + ".\n");
}

TEST_F(LogLimit, CountsOnlyWhatThisProcessHasWritten) {
    writeLog(1, std::string(600000, 'x'));
    log.setBytesWritten(0);
    QFLog::appendLog("short");
    EXPECT_EQ(content(1).size(), 600000 + entry("short").size());
    EXPECT_FALSE(exists(2));
}

TEST_F(LogLimit, StartsNoNewLogWhereAnotherProcessHasStartedOneMeanwhile) {
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog(crossing);
        queue.addOperation([this] {
            ASSERT_TRUE(files.renameLog(logPath(1), logPath(2)));
            writeLog(1, "another's\n");
        });
    }
    EXPECT_EQ(content(2), entry(crossing));
    EXPECT_EQ(content(1), "another's\n");
    EXPECT_FALSE(exists(3));
    EXPECT_EQ(log.bytesWritten(), 0U);
    QFLog::appendLog("next");
    EXPECT_EQ(content(1), "another's\n" + entry("next"));
}

TEST_F(LogLimit, CountsAnewInALogThatAnotherProcessHasStarted) {
    log.setBytesWritten(0);
    QFLog::appendLog("first");
    QFLog::finishWriting();
    log.setBytesWritten(499990);
    ASSERT_TRUE(files.renameLog(logPath(1), logPath(2)));
    writeLog(1, "");
    QFLog::appendLog(crossing);
    EXPECT_EQ(content(1), entry(crossing));
    EXPECT_EQ(log.bytesWritten(), 50U);
}
