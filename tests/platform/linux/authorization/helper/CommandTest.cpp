// Which tools the helper starts, what rm and mv may not take away, and where they are not led.

#include "platform/linux/authorization/helper/Command.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

using qf::native::helper::Status;

namespace {

namespace fs = std::filesystem;

/// Puts one program in the place of another for a scope.
class StandIn {
public:
    StandIn(const char* program, const char* place) : place_(place) {
        EXPECT_EQ(::mount(program, place, nullptr, MS_BIND, nullptr), 0) << place;
    }
    ~StandIn() { EXPECT_EQ(::umount2(place_, MNT_DETACH), 0) << place_; }
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;
    StandIn(StandIn&&) = delete;
    StandIn& operator=(StandIn&&) = delete;

private:
    const char* place_;
};

} // namespace

class HelperCommand : public HelperTest {
protected:
    /// The tool must be refused with this status and one line in the system log.
    static void expectToolRefusal(const std::string& tool, Status status,
                                  const std::string& reason) {
        TestedHelper helper;
        EXPECT_EQ(helper.start(tool).status, status);
        EXPECT_EQ(helper.nextLogLine(), "refused a request of user 12345: " + reason + ": " + tool);
        EXPECT_FALSE(helper.hasLogLine());
    }
};

TEST_F(HelperCommand, ForARelativeToolIsRefused) {
    expectToolRefusal("bin/true", Status::toolNotAbsolute, "the tool's path is relative");
    expectToolRefusal("true", Status::toolNotAbsolute, "the tool's path is relative");
    expectToolRefusal("../bin/true", Status::toolNotAbsolute, "the tool's path is relative");
}

TEST_F(HelperCommand, ForWhatIsNoToolIsRefused) {
    expectToolRefusal("/no/such/tool", Status::toolMissing, "there is no such tool");
    expectToolRefusal("/usr", Status::toolMissing, "there is no such tool");
    expectToolRefusal(makeFile(sandbox::rootsDirectory + "/file"), Status::toolMissing,
                      "there is no such tool");
}

TEST_F(HelperCommand, ForAToolThatOthersMayChangeIsRefused) {
    const std::string reason = "others than root may change the tool or its way";
    const std::string root = sandbox::rootsDirectory;
    expectToolRefusal(makeFile(root + "/users", servedUser, 0755), Status::toolNotTrusted, reason);
    expectToolRefusal(makeFile(root + "/groups", 0, 0775), Status::toolNotTrusted, reason);
    expectToolRefusal(makeFile(root + "/everybodys", 0, 0757), Status::toolNotTrusted, reason);
    expectToolRefusal(makeFile(usersDirectory() + "/roots", 0, 0755), Status::toolNotTrusted,
                      reason);
    expectToolRefusal(makeFile(sandbox::everybodysDirectory + "/roots", 0, 0755),
                      Status::toolNotTrusted, reason);
}

TEST_F(HelperCommand, ForAToolByWayOfAUsersLinkIsRefused) {
    const std::string reason = "others than root may change the tool or its way";
    expectToolRefusal(makeLink("/bin/true", usersDirectory() + "/link", 0), Status::toolNotTrusted,
                      reason);
    expectToolRefusal(makeLink("/bin/true", sandbox::rootsDirectory + "/link", servedUser),
                      Status::toolNotTrusted, reason);
    expectToolRefusal(usersDirectory() + "/../../bin/true", Status::toolNotTrusted, reason);
}

TEST_F(HelperCommand, ForAToolByWayOfRootsLinksIsGranted) {
    TestedHelper helper;
    const std::string first = makeLink("second", sandbox::rootsDirectory + "/first", 0);
    makeLink("../bin/../bin/echo", sandbox::rootsDirectory + "/second", 0);
    EXPECT_EQ(helper.outputOf(first, {"hello"}), "hello\n");
}

TEST_F(HelperCommand, ForAnInterpretersScriptIsRefused) {
    const std::string script = makeFile(sandbox::rootsDirectory + "/script", 0, 0755);
    std::ofstream(script) << "#!/bin/sh\necho hello\n";
    TestedHelper helper;
    EXPECT_EQ(helper.start(script).status, Status::startFailed);
    EXPECT_EQ(helper.nextLogLine(),
              "refused a request of user 12345: the tool cannot be started: " + script + ": " +
                  std::to_string(ENOENT));
}

