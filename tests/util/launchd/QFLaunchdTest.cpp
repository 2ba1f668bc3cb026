#include "util/launchd/QFLaunchd.h"

#include "platform/AlertPanel.h"
#include "platform/Application.h"
#include "platform/PropertyLists.h"
#include "platform/Windows.h"
#include "platform/linux/files/FileSystem.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/system/SystemInformation.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/NamedCase.h"
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

class StillWindow : public qf::Window {
public:
    void makeKeyAndOrderFront() override {}
    void orderOut() override {}
    bool isVisible() override { return true; }
    bool hasAttachedSheet() override { return false; }
};

/// An application whose only thread is the main thread, with a main window. No event ever comes, so
/// every deadline passes.
class SingleThreadedApplication : public qf::Application {
public:
    explicit SingleThreadedApplication(PausingClock& clock) : clock_(clock) {}

    StillWindow window;
    /// How long the application waited for events.
    std::chrono::milliseconds waited{0};

    bool isMainThread() override { return true; }
    void performOnMainThread(std::function<void()> work, qf::Wait /*wait*/) override { work(); }
    void handleNextEvent(std::chrono::milliseconds deadline) override {
        waited += deadline;
        clock_.pass(deadline);
        clock_.meanwhile();
    }
    void terminate() override {}
    int addTerminationObserver(std::function<void()> /*observer*/) override { return 0; }
    void removeTerminationObserver(int /*observer*/) override {}
    qf::Window* mainWindow() override { return &window; }

private:
    PausingClock& clock_;
};

/// Remembers the alerts that were shown, and answers each at once.
class AnsweredAlertPanels : public qf::AlertPanels {
public:
    std::vector<qf::AlertDescription> shown;
    std::vector<qf::Window*> parents;

    std::unique_ptr<qf::AlertPanel> create(const qf::AlertDescription& description) override {
        shown.push_back(description);
        return std::make_unique<Panel>(parents);
    }

private:
    class Panel : public qf::AlertPanel {
    public:
        explicit Panel(std::vector<qf::Window*>& parents) : parents_(parents) {}
        void beginSheet(qf::Window* parent, std::function<void(int)> didEnd) override {
            parents_.push_back(parent);
            didEnd(defaultReturn);
        }
        bool isVisible() override { return false; }
        void orderOut() override {}

    private:
        std::vector<qf::Window*>& parents_;
    };
};

/// Remembers where property lists were written, and puts files there.
class RecordingPropertyLists : public qf::PropertyLists {
public:
    explicit RecordingPropertyLists(DescribedFileSystem& fileSystem) : fileSystem_(fileSystem) {}

    /// The lists that were written, by path.
    std::map<std::string, qf::Value> written;
    /// The list whose XML form is "the settings".
    qf::Value settings;
    /// Where nothing can be written.
    std::set<std::string> unwritable;
    /// Where another program's file exists by the time that writing has failed.
    std::set<std::string> taken;

    qf::Value parse(std::string_view /*bytes*/) override { return {}; }
    qf::Value read(const std::string& /*path*/) override { return {}; }
    std::optional<std::string> xml(const qf::Value& value) override {
        return value == settings ? "the settings" : "others";
    }
    qf::Result<void> writeAtomically(const qf::Value& value, const std::string& path) override {
        if (unwritable.contains(path)) {
            if (taken.contains(path)) {
                fileSystem_.files.insert(path);
            }
            return qf::Unexpected(qf::Error{.localizedDescription = "You can’t."});
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
        services.rightsStatus = qf::errAuthorizationCanceled;
    }

    /// Makes the program one without windows, as on a terminal.
    void hideWindows() {
        hideAlerts();
        applicationScope_.reset();
    }

    void hideAlerts() { alertPanelsScope_.reset(); }

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

    bool startDaemon(qf::ShouldAuth shouldAuth) {
        return QFLaunchd::startJob(label, settings, qf::Domain::local, qf::LaunchAgent::no,
                                   shouldAuth, std::nullopt);
    }

    const qf::Value::Dictionary settings{{"Label", qf::Value(label)},
                                         {"RunAtLoad", qf::Value(true)}};
    static constexpr const char* temporaryFile = "/tmp/com.quillfen.Lunevar.plist";
    PausingClock pauses;
    SingleThreadedApplication application{pauses};
    AnsweredAlertPanels alertPanels;
    RecordingPropertyLists propertyLists{fileSystem};

private:
    qf::native::SystemInformation systemInformation_;
    qf::ScopedService<qf::SystemInformation> systemInformationScope_{systemInformation_};
    qf::ScopedService<qf::Clock> pausesScope_{pauses};
    std::optional<qf::ScopedService<qf::Application>> applicationScope_{application};
    std::optional<qf::ScopedService<qf::AlertPanels>> alertPanelsScope_{alertPanels};
    qf::ScopedService<qf::PropertyLists> propertyListsScope_{propertyLists};
};

/// Job files on disk, in a home directory of the test's own.
class JobFilesOnDisk : public QFLaunchdTest {
protected:
    JobFilesOnDisk() {
        using qf::DirectoryKind;
        using qf::DomainMask;
        searchPaths.lists = {{{DirectoryKind::library, DomainMask::user}, {home / "Library"}}};
        account.temporary = home.makeDirectory("temporary");
    }

