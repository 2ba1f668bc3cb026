// What the helper does itself: copies, dates, rights, owners and folders, where a user plants
// links.

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>

using platform::native::FileDescriptor;
using platform::native::helper::Status;

namespace {

namespace fs = std::filesystem;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t rightsOf(const std::string& path) {
    return statusOf(path).st_mode & 07777U;
}

/// Sets the times of an item to a day that is long gone.
void makeOld(const std::string& path) {
    const timespec times[]{{1'000'000, 0}, {1'000'000, 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

bool isOld(const std::string& path) {
    return statusOf(path).st_mtim.tv_sec == 1'000'000;
}

} // namespace

class HelperChange : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        if (!IsSkipped()) {
            secret_ = makeFile(sandbox::rootsFolder + "/secret", 0, 0600);
            makeOld(secret_);
            secretsContent_ = contentOf(secret_);
        }
    }

    const std::string& secret() const { return secret_; }

    /// A link to the secret in a folder of the user's.
    std::string plantedLink() { return makeLink(secret_, usersFolder() + "/link", servedUser); }

    /// The folder where root's secret is, as a user's link leads to it.
    std::string plantedFolder() {
        return makeLink(sandbox::rootsFolder, usersFolder() + "/way", servedUser);
    }

    void expectSecretUntouched() const {
        EXPECT_EQ(contentOf(secret_), secretsContent_);
        EXPECT_EQ(statusOf(secret_).st_uid, 0U);
        EXPECT_EQ(rightsOf(secret_), 0600U);
        EXPECT_TRUE(isOld(secret_));
    }

    static Status run(const std::string& tool, const std::vector<std::string>& arguments) {
        return TestedHelper().run(tool, arguments);
    }
    static Status copy(const std::string& from, const std::string& to) {
        return run("/bin/cp", {"-f", "-p", "-R", from, to});
    }

private:
    std::string secret_;
    std::string secretsContent_;
};

// ---- Copies ------------------------------------------------------------------------------------

TEST_F(HelperChange, OfALinksTargetIsNotMadeByACopyInItsPlace) {
    const std::string source = makeFile(usersFolder() + "/source", servedUser, 0);
    const std::string link = plantedLink();
    EXPECT_EQ(copy(source, link), Status::started);
    expectSecretUntouched();
    EXPECT_EQ(contentOf(link), contentOf(source));
    EXPECT_TRUE(S_ISREG(statusOf(link).st_mode));
}

TEST_F(HelperChange, CopiesALinkAndNotWhatItLeadsTo) {
    makeFile(makeFolder(usersFolder() + "/folder", servedUser) + "/file", servedUser);
    makeLink(secret(), usersFolder() + "/folder/link", servedUser);
    const std::string copied = makeFolder(usersFolder() + "/target", servedUser);
    EXPECT_EQ(copy(plantedLink(), copied), Status::started);
    EXPECT_EQ(copy(usersFolder() + "/folder", copied), Status::started);
    EXPECT_EQ(fs::read_symlink(copied + "/link"), secret());
    EXPECT_EQ(fs::read_symlink(copied + "/folder/link"), secret());
    EXPECT_EQ(statusOf(copied + "/folder/link").st_uid, servedUser);
    expectSecretUntouched();
}

TEST_F(HelperChange, CopiesNothingByWayOfAUsersLink) {
    const std::string way = plantedFolder();
    const std::string file = makeFile(usersFolder() + "/file", servedUser);
    EXPECT_EQ(copy(way + "/secret", usersFolder() + "/copy"), Status::itemRedirected);
    EXPECT_EQ(copy(file, way + "/secret"), Status::itemRedirected);
    EXPECT_EQ(copy(file, way), Status::itemRedirected);
    EXPECT_FALSE(exists(usersFolder() + "/copy"));
    EXPECT_FALSE(exists(sandbox::rootsFolder + "/file"));
    expectSecretUntouched();
}

TEST_F(HelperChange, FollowsRootsLinkOnTheWay) {
    makeLink(makeFolder(sandbox::rootsFolder + "/real"), sandbox::rootsFolder + "/way", 0);
    EXPECT_EQ(copy(secret(), sandbox::rootsFolder + "/way/copy"), Status::started);
    EXPECT_EQ(rightsOf(sandbox::rootsFolder + "/real/copy"), 0600U);
}

TEST_F(HelperChange, FollowsNoLinkThatAUserOwnsInRootsFolder) {
    makeFolder(sandbox::rootsFolder + "/real");
    makeLink("real", sandbox::rootsFolder + "/way", servedUser);
    EXPECT_EQ(copy(secret(), sandbox::rootsFolder + "/way/copy"), Status::itemRedirected);
}

TEST_F(HelperChange, CopiesOwnersRightsTimesAttributesHolesAndNames) {
    const std::string folder = makeFolder(sandbox::rootsFolder + "/folder", servedUser, 0750);
    const std::string file = makeFile(folder + "/file", servedUser, 04711);
    ASSERT_EQ(::chown(file.c_str(), servedUser, 7), 0);
    ASSERT_EQ(::chmod(file.c_str(), 04711), 0);
    fs::create_hard_link(file, folder + "/name");
    makeFile(folder + "/sparse", servedUser);
    fs::resize_file(folder + "/sparse", 1ULL << 40U);
    const bool hasAttributes = ::setxattr(file.c_str(), "user.note", "x", 1, 0) == 0;
    makeOld(file);
    makeOld(folder);
    const std::string copied = usersFolder() + "/copy";
    EXPECT_EQ(copy(folder, copied), Status::started);
    EXPECT_EQ(contentOf(copied + "/file"), contentOf(file));
    EXPECT_EQ(rightsOf(copied), 0750U);
    EXPECT_TRUE(isOld(copied));
    EXPECT_TRUE(isOld(copied + "/file"));
    EXPECT_EQ(statusOf(copied + "/file").st_uid, servedUser);
    EXPECT_EQ(statusOf(copied + "/file").st_gid, 7U);
    EXPECT_EQ(rightsOf(copied + "/file"), 04711U);
    EXPECT_EQ(statusOf(copied + "/file").st_ino, statusOf(copied + "/name").st_ino);
    EXPECT_EQ(statusOf(copied + "/sparse").st_size, 1LL << 40U);
    if (hasAttributes) {
        char note = 0;
        EXPECT_EQ(::getxattr((copied + "/file").c_str(), "user.note", &note, 1), 1);
    }
}

TEST_F(HelperChange, CopiesWhatAnAccessListHandsDownToNobody) {
    // What setfacl writes for "default:user:12345:rwx" in a folder of mode 0777: a version, and the
    // kind, the rights and the user of each entry.
    const std::string target = makeFolder(usersFolder() + "/target", servedUser);
    const std::uint32_t everybody = ~0U;
    const std::uint32_t list[]{2,         0x70001, everybody, 0x70002, servedUser, 0x70004,
                               everybody, 0x70010, everybody, 0x70020, everybody};
    if (::setxattr(target.c_str(), "system.posix_acl_default", list, sizeof list, 0) != 0) {
        GTEST_SKIP() << "the file system in memory has no access lists";
    }
    const std::string file = makeFile(sandbox::rootsFolder + "/file", 0, 0640);
    EXPECT_EQ(copy(file, target), Status::started);
    EXPECT_EQ(rightsOf(target + "/file"), 0640U);
    EXPECT_EQ(::getxattr((target + "/file").c_str(), "system.posix_acl_access", nullptr, 0), -1);
}

TEST_F(HelperChange, CopiesAPipeWithoutReadingIt) {
    const std::string pipe = makeFolder(usersFolder() + "/folder", servedUser) + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(copy(usersFolder() + "/folder", usersFolder() + "/copy"), Status::started);
    EXPECT_TRUE(S_ISFIFO(statusOf(usersFolder() + "/copy/pipe").st_mode));
}

TEST_F(HelperChange, IsNotHeldUpByWhatHasNoEnd) {
    const std::string folder = makeFolder(usersFolder() + "/folder", servedUser);
    ASSERT_EQ(::mkfifo((folder + "/pipe").c_str(), 0600), 0);
    fs::resize_file(makeFile(folder + "/terabytes", servedUser), 1ULL << 42U);
    EXPECT_EQ(run("/bin/mv", {"-f", folder, sandbox::rootsFolder + "/moved"}), Status::started);
    EXPECT_EQ(statusOf(sandbox::rootsFolder + "/moved/terabytes").st_size, 1LL << 42U);
    EXPECT_EQ(copy("/proc/kmsg", usersFolder() + "/messages"), Status::started);
    EXPECT_EQ(statusOf(usersFolder() + "/messages").st_size, 0);
}

TEST_F(HelperChange, CopiesNoMoreOfAFileThatGrowsThanItHadAtFirst) {
    const std::string file = makeFile(usersFolder() + "/file", servedUser);
    const Attacker attacker([&] {
        std::ofstream(file, std::ios::app) << 'x';
        return true;
    });
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(copy(file, usersFolder() + "/copy"), Status::started);
    }
}

