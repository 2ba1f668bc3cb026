// What the helper copies, and that it reads and follows nothing else.

#include "platform/linux/authorization/helper/Copying.h"

#include "platform/linux/authorization/helper/Refusal.h"
#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/PlantedItems.h"
#include "tests/support/NamedCase.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

using qf::native::FileDescriptor;
using qf::native::helper::Status;

namespace fs = std::filesystem;

using HelperCopy = PlantedItems;

TEST_F(HelperCopy, OfALinksTargetIsNotMadeByACopyInItsPlace) {
    const std::string source = makeFile(usersDirectory() + "/source", servedUser, 0);
    const std::string link = plantedLink();
    EXPECT_EQ(copy(source, link), Status::started);
    expectSecretUntouched();
    EXPECT_EQ(contentOf(link), contentOf(source));
    EXPECT_TRUE(S_ISREG(statusOf(link).st_mode));
}

TEST_F(HelperCopy, CopiesALinkAndNotWhatItLeadsTo) {
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

TEST_F(HelperCopy, CopiesNothingByWayOfAUsersLink) {
    const std::string way = plantedDirectory();
    const std::string file = makeFile(usersDirectory() + "/file", servedUser);
    EXPECT_EQ(copy(way + "/secret", usersDirectory() + "/copy"), Status::itemRedirected);
    EXPECT_EQ(copy(file, way + "/secret"), Status::itemRedirected);
    EXPECT_EQ(copy(file, way), Status::itemRedirected);
    EXPECT_FALSE(exists(usersDirectory() + "/copy"));
    EXPECT_FALSE(exists(sandbox::rootsDirectory + "/file"));
    expectSecretUntouched();
}

TEST_F(HelperCopy, FollowsRootsLinkOnTheWay) {
    makeLink(makeDirectory(sandbox::rootsDirectory + "/real"), sandbox::rootsDirectory + "/way", 0);
    EXPECT_EQ(copy(secret(), sandbox::rootsDirectory + "/way/copy"), Status::started);
    EXPECT_EQ(rightsOf(sandbox::rootsDirectory + "/real/copy"), 0600U);
}

TEST_F(HelperCopy, FollowsNoLinkThatAUserOwnsInRootsDirectory) {
    makeDirectory(sandbox::rootsDirectory + "/real");
    makeLink("real", sandbox::rootsDirectory + "/way", servedUser);
    EXPECT_EQ(copy(secret(), sandbox::rootsDirectory + "/way/copy"), Status::itemRedirected);
}

TEST_F(HelperCopy, CopiesOwnersRightsTimesAttributesHolesAndNames) {
    const std::string directory =
        makeDirectory(sandbox::rootsDirectory + "/folder", servedUser, 0750);
    const std::string file = makeFile(directory + "/file", servedUser, 04711);
    ASSERT_EQ(::chown(file.c_str(), servedUser, 7), 0);
    ASSERT_EQ(::chmod(file.c_str(), 04711), 0);
    fs::create_hard_link(file, directory + "/name");
    makeFile(directory + "/sparse", servedUser);
    fs::resize_file(directory + "/sparse", 1ULL << 40U);
    const bool hasAttributes = ::setxattr(file.c_str(), "user.note", "x", 1, 0) == 0 &&
                               ::setxattr(file.c_str(), "user.empty", "", 0, 0) == 0;
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
        EXPECT_EQ(::getxattr((copied + "/file").c_str(), "user.empty", nullptr, 0), 0);
    }
}

TEST_F(HelperCopy, CopiesWhatIsBehindAHole) {
    const std::string file = makeFile(usersDirectory() + "/file", servedUser);
    fs::resize_file(file, 1U << 16U);
    std::ofstream(file, std::ios::app) << "behind it";
    EXPECT_EQ(copy(file, usersDirectory() + "/copy"), Status::started);
    EXPECT_TRUE(contentOf(usersDirectory() + "/copy").ends_with("behind it"));
}

/// What a seek looks for.
struct Sought : NamedCase {
    int whence;
};

class HelperCopyOfWhatIsSought : public HelperCopy, public testing::WithParamInterface<Sought> {};

