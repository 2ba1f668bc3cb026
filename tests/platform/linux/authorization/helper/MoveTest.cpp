// How the helper moves items, by renaming or copying them.

#include "platform/linux/authorization/helper/Move.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>
#include <utility>

using qf::native::FileDescriptor;
using qf::native::helper::Status;

namespace {

namespace fs = std::filesystem;

std::ptrdiff_t numberOfEntries(const std::string& directory) {
    return std::distance(fs::directory_iterator(directory), {});
}

/// Keeps a helper's moves from copying, for a scope.
class HeldTurn {
public:
    explicit HeldTurn(TestedHelper& helper) {
        // One that answers has made what its moves wait for.
        EXPECT_EQ(helper.send(qf::native::helper::areYouThere).status, Status::ready);
        const std::string open = "/proc/" + std::to_string(helper.process()) + "/fd";
        for (const auto& entry : fs::directory_iterator(open)) {
            if (fs::read_symlink(entry).string().starts_with("/memfd:turns")) {
                turns_ = FileDescriptor(::open(entry.path().c_str(), O_RDWR | O_CLOEXEC));
            }
        }
        struct flock all {};
        all.l_type = F_WRLCK;
        EXPECT_EQ(::fcntl(turns_.get(), F_SETLK, &all), 0);
    }

    /// Returns how many processes wait for it.
    std::ptrdiff_t waiting() const {
        struct stat status {};
        EXPECT_EQ(::fstat(turns_.get(), &status), 0);
        const std::string file = ":" + std::to_string(status.st_ino) + " ";
        std::ifstream locks("/proc/locks");
        std::ptrdiff_t count = 0;
        for (std::string line; std::getline(locks, line);) {
            const bool isWaiting = line.find(" -> ") != std::string::npos;
            count += isWaiting && line.find(file) != std::string::npos ? 1 : 0;
        }
        return count;
    }

private:
    FileDescriptor turns_; // closed, it lets them go on
};

} // namespace

class HelperMove : public HelperTest {
protected:
    static const std::string& roots() { return sandbox::rootsDirectory; }

    /// As many as take a while to copy.
    static constexpr int manyFiles = 3000;

    static void makeManyFiles(const std::string& directory) {
        for (int number = 0; number < manyFiles; ++number) {
            makeFile(directory + "/" + std::to_string(number));
        }
    }

    /// A file that cannot be compressed, nor be left out as a hole.
    static void makeLargeFile(TestedHelper& helper, const std::string& path) {
        makeFile(path);
        fs::resize_file(path, largeFile);
        helper.outputOf("/usr/bin/shred", {"-n", "1", path});
    }

    /// Makes directories in one another, deeper than a path may lead.
    static std::string makeDeepDirectory(const std::string& path, int levels, uid_t owner = 0) {
        makeDirectory(path, owner);
        FileDescriptor deepest(::open(path.c_str(), O_PATH | O_CLOEXEC));
        for (int level = 0; level < levels; ++level) {
            EXPECT_EQ(::mkdirat(deepest.get(), "d", 0755), 0);
            EXPECT_EQ(::fchownat(deepest.get(), "d", owner, 0, 0), 0);
            deepest = FileDescriptor(::openat(deepest.get(), "d", O_PATH | O_CLOEXEC));
        }
        return path;
    }

    static constexpr std::uintmax_t largeFile = 1U << 20U;
};

TEST_F(HelperMove, GoesIntoADirectoryOrToANewName) {
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    const std::string content = contentOf(file);
    makeDirectory(roots() + "/folder");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, roots() + "/new"}), Status::started);
    EXPECT_EQ(contentOf(roots() + "/new"), content);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/new", roots() + "/folder/"}),
              Status::started);
    EXPECT_EQ(contentOf(roots() + "/folder/new"), content);
    const std::string other = makeFile(roots() + "/other");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/folder/new", other}), Status::started);
    EXPECT_EQ(contentOf(other), content);
}

TEST_F(HelperMove, OfAFileToItsOtherNameTakesTheFirstAway) {
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    fs::create_hard_link(file, roots() + "/name");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, roots() + "/name"}), Status::started);
    EXPECT_FALSE(exists(file));
    const std::string own = makeDirectory(roots() + "/own", servedUser);
    fs::create_hard_link(roots() + "/name", own + "/name");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", own + "/name", roots() + "/name"}), Status::started);
    EXPECT_TRUE(fs::is_empty(own));
    EXPECT_EQ(numberOfEntries(roots()), 2);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/name", roots() + "/name"}), Status::started);
    EXPECT_TRUE(exists(roots() + "/name"));
}