TEST_F(HelperChange, CopiesNoDevice) {
    const std::string device = makeFolder(usersFolder() + "/folder", servedUser) + "/device";
    ASSERT_EQ(::mknod(device.c_str(), S_IFCHR | 0666, ::makedev(1, 5)), 0);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/cp",
                         {"-f", "-p", "-R", usersFolder() + "/folder", usersFolder() + "/copy"}),
              Status::started);
    EXPECT_EQ(helper.nextLogLine(), "no copy could be put in place: copy: 1");
    EXPECT_FALSE(exists(usersFolder() + "/copy"));
    EXPECT_EQ(std::distance(fs::directory_iterator(usersFolder()), {}), 1);
}

TEST_F(HelperChange, CopiesNoPrivilegeOutOfAFileSystemThatHasNone) {
    const std::string image = makeFolder(usersFolder() + "/image");
    ASSERT_EQ(::mount("tmpfs", image.c_str(), "tmpfs", MS_NOSUID, "mode=777"), 0);
    makeFile(image + "/program", 0, 06755);
    EXPECT_EQ(copy(image + "/program", usersFolder() + "/copy"), Status::started);
    EXPECT_EQ(rightsOf(usersFolder() + "/copy"), 0755U);
    const std::string target = makeFolder(usersFolder() + "/target", servedUser);
    EXPECT_EQ(run("/bin/mv", {"-f", image + "/program", target}), Status::started);
    EXPECT_EQ(rightsOf(target + "/program"), 0755U);
}

