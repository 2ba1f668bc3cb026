#include "tests/util/log/LogTest.h"

#include "platform/foundation/Exception.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

class LogWriting : public LogTest {
protected:
    LogWriting() { useEmptyLog(); }
};

/// A file whose disk is full.
class FullFile : public qf::LogFile {
public:
    void append(std::string_view /*entry*/) override {
        throw qf::Exception("NSFileHandleOperationException", "the disk is full");
    }
    bool hasName() override { return true; }
    bool isInPlace() override { return true; }
};

/// A console that nothing can be printed on.
class ClosedConsole : public RecordingConsole {
public:
    void print(std::string_view /*text*/) override { throw std::runtime_error("it is closed"); }
};

/// An application that cannot say which thread is its main thread.
class UnsureApplication : public FakeApplication {
public:
    bool isMainThread() override { throw std::runtime_error("it does not know"); }
};

} // namespace

TEST(LogEscaping, ReturnsATextWithoutPercentSignsUnchanged) {
    EXPECT_EQ(QFLog::escapeTextForLogging("plain - text."), "plain - text.");
    EXPECT_EQ(QFLog::escapeTextForLogging(""), "");
}

TEST(LogEscaping, DoublesAPercentSignBeforeABlankAndPunctuation) {
    EXPECT_EQ(QFLog::escapeTextForLogging("% "), "%% ");
    EXPECT_EQ(QFLog::escapeTextForLogging("%."), "%%.");
    EXPECT_EQ(QFLog::escapeTextForLogging("%!"), "%%!");
    EXPECT_EQ(QFLog::escapeTextForLogging("%,"), "%%,");
    EXPECT_EQ(QFLog::escapeTextForLogging("%-"), "%%-");
    EXPECT_EQ(QFLog::escapeTextForLogging("%;"), "%%;");
    EXPECT_EQ(QFLog::escapeTextForLogging("%:"), "%%:");
    EXPECT_EQ(QFLog::escapeTextForLogging("%+"), "%%+");
}

TEST(LogEscaping, DoublesEveryOccurrence) {
    EXPECT_EQ(QFLog::escapeTextForLogging("1% of 2%, 3%. 4% "), "1%% of 2%%, 3%%. 4%% ");
}

TEST(LogEscaping, UndoesTheDoublingOfASignThatWasDoubledAlready) {
    EXPECT_EQ(QFLog::escapeTextForLogging("100%% done"), "100%% done");
    EXPECT_EQ(QFLog::escapeTextForLogging("%%."), "%%.");
}

TEST(LogEscaping, TakesAnyThreePercentSignsForTwo) {
    EXPECT_EQ(QFLog::escapeTextForLogging("%%%"), "%%");
    EXPECT_EQ(QFLog::escapeTextForLogging("%%%%"), "%%%");
    EXPECT_EQ(QFLog::escapeTextForLogging("%%%%%%"), "%%%%");
}

TEST(LogEscaping, LeavesOtherDirectivesToTheFormatter) {
    EXPECT_EQ(QFLog::escapeTextForLogging("%@ %d%s%li%%%"), "%@ %d%s%li%%");
    EXPECT_EQ(QFLog::escapeTextForLogging("%@%d%s%li%%"), "%@%d%s%li%%");
    EXPECT_EQ(QFLog::escapeTextForLogging("50%"), "50%");
}

TEST_F(LogWriting, WritesTheDateAndTheMessage) {
    QFLog::appendLog("Moved %@ to %s.", "a", "b");
    EXPECT_EQ(content(1), "2026-11-16 12:00:00 +0000 - Moved a to b.\n");
}

TEST_F(LogWriting, LeavesAPercentSignInProseUnchanged) {
    QFLog::appendLog("100% done");
    QFLog::appendLog("%-5s", "argument");
    QFLog::appendLog("%+d", 5);
    EXPECT_EQ(content(1), entry("100% done") + entry("%-5s") + entry("%+d"));
}