TEST_F(HelperMove, OfAFileToItsOtherNameIsNotDoneWhileTheFirstStays) {
    using namespace qf::native::helper;
    const std::string file = makeFile(roots() + "/file");
    fs::create_hard_link(file, roots() + "/name");
    const auto placeOf = [](const std::string& name) {
        auto directory = findItem(AT_FDCWD, roots());
        auto item = findItem(directory->descriptor.get(), name);
        return Place{roots() + "/" + name, std::move(*directory), name, std::move(item)};
    };
    const Move move{{placeOf("file"), placeOf("name"), {}}};
    // A name on which something is mounted cannot be taken away.
    ASSERT_EQ(::mount(file.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
    FileDescriptor report;
    EXPECT_FALSE(carryOut(move, report, FileDescriptor()));
    EXPECT_EQ(::umount(file.c_str()), 0);
}

TEST_F(HelperMove, TellsTheLogWhereAnItemStaysThatCannotBePutBack) {
    const std::string file = makeFile(usersDirectory() + "/file", servedUser);
    const std::string target = makeDirectory(sandbox::everybodysDirectory + "/target");
    TestedHelper helper({.renamingFailure = EIO});
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, target}), Status::startFailed);
    EXPECT_EQ(helper.nextLogLine(), "what was renamed stays in the folder for it: file");
    EXPECT_FALSE(exists(file));
    const fs::directory_iterator left(target);
    EXPECT_TRUE(exists(left->path().string() + "/file"));
}

TEST_F(HelperMove, IsRefusedWithoutSourceOrWay) {
    TestedHelper helper;
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/missing", roots() + "/b"}),
              Status::itemUnreachable);
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, roots() + "/missing/b"}), Status::itemUnreachable);
    EXPECT_TRUE(exists(file));
}

TEST_F(HelperMove, KeepsOwnersAndRightsOnItsWayToAnotherFileSystem) {
    TestedHelper helper;
    makeDirectory(roots() + "/folder", 0, 0750);
    makeFile(roots() + "/folder/file", servedUser, 0640);
    const std::string moved = usersDirectory() + "/folder";
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/folder", moved}), Status::started);
    struct stat directory {};
    struct stat file {};
    ASSERT_EQ(::stat(moved.c_str(), &directory), 0);
    ASSERT_EQ(::stat((moved + "/file").c_str(), &file), 0);
    EXPECT_EQ(directory.st_uid, 0U);
    EXPECT_EQ(directory.st_mode & 07777U, 0750U);
    EXPECT_EQ(file.st_uid, servedUser);
    EXPECT_EQ(file.st_mode & 07777U, 0640U);
    EXPECT_EQ(std::distance(fs::directory_iterator(usersDirectory()), {}), 1);
    EXPECT_FALSE(exists(roots() + "/folder"));
}

TEST_F(HelperMove, ReplacesAFileAndAnEmptyDirectoryInAUsersDirectory) {
    TestedHelper helper;
    const std::string file = makeFile(usersDirectory() + "/file");
    const std::string content = contentOf(file);
    const std::string other = makeFile(usersDirectory() + "/other");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, other}), Status::started);
    EXPECT_EQ(contentOf(other), content);
    makeDirectory(makeDirectory(usersDirectory() + "/trash", servedUser) + "/folder", servedUser);
    makeFile(makeDirectory(usersDirectory() + "/folder") + "/file");
    EXPECT_EQ(
        helper.run("/bin/mv", {"-f", usersDirectory() + "/folder", usersDirectory() + "/trash"}),
        Status::started);
    EXPECT_TRUE(exists(usersDirectory() + "/trash/folder/file"));
    EXPECT_FALSE(exists(usersDirectory() + "/folder"));
}

/// The directory of an item, and a place in the user's directory that is taken.
class HelperMoveToATakenPlace
    : public HelperMove,
      public testing::WithParamInterface<std::tuple<NamedText, NamedText>> {};

