#include "tests/support/MainThread.h"
#include "tests/util/log/LogTest.h"

#include <future>
#include <latch>
#include <thread>

namespace {

class LogLife : public LogTest {
protected:
    LogLife() { useEmptyLog(); }

    /// Queues the entries 1 to `count` after the gate, which counts as one more operation.
    std::string queueEntries(int count) {
        std::string entries;
        for (int i = 1; i <= count; ++i) {
            QFLog::fastAppendLog("entry %d", i);
            entries += entry("entry " + std::to_string(i));
        }
        return entries;
    }
};

} // namespace

TEST_F(LogLife, HasOneLog) {
    EXPECT_EQ(&QFLog::sharedController(), &log);
    EXPECT_EQ(QFLog::allocWithZone(nullptr), nullptr);
}

TEST_F(LogLife, IsNeitherCopiedNorCounted) {
    EXPECT_EQ(&log.copyWithZone(nullptr), &log);
    EXPECT_EQ(&log.retain(), &log);
    EXPECT_EQ(&log.autorelease(), &log);
    EXPECT_EQ(log.retainCount(), 4294967295U);
    log.release();
    log.release();
    EXPECT_EQ(log.retainCount(), 4294967295U);
    QFLog::appendLog("alive");
    EXPECT_EQ(content(1), entry("alive"));
}

TEST_F(LogLife, WritesTenQueuedOperationsAtTermination) {
    QueueGate gate(queue);
    const auto entries = queueEntries(9);
    ASSERT_EQ(queue.operationCount(), 10U);
    std::latch terminating{1};
    const auto opener = std::async(std::launch::async, [&] {
        terminating.wait();
        while (!mainThreadSleeps()) {
            std::this_thread::yield();
        }
        gate.open();
    });
    terminating.count_down();
    QFLog::willTerminate();
    EXPECT_EQ(contentOf(logPath(1)), entries);
}

TEST_F(LogLife, DropsElevenQueuedOperationsAtTermination) {
    {
        const QueueGate gate(queue);
        queueEntries(10);
        ASSERT_EQ(queue.operationCount(), 11U);
        QFLog::willTerminate();
    }
    EXPECT_EQ(content(1), "");
}

TEST_F(LogLife, LetsGoOfEverythingAtTermination) {
    QFLog::appendLog("last");
    QFLog::willTerminate();
    EXPECT_EQ(log.fileHandle(), nullptr);
    EXPECT_EQ(log.writeQueue(), nullptr);
    EXPECT_EQ(log.appName(), "kelvane-test");
}

TEST_F(LogLife, LosesEntriesAfterTermination) {
    QFLog::willTerminate();
    QFLog::appendLog("too late");
    QFLog::finishWriting();
    EXPECT_EQ(content(1), "");
}

TEST_F(LogLife, IsStillToldOfTheTerminationWhenItIsFreed) {
    FakeApplication application;
    const qf::ScopedService<qf::Application> scoped(application);
    log.dealloc();
    EXPECT_EQ(application.removedObserver, std::nullopt);
    log.setWriteQueue(&queue);
    QFLog::willTerminate();
    EXPECT_NE(application.removedObserver, std::nullopt);
}

TEST_F(LogLife, EndsLikewiseWhenItIsFreed) {
    QFLog::fastAppendLog("last");
    log.dealloc();
    EXPECT_EQ(contentOf(logPath(1)), entry("last"));
    EXPECT_EQ(log.writeQueue(), nullptr);
}
