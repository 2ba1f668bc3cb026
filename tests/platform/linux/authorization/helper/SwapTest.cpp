// Directories are swapped for links while the helper is at work.

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

using qf::native::FileDescriptor;
using qf::native::helper::encodeRequest;
using qf::native::helper::Status;

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr int moves = 1'000;
constexpr int mostAttempts = 20 * moves;

/// Holds the helper's next child up as soon as that has made a directory, until the scope's end.
class Ambush {
public:
    explicit Ambush(pid_t helper) : helper_(helper) {
        EXPECT_EQ(
            ::ptrace(PTRACE_SEIZE, helper, nullptr, PTRACE_O_TRACEFORK | PTRACE_O_TRACESYSGOOD), 0);
    }
    ~Ambush() { EXPECT_EQ(::ptrace(PTRACE_DETACH, child_, nullptr, nullptr), 0); }
    Ambush(const Ambush&) = delete;
    Ambush& operator=(const Ambush&) = delete;
    Ambush(Ambush&&) = delete;
    Ambush& operator=(Ambush&&) = delete;

    void waitForDirectory() {
        std::uint64_t begun = 0;
        for (int status = 0;;) {
            const pid_t stopped = ::waitpid(-1, &status, __WALL);
            ASSERT_TRUE(WIFSTOPPED(status)) << "it has ended";
            if (stopped == helper_) {
                ::ptrace(PTRACE_DETACH, helper_, nullptr, nullptr);
                continue;
            }
            child_ = stopped;
            __ptrace_syscall_info call{};
            ::ptrace(PTRACE_GET_SYSCALL_INFO, child_, sizeof call, &call);
            if (call.op == PTRACE_SYSCALL_INFO_ENTRY) {
                begun = call.entry.nr;
            } else if (call.op == PTRACE_SYSCALL_INFO_EXIT && begun == SYS_mkdirat) {
                return;
            }
            ::ptrace(PTRACE_SYSCALL, child_, nullptr, nullptr);
        }
    }

private:
    pid_t helper_;
    pid_t child_ = -1;
};

std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename());
    }
    return names;
}

std::string nameOf(int number) {
    return "item " + std::to_string(number);
}

} // namespace

class HelperSwap : public HelperTest {
protected:
    /// A directory of the user's that is swapped for a link to a directory outside.
    struct Trap {
        std::string directory;
        std::string link;
        std::string outside;
    };

    Trap makeTrap(const std::string& name, const std::string& outside) {
        makeDirectory(outside);
        makeDirectory(usersDirectory() + "/" + name, servedUser);
        makeLink(outside, usersDirectory() + "/" + name + "-link", servedUser);
        return {usersDirectory() + "/" + name, usersDirectory() + "/" + name + "-link", outside};
    }

    static void fill(const std::string& directory) {
        for (int number = 0; number < moves; ++number) {
            makeFile(directory + "/" + nameOf(number), servedUser);
        }
    }

    /// Moves every item from one directory to another, both of which are being swapped, and proves
    /// that each of them is in one of the two, whole, and nothing outside has changed.
    void moveWhileSwapping(const Trap& from, const Trap& to) {
        fill(from.directory);
        fill(from.outside);
        const auto outsideBefore = namesIn(from.outside);
        std::map<Status, int> answers;
        {
            TestedHelper helper;
            const Attacker source([&] { return exchange(from.directory, from.link); });
            const Attacker destination([&] { return exchange(to.directory, to.link); });
            // On a busy machine the attackers may pause at one place for long.
            const auto hasSeenBoth = [&] {
                return answers.contains(Status::started) &&
                       answers.contains(Status::itemRedirected);
            };
            for (int attempt = 0; attempt < moves || (attempt < mostAttempts && !hasSeenBoth());
                 ++attempt) {
                const auto name = nameOf(attempt % moves);
                ++answers[helper.run(
                    "/bin/mv", {"-f", from.directory + "/" + name, to.directory + "/" + name})];
            }
        }
        EXPECT_EQ(namesIn(from.outside), outsideBefore);
        EXPECT_EQ(namesIn(to.outside), std::set<std::string>());
        expectAllInside(from, to);
        for (const auto& [status, count] : answers) {
            EXPECT_TRUE(status == Status::started || status == Status::itemRedirected ||
                        status == Status::itemUnreachable)
                << static_cast<int>(status) << " " << count;
        }
        EXPECT_GT(answers[Status::started], 0);
        EXPECT_GT(answers[Status::itemRedirected], 0);
    }