TEST_F(LogWriting, WritesNothingForNoFormat) {
    QFLog::appendLog(std::nullopt);
    QFLog::fastAppendLog(std::nullopt);
    QFLog::appendLogAndPrint(std::nullopt);
    QFLog::appendLogAndDebugPrint(std::nullopt);
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, TakesANullPointerForNoFormat) {
    const char* const missing = nullptr;
    QFLog::appendLog(missing);
    QFLog::appendLogAndPrint(nullptr);
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, WritesNothingForWhiteSpace) {
    const QueueGate gate(queue);
    QFLog::fastAppendLog("  \n");
    EXPECT_EQ(log.bytesInQueue(), 0U);
    EXPECT_EQ(queue.operationCount(), 1U);
}

TEST_F(LogWriting, TrimsAnEntryAndKeepsItsInnerLineEnds) {
    QFLog::appendLog("\t one\n two \r\n\n");
    EXPECT_EQ(content(1), entry("one\n two"));
}

TEST_F(LogWriting, WritesTheTimeOfWritingNotOfQueuing) {
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog("late");
        clock.time = FakeClock::noon + std::chrono::minutes(5);
    }
    EXPECT_EQ(content(1), "2026-11-16 12:05:00 +0000 - late\n");
}

TEST_F(LogWriting, KeepsTheOrderOfEntriesWhenTheClockStepsBack) {
    QFLog::appendLog("one");
    clock.time = FakeClock::noon - std::chrono::hours(1);
    QFLog::appendLog("two");
    clock.time = FakeClock::noon;
    QFLog::appendLog("three");
    EXPECT_EQ(content(1), entry("one") + "2026-11-16 11:00:00 +0000 - two\n" + entry("three"));
}

TEST_F(LogWriting, WritesForeignBytesAsTextAndKeepsZeros) {
    QFLog::appendLog("name %@", "caf\xE9");
    QFLog::appendLog(std::string_view("a\0b", 3));
    EXPECT_EQ(content(1), entry("name caf\\xE9") + entry(std::string("a\0b", 3)));
}

TEST_F(LogWriting, AppendsToTheExistingCurrentLog) {
    writeLog(1, "before\n");
    QFLog::appendLog("after");
    EXPECT_EQ(content(1), "before\n" + entry("after"));
    EXPECT_NE(log.fileHandle(), nullptr);
}

TEST_F(LogWriting, CountsBytesWritten) {
    QFLog::appendLog("\xC3\xA9\xC3\xA9");
    QFLog::finishWriting();
    EXPECT_EQ(log.bytesWritten(), entry("\xC3\xA9\xC3\xA9").size());
}

TEST_F(LogWriting, CountsQueuedCharactersInUtf16Units) {
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog(" \xF0\x9F\x98\x80\xC3\xA9z ");
        EXPECT_EQ(log.bytesInQueue(), 4U);
    }
    QFLog::finishWriting();
    EXPECT_EQ(log.bytesInQueue(), 0U);
}

TEST_F(LogWriting, PrintsThatThereIsNoLogToWriteTo) {
    fs::remove(logPath(1));
    QFLog::appendLog("lost 50%%");
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "Unable to log the following information: lost 50%\n"
                                 "Unable to open log for output\n");
    EXPECT_FALSE(exists(1));
    EXPECT_EQ(log.bytesInQueue(), 0U);
    EXPECT_EQ(log.bytesWritten(), 0U);
}

TEST_F(LogWriting, GoesOnInTheLogThatAnotherProcessHasStarted) {
    QFLog::appendLog("first");
    QFLog::finishWriting();
    fs::rename(logPath(1), logPath(2));
    writeLog(1, "");
    QFLog::appendLog("second");
    EXPECT_EQ(content(2), entry("first"));
    EXPECT_EQ(content(1), entry("second"));
}

