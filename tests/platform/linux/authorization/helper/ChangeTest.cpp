// The dates, rights and owners that the helper changes, and the directories that it makes, where a
// user plants links.

#include "platform/linux/authorization/helper/Change.h"

#include "tests/platform/linux/authorization/helper/PlantedItems.h"
#include "tests/support/NamedCase.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using qf::native::helper::Status;

namespace fs = std::filesystem;

class HelperChange : public PlantedItems {
protected:
    static void expectOnlyRootWritesAfterChown(const std::string& file) {
        EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
        EXPECT_EQ(rightsOf(file), 0644U);
        EXPECT_EQ(::getxattr(file.c_str(), "system.posix_acl_access", nullptr, 0), -1);
    }
};

// ---- Dates, rights and owners ------------------------------------------------------------------

class HelperChangeOfALink : public HelperChange, public testing::WithParamInterface<NamedText> {};

TEST_P(HelperChangeOfALink, OfDatesRightsAndOwnersFollowsNone) {
    plantedLink();
    plantedDirectory();
    const std::string path = usersDirectory() + GetParam().value;
    EXPECT_EQ(run("/usr/bin/touch", {"-c", path}), Status::itemRedirected);
    EXPECT_EQ(run("/bin/chmod", {"644", path}), Status::itemRedirected);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", path}), Status::itemRedirected);
    expectSecretUntouched();
}

INSTANTIATE_TEST_SUITE_P(, HelperChangeOfALink,
                         testing::Values(NamedText{{"Itself"}, "/link"},
                                         NamedText{{"WithASlash"}, "/link/"},
                                         NamedText{{"OnTheWay"}, "/way/secret"}),
                         nameOfCase);

TEST_F(HelperChange, OfDatesRightsAndOwnersSparesWhatHasANameElsewhere) {
    const std::string name =
        makeDirectory(sandbox::rootsDirectory + "/users", servedUser) + "/name";
    fs::create_hard_link(secret(), name);
    EXPECT_EQ(run("/usr/bin/touch", {"-c", name}), Status::itemForeign);
    EXPECT_EQ(run("/bin/chmod", {"644", name}), Status::itemForeign);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", name}), Status::itemForeign);
    expectSecretUntouched();
}

TEST_F(HelperChange, LetsNobodyReadWhatIsAnothersInAUsersDirectory) {
    const std::string roots = makeFile(usersDirectory() + "/roots", 0, 0600);
    EXPECT_EQ(run("/bin/chmod", {"644", roots}), Status::itemForeign);
    EXPECT_EQ(rightsOf(roots), 0600U);
}

TEST_F(HelperChange, SparesWhatMustStay) {
    EXPECT_EQ(run("/bin/chmod", {"644", "/usr"}), Status::itemProtected);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", "/usr"}), Status::itemProtected);
}

TEST_F(HelperChange, SetsTheDateOfWhatExistsAndMakesNothing) {
    EXPECT_EQ(run("/usr/bin/touch", {"-c", secret()}), Status::started);
    EXPECT_FALSE(isOld(secret()));
    EXPECT_EQ(run("/usr/bin/touch", {"-c", usersDirectory() + "/new"}), Status::started);
    EXPECT_FALSE(exists(usersDirectory() + "/new"));
}

TEST_F(HelperChange, LetsEverybodyReadAJobFile) {
    const std::string users = makeFile(usersDirectory() + "/job.plist", servedUser, 0600);
    const std::string roots = makeFile(sandbox::rootsDirectory + "/job.plist", 0, 0666);
    EXPECT_EQ(run("/bin/chmod", {"644", users}), Status::started);
    EXPECT_EQ(run("/bin/chmod", {"644", roots}), Status::started);
    EXPECT_EQ(rightsOf(users), 0644U);
    EXPECT_EQ(rightsOf(roots), 0644U);
}

TEST_F(HelperChange, LeavesNoDescriptorThatLeadsToAFileGivenToRoot) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/job.plist", servedUser);
    const std::string content = contentOf(file);
    {
        std::ofstream kept(file, std::ios::app);
        EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
        kept << "more";
    }
    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(statusOf(file).st_uid, 0U);
    EXPECT_EQ(statusOf(file).st_gid, 0U);
    EXPECT_EQ(std::distance(fs::directory_iterator(sandbox::rootsDirectory), {}), 2);
}

TEST_F(HelperChange, LetsNobodyElseWriteToAFileGivenToRoot) {
    expectOnlyRootWritesAfterChown(makeFile(sandbox::rootsDirectory + "/open", servedUser, 0666));
}

TEST_F(HelperChange, LetsNobodyOfAnAccessListWriteToAFileGivenToRoot) {
    // What setfacl writes for "user:12345:rw": a version, and the kind, the rights and the user of
    // each entry.
    const std::uint32_t everybody = ~0U;
    const std::uint32_t list[]{2,         0x60001, everybody, 0x60002, servedUser, 0x40004,
                               everybody, 0x60010, everybody, 0x40020, everybody};
    const std::string listed = makeFile(sandbox::rootsDirectory + "/listed", servedUser);
    ASSERT_EQ(::setxattr(listed.c_str(), "system.posix_acl_access", list, sizeof list, 0), 0);
    expectOnlyRootWritesAfterChown(listed);
}

