#include "tests/util/log/LogTest.h"

#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/NamedCase.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <random>
#include <sys/stat.h>

namespace fs = std::filesystem;
using qf::Value;

namespace {

using namespace std::string_view_literals;

/// The dictionary "disable-logging" = "1" in binary form.
constexpr auto disablingBinary =
    "bplist00\xd1\x01\x02_\x10\x0f"
    "disable-loggingQ1\x08\x0b\x1d\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03"
    "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x1f"sv;

class LogFile : public LogTest {
protected:
    void writeAllLogs() const {
        for (int number = 1; number <= 5; ++number) {
            writeLog(number, "old " + std::to_string(number));
        }
    }
    void setPreference(const Value& value) {
        preferences.content = Value::Dictionary{{"disable-logging", value}};
    }
    /// Returns whether a preference file on disk with these bytes, and zeros up to a size, disables
    /// the log.
    bool isDisabledByFile(std::string_view bytes, std::uintmax_t size = 0) {
        const auto file =
            machine.write("home/Library/Preferences/com.quillfen.global.plist", bytes);
        fs::resize_file(file, std::max<std::uintmax_t>(size, bytes.size()));
        qf::native::PropertyLists onDisk;
        const qf::ScopedService<qf::PropertyLists> inPlace(onDisk);
        log.setLoggingDisabled(false);
        QFLog::createNewLog("Test");
        QFLog::finishWriting();
        return log.loggingDisabled();
    }
};

using PreferenceValue = NamedValue<Value>;

class LogFileDisablingValue : public LogFile,
                              public testing::WithParamInterface<PreferenceValue> {};
class LogFileOtherValue : public LogFile, public testing::WithParamInterface<PreferenceValue> {};
class LogFileOtherContent : public LogFile, public testing::WithParamInterface<PreferenceValue> {};

} // namespace

TEST_F(LogFile, StartsWithItsHeader) {
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(1), header());
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogFile, LeavesOutAMissingVersionAndPath) {
    system.version = std::nullopt;
    system.executable = std::nullopt;
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(1).find("Version:"), std::string::npos);
    EXPECT_EQ(content(1).find("Path:"), std::string::npos);
    EXPECT_TRUE(content(1).ends_with(entry("Running in 64-bit mode")));
}

TEST_F(LogFile, TellsMemoryInGigabytesWithTwoDecimals) {
    system.memory = 8207814656;
    QFLog::createNewLog("Test");
    EXPECT_NE(content(1).find(", 4 CPU(s), 7.64 GB RAM\n"), std::string::npos);
}

TEST_F(LogFile, CountsTheBytesOfItsHeader) {
    log.setBytesWritten(12345);
    QFLog::createNewLog("Test");
    const auto written = content(1);
    EXPECT_EQ(log.bytesWritten(), written.size());
}

TEST_F(LogFile, IsReadableByTheTextToolsOfAnyUserThatMaySeeTheDirectory) {
    const auto mask = ::umask(022);
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    ::umask(mask);
    EXPECT_EQ(fs::status(logPath(1)).permissions(), fs::perms(0644));
}

TEST_F(LogFile, LeavesNoTemporaryFileBehind) {
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    std::size_t count = 0;
    for (const auto& item : fs::directory_iterator(directory())) {
        EXPECT_EQ(item.path().filename(), "Test.1.log");
        ++count;
    }
    EXPECT_EQ(count, 1U);
}

TEST_F(LogFile, MovesEveryOlderLogOnAndDeletesTheFifth) {
    writeAllLogs();
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(5), "old 4");
    EXPECT_EQ(content(4), "old 3");
    EXPECT_EQ(content(3), "old 2");
    EXPECT_EQ(content(2), "old 1");
    EXPECT_EQ(content(1), header());
    EXPECT_FALSE(exists(6));
}

TEST_F(LogFile, DeletesADirectoryInPlaceOfTheFifthWithAllThatIsInIt) {
    writeAllLogs();
    fs::remove(logPath(5));
    machine.write("home/Library/Logs/Quillfen/Test.5.log/inside/file", "content");
    const auto linked = machine.write("linked", "kept");
    fs::create_symlink(linked, logPath(5) + "/link");
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(5), "old 4");
    EXPECT_EQ(content(1), header());
    EXPECT_EQ(contentOf(linked), "kept");
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogFile, HasItsSystemLineWhenTheStartReturns) {
    system.version = std::nullopt;
    system.executable = std::nullopt;
    system.operatingSystem = "X";
    for (int count = 0; count < 50; ++count) {
        QFLog::createNewLog("Test");
        ASSERT_NE(contentOf(logPath(1)).find("System: macOS X, 4 CPU(s), 16.00 GB RAM\n"),
                  std::string::npos);
        QFLog::finishWriting();
    }
}