TEST_F(LogWriting, SaysThatAnEntryIsLostWhoseFileWasMovedAway) {
    QFLog::appendLog("first");
    QFLog::finishWriting();
    fs::rename(logPath(1), machine / "elsewhere");
    QFLog::appendLog("second");
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(machine / "elsewhere"), entry("first"));
    EXPECT_EQ(console.printed(), "Unable to log the following information: second\n"
                                 "Unable to open log for output\n");
}

TEST_F(LogWriting, SaysThatAnEntryIsLostWhoseFileWasDeleted) {
    QFLog::appendLog("first");
    QFLog::finishWriting();
    fs::remove(logPath(1));
    QFLog::appendLog("second");
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "Unable to log the following information: second\n"
                                 "Unable to open log for output\n");
}

TEST_F(LogWriting, SaysThatAnEntryIsLostWhoseDirectoryWasMovedAndGoesOnWhenItIsBack) {
    QFLog::appendLog("first");
    QFLog::finishWriting();
    fs::rename(directory(), machine / "elsewhere");
    QFLog::appendLog("second");
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "Unable to log the following information: second\n"
                                 "Unable to open log for output\n");
    fs::rename(machine / "elsewhere", directory());
    QFLog::appendLog("third");
    EXPECT_EQ(content(1), entry("first") + entry("third"));
}

/// A log file that counts the checks whether it is in place.
class WatchedFile : public qf::LogFile {
public:
    int looks = 0;
    std::vector<int> looksBefore;

    void append(std::string_view /*entry*/) override {
        looksBefore.push_back(std::exchange(looks, 0));
    }
    bool hasName() override { return true; }
    bool isInPlace() override {
        ++looks;
        return true;
    }
};

TEST_F(LogWriting, LooksForItsFileBeforeTheFirstAndNowAndThenBetweenEntriesThatWait) {
    const auto file = std::make_shared<WatchedFile>();
    log.setFileHandle(file);
    {
        const QueueGate gate(queue);
        for (int number = 0; number < 100; ++number) {
            QFLog::fastAppendLog("entry");
        }
    }
    QFLog::finishWriting();
    ASSERT_EQ(file->looksBefore.size(), 100U);
    EXPECT_EQ(file->looksBefore.front(), 1);
    const auto looks = std::count(file->looksBefore.begin(), file->looksBefore.end(), 1);
    EXPECT_GE(looks, 1 + 3);
    EXPECT_LE(looks, 1 + 4);
}

TEST_F(LogWriting, LooksForItsFileBeforeEveryEntryThatDidNotWait) {
    const auto file = std::make_shared<WatchedFile>();
    log.setFileHandle(file);
    for (int number = 0; number < 100; ++number) {
        QFLog::appendLog("entry");
    }
    EXPECT_EQ(file->looksBefore, std::vector<int>(100, 1));
}

TEST_F(LogWriting, LooksForItsFileBehindAnOperationThatIsNoEntry) {
    const auto file = std::make_shared<WatchedFile>();
    log.setFileHandle(file);
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog("entry");
        queue.addOperation([] {});
        QFLog::fastAppendLog("entry");
    }
    QFLog::finishWriting();
    EXPECT_EQ(file->looksBefore, (std::vector{1, 1}));
}

/// A log file to which something happens when it has got so many entries.
class EventfulFile : public qf::LogFile {
public:
    EventfulFile(std::shared_ptr<qf::LogFile> file, int entries, std::function<void()> happening)
        : file_(std::move(file)), left_(entries), happening_(std::move(happening)) {}

    void append(std::string_view entry) override {
        file_->append(entry);
        if (--left_ == 0) {
            happening_();
        }
    }
    bool hasName() override { return file_->hasName(); }
    bool isInPlace() override { return file_->isInPlace(); }

private:
    std::shared_ptr<qf::LogFile> file_;
    int left_;
    std::function<void()> happening_;
};