TEST_F(HelperChange, WritesAFileThatIsGivenToRootAnewWithTheContentThatTheProgramSends) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/job.plist", servedUser, 0666);
    {
        std::ofstream kept(file, std::ios::app);
        EXPECT_EQ(giveToRoot(file, "<plist/>\n"), Status::started);
        kept << "more";
    }
    EXPECT_EQ(contentOf(file), "<plist/>\n");
    EXPECT_EQ(statusOf(file).st_uid, 0U);
    EXPECT_EQ(statusOf(file).st_gid, 0U);
    EXPECT_EQ(rightsOf(file), 0644U);
    EXPECT_EQ(giveToRoot(file, ""), Status::started); // which is root's by now
    EXPECT_EQ(contentOf(file), "");
    EXPECT_EQ(std::distance(fs::directory_iterator(sandbox::rootsDirectory), {}), 2);
}

TEST_F(HelperChange, LeavesNothingOfAFileForRootThatFindsNoRoom) {
    const std::string volume = makeDirectory(sandbox::rootsDirectory + "/volume");
    ASSERT_EQ(::mount("tmpfs", volume.c_str(), "tmpfs", 0, "size=64k,mode=755"), 0);
    const std::string file = makeFile(volume + "/job.plist", servedUser);
    const std::string content = contentOf(file);
    EXPECT_EQ(giveToRoot(file, std::string(100'000, 'x')), Status::startFailed);
    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(std::distance(fs::directory_iterator(volume), {}), 1);
}

TEST_F(HelperChange, TakesNoContentForADirectory) {
    const std::string directory = makeDirectory(sandbox::rootsDirectory + "/folder", servedUser);
    EXPECT_EQ(giveToRoot(directory, "content"), Status::startFailed);
    EXPECT_EQ(statusOf(directory).st_uid, servedUser);
}

struct OtherCommand : NamedCase {
    const char* tool;
    std::vector<std::string> words;
};

class HelperChangeContent : public HelperChange,
                            public testing::WithParamInterface<OtherCommand> {};

TEST_P(HelperChangeContent, IsForAFileThatIsGivenToRootAndNothingElse) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/job.plist", servedUser, 0600);
    const std::string content = contentOf(file);
    auto arguments = GetParam().words;
    arguments.push_back(file);
    EXPECT_EQ(send(GetParam().tool, arguments, "content"), Status::commandUnknown);
    EXPECT_EQ(contentOf(file), content);
}

INSTANTIATE_TEST_SUITE_P(, HelperChangeContent,
                         testing::Values(OtherCommand{{"Mode"}, "/bin/chmod", {"644"}},
                                         OtherCommand{{"OtherOwner"}, "/bin/chown", {"0:0"}},
                                         OtherCommand{{"Removal"}, "/bin/rm", {"-f"}},
                                         OtherCommand{{"Move"}, "/bin/mv", {"/item"}},
                                         OtherCommand{{"Tool"}, "/bin/cat", {}}),
                         nameOfCase);

TEST_F(HelperChange, GivesNoRightsOfRootsToAProgramThatIsGivenToRoot) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/program", servedUser, 0755);
    ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
    EXPECT_EQ(rightsOf(file), 0755U);
}

TEST_F(HelperChange, GivesADirectoryToRoot) {
    const std::string directory = makeDirectory(sandbox::rootsDirectory + "/folder", servedUser);
    ASSERT_EQ(::chown(directory.c_str(), servedUser, servedUser), 0);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", directory}), Status::started);
    EXPECT_EQ(statusOf(directory).st_uid, 0U);
    EXPECT_EQ(statusOf(directory).st_gid, 0U);
}

// ---- Directories
// -----------------------------------------------------------------------------------

TEST_F(HelperChange, MakesDirectoriesAndThoseTheyAreIn) {
    const std::string directory = sandbox::rootsDirectory + "/a/b/c";
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(run("/bin/mkdir", {"-p", directory + "/"}), Status::started);
    }
    EXPECT_EQ(rightsOf(directory), 0755U);
}

TEST_F(HelperChange, UsesADirectoryThatSomebodyHasMadeMeanwhile) {
    const std::string parent = sandbox::rootsDirectory;
    fs::create_directory(parent + "/a");

    qf::native::helper::makeDirectories(
        {parent + "/a/b", *qf::native::helper::openItem(AT_FDCWD, parent), {"a", "b"}});

    EXPECT_TRUE(exists(parent + "/a/b"));
}

TEST_F(HelperChange, MakesNoDirectoryByWayOfAUsersLink) {
    makeLink(sandbox::rootsDirectory + "/nowhere", usersDirectory() + "/dangling", servedUser);
    EXPECT_EQ(run("/bin/mkdir", {"-p", plantedDirectory() + "/a"}), Status::itemRedirected);
    EXPECT_EQ(run("/bin/mkdir", {"-p", usersDirectory() + "/dangling/a"}), Status::startFailed);
    EXPECT_EQ(run("/bin/mkdir", {"-p", usersDirectory() + "/a/../b"}), Status::itemUnreachable);
    EXPECT_EQ(run("/bin/mkdir", {"-p", secret() + "/a"}), Status::itemUnreachable);
    EXPECT_FALSE(exists(sandbox::rootsDirectory + "/a"));
    EXPECT_FALSE(exists(sandbox::rootsDirectory + "/nowhere"));
}

// ---- Other words -------------------------------------------------------------------------------

TEST_F(HelperChange, LeavesOtherWordsToTheTools) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/file", 0, 0600);
    EXPECT_EQ(run("/bin/chmod", {"u=rwx,go=", file}), Status::started);
    EXPECT_EQ(rightsOf(file), 0700U);
    EXPECT_EQ(run("/usr/bin/touch", {sandbox::rootsDirectory + "/new"}), Status::started);
    EXPECT_TRUE(exists(sandbox::rootsDirectory + "/new"));
}