    TemporaryDirectory home;
    const std::string jobDirectory = home / "Library/LaunchAgents";
    const std::string jobFile = jobDirectory + "/com.quillfen.Lunevar.plist";

private:
    qf::native::FileSystem onDisk_;
    qf::native::PropertyLists propertyListsOnDisk_;
    qf::ScopedService<qf::FileSystem> onDiskScope_{onDisk_};
    qf::ScopedService<qf::PropertyLists> propertyListsOnDiskScope_{propertyListsOnDisk_};
};

/// Settings with every type that a property list has.
qf::Value::Dictionary settingsOfEveryType() {
    using qf::Value;
    return {
        {"Label", "com.quillfen.Lunevar"},
        {"ProgramArguments", Value::Array{"/bin/echo", "<ümläut> & \"more\"", ""}},
        {"RunAtLoad", true},
        {"KeepAlive", Value::Dictionary{{"SuccessfulExit", false}}},
        {"StartInterval", 300},
        {"Nice", -5},
        {"Ratio", 0.5},
        {"Since", qf::Date(std::chrono::sys_days(std::chrono::year(2026) / 11 / 16) + 7h)},
        {"Token", qf::Data{{std::byte{0}, std::byte{127}, std::byte{255}}}},
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
    QFLaunchd::stopJob(label, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, stopping(usersAgent));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(QFLaunchdTest, StoppingIsNeverPrivileged) {
    QFLaunchd::stopJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::yes);
    QFLaunchd::stopJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::no);
    EXPECT_EQ(launcher.runs.size(), 8U);
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(QFLaunchdTest, TheJobsFileIsThatOfTheDomainAndTheKind) {
    QFLaunchd::stopJob(label, qf::Domain::user, qf::LaunchAgent::no, qf::ShouldAuth::no);
    QFLaunchd::stopJob(label, qf::Domain::local, qf::LaunchAgent::yes, qf::ShouldAuth::no);
    QFLaunchd::stopJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::no);
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
    QFLaunchd::stopJob(std::nullopt, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(QFLaunchdTest, WithoutALibraryOnlyTheLabelIsRemoved) {
    searchPaths.lists.clear();
    QFLaunchd::removeJob(label, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, (Lines{"/bin/launchctl remove com.quillfen.Lunevar", "waited"}));
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(QFLaunchdTest, RemovingStopsTheJobAndDeletesItsFile) {
    fileSystem.files = {machinesDaemon};
    QFLaunchd::removeJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::no);
    EXPECT_EQ(launcher.runs, stopping(machinesDaemon));
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFLaunchdTest, RemovingPausesAfterTheFileIsDeleted) {
    fileSystem.files = {machinesDaemon};
    pauses.meanwhile = [this] { EXPECT_EQ(removed(), Lines{machinesDaemon}); };
    QFLaunchd::removeJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::no);
    EXPECT_EQ(pauses.rests, Rests{500us});
}

TEST_F(QFLaunchdTest, AJobWithoutAFileIsStoppedAllTheSameAndNothingIsShown) {
    QFLaunchd::removeJob(label, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::yes);
    EXPECT_EQ(launcher.runs, stopping(usersAgent));
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFLaunchdTest, AFileThatTheUserMayNotDeleteGoesThePrivilegedWay) {
    failToRemove(machinesDaemon);
    services.rightsStatus = qf::errAuthorizationSuccess;
    QFLaunchd::removeJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::yes);
    EXPECT_EQ(services.tools(), Lines{std::string("/bin/rm -Rdf ") + machinesDaemon});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
}

TEST_F(QFLaunchdTest, AFileThatRemainsIsReportedOnTheMainWindow) {
    failToRemove(machinesDaemon);
    QFLaunchd::removeJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::yes);
    ASSERT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(alertPanels.shown[0].messageText, "Error: Unable to remove LaunchAgent");
    EXPECT_EQ(alertPanels.shown[0].informativeText,
              "Please check you have correct permissions for the directory "
              "/Library/LaunchDaemons.");
    EXPECT_EQ(alertPanels.shown[0].defaultButtonTitle, std::nullopt);
    EXPECT_EQ(alertPanels.parents, std::vector<qf::Window*>{&application.window});
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(QFLaunchdTest, AFileThatRemainsIsNotReportedWhereNothingMayBeAsked) {
    failToRemove(machinesDaemon);
    QFLaunchd::removeJob(label, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::no);
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_EQ(alertPanels.shown.size(), 0U);
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{"Error removing file: You can’t.. Authorizing..."});
}