TEST_F(HelperChange, CopiesNoFolderIntoItself) {
    const std::string folder = makeFolder(usersFolder() + "/folder", servedUser);
    makeFile(folder + "/file", servedUser);
    EXPECT_EQ(copy(folder, folder + "/copy"), Status::started);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
}

TEST_F(HelperChange, LeavesAFolderThatACopyWouldReplace) {
    const std::string file = makeFile(usersFolder() + "/item", servedUser);
    const std::string kept =
        makeFile(makeFolder(makeFolder(usersFolder() + "/to") + "/item") + "/kept");
    EXPECT_EQ(copy(file, usersFolder() + "/to"), Status::startFailed);
    EXPECT_TRUE(exists(kept));
}

TEST_F(HelperChange, CopiesAFolderIntoTheOneOfItsNameThatIsThere) {
    const std::string from = makeFolder(usersFolder() + "/folder", servedUser, 0750);
    makeFile(makeFolder(from + "/inner", servedUser) + "/new", servedUser);
    const std::string replaced = makeFile(from + "/file", servedUser);
    makeOld(from);
    const std::string to = makeFolder(usersFolder() + "/to", servedUser);
    makeFolder(to + "/folder", servedUser, 0700);
    makeFile(makeFolder(to + "/folder/inner", servedUser) + "/kept", servedUser);
    makeFile(to + "/folder/file", servedUser);
    EXPECT_EQ(copy(from, to), Status::started);
    EXPECT_TRUE(exists(to + "/folder/inner/new"));
    EXPECT_TRUE(exists(to + "/folder/inner/kept"));
    EXPECT_EQ(contentOf(to + "/folder/file"), contentOf(replaced));
    EXPECT_EQ(rightsOf(to + "/folder"), 0750U);
    EXPECT_TRUE(isOld(to + "/folder"));
    EXPECT_EQ(std::distance(fs::directory_iterator(to + "/folder"), {}), 2);
}

