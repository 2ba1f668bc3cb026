#include "util/launchd/QFLaunchd.h"

#include "platform/AlertPanel.h"
#include "platform/Application.h"
#include "platform/Windows.h"
#include "tests/support/DescribedMachine.h"

#include <chrono>

namespace {

class StillWindow : public platform::Window {
public:
    void makeKeyAndOrderFront() override {}
    void orderOut() override {}
    bool isVisible() override { return true; }
    bool hasAttachedSheet() override { return false; }
};

/// An application whose one thread is the main thread, with a main window.
class SingleThreadedApplication : public platform::Application {
public:
    StillWindow window;

    bool isMainThread() override { return true; }
    void performOnMainThread(std::function<void()> work, platform::Wait /*wait*/) override {
        work();
    }
    void handleNextEvent(std::chrono::milliseconds /*deadline*/) override {}
    void terminate() override {}
    int addTerminationObserver(std::function<void()> /*observer*/) override { return 0; }
    void removeTerminationObserver(int /*observer*/) override {}
    platform::Window* mainWindow() override { return &window; }
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

class QFLaunchdTest : public DescribedMachine {
protected:
    static constexpr const char* label = "com.quillfen.Lunevar";
    static constexpr const char* usersAgent =
        "/home/someone/Library/LaunchAgents/com.quillfen.Lunevar.plist";
    static constexpr const char* machinesDaemon =
        "/Library/LaunchDaemons/com.quillfen.Lunevar.plist";

    /// The files that were deleted.
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

    SingleThreadedApplication application;
    AnsweredAlertPanels alertPanels;

private:
    platform::ScopedService<platform::Application> applicationScope_{application};
    platform::ScopedService<platform::AlertPanels> alertPanelsScope_{alertPanels};
};

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
    const auto before = std::chrono::steady_clock::now();
    QFLaunchd::removeJob(label, Domain::local, LaunchAgent::no, ShouldAuth::no);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::microseconds(500));
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