TEST_F(LogFile, MovesThirdAndFirstOnWhenTheSecondIsMissing) {
    writeLog(1, "old 1");
    writeLog(3, "old 3");
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(4), "old 3");
    EXPECT_EQ(content(2), "old 1");
    EXPECT_FALSE(exists(3));
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogFile, DoesNotMoveOlderLogsWhileThereIsNoCurrentOne) {
    writeLog(2, "old 2");
    writeLog(5, "old 5");
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(2), "old 2");
    EXPECT_EQ(content(5), "old 5");
    EXPECT_EQ(content(1), header());
}

TEST_F(LogFile, StopsHalfMovedWhenAFileCannotBeMoved) {
    StuckLogFiles stuck(logPath(4));
    const qf::ScopedService<qf::LogFiles> inPlace(stuck);
    writeAllLogs();
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(), "Unable to move file " + logPath(4) + " to " + logPath(5) + ".\n");
    EXPECT_EQ(content(4), "old 4");
    EXPECT_EQ(content(1), "old 1");
    EXPECT_EQ(log.fileHandle(), nullptr);
}

TEST_F(LogFile, IsThereUntilTheNewOneTakesItsPlace) {
    class DiskWithoutRoom : public qf::native::LogFiles {
        qf::Result<void> createEmptyFile(const std::string& /*path*/) override {
            return qf::Unexpected(qf::Error{"NSPOSIXErrorDomain", 28, "no room"});
        }
    } full;
    const qf::ScopedService<qf::LogFiles> inPlace(full);
    writeLog(1, "old 1");
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(), "Unable to create log file " + logPath(1) + " - no room\n");
    QFLog::appendLog("not lost");
    EXPECT_EQ(content(1), "old 1" + entry("not lost"));
}

TEST_F(LogFile, IsNotStartedWhileAnotherProgramKeepsTheDirectoryLocked) {
    class LockedLogFiles : public qf::native::LogFiles {
        std::unique_ptr<qf::LogLock>
        lock(const std::vector<std::string>& /*directories*/) override {
            return nullptr;
        }
    } locked;
    const qf::ScopedService<qf::LogFiles> inPlace(locked);
    writeLog(1, "old 1");
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(), "Unable to create log file " + logPath(1) +
                                     " - another program keeps its folder locked\n");
    QFLog::appendLog("not lost");
    EXPECT_EQ(content(1), "old 1" + entry("not lost"));
}

TEST_F(LogFile, StaysUsableAfterAFailedStart) {
    StuckLogFiles stuck(logPath(4));
    const qf::ScopedService<qf::LogFiles> inPlace(stuck);
    writeAllLogs();
    QFLog::createNewLog("Test");
    QFLog::appendLog("still here");
    EXPECT_EQ(content(1), "old 1" + entry("still here"));
}

TEST_F(LogFile, SaysNothingAboutAFailureWhenPrintingIsOff) {
    machine.write("home/Library/Logs/Quillfen", "a file where the folder should be");
    QFLog::createNewLog("Test", QFLog::NoPrinting::yes);
    EXPECT_EQ(console.printed(), "");
    EXPECT_TRUE(log.noPrinting());
}

TEST_F(LogFile, AllowsPrintingAgainWithEachStartThatDoesNotForbidIt) {
    log.setNoPrinting(true);
    QFLog::createNewLog("Test");
    EXPECT_FALSE(log.noPrinting());
}

TEST_F(LogFile, MakesItsDirectoryWithAllThatLeadToIt) {
    ASSERT_FALSE(fs::exists(machine / "home"));
    QFLog::createNewLog("Test");
    EXPECT_TRUE(fs::is_directory(directory()));
}

TEST_F(LogFile, ReportsADirectoryThatCannotBeMade) {
    machine.write("home/Library", "a file");
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(), "Unable to create folder " + directory() + ".\n");
    EXPECT_EQ(log.fileHandle(), nullptr);
}

