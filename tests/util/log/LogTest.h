#pragma once

#include "platform/Services.h"
#include "platform/linux/files/LogFiles.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/QueueGate.h"
#include "tests/support/ScopedAbsence.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/util/log/LogDoubles.h"
#include "util/log/QFLog.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <string>
#include <utility>

/// Log files of which one cannot be moved.
class StuckLogFiles : public qf::native::LogFiles {
public:
    explicit StuckLogFiles(std::string stuck) : stuck_(std::move(stuck)) {}
    qf::Result<void> renameLog(const std::string& path, const std::string& newPath) override {
        if (path == stuck_) {
            return qf::Unexpected(qf::Error{"NSPOSIXErrorDomain", 1, "it is stuck"});
        }
        return qf::native::LogFiles::renameLog(path, newPath);
    }

private:
    std::string stuck_;
};

/// The log on its own machine: real files in a temporary directory, doubles for everything else.
/// There is no application, so the test's thread counts as a worker; a test that needs a main
/// thread installs a FakeApplication.
class LogTest : public testing::Test {
protected:
    LogTest();
    ~LogTest() override;

public:
    LogTest(const LogTest&) = delete;
    LogTest& operator=(const LogTest&) = delete;
    LogTest(LogTest&&) = delete;
    LogTest& operator=(LogTest&&) = delete;

protected:
    std::string directory() const { return machine / "home/Library/Logs/Quillfen"; }
    std::string logPath(int number) const {
        return directory() + "/Test." + std::to_string(number) + ".log";
    }
    void writeLog(int number, const std::string& content) const {
        machine.write("home/Library/Logs/Quillfen/Test." + std::to_string(number) + ".log",
                      content);
    }
    bool exists(int number) const { return std::ifstream(logPath(number)).is_open(); }
    std::string content(int number) {
        queue.waitUntilAllOperationsAreFinished();
        return contentOf(logPath(number));
    }
    static std::string entry(const std::string& text) {
        return "2026-11-16 12:00:00 +0000 - " + text + "\n";
    }
    static std::string header() {
        return entry("Log started: 2026-11-16 12:00:00 +0000") + entry("Version: 1.2.3") +
               entry("Path: /opt/quillfen/bin/kelvane-test") +
               entry("System: macOS Version 10.15.7 (Build 19H2), 4 CPU(s), 16.00 GB RAM") +
               entry("Running in 64-bit mode");
    }
    /// An existing, empty log that entries go to without headers.
    void useEmptyLog() {
        writeLog(1, "");
        log.setAppName("Test");
    }

    static qf::OperationQueue& sharedQueue() {
        static auto& shared = *new qf::OperationQueue;
        return shared;
    }

    TemporaryDirectory machine;
    FakeAccount account;
    FakeSearchPaths searchPaths;
    RecordingConsole console;
    FakeSystemInformation system;
    FakeClock clock;
    FakePropertyLists preferences;
    qf::native::LogFiles files;
    qf::ScopedService<qf::UserAccount> scopedAccount{account};
    qf::ScopedService<qf::SearchPaths> scopedSearchPaths{searchPaths};
    qf::ScopedService<qf::Console> scopedConsole{console};
    qf::ScopedService<qf::SystemInformation> scopedSystem{system};
    qf::ScopedService<qf::Clock> scopedClock{clock};
    qf::ScopedService<qf::PropertyLists> scopedPreferences{preferences};
    qf::ScopedService<qf::LogFiles> scopedFiles{files};
    qf::OperationQueue& queue = sharedQueue();
    QFLog& log = QFLog::sharedController();
};
