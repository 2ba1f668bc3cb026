#include "app/UninstallPlan.h"

#include "platform/Application.h"
#include "tests/app/KnowingWorkspace.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/PausingClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <map>
#include <new>

namespace {

/// The rows' effects on a machine of doubles.
class PlanWalk : public DescribedMachine {
protected:
    Lines recycledItems() const {
        Lines items;
        for (const auto& item : desktop.recycled) {
            items.push_back(item[0] + "/" + item[2]);
        }
        return items;
    }

    static void walk(const std::vector<PlanRow>& rows) {
        PlanObserver observer;
        walkUninstallPlan(rows, observer);
    }

    KnowingWorkspace desktop;

private:
    qf::ScopedService<qf::Workspace> desktopScope_{desktop};
};

TEST_F(PlanWalk, StopsProcessesWithOneRunOfTheTool) {
    fileSystem.tools.insert("/usr/bin/killall");

    walk({{PlanAction::kill, "/usr/bin/killall", {"Dunmarl", "Quillfen App Launcher"}}});

    EXPECT_EQ(launcher.runs, (Lines{"/usr/bin/killall Dunmarl Quillfen App Launcher", "waited"}));
}

TEST_F(PlanWalk, LetsTheToolTakeAsLongAsItTakes) {
    PausingClock clock;
    const qf::ScopedService<qf::Clock> scope(clock);
    fileSystem.tools.insert("/usr/bin/killall");

    walk({{PlanAction::kill, "/usr/bin/killall", {"Dunmarl"}}});

    EXPECT_TRUE(clock.timeouts.empty());
}

TEST_F(PlanWalk, TrashesAnApplicationWhereverTheDesktopFindsIt) {
    desktop.applications = {{"com.quillfen.Ospenth", "/Volumes/Tools/Ospenth.app"}};
    fileSystem.directories = {{"/Volumes/Tools/Ospenth.app", Lines{}}};

    walk({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}});

    EXPECT_EQ(recycledItems(), Lines{"/Volumes/Tools/Ospenth.app"});
}

TEST_F(PlanWalk, DoesNothingForAnApplicationThatTheDesktopDoesNotKnow) {
    walk({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}});

    EXPECT_EQ(desktop.lookups, Lines{"com.quillfen.Ospenth"});
    EXPECT_TRUE(desktop.recycled.empty());
    EXPECT_TRUE(fileSystem.changes.empty());
}

TEST_F(PlanWalk, TrashesTheItemAtAPath) {
    fileSystem.files = {"/Library/Preferences/com.quillfen.Ospenth.plist"};

    walk({{PlanAction::trash, "/Library/Preferences/com.quillfen.Ospenth.plist", {}}});

    EXPECT_EQ(recycledItems(), Lines{"/Library/Preferences/com.quillfen.Ospenth.plist"});
}

TEST_F(PlanWalk, RemovesTheUsersOwnAgentsAndTheirFiles) {
    fileSystem.files = {"/home/someone/Library/LaunchAgents/com.quillfen.Lunevar.plist"};

    walk({{PlanAction::removeAgent, "com.quillfen.Lunevar", {}}});

    EXPECT_EQ(launcher.runs,
              (Lines{"/bin/launchctl unload "
                     "/home/someone/Library/LaunchAgents/com.quillfen.Lunevar.plist",
                     "waited", "/bin/launchctl remove com.quillfen.Lunevar", "waited"}));
    EXPECT_TRUE(fileSystem.files.empty());
    EXPECT_TRUE(desktop.recycled.empty());
}

TEST_F(PlanWalk, TrashesReceiptsByPrefixWithoutCaseInListingOrder) {
    fileSystem.directories["/Library/Receipts"] =
        Lines{"install kelvane 2.pkg", "Install Kelvane.pkg", "Other.pkg",
              "Install Kelvane Extras.pkg", "An Install Kelvane 3.pkg"};
    fileSystem.files = {"/Library/Receipts/install kelvane 2.pkg",
                        "/Library/Receipts/Install Kelvane.pkg", "/Library/Receipts/Other.pkg",
                        "/Library/Receipts/Install Kelvane Extras.pkg",
                        "/Library/Receipts/An Install Kelvane 3.pkg"};

    walk({{PlanAction::trashMatching, "/Library", {"Install Kelvane "}}});

    EXPECT_EQ(recycledItems(), (Lines{"/Library/Receipts/install kelvane 2.pkg",
                                      "/Library/Receipts/Install Kelvane Extras.pkg"}));
}

