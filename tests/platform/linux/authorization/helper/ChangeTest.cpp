// What the helper does itself: copies, dates, rights, owners and directories, where a user plants
// links.

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/TemporaryDirectory.h"

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
#include <utility>

using platform::native::FileDescriptor;
using platform::native::helper::encodeRequest;
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
            secret_ = makeFile(sandbox::rootsDirectory + "/secret", 0, 0600);
            makeOld(secret_);
            secretsContent_ = contentOf(secret_);
        }
    }

    const std::string& secret() const { return secret_; }

    /// A link to the secret in a directory of the user's.
    std::string plantedLink() { return makeLink(secret_, usersDirectory() + "/link", servedUser); }

    /// The directory where root's secret is, as a user's link leads to it.
    std::string plantedDirectory() {
        return makeLink(sandbox::rootsDirectory, usersDirectory() + "/way", servedUser);
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
    /// Has a file given to root with a content that the request brings.
    static Status giveToRoot(const std::string& file, const std::string& content) {
        return send("/bin/chown", {"root:wheel", file}, content);
    }
    static Status send(const std::string& tool, const std::vector<std::string>& arguments,
                       const std::string& content) {
        const auto answer = TestedHelper().send(*encodeRequest(tool, arguments, content));
        return answer.status.value_or(Status::ready);
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
    const std::string source = makeFile(usersDirectory() + "/source", servedUser, 0);
    const std::string link = plantedLink();
    EXPECT_EQ(copy(source, link), Status::started);
    expectSecretUntouched();
    EXPECT_EQ(contentOf(link), contentOf(source));
    EXPECT_TRUE(S_ISREG(statusOf(link).st_mode));
}

TEST_F(HelperChange, CopiesALinkAndNotWhatItLeadsTo) {
    makeFile(makeDirectory(usersDirectory() + "/folder", servedUser) + "/file", servedUser);
    makeLink(secret(), usersDirectory() + "/folder/link", servedUser);
    const std::string copied = makeDirectory(usersDirectory() + "/target", servedUser);
    EXPECT_EQ(copy(plantedLink(), copied), Status::started);
    EXPECT_EQ(copy(usersDirectory() + "/folder", copied), Status::started);
    EXPECT_EQ(fs::read_symlink(copied + "/link"), secret());
    EXPECT_EQ(fs::read_symlink(copied + "/folder/link"), secret());
    EXPECT_EQ(statusOf(copied + "/folder/link").st_uid, servedUser);
    expectSecretUntouched();
}

TEST_F(HelperChange, CopiesNothingByWayOfAUsersLink) {
    const std::string way = plantedDirectory();
    const std::string file = makeFile(usersDirectory() + "/file", servedUser);
    EXPECT_EQ(copy(way + "/secret", usersDirectory() + "/copy"), Status::itemRedirected);
    EXPECT_EQ(copy(file, way + "/secret"), Status::itemRedirected);
    EXPECT_EQ(copy(file, way), Status::itemRedirected);
    EXPECT_FALSE(exists(usersDirectory() + "/copy"));
    EXPECT_FALSE(exists(sandbox::rootsDirectory + "/file"));
    expectSecretUntouched();
}

TEST_F(HelperChange, FollowsRootsLinkOnTheWay) {
    makeLink(makeDirectory(sandbox::rootsDirectory + "/real"), sandbox::rootsDirectory + "/way", 0);
    EXPECT_EQ(copy(secret(), sandbox::rootsDirectory + "/way/copy"), Status::started);
    EXPECT_EQ(rightsOf(sandbox::rootsDirectory + "/real/copy"), 0600U);
}

TEST_F(HelperChange, FollowsNoLinkThatAUserOwnsInRootsDirectory) {
    makeDirectory(sandbox::rootsDirectory + "/real");
    makeLink("real", sandbox::rootsDirectory + "/way", servedUser);
    EXPECT_EQ(copy(secret(), sandbox::rootsDirectory + "/way/copy"), Status::itemRedirected);
}

TEST_F(HelperChange, CopiesOwnersRightsTimesAttributesHolesAndNames) {
    const std::string directory =
        makeDirectory(sandbox::rootsDirectory + "/folder", servedUser, 0750);
    const std::string file = makeFile(directory + "/file", servedUser, 04711);
    ASSERT_EQ(::chown(file.c_str(), servedUser, 7), 0);
    ASSERT_EQ(::chmod(file.c_str(), 04711), 0);
    fs::create_hard_link(file, directory + "/name");
    makeFile(directory + "/sparse", servedUser);
    fs::resize_file(directory + "/sparse", 1ULL << 40U);
    const bool hasAttributes = ::setxattr(file.c_str(), "user.note", "x", 1, 0) == 0;
    makeOld(file);
    makeOld(directory);
    const std::string copied = usersDirectory() + "/copy";
    EXPECT_EQ(copy(directory, copied), Status::started);
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
    // What setfacl writes for "default:user:12345:rwx" in a directory of mode 0777: a version, and
    // the kind, the rights and the user of each entry.
    const std::string target = makeDirectory(usersDirectory() + "/target", servedUser);
    const std::uint32_t everybody = ~0U;
    const std::uint32_t list[]{2,         0x70001, everybody, 0x70002, servedUser, 0x70004,
                               everybody, 0x70010, everybody, 0x70020, everybody};
    if (::setxattr(target.c_str(), "system.posix_acl_default", list, sizeof list, 0) != 0) {
        GTEST_SKIP() << "the file system in memory has no access lists";
    }
    const std::string file = makeFile(sandbox::rootsDirectory + "/file", 0, 0640);
    EXPECT_EQ(copy(file, target), Status::started);
    EXPECT_EQ(rightsOf(target + "/file"), 0640U);
    EXPECT_EQ(::getxattr((target + "/file").c_str(), "system.posix_acl_access", nullptr, 0), -1);
}

TEST_F(HelperChange, CopiesAPipeWithoutReadingIt) {
    const std::string pipe = makeDirectory(usersDirectory() + "/folder", servedUser) + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(copy(usersDirectory() + "/folder", usersDirectory() + "/copy"), Status::started);
    EXPECT_TRUE(S_ISFIFO(statusOf(usersDirectory() + "/copy/pipe").st_mode));
}

TEST_F(HelperChange, IsNotHeldUpByWhatHasNoEnd) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    ASSERT_EQ(::mkfifo((directory + "/pipe").c_str(), 0600), 0);
    fs::resize_file(makeFile(directory + "/terabytes", servedUser), 1ULL << 42U);
    EXPECT_EQ(run("/bin/mv", {"-f", directory, sandbox::rootsDirectory + "/moved"}),
              Status::started);
    EXPECT_EQ(statusOf(sandbox::rootsDirectory + "/moved/terabytes").st_size, 1LL << 42U);
    EXPECT_EQ(copy("/proc/kmsg", usersDirectory() + "/messages"), Status::started);
    EXPECT_EQ(statusOf(usersDirectory() + "/messages").st_size, 0);
}