class LogBurst : public LogWriting {
protected:
    /// Something that happens to the log when so many entries were written.
    void after(int entries, std::function<void()> happening) {
        log.setFileHandle(
            std::make_shared<EventfulFile>(files.open(logPath(1)), entries, std::move(happening)));
    }
    void deleteLog() { fs::remove(logPath(1)); }
    void replaceLog() {
        deleteLog();
        writeLog(1, "");
    }
    /// Has so many entries wait before the first is written, and waits for them all.
    void logAtOnce(int count) {
        {
            const QueueGate gate(queue);
            for (int number = 0; number < count; ++number) {
                QFLog::fastAppendLog("%d", number);
            }
        }
        QFLog::finishWriting();
    }
    static std::string entriesUpTo(int count) {
        std::string all;
        for (int number = 0; number < count; ++number) {
            all += entry(std::to_string(number));
        }
        return all;
    }
};

TEST_F(LogBurst, IsWrittenOnceMoreWhenItsFileIsReplacedInItsMidst) {
    after(10, [this] { replaceLog(); });
    logAtOnce(20);
    EXPECT_EQ(contentOf(logPath(1)), entriesUpTo(20));
    EXPECT_EQ(log.bytesWritten(), entriesUpTo(20).size());
    EXPECT_EQ(log.bytesInQueue(), 0U);
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogBurst, IsWrittenOnceMoreHoweverLongItsEntriesAre) {
    const std::string large(300000, 'x');
    after(1, [this] { replaceLog(); });
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog(large);
        QFLog::fastAppendLog("behind it");
    }
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(logPath(1)), entry(large) + entry("behind it"));
}

TEST_F(LogBurst, IsSaidToBeLostWhenItsFileIsDeletedInItsMidst) {
    after(2, [this] { deleteLog(); });
    logAtOnce(3);
    std::string said;
    for (const char* message : {"0", "1", "2"}) {
        said += "Unable to log the following information: " + std::string(message) +
                "\nUnable to open log for output\n";
    }
    EXPECT_EQ(console.printed(), said);
    EXPECT_EQ(log.bytesInQueue(), 0U);
}

TEST_F(LogBurst, IsSaidToBeLostWhenTheFileThatReplacesItsOwnIsFull) {
    class FullFiles : public qf::native::LogFiles {
        std::shared_ptr<qf::LogFile> open(const std::string& /*path*/) override {
            return std::make_shared<FullFile>();
        }
    } fullFiles;
    const qf::ScopedService<qf::LogFiles> scopedFullFiles(fullFiles);
    after(2, [this] { replaceLog(); });
    logAtOnce(2);
    const std::string failure = "Exception writing to log: the disk is full\n";
    EXPECT_EQ(console.printed(), failure + failure);
}

TEST_F(LogBurst, IsWrittenInOrderWhenAnOperationInItsMidstReplacesItsFile) {
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog("0");
        queue.addOperation([this] { replaceLog(); });
        QFLog::fastAppendLog("1");
    }
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(logPath(1)), entriesUpTo(2));
}

TEST_F(LogBurst, IsInItsFileOrWhereThatWasMovedInItsMidst) {
    after(10, [this] {
        fs::rename(logPath(1), machine / "elsewhere");
        writeLog(1, "");
    });
    logAtOnce(100);
    EXPECT_NE(contentOf(logPath(1)), "");
    EXPECT_EQ(contentOf(machine / "elsewhere") + contentOf(logPath(1)), entriesUpTo(100));
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogBurst, HasNobodyToldOfAnEntryWhoseFileWasReplaced) {
    after(1, [this] { replaceLog(); });
    QFLog::appendLog("0");
    EXPECT_EQ(contentOf(logPath(1)), entriesUpTo(1));
}

TEST_F(LogBurst, IsWrittenOnceMoreBeforeItsLastEntryStartsANewLog) {
    log.setBytesWritten(499990);
    after(1, [this] { replaceLog(); });
    logAtOnce(1);
    EXPECT_EQ(contentOf(logPath(1)), entriesUpTo(1));
    EXPECT_FALSE(exists(2));
}

