#include "util/launchd/QFLaunchd.h"

#include "platform/AlertPanel.h"
#include "platform/Application.h"
#include "platform/PropertyLists.h"
#include "platform/Windows.h"
#include "platform/linux/files/FileSystem.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/system/SystemInformation.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/PausingClock.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/log/QFLog.h"

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <utility>

using namespace std::chrono_literals;

namespace fs = std::filesystem;

namespace {

class StillWindow : public platform::Window {
public:
    void makeKeyAndOrderFront() override {}
    void orderOut() override {}
    bool isVisible() override { return true; }
    bool hasAttachedSheet() override { return false; }
};

/// An application whose only thread is the main thread, with a main window. No event ever comes, so
/// every deadline passes.
class SingleThreadedApplication : public platform::Application {
public:
    explicit SingleThreadedApplication(PausingClock& clock) : clock_(clock) {}

    StillWindow window;
    /// How long the application waited for events.
    std::chrono::milliseconds waited{0};

    bool isMainThread() override { return true; }
    void performOnMainThread(std::function<void()> work, platform::Wait /*wait*/) override {
        work();
    }
    void handleNextEvent(std::chrono::milliseconds deadline) override {
        waited += deadline;
        clock_.pass(deadline);
        clock_.meanwhile();
    }
    void terminate() override {}
    int addTerminationObserver(std::function<void()> /*observer*/) override { return 0; }
    void removeTerminationObserver(int /*observer*/) override {}
    platform::Window* mainWindow() override { return &window; }

private:
    PausingClock& clock_;
};

/// Remembers the alerts that were shown, and answers each at once.
class AnsweredAlertPanels : public platform::AlertPanels {
public:
    std::vector<platform::AlertDescription> shown;
    std::vector<platform::Window*> parents;

    std::unique_ptr<platform::AlertPanel>
    create(const platform::AlertDescription& description) override {
        shown.push_back(description);
        return std::make_unique<Panel>(parents);
    }

private:
    class Panel : public platform::AlertPanel {
    public:
        explicit Panel(std::vector<platform::Window*>& parents) : parents_(parents) {}
        void beginSheet(platform::Window* parent, std::function<void(int)> didEnd) override {
            parents_.push_back(parent);
            didEnd(defaultReturn);
        }
        bool isVisible() override { return false; }
        void orderOut() override {}

    private:
        std::vector<platform::Window*>& parents_;
    };
};

/// Remembers where property lists were written, and puts files there.
class RecordingPropertyLists : public platform::PropertyLists {
public:
    explicit RecordingPropertyLists(DescribedFileSystem& fileSystem) : fileSystem_(fileSystem) {}

    /// The lists that were written, by path.
    std::map<std::string, platform::Value> written;
    /// The list whose XML form is "the settings".
    platform::Value settings;
    /// Where nothing can be written.
    std::set<std::string> unwritable;
    /// Where another program's file exists by the time that writing has failed.
    std::set<std::string> taken;

    platform::Value parse(std::string_view /*bytes*/) override { return {}; }
    platform::Value read(const std::string& /*path*/) override { return {}; }
    std::optional<std::string> xml(const platform::Value& value) override {
        return value == settings ? "the settings" : "others";
    }
    platform::Result<void> writeAtomically(const platform::Value& value,
                                           const std::string& path) override {
        if (unwritable.contains(path)) {
            if (taken.contains(path)) {
                fileSystem_.files.insert(path);
            }
            return platform::Unexpected(platform::Error{.localizedDescription = "You can’t."});
        }
        written[path] = value;
        fileSystem_.files.insert(path);
        return {};
    }

private:
    DescribedFileSystem& fileSystem_;
};

/// A file of another program's comes back as soon as somebody has seen that it is gone.
class DiskWithReturningFile : public DescribedFileSystem {
public:
    explicit DiskWithReturningFile(std::string path) : path_(std::move(path)) {}