    /// Either name of a trap may be the directory now.
    static std::string directoryOf(const Trap& trap) {
        return fs::is_symlink(trap.directory) ? trap.link : trap.directory;
    }

    static void expectAllInside(const Trap& from, const Trap& to) {
        auto items = namesIn(directoryOf(from));
        items.merge(namesIn(directoryOf(to)));
        std::set<std::string> expected;
        for (int number = 0; number < moves; ++number) {
            expected.insert(nameOf(number));
        }
        EXPECT_EQ(items, expected);
    }
};

TEST_F(HelperSwap, LeadsNoMoveOutOfTheUsersDirectories) {
    moveWhileSwapping(makeTrap("from", sandbox::rootsDirectory + "/source"),
                      makeTrap("to", sandbox::rootsDirectory + "/destination"));
}

TEST_F(HelperSwap, LeadsNoRemovalOutOfTheUsersDirectories) {
    const Trap trap = makeTrap("from", sandbox::rootsDirectory + "/source");
    fill(trap.directory);
    fill(trap.outside);
    const auto before = namesIn(trap.outside);
    {
        TestedHelper helper;
        const Attacker attacker([&] { return exchange(trap.directory, trap.link); });
        for (int number = 0; number < moves; ++number) {
            helper.run("/bin/rm", {"-Rdf", trap.directory + "/" + nameOf(number)});
        }
    }
    EXPECT_EQ(namesIn(trap.outside), before);
    EXPECT_LT(namesIn(directoryOf(trap)).size(), before.size());
}

TEST_F(HelperSwap, LeadsNoCopyToAnotherFileSystemOutOfTheUsersDirectories) {
    const std::string target = makeDirectory(usersDirectory() + "/target", servedUser);
    const std::string outside = makeDirectory(sandbox::everybodysDirectory + "/outside");
    const std::string link = makeLink(outside, usersDirectory() + "/link", servedUser);
    TestedHelper helper;
    {
        const Attacker attacker([&] { return exchange(target, link); });
        for (int round = 0; round < moves / 10; ++round) {
            const std::string directory =
                makeDirectory(sandbox::rootsDirectory + "/" + nameOf(round));
            makeDirectory(directory + "/inner");
            makeFile(directory + "/inner/file");
            helper.run("/bin/mv", {"-f", directory, target + "/" + nameOf(round)});
        }
    }
    EXPECT_EQ(namesIn(outside), std::set<std::string>());
    const std::string directory = fs::is_symlink(target) ? link : target;
    auto items = namesIn(directory);
    items.merge(namesIn(sandbox::rootsDirectory));
    EXPECT_EQ(items.size(), static_cast<std::size_t>(moves) / 10);
}

