#include "util/auth/QFAuthorization.h"

#include "tests/support/DescribedMachine.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PausingClock.h"

#include <chrono>
#include <optional>

using qf::AuthorizationRef;
using Calls = std::vector<AuthorizationCall>;

namespace {

class PrivilegedFileOperations : public DescribedMachine {
protected:
    static QFAuthorization& controller() { return QFAuthorization::sharedController(); }

    /// Makes the superuser take over a controller that was created while another user ran the
    /// process.
    void becomeSuperuserOfSomeonesProcess() {
        controller();
        becomeSuperuser();
    }

    void refuseTheRight() { services.rightsStatus = qf::errAuthorizationCanceled; }

    template <class StartedTool>
    static void expectWaitable(const StartedTool& tool) {
        EXPECT_EQ(tool.status, 0);
        EXPECT_EQ(tool.right, qf::errAuthorizationSuccess);
        EXPECT_TRUE(tool.waitUntilExit);
    }

    void expectRefused(bool result, const std::string& line) {
        EXPECT_FALSE(result);
        EXPECT_EQ(console.systemLogLines(), Lines{line});
        EXPECT_EQ(services.calls, Calls{});
        EXPECT_EQ(launcher.runs, Lines{});
        EXPECT_EQ(loggedLines(), Lines{});
    }
};

} // namespace

TEST_F(PrivilegedFileOperations, AToolIsRunWithTheHeldRight) {
    controller().setAuthRef(AuthorizationRef{5});
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {"644", "", "a b"}), 0);
    const Calls expected{{.operation = "execute",
                          .ref = AuthorizationRef{5},
                          .flags = 0,
                          .tool = "/bin/chmod",
                          .arguments = {"644", "", "a b"}}};
    EXPECT_EQ(services.calls, expected);
}

TEST_F(PrivilegedFileOperations, AToolThatGivesAFileAwayHasTheContentForIt) {
    controller().setAuthRef(AuthorizationRef{5});
    EXPECT_EQ(controller().authExecTask("/usr/sbin/chown", {"root:wheel", "/a"}, "content"), 0);
    ASSERT_EQ(services.calls.size(), 1U);
    EXPECT_EQ(services.calls[0].content, "content");
    EXPECT_EQ(services.tools(), Lines{"/usr/sbin/chown root:wheel /a"});
}

TEST_F(PrivilegedFileOperations, TheSuperusersToolThatGivesAFileAwayIsRunAsItIs) {
    becomeSuperuser();
    EXPECT_EQ(controller().authExecTask("/usr/sbin/chown", {"root:wheel", "/a"}, "content"), 0);
    EXPECT_EQ(launcher.runs, Lines{"/usr/sbin/chown root:wheel /a"});
}

TEST_F(PrivilegedFileOperations, TheFirstToolObtainsTheRightAndTheNextReusesIt) {
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}), 0);
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}), 0);
    ASSERT_EQ(services.calls.size(), 4U);
    EXPECT_EQ(services.calls[0].operation, "create");
    EXPECT_EQ(services.calls[1].operation, "copyRights");
    EXPECT_EQ(services.calls[2].ref, AuthorizationRef{1});
    EXPECT_EQ(services.calls[3].ref, AuthorizationRef{1});
}

TEST_F(PrivilegedFileOperations, AfterTheRightIsGivenUpTheNextToolAsksAgain) {
    controller().authExecTask("/bin/chmod", {});
    controller().authEnd();
    services.calls.clear();
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}), 0);
    ASSERT_EQ(services.calls.size(), 3U);
    EXPECT_EQ(services.calls[1].flags, 19U);
}

TEST_F(PrivilegedFileOperations, AMissingToolIsLoggedBeforeAnybodyIsAsked) {
    EXPECT_EQ(controller().authExecTask("/bin/no-such-tool", {}), -2);
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Unable to execute task: path /bin/no-such-tool doesn't exist"});
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(PrivilegedFileOperations, AMissingToolIsMissingForTheSuperuserToo) {
    becomeSuperuser();
    EXPECT_EQ(controller().authExecTask("/bin/no-such-tool", {}), -2);
    EXPECT_EQ(launcher.runs, Lines{});
}

TEST_F(PrivilegedFileOperations, AToolThatAStandInReplacesExists) {
    launcher.standIns = {"/usr/sbin/diskutil"};
    EXPECT_EQ(controller().authExecTask("/usr/sbin/diskutil", {}), 0);
}

TEST_F(PrivilegedFileOperations, AToolThatIsThereIsNotMissingEvenIfItCannotBeLaunchedAsItIs) {
    fileSystem.files = {"/opt/tool"};
    EXPECT_EQ(controller().authExecTask("/opt/tool", {}), 0);
    EXPECT_EQ(services.tools(), Lines{"/opt/tool"});
}

TEST_F(PrivilegedFileOperations, ARefusedRightReturnsMinusOneWithoutALine) {
    refuseTheRight();
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}), -1);
    EXPECT_EQ(services.tools(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, WithoutAUserInterfaceTheOnlyLineIsThatOfTheStart) {
    QFAuthorization::sharedController(qf::UserInterface::no);
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}), -1);
    EXPECT_EQ(console.systemLogLines(), Lines{"Unable to authorize"});
}