TEST_F(HelperCommand, ForALinkThatLeadsToItselfIsRefused) {
    expectToolRefusal(makeLink("loop", sandbox::rootsDirectory + "/loop", 0), Status::toolMissing,
                      "there is no such tool");
}

class HelperRemoval : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        if (!IsSkipped()) {
            makeDirectory(sandbox::everybodysDirectory + "/homes");
            makeDirectory(sandbox::servedHome, servedUser);
        }
    }

    static const std::string& roots() { return sandbox::rootsDirectory; }

    /// The machine is locked, and rm is not told to enter directories: nothing would be lost if the
    /// helper let one of these through.
    static void expectProtected(const std::string& path) {
        TestedHelper helper;
        EXPECT_EQ(helper.run("/bin/rm", {"-df", path}), Status::itemProtected) << path;
        EXPECT_EQ(helper.nextLogLine(),
                  "refused a request of user 12345: a system folder, a home folder or a mount "
                  "point would be taken away: " +
                      path);
        EXPECT_EQ(helper.run("/bin/mv", {"-f", path, roots() + "/moved"}), Status::itemProtected)
            << path;
    }
};

class HelperRemovalOfTheSystem : public HelperRemoval,
                                 public testing::WithParamInterface<NamedText> {};

TEST_P(HelperRemovalOfTheSystem, SparesItHoweverItIsSpelled) {
    expectProtected(GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperRemovalOfTheSystem,
    testing::Values(NamedText{{"Root"}, "/"}, NamedText{{"RootTwice"}, "//"},
                    NamedText{{"RootWithADot"}, "/."}, NamedText{{"Directory"}, "/usr"},
                    NamedText{{"Slash"}, "/usr/"}, NamedText{{"SlashesBehind"}, "/usr//"},
                    NamedText{{"SlashesBefore"}, "//usr"}, NamedText{{"Dot"}, "/./usr"},
                    NamedText{{"UpAndDown"}, "/usr/../usr"},
                    NamedText{{"UpFromAnother"}, "/etc/../usr"},
                    NamedText{{"UpTwice"}, "/usr/bin/../../etc/"},
                    NamedText{{"UpFromProcesses"}, "/proc/1/../../usr"},
                    NamedText{{"Configuration"}, "/etc"}, NamedText{{"LinkToPrograms"}, "/bin"},
                    NamedText{{"Programs"}, "/usr/bin"}, NamedText{{"Temporary"}, "/tmp"}),
    nameOfCase);

TEST_F(HelperRemoval, SparesThemByWayOfALink) {
    makeLink("/", roots() + "/root", 0);
    expectProtected(roots() + "/root/usr");
    expectProtected(roots() + "/root/root/tmp/..");
    expectProtected(roots() + "/root/.");
}

TEST_F(HelperRemoval, SparesHomeDirectoriesAndTheDirectoriesTheyAreIn) {
    expectProtected("/root");
    expectProtected(sandbox::servedHome);
    expectProtected(sandbox::servedHome + "/");
    expectProtected("/usr/../root/");
    expectProtected(sandbox::everybodysDirectory + "/homes");
}

TEST_F(HelperRemoval, SparesAHomeDirectoryThatALinkLeadsToAndTheLink) {
    ASSERT_EQ(::rmdir(sandbox::servedHome.c_str()), 0);
    makeDirectory(roots() + "/data");
    makeLink(makeDirectory(roots() + "/data/served", servedUser), sandbox::servedHome, 0);
    expectProtected(sandbox::servedHome);
    expectProtected(roots() + "/data/served");
    expectProtected(roots() + "/data");
}

TEST_F(HelperRemoval, SparesMountPointsAndTheDirectoriesTheyAreIn) {
    makeDirectory(roots() + "/outer");
    const std::string point = makeDirectory(roots() + "/outer/mount point");
    makeDirectory(roots() + "/outer/plain");
    ASSERT_EQ(::mount("tmpfs", point.c_str(), "tmpfs", 0, ""), 0);
    expectProtected(roots());
    expectProtected(roots() + "/outer");
    expectProtected(point);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", roots() + "/outer/plain"}), Status::started);
    EXPECT_FALSE(exists(roots() + "/outer/plain"));
}

TEST_F(HelperRemoval, SparesAMountPointOfAFileSystemWithALongName) {
    makeDirectory(roots() + "/outer");
    const std::string point = makeDirectory(roots() + "/outer/point");
    const std::string name(4095, 'x');
    ASSERT_EQ(::mount(name.c_str(), point.c_str(), "tmpfs", 0, ""), 0);
    expectProtected(roots() + "/outer");
}

TEST_F(HelperRemoval, SparesThemFromToolsUnderAnotherName) {
    TestedHelper helper;
    const std::string other = makeLink("/usr/bin/rm", roots() + "/delete", 0);
    EXPECT_EQ(helper.run(other, {"-df", "/usr"}), Status::itemProtected);
}

TEST_F(HelperRemoval, IsToldByItsNameWhereOneProgramIsAllTools) {
    const StandIn rm("/usr/bin/cp", "/usr/bin/rm");
    const StandIn mv("/usr/bin/cp", "/usr/bin/mv");
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    const std::string moved = makeFile(usersDirectory() + "/moved");
    EXPECT_EQ(helper.run("/bin/cp", {"-f", "-p", "-R", file, roots() + "/copy"}), Status::started);
    EXPECT_TRUE(exists(roots() + "/copy"));
    EXPECT_EQ(helper.run("/bin/mv", {"-f", moved, usersDirectory() + "/new"}), Status::started);
    EXPECT_FALSE(exists(moved));
    EXPECT_EQ(helper.run("/bin/rm", {"-df", "/usr"}), Status::itemProtected);
}

TEST_F(HelperRemoval, SparesThemAmongOtherOperands) {
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(helper.run("/bin/rm", {file, "-f", "/usr"}), Status::itemProtected);
    EXPECT_TRUE(exists(file));
}

TEST_F(HelperRemoval, SparesAnEmptyHomeDirectoryFromBeingReplaced) {
    TestedHelper helper;
    makeDirectory(roots() + "/served");
    EXPECT_EQ(
        helper.run("/bin/mv", {"-f", roots() + "/served", sandbox::everybodysDirectory + "/homes"}),
        Status::itemProtected);
}

TEST_F(HelperRemoval, TakesAwayWhatIsAskedFor) {
    TestedHelper helper;
    fs::create_directories(roots() + "/folder/a/b");
    makeFile(roots() + "/folder/a/b/file");
    const std::string dashed = makeFile(roots() + "/-f");
    const std::string odd = makeFile(roots() + "/line\nbreak \xff");
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", roots() + "/folder/"}), Status::started);
    EXPECT_EQ(helper.run("/bin/rm", {"-f", "--", dashed, odd}), Status::started);
    EXPECT_TRUE(fs::is_empty(roots()));
    EXPECT_FALSE(helper.hasLogLine());
}

TEST_F(HelperRemoval, TakesWhatFollowsTwoDashesForAPath) {
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(TestedHelper().run("/bin/rm", {"--", "-f", file}), Status::commandUnknown);
    EXPECT_TRUE(exists(file));
}

TEST_F(HelperRemoval, OfWhatDoesNotExistIsStarted) {
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", roots() + "/missing"}), Status::started);
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", roots() + "/missing/too"}), Status::started);
    EXPECT_FALSE(helper.hasLogLine());
}

TEST_F(HelperRemoval, TakesALinkAwayAndNotWhatItLeadsTo) {
    TestedHelper helper;
    const std::string target = makeDirectory(roots() + "/target");
    const std::string link = makeLink(target, usersDirectory() + "/link", servedUser);
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", link + "/"}), Status::itemRedirected);
    EXPECT_TRUE(exists(link));
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", link}), Status::started);
    EXPECT_FALSE(exists(link));
    EXPECT_TRUE(exists(target));
}

class HelperRemovalWithOption : public HelperRemoval,
                                public testing::WithParamInterface<NamedText> {};

TEST_P(HelperRemovalWithOption, IsNotKnown) {
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(TestedHelper().run("/bin/rm", {GetParam().value, file}), Status::commandUnknown);
    EXPECT_TRUE(exists(file));
}

INSTANTIATE_TEST_SUITE_P(, HelperRemovalWithOption,
                         testing::Values(NamedText{{"Root"}, "--no-preserve-root"},
                                         NamedText{{"Long"}, "--recursive"},
                                         NamedText{{"Dash"}, "-"}, NamedText{{"Unknown"}, "-x"},
                                         NamedText{{"KnownAndUnknown"}, "-Rx"}),
                         nameOfCase);

class HelperMoveWithOption : public HelperRemoval, public testing::WithParamInterface<NamedText> {};

TEST_P(HelperMoveWithOption, IsNotKnown) {
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(TestedHelper().run("/bin/mv", {GetParam().value, file, roots() + "/b"}),
              Status::commandUnknown);
    EXPECT_TRUE(exists(file));
}

INSTANTIATE_TEST_SUITE_P(, HelperMoveWithOption,
                         testing::Values(NamedText{{"Target"}, "-t/usr"},
                                         NamedText{{"LongTarget"}, "--target-directory=/usr"},
                                         NamedText{{"NoTarget"}, "-T"}, NamedText{{"Suffix"}, "-S"},
                                         NamedText{{"Backup"}, "-b"}, NamedText{{"Question"}, "-i"},
                                         NamedText{{"NoReplacing"}, "-n"},
                                         NamedText{{"Update"}, "-u"}),
                         nameOfCase);

TEST_F(HelperRemoval, HasNoOtherNumberOrKindOfPaths) {
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(helper.run("/bin/mv", {file}), Status::commandUnknown);
    EXPECT_EQ(helper.run("/bin/mv", {file, file, roots()}), Status::commandUnknown);
    EXPECT_EQ(helper.run("/bin/rm", {"-f", "file"}), Status::commandUnknown);
    EXPECT_EQ(helper.run("/bin/mv", {file, "mnt"}), Status::commandUnknown);
    EXPECT_TRUE(exists(file));
}

TEST_F(HelperRemoval, IsNotLedOutOfAUsersDirectoryByTheUsersLinks) {
    TestedHelper helper;
    makeDirectory(roots() + "/outside");
    const std::string outside = makeFile(roots() + "/outside/file");
    const std::string inside = makeFile(usersDirectory() + "/file", servedUser);
    const std::string link = makeLink(roots() + "/outside", usersDirectory() + "/link", servedUser);
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", link + "/file"}), Status::itemRedirected);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", link + "/file", roots() + "/taken"}),
              Status::itemRedirected);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", inside, link + "/new"}), Status::itemRedirected);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", inside, link}), Status::itemRedirected);
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", usersDirectory() + "/../../mnt/outside/file"}),
              Status::itemRedirected);
    EXPECT_EQ(contentOf(outside), "content of " + outside);
    EXPECT_TRUE(exists(inside));
    EXPECT_EQ(std::distance(fs::directory_iterator(roots() + "/outside"), {}), 1);
}

TEST_F(HelperRemoval, IsNotLedByALinkInADirectoryThatEverybodyMayChange) {
    TestedHelper helper;
    const std::string shared = makeDirectory(usersDirectory() + "/shared", servedUser, 0777);
    const std::string file =
        makeFile(makeDirectory(usersDirectory() + "/private", servedUser) + "/file");
    const std::string link = makeLink(usersDirectory() + "/private", shared + "/link", 23456);
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", link + "/file"}), Status::itemRedirected);
    EXPECT_TRUE(exists(file));
}

TEST_F(HelperRemoval, FollowsAUsersLinkToTheUsersOwnDirectory) {
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    makeDirectory(usersDirectory() + "/share", servedUser);
    makeDirectory(usersDirectory() + "/share/files", servedUser);
    const std::string trash = makeLink("share/files", usersDirectory() + "/.Trash", servedUser);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, trash + "/file"}), Status::started);
    EXPECT_EQ(contentOf(usersDirectory() + "/share/files/file"), "content of " + file);
    EXPECT_FALSE(exists(file));
}