TEST_F(HelperChange, CopiesNoMoreOfAFileThatGrowsThanItHadAtFirst) {
    const std::string file = makeFile(usersDirectory() + "/file", servedUser);
    const Attacker attacker([&] {
        std::ofstream(file, std::ios::app) << 'x';
        return true;
    });
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(copy(file, usersDirectory() + "/copy"), Status::started);
    }
}

TEST_F(HelperChange, CopiesNoDevice) {
    const std::string device = makeDirectory(usersDirectory() + "/folder", servedUser) + "/device";
    ASSERT_EQ(::mknod(device.c_str(), S_IFCHR | 0666, ::makedev(1, 5)), 0);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/cp", {"-f", "-p", "-R", usersDirectory() + "/folder",
                                     usersDirectory() + "/copy"}),
              Status::started);
    EXPECT_EQ(helper.nextLogLine(), "no copy could be put in place: copy: 1");
    EXPECT_FALSE(exists(usersDirectory() + "/copy"));
    EXPECT_EQ(std::distance(fs::directory_iterator(usersDirectory()), {}), 1);
}

TEST_F(HelperChange, CopiesNoPrivilegeOutOfAFileSystemThatHasNone) {
    const std::string image = makeDirectory(usersDirectory() + "/image");
    ASSERT_EQ(::mount("tmpfs", image.c_str(), "tmpfs", MS_NOSUID, "mode=777"), 0);
    makeFile(image + "/program", 0, 06755);
    EXPECT_EQ(copy(image + "/program", usersDirectory() + "/copy"), Status::started);
    EXPECT_EQ(rightsOf(usersDirectory() + "/copy"), 0755U);
    const std::string target = makeDirectory(usersDirectory() + "/target", servedUser);
    EXPECT_EQ(run("/bin/mv", {"-f", image + "/program", target}), Status::started);
    EXPECT_EQ(rightsOf(target + "/program"), 0755U);
}

