// Where the helper puts copies, and what it leaves there.

#include "platform/linux/authorization/helper/Placing.h"

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/PlantedItems.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>

using qf::native::helper::Status;

namespace fs = std::filesystem;

using HelperPlacing = PlantedItems;

TEST_F(HelperPlacing, KnowsWhetherAToolSucceeds) {
    using qf::native::helper::openItem;
    using qf::native::helper::succeeds;
    for (const bool isSuccess : {false, true}) { // whoever becomes the first tool has failed
        const std::string path = isSuccess ? "/bin/true" : "/bin/false";
        EXPECT_EQ(succeeds({path, *openItem(AT_FDCWD, fs::canonical(path))}, {}), isSuccess);
    }
}

TEST_F(HelperPlacing, WaitsForAToolThroughAllInterruptions) {
    // The tool reads it until some alarms have interrupted the wait for the tool.
    static std::string fifo;
    fifo = usersDirectory() + "/fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const int status = statusOfProcess([] {
        struct sigaction interrupting {};
        interrupting.sa_handler = [](int) {
            static volatile std::sig_atomic_t alarms = 0;
            constexpr int some = 5;
            const int error = errno;
            alarms = alarms + 1;
            if (alarms > some) {
                ::close(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
            }
            errno = error;
        };
        ::sigaction(SIGALRM, &interrupting, nullptr);
        constexpr itimerval often{{0, 1000}, {0, 1000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        const std::string path = "/bin/sh";
        const qf::native::helper::Tool tool{
            path, *qf::native::helper::openItem(AT_FDCWD, fs::canonical(path))};
        const std::string script = "read line < '" + fifo + "' || exit 0";
        return qf::native::helper::succeeds(tool, {"-c", script}) ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
}

TEST_F(HelperPlacing, HasAToolGoOnWhoseComplaintsNobodyReads) {
    const std::string made = usersDirectory() + "/made";
    const std::string path = "/bin/sh";
    const int status = statusOfProcess([&] {
        std::array<int, 2> pipe{};
        if (::pipe(pipe.data()) != 0) {
            return 1;
        }
        ::dup2(pipe[1], STDERR_FILENO);
        ::close(pipe[0]);
        ::close(pipe[1]);
        const qf::native::helper::Tool tool{
            path, *qf::native::helper::openItem(AT_FDCWD, fs::canonical(path))};
        const std::string script = "echo complaint >&2; : > '" + made + "'";
        return qf::native::helper::succeeds(tool, {"-c", script}) ? 0 : 2;
    });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(exists(made));
}

TEST_F(HelperPlacing, EndsTheProcessThatCannotBecomeATool) {
    const std::string path = makeFile(sandbox::rootsDirectory + "/no program");
    const qf::native::helper::Tool tool{path, *qf::native::helper::openItem(AT_FDCWD, path)};
    const pid_t process = ::getpid();
    const bool isSuccess = qf::native::helper::succeeds(tool, {});
    if (::getpid() != process) {
        ::_exit(0); // which is taken for a success
    }
    EXPECT_FALSE(isSuccess);
}

TEST_F(HelperPlacing, ReplacesNothingThatHasComeSinceTheMoveWasAskedFor) {
    using qf::native::helper::openItem;
    using qf::native::helper::renameTo;
    const std::string from = makeDirectory(usersDirectory() + "/from");
    makeFile(from + "/item");
    const std::string to = makeDirectory(usersDirectory() + "/to");
    const std::string there = makeFile(to + "/item");
    const auto source = openItem(AT_FDCWD, from);
    const auto destination = openItem(AT_FDCWD, to);
    ASSERT_TRUE(source && destination);
    const std::string name = "item";

    EXPECT_TRUE(qf::native::failedWith(
        renameTo({*destination, name, false}, source->descriptor.get(), name), EEXIST));
    EXPECT_EQ(contentOf(there), "content of " + there);

    EXPECT_TRUE(renameTo({*destination, name, true}, source->descriptor.get(), name));
    EXPECT_NE(contentOf(there), "content of " + there);
}

TEST_F(HelperPlacing, LeavesADirectoryThatACopyWouldReplace) {
    const std::string file = makeFile(usersDirectory() + "/item", servedUser);
    const std::string kept =
        makeFile(makeDirectory(makeDirectory(usersDirectory() + "/to") + "/item") + "/kept");
    EXPECT_EQ(copy(file, usersDirectory() + "/to"), Status::startFailed);
    EXPECT_TRUE(exists(kept));
}

TEST_F(HelperPlacing, CopiesADirectoryIntoTheOneOfItsNameThatIsThere) {
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

TEST_F(HelperPlacing, CopiesTheRestWhereOneItemCannotReplaceWhatIsThere) {
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

TEST_F(HelperPlacing, TellsThatNotAllIsThereWhereOneItemCannotReplaceWhatIs) {
    using namespace qf::native::helper;
    makeDirectory(makeDirectory(sandbox::rootsDirectory + "/from") + "/item");
    makeFile(makeDirectory(sandbox::rootsDirectory + "/to") + "/item");
    const auto from = openItem(AT_FDCWD, sandbox::rootsDirectory + "/from");
    const auto to = openItem(AT_FDCWD, sandbox::rootsDirectory + "/to");
    ASSERT_TRUE(from && to);
    const int areAllThere = statusOfProcess([&] {
        const Tool remover{};
        return Placing(*from, remover).merge(*from, *to, "to") ? 1 : 0;
    });
    EXPECT_EQ(areAllThere, 0);
}

TEST_F(HelperPlacing, MergesIntoNoDirectoryOfAnothersThatAUserCanPutThere) {
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

TEST_F(HelperPlacing, MergesNoDirectoryIntoItself) {
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    makeDirectory(directory + "/folder", servedUser);
    EXPECT_EQ(copy(directory, directory), Status::startFailed);
    EXPECT_EQ(copy(directory, usersDirectory()), Status::startFailed);
}