TEST_P(HelperMoveToATakenPlace, LeavesTheItem) {
    TestedHelper helper;
    const auto& [from, place] = GetParam();
    const std::string trash = makeDirectory(usersDirectory() + "/trash", servedUser);
    const std::string file = makeFile(makeDirectory(from.value + "/folder") + "/file");
    makeLink("/nowhere", trash + "/link", servedUser);
    makeFile(makeDirectory(trash + "/folder", servedUser) + "/kept");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", from.value + "/folder", trash + place.value}),
              Status::startFailed);
    EXPECT_TRUE(exists(file));
    EXPECT_TRUE(exists(trash + "/folder/kept"));
    EXPECT_EQ(numberOfEntries(trash), 2);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperMoveToATakenPlace,
    testing::Combine(
        testing::Values(NamedText{{"OfRootsItem"}, sandbox::rootsDirectory},
                        NamedText{{"OfAnItemThere"}, sandbox::everybodysDirectory + "/user"}),
        testing::Values(NamedText{{"ByALink"}, "/link"}, NamedText{{"ByADirectory"}, ""})),
    nameOfCases);

TEST_F(HelperMove, IsNotHinderedByWhoGuessesTheNameOfItsDirectory) {
    TestedHelper helper;
    ASSERT_EQ(helper.send(qf::native::helper::areYouThere).status, Status::ready);
    for (int next = 0; next < 100; ++next) {
        makeDirectory(usersDirectory() + "/.qf-helper-" + std::to_string(helper.process() + next),
                      servedUser);
    }
    const std::string file = makeFile(roots() + "/file");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, usersDirectory()}), Status::started);
    EXPECT_TRUE(exists(usersDirectory() + "/file"));
    EXPECT_EQ(numberOfEntries(usersDirectory()), 101);
}

TEST_F(HelperMove, ThatCopiesWaitsUntilNoOtherCopies) {
    TestedHelper helper;
    std::optional<HeldTurn> held(helper);
    const std::vector<std::string> names{"/first", "/second"};
    for (const auto& name : names) {
        const auto answer =
            helper.start("/bin/mv", {"-f", makeFile(roots() + name), usersDirectory()});
        EXPECT_EQ(answer.status, Status::started);
    }
    while (held->waiting() < 2) {
        ASSERT_FALSE(exists(usersDirectory() + "/first") || exists(usersDirectory() + "/second"));
        std::this_thread::yield();
    }
    held.reset();
    helper.disconnect();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_EQ(numberOfEntries(usersDirectory()), 2);
    EXPECT_TRUE(fs::is_empty(roots()));
}

TEST_F(HelperMove, LeavesTheItemWhosePlaceIsTakenWhileItIsCopied) {
    TestedHelper helper;
    for (const char* from : {"/first", "/second"}) {
        makeDirectory(makeDirectory(roots() + from) + "/folder");
        makeManyFiles(roots() + from + "/folder");
    }
    std::optional<HeldTurn> held(helper);
    const auto first = helper.start("/bin/mv", {"-f", roots() + "/first/folder", usersDirectory()});
    const auto second =
        helper.start("/bin/mv", {"-f", roots() + "/second/folder", usersDirectory()});
    held.reset();
    helper.disconnect();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_EQ(first.status, Status::started);
    EXPECT_EQ(second.status, Status::started);
    const bool isFirstLeft = exists(roots() + "/first/folder");
    EXPECT_TRUE(fs::is_empty(roots() + (isFirstLeft ? "/second" : "/first")));
    EXPECT_EQ(numberOfEntries(roots() + (isFirstLeft ? "/first" : "/second") + "/folder"),
              manyFiles);
    EXPECT_EQ(numberOfEntries(usersDirectory() + "/folder"), manyFiles);
    EXPECT_EQ(numberOfEntries(usersDirectory()), 1);
}

TEST_F(HelperMove, ThatIsAskedForAgainWhileItCopiesIsDoneOnce) {
    constexpr int requests = 4;
    makeManyFiles(makeDirectory(roots() + "/folder"));
    const std::string moved = usersDirectory() + "/folder";
    {
        TestedHelper helper;
        std::optional<HeldTurn> held(helper);
        std::vector<TestedHelper::Answer> answers;
        for (int i = 0; i < requests; ++i) {
            answers.push_back(helper.start("/bin/mv", {"-f", roots() + "/folder", moved}));
        }
        held.reset();
        helper.disconnect();
        EXPECT_EQ(helper.waitForEnd(), 0);
    }
    EXPECT_EQ(numberOfEntries(moved), manyFiles);
    EXPECT_FALSE(exists(roots() + "/folder"));
    EXPECT_EQ(std::distance(fs::directory_iterator(usersDirectory()), {}), 1);
}