TEST_F(HelperChange, CopiesNoDirectoryIntoItself) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeFile(directory + "/file", servedUser);
    EXPECT_EQ(copy(directory, directory + "/copy"), Status::started);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1);
}

TEST_F(HelperChange, LeavesADirectoryThatACopyWouldReplace) {
    const std::string file = makeFile(usersDirectory() + "/item", servedUser);
    const std::string kept =
        makeFile(makeDirectory(makeDirectory(usersDirectory() + "/to") + "/item") + "/kept");
    EXPECT_EQ(copy(file, usersDirectory() + "/to"), Status::startFailed);
    EXPECT_TRUE(exists(kept));
}

TEST_F(HelperChange, CopiesADirectoryIntoTheOneOfItsNameThatIsThere) {
    const std::string from = makeDirectory(usersDirectory() + "/folder", servedUser, 0750);
    makeFile(makeDirectory(from + "/inner", servedUser) + "/new", servedUser);
    const std::string replaced = makeFile(from + "/file", servedUser);
    makeOld(from);
    const std::string to = makeDirectory(usersDirectory() + "/to", servedUser);
    makeDirectory(to + "/folder", servedUser, 0700);
    makeFile(makeDirectory(to + "/folder/inner", servedUser) + "/kept", servedUser);
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
    const std::string from = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeFile(from + "/a", servedUser);
    makeDirectory(from + "/b", servedUser);
    makeFile(from + "/c", servedUser);
    const std::string to = makeDirectory(usersDirectory() + "/to", servedUser);
    makeDirectory(makeDirectory(to + "/folder", servedUser) + "/a", servedUser);
    makeLink(makeDirectory(sandbox::rootsDirectory + "/outside"), to + "/folder/b", servedUser);
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

TEST_F(HelperChange, MergesIntoNoDirectoryOfAnothersThatAUserCanPutThere) {
    const std::string from = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeFile(makeDirectory(from + "/inner", servedUser) + "/file", servedUser);
    const std::string to = makeDirectory(usersDirectory() + "/to", servedUser);
    const std::string roots = makeDirectory(to + "/folder", 0, 0700);
    EXPECT_EQ(copy(from, to), Status::startFailed);
    ASSERT_EQ(::chown(roots.c_str(), servedUser, 0), 0);
    const std::string inner = makeDirectory(roots + "/inner", 0, 0700);
    EXPECT_EQ(copy(from, to), Status::started);
    EXPECT_EQ(statusOf(inner).st_uid, 0U);
    EXPECT_EQ(rightsOf(inner), 0700U);
    EXPECT_TRUE(fs::is_empty(inner));
}

TEST_F(HelperChange, MergesNoDirectoryIntoItself) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeDirectory(directory + "/folder", servedUser);
    EXPECT_EQ(copy(directory, directory), Status::startFailed);
    EXPECT_EQ(copy(directory, usersDirectory()), Status::startFailed);
}