TEST_F(LogBurst, IsKeptOnlyUpToSoManyEntriesAndBytes) {
    /// Remembers how much it got at most without being asked for its name.
    class AskedFile : public qf::LogFile {
    public:
        void append(std::string_view entry) override {
            mostEntries = std::max(mostEntries, ++entries_);
            mostBytes = std::max(mostBytes, bytes_ += entry.size());
        }
        bool hasName() override {
            entries_ = 0;
            bytes_ = 0;
            return true;
        }
        bool isInPlace() override { return true; }

        int mostEntries = 0;
        std::size_t mostBytes = 0;

    private:
        int entries_ = 0;
        std::size_t bytes_ = 0;
    };
    const auto file = std::make_shared<AskedFile>();
    log.setFileHandle(file);
    logAtOnce(1000);
    EXPECT_EQ(file->mostEntries, 32);
    {
        const QueueGate gate(queue);
        for (int number = 0; number < 40; ++number) {
            QFLog::fastAppendLog(std::string(10000, 'x'));
        }
    }
    QFLog::finishWriting();
    EXPECT_LE(file->mostBytes, 65536U + 10100U);
}

TEST_F(LogWriting, LooksAfterEveryEntryThatIsNotWrittenOnItsQueue) {
    log.setFileHandle(std::make_shared<EventfulFile>(files.open(logPath(1)), 1, [this] {
        fs::remove(logPath(1));
        writeLog(1, "");
    }));
    log.appendLogOnThread("at once");
    EXPECT_EQ(contentOf(logPath(1)), entry("at once"));
}

TEST_F(LogWriting, PrintsNothingAboutAMissingLogWhenPrintingIsOff) {
    fs::remove(logPath(1));
    log.setNoPrinting(true);
    QFLog::appendLog("lost");
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, GoesThroughTheUsersOwnLink) {
    const auto target = machine.write("elsewhere", "");
    fs::remove(logPath(1));
    fs::create_symlink(target, logPath(1));
    QFLog::appendLog("one");
    QFLog::appendLog("two");
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(target), entry("one") + entry("two"));
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, DoesNotWriteThroughALinkThatOthersMayHavePlanted) {
    const auto victim = machine.write("victim", "");
    fs::remove(logPath(1));
    fs::create_symlink(victim, logPath(1));
    fs::permissions(directory(), fs::perms::all);
    QFLog::appendLog("secret");
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(victim), "");
    EXPECT_TRUE(console.printed().ends_with("Unable to open log for output\n"));
}

TEST_F(LogWriting, PrintsTheReasonWhenAnEntryCannotBeWritten) {
    log.setFileHandle(std::make_shared<FullFile>());
    QFLog::appendLog("lost");
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "Exception writing to log: the disk is full\n");
    EXPECT_EQ(log.bytesWritten(), 0U);
}

TEST_F(LogWriting, PrintsNoReasonWhenPrintingIsOff) {
    log.setFileHandle(std::make_shared<FullFile>());
    log.setNoPrinting(true);
    QFLog::appendLog("lost");
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, KeepsCountingAnEntryThatRaisedAnException) {
    log.setFileHandle(std::make_shared<FullFile>());
    QFLog::appendLog("12345");
    QFLog::finishWriting();
    EXPECT_EQ(log.bytesInQueue(), 5U);
    log.setFileHandle(nullptr);
    QFLog::appendLog("123");
    QFLog::finishWriting();
    EXPECT_EQ(log.bytesInQueue(), 5U);
}

TEST_F(LogWriting, WritesAndCountsNothingWhenDisabled) {
    log.setLoggingDisabled(true);
    QFLog::appendLog("one");
    QFLog::fastAppendLog("two");
    QFLog::appendLogAndPrint("three");
    QFLog::appendLogAndDebugPrint("four");
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(console.printed(), "");
    EXPECT_EQ(log.bytesInQueue(), 0U);
}