TEST_F(HelperMove, ThatFailsHalfWayLeavesTheItemWholeAndNothingElse) {
    TestedHelper helper;
    const std::string small = makeDirectory(usersDirectory() + "/small");
    ASSERT_EQ(::mount("tmpfs", small.c_str(), "tmpfs", 0, "size=64k,mode=777"), 0);
    makeDirectory(roots() + "/folder");
    makeLargeFile(helper, roots() + "/folder/file");
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/folder", small}), Status::started);
    EXPECT_EQ(fs::file_size(roots() + "/folder/file"), largeFile);
    EXPECT_TRUE(fs::is_empty(small));
}

TEST_F(HelperMove, OfADeepTreeThatFailsHalfWayLeavesItWholeAndNothingElse) {
    TestedHelper helper;
    const std::string small = makeDirectory(usersDirectory() + "/small");
    ASSERT_EQ(::mount("tmpfs", small.c_str(), "tmpfs", 0, "size=2m,mode=777"), 0);
    std::string deepest = makeDirectory(roots() + "/folder");
    for (int depth = 0; depth < 300; ++depth) {
        deepest = makeDirectory(deepest + "/d");
    }
    for (const char* name : {"/1", "/2", "/3"}) {
        makeLargeFile(helper, deepest + name);
    }
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/folder", small}), Status::started);
    for (const char* name : {"/1", "/2", "/3"}) {
        EXPECT_EQ(fs::file_size(deepest + name), largeFile);
    }
    EXPECT_TRUE(fs::is_empty(small));
}

TEST_F(HelperMove, OfATreeThatIsDeeperThanAnyPathLeavesItWholeAndNothingElse) {
    const std::string deep = makeDeepDirectory(roots() + "/folder", 5000);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/mv", {"-f", deep, usersDirectory()}), Status::started);
    EXPECT_EQ(helper.nextLogLine(),
              "no copy could be put in place: folder: " + std::to_string(ENAMETOOLONG));
    EXPECT_EQ(numberOfEntries(deep), 1);
    EXPECT_TRUE(fs::is_empty(usersDirectory()));
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", deep}), Status::started); // too deep for others
}

TEST_F(HelperMove, OfATreeThatIsDeeperThanAnyPathIsNoMergeWithoutEnd) {
    const std::string deep = makeDeepDirectory(roots() + "/folder", 3000);
    const std::string target = makeDirectory(roots() + "/target");
    const std::string there = makeDeepDirectory(target + "/folder", 3000);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/cp", {"-f", "-p", "-R", deep, target}), Status::started);
    EXPECT_EQ(helper.nextLogLine(),
              "no copy could be put in place: d: " + std::to_string(ENAMETOOLONG));
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", deep, target}), Status::started);
    EXPECT_FALSE(exists(there));
}

TEST_F(HelperMove, OfADirectoryAsDeepAsAPathLeadsIsMade) {
    const std::string deep = makeDeepDirectory(roots() + "/folder", 2000);
    TestedHelper helper;
    EXPECT_EQ(helper.run("/bin/mv", {"-f", deep, usersDirectory()}), Status::started);
    EXPECT_FALSE(exists(deep));
    EXPECT_TRUE(exists(usersDirectory() + "/folder/d/d/d"));
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", usersDirectory() + "/folder"}), Status::started);
}

TEST_F(HelperMove, ThatCannotTakeAllAwayKeepsTheCopyOfWhatIsGone) {
    TestedHelper helper;
    makeDirectory(roots() + "/folder");
    makeFile(roots() + "/folder/a");
    const std::string locked = makeFile(roots() + "/folder/b");
    const FileDescriptor file(::open(locked.c_str(), O_RDONLY | O_CLOEXEC));
    int flags = FS_IMMUTABLE_FL;
    if (::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) != 0) {
        GTEST_SKIP() << "the file system in memory has no immutable flag";
    }
    EXPECT_EQ(helper.run("/bin/mv", {"-f", roots() + "/folder", usersDirectory()}),
              Status::started);
    flags = 0;
    EXPECT_EQ(::ioctl(file.get(), FS_IOC_SETFLAGS, &flags), 0);

    EXPECT_TRUE(exists(roots() + "/folder/b"));
    EXPECT_TRUE(exists(roots() + "/folder/a") || exists(usersDirectory() + "/folder/a"));
    EXPECT_EQ(exists(roots() + "/folder/a"), !exists(usersDirectory() + "/folder/a"));
}