TEST_F(LogFile, ReportsALogThatCannotBeMade) {
    machine.write("home/Library/Logs/Quillfen", "a file where the folder should be");
    QFLog::createNewLog("Test");
    EXPECT_EQ(
        console.printed(),
        "Unable to create log file " + logPath(1) +
            " - “Test.1.log” couldn’t be created because a part of its path isn’t a folder.\n");
    EXPECT_EQ(log.fileHandle(), nullptr);
}

TEST_F(LogFile, ReportsAMissingLibraryDirectory) {
    searchPaths.lists.clear();
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(), "Unable to create folder (null).\n");
    EXPECT_TRUE(QFLog::availableLogs().empty());
    QFLog::appendLog("lost");
    EXPECT_EQ(log.fileHandle(), nullptr);
}

TEST_F(LogFile, TakesADirectoryInPlaceOfTheCurrentLogForAnOlderLog) {
    fs::create_directories(logPath(1));
    QFLog::createNewLog("Test");
    EXPECT_TRUE(fs::is_directory(logPath(2)));
    EXPECT_EQ(content(1), header());
}

TEST_F(LogFile, ReplacesALinkInItsPlaceAndNeverFollowsIt) {
    const auto victim = machine.write("victim", "precious");
    fs::create_directories(directory());
    fs::create_symlink(victim, logPath(1));
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(victim), "precious");
    EXPECT_TRUE(fs::is_symlink(logPath(2)));
    EXPECT_FALSE(fs::is_symlink(logPath(1)));
}

TEST_F(LogFile, ReplacesABrokenLinkInItsPlace) {
    fs::create_directories(directory());
    fs::create_symlink(machine / "nowhere", logPath(1));
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(1), header());
    EXPECT_FALSE(fs::exists(machine / "nowhere"));
    EXPECT_FALSE(exists(2));
}

TEST_F(LogFile, TakesTheExecutablesNameWithoutItsExtensionWhenItHasNone) {
    system.executable = "/opt/tool.bin";
    QFLog::createNewLog();
    QFLog::finishWriting();
    EXPECT_TRUE(fs::exists(directory() + "/tool.1.log"));
    EXPECT_EQ(log.appName(), "tool");
}

TEST_F(LogFile, DoesNotKeepTheExecutablesNameAsItsOwn) {
    system.executable = "/opt/one";
    QFLog::createNewLog();
    system.executable = "/opt/two";
    EXPECT_EQ(log.appName(), "two");
    QFLog::createNewLog("Test");
    EXPECT_EQ(log.appName(), "Test");
}

TEST_F(LogFile, IsCalledUnknownWhenThereIsNoNameAtAll) {
    system.executable = std::nullopt;
    QFLog::createNewLog();
    QFLog::finishWriting();
    EXPECT_TRUE(fs::exists(directory() + "/Unknown.1.log"));
}

TEST_F(LogFile, IsCalledUnknownForAnEmptyName) {
    QFLog::createNewLog("");
    EXPECT_EQ(log.appName(), "Unknown");
}

TEST_F(LogFile, KeepsItsFirstName) {
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    QFLog::createNewLog("Other");
    EXPECT_EQ(log.appName(), "Test");
    EXPECT_EQ(content(2), header());
    EXPECT_FALSE(fs::exists(directory() + "/Other.1.log"));
}

TEST_F(LogFile, LeavesANameWithPercentSignsUnchanged) {
    QFLog::createNewLog("100%@ %s%n");
    QFLog::finishWriting();
    EXPECT_TRUE(fs::exists(directory() + "/100%@ %s%n.1.log"));
}

TEST_F(LogFile, ReportsANameWithASlashWhoseDirectoryIsMissing) {
    QFLog::createNewLog("a/b");
    EXPECT_EQ(console.printed(),
              "Unable to create log file " + directory() +
                  "/a/b.1.log - “b.1.log” couldn’t be created because its folder doesn’t exist.\n");
}

TEST_F(LogFile, ReportsANameThatIsTooLong) {
    QFLog::createNewLog(std::string(300, 'n'));
    EXPECT_TRUE(console.printed().ends_with("couldn’t be created because its name is too long.\n"));
    EXPECT_TRUE(fs::is_empty(directory()));
}

TEST_F(LogFile, ReportsANameWithAZeroInsteadOfCuttingIt) {
    QFLog::createNewLog(std::string("a\0b", 3));
    EXPECT_TRUE(
        console.printed().ends_with("couldn’t be created because the system doesn’t allow it.\n"));
    EXPECT_TRUE(fs::is_empty(directory()));
}