TEST_F(PrivilegedFileOperations, ThePlatformsStatusIsPassedOnWithoutALine) {
    services.executeStatus = qf::errAuthorizationToolExecuteFailure;
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}, qf::Async::no), -60031);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, AnAsynchronousToolsOutputIsNotRead) {
    services.toolOutput = "output";
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}, qf::Async::yes), 0);
    EXPECT_EQ(services.unreadOutput, 6);
}

TEST_F(PrivilegedFileOperations, ToolsAreAsynchronousUnlessSaidOtherwise) {
    services.toolOutput = "output";
    controller().authExecTask("/bin/chmod", {});
    EXPECT_EQ(services.unreadOutput, 6);
}

TEST_F(PrivilegedFileOperations, ASynchronousToolsOutputIsReadToItsEnd) {
    services.toolOutput = std::string(100'000, '\0') + "\n\xFF and more";
    EXPECT_EQ(controller().authExecTask("/usr/bin/touch", {"-c", "/item"}, qf::Async::no), 0);
    EXPECT_LE(services.unreadOutput, 0);
}

TEST_F(PrivilegedFileOperations, TheSuperuserStartsAToolWithoutWaiting) {
    becomeSuperuser();
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {"644", "/item"}), 0);
    EXPECT_EQ(launcher.runs, Lines{"/bin/chmod 644 /item"});
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(PrivilegedFileOperations, TheSuperuserWaitsForASynchronousTool) {
    becomeSuperuser();
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {"644", "/item"}, qf::Async::no), 0);
    EXPECT_EQ(launcher.runs, (Lines{"/bin/chmod 644 /item", "waited"}));
}

TEST_F(PrivilegedFileOperations, TheSuperusersToolCountsAsRunEvenWhenItCannotBeStarted) {
    becomeSuperuser();
    launcher.failure = qf::Exception("NSGenericException", "no process left");
    EXPECT_EQ(controller().authExecTask("/bin/chmod", {}), 0);
    EXPECT_TRUE(controller().authRemoveFile("/item"));
    EXPECT_TRUE(controller().authCreateDir("/folder"));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"no process left", "no process left", "no process left"}));
}

TEST_F(PrivilegedFileOperations, RemoveDeletesTheItemWithAllThatIsInIt) {
    EXPECT_TRUE(controller().authRemoveFile("/Applications/Tool.app"));
    ASSERT_EQ(services.calls.size(), 3U);
    EXPECT_EQ(services.calls[2].tool, "/bin/rm");
    EXPECT_EQ(services.calls[2].arguments, (Lines{"-Rdf", "/Applications/Tool.app"}));
}

TEST_F(PrivilegedFileOperations, RemoveDoesNotLookWhetherTheItemExists) {
    EXPECT_FALSE(fileSystem.exists("/missing"));
    EXPECT_TRUE(controller().authRemoveFile("/missing"));
    EXPECT_EQ(services.tools(), Lines{"/bin/rm -Rdf /missing"});
}