class QFLaunchdOfADomain : public QFLaunchdTest,
                           public testing::WithParamInterface<NamedValue<qf::Domain>> {};

TEST_P(QFLaunchdOfADomain, RemovesTheUsersLaunchAgent) {
    fileSystem.files = {usersAgent, "/Library/LaunchAgents/com.quillfen.Lunevar.plist"};
    QFLaunchd::removeLaunchAgent(label, GetParam().value);
    EXPECT_EQ(launcher.runs, stopping(usersAgent));
    EXPECT_EQ(removed(), Lines{usersAgent});
}

INSTANTIATE_TEST_SUITE_P(, QFLaunchdOfADomain,
                         testing::Values(NamedValue<qf::Domain>{{"User"}, qf::Domain::user},
                                         NamedValue<qf::Domain>{{"Local"}, qf::Domain::local}),
                         nameOfCase);

TEST_F(QFLaunchdTest, RemovingALaunchAgentMayAskForTheRightAndReports) {
    failToRemove(usersAgent);
    QFLaunchd::removeLaunchAgent(label, qf::Domain::user);
    EXPECT_FALSE(services.calls.empty());
    EXPECT_EQ(alertPanels.shown.size(), 1U);
}

TEST_F(QFLaunchdTest, RemovingWithoutALabelLooksForTheFileThatIsNamedSo) {
    fileSystem.files = {"/home/someone/Library/LaunchAgents/(null).plist"};
    QFLaunchd::removeLaunchAgent(std::nullopt, qf::Domain::user);
    EXPECT_EQ(launcher.runs, Lines{});
    EXPECT_EQ(removed(), Lines{"/home/someone/Library/LaunchAgents/(null).plist"});
}

TEST_F(QFLaunchdTest, APercentSignInALabelIsNoDirective) {
    QFLaunchd::stopJob("100%@", qf::Domain::local, qf::LaunchAgent::yes, qf::ShouldAuth::no);
    ASSERT_EQ(launcher.runs.size(), 4U);
    EXPECT_EQ(launcher.runs[0], "/bin/launchctl unload /Library/LaunchAgents/100%@.plist");
    EXPECT_EQ(launcher.runs[2], "/bin/launchctl remove 100%@");
}

TEST_F(QFLaunchdTest, InstallingAUsersAgentWritesItsSettingsUnchangedAndLoadsIt) {
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, settings, qf::Domain::user));
    EXPECT_EQ(propertyLists.written,
              (std::map<std::string, qf::Value>{{usersAgent, qf::Value(settings)}}));
    EXPECT_EQ(launcher.runs, installing(usersAgent, false));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFLaunchdTest, InstallingADaemonSetsItsOwnerBeforeItsMode) {
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(launcher.runs, installing(machinesDaemon, true));
    EXPECT_EQ(services.calls.size(), 0U);
}