TEST_F(HelperChange, CopiesTheRestWhereOneItemCannotReplaceWhatIsThere) {
    const std::string from = makeFolder(usersFolder() + "/folder", servedUser);
    makeFile(from + "/a", servedUser);
    makeFolder(from + "/b", servedUser);
    makeFile(from + "/c", servedUser);
    const std::string to = makeFolder(usersFolder() + "/to", servedUser);
    makeFolder(makeFolder(to + "/folder", servedUser) + "/a", servedUser);
    makeLink(makeFolder(sandbox::rootsFolder + "/outside"), to + "/folder/b", servedUser);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/cp", {"-f", "-p", "-R", from, to}), Status::started);
    EXPECT_TRUE(fs::is_directory(to + "/folder/a"));
    EXPECT_TRUE(fs::is_symlink(to + "/folder/b"));
    EXPECT_TRUE(exists(to + "/folder/c"));
    const std::string reason = ": " + std::to_string(EEXIST);
    std::set<std::string> lines{helper.nextLogLine(), helper.nextLogLine()};
    EXPECT_EQ(lines, (std::set{"no copy could be put in place: a" + reason,
                               "no copy could be put in place: b" + reason}));
}

TEST_F(HelperChange, MergesIntoNoFolderOfAnothersThatAUserCanPutThere) {
    const std::string from = makeFolder(usersFolder() + "/folder", servedUser);
    makeFile(makeFolder(from + "/inner", servedUser) + "/file", servedUser);
    const std::string to = makeFolder(usersFolder() + "/to", servedUser);
    const std::string roots = makeFolder(to + "/folder", 0, 0700);
    EXPECT_EQ(copy(from, to), Status::startFailed);
    ASSERT_EQ(::chown(roots.c_str(), servedUser, 0), 0);
    const std::string inner = makeFolder(roots + "/inner", 0, 0700);
    EXPECT_EQ(copy(from, to), Status::started);
    EXPECT_EQ(statusOf(inner).st_uid, 0U);
    EXPECT_EQ(rightsOf(inner), 0700U);
    EXPECT_TRUE(fs::is_empty(inner));
}

TEST_F(HelperChange, MergesNoFolderIntoItself) {
    const std::string folder = makeFolder(usersFolder() + "/folder", servedUser);
    makeFolder(folder + "/folder", servedUser);
    EXPECT_EQ(copy(folder, folder), Status::startFailed);
    EXPECT_EQ(copy(folder, usersFolder()), Status::startFailed);
}

TEST_F(HelperChange, CopiesNothingThatTheOwnerOfTheWholeCannotRead) {
    const std::string folder = makeFolder(usersFolder() + "/folder", servedUser);
    const std::string inner = makeFolder(folder + "/roots", 0, 0755);
    const std::string file = makeFile(inner + "/file", 0, 0640);
    EXPECT_EQ(copy(folder, usersFolder() + "/copy"), Status::started);
    EXPECT_FALSE(exists(usersFolder() + "/copy"));
    ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
    ASSERT_EQ(::chmod(inner.c_str(), 0700), 0);
    EXPECT_EQ(copy(folder, usersFolder() + "/copy"), Status::started);
    EXPECT_FALSE(exists(usersFolder() + "/copy"));
    ASSERT_EQ(::chmod(inner.c_str(), 0755), 0);
    EXPECT_EQ(copy(folder, usersFolder() + "/copy"), Status::started);
    EXPECT_EQ(contentOf(usersFolder() + "/copy/roots/file"), contentOf(file));
}

// ---- Dates, rights and owners ------------------------------------------------------------------

TEST_F(HelperChange, OfDatesRightsAndOwnersFollowsNoLink) {
    const std::string link = plantedLink();
    const std::string inWay = plantedFolder() + "/secret";
    for (const auto& path : {link, link + "/", inWay}) {
        EXPECT_EQ(run("/usr/bin/touch", {"-c", path}), Status::itemRedirected) << path;
        EXPECT_EQ(run("/bin/chmod", {"644", path}), Status::itemRedirected) << path;
        EXPECT_EQ(run("/bin/chown", {"root:wheel", path}), Status::itemRedirected) << path;
    }
    expectSecretUntouched();
}

