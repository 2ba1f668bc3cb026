#include "tests/util/log/LogTest.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <future>
#include <latch>
#include <sstream>

namespace {

constexpr std::size_t threadCount = 8;
constexpr int entriesPerThread = 20000;

/// Keeps every log that would be deleted, in a directory.
class ArchivingLogFiles : public qf::native::LogFiles {
public:
    explicit ArchivingLogFiles(std::string archive) : archive_(std::move(archive)) {
        std::filesystem::create_directories(archive_);
    }

    /// Called while the logs are locked.
    qf::Result<void> removeLog(const std::string& path) override {
        return renameLog(path, archive_ + "/" + std::to_string(count_++));
    }

    std::string content() const {
        std::string all;
        for (int number = 0; number < count_; ++number) {
            all += contentOf(archive_ + "/" + std::to_string(number));
        }
        return all;
    }

private:
    std::string archive_;
    int count_ = 0;
};

using LogUnderStress = LogTest;

class LogStress : public LogTest {
protected:
    /// Returns everything that was ever written, oldest first.
    std::string everything() {
        queue.waitUntilAllOperationsAreFinished();
        auto all = archivingFiles.content();
        for (int number = 5; number >= 1; --number) {
            if (exists(number)) {
                all += contentOf(logPath(number));
            }
        }
        return all;
    }

    ArchivingLogFiles archivingFiles{machine.makeDirectory("deleted")};
    qf::ScopedService<qf::LogFiles> scopedArchivingFiles{archivingFiles};
};

void logMany(std::size_t thread) {
    for (int number = 0; number < entriesPerThread; ++number) {
        if (number % 1000 == 0) {
            QFLog::appendLog("thread %d entry %d", thread, number);
        } else {
            QFLog::fastAppendLog("thread %d entry %d", thread, number);
        }
    }
}

} // namespace

TEST_F(LogStress, LosesAndReordersNothingThatManyThreadsWriteAcrossManyFiles) {
    QFLog::createNewLog("Test");
    {
        std::vector<std::future<void>> threads;
        threads.reserve(threadCount);
        for (std::size_t thread = 0; thread < threadCount; ++thread) {
            threads.push_back(std::async(std::launch::async, logMany, thread));
        }
    }
    QFLog::finishWriting();

    std::array<int, threadCount> next{};
    int truncations = 0;
    std::istringstream lines(everything());
    for (std::string line; std::getline(lines, line);) {
        truncations += line.ends_with("Log truncated at 500KB") ? 1 : 0;
        const auto text = line.substr(std::min(line.size(), entry("").size() - 1));
        std::size_t thread = 0;
        if (!text.starts_with("thread ")) {
            continue;
        }
        std::istringstream(text.substr(7)) >> thread;
        ASSERT_LT(thread, threadCount);
        ASSERT_EQ(line + "\n", entry("thread " + std::to_string(thread) + " entry " +
                                     std::to_string(next.at(thread))));
        ++next.at(thread);
    }
    EXPECT_TRUE(
        std::all_of(next.begin(), next.end(), [](int count) { return count == entriesPerThread; }));
    EXPECT_GT(truncations, 0);
    EXPECT_EQ(console.printed(), "");
    EXPECT_EQ(log.bytesInQueue(), 0U);
}

TEST_F(LogUnderStress, SurvivesEntriesAndStartsFromManyThreadsAndThenEnds) {
    QFLog::createNewLog("Test", QFLog::NoPrinting::yes);
    {
        std::vector<std::future<void>> threads;
        threads.reserve(threadCount);
        for (std::size_t thread = 0; thread < threadCount; ++thread) {
            threads.push_back(std::async(std::launch::async, [thread] {
                for (int number = 0; number < 50; ++number) {
                    QFLog::appendLogAndDebugPrint("thread %d", thread);
                    if (number % 10 == 0) {
                        QFLog::createNewLog("Test", QFLog::NoPrinting::yes);
                    }
                    QFLog::availableLogs();
                }
            }));
        }
    }
    QFLog::willTerminate();
    EXPECT_EQ(log.fileHandle(), nullptr);
}

TEST_F(LogStress, LosesAndReordersNothingWhileAnotherThreadStartsLogs) {
    constexpr int count = 3000;
    QFLog::createNewLog("Test");
    std::atomic<int> written{0};
    auto writer = std::async(std::launch::async, [&written] {
        for (int number = 0; number < count; ++number) {
            QFLog::fastAppendLog("entry %d", number);
            written = number + 1;
            written.notify_one();
        }
    });
    int started = 1;
    for (int before = 0; before < count; before = written, ++started) {
        QFLog::createNewLog();
        QFLog::finishWriting();
        written.wait(before);
    }
    writer.wait();
    QFLog::finishWriting();

    int next = 0;
    int starts = 0;
    std::istringstream lines(everything());
    for (std::string line; std::getline(lines, line);) {
        starts += line.find("Log started:") != std::string::npos ? 1 : 0;
        if (line.find(" - entry ") != std::string::npos) {
            EXPECT_EQ(line + "\n", entry("entry " + std::to_string(next)));
            ++next;
        }
    }
    EXPECT_EQ(next, count);
    EXPECT_EQ(starts, started);
    EXPECT_EQ(console.printed(), "");
}