TEST_F(QFLaunchdTest, EveryJobGoesToTheDirectoryOfItsDomainAndKind) {
    QFLaunchd::startJob(label, settings, qf::Domain::user, qf::LaunchAgent::no, qf::ShouldAuth::no,
                        std::nullopt);
    QFLaunchd::startLaunchAgent(label, settings, qf::Domain::local);
    EXPECT_TRUE(propertyLists.written.contains(
        "/home/someone/Library/LaunchDaemons/com.quillfen.Lunevar.plist"));
    EXPECT_TRUE(propertyLists.written.contains("/Library/LaunchAgents/com.quillfen.Lunevar.plist"));
}

TEST_F(QFLaunchdTest, AMissingJobDirectoryIsMade) {
    startDaemon(qf::ShouldAuth::no);
    EXPECT_EQ(fileSystem.changes, Lines{"create /Library/LaunchDaemons"});
}

struct DirectoryOfJobs : NamedCase {
    qf::ShouldAuth shouldAuth;
    std::vector<std::string> tools;
};

class QFLaunchdWithoutDirectory : public QFLaunchdTest,
                                  public testing::WithParamInterface<DirectoryOfJobs> {};

TEST_P(QFLaunchdWithoutDirectory, MakesItWithTheRightWhereThatMayBeUsed) {
    fileSystem.failures["create /home/someone/Library/LaunchAgents"] = {.localizedDescription =
                                                                            "You can’t."};
    QFLaunchd::startJob(label, settings, qf::Domain::user, qf::LaunchAgent::yes,
                        GetParam().shouldAuth, std::nullopt);
    Lines made = services.tools();
    std::erase_if(made, [](const auto& tool) { return !tool.starts_with("/bin/mkdir"); });
    EXPECT_EQ(made, GetParam().tools);
}

INSTANTIATE_TEST_SUITE_P(
    , QFLaunchdWithoutDirectory,
    testing::Values(DirectoryOfJobs{{"WithoutTheRight"}, qf::ShouldAuth::no, {}},
                    DirectoryOfJobs{{"WithTheRight"},
                                    qf::ShouldAuth::yes,
                                    {"/bin/mkdir -p /home/someone/Library/LaunchAgents"}}),
    nameOfCase);

TEST_F(QFLaunchdTest, AJobDirectoryThatIsThereIsNotMade) {
    fileSystem.directories["/Library/LaunchDaemons"] = Lines{};
    startDaemon(qf::ShouldAuth::no);
    EXPECT_EQ(fileSystem.changes, Lines{});
}

TEST_F(QFLaunchdTest, AJobThatIsInstalledAlreadyIsRemovedFirst) {
    fileSystem.directories["/Library/LaunchDaemons"] = Lines{};
    fileSystem.files = {machinesDaemon};
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::no));
    Lines expected = stopping(machinesDaemon);
    const Lines installation = installing(machinesDaemon, true);
    expected.insert(expected.end(), installation.begin(), installation.end());
    EXPECT_EQ(launcher.runs, expected);
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_TRUE(fileSystem.files.contains(machinesDaemon));
}

TEST_F(QFLaunchdTest, TheNamedProcessIsEndedBeforeOwnerAndModeAreSet) {
    fileSystem.tools.insert("/usr/bin/killall");
    QFLaunchd::startJob(label, settings, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::no,
                        "Lunevar Helper");
    ASSERT_GT(launcher.runs.size(), 2U);
    EXPECT_EQ(launcher.runs[0], "/usr/bin/killall Lunevar Helper");
    EXPECT_EQ(launcher.runs[2], std::string("/bin/chmod 644 ") + usersAgent);
}

TEST_F(QFLaunchdTest, WithTheRightOwnerAndModeAreSetWithPrivilegeAndLoadingIsNot) {
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::yes));
    EXPECT_EQ(services.tools(), (Lines{std::string("/usr/sbin/chown root:wheel ") + machinesDaemon,
                                       std::string("/bin/chmod 644 ") + machinesDaemon}));
    EXPECT_EQ(launcher.runs,
              (Lines{std::string("/bin/launchctl unload ") + machinesDaemon, "waited",
                     std::string("/bin/launchctl load ") + machinesDaemon, "waited"}));
}