TEST_F(LogWriting, LeavesAnEntryCountedThatWasQueuedBeforeLoggingWasDisabled) {
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog("12345");
        log.setLoggingDisabled(true);
    }
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(log.bytesInQueue(), 5U);
}

TEST_F(LogWriting, DoesNothingForDebugPrint) {
    QFLog::debugPrint("anything %@", "at all");
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(console.printed(), "");
    EXPECT_EQ(log.bytesInQueue(), 0U);
}

TEST_F(LogWriting, PrintsWhatItWrites) {
    QFLog::appendLogAndPrint("a%@b\n", "x");
    EXPECT_EQ(content(1), entry("axb"));
    EXPECT_EQ(console.printed(), "axb\n");
}

TEST_F(LogWriting, ShowsThePercentSignDoubledOnTheConsole) {
    QFLog::appendLogAndPrint("50%");
    EXPECT_EQ(content(1), entry("50%"));
    EXPECT_EQ(console.printed(), "50%%\n");
}

TEST_F(LogWriting, LeavesObjectDirectivesAndZerosOutOnTheConsole) {
    QFLog::appendLogAndPrint("a%@b%@c", "%@", std::string_view("\0z", 2));
    EXPECT_EQ(console.printed(), "abzc\n");
}

TEST_F(LogWriting, FormatsThePrintedMessageASecondTimeWithoutArguments) {
    QFLog::appendLogAndPrint("%@", "100%% of %d");
    EXPECT_EQ(content(1), entry("100% of %d"));
    EXPECT_EQ(console.printed(), "100%%%% of %%d\n");
}

TEST_F(LogWriting, WritesButDoesNotPrintWhenPrintingIsOff) {
    log.setNoPrinting(true);
    QFLog::appendLogAndPrint("quiet");
    EXPECT_EQ(content(1), entry("quiet"));
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, FormatsTheDebugMessageASecondTimeWithItselfAsArgument) {
    QFLog::appendLogAndDebugPrint(" %@ \n", "a %@ b %@");
    EXPECT_EQ(content(1), entry("a a %@ b %@ b %@"));
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, WaitsForAShortMessageOfAWorker) {
    const std::string text(99, 'x');
    for (int i = 1; i <= 50; ++i) {
        QFLog::appendLog(text);
        ASSERT_EQ(contentOf(logPath(1)).size(), static_cast<std::size_t>(i) * entry(text).size());
    }
}

TEST_F(LogWriting, WaitsForAShortMessageThatIsPrinted) {
    const std::string text(99, 'x');
    for (int i = 1; i <= 50; ++i) {
        QFLog::appendLogAndPrint(text);
        ASSERT_EQ(contentOf(logPath(1)).size(), static_cast<std::size_t>(i) * entry(text).size());
    }
}

TEST_F(LogWriting, WaitsForAShortMessageForDebugging) {
    const std::string text(99, 'x');
    for (int i = 1; i <= 50; ++i) {
        QFLog::appendLogAndDebugPrint(text);
        ASSERT_EQ(contentOf(logPath(1)).size(), static_cast<std::size_t>(i) * entry(text).size());
    }
}

TEST_F(LogWriting, NeverWaitsForAnEmptyMessage) {
    const QueueGate gate(queue);
    QFLog::appendLog("");
    QFLog::appendLog("%@", "");
    EXPECT_EQ(queue.operationCount(), 1U);
}

TEST_F(LogWriting, PrintsALineEndForABlankMessage) {
    QFLog::appendLogAndPrint("  \n");
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(console.printed(), "\n");
}

TEST_F(LogWriting, DoesNotWaitForAHundredCharacters) {
    QueueGate gate(queue);
    QFLog::appendLog(std::string(100, 'x'));
    EXPECT_EQ(contentOf(logPath(1)), "");
}