TEST_F(PlanWalk, TakesReceiptsThatCannotBeListedForNone) {
    walk({{PlanAction::trashMatching, "/Library", {"Install Kelvane "}}});

    EXPECT_TRUE(desktop.recycled.empty());
}

TEST_F(PlanWalk, GoesOnAfterARowThatFails) {
    fileSystem.files = {"/x/a", "/x/b"};
    desktop.errors = {{"/x/a", {}}};
    services.createStatus = qf::errAuthorizationDenied;

    walk({{PlanAction::trash, "/x/a", {}}, {PlanAction::trash, "/x/b", {}}});

    EXPECT_EQ(desktop.recycled.size(), 2U);
}

/// Records the notifications, in order.
class RecordingObserver : public PlanObserver {
public:
    std::vector<std::string> events;
    std::map<std::string, qf::TrashResult> results;

    void rowBegan(const PlanRow& row) override { events.push_back("begin " + row.subject); }
    void itemBegan(const std::string& path) override { events.push_back("try " + path); }
    void itemEnded(const std::string& path, const qf::TrashResult& result) override {
        events.push_back("tried " + path);
        results[path] = result;
    }
    void rowEnded(const PlanRow& row) override { events.push_back("end " + row.subject); }
    void walkEnded() override { events.push_back("end"); }
};

TEST_F(PlanWalk, TellsOfRowsAndItemsInTheirOrder) {
    fileSystem.directories["/Library/Receipts"] = Lines{"Install Kelvane 1.pkg"};
    RecordingObserver observer;

    walkUninstallPlan({{PlanAction::trashMatching, "/Library", {"Install Kelvane "}},
                       {PlanAction::trashBundle, "com.quillfen.Ospenth", {}}},
                      observer);

    EXPECT_EQ(observer.events,
              (Lines{"begin /Library", "try /Library/Receipts/Install Kelvane 1.pkg",
                     "tried /Library/Receipts/Install Kelvane 1.pkg", "end /Library",
                     "begin com.quillfen.Ospenth", "end com.quillfen.Ospenth", "end"}));
}

TEST_F(PlanWalk, MakesWhatItTrashedDurableOnce) {
    fileSystem.files = {"/x/a", "/x/b"};

    walk({{PlanAction::trash, "/x/a", {}}, {PlanAction::trash, "/x/b", {}}});

    EXPECT_EQ(desktop.timesDurable, 1);
}

/// Records what had been swept when each item began.
class SweepObserver : public PlanObserver {
public:
    explicit SweepObserver(const DescribedFileSystem& fileSystem) : fileSystem_(fileSystem) {}

    void itemBegan(const std::string& path) override { swept[path] = fileSystem_.swept; }

    std::map<std::string, std::vector<std::string>> swept;

private:
    const DescribedFileSystem& fileSystem_;
};

TEST_F(PlanWalk, RemovesAbandonedCopiesBesideItsItemsFirst) {
    SweepObserver observer(fileSystem);

    walkUninstallPlan({{PlanAction::trash, "/x/a", {}},
                       {PlanAction::trash, "/y/b", {}},
                       {PlanAction::trash, "/x/c", {}}},
                      observer);

    EXPECT_EQ(observer.swept.at("/x/a"), (Lines{"/x", "/y"}));
    EXPECT_EQ(fileSystem.swept, (Lines{"/x", "/y"}));
}

TEST_F(PlanWalk, RemovesAbandonedCopiesBesideReceiptsFirst) {
    fileSystem.directories["/Library/Receipts"] = Lines{"Install Kelvane 1.pkg"};
    SweepObserver observer(fileSystem);

    walkUninstallPlan({{PlanAction::trash, "/x/a", {}},
                       {PlanAction::trashMatching, "/Library", {"Install Kelvane "}}},
                      observer);

    EXPECT_EQ(observer.swept.at("/x/a"), (Lines{"/x", "/Library/Receipts"}));
    EXPECT_EQ(fileSystem.swept, (Lines{"/x", "/Library/Receipts"}));
}

TEST_F(PlanWalk, RemovesAbandonedCopiesBesideABundleBeforeItIsTrashed) {
    desktop.applications = {{"com.quillfen.Ospenth", "/Volumes/Tools/Ospenth.app"}};
    SweepObserver observer(fileSystem);

    walkUninstallPlan({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}}, observer);

    EXPECT_EQ(observer.swept.at("/Volumes/Tools/Ospenth.app"), Lines{"/Volumes/Tools"});
}