TEST_F(LogFile, ShowsANameThatIsNoUtf8WhereItIsPrinted) {
    QFLog::createNewLog("a/\xFF");
    EXPECT_NE(console.printed().find("/a/\\xFF.1.log - “\\xFF.1.log”"), std::string::npos);
}

TEST_F(LogFile, ReadsThePreferenceFromTheUsersPreferences) {
    QFLog::createNewLog("Test");
    EXPECT_EQ(preferences.pathsRead,
              std::vector{machine / "home/Library/Preferences/com.quillfen.global.plist"});
}

TEST_P(LogFileDisablingValue, DisablesTheLog) {
    setPreference(GetParam().value);
    QFLog::createNewLog("Test");
    EXPECT_TRUE(log.loggingDisabled());
    EXPECT_FALSE(fs::exists(directory()));
    EXPECT_EQ(console.printed(), "Logging is disabled\n");
}

INSTANTIATE_TEST_SUITE_P(All, LogFileDisablingValue,
                         testing::Values(PreferenceValue{{"Text"}, "1"},
                                         PreferenceValue{{"Boolean"}, true},
                                         PreferenceValue{{"Integer"}, 1},
                                         PreferenceValue{{"Real"}, 1.0}),
                         nameOfCase);

TEST_F(LogFile, SaysThatItIsDisabledOnlyOnce) {
    setPreference(1);
    QFLog::createNewLog("Test");
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(), "Logging is disabled\n");
    EXPECT_EQ(preferences.pathsRead.size(), 1U);
}

TEST_F(LogFile, DoesNotSayThatItIsDisabledWhenPrintingIsOff) {
    setPreference(1);
    QFLog::createNewLog("Test", QFLog::NoPrinting::yes);
    EXPECT_EQ(console.printed(), "");
    EXPECT_TRUE(log.loggingDisabled());
}

TEST_P(LogFileOtherValue, LeavesTheLogOn) {
    setPreference(GetParam().value);
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    EXPECT_FALSE(log.loggingDisabled());
    EXPECT_EQ(console.printed(), "");
}

INSTANTIATE_TEST_SUITE_P(
    All, LogFileOtherValue,
    testing::Values(PreferenceValue{{"Yes"}, "yes"}, PreferenceValue{{"True"}, "true"},
                    PreferenceValue{{"OneBehindASpace"}, " 1"}, PreferenceValue{{"Two"}, 2},
                    PreferenceValue{{"Zero"}, 0}, PreferenceValue{{"False"}, false},
                    PreferenceValue{{"OneAndAHalf"}, 1.5}, PreferenceValue{{"None"}, {}},
                    PreferenceValue{{"Data"}, qf::Data{{std::byte{'1'}}}},
                    PreferenceValue{{"Array"}, Value::Array{1}},
                    PreferenceValue{{"Dictionary"}, Value::Dictionary{{"disable-logging", 1}}}),
    nameOfCase);

TEST_P(LogFileOtherContent, LeavesTheLogOn) {
    preferences.content = GetParam().value;
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    EXPECT_FALSE(log.loggingDisabled());
}

INSTANTIATE_TEST_SUITE_P(All, LogFileOtherContent,
                         testing::Values(PreferenceValue{{"None"}, Value()},
                                         PreferenceValue{{"Array"},
                                                         Value::Array{"disable-logging", 1}},
                                         PreferenceValue{{"Text"}, "1"}),
                         nameOfCase);

TEST_F(LogFile, IsDisabledByAFileInEitherForm) {
    EXPECT_TRUE(isDisabledByFile(disablingBinary));
    EXPECT_TRUE(isDisabledByFile("<plist version=\"1.0\"><dict><key>disable-logging</key>"
                                 "<string>1</string></dict></plist>"));
}