// Any program of the user could have written to the file before.
TEST_F(QFLaunchdTest, WithTheRightADaemonHasTheSettingsWhateverIsInItsFile) {
    propertyLists.settings = qf::Value(settings);
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::yes));
    std::map<std::string, std::optional<std::string>> contents;
    for (const auto& call : services.calls) {
        contents[call.tool] = call.content;
    }
    EXPECT_EQ(contents["/usr/sbin/chown"], "the settings");
    EXPECT_EQ(contents["/bin/chmod"], std::nullopt);
}

TEST_F(QFLaunchdTest, WithTheRightAToolThatFailsIsReported) {
    services.executeStatus = qf::errAuthorizationToolExecuteFailure;
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::yes));
    const auto failure = [](const std::string& tool) {
        return "Unable to run " + tool + " for " + machinesDaemon +
               " as administrator - error -60031";
    };
    EXPECT_EQ(console.systemLogLines(), Lines({failure("/usr/sbin/chown"), failure("/bin/chmod")}));
}

TEST_F(QFLaunchdTest, WithTheRightAUsersJobKeepsItsOwner) {
    QFLaunchd::startJob(label, settings, qf::Domain::user, qf::LaunchAgent::yes,
                        qf::ShouldAuth::yes, std::nullopt);
    EXPECT_EQ(services.tools(), Lines{std::string("/bin/chmod 644 ") + usersAgent});
}

TEST_F(QFLaunchdTest, PausesForThePrivilegedTools) {
    std::vector<std::size_t> toolsBefore;
    pauses.meanwhile = [&] { toolsBefore.push_back(services.tools().size()); };
    startDaemon(qf::ShouldAuth::yes);
    EXPECT_EQ(pauses.rests, Rests({500us, 1s}));
    EXPECT_EQ(toolsBefore, (std::vector<std::size_t>{1, 2}));
}

TEST_F(QFLaunchdTest, WithoutPrivilegeTheToolsAreWaitedForThemselves) {
    startDaemon(qf::ShouldAuth::no);
    EXPECT_EQ(pauses.rests, Rests{});
}

TEST_F(QFLaunchdTest, InstallingGivesEachToolTenSeconds) {
    QFLaunchd::startJob(label, settings, qf::Domain::local, qf::LaunchAgent::no, qf::ShouldAuth::no,
                        "Lunevar Helper");
    // killall, chown, chmod, and launchctl twice
    EXPECT_EQ(pauses.timeouts, std::vector<std::chrono::seconds>(5, 10s));
}

TEST_F(QFLaunchdTest, StoppingGivesEachToolTenSeconds) {
    QFLaunchd::stopJob(label, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::no);
    EXPECT_EQ(pauses.timeouts, std::vector<std::chrono::seconds>(2, 10s));
}

TEST_F(QFLaunchdTest, AnUnwritableJobFileIsMovedIntoPlaceFromTheTemporaryDirectory) {
    propertyLists.unwritable = {machinesDaemon};
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(propertyLists.written,
              (std::map<std::string, qf::Value>{{temporaryFile, qf::Value(settings)}}));
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
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(services.tools()[0],
              std::string("/bin/mv -f ") + temporaryFile + " " + machinesDaemon);
    EXPECT_EQ(application.waited, 9990ms);
    EXPECT_EQ(alertPanels.shown.size(), 0U);
}

TEST_F(QFLaunchdTest, AJobFileThatTheAdministratorDoesNotMoveIsWaitedForTenSeconds) {
    propertyLists.unwritable = {machinesDaemon};
    failToMove();
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(application.waited, 10s);
    EXPECT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(removed(), Lines{temporaryFile});
}

TEST_F(QFLaunchdTest, ATemporaryFileThatAnotherProgramKeepsIsWaitedForTenSeconds) {
    DiskWithReturningFile disk(temporaryFile);
    RecordingPropertyLists lists(disk);
    const qf::ScopedService<qf::FileSystem> diskScope(disk);
    const qf::ScopedService<qf::PropertyLists> listsScope(lists);
    lists.unwritable = {machinesDaemon};
    disk.removeErrors[temporaryFile] = {.localizedDescription = "You can’t."};
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(services.tools()[0], std::string("/bin/rm -Rdf ") + temporaryFile);
    EXPECT_EQ(application.waited, 10s);
}