TEST_F(PlanWalk, AnnouncesItsItemsTogether) {
    fileSystem.files = {"/x/a", "/x/b"};
    RecordingObserver observer;

    walkUninstallPlan({{PlanAction::trash, "/x/a", {}}, {PlanAction::trash, "/x/b", {}}}, observer);

    EXPECT_EQ(desktop.prepared, std::vector<Lines>({{"/x/a", "/x/b"}}));
}

TEST_F(PlanWalk, TellsAnItemsOwnResult) {
    fileSystem.files = {"/x/a", "/x/b"};
    desktop.errors = {{"/x/a", {.localizedDescription = "It is closed."}}};
    services.rightsStatus = qf::errAuthorizationCanceled;
    RecordingObserver observer;

    walkUninstallPlan({{PlanAction::trash, "/x/a", {}},
                       {PlanAction::trash, "/x/b", {}},
                       {PlanAction::trash, "/x/c", {}}},
                      observer);

    const auto& closed = observer.results.at("/x/a");
    EXPECT_EQ(closed.outcome, qf::TrashOutcome::failed);
    EXPECT_EQ(closed.error->localizedDescription, "It is closed.");
    EXPECT_EQ(closed.right, qf::errAuthorizationCanceled);
    EXPECT_EQ(closed.place, "");
    EXPECT_EQ(observer.results.at("/x/b").outcome, qf::TrashOutcome::moved);
    EXPECT_EQ(observer.results.at("/x/b").place, "/home/someone/.Trash/b");
    EXPECT_EQ(observer.results.at("/x/c").outcome, qf::TrashOutcome::absent);
}

TEST_F(PlanWalk, EndsARowThatAnExceptionEnded) {
    desktop.failure =
        std::make_exception_ptr(qf::Exception("NSInternalException", "the desktop is gone"));
    RecordingObserver observer;

    walkUninstallPlan({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}}, observer);

    EXPECT_EQ(observer.events,
              (Lines{"begin com.quillfen.Ospenth", "end com.quillfen.Ospenth", "end"}));
}

TEST_F(PlanWalk, LogsAnExceptionThatARowLetsOutAndGoesOn) {
    desktop.failure =
        std::make_exception_ptr(qf::Exception("NSInternalException", "the desktop is gone"));
    fileSystem.files = {"/x/b"};

    walk({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}, {PlanAction::trash, "/x/b", {}}});

    EXPECT_EQ(loggedLines(), Lines{"Exception in walkUninstallPlan. NSInternalException - the "
                                   "desktop is gone."});
    EXPECT_EQ(recycledItems(), Lines{"/x/b"});
}

TEST_F(PlanWalk, LogsAnyExceptionThatARowLetsOutAndGoesOn) {
    desktop.failure = std::make_exception_ptr(std::bad_alloc());
    fileSystem.files = {"/x/b"};

    walk({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}, {PlanAction::trash, "/x/b", {}}});

    EXPECT_EQ(loggedLines(),
              Lines{"Exception in walkUninstallPlan. NSGenericException - std::bad_alloc."});
    EXPECT_EQ(recycledItems(), Lines{"/x/b"});
}

TEST_F(PlanWalk, LogsAnExceptionThatTellsNoReasonAndGoesOn) {
    desktop.failure = std::make_exception_ptr(7);
    fileSystem.files = {"/x/b"};

    walk({{PlanAction::trashBundle, "com.quillfen.Ospenth", {}}, {PlanAction::trash, "/x/b", {}}});

    EXPECT_EQ(loggedLines(), Lines{"Exception in walkUninstallPlan. NSGenericException - An "
                                   "exception that tells no reason."});
    EXPECT_EQ(recycledItems(), Lines{"/x/b"});
}

TEST_F(PlanWalk, TrashesTheOtherReceiptsAfterOneThatThrows) {
    fileSystem.directories["/Library/Receipts"] =
        Lines{"Install Kelvane 1.pkg", "Install Kelvane 2.pkg"};
    fileSystem.files = {"/Library/Receipts/Install Kelvane 1.pkg",
                        "/Library/Receipts/Install Kelvane 2.pkg"};
    /// Throws at the first item.
    class ThrowingObserver : public PlanObserver {
        void itemBegan(const std::string& path) override {
            if (path.ends_with("1.pkg")) {
                throw std::bad_alloc();
            }
        }
    } observer;

    walkUninstallPlan({{PlanAction::trashMatching, "/Library", {"Install Kelvane "}}}, observer);

    EXPECT_EQ(recycledItems(), Lines{"/Library/Receipts/Install Kelvane 2.pkg"});
}