    bool exists(const std::string& path) override {
        const bool isThere = DescribedFileSystem::exists(path);
        if (path == path_ && isThere) {
            wasThere_ = true;
        } else if (path == path_ && wasThere_) {
            files.insert(path);
        }
        return isThere;
    }

private:
    const std::string path_;
    bool wasThere_ = false;
};

class QFLaunchdTest : public DescribedMachine {
protected:
    using Rests = std::vector<std::chrono::microseconds>;

    /// The log reads the time on its own thread.
    ~QFLaunchdTest() override { QFLog::finishWriting(); }

    static constexpr const char* label = "com.quillfen.Lunevar";
    static constexpr const char* usersAgent =
        "/home/someone/Library/LaunchAgents/com.quillfen.Lunevar.plist";
    static constexpr const char* machinesDaemon =
        "/Library/LaunchDaemons/com.quillfen.Lunevar.plist";

    /// Returns the files that were deleted.
    Lines removed() const {
        Lines paths;
        for (const auto& change : fileSystem.changes) {
            if (change.starts_with("remove ")) {
                paths.push_back(change.substr(7));
            }
        }
        return paths;
    }

    static Lines stopping(const std::string& file) {
        return {"/bin/launchctl unload " + file, "waited",
                "/bin/launchctl remove com.quillfen.Lunevar", "waited"};
    }

    void failToRemove(const std::string& file) {
        fileSystem.files = {file};
        fileSystem.removeErrors[file] = {.localizedDescription = "You can’t."};
        services.rightsStatus = platform::errAuthorizationCanceled;
    }

    /// Makes the program one without windows, as on a terminal.
    void hideWindows() {
        alertPanelsScope_.reset();
        applicationScope_.reset();
    }

    void failToMove() {
        fileSystem.failures[std::string("move ") + temporaryFile + " " + machinesDaemon] = {
            .localizedDescription = "You can’t."};
    }

    /// Returns everything that installing a job runs if nothing prevents it.
    static Lines installing(const std::string& file, bool forTheMachine) {
        Lines runs;
        if (forTheMachine) {
            runs = {"/usr/sbin/chown root:wheel " + file, "waited"};
        }
        for (const auto* tool :
             {"/bin/chmod 644 ", "/bin/launchctl unload ", "/bin/launchctl load "}) {
            runs.push_back(tool + file);
            runs.emplace_back("waited");
        }
        return runs;
    }

    bool startDaemon(ShouldAuth shouldAuth) {
        return QFLaunchd::startJob(label, settings, Domain::local, LaunchAgent::no, shouldAuth,
                                   std::nullopt);
    }

    const platform::Value::Dictionary settings{{"Label", platform::Value(label)},
                                               {"RunAtLoad", platform::Value(true)}};
    static constexpr const char* temporaryFile = "/tmp/com.quillfen.Lunevar.plist";
    PausingClock pauses;
    SingleThreadedApplication application{pauses};
    AnsweredAlertPanels alertPanels;
    RecordingPropertyLists propertyLists{fileSystem};

private:
    platform::native::SystemInformation systemInformation_;
    platform::ScopedService<platform::SystemInformation> systemInformationScope_{
        systemInformation_};
    platform::ScopedService<platform::Clock> pausesScope_{pauses};
    std::optional<platform::ScopedService<platform::Application>> applicationScope_{application};
    std::optional<platform::ScopedService<platform::AlertPanels>> alertPanelsScope_{alertPanels};
    platform::ScopedService<platform::PropertyLists> propertyListsScope_{propertyLists};
};

/// Job files on disk, in a home directory of the test's own.
class JobFilesOnDisk : public QFLaunchdTest {
protected:
    JobFilesOnDisk() {
        using platform::DirectoryKind;
        using platform::DomainMask;
        searchPaths.lists = {{{DirectoryKind::library, DomainMask::user}, {home / "Library"}}};
        account.temporary = home.makeDirectory("temporary");
    }