TEST_F(HelperChange, CopiesNothingThatTheOwnerOfTheWholeCannotRead) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    const std::string inner = makeDirectory(directory + "/roots", 0, 0755);
    const std::string file = makeFile(inner + "/file", 0, 0640);
    EXPECT_EQ(copy(directory, usersDirectory() + "/copy"), Status::started);
    EXPECT_FALSE(exists(usersDirectory() + "/copy"));
    ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
    ASSERT_EQ(::chmod(inner.c_str(), 0700), 0);
    EXPECT_EQ(copy(directory, usersDirectory() + "/copy"), Status::started);
    EXPECT_FALSE(exists(usersDirectory() + "/copy"));
    ASSERT_EQ(::chmod(inner.c_str(), 0755), 0);
    EXPECT_EQ(copy(directory, usersDirectory() + "/copy"), Status::started);
    EXPECT_EQ(contentOf(usersDirectory() + "/copy/roots/file"), contentOf(file));
}

// ---- Dates, rights and owners ------------------------------------------------------------------

TEST_F(HelperChange, OfDatesRightsAndOwnersFollowsNoLink) {
    const std::string link = plantedLink();
    const std::string inWay = plantedDirectory() + "/secret";
    for (const auto& path : {link, link + "/", inWay}) {
        EXPECT_EQ(run("/usr/bin/touch", {"-c", path}), Status::itemRedirected) << path;
        EXPECT_EQ(run("/bin/chmod", {"644", path}), Status::itemRedirected) << path;
        EXPECT_EQ(run("/bin/chown", {"root:wheel", path}), Status::itemRedirected) << path;
    }
    expectSecretUntouched();
}

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
    // What setfacl writes for "user:12345:rw": a version, and the kind, the rights and the user of
    // each entry.
    const std::uint32_t everybody = ~0U;
    const std::uint32_t list[]{2,         0x60001, everybody, 0x60002, servedUser, 0x40004,
                               everybody, 0x60010, everybody, 0x40020, everybody};
    const std::string open = makeFile(sandbox::rootsDirectory + "/open", servedUser, 0666);
    const std::string listed = makeFile(sandbox::rootsDirectory + "/listed", servedUser);
    EXPECT_EQ(::setxattr(listed.c_str(), "system.posix_acl_access", list, sizeof list, 0), 0);
    for (const auto& file : {open, listed}) {
        EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
        EXPECT_EQ(rightsOf(file), 0644U);
        EXPECT_EQ(::getxattr(file.c_str(), "system.posix_acl_access", nullptr, 0), -1);
    }
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

TEST_F(HelperChange, TakesAContentForAFileThatIsGivenToRootAndNothingElse) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/job.plist", servedUser, 0600);
    const std::string content = contentOf(file);
    for (const auto& [tool, words] : {std::pair("/bin/chmod", std::vector<std::string>{"644"}),
                                      std::pair("/bin/chown", std::vector<std::string>{"0:0"}),
                                      std::pair("/bin/rm", std::vector<std::string>{"-f"}),
                                      std::pair("/bin/mv", std::vector<std::string>{file}),
                                      std::pair("/bin/cat", std::vector<std::string>{})}) {
        auto arguments = words;
        arguments.push_back(file);
        EXPECT_EQ(send(tool, arguments, "content"), Status::commandUnknown) << tool;
    }
    const std::string directory = makeDirectory(sandbox::rootsDirectory + "/folder", servedUser);
    EXPECT_EQ(giveToRoot(directory, "content"), Status::startFailed);
    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(statusOf(directory).st_uid, servedUser);
}

TEST_F(HelperChange, GivesNoRightsOfRootsToAProgramThatIsGivenToRoot) {
    const std::string file = makeFile(sandbox::rootsDirectory + "/program", servedUser, 0755);
    ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::started);
    EXPECT_EQ(rightsOf(file), 0755U);
}

TEST_F(HelperChange, GivesADirectoryToRoot) {
    const std::string directory = makeDirectory(sandbox::rootsDirectory + "/folder", servedUser);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", directory}), Status::started);
    EXPECT_EQ(statusOf(directory).st_uid, 0U);
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