TEST_F(PlanWalk, TrashesTheOtherReceiptsAfterOneThatCannotBeTrashed) {
    fileSystem.directories["/Library/Receipts"] =
        Lines{"Install Kelvane 1.pkg", "Install Kelvane 2.pkg"};
    fileSystem.files = {"/Library/Receipts/Install Kelvane 1.pkg",
                        "/Library/Receipts/Install Kelvane 2.pkg"};
    desktop.errors = {{"/Library/Receipts/Install Kelvane 1.pkg", {}}};
    services.createStatus = qf::errAuthorizationDenied;
    RecordingObserver observer;

    walkUninstallPlan({{PlanAction::trashMatching, "/Library", {"Install Kelvane "}}}, observer);

    EXPECT_EQ(observer.results.at("/Library/Receipts/Install Kelvane 1.pkg").outcome,
              qf::TrashOutcome::failed);
    EXPECT_EQ(observer.results.at("/Library/Receipts/Install Kelvane 2.pkg").outcome,
              qf::TrashOutcome::moved);
}

TEST_F(PlanWalk, PerformsARowWhoseObserverThrows) {
    fileSystem.files = {"/x/b"};
    class ThrowingObserver : public PlanObserver {
        void rowBegan(const PlanRow& /*row*/) override { throw std::bad_alloc(); }
    } observer;

    walkUninstallPlan({{PlanAction::trash, "/x/b", {}}}, observer);

    EXPECT_EQ(recycledItems(), Lines{"/x/b"});
}

/// A machine where every item of the plan exists.
class WholePlanWalk : public PlanWalk {
protected:
    WholePlanWalk() {
        using qf::DirectoryKind;
        using qf::DomainMask;
        searchPaths.lists[{DirectoryKind::applicationSupport, DomainMask::user}] = {
            "/home/someone/Library/Application Support"};
        searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {
            "/home/someone/Library/Caches"};
        for (const auto& row : uninstallPlan(RemoveShared::yes)) {
            if (row.action == PlanAction::trash) {
                fileSystem.files.insert(row.subject);
            } else if (row.action == PlanAction::trashBundle) {
                desktop.applications[row.subject] = "/Volumes/Tools/" + row.subject;
                fileSystem.directories["/Volumes/Tools/" + row.subject] = Lines{};
            }
        }
    }

    /// Returns the paths of the shared items that were moved to the Trash.
    Lines recycledSharedItems() const {
        Lines items;
        for (const auto& item : recycledItems()) {
            if (isShared(item)) {
                items.push_back(item);
            }
        }
        return items;
    }

    static bool isShared(const std::string& path) {
        const auto parts = {"SoftwareUpdate", "Software Update",  "launcher",
                            "App Launcher",   "Shared Resources", "com.quillfen.global"};
        return std::ranges::any_of(
            parts, [&](const auto* part) { return path.find(part) != std::string::npos; });
    }
};

TEST_F(WholePlanWalk, TouchesNothingOfTheSharedToolsUnlessTheyGoToo) {
    walk(uninstallPlan(RemoveShared::no));

    ASSERT_FALSE(recycledItems().empty());
    EXPECT_EQ(recycledSharedItems(), Lines{});
    ASSERT_FALSE(fileSystem.changes.empty());
    EXPECT_TRUE(std::ranges::none_of(fileSystem.changes, isShared));
    EXPECT_EQ(desktop.lookups.size(), 11U);
}

TEST_F(WholePlanWalk, TrashesTheSharedToolsWhenTheyGoToo) {
    walk(uninstallPlan(RemoveShared::yes));

    EXPECT_EQ(
        recycledSharedItems(),
        (Lines{"/Volumes/Tools/com.quillfen.SoftwareUpdate", "/Volumes/Tools/com.quillfen.launcher",
               "/Applications/Quillfen/Quillfen Software Update.app",
               "/Applications/Quillfen App Launcher.app",
               "/home/someone/Library/Application Support/Quillfen/Shared Resources",
               "/home/someone/Library/Caches/com.quillfen.SoftwareUpdate",
               "/home/someone/Library/Caches/com.quillfen.launcher",
               "/home/someone/Library/Preferences/com.quillfen.SoftwareUpdate.plist",
               "/home/someone/Library/Preferences/com.quillfen.launcher.plist",
               "/home/someone/Library/Preferences/com.quillfen.global.plist",
               "/Library/Preferences/com.quillfen.SoftwareUpdate.plist",
               "/Library/Preferences/com.quillfen.launcher.plist",
               "/Library/Preferences/com.quillfen.global.plist"}));
    EXPECT_EQ(desktop.lookups.size(), 13U);
}

} // namespace