TEST_F(HelperSwap, LeadsNoChangeOutOfTheUsersDirectories) {
    const Trap trap = makeTrap("folder", sandbox::rootsDirectory + "/outside");
    const std::string job = "/job.plist";
    makeFile(trap.directory + job, servedUser, 0600);
    const std::string secret = makeFile(trap.outside + job, 0, 0600);
    const std::string content = contentOf(secret);
    struct stat before {};
    ASSERT_EQ(::stat(secret.c_str(), &before), 0);
    const std::string source = makeFile(usersDirectory() + "/source", servedUser);
    std::map<Status, int> answers;
    {
        TestedHelper helper;
        const Attacker attacker([&] { return exchange(trap.directory, trap.link); });
        for (int round = 0; round < moves; ++round) {
            ++answers[helper.run("/bin/chmod", {"644", trap.directory + job})];
            helper.run("/usr/bin/touch", {"-c", trap.directory + job});
            helper.run("/bin/cp", {"-f", "-p", "-R", source, trap.directory + job});
            helper.run("/bin/cp",
                       {"-f", "-p", "-R", trap.directory + job, usersDirectory() + "/copy"});
            helper.run("/bin/mkdir", {"-p", trap.directory + "/made"});
        }
    }
    struct stat after {};
    ASSERT_EQ(::stat(secret.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(contentOf(secret), content);
    EXPECT_NE(contentOf(usersDirectory() + "/copy"), content);
    EXPECT_EQ(namesIn(trap.outside), std::set<std::string>{"job.plist"});
    EXPECT_GT(answers[Status::started], 0);
    EXPECT_GT(answers[Status::itemRedirected], 0);
}

TEST_F(HelperSwap, LeadsNoCopyToWhatTheUserCannotReach) {
    const std::string closed = makeDirectory(sandbox::everybodysDirectory + "/closed", 0, 0700);
    makeFile(closed + "/secret", 0, 0644);
    const std::string outside = makeDirectory(sandbox::rootsDirectory + "/trash", servedUser);
    const std::string directory = makeDirectory(usersDirectory() + "/folder", servedUser);
    const std::string inner = makeDirectory(directory + "/inner", servedUser);
    makeFile(inner + "/file", servedUser);
    const std::string link = makeLink(closed, directory + "/link", servedUser);
    TestedHelper helper;
    const Attacker attacker([&] { return exchange(inner, link); });
    for (int round = 0; round < moves; ++round) {
        const std::string copied = outside + "/" + nameOf(round);
        helper.run("/bin/cp", {"-f", "-p", "-R", directory, copied});
        EXPECT_FALSE(exists(copied + "/inner/secret") && !fs::is_symlink(copied + "/inner"));
        EXPECT_FALSE(exists(copied + "/link/secret") && !fs::is_symlink(copied + "/link"));
        fs::remove_all(copied);
    }
}

TEST_F(HelperSwap, LeadsNothingAstrayInTenThousandRounds) {
    constexpr int rounds = 10'000;
    const Trap from = makeTrap("from", sandbox::rootsDirectory + "/source");
    const std::string users = makeDirectory(sandbox::rootsDirectory + "/users", servedUser);
    const Trap to{makeDirectory(users + "/to", servedUser),
                  makeLink(sandbox::rootsDirectory + "/source", users + "/link", servedUser),
                  from.outside};
    const std::string secret = makeFile(from.outside + "/file", 0, 0600);
    const std::string content = contentOf(secret);
    struct stat before {};
    ASSERT_EQ(::stat(secret.c_str(), &before), 0);
    makeFile(from.directory + "/file", servedUser, 0600);
    const FileDescriptor inside(::open(from.directory.c_str(), O_PATH | O_CLOEXEC));
    std::map<Status, int> answers;
    {
        TestedHelper helper;
        const Attacker source([&] { return exchange(from.directory, from.link); });
        const Attacker destination([&] { return exchange(to.directory, to.link); });
        for (int round = 0; round < rounds; round += 5) {
            const FileDescriptor made(
                ::openat(inside.get(), "item", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
            for (const auto& [tool, words] :
                 {std::pair("/bin/mv",
                            std::vector{"-f"s, from.directory + "/item", to.directory + "/item"}),
                  std::pair("/bin/cp", std::vector{"-f"s, "-p"s, "-R"s, from.directory + "/file",
                                                   to.directory + "/copy"}),
                  std::pair("/usr/bin/touch", std::vector{"-c"s, from.directory + "/file"}),
                  std::pair("/bin/chmod", std::vector{"644"s, from.directory + "/file"}),
                  std::pair("/bin/cp", std::vector{"-f"s, "-p"s, "-R"s, to.directory + "/copy",
                                                   from.directory + "/copy"})}) {
                ++answers[helper.run(tool, words)];
            }
        }
    }
    struct stat after {};
    ASSERT_EQ(::stat(secret.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(contentOf(secret), content);
    EXPECT_EQ(namesIn(from.outside), std::set<std::string>{"file"});
    for (const auto& copy : {directoryOf(from) + "/copy", directoryOf(to) + "/copy"}) {
        EXPECT_TRUE(!exists(copy) || contentOf(copy) != content);
    }
    EXPECT_GT(answers[Status::started], 0);
    EXPECT_GT(answers[Status::itemRedirected], 0);
}

TEST_F(HelperSwap, LeadsNoMoveIntoRootsDirectoryToWhatTheUserCannotReach) {
    const std::string closed = makeDirectory(sandbox::everybodysDirectory + "/closed", 0, 0700);
    makeFile(closed + "/secret", 0, 0644);
    const std::string directory = usersDirectory() + "/folder";
    const std::string inner = directory + "/inner";
    const std::string link = directory + "/link";
    TestedHelper helper;
    for (int round = 0; round < moves / 10; ++round) {
        makeFile(makeDirectory(makeDirectory(directory, servedUser) + "/inner", servedUser) +
                 "/file");
        makeLink(closed, link, servedUser);
        const std::string moved = sandbox::rootsDirectory + "/" + nameOf(round);
        {
            const Attacker attacker([&] {
                exchange(inner, link); // until they are taken away
                return true;
            });
            helper.run("/bin/mv", {"-f", directory, moved});
        }
        EXPECT_FALSE(exists(moved + "/inner/secret") && !fs::is_symlink(moved + "/inner"));
        EXPECT_FALSE(exists(moved + "/link/secret") && !fs::is_symlink(moved + "/link"));
        EXPECT_TRUE(exists(closed + "/secret"));
        fs::remove_all(directory);
    }
}

TEST_F(HelperSwap, LeadsNoCopyIntoADirectoryOfRootsThatTheUserCanRename) {
    const std::string target = makeDirectory(usersDirectory() + "/target", servedUser);
    const std::string other = makeDirectory(target + "/other", 0, 0700);
    const std::string kept = makeFile(other + "/item");
    const std::string content = contentOf(kept);
    const std::string item = makeFile(sandbox::rootsDirectory + "/item");
    const auto request = encodeRequest("/bin/mv", {"-f", item, target});
    TestedHelper helper;
    {
        Ambush ambush(helper.process());
        ASSERT_GT(::send(helper.connection(), request->data(), request->size(), 0), 0);
        ambush.waitForDirectory();
        auto directories = namesIn(target);
        directories.erase("other");
        ASSERT_EQ(directories.size(), 1U);
        ASSERT_TRUE(exchange(target + "/" + *directories.begin(), other));
    }
    EXPECT_EQ(helper.receive().status, Status::startFailed);
    helper.disconnect();
    helper.waitForEnd();
    const auto directories = namesIn(target);
    EXPECT_EQ(directories.size(), 2U);
    EXPECT_TRUE(std::any_of(directories.begin(), directories.end(), [&](const std::string& name) {
        const std::string place = target + "/" + name + "/item";
        return exists(place) && contentOf(place) == content;
    }));
    EXPECT_TRUE(exists(item));
}

TEST_F(HelperSwap, HasNothingTakenAwayThatIsSwappedInForTheItem) {
    constexpr int rounds = 50;
    const std::string item = usersDirectory() + "/item";
    const std::string other = usersDirectory() + "/other";
    const std::string target = makeDirectory(sandbox::rootsDirectory + "/target", servedUser);
    TestedHelper helper;
    for (int round = 0; round < rounds; ++round) {
        makeDirectory(item, servedUser);
        makeFile(makeDirectory(other) + "/kept");
        {
            const Attacker attacker([&] {
                exchange(item, other); // until one is taken away
                return true;
            });
            helper.run("/bin/mv", {"-f", item, target});
        }
        ASSERT_TRUE(exists(item + "/kept") || exists(other + "/kept") ||
                    exists(target + "/item/kept"))
            << "taken away in round " << round;
        for (const auto& path : {item, other, target + "/item"}) {
            fs::remove_all(path);
        }
        ASSERT_EQ(namesIn(target), std::set<std::string>());
        ASSERT_EQ(namesIn(usersDirectory()), std::set<std::string>());
    }
}

TEST_F(HelperSwap, HasNothingTakenAwayThatWasNotChecked) {
    const std::string item = makeDirectory(usersDirectory() + "/item", servedUser);
    const std::string other = makeDirectory(usersDirectory() + "/other");
    makeFile(other + "/file");
    const std::string target = makeDirectory(sandbox::rootsDirectory + "/target", servedUser);
    const auto request = encodeRequest("/bin/mv", {"-f", item, target});
    TestedHelper helper;
    {
        Ambush ambush(helper.process());
        ASSERT_GT(::send(helper.connection(), request->data(), request->size(), 0), 0);
        ambush.waitForDirectory();
        ASSERT_TRUE(exchange(item, other));
    }
    EXPECT_EQ(helper.receive().status, Status::started);
    helper.disconnect();
    helper.waitForEnd();
    EXPECT_TRUE(exists(item + "/file"));
}