TEST_P(HelperCopyOfWhatIsSought, FailsWhereTheSystemCannotTellWhereItIs) {
    using namespace qf::native::helper;
    const std::string file = makeFile(sandbox::rootsDirectory + "/file");
    const std::string copied = makeFile(sandbox::rootsDirectory + "/copy");
    const int status = statusOfProcess([&] {
        constexpr rlimit seconds{10, 10}; // ends who looks for it without end
        ::setrlimit(RLIMIT_CPU, &seconds);
        const FileDescriptor to(::open(copied.c_str(), O_WRONLY | O_CLOEXEC));
        try {
            forbidSeeks(GetParam().whence, EIO);
            copyContent(*openItem(AT_FDCWD, file), Reader(0), to);
            return 1;
        } catch (const Refusal& refusal) {
            return refusal.about == std::to_string(EIO) ? 0 : 2;
        }
    });
    EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(, HelperCopyOfWhatIsSought,
                         testing::Values(Sought{{"Holes"}, SEEK_HOLE}, Sought{{"Data"}, SEEK_DATA}),
                         nameOfCase);

/// A system call that fails while an item with attributes is copied, and whether it is copied all
/// the same.
struct FailingAttributes : NamedCase {
    std::uint32_t call;
    int number;
    bool isCopied;
};

class HelperCopyOfFailingAttributes : public HelperCopy,
                                      public testing::WithParamInterface<FailingAttributes> {};

TEST_P(HelperCopyOfFailingAttributes, IsMadeIfTheyAreGoneAndNotIfTheyCannotBeRead) {
    using namespace qf::native::helper;
    const std::string file = makeFile(sandbox::rootsDirectory + "/file");
    if (::setxattr(file.c_str(), "user.note", "x", 1, 0) != 0) {
        GTEST_SKIP() << "the volume keeps no attributes of users";
    }
    const auto directory = openItem(AT_FDCWD, makeDirectory(sandbox::rootsDirectory + "/closed"));
    const int status = statusOfProcess([&] {
        try {
            forbid(GetParam().call, GetParam().number);
            copyItem(*openItem(AT_FDCWD, file), Reader(0), *directory, "copy", 0);
            return GetParam().isCopied ? 0 : 1;
        } catch (const Refusal&) {
            return GetParam().isCopied ? 2 : 0;
        }
    });
    EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperCopyOfFailingAttributes,
    testing::Values(FailingAttributes{{"Unlisted"}, SYS_flistxattr, EIO, false},
                    FailingAttributes{{"Unsupported"}, SYS_flistxattr, ENOTSUP, true},
                    FailingAttributes{{"Unread"}, SYS_fgetxattr, EIO, false},
                    FailingAttributes{{"Gone"}, SYS_fgetxattr, ENODATA, true}),
    nameOfCase);

TEST_F(HelperCopy, CopiesLinksOfAnyLength) {
    using namespace qf::native::helper;
    const auto directory = openItem(AT_FDCWD, makeDirectory(sandbox::rootsDirectory + "/closed"));
    for (const std::size_t length : {std::size_t{1}, std::size_t{PATH_MAX - 1}}) {
        const std::string link = sandbox::rootsDirectory + "/link" + std::to_string(length);
        makeLink(std::string(length, 'x'), link, 0);
        const auto name = "copy" + std::to_string(length);

        copyItem(*openItem(AT_FDCWD, link), Reader(0), *directory, name, 0);

        const auto copied = sandbox::rootsDirectory + "/closed/" + name;
        EXPECT_EQ(fs::read_symlink(copied).string(), std::string(length, 'x'));
    }
}

TEST_F(HelperCopy, LowersNoLimit) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int status = statusOfProcess([&] {
        rlimit after{};
        qf::native::helper::liftLimits();
        ::getrlimit(RLIMIT_NOFILE, &after);
        return after.rlim_max >= before.rlim_max && after.rlim_cur >= before.rlim_cur ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
}

TEST_F(HelperCopy, FailsWhereAnItemInADirectoryCannotBeLookedAt) {
    using namespace qf::native::helper;
    makeFile(makeDirectory(sandbox::rootsDirectory + "/folder") + "/file");
    const auto directory = openItem(AT_FDCWD, sandbox::rootsDirectory + "/folder");
    std::string failure;
    bool isShown = false;
    runWithFailingLooks({.number = EIO}, [&] {
        try {
            forEachIn(*directory, Reader(0),
                      [&](const Item& /*item*/, const auto& /*name*/) { isShown = true; });
        } catch (const Refusal& refusal) {
            failure = refusal.about;
        }
    });
    EXPECT_EQ(failure, std::to_string(EIO));
    EXPECT_FALSE(isShown);
}

TEST_F(HelperCopy, TakesNoDirectoryForEmptyThatCannotBeListed) {
    using namespace qf::native::helper;
    const int status = statusOfProcess([&] {
        const auto directory = openItem(AT_FDCWD, usersDirectory());
        try {
            forbid(SYS_getdents64, EIO);
            forEachIn(*directory, Reader(0), [](const Item& /*item*/, const auto& /*name*/) {});
            return 1;
        } catch (const Refusal& refusal) {
            return refusal.about == std::to_string(EIO) ? 0 : 2;
        }
    });
    EXPECT_EQ(status, 0);
}

/// A file that is copied to where attributes cannot be set.
class HelperCopyOfAttributes : public HelperCopy {
protected:
    bool setAttribute(const char* name, const void* value, std::size_t size) {
        return ::setxattr(file_.c_str(), name, value, size, 0) == 0;
    }

    void expectFailure(int number) {
        TestedHelper helper({.attributeFailure = number});
        EXPECT_EQ(copyWith(helper), Status::started);
        EXPECT_EQ(helper.nextLogLine(),
                  "no copy could be put in place: copy: " + std::to_string(number));
        EXPECT_FALSE(exists(copy_));
    }

    Status copyWith(TestedHelper& helper) {
        return helper.run("/bin/cp", {"-f", "-p", "-R", file_, copy_});
    }

    void SetUp() override {
        HelperCopy::SetUp();
        if (!IsSkipped()) {
            file_ = makeFile(usersDirectory() + "/file", servedUser);
            copy_ = usersDirectory() + "/copy";
        }
    }

    std::string file_;
    std::string copy_;
};

TEST_F(HelperCopyOfAttributes, FailsWhereAUsersAttributeFindsNoRoom) {
    if (!setAttribute("user.note", "x", 1)) {
        GTEST_SKIP() << "the file system in memory has no attributes of users";
    }
    expectFailure(ENOSPC);
}

TEST_F(HelperCopyOfAttributes, LeavesOutAUsersAttributeWhereTheVolumeHasNone) {
    if (!setAttribute("user.note", "x", 1)) {
        GTEST_SKIP() << "the file system in memory has no attributes of users";
    }
    TestedHelper helper({.attributeFailure = EOPNOTSUPP});
    EXPECT_EQ(copyWith(helper), Status::started);
    EXPECT_EQ(contentOf(copy_), contentOf(file_));
}

TEST_F(HelperCopyOfAttributes, FailsWhereTheVolumeHasNoAccessLists) {
    // What setfacl writes for "user:12345:rw" beside the rights 0644.
    const std::uint32_t everybody = ~0U;
    const std::uint32_t list[]{2,         0x60001, everybody, 0x60002, servedUser, 0x40004,
                               everybody, 0x60010, everybody, 0x40020, everybody};
    if (!setAttribute("system.posix_acl_access", list, sizeof list)) {
        GTEST_SKIP() << "the file system in memory has no access lists";
    }
    expectFailure(EOPNOTSUPP);
}

TEST_F(HelperCopy, CopiesWhatAnAccessListHandsDownToNobody) {
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

TEST_F(HelperCopy, CopiesAPipeWithoutReadingIt) {
    const std::string pipe = makeDirectory(usersDirectory() + "/folder", servedUser) + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(copy(usersDirectory() + "/folder", usersDirectory() + "/copy"), Status::started);
    EXPECT_TRUE(S_ISFIFO(statusOf(usersDirectory() + "/copy/pipe").st_mode));
}

TEST_F(HelperCopy, IsNotHeldUpByWhatHasNoEnd) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    ASSERT_EQ(::mkfifo((directory + "/pipe").c_str(), 0600), 0);
    fs::resize_file(makeFile(directory + "/terabytes", servedUser), 1ULL << 42U);
    EXPECT_EQ(run("/bin/mv", {"-f", directory, sandbox::rootsDirectory + "/moved"}),
              Status::started);
    EXPECT_EQ(statusOf(sandbox::rootsDirectory + "/moved/terabytes").st_size, 1LL << 42U);
    EXPECT_EQ(copy("/proc/kmsg", usersDirectory() + "/messages"), Status::started);
    EXPECT_EQ(statusOf(usersDirectory() + "/messages").st_size, 0);
}

TEST_F(HelperCopy, CopiesNoMoreOfAFileThatGrowsThanItHadAtFirst) {
    const std::string file = makeFile(usersDirectory() + "/file", servedUser);
    const Attacker attacker([&] {
        std::ofstream(file, std::ios::app) << 'x';
        return true;
    });
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(copy(file, usersDirectory() + "/copy"), Status::started);
    }
}

TEST_F(HelperCopy, CopiesNoDevice) {
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

TEST_F(HelperCopy, CopiesNoPrivilegeOutOfAFileSystemThatHasNone) {
    const std::string image = makeDirectory(usersDirectory() + "/image");
    ASSERT_EQ(::mount("tmpfs", image.c_str(), "tmpfs", MS_NOSUID, "mode=777"), 0);
    makeFile(image + "/program", 0, 06755);
    EXPECT_EQ(copy(image + "/program", usersDirectory() + "/copy"), Status::started);
    EXPECT_EQ(rightsOf(usersDirectory() + "/copy"), 0755U);
    const std::string target = makeDirectory(usersDirectory() + "/target", servedUser);
    EXPECT_EQ(run("/bin/mv", {"-f", image + "/program", target}), Status::started);
    EXPECT_EQ(rightsOf(target + "/program"), 0755U);
}

/// It might be anybody's work, or root's.
TEST_F(HelperCopy, CopiesNothingOfWhichItCannotTellWhatVolumeItIsOn) {
    const std::string file = makeFile(usersDirectory() + "/file");
    TestedHelper helper({.volumeFailure = EIO});
    EXPECT_EQ(helper.run("/bin/cp", {"-f", "-p", "-R", file, usersDirectory() + "/copy"}),
              Status::started);
    EXPECT_EQ(helper.nextLogLine(), "no copy could be put in place: copy: " + std::to_string(EIO));
    EXPECT_FALSE(exists(usersDirectory() + "/copy"));
}

TEST_F(HelperCopy, CopiesNoDirectoryIntoItself) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeFile(directory + "/file", servedUser);
    EXPECT_EQ(copy(directory, directory + "/copy"), Status::started);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1);
}

