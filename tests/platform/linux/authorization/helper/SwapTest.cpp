// Folders are swapped for links while the helper is at work.

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/TemporaryFolder.h"

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

using platform::native::FileDescriptor;
using platform::native::helper::encodeRequest;
using platform::native::helper::Status;

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr int moves = 1'000;

/// Holds the helper's next child up as soon as that has made a folder, until the scope's end.
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

    void waitForFolder() {
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

std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
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
    /// A folder of the user's that is swapped for a link to a folder outside.
    struct Trap {
        std::string folder;
        std::string link;
        std::string outside;
    };

    Trap makeTrap(const std::string& name, const std::string& outside) {
        makeFolder(outside);
        makeFolder(usersFolder() + "/" + name, servedUser);
        makeLink(outside, usersFolder() + "/" + name + "-link", servedUser);
        return {usersFolder() + "/" + name, usersFolder() + "/" + name + "-link", outside};
    }

    static void fill(const std::string& folder) {
        for (int number = 0; number < moves; ++number) {
            makeFile(folder + "/" + nameOf(number), servedUser);
        }
    }

    /// Moves every item from one folder to another, both of which are being swapped, and proves
    /// that each of them is in one of the two, whole, and nothing outside has changed.
    void moveWhileSwapping(const Trap& from, const Trap& to) {
        fill(from.folder);
        fill(from.outside);
        const auto outsideBefore = namesIn(from.outside);
        std::map<Status, int> answers;
        {
            TestedHelper helper;
            const Attacker source([&] { return exchange(from.folder, from.link); });
            const Attacker destination([&] { return exchange(to.folder, to.link); });
            for (int number = 0; number < moves; ++number) {
                ++answers[helper.run("/bin/mv", {"-f", from.folder + "/" + nameOf(number),
                                                 to.folder + "/" + nameOf(number)})];
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

    /// Either name of a trap may be the folder now.
    static std::string folderOf(const Trap& trap) {
        return fs::is_symlink(trap.folder) ? trap.link : trap.folder;
    }

    static void expectAllInside(const Trap& from, const Trap& to) {
        auto items = namesIn(folderOf(from));
        items.merge(namesIn(folderOf(to)));
        std::set<std::string> expected;
        for (int number = 0; number < moves; ++number) {
            expected.insert(nameOf(number));
        }
        EXPECT_EQ(items, expected);
    }
};

TEST_F(HelperSwap, LeadsNoMoveOutOfTheUsersFolders) {
    moveWhileSwapping(makeTrap("from", sandbox::rootsFolder + "/source"),
                      makeTrap("to", sandbox::rootsFolder + "/destination"));
}

TEST_F(HelperSwap, LeadsNoRemovalOutOfTheUsersFolders) {
    const Trap trap = makeTrap("from", sandbox::rootsFolder + "/source");
    fill(trap.folder);
    fill(trap.outside);
    const auto before = namesIn(trap.outside);
    {
        TestedHelper helper;
        const Attacker attacker([&] { return exchange(trap.folder, trap.link); });
        for (int number = 0; number < moves; ++number) {
            helper.run("/bin/rm", {"-Rdf", trap.folder + "/" + nameOf(number)});
        }
    }
    EXPECT_EQ(namesIn(trap.outside), before);
    EXPECT_LT(namesIn(folderOf(trap)).size(), before.size());
}

TEST_F(HelperSwap, LeadsNoCopyToAnotherFileSystemOutOfTheUsersFolders) {
    const std::string target = makeFolder(usersFolder() + "/target", servedUser);
    const std::string outside = makeFolder(sandbox::everybodysFolder + "/outside");
    const std::string link = makeLink(outside, usersFolder() + "/link", servedUser);
    TestedHelper helper;
    {
        const Attacker attacker([&] { return exchange(target, link); });
        for (int round = 0; round < moves / 10; ++round) {
            const std::string folder = makeFolder(sandbox::rootsFolder + "/" + nameOf(round));
            makeFolder(folder + "/inner");
            makeFile(folder + "/inner/file");
            helper.run("/bin/mv", {"-f", folder, target + "/" + nameOf(round)});
        }
    }
    EXPECT_EQ(namesIn(outside), std::set<std::string>());
    const std::string folder = fs::is_symlink(target) ? link : target;
    auto items = namesIn(folder);
    items.merge(namesIn(sandbox::rootsFolder));
    EXPECT_EQ(items.size(), static_cast<std::size_t>(moves) / 10);
}

TEST_F(HelperSwap, LeadsNoChangeOutOfTheUsersFolders) {
    const Trap trap = makeTrap("folder", sandbox::rootsFolder + "/outside");
    const std::string job = "/job.plist";
    makeFile(trap.folder + job, servedUser, 0600);
    const std::string secret = makeFile(trap.outside + job, 0, 0600);
    const std::string content = contentOf(secret);
    struct stat before {};
    ASSERT_EQ(::stat(secret.c_str(), &before), 0);
    const std::string source = makeFile(usersFolder() + "/source", servedUser);
    std::map<Status, int> answers;
    {
        TestedHelper helper;
        const Attacker attacker([&] { return exchange(trap.folder, trap.link); });
        for (int round = 0; round < moves; ++round) {
            ++answers[helper.run("/bin/chmod", {"644", trap.folder + job})];
            helper.run("/usr/bin/touch", {"-c", trap.folder + job});
            helper.run("/bin/cp", {"-f", "-p", "-R", source, trap.folder + job});
            helper.run("/bin/cp", {"-f", "-p", "-R", trap.folder + job, usersFolder() + "/copy"});
            helper.run("/bin/mkdir", {"-p", trap.folder + "/made"});
        }
    }
    struct stat after {};
    ASSERT_EQ(::stat(secret.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(contentOf(secret), content);
    EXPECT_NE(contentOf(usersFolder() + "/copy"), content);
    EXPECT_EQ(namesIn(trap.outside), std::set<std::string>{"job.plist"});
    EXPECT_GT(answers[Status::started], 0);
    EXPECT_GT(answers[Status::itemRedirected], 0);
}

TEST_F(HelperSwap, LeadsNoCopyToWhatTheUserCannotReach) {
    const std::string closed = makeFolder(sandbox::everybodysFolder + "/closed", 0, 0700);
    makeFile(closed + "/secret", 0, 0644);
    const std::string outside = makeFolder(sandbox::rootsFolder + "/trash", servedUser);
    const std::string folder = makeFolder(usersFolder() + "/folder", servedUser);
    const std::string inner = makeFolder(folder + "/inner", servedUser);
    makeFile(inner + "/file", servedUser);
    const std::string link = makeLink(closed, folder + "/link", servedUser);
    TestedHelper helper;
    const Attacker attacker([&] { return exchange(inner, link); });
    for (int round = 0; round < moves; ++round) {
        const std::string copied = outside + "/" + nameOf(round);
        helper.run("/bin/cp", {"-f", "-p", "-R", folder, copied});
        EXPECT_FALSE(exists(copied + "/inner/secret") && !fs::is_symlink(copied + "/inner"));
        EXPECT_FALSE(exists(copied + "/link/secret") && !fs::is_symlink(copied + "/link"));
        fs::remove_all(copied);
    }
}

TEST_F(HelperSwap, LeadsNothingAstrayInTenThousandRounds) {
    constexpr int rounds = 10'000;
    const Trap from = makeTrap("from", sandbox::rootsFolder + "/source");
    const std::string users = makeFolder(sandbox::rootsFolder + "/users", servedUser);
    const Trap to{makeFolder(users + "/to", servedUser),
                  makeLink(sandbox::rootsFolder + "/source", users + "/link", servedUser),
                  from.outside};
    const std::string secret = makeFile(from.outside + "/file", 0, 0600);
    const std::string content = contentOf(secret);
    struct stat before {};
    ASSERT_EQ(::stat(secret.c_str(), &before), 0);
    makeFile(from.folder + "/file", servedUser, 0600);
    const FileDescriptor inside(::open(from.folder.c_str(), O_PATH | O_CLOEXEC));
    std::map<Status, int> answers;
    {
        TestedHelper helper;
        const Attacker source([&] { return exchange(from.folder, from.link); });
        const Attacker destination([&] { return exchange(to.folder, to.link); });
        for (int round = 0; round < rounds; round += 5) {
            const FileDescriptor made(
                ::openat(inside.get(), "item", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
            for (const auto& [tool, words] :
                 {std::pair("/bin/mv",
                            std::vector{"-f"s, from.folder + "/item", to.folder + "/item"}),
                  std::pair("/bin/cp", std::vector{"-f"s, "-p"s, "-R"s, from.folder + "/file",
                                                   to.folder + "/copy"}),
                  std::pair("/usr/bin/touch", std::vector{"-c"s, from.folder + "/file"}),
                  std::pair("/bin/chmod", std::vector{"644"s, from.folder + "/file"}),
                  std::pair("/bin/cp", std::vector{"-f"s, "-p"s, "-R"s, to.folder + "/copy",
                                                   from.folder + "/copy"})}) {
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
    for (const auto& copy : {folderOf(from) + "/copy", folderOf(to) + "/copy"}) {
        EXPECT_TRUE(!exists(copy) || contentOf(copy) != content);
    }
    EXPECT_GT(answers[Status::started], 0);
    EXPECT_GT(answers[Status::itemRedirected], 0);
}

TEST_F(HelperSwap, LeadsNoMoveIntoRootsFolderToWhatTheUserCannotReach) {
    const std::string closed = makeFolder(sandbox::everybodysFolder + "/closed", 0, 0700);
    makeFile(closed + "/secret", 0, 0644);
    const std::string folder = usersFolder() + "/folder";
    const std::string inner = folder + "/inner";
    const std::string link = folder + "/link";
    TestedHelper helper;
    for (int round = 0; round < moves / 10; ++round) {
        makeFile(makeFolder(makeFolder(folder, servedUser) + "/inner", servedUser) + "/file");
        makeLink(closed, link, servedUser);
        const std::string moved = sandbox::rootsFolder + "/" + nameOf(round);
        {
            const Attacker attacker([&] {
                exchange(inner, link); // until they are taken away
                return true;
            });
            helper.run("/bin/mv", {"-f", folder, moved});
        }
        EXPECT_FALSE(exists(moved + "/inner/secret") && !fs::is_symlink(moved + "/inner"));
        EXPECT_FALSE(exists(moved + "/link/secret") && !fs::is_symlink(moved + "/link"));
        EXPECT_TRUE(exists(closed + "/secret"));
        fs::remove_all(folder);
    }
}

TEST_F(HelperSwap, LeadsNoCopyIntoAFolderOfRootsThatTheUserCanRename) {
    const std::string target = makeFolder(usersFolder() + "/target", servedUser);
    const std::string other = makeFolder(target + "/other", 0, 0700);
    const std::string kept = makeFile(other + "/item");
    const std::string content = contentOf(kept);
    const std::string item = makeFile(sandbox::rootsFolder + "/item");
    const auto request = encodeRequest("/bin/mv", {"-f", item, target});
    TestedHelper helper;
    {
        Ambush ambush(helper.process());
        ASSERT_GT(::send(helper.connection(), request->data(), request->size(), 0), 0);
        ambush.waitForFolder();
        auto folders = namesIn(target);
        folders.erase("other");
        ASSERT_EQ(folders.size(), 1U);
        ASSERT_TRUE(exchange(target + "/" + *folders.begin(), other));
    }
    EXPECT_EQ(helper.receive().status, Status::startFailed);
    helper.disconnect();
    helper.waitForEnd();
    const auto folders = namesIn(target);
    EXPECT_EQ(folders.size(), 2U);
    EXPECT_TRUE(std::any_of(folders.begin(), folders.end(), [&](const std::string& name) {
        const std::string place = target + "/" + name + "/item";
        return exists(place) && contentOf(place) == content;
    }));
    EXPECT_TRUE(exists(item));
}

TEST_F(HelperSwap, HasNothingTakenAwayThatWasNotChecked) {
    const std::string item = makeFolder(usersFolder() + "/item", servedUser);
    const std::string other = makeFolder(usersFolder() + "/other");
    makeFile(other + "/file");
    const std::string target = makeFolder(sandbox::rootsFolder + "/target", servedUser);
    const auto request = encodeRequest("/bin/mv", {"-f", item, target});
    TestedHelper helper;
    {
        Ambush ambush(helper.process());
        ASSERT_GT(::send(helper.connection(), request->data(), request->size(), 0), 0);
        ambush.waitForFolder();
        ASSERT_TRUE(exchange(item, other));
    }
    EXPECT_EQ(helper.receive().status, Status::started);
    helper.disconnect();
    helper.waitForEnd();
    EXPECT_TRUE(exists(item + "/file"));
}