TEST_F(QFLaunchdTest, AnApplicationWithoutAlertsLogsThatAJobFileCannotBePutInPlace) {
    hideAlerts();
    propertyLists.unwritable = {machinesDaemon};
    services.rightsStatus = qf::errAuthorizationCanceled;
    failToMove();
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(loggedLines().back(),
              "Error: Unable to create LaunchAgent. Please check you have correct permissions for "
              "the directory /Library/LaunchDaemons");
}

TEST_F(QFLaunchdTest, WithoutWindowsAJobFileThatCannotBePutInPlaceIsLoggedAndLeavesNothingBehind) {
    hideWindows();
    propertyLists.unwritable = {machinesDaemon};
    services.rightsStatus = qf::errAuthorizationCanceled;
    failToMove();
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(removed(), Lines{temporaryFile});
    EXPECT_EQ(loggedLines().back(),
              "Error: Unable to create LaunchAgent. Please check you have correct permissions for "
              "the directory /Library/LaunchDaemons");
}

TEST_F(QFLaunchdTest, WithoutWindowsSettingsThatCanBeWrittenNowhereAreLogged) {
    hideWindows();
    propertyLists.unwritable = {machinesDaemon, temporaryFile};
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(loggedLines().size(), 1U);
}

TEST_F(QFLaunchdTest, AJobFileThatDoesNotGiveWayIsWaitedForFiveSecondsMore) {
    propertyLists.unwritable = {machinesDaemon};
    propertyLists.taken = {machinesDaemon};
    fileSystem.removeErrors[machinesDaemon] = {.localizedDescription = "You can’t."};
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(application.waited, 15s);
    EXPECT_EQ(loggedLines()[1], "Unable to write launchd plist - trying to authorize...");
}

TEST_F(QFLaunchdTest, AJobFileThatAppearsMeanwhileGivesWayToTheTemporaryOne) {
    propertyLists.unwritable = {machinesDaemon};
    propertyLists.taken = {machinesDaemon};
    EXPECT_TRUE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(removed(), Lines{machinesDaemon});
    EXPECT_TRUE(fileSystem.files.contains(machinesDaemon));
}

TEST_F(QFLaunchdTest, SettingsThatCanBeWrittenNowhereAreReportedThreeWays) {
    propertyLists.unwritable = {machinesDaemon, temporaryFile};
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
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
    EXPECT_EQ(alertPanels.parents, std::vector<qf::Window*>{&application.window});
    EXPECT_EQ(launcher.runs, Lines{});
}

/// Notes at each line in the system log how many have come to the log, and how many alerts.
class CountingConsole : public RecordingConsole {
public:
    explicit CountingConsole(const AnsweredAlertPanels& panels) : panels_(panels) {}
    void systemLog(std::string_view message) override {
        RecordingConsole::systemLog(message);
        logged.push_back(loggedLines().size());
        shown.push_back(panels_.shown.size());
    }

    std::vector<std::size_t> logged;
    std::vector<std::size_t> shown;

private:
    const AnsweredAlertPanels& panels_;
};

TEST_F(QFLaunchdTest, AFailureComesToTheLogThenToTheSystemLogThenToThePerson) {
    CountingConsole counting(alertPanels);
    const qf::ScopedService<qf::Console> scope(counting);
    propertyLists.unwritable = {machinesDaemon, temporaryFile};
    startDaemon(qf::ShouldAuth::no);
    ASSERT_FALSE(counting.logged.empty());
    EXPECT_EQ(counting.logged.back(), 1U);
    EXPECT_EQ(counting.shown.back(), 0U);

    propertyLists.unwritable = {machinesDaemon};
    failToMove();
    services.rightsStatus = qf::errAuthorizationCanceled;
    startDaemon(qf::ShouldAuth::no);
    EXPECT_EQ(counting.logged.back(), 4U);
    EXPECT_EQ(counting.shown.back(), 1U);
    EXPECT_EQ(alertPanels.shown.size(), 2U);
}