TEST_F(LogFile, StaysOnForAFileThatIsNoPreferenceFile) {
    constexpr std::uintmax_t fiftyMegabytes = 50'000'000;
    EXPECT_FALSE(isDisabledByFile(disablingBinary, fiftyMegabytes));
    EXPECT_FALSE(isDisabledByFile("", fiftyMegabytes));
    EXPECT_FALSE(isDisabledByFile(""));
    EXPECT_FALSE(isDisabledByFile("bplist00"));
    std::mt19937 numbers; // the same ones every time
    std::string garbage("bplist00");
    for (int round = 0; round < 20; ++round) {
        std::generate_n(std::back_inserter(garbage), 50,
                        [&] { return static_cast<char>(numbers() & 0xFFU); });
        ASSERT_FALSE(isDisabledByFile(garbage)) << round;
        ASSERT_FALSE(isDisabledByFile(garbage.substr(8))) << round;
    }
    EXPECT_TRUE(exists(1));
    EXPECT_EQ(console.printed(), "");
}

TEST_F(LogFile, StaysDisabledWhenThePreferenceChanges) {
    setPreference(1);
    QFLog::createNewLog("Test");
    setPreference(0);
    QFLog::createNewLog("Test");
    EXPECT_TRUE(log.loggingDisabled());
    EXPECT_FALSE(fs::exists(directory()));
}

TEST_F(LogFile, DropsTheOldFileWhenItIsDisabled) {
    QFLog::createNewLog("Test");
    QFLog::finishWriting(); // a header entry still to be written would open the file again
    ASSERT_NE(log.fileHandle(), nullptr);
    setPreference(1);
    QFLog::createNewLog("Test");
    EXPECT_EQ(log.fileHandle(), nullptr);
}

TEST_F(LogFile, ListsTheExistingLogsNewestFirst) {
    writeLog(4, "");
    writeLog(1, "");
    writeLog(6, "");
    log.setAppName("Test");
    EXPECT_EQ(QFLog::availableLogs(), (std::vector{logPath(1), logPath(4)}));
}

TEST_F(LogFile, ReportsAMissingServiceInsteadOfThrowing) {
    const ScopedAbsence<qf::PropertyLists> none;
    QFLog::createNewLog("Test");
    EXPECT_EQ(console.printed(),
              "Exception starting log: no implementation of PropertyLists is installed\n");
}

namespace {

/// The superuser's log: the current log in the machine's Library, everything else in the user's.
class SuperusersLog : public LogFile {
protected:
    SuperusersLog() {
        using namespace qf;
        account.userId = 0;
        searchPaths.lists[{DirectoryKind::library, DomainMask::user}] = {"/var/root/Library"};
    }
    std::string current() const { return machine / "Library/Logs/Quillfen/Test.1.log"; }
};

} // namespace

TEST_F(SuperusersLog, LiesInTheMachinesLibrary) {
    machine.makeDirectory("Library/Logs/Quillfen");
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(current()), header());
    EXPECT_FALSE(exists(1));
}

TEST_F(SuperusersLog, MakesOnlyTheUsersDirectory) {
    QFLog::createNewLog("Test");
    EXPECT_TRUE(fs::is_directory(directory()));
    EXPECT_EQ(console.printed(),
              "Unable to create log file " + current() +
                  " - “Test.1.log” couldn’t be created because its folder doesn’t exist.\n");
}

TEST_F(SuperusersLog, MovesTheUsersLogsOnAndEmptiesItsOwn) {
    machine.write("Library/Logs/Quillfen/Test.1.log", "the superuser's");
    writeLog(1, "the user's");
    QFLog::createNewLog("Test");
    QFLog::finishWriting();
    EXPECT_EQ(contentOf(current()), header());
    EXPECT_EQ(content(2), "the user's");
    EXPECT_FALSE(exists(1));
    EXPECT_FALSE(fs::exists(machine / "Library/Logs/Quillfen/Test.2.log"));
}

TEST_F(SuperusersLog, LeavesTheUsersLogsWhereTheyAreWhileItHasNone) {
    machine.makeDirectory("Library/Logs/Quillfen");
    writeLog(1, "the user's");
    QFLog::createNewLog("Test");
    EXPECT_EQ(content(1), "the user's");
    EXPECT_FALSE(exists(2));
}

TEST_F(SuperusersLog, IsAppendedToWithoutAStart) {
    machine.write("Library/Logs/Quillfen/Test.1.log", "");
    log.setAppName("Test");
    QFLog::appendLog("entry");
    EXPECT_EQ(contentOf(current()), entry("entry"));
}

TEST_F(SuperusersLog, IsNotListed) {
    machine.write("Library/Logs/Quillfen/Test.1.log", "");
    writeLog(2, "");
    log.setAppName("Test");
    EXPECT_EQ(QFLog::availableLogs(), std::vector{logPath(2)});
}