TEST_F(LogWriting, CountsUtf16UnitsOfTheMessageAsItIsBeforeTrimming) {
    QueueGate gate(queue);
    QFLog::appendLog(std::string(98, ' ') + "\xF0\x9F\x98\x80");
    EXPECT_EQ(contentOf(logPath(1)), "");
    EXPECT_EQ(log.bytesInQueue(), 2U);
}

TEST_F(LogWriting, DoesNotWaitWhileMoreThanNinetyNineCharactersAreQueued) {
    QueueGate gate(queue);
    QFLog::fastAppendLog(std::string(99, 'x'));
    QFLog::appendLog("y");
    EXPECT_EQ(contentOf(logPath(1)), "");
}

TEST_F(LogWriting, WaitsWhileNinetyNineCharactersAreQueued) {
    log.setBytesInQueue(98);
    for (int i = 1; i <= 50; ++i) {
        QFLog::appendLog("y");
        ASSERT_EQ(contentOf(logPath(1)).size(), static_cast<std::size_t>(i) * entry("y").size());
    }
}

TEST_F(LogWriting, NeverWaitsOnTheMainThread) {
    FakeApplication application;
    const qf::ScopedService<qf::Application> scoped(application);
    QueueGate gate(queue);
    QFLog::appendLog("short");
    EXPECT_EQ(contentOf(logPath(1)), "");
}

TEST_F(LogWriting, WaitsOnAWorkerOfAnApplication) {
    FakeApplication application;
    const qf::ScopedService<qf::Application> scoped(application);
    std::string afterCall;
    std::thread([&] {
        QFLog::appendLog("short");
        afterCall = contentOf(logPath(1));
    }).join();
    EXPECT_EQ(afterCall, entry("short"));
}

TEST_F(LogWriting, NeverWaitsInTheFastForm) {
    QueueGate gate(queue);
    QFLog::fastAppendLog("short");
    EXPECT_EQ(contentOf(logPath(1)), "");
}

TEST_F(LogWriting, WaitsUntilEverythingQueuedIsWritten) {
    for (int i = 0; i < 1000; ++i) {
        QFLog::fastAppendLog("%d", i);
    }
    QFLog::finishWriting();
    EXPECT_TRUE(contentOf(logPath(1)).ends_with(entry("999")));
}

TEST_F(LogWriting, WritesWhatCannotBePrinted) {
    ClosedConsole closed;
    const qf::ScopedService<qf::Console> scoped(closed);
    EXPECT_NO_THROW(QFLog::appendLogAndPrint("text"));
    EXPECT_EQ(content(1), entry("text"));
}

TEST_F(LogWriting, WritesWithoutAConsole) {
    const ScopedAbsence<qf::Console> none;
    QFLog::appendLogAndPrint("text");
    EXPECT_EQ(content(1), entry("text"));
}

TEST_F(LogWriting, NeverLetsAFailureOfTheApplicationReachTheCaller) {
    UnsureApplication unsure;
    const qf::ScopedService<qf::Application> scoped(unsure);
    EXPECT_NO_THROW(QFLog::appendLog("text"));
    EXPECT_EQ(content(1), entry("text"));
}

TEST_F(LogWriting, PrintsNoReasonWhenDisabled) {
    log.setFileHandle(std::make_shared<FullFile>());
    {
        const QueueGate gate(queue);
        QFLog::fastAppendLog("lost");
        log.setLoggingDisabled(true);
    }
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogWriting, NeverLetsAFailureReachTheCaller) {
    const ScopedAbsence<qf::LogFiles> none;
    log.setFileHandle(nullptr);
    EXPECT_NO_THROW(QFLog::appendLog("lost"));
    QFLog::finishWriting();
    EXPECT_EQ(console.printed(),
              "Exception writing to log: no implementation of LogFiles is installed\n");
}