TEST_F(QFLaunchdTest, AJobFileThatCannotBePutInPlaceIsReportedThreeWaysAndLeavesNothingBehind) {
    propertyLists.unwritable = {machinesDaemon};
    failToMove();
    services.rightsStatus = qf::errAuthorizationCanceled;
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
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

TEST_F(QFLaunchdTest, AJobThatIsNotStartedSaysWhy) {
    const auto reason = [this] {
        return QFLaunchd::startLaunchAgentWithResult(label, settings, qf::Domain::local)
            .error()
            .localizedDescription;
    };
    const std::string agent = "/Library/LaunchAgents/" + std::string(label) + ".plist";
    propertyLists.unwritable = {agent, temporaryFile};
    EXPECT_EQ(reason(), "You can’t.");
    propertyLists.unwritable = {agent};
    fileSystem.failures["move " + std::string(temporaryFile) + " " + agent] = {
        .localizedDescription = "It is not yours."};
    services.rightsStatus = qf::errAuthorizationCanceled;
    EXPECT_EQ(reason(), "It is not yours.");
    searchPaths.lists.clear();
    EXPECT_EQ(reason(), "The domain has no Library directory for jobs.");
}

TEST_F(QFLaunchdTest, AMachineWithoutALibraryHasNoPlaceForAJob) {
    searchPaths.lists.clear();
    EXPECT_FALSE(startDaemon(qf::ShouldAuth::no));
    EXPECT_EQ(loggedLines(), Lines{"Error: Unable to create LaunchAgent. Please check you have "
                                   "correct permissions for the directory (null)"});
    EXPECT_TRUE(propertyLists.written.empty());
    EXPECT_EQ(launcher.runs, Lines{});
}

class QFLaunchdLabel : public QFLaunchdTest, public testing::WithParamInterface<NamedText> {};

TEST_P(QFLaunchdLabel, IsInTheFilesNameUnchanged) {
    QFLaunchd::startLaunchAgent(GetParam().value, settings, qf::Domain::user);
    EXPECT_TRUE(propertyLists.written.contains("/home/someone/Library/LaunchAgents/" +
                                               GetParam().value + ".plist"));
}

INSTANTIATE_TEST_SUITE_P(, QFLaunchdLabel,
                         testing::Values(NamedText{{"Empty"}, ""}, NamedText{{"Slash"}, "a/b"},
                                         NamedText{{"DirectoryAround"}, ".."},
                                         NamedText{{"Directives"}, "100%@"},
                                         NamedText{{"Words"}, "two words"},
                                         NamedText{{"Long"}, std::string(300, 'x')}),
                         nameOfCase);

TEST_F(QFLaunchdTest, EmptySettingsAreWrittenAsTheyAre) {
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, {}, qf::Domain::user));
    EXPECT_EQ(propertyLists.written[usersAgent], qf::Value(qf::Value::Dictionary{}));
}

TEST_F(JobFilesOnDisk, OthersReadWhatASettingIsWhateverItsType) {
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, settingsOfEveryType(), qf::Domain::user));
    const auto outcome = run({"python3", "-c", compareInPython, jobFile}, {"PYTHONUTF8=1"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(launcher.runs, installing(jobFile, false));
    EXPECT_TRUE(fs::is_empty(account.temporary));
}

TEST_F(JobFilesOnDisk, TheFileOfAFormerJobIsReplacedAndThenRemoved) {
    home.write("Library/LaunchAgents/com.quillfen.Lunevar.plist", "another program's");
    home.write("Library/LaunchAgents/com.quillfen.Other.plist", "kept");
    EXPECT_TRUE(QFLaunchd::startLaunchAgent(label, settings, qf::Domain::user));
    EXPECT_NE(contentOf(jobFile).find("<key>RunAtLoad</key>"), std::string::npos);
    QFLaunchd::removeLaunchAgent(label, qf::Domain::user);
    EXPECT_FALSE(fs::exists(jobFile));
    EXPECT_EQ(launcher.runs.size(), 14U);
    EXPECT_EQ(contentOf(jobDirectory + "/com.quillfen.Other.plist"), "kept");
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(JobFilesOnDisk, SettingsThatNoPropertyListHoldsAreReportedAndNothingIsWritten) {
    const qf::Value::Dictionary none{{"Label", qf::Value()}};
    EXPECT_FALSE(QFLaunchd::startLaunchAgent(label, none, qf::Domain::user));
    ASSERT_EQ(alertPanels.shown.size(), 1U);
    EXPECT_EQ(alertPanels.shown[0].messageText, "Error: Unable to write LaunchAgent data");
    EXPECT_TRUE(fs::is_empty(jobDirectory));
    EXPECT_TRUE(fs::is_empty(account.temporary));
    EXPECT_EQ(launcher.runs, Lines{});
}