    TemporaryDirectory home;
    const std::string jobDirectory = home / "Library/LaunchAgents";
    const std::string jobFile = jobDirectory + "/com.quillfen.Lunevar.plist";

private:
    platform::native::FileSystem onDisk_;
    platform::native::PropertyLists propertyListsOnDisk_;
    platform::ScopedService<platform::FileSystem> onDiskScope_{onDisk_};
    platform::ScopedService<platform::PropertyLists> propertyListsOnDiskScope_{
        propertyListsOnDisk_};
};

/// Settings with every type that a property list has.
platform::Value::Dictionary settingsOfEveryType() {
    using platform::Value;
    return {
        {"Label", "com.quillfen.Lunevar"},
        {"ProgramArguments", Value::Array{"/bin/echo", "<ümläut> & \"more\"", ""}},
        {"RunAtLoad", true},
        {"KeepAlive", Value::Dictionary{{"SuccessfulExit", false}}},
        {"StartInterval", 300},
        {"Nice", -5},
        {"Ratio", 0.5},
        {"Since", platform::Date(std::chrono::sys_days(std::chrono::year(2026) / 11 / 16) + 7h)},
        {"Token", platform::Data{{std::byte{0}, std::byte{127}, std::byte{255}}}},
        {"Empty", Value::Dictionary{}},
    };
}

/// Fails unless the property list at the path holds settingsOfEveryType(), whose text distinguishes
/// numbers from booleans.
constexpr const char* compareInPython = R"(
import datetime, plistlib, sys
expected = {
    "Label": "com.quillfen.Lunevar",
    "ProgramArguments": ["/bin/echo", "<ümläut> & \"more\"", ""],
    "RunAtLoad": True, "KeepAlive": {"SuccessfulExit": False},
    "StartInterval": 300, "Nice": -5, "Ratio": 0.5,
    "Since": datetime.datetime(2026, 11, 16, 7), "Token": bytes([0, 127, 255]), "Empty": {}}
with open(sys.argv[1], "rb") as file:
    job = plistlib.load(file, fmt=plistlib.FMT_XML)
assert repr(sorted(job.items())) == repr(sorted(expected.items())), job
)";

} // namespace