TEST_F(HelperCopy, CopiesNothingThatTheOwnerOfTheWholeCannotRead) {
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

TEST_F(HelperCopy, TellsTheLogWhyAnItemCannotBeRead) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeDirectory(directory + "/roots", 0, 0700);
    TestedHelper helper;
    helper.run("/bin/cp", {"-f", "-p", "-R", directory, usersDirectory() + "/copy"});
    EXPECT_EQ(helper.nextLogLine(),
              "no copy could be put in place: copy: " + std::to_string(EACCES));
}

TEST_F(HelperCopy, EndsWithAFileThatHasLessThanItsSizeSays) {
    const std::string attribute = "/sys/kernel/fscaps";
    if (!exists(attribute)) {
        GTEST_SKIP() << "the kernel has no " << attribute;
    }
    ASSERT_LT(contentOf(attribute).size(), static_cast<std::size_t>(statusOf(attribute).st_size));
    EXPECT_EQ(copy(attribute, usersDirectory() + "/copy"), Status::started);
    EXPECT_TRUE(contentOf(usersDirectory() + "/copy").starts_with(contentOf(attribute)));
}

TEST_F(HelperCopy, GivesADirectoryTheOwnerOfTheOneThatIsMergedIntoIt) {
    using qf::native::helper::openItem;
    const std::string roots = makeDirectory(sandbox::rootsDirectory + "/roots");
    const std::string users = makeDirectory(sandbox::rootsDirectory + "/users", servedUser);
    qf::native::helper::settleLike(*openItem(AT_FDCWD, roots), *openItem(AT_FDCWD, users));
    EXPECT_EQ(statusOf(users).st_uid, 0U);
}