TEST_F(HelperChange, OfDatesRightsAndOwnersSparesWhatHasANameElsewhere) {
    const std::string name = makeFolder(sandbox::rootsFolder + "/users", servedUser) + "/name";
    fs::create_hard_link(secret(), name);
    EXPECT_EQ(run("/usr/bin/touch", {"-c", name}), Status::itemForeign);
    EXPECT_EQ(run("/bin/chmod", {"644", name}), Status::itemForeign);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", name}), Status::itemForeign);
    expectSecretUntouched();
}

TEST_F(HelperChange, LetsNobodyReadWhatIsAnothersInAUsersFolder) {
    const std::string roots = makeFile(usersFolder() + "/roots", 0, 0600);
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
    EXPECT_EQ(run("/usr/bin/touch", {"-c", usersFolder() + "/new"}), Status::started);
    EXPECT_FALSE(exists(usersFolder() + "/new"));
}

TEST_F(HelperChange, LetsEverybodyReadAJobFile) {
    const std::string users = makeFile(usersFolder() + "/job.plist", servedUser, 0600);
    const std::string roots = makeFile(sandbox::rootsFolder + "/job.plist", 0, 0666);
    EXPECT_EQ(run("/bin/chmod", {"644", users}), Status::started);
    EXPECT_EQ(run("/bin/chmod", {"644", roots}), Status::started);
    EXPECT_EQ(rightsOf(users), 0644U);
    EXPECT_EQ(rightsOf(roots), 0644U);
}

TEST_F(HelperChange, LeavesNoDescriptorThatLeadsToAFileGivenToRoot) {
    const std::string file = makeFile(sandbox::rootsFolder + "/job.plist", servedUser);
    const std::string content = contentOf(file);
    {
        std::ofstream kept(file, std::ios::app);
        EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
        kept << "more";
    }
    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(statusOf(file).st_uid, 0U);
    EXPECT_EQ(statusOf(file).st_gid, 0U);
    EXPECT_EQ(std::distance(fs::directory_iterator(sandbox::rootsFolder), {}), 2);
}

TEST_F(HelperChange, GivesNoRightsOfRootsToAProgramThatIsGivenToRoot) {
    const std::string file = makeFile(sandbox::rootsFolder + "/program", servedUser, 0755);
    ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
    EXPECT_EQ(rightsOf(file), 0755U);
}

TEST_F(HelperChange, GivesAFolderToRoot) {
    const std::string folder = makeFolder(sandbox::rootsFolder + "/folder", servedUser);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", folder}), Status::started);
    EXPECT_EQ(statusOf(folder).st_uid, 0U);
}

// ---- Folders -----------------------------------------------------------------------------------

TEST_F(HelperChange, MakesFoldersAndThoseTheyAreIn) {
    const std::string folder = sandbox::rootsFolder + "/a/b/c";
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(run("/bin/mkdir", {"-p", folder + "/"}), Status::started);
    }
    EXPECT_EQ(rightsOf(folder), 0755U);
}

TEST_F(HelperChange, MakesNoFolderByWayOfAUsersLink) {
    makeLink(sandbox::rootsFolder + "/nowhere", usersFolder() + "/dangling", servedUser);
    EXPECT_EQ(run("/bin/mkdir", {"-p", plantedFolder() + "/a"}), Status::itemRedirected);
    EXPECT_EQ(run("/bin/mkdir", {"-p", usersFolder() + "/dangling/a"}), Status::startFailed);
    EXPECT_EQ(run("/bin/mkdir", {"-p", usersFolder() + "/a/../b"}), Status::itemUnreachable);
    EXPECT_EQ(run("/bin/mkdir", {"-p", secret() + "/a"}), Status::itemUnreachable);
    EXPECT_FALSE(exists(sandbox::rootsFolder + "/a"));
    EXPECT_FALSE(exists(sandbox::rootsFolder + "/nowhere"));
}

// ---- Other words -------------------------------------------------------------------------------

TEST_F(HelperChange, LeavesOtherWordsToTheTools) {
    const std::string file = makeFile(sandbox::rootsFolder + "/file", 0, 0600);
    EXPECT_EQ(run("/bin/chmod", {"u=rwx,go=", file}), Status::started);
    EXPECT_EQ(rightsOf(file), 0700U);
    EXPECT_EQ(run("/usr/bin/touch", {sandbox::rootsFolder + "/new"}), Status::started);
    EXPECT_TRUE(exists(sandbox::rootsFolder + "/new"));
}