TEST_F(PrivilegedFileOperations, RemoveRefusesASystemDirectory) {
    expectRefused(controller().authRemoveFile("/usr"),
                  "Unable to delete path /usr because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, RemoveRefusesASystemDirectoryToTheSuperuserToo) {
    becomeSuperuser();
    expectRefused(controller().authRemoveFile("/"),
                  "Unable to delete path / because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, OnlyTheProtectedDirectoriesThemselvesAreRefused) {
    EXPECT_TRUE(controller().authRemoveFile("/usr/share/tool"));
}

TEST_F(PrivilegedFileOperations, RemoveFailsWithoutALineOfItsOwnWhenTheRightIsRefused) {
    refuseTheRight();
    EXPECT_FALSE(controller().authRemoveFile("/item"));
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, RemoveFailsWhenTheToolCannotBeStarted) {
    services.executeStatus = qf::errAuthorizationToolExecuteFailure;
    EXPECT_FALSE(controller().authRemoveFile("/item"));
}

TEST_F(PrivilegedFileOperations, TrashMovesTheItemIntoTheUsersTrash) {
    fileSystem.files = {"/Library/Report.pdf"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Report.pdf"));
    EXPECT_EQ(services.tools(),
              Lines{"/bin/mv -f /Library/Report.pdf /home/someone/.Trash/Report.pdf"});
}

TEST_F(PrivilegedFileOperations, TrashMakesTheUsersTrashWithoutTheRight) {
    refuseTheRight();
    fileSystem.files = {"/Library/Report.pdf"};
    EXPECT_FALSE(controller().authTrashFile("/Library/Report.pdf"));
    EXPECT_EQ(workspace.trashesMade, Lines{"/home/someone/.Trash"});
}

TEST_F(PrivilegedFileOperations, AStartedMoveIntoTheTrashCanBeWaitedFor) {
    services.toolOutput = "output";
    fileSystem.files = {"/Library/Report.pdf"};
    auto tool = controller().startTrashing("/Library/Report.pdf");
    EXPECT_EQ(tool.status, 0);
    EXPECT_EQ(tool.right, qf::errAuthorizationSuccess);
    tool.waitUntilExit();
    tool = {};
    EXPECT_LE(services.unreadOutput, 0);
}

TEST_F(PrivilegedFileOperations, AMoveCanBeWaitedFor) {
    fileSystem.files = {"/Library/a"};
    expectWaitable(controller().startMoving("/Library/a", "/Library/b"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /Library/a /Library/b"});
}

TEST_F(PrivilegedFileOperations, ARemovalCanBeWaitedFor) {
    fileSystem.files = {"/Library/a"};
    expectWaitable(controller().startRemoving("/Library/a"));
    EXPECT_EQ(services.tools(), Lines{"/bin/rm -Rdf /Library/a"});
}

TEST_F(PrivilegedFileOperations, ARemovalWithoutItsToolIsNotStarted) {
    fileSystem.tools.erase("/bin/rm");
    const auto tool = controller().startRemoving("/item");
    EXPECT_EQ(tool.status, QFAuthorization::toolMissing);
    EXPECT_FALSE(tool.waitUntilExit);
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(PrivilegedFileOperations, AProtectedDirectoryIsNotRemoved) {
    EXPECT_EQ(controller().startRemoving("/Applications").status, QFAuthorization::refused);
    EXPECT_EQ(services.tools(), Lines{});
}

TEST_F(PrivilegedFileOperations, TheSuperusersMoveIntoTheTrashCanBeWaitedFor) {
    becomeSuperuser();
    fileSystem.files = {"/Library/Report.pdf"};
    const auto tool = controller().startTrashing("/Library/Report.pdf");
    EXPECT_EQ(launcher.runs,
              Lines{"/bin/mv -f /Library/Report.pdf /home/someone/.Trash/Report.pdf"});
    tool.waitUntilExit();
    EXPECT_EQ(launcher.runs.back(), "waited");
    EXPECT_EQ(tool.right, std::nullopt);
}

TEST_F(PrivilegedFileOperations, AMoveIntoTheTrashIsRecordedUntilItHasEnded) {
    services.toolOutput = "output";
    fileSystem.files = {"/Library/Report.pdf", "/home/someone/.Trash/Report.pdf"};
    const auto tool = controller().startTrashing("/Library/Report.pdf");
    EXPECT_EQ(workspace.expected,
              (std::vector<Lines>{
                  {"/Library/Report.pdf", "/home/someone/.Trash/Report_20231231235959.pdf"}}));
    EXPECT_EQ(workspace.ended, Lines{});
    EXPECT_EQ(tool.destination, "/home/someone/.Trash/Report_20231231235959.pdf");

    tool.waitUntilExit();
    EXPECT_EQ(workspace.ended, Lines{"/home/someone/.Trash/Report_20231231235959.pdf"});
}

TEST_F(PrivilegedFileOperations, TheRecordOfAMoveThatWasNotStartedIsTakenBack) {
    refuseTheRight();
    fileSystem.files = {"/Library/Report.pdf"};
    EXPECT_FALSE(controller().authTrashFile("/Library/Report.pdf"));
    EXPECT_EQ(workspace.ended, Lines{"/home/someone/.Trash/Report.pdf"});
}

TEST_F(PrivilegedFileOperations, WhatMustNotBeMovedIntoTheTrashIsLeftAlone) {
    workspace.unmovable = {{"/Suite/Volumes", {.code = EBUSY}}};
    fileSystem.directories = {{"/Suite", Lines{"Volumes", "Report.pdf"}}};
    fileSystem.files = {"/Suite/Volumes", "/Suite/Report.pdf"};

    EXPECT_FALSE(controller().authTrashFile("/Suite/Volumes"));
    EXPECT_EQ(services.tools(), Lines{});
    EXPECT_FALSE(controller().authTrashFolderContents("/Suite"));
    EXPECT_EQ(services.tools(),
              Lines{"/bin/mv -f /Suite/Report.pdf /home/someone/.Trash/Report.pdf"});
}

TEST_F(PrivilegedFileOperations, AMoveIntoTheTrashTellsWhyTheRightWasNotObtained) {
    refuseTheRight();
    fileSystem.files = {"/Library/Report.pdf"};
    const auto tool = controller().startTrashing("/Library/Report.pdf");
    EXPECT_EQ(tool.status, QFAuthorization::notAuthorized);
    EXPECT_EQ(tool.right, qf::errAuthorizationCanceled);
    EXPECT_FALSE(tool.waitUntilExit);
    EXPECT_EQ(tool.destination, "");
}

TEST_F(PrivilegedFileOperations, AMoveIntoTheTrashTellsThatNoHandleWasToBeHad) {
    services.createStatus = qf::errAuthorizationInternal;
    fileSystem.files = {"/Library/Report.pdf"};
    EXPECT_EQ(controller().startTrashing("/Library/Report.pdf").right,
              qf::errAuthorizationInternal);
}

TEST_F(PrivilegedFileOperations, AMoveIntoTheTrashTellsThatTheToolWasNotStarted) {
    services.executeStatus = qf::errAuthorizationToolExecuteFailure;
    fileSystem.files = {"/Library/Report.pdf"};
    const auto tool = controller().startTrashing("/Library/Report.pdf");
    EXPECT_EQ(tool.status, qf::errAuthorizationToolExecuteFailure);
    EXPECT_EQ(tool.right, qf::errAuthorizationToolExecuteFailure);
}

TEST_F(PrivilegedFileOperations, ARefusedMoveIntoTheTrashAsksForNoRight) {
    const auto tool = controller().startTrashing("/Applications");
    EXPECT_EQ(tool.status, QFAuthorization::refused);
    EXPECT_EQ(tool.right, std::nullopt);
}

TEST_F(PrivilegedFileOperations, ATakenNameGetsTheLocalTimeBeforeItsExtension) {
    fileSystem.files = {"/Library/Report.pdf", "/home/someone/.Trash/Report.pdf"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Report.pdf"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /Library/Report.pdf "
                                      "/home/someone/.Trash/Report_20231231235959.pdf"});
}

TEST_F(PrivilegedFileOperations, ATakenNameWithoutAnExtensionEndsInADot) {
    fileSystem.files = {"/Library/Makefile", "/home/someone/.Trash/Makefile"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Makefile"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /Library/Makefile "
                                      "/home/someone/.Trash/Makefile_20231231235959."});
}

TEST_F(PrivilegedFileOperations, TheNewNameIsNotTriedAgain) {
    fileSystem.files = {"/Library/Notes", "/home/someone/.Trash/Notes",
                        "/home/someone/.Trash/Notes_20231231235959."};
    EXPECT_TRUE(controller().authTrashFile("/Library/Notes"));
    EXPECT_EQ(services.tools(),
              Lines{"/bin/mv -f /Library/Notes /home/someone/.Trash/Notes_20231231235959."});
}

TEST_F(PrivilegedFileOperations, TheSuperuserTrashesIntoTheTrashOfWhoeverStartedTheProgram) {
    becomeSuperuserOfSomeonesProcess();
    account.home = "/root";
    fileSystem.files = {"/Library/Tool.app"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Tool.app"));
    EXPECT_EQ(launcher.runs, Lines{"/bin/mv -f /Library/Tool.app /home/someone/.Trash/Tool.app"});
    EXPECT_EQ(workspace.trashesMade, Lines{}); // it would belong to the superuser
    EXPECT_EQ(workspace.expected,              // which may have to make room there
              (std::vector<Lines>{{"/Library/Tool.app", "/home/someone/.Trash/Tool.app"}}));
}

TEST_F(PrivilegedFileOperations, TheSuperuserWhoKnowsNoUserTrashesIntoItsOwnTrash) {
    becomeSuperuser();
    account.home = "/root";
    fileSystem.files = {"/Library/Tool.app"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Tool.app"));
    EXPECT_EQ(launcher.runs, Lines{"/bin/mv -f /Library/Tool.app /root/.Trash/Tool.app"});
    EXPECT_EQ(workspace.trashesMade, Lines{"/root/.Trash"});
}

TEST_F(PrivilegedFileOperations, OnTheRootAccountThePlaceInTheTrashIsDeletedNotTheItem) {
    becomeSuperuser();
    account.home = "/root";
    fileSystem.files = {"/Library/Tool.app"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Tool.app", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(launcher.runs, Lines{"/bin/rm -Rdf /root/.Trash/Tool.app"});
}

TEST_F(PrivilegedFileOperations, OnTheRootAccountASystemDirectoryIsNotDeleted) {
    becomeSuperuser();
    expectRefused(controller().authTrashFile("/Applications", qf::DeleteOnRootAccount::yes),
                  "Unable to trash path /Applications because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, OnTheRootAccountATakenPlaceInTheTrashIsNotTheOneDeleted) {
    becomeSuperuser();
    account.home = "/root";
    fileSystem.files = {"/Library/Tool.app", "/root/.Trash/Tool.app"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Tool.app", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(launcher.runs, Lines{"/bin/rm -Rdf /root/.Trash/Tool_20231231235959.app"});
}

TEST_F(PrivilegedFileOperations, DeletionOnTheRootAccountIsNotForOrdinaryUsersOrKnownOnes) {
    fileSystem.files = {"/Library/Tool.app"};
    EXPECT_TRUE(controller().authTrashFile("/Library/Tool.app", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(services.tools(),
              Lines{"/bin/mv -f /Library/Tool.app /home/someone/.Trash/Tool.app"});
    becomeSuperuser();
    EXPECT_TRUE(controller().authTrashFile("/Library/Tool.app", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(launcher.runs, Lines{"/bin/mv -f /Library/Tool.app /home/someone/.Trash/Tool.app"});
}

TEST_F(PrivilegedFileOperations, TrashRefusesASystemDirectory) {
    expectRefused(controller().authTrashFile("/Applications"),
                  "Unable to trash path /Applications because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, TrashFailsSilentlyWhenTheItemIsMissing) {
    EXPECT_FALSE(controller().authTrashFile("/Library/missing"));
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, TrashDirectoryContentsTrashesEveryEntryAndKeepsTheDirectory) {
    fileSystem.directories["/Library/Quillfen"] = {{"b", ".hidden"}};
    fileSystem.files = {"/Library/Quillfen/b", "/Library/Quillfen/.hidden"};
    EXPECT_TRUE(controller().authTrashFolderContents("/Library/Quillfen"));
    EXPECT_EQ(services.tools(),
              (Lines{"/bin/mv -f /Library/Quillfen/b /home/someone/.Trash/b",
                     "/bin/mv -f /Library/Quillfen/.hidden /home/someone/.Trash/.hidden"}));
}

TEST_F(PrivilegedFileOperations, TrashDirectoryContentsGoesOnAfterAFailure) {
    fileSystem.directories["/Library/Quillfen"] = {{"a", "b"}};
    fileSystem.files = {"/Library/Quillfen/a", "/Library/Quillfen/b"};
    services.nextExecuteStatuses = {qf::errAuthorizationToolExecuteFailure};
    EXPECT_FALSE(controller().authTrashFolderContents("/Library/Quillfen"));
    EXPECT_EQ(services.tools().size(), 2U);
}

TEST_F(PrivilegedFileOperations, TrashDirectoryContentsOfAnEmptyOrUnreadableDirectoryRunsNothing) {
    fileSystem.directories["/empty"] = Lines{};
    fileSystem.directories["/unreadable"] = std::nullopt;
    EXPECT_TRUE(controller().authTrashFolderContents("/empty"));
    EXPECT_TRUE(controller().authTrashFolderContents("/unreadable"));
    EXPECT_TRUE(controller().authTrashFolderContents("/missing"));
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(PrivilegedFileOperations, TrashDirectoryContentsRefusesASystemDirectory) {
    fileSystem.directories["/Library"] = {{"a"}};
    expectRefused(
        controller().authTrashFolderContents("/Library"),
        "Unable to trash folder contents of path /Library because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, OnTheRootAccountTrashDirectoryContentsDeletesTheEntries) {
    becomeSuperuser();
    fileSystem.directories["/Library/Quillfen"] = {{"a", "b"}};
    EXPECT_TRUE(
        controller().authTrashFolderContents("/Library/Quillfen", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(launcher.runs,
              (Lines{"/bin/rm -R -f /Library/Quillfen/a", "/bin/rm -R -f /Library/Quillfen/b"}));
}

TEST_F(PrivilegedFileOperations, OnTheRootAccountTrashDirectoryContentsTrashesUnlessToldToDelete) {
    becomeSuperuser();
    account.home = "/root";
    fileSystem.directories["/Library/Quillfen"] = {{"a"}};
    fileSystem.files = {"/Library/Quillfen/a"};
    EXPECT_TRUE(controller().authTrashFolderContents("/Library/Quillfen"));
    EXPECT_EQ(launcher.runs, Lines{"/bin/mv -f /Library/Quillfen/a /root/.Trash/a"});
}

TEST_F(PrivilegedFileOperations, TrashDirectoryContentsNeverDeletesForAKnownUser) {
    becomeSuperuserOfSomeonesProcess();
    fileSystem.directories["/Library/Quillfen"] = {{"a"}};
    fileSystem.files = {"/Library/Quillfen/a"};
    EXPECT_TRUE(
        controller().authTrashFolderContents("/Library/Quillfen", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(launcher.runs, Lines{"/bin/mv -f /Library/Quillfen/a /home/someone/.Trash/a"});
}

TEST_F(PrivilegedFileOperations, TrashDirectoryContentsNeverDeletesForAnOrdinaryUser) {
    fileSystem.directories["/Library/Quillfen"] = {{"a"}};
    fileSystem.files = {"/Library/Quillfen/a"};
    EXPECT_TRUE(
        controller().authTrashFolderContents("/Library/Quillfen", qf::DeleteOnRootAccount::yes));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /Library/Quillfen/a /home/someone/.Trash/a"});
}

TEST_F(PrivilegedFileOperations, MoveDirectoryContentsMovesEveryEntry) {
    fileSystem.directories["/from"] = {{"a", "b"}};
    fileSystem.files = {"/from/a", "/from/b"};
    EXPECT_TRUE(controller().authMoveFolderContents("/from", "/to"));
    EXPECT_EQ(services.tools(), (Lines{"/bin/mv -f /from/a /to/a", "/bin/mv -f /from/b /to/b"}));
}

TEST_F(PrivilegedFileOperations, MoveDirectoryContentsGoesOnAfterAFailure) {
    fileSystem.directories["/from"] = {{"missing", "b"}};
    fileSystem.files = {"/from/b"};
    EXPECT_FALSE(controller().authMoveFolderContents("/from", "/to"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /from/b /to/b"});
}

TEST_F(PrivilegedFileOperations, MoveDirectoryContentsOfAnEmptyOrUnreadableDirectoryRunsNothing) {
    fileSystem.directories["/empty"] = Lines{};
    EXPECT_TRUE(controller().authMoveFolderContents("/empty", "/to"));
    EXPECT_TRUE(controller().authMoveFolderContents("/missing", "/to"));
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(PrivilegedFileOperations, MoveDirectoryContentsRefusesASystemDirectory) {
    expectRefused(controller().authMoveFolderContents("/bin", "/to"),
                  "Unable to move contents of path /bin because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, MoveReplacesWhatExistsAtTheNewPath) {
    fileSystem.files = {"/old", "/new"};
    EXPECT_TRUE(controller().authMoveFile("/old", "/new"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /old /new"});
}

TEST_F(PrivilegedFileOperations, MoveFromNothingIsLogged) {
    expectRefused(controller().authMoveFile(std::nullopt, std::nullopt),
                  "Error in authMoveFile: old path is null");
}

TEST_F(PrivilegedFileOperations, MoveToNothingIsLoggedBeforeTheOldPathIsLookedAt) {
    expectRefused(controller().authMoveFile("/usr", std::nullopt),
                  "Error in authMoveFile: new path is null");
}

TEST_F(PrivilegedFileOperations, MoveRefusesASystemDirectory) {
    fileSystem.directories["/var"] = Lines{};
    expectRefused(controller().authMoveFile("/var", "/new"),
                  "Unable to move path /var because it is a system directory.");
}

TEST_F(PrivilegedFileOperations, MoveOfAMissingItemFailsSilently) {
    EXPECT_FALSE(controller().authMoveFile("/missing", "/new"));
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, MoveThatAToolMayHaveBeenKilledWithIsStartedOnceMore) {
    services.unfinishedMoves = {"/new"};
    EXPECT_FALSE(controller().authMoveFile("/missing", "/other"));
    EXPECT_TRUE(controller().authMoveFile("/missing", "/new"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /missing /new"});
}

TEST_F(PrivilegedFileOperations, MoveOfAMissingItemFailsSilentlyForTheSuperuser) {
    becomeSuperuser();
    services.unfinishedMoves = {"/new"};
    EXPECT_FALSE(controller().authMoveFile("/missing", "/new"));
}

TEST_F(PrivilegedFileOperations, MoveFailsWhenTheRightIsRefused) {
    refuseTheRight();
    fileSystem.files = {"/old"};
    EXPECT_FALSE(controller().authMoveFile("/old", "/new"));
}

TEST_F(PrivilegedFileOperations, TheSuperusersMoveIsDoneWhenItIsStarted) {
    becomeSuperuser();
    fileSystem.files = {"/old"};
    fileSystem.tools.erase("/bin/mv");
    EXPECT_TRUE(controller().authMoveFile("/old", "/new"));
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_FALSE(controller().authMoveFile("/missing", "/new"));
}

TEST_F(PrivilegedFileOperations, CopyCopiesTheItemWithItsAttributes) {
    fileSystem.files = {"/old"};
    EXPECT_TRUE(controller().authCopyFile("/old", "/new"));
    ASSERT_EQ(services.calls.size(), 3U);
    EXPECT_EQ(services.calls[2].tool, "/bin/cp");
    EXPECT_EQ(services.calls[2].arguments, (Lines{"-f", "-p", "-R", "/old", "/new"}));
}

TEST_F(PrivilegedFileOperations, CopyAcceptsASystemDirectory) {
    fileSystem.directories["/usr"] = Lines{};
    EXPECT_TRUE(controller().authCopyFile("/usr", "/new"));
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, CopyFromNothingIsLogged) {
    expectRefused(controller().authCopyFile(std::nullopt, "/new"),
                  "Error in authCopyFile: old path is null");
}

TEST_F(PrivilegedFileOperations, CopyToNothingIsLogged) {
    expectRefused(controller().authCopyFile("/old", std::nullopt),
                  "Error in authCopyFile: new path is null");
}

TEST_F(PrivilegedFileOperations, CopyOfAMissingItemFailsSilently) {
    EXPECT_FALSE(controller().authCopyFile("/missing", "/new"));
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(PrivilegedFileOperations, TheSuperusersCopyIsDoneWhenItIsStarted) {
    becomeSuperuser();
    fileSystem.files = {"/old"};
    EXPECT_TRUE(controller().authCopyFile("/old", "/new"));
    EXPECT_EQ(launcher.runs, Lines{"/bin/cp -f -p -R /old /new"});
}

TEST_F(PrivilegedFileOperations, CreateDirMakesTheDirectoryAndAllThatLeadToIt) {
    EXPECT_TRUE(controller().authCreateDir("/Library/a/b"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mkdir -p /Library/a/b"});
}

TEST_F(PrivilegedFileOperations, CreateDirDoesNotLookWhetherTheDirectoryExists) {
    fileSystem.directories["/usr"] = Lines{};
    EXPECT_TRUE(controller().authCreateDir("/usr"));
    EXPECT_EQ(services.tools(), Lines{"/bin/mkdir -p /usr"});
}

TEST_F(PrivilegedFileOperations, CreateDirFailsWhenTheRightIsRefused) {
    refuseTheRight();
    EXPECT_FALSE(controller().authCreateDir("/Library/a"));
}

TEST_F(PrivilegedFileOperations, CreateDirPausesForItsTool) {
    PausingClock pauses;
    const qf::ScopedService<qf::Clock> pausesScope(pauses);
    controller().authCreateDir("/Library/a");
    EXPECT_EQ(pauses.rests, std::vector(1, std::chrono::microseconds(500)));
}

TEST_F(PrivilegedFileOperations, CreateDirDoesNotPauseForAToolThatWasNotStarted) {
    PausingClock pauses;
    const qf::ScopedService<qf::Clock> pausesScope(pauses);
    refuseTheRight();
    EXPECT_FALSE(controller().authCreateDir("/Library/a"));
    services.rightsStatus = qf::errAuthorizationSuccess;
    services.executeStatus = qf::errAuthorizationToolExecuteFailure;
    EXPECT_FALSE(controller().authCreateDir("/Library/a"));
    EXPECT_TRUE(pauses.rests.empty());
}

TEST_F(PrivilegedFileOperations, TheSuperusersCreateDirIsDoneWhenItIsStarted) {
    becomeSuperuser();
    EXPECT_TRUE(controller().authCreateDir("/Library/a"));
    EXPECT_EQ(launcher.runs, Lines{"/bin/mkdir -p /Library/a"});
}

// Reasons.

namespace {

struct Refused : NamedCase {
    qf::Result<void> (*perform)(QFAuthorization& controller);
    int code;
    std::string reason;
};

class ReasonOf : public PrivilegedFileOperations, public testing::WithParamInterface<Refused> {};

constexpr auto no = qf::DeleteOnRootAccount::no;

const Refused refusedOperations[]{
    {{"Remove"},
     [](auto& controller) { return controller.authRemoveFileWithResult("/usr"); },
     QFAuthorization::refused,
     "Unable to delete path /usr because it is a system directory."},
    {{"Trash"},
     [](auto& controller) { return controller.authTrashFileWithResult("/usr", no); },
     QFAuthorization::refused,
     "Unable to trash path /usr because it is a system directory."},
    {{"TrashContents"},
     [](auto& controller) { return controller.authTrashFolderContentsWithResult("/usr", no); },
     QFAuthorization::refused,
     "Unable to trash folder contents of path /usr because it is a system directory."},
    {{"MoveContents"},
     [](auto& controller) { return controller.authMoveFolderContentsWithResult("/usr", "/to"); },
     QFAuthorization::refused,
     "Unable to move contents of path /usr because it is a system directory."},
    {{"MoveToNothing"},
     [](auto& controller) { return controller.authMoveFileWithResult("/item", std::nullopt); },
     QFAuthorization::refused,
     "Error in authMoveFile: new path is null"},
    {{"MoveOfTheMissing"},
     [](auto& controller) { return controller.authMoveFileWithResult("/missing", "/to"); },
     QFAuthorization::refused,
     "/missing does not exist."},
    {{"CopyFromNothing"},
     [](auto& controller) { return controller.authCopyFileWithResult(std::nullopt, "/to"); },
     QFAuthorization::refused,
     "Error in authCopyFile: old path is null"},
    {{"CopyOfTheMissing"},
     [](auto& controller) { return controller.authCopyFileWithResult("/missing", "/to"); },
     QFAuthorization::refused,
     "/missing does not exist."},
    {{"CreateDirWithoutRight"},
     [](auto& controller) { return controller.authCreateDirWithResult("/new"); },
     qf::errAuthorizationCanceled,
     "The administrator’s right was not granted."},
};

} // namespace

TEST_P(ReasonOf, IsSaid) {
    refuseTheRight();
    fileSystem.directories["/usr"] = Lines{};
    const auto result = GetParam().perform(controller());
    EXPECT_EQ(result.error().domain, "QFAuthorizationErrorDomain");
    EXPECT_EQ(result.error().code, GetParam().code);
    EXPECT_EQ(result.error().localizedDescription, GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(, ReasonOf, testing::ValuesIn(refusedOperations), nameOfCase);

TEST_F(PrivilegedFileOperations, AToolThatCannotBeStartedSaysSo) {
    services.executeStatus = qf::errAuthorizationToolExecuteFailure;
    const auto result = controller().authRemoveFileWithResult("/item");
    EXPECT_EQ(result.error().code, qf::errAuthorizationToolExecuteFailure);
    EXPECT_EQ(result.error().localizedDescription,
              "/bin/rm could not be started with the administrator’s right.");
}

TEST_F(PrivilegedFileOperations, AToolThatDoesNotExistSaysSo) {
    fileSystem.tools.erase("/bin/rm");
    const auto result = controller().authRemoveFileWithResult("/item");
    EXPECT_EQ(result.error().code, QFAuthorization::toolMissing);
    EXPECT_EQ(result.error().localizedDescription,
              "Unable to execute task: path /bin/rm doesn't exist");
}

TEST_F(PrivilegedFileOperations, OfSeveralItemsTheFirstThatFailsSaysWhy) {
    fileSystem.directories = {{"/from", Lines{"missing", "item"}}};
    fileSystem.files = {"/from/item"};
    const auto result = controller().authMoveFolderContentsWithResult("/from", "/to");
    EXPECT_EQ(result.error().localizedDescription, "/from/missing does not exist.");
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /from/item /to/item"});
}