TEST_F(QFLaunchdTest, StoppingUnloadsTheFileAndThenRemovesTheLabel) {
    QFLaunchd::stopJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, stopping(usersAgent));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(QFLaunchdTest, StoppingIsNeverPrivileged) {
    QFLaunchd::stopJob(label, Domain::local, LaunchAgent::no, ShouldAuth::yes);
    QFLaunchd::stopJob(label, Domain::local, LaunchAgent::no, ShouldAuth::no);
    EXPECT_EQ(launcher.runs.size(), 8U);
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(QFLaunchdTest, TheJobsFileIsThatOfTheDomainAndTheKind) {
    QFLaunchd::stopJob(label, Domain::user, LaunchAgent::no, ShouldAuth::no);
    QFLaunchd::stopJob(label, Domain::local, LaunchAgent::yes, ShouldAuth::no);
    QFLaunchd::stopJob(label, Domain::local, LaunchAgent::no, ShouldAuth::no);
    ASSERT_EQ(launcher.runs.size(), 12U);
    EXPECT_EQ(
        launcher.runs[0],
        "/bin/launchctl unload /home/someone/Library/LaunchDaemons/com.quillfen.Lunevar.plist");
    EXPECT_EQ(launcher.runs[4],
              "/bin/launchctl unload /Library/LaunchAgents/com.quillfen.Lunevar.plist");
    EXPECT_EQ(launcher.runs[8],
              "/bin/launchctl unload /Library/LaunchDaemons/com.quillfen.Lunevar.plist");
}

TEST_F(QFLaunchdTest, StoppingWithoutALabelRunsNothing) {
    QFLaunchd::stopJob(std::nullopt, Domain::user, LaunchAgent::yes, ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(QFLaunchdTest, WithoutALibraryOnlyTheLabelIsRemoved) {
    searchPaths.lists.clear();
    QFLaunchd::removeJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, (Lines{"/bin/launchctl remove com.quillfen.Lunevar", "waited"}));
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(QFLaunchdTest, RemovingStopsTheJobAndDeletesItsFile) {
    fileSystem.files = {machinesDaemon};
    QFLaunchd::removeJob(label, Domain::local, LaunchAgent::no, ShouldAuth::no);
    EXPECT_EQ(launcher.runs, stopping(machinesDaemon));
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFLaunchdTest, RemovingPausesAfterTheFileIsDeleted) {
    fileSystem.files = {machinesDaemon};
    pauses.meanwhile = [this] { EXPECT_EQ(removed(), Lines{machinesDaemon}); };
    QFLaunchd::removeJob(label, Domain::local, LaunchAgent::no, ShouldAuth::no);
    EXPECT_EQ(pauses.rests, Rests{500us});
}

TEST_F(QFLaunchdTest, AJobWithoutAFileIsStoppedAllTheSameAndNothingIsShown) {
    QFLaunchd::removeJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, stopping(usersAgent));
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFLaunchdTest, AFileThatTheUserMayNotDeleteGoesThePrivilegedWay) {
    failToRemove(machinesDaemon);
    services.rightsStatus = platform::errAuthorizationSuccess;
    QFLaunchd::removeJob(label, Domain::local, LaunchAgent::no, ShouldAuth::yes);
    EXPECT_EQ(services.tools(), Lines{std::string("/bin/rm -Rdf ") + machinesDaemon});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
}

TEST_F(QFLaunchdTest, AFileThatRemainsIsReportedOnTheMainWindow) {
    failToRemove(machinesDaemon);
    QFLaunchd::removeJob(label, Domain::local, LaunchAgent::no, ShouldAuth::yes);
    ASSERT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(alertPanels.shown[0].messageText, "Error: Unable to remove LaunchAgent");
    EXPECT_EQ(alertPanels.shown[0].informativeText,
              "Please check you have correct permissions for the directory "
              "/Library/LaunchDaemons.");
    EXPECT_EQ(alertPanels.shown[0].defaultButtonTitle, std::nullopt);
    EXPECT_EQ(alertPanels.parents, std::vector<platform::Window*>{&application.window});
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(QFLaunchdTest, AFileThatRemainsIsNotReportedWhereNothingMayBeAsked) {
    failToRemove(machinesDaemon);
    QFLaunchd::removeJob(label, Domain::local, LaunchAgent::no, ShouldAuth::no);
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t.. Authorizing..."});
}

TEST_F(QFLaunchdTest, RemovingALaunchAgentIgnoresTheDomain) {
    for (const auto domain : {Domain::user, Domain::local}) {
        launcher.runs.clear();
        fileSystem.changes.clear();
        fileSystem.files = {usersAgent, "/Library/LaunchAgents/com.quillfen.Lunevar.plist"};
        QFLaunchd::removeLaunchAgent(label, domain);
        EXPECT_EQ(launcher.runs, stopping(usersAgent));
        EXPECT_EQ(removed(), Lines{usersAgent});
    }
}

TEST_F(QFLaunchdTest, RemovingALaunchAgentMayAskForTheRightAndReports) {
    failToRemove(usersAgent);
    QFLaunchd::removeLaunchAgent(label, Domain::user);
    EXPECT_FALSE(services.calls.empty());
    EXPECT_EQ(alertPanels.shown.size(), 1U);
}

TEST_F(QFLaunchdTest, RemovingWithoutALabelLooksForTheFileThatIsNamedSo) {
    fileSystem.files = {"/home/someone/Library/LaunchAgents/(null).plist"};
    QFLaunchd::removeLaunchAgent(std::nullopt, Domain::user);
    EXPECT_EQ(launcher.runs, Lines{});
    EXPECT_EQ(removed(), Lines{"/home/someone/Library/LaunchAgents/(null).plist"});
}

TEST_F(QFLaunchdTest, APercentSignInALabelIsNoDirective) {
    QFLaunchd::stopJob("100%@", Domain::local, LaunchAgent::yes, ShouldAuth::no);
    ASSERT_EQ(launcher.runs.size(), 4U);
    EXPECT_EQ(launcher.runs[0], "/bin/launchctl unload /Library/LaunchAgents/100%@.plist");
    EXPECT_EQ(launcher.runs[2], "/bin/launchctl remove 100%@");
}

TEST_F(QFLaunchdTest, InstallingAUsersAgentWritesItsSettingsUnchangedAndLoadsIt) {
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, settings, Domain::user));
    EXPECT_EQ(propertyLists.written,
              (std::map<std::string, platform::Value>{{usersAgent, platform::Value(settings)}}));
    EXPECT_EQ(launcher.runs, installing(usersAgent, false));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFLaunchdTest, InstallingADaemonSetsItsOwnerBeforeItsMode) {
    EXPECT_TRUE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(launcher.runs, installing(machinesDaemon, true));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(QFLaunchdTest, EveryJobGoesToTheDirectoryOfItsDomainAndKind) {
    QFLaunchd::startJob(label, settings, Domain::user, LaunchAgent::no, ShouldAuth::no,
                        std::nullopt);
    QFLaunchd::startLaunchAgent(label, settings, Domain::local);
    EXPECT_TRUE(propertyLists.written.contains(
        "/home/someone/Library/LaunchDaemons/com.quillfen.Lunevar.plist"));
    EXPECT_TRUE(propertyLists.written.contains("/Library/LaunchAgents/com.quillfen.Lunevar.plist"));
}

TEST_F(QFLaunchdTest, AMissingJobDirectoryIsMade) {
    startDaemon(ShouldAuth::no);
    EXPECT_EQ(fileSystem.changes, Lines{"create /Library/LaunchDaemons"});
}

TEST_F(QFLaunchdTest, AJobDirectoryIsMadeWithTheRightWhereThatMayBeUsed) {
    for (const auto& [shouldAuth, tools] :
         {std::pair(ShouldAuth::no, Lines{}),
          std::pair(ShouldAuth::yes, Lines{"/bin/mkdir -p /home/someone/Library/LaunchAgents"})}) {
        fileSystem.failures["create /home/someone/Library/LaunchAgents"] = {.localizedDescription =
                                                                                "You can’t."};
        services.calls.clear();
        QFLaunchd::startJob(label, settings, Domain::user, LaunchAgent::yes, shouldAuth,
                            std::nullopt);
        Lines made = services.tools();
        std::erase_if(made, [](const auto& tool) { return !tool.starts_with("/bin/mkdir"); });
        EXPECT_EQ(made, tools);
    }
}

TEST_F(QFLaunchdTest, AJobDirectoryThatIsThereIsNotMade) {
    fileSystem.directories["/Library/LaunchDaemons"] = Lines{};
    startDaemon(ShouldAuth::no);
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(QFLaunchdTest, AJobThatIsInstalledAlreadyIsRemovedFirst) {
    fileSystem.directories["/Library/LaunchDaemons"] = Lines{};
    fileSystem.files = {machinesDaemon};
    EXPECT_TRUE(startDaemon(ShouldAuth::no));
    Lines expected = stopping(machinesDaemon);
    const Lines installation = installing(machinesDaemon, true);
    expected.insert(expected.end(), installation.begin(), installation.end());
    EXPECT_EQ(launcher.runs, expected);
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_TRUE(fileSystem.files.contains(machinesDaemon));
}

TEST_F(QFLaunchdTest, TheNamedProcessIsEndedBeforeOwnerAndModeAreSet) {
    fileSystem.tools.insert("/usr/bin/killall");
    QFLaunchd::startJob(label, settings, Domain::user, LaunchAgent::yes, ShouldAuth::no,
                        "Lunevar Helper");
    ASSERT_GT(launcher.runs.size(), 2U);
    EXPECT_EQ(launcher.runs[0], "/usr/bin/killall Lunevar Helper");
    EXPECT_EQ(launcher.runs[2], std::string("/bin/chmod 644 ") + usersAgent);
}

TEST_F(QFLaunchdTest, WithTheRightOwnerAndModeAreSetWithPrivilegeAndLoadingIsNot) {
    EXPECT_TRUE(startDaemon(ShouldAuth::yes));
    EXPECT_EQ(services.tools(), (Lines{std::string("/usr/sbin/chown root:wheel ") + machinesDaemon,
                                       std::string("/bin/chmod 644 ") + machinesDaemon}));
    EXPECT_EQ(launcher.runs,
              (Lines{std::string("/bin/launchctl unload ") + machinesDaemon, "waited",
                     std::string("/bin/launchctl load ") + machinesDaemon, "waited"}));
}

// Any program of the user could have written to the file before.
TEST_F(QFLaunchdTest, WithTheRightADaemonHasTheSettingsWhateverIsInItsFile) {
    propertyLists.settings = platform::Value(settings);
    EXPECT_TRUE(startDaemon(ShouldAuth::yes));
    std::map<std::string, std::optional<std::string>> contents;
    for (const auto& call : services.calls) {
        contents[call.tool] = call.content;
    }
    EXPECT_EQ(contents["/usr/sbin/chown"], "the settings");
    EXPECT_EQ(contents["/bin/chmod"], std::nullopt);
}

TEST_F(QFLaunchdTest, WithTheRightAToolThatFailsIsReported) {
    services.executeStatus = platform::errAuthorizationToolExecuteFailure;
    EXPECT_TRUE(startDaemon(ShouldAuth::yes));
    const auto failure = [](const std::string& tool) {
        return "Unable to run " + tool + " for " + machinesDaemon +
               " as administrator - error -60031";
    };
    EXPECT_EQ(console.systemLogLines(), Lines({failure("/usr/sbin/chown"), failure("/bin/chmod")}));
}

TEST_F(QFLaunchdTest, WithTheRightAUsersJobKeepsItsOwner) {
    QFLaunchd::startJob(label, settings, Domain::user, LaunchAgent::yes, ShouldAuth::yes,
                        std::nullopt);
    EXPECT_EQ(services.tools(), Lines{std::string("/bin/chmod 644 ") + usersAgent});
}

TEST_F(QFLaunchdTest, PausesForThePrivilegedTools) {
    std::vector<std::size_t> toolsBefore;
    pauses.meanwhile = [&] { toolsBefore.push_back(services.tools().size()); };
    startDaemon(ShouldAuth::yes);
    EXPECT_EQ(pauses.rests, Rests({500us, 1s}));
    EXPECT_EQ(toolsBefore, (std::vector<std::size_t>{1, 2}));
}

TEST_F(QFLaunchdTest, WithoutPrivilegeTheToolsAreWaitedForThemselves) {
    startDaemon(ShouldAuth::no);
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(QFLaunchdTest, InstallingGivesEachToolTenSeconds) {
    QFLaunchd::startJob(label, settings, Domain::local, LaunchAgent::no, ShouldAuth::no,
                        "Lunevar Helper");
    // killall, chown, chmod, and launchctl twice
    EXPECT_EQ(pauses.timeouts, std::vector<std::chrono::seconds>(5, 10s));
}

TEST_F(QFLaunchdTest, StoppingGivesEachToolTenSeconds) {
    QFLaunchd::stopJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::no);
    EXPECT_EQ(pauses.timeouts, std::vector<std::chrono::seconds>(2, 10s));
}

TEST_F(QFLaunchdTest, AnUnwritableJobFileIsMovedIntoPlaceFromTheTemporaryDirectory) {
    propertyLists.unwritable = {machinesDaemon};
    EXPECT_TRUE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(propertyLists.written,
              (std::map<std::string, platform::Value>{{temporaryFile, platform::Value(settings)}}));
    EXPECT_TRUE(fileSystem.files.contains(machinesDaemon));
    EXPECT_FALSE(fileSystem.files.contains(temporaryFile));
    EXPECT_EQ(services.tools(), (Lines{std::string("/usr/sbin/chown root:wheel ") + machinesDaemon,
                                       std::string("/bin/chmod 644 ") + machinesDaemon}));
    EXPECT_EQ(loggedLines(), (Lines{"Unable to write launchd plist - trying to authorize...",
                                    std::string("Unable to unlock file ") + temporaryFile +
                                        ": There is nothing at " + temporaryFile + "."}));
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
}

TEST_F(QFLaunchdTest, AJobFileThatOnlyTheAdministratorCanMoveIsWaitedFor) {
    propertyLists.unwritable = {machinesDaemon};
    failToMove();
    pauses.meanwhile = [this] {
        if (application.waited == 9990ms) {
            fileSystem.files.erase(temporaryFile);
        }
    };
    EXPECT_TRUE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(services.tools()[0],
              std::string("/bin/mv -f ") + temporaryFile + " " + machinesDaemon);
    EXPECT_EQ(application.waited, 9990ms);
    EXPECT_EQ(alertPanels.shown.size(), 0U);
}

TEST_F(QFLaunchdTest, AJobFileThatTheAdministratorDoesNotMoveIsWaitedForTenSeconds) {
    propertyLists.unwritable = {machinesDaemon};
    failToMove();
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(application.waited, 10s);
    EXPECT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(removed(), Lines{temporaryFile});
}

TEST_F(QFLaunchdTest, ATemporaryFileThatAnotherProgramKeepsIsWaitedForTenSeconds) {
    DiskWithReturningFile disk(temporaryFile);
    RecordingPropertyLists lists(disk);
    const platform::ScopedService<platform::FileSystem> diskScope(disk);
    const platform::ScopedService<platform::PropertyLists> listsScope(lists);
    lists.unwritable = {machinesDaemon};
    disk.removeErrors[temporaryFile] = {.localizedDescription = "You can’t."};
    EXPECT_TRUE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(services.tools()[0], std::string("/bin/rm -Rdf ") + temporaryFile);
    EXPECT_EQ(application.waited, 10s);
}

TEST_F(QFLaunchdTest, WithoutWindowsAJobFileThatCannotBePutInPlaceIsLoggedAndLeavesNothingBehind) {
    hideWindows();
    propertyLists.unwritable = {machinesDaemon};
    services.rightsStatus = platform::errAuthorizationCanceled;
    failToMove();
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(removed(), Lines{temporaryFile});
    EXPECT_EQ(loggedLines().back(),
              "Error: Unable to create LaunchAgent. Please check you have correct permissions for "
              "the directory /Library/LaunchDaemons");
}

TEST_F(QFLaunchdTest, WithoutWindowsSettingsThatCanBeWrittenNowhereAreLogged) {
    hideWindows();
    propertyLists.unwritable = {machinesDaemon, temporaryFile};
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(loggedLines().size(), 1U);
}

TEST_F(QFLaunchdTest, AJobFileThatDoesNotGiveWayIsWaitedForFiveSecondsMore) {
    propertyLists.unwritable = {machinesDaemon};
    propertyLists.taken = {machinesDaemon};
    fileSystem.removeErrors[machinesDaemon] = {.localizedDescription = "You can’t."};
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(application.waited, 15s);
    EXPECT_EQ(loggedLines()[1], "Unable to write launchd plist - trying to authorize...");
}

TEST_F(QFLaunchdTest, AJobFileThatAppearsMeanwhileGivesWayToTheTemporaryOne) {
    propertyLists.unwritable = {machinesDaemon};
    propertyLists.taken = {machinesDaemon};
    EXPECT_TRUE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_TRUE(fileSystem.files.contains(machinesDaemon));
}

TEST_F(QFLaunchdTest, SettingsThatCanBeWrittenNowhereAreReportedThreeWays) {
    propertyLists.unwritable = {machinesDaemon, temporaryFile};
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(loggedLines(), Lines{"Error: Unable to create LaunchAgent. Please check you have "
                                   "correct permissions for the directory /Library/LaunchDaemons"});
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: Unable to write LaunchAgent data. Please check you have correct "
                    "permissions for the directory /Library/LaunchDaemons"});
    ASSERT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(alertPanels.shown[0].messageText, "Error: Unable to write LaunchAgent data");
    EXPECT_EQ(alertPanels.shown[0].informativeText,
              "Please check you have correct permissions for the directory "
              "/Library/LaunchDaemons.");
    EXPECT_EQ(alertPanels.parents, std::vector<platform::Window*>{&application.window});
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(QFLaunchdTest, AJobFileThatCannotBePutInPlaceIsReportedThreeWaysAndLeavesNothingBehind) {
    propertyLists.unwritable = {machinesDaemon};
    failToMove();
    services.rightsStatus = platform::errAuthorizationCanceled;
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    const std::string report = "Error: Unable to create LaunchAgent. Please check you have correct "
                               "permissions for the directory /Library/LaunchDaemons";
    const auto lines = loggedLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "Unable to write launchd plist - trying to authorize...");
    EXPECT_EQ(lines[3], report);
    EXPECT_EQ(console.systemLogLines().back(), report);
    ASSERT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(alertPanels.shown[0].messageText, "Error: Unable to create LaunchAgent");
    EXPECT_EQ(alertPanels.shown[0].informativeText,
              "Please check you have correct permissions for the directory "
              "/Library/LaunchDaemons.");
    EXPECT_EQ(removed(), Lines{temporaryFile});
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(QFLaunchdTest, AMachineWithoutALibraryHasNoPlaceForAJob) {
    searchPaths.lists.clear();
    EXPECT_FALSE(startDaemon(ShouldAuth::no));
    EXPECT_EQ(loggedLines(), Lines{"Error: Unable to create LaunchAgent. Please check you have "
                                   "correct permissions for the directory (null)"});
    EXPECT_TRUE(propertyLists.written.empty());
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(QFLaunchdTest, ALabelIsInTheFilesNameUnchanged) {
    for (const auto& odd : Lines{"", "a/b", "..", "100%@", "two words", std::string(300, 'x')}) {
        propertyLists.written.clear();
        QFLaunchd::startLaunchAgent(odd, settings, Domain::user);
        EXPECT_TRUE(
            propertyLists.written.contains("/home/someone/Library/LaunchAgents/" + odd + ".plist"));
    }
}

TEST_F(QFLaunchdTest, EmptySettingsAreWrittenAsTheyAre) {
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, {}, Domain::user));
    EXPECT_EQ(propertyLists.written[usersAgent], platform::Value(platform::Value::Dictionary{}));
}

TEST_F(JobFilesOnDisk, OthersReadWhatASettingIsWhateverItsType) {
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, settingsOfEveryType(), Domain::user));
    const auto outcome = run({"python3", "-c", compareInPython, jobFile}, {"PYTHONUTF8=1"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(launcher.runs, installing(jobFile, false));
    EXPECT_TRUE(fs::is_empty(account.temporary));
}

TEST_F(JobFilesOnDisk, TheFileOfAFormerJobIsReplacedAndThenRemoved) {
    home.write("Library/LaunchAgents/com.quillfen.Lunevar.plist", "another program's");
    home.write("Library/LaunchAgents/com.quillfen.Other.plist", "kept");
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, settings, Domain::user));
    EXPECT_NE(contentOf(jobFile).find("<key>RunAtLoad</key>"), std::string::npos);
    QFLaunchd::removeLaunchAgent(label, Domain::user);
    EXPECT_FALSE(fs::exists(jobFile));
    EXPECT_EQ(launcher.runs.size(), 14U);
    EXPECT_EQ(contentOf(jobDirectory + "/com.quillfen.Other.plist"), "kept");
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(JobFilesOnDisk, SettingsThatNoPropertyListHoldsAreReportedAndNothingIsWritten) {
    const platform::Value::Dictionary none{{"Label", platform::Value()}};
    EXPECT_FALSE(QFLaunchd::startLaunchAgent(label, none, Domain::user));
    ASSERT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(alertPanels.shown[0].messageText, "Error: Unable to write LaunchAgent data");
    EXPECT_TRUE(fs::is_empty(jobDirectory));
    EXPECT_TRUE(fs::is_empty(account.temporary));
    EXPECT_EQ(launcher.runs, Lines{});
}
