#include "platform/linux/files/LogFiles.h"

#include "platform/foundation/Exception.h"
#include "tests/support/NamedCase.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <future>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using qf::Exception;

namespace {

class LogFiles : public testing::Test {
protected:
    TemporaryDirectory directory;
    qf::native::LogFiles files;
};

/// Called just before bytes are written to a file.
std::function<void()>& beforeWriting() {
    static std::function<void()> happening;
    return happening;
}

/// Moves the process into a new mount namespace with a small private file system.
bool mountSmallFileSystem(const std::string& directory) {
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", directory.c_str(), "tmpfs", 0, "size=8k") == 0;
}

/// Runs `check` in a child process and returns its result.
template <class Check>
bool inAChild(Check check) {
    const auto child = ::fork();
    if (child == 0) {
        ::_exit(check() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Runs `check` in a child process of another user and returns its result.
template <class Check>
bool asNobody(Check check) {
    constexpr unsigned nobody = 65534;
    return inAChild([&] { return ::setgid(nobody) == 0 && ::setuid(nobody) == 0 && check(); });
}

/// Fills the disk that `path` is on, makes room again and goes on.
void fillAndGoOn(qf::LogFile& file, const std::string& path) {
    const std::string page(5000, 'x');
    file.append(page);
    try {
        file.append(page);
        ADD_FAILURE() << "there was room for more than fits";
    } catch (const Exception& exception) {
        EXPECT_EQ(exception.name(), "NSFileHandleOperationException");
        EXPECT_EQ(exception.reason(), "“log” couldn’t be written to because the volume is full.");
    }
    ASSERT_EQ(::truncate(path.c_str(), 6000), 0);
    file.append("next\n");
}

} // namespace

extern "C" {
// The linker has the log's files call these two: NOLINTBEGIN(bugprone-reserved-identifier)
ssize_t __real_write(int file, const void* bytes, std::size_t size);
ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    if (const auto happening = std::exchange(beforeWriting(), nullptr)) {
        happening();
    }
    return __real_write(file, bytes, size);
}
// NOLINTEND(bugprone-reserved-identifier)
}

TEST_F(LogFiles, AppendsToAnExistingFile) {
    const auto path = directory.write("log", "one\n");
    const auto file = files.open(path);
    ASSERT_TRUE(file);
    file->append("two\n");
    file->append("three\n");
    EXPECT_EQ(contentOf(path), "one\ntwo\nthree\n");
}

TEST_F(LogFiles, AppendsBehindWhatAnotherHasAppended) {
    const auto path = directory.write("log");
    const auto first = files.open(path);
    const auto second = files.open(path);
    first->append("1\n");
    second->append("2\n");
    first->append("3\n");
    EXPECT_EQ(contentOf(path), "1\n2\n3\n");
}

TEST_F(LogFiles, TellWhetherAFileIsStillInPlace) {
    const auto path = directory.write("logs/log");
    const auto file = files.open(path);
    EXPECT_TRUE(file->isInPlace());
    fs::rename(path, directory / "moved");
    EXPECT_FALSE(file->isInPlace());
    directory.write("logs/log");
    EXPECT_FALSE(file->isInPlace());
    fs::rename(directory / "moved", path);
    EXPECT_TRUE(file->isInPlace());
    fs::rename(directory / "logs", directory / "elsewhere");
    EXPECT_FALSE(file->isInPlace());
}

TEST_F(LogFiles, TellThatAnEntryWasWrittenToAFileThatIsDeletedMeanwhile) {
    const auto path = directory.write("log");
    const auto file = files.open(path);
    beforeWriting() = [&path] { fs::remove(path); };
    file->append("lost\n");
    EXPECT_FALSE(file->hasName());
}

TEST_F(LogFiles, AppendToAFileThatIsMovedMeanwhile) {
    const auto path = directory.write("log");
    const auto file = files.open(path);
    beforeWriting() = [&] { fs::rename(path, directory / "older"); };
    file->append("kept\n");
    EXPECT_TRUE(file->hasName());
    EXPECT_EQ(contentOf(directory / "older"), "kept\n");
}

TEST_F(LogFiles, DoNotCreateAMissingFileWhenTheyOpenIt) {
    EXPECT_FALSE(files.open(directory / "missing"));
    EXPECT_FALSE(fs::exists(directory / "missing"));
}

TEST_F(LogFiles, FollowTheUsersOwnLinks) {
    const auto path = directory.write("elsewhere/file");
    fs::create_symlink("elsewhere/file", directory / "relative");
    fs::create_symlink(directory / "relative", directory / "link");
    const auto file = files.open(directory / "link");
    ASSERT_TRUE(file);
    file->append("entry\n");
    EXPECT_EQ(contentOf(path), "entry\n");
}

class LogFilesByALink : public LogFiles,
                        public testing::WithParamInterface<NamedValue<fs::perms>> {};

TEST_P(LogFilesByALink, AreNotOpenedIfOthersMayHaveMadeIt) {
    const auto path = directory.write("file");
    const auto shared = directory.makeDirectory("shared");
    fs::create_symlink(path, shared + "/link");
    fs::create_symlink(shared + "/link", directory / "link");
    fs::permissions(shared, fs::perms::owner_all | GetParam().value);
    EXPECT_FALSE(files.open(shared + "/link"));
    EXPECT_FALSE(files.open(directory / "link"));
    fs::permissions(shared, fs::perms::owner_all);
    EXPECT_TRUE(files.open(directory / "link"));
}

INSTANTIATE_TEST_SUITE_P(
    , LogFilesByALink,
    testing::Values(NamedValue<fs::perms>{{"OfTheGroup"}, fs::perms::group_write},
                    NamedValue<fs::perms>{{"OfAnybody"}, fs::perms::others_write}),
    nameOfCase);

TEST_F(LogFiles, FollowNoLinkOfAnotherUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give a link to another user";
    }
    fs::create_symlink(directory.write("file"), directory / "link");
    ASSERT_EQ(::lchown((directory / "link").c_str(), 12345, 12345), 0);
    EXPECT_FALSE(files.open(directory / "link"));
}

TEST_F(LogFiles, FollowNoLinkInADirectoryOfAnotherUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give a folder to another user";
    }
    const auto path = directory.write("file");
    const auto others = directory.makeDirectory("others");
    fs::create_symlink(path, others + "/link");
    fs::create_hard_link(path, others + "/second");
    ASSERT_EQ(::chown(others.c_str(), 12345, 12345), 0);
    EXPECT_FALSE(files.open(others + "/link"));
    EXPECT_FALSE(files.open(others + "/second"));
    EXPECT_TRUE(files.open(path));
}

TEST_F(LogFiles, FollowNoLinksThatDoNotEnd) {
    fs::create_symlink("b", directory / "a");
    fs::create_symlink("a", directory / "b");
    EXPECT_FALSE(files.open(directory / "a"));
}

TEST_F(LogFiles, OpenAFileOfWhichTheUserHasABackup) {
    const auto path = directory.write("file");
    fs::create_hard_link(path, directory / "backup");
    EXPECT_TRUE(files.open(path));
}

TEST_F(LogFiles, OpenNoFileThatOthersMayHaveGivenASecondName) {
    const auto path = directory.write("shared/file");
    fs::create_hard_link(path, directory / "second");
    fs::permissions(directory / "shared", fs::perms::all | fs::perms::sticky_bit);
    EXPECT_FALSE(files.open(path));
    fs::remove(directory / "second");
    EXPECT_TRUE(files.open(path));
}

TEST_F(LogFiles, OpenNothingButRegularFiles) {
    directory.makeDirectory("folder");
    EXPECT_FALSE(files.open(directory / "folder"));
    ASSERT_EQ(::mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(files.open(directory / "pipe"));
    EXPECT_FALSE(files.open("/dev/full"));
    EXPECT_FALSE(files.open(""));
}

TEST_F(LogFiles, OpenNoFileOfAnotherUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give a file to another user";
    }
    const auto path = directory.write("file");
    ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
    EXPECT_FALSE(files.open(path));
}

TEST_F(LogFiles, OpenTheSuperusersFileThatTheUserMayWriteTo) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    const auto path = directory.write("file");
    fs::permissions(directory.path(), fs::perms::all);
    fs::permissions(path, fs::perms::all);
    EXPECT_TRUE(asNobody([&] { return files.open(path) != nullptr; }));
}

TEST_F(LogFiles, CloseAFileWhenNobodyRefersToItAnyMore) {
    const auto before = openDescriptors();
    auto file = files.open(directory.write("log"));
    EXPECT_EQ(openDescriptors(), before + 1);
    file.reset();
    EXPECT_EQ(openDescriptors(), before);
    directory.makeDirectory("folder");
    EXPECT_FALSE(files.open(directory / "folder"));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(LogFiles, DoNotPassAnOpenFileOnToChildren) {
    const auto path = directory.write("log");
    const auto file = files.open(path);
    int found = 0;
    for (const auto& item : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(item.path(), gone) == path) {
            const auto number = item.path().filename().string();
            EXPECT_NE(contentOf("/proc/self/fdinfo/" + number).find("flags:\t02"),
                      std::string::npos); // octal, 02000000 is close-on-exec
            ++found;
        }
    }
    EXPECT_EQ(found, 1);
}

TEST_F(LogFiles, SayThatTheDiskIsFullAndBeginTheNextEntryOnALineOfItsOwn) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    EXPECT_TRUE(inAChild([&] {
        EXPECT_TRUE(mountSmallFileSystem(directory.path()));
        const auto path = directory.write("log");
        fillAndGoOn(*files.open(path), path);
        EXPECT_EQ(contentOf(path), std::string(6000, 'x') + "\nnext\n");
        return !HasFailure();
    }));
}

TEST_F(LogFiles, CreateADirectoryWithAllThatLeadToIt) {
    EXPECT_TRUE(files.createDirectory(directory / "a/b/c"));
    EXPECT_TRUE(fs::is_directory(directory / "a/b/c"));
    EXPECT_TRUE(files.createDirectory(directory / "a/b/c"));
}

TEST_F(LogFiles, SayWhyADirectoryCannotBeCreated) {
    directory.write("file");
    const auto created = files.createDirectory(directory / "file/below");
    ASSERT_FALSE(created);
    EXPECT_EQ(created.error().domain, "NSPOSIXErrorDomain");
    EXPECT_EQ(created.error().code, ENOTDIR);
    EXPECT_EQ(created.error().localizedDescription,
              "“below” couldn’t be created because a part of its path isn’t a folder.");
}

TEST_F(LogFiles, SayThatPermissionIsMissing) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    fs::permissions(directory.path(), fs::perms(0755));
    directory.write("log");
    EXPECT_TRUE(asNobody([&] {
        const auto created = files.createEmptyFile(directory / "new");
        return !created && created.error().localizedDescription ==
                               "“new” couldn’t be created because you don’t have permission.";
    }));
    EXPECT_TRUE(
        asNobody([&] { return files.removeLog(directory / "log").error().code == EACCES; }));
    EXPECT_TRUE(asNobody([&] { return files.open(directory / "log") == nullptr; }));
}

TEST_F(LogFiles, RemoveFilesLinksAndEmptyDirectories) {
    const auto file = directory.write("file", "kept");
    fs::create_symlink(file, directory / "link");
    directory.makeDirectory("folder");
    EXPECT_TRUE(files.removeLog(directory / "link"));
    EXPECT_EQ(contentOf(file), "kept");
    EXPECT_TRUE(files.removeLog(file));
    EXPECT_TRUE(files.removeLog(directory / "folder"));
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(LogFiles, RemoveADirectoryWithAllThatIsInIt) {
    const auto outside = directory.write("outside", "kept");
    directory.write("folder/inside/file");
    fs::create_symlink(outside, directory / "folder/link");
    EXPECT_TRUE(files.removeLog(directory / "folder"));
    EXPECT_FALSE(fs::exists(directory / "folder"));
    EXPECT_EQ(contentOf(outside), "kept");
}

TEST_F(LogFiles, MoveAnItemAndNeverReplaceAnother) {
    const auto from = directory.write("from", "one");
    EXPECT_TRUE(files.renameLog(from, directory / "to"));
    EXPECT_EQ(contentOf(directory / "to"), "one");
    directory.write("from", "two");
    const auto moved = files.renameLog(from, directory / "to");
    ASSERT_FALSE(moved);
    EXPECT_EQ(moved.error().localizedDescription,
              "“from” couldn’t be moved because an item with the same name already exists.");
    EXPECT_EQ(contentOf(directory / "to"), "one");
}

TEST_F(LogFiles, MoveALinkItself) {
    const auto target = directory.write("target", "kept");
    fs::create_symlink(target, directory / "link");
    EXPECT_TRUE(files.renameLog(directory / "link", directory / "moved"));
    EXPECT_TRUE(fs::is_symlink(directory / "moved"));
    EXPECT_TRUE(fs::exists(target));
}

TEST_F(LogFiles, CreateAnEmptyFileInPlaceOfAnother) {
    const auto path = directory.write("log", "old");
    const auto old = files.open(path);
    EXPECT_TRUE(files.createEmptyFile(path));
    EXPECT_EQ(contentOf(path), "");
    old->append("goes to the old one");
    EXPECT_FALSE(old->hasName());
    EXPECT_EQ(contentOf(path), "");
}

TEST_F(LogFiles, CreateAnEmptyFileInPlaceOfALink) {
    const auto victim = directory.write("victim", "precious");
    fs::create_symlink(victim, directory / "log");
    EXPECT_TRUE(files.createEmptyFile(directory / "log"));
    EXPECT_FALSE(fs::is_symlink(directory / "log"));
    EXPECT_EQ(contentOf(victim), "precious");
}

TEST_F(LogFiles, LeaveNothingBehindWhenAnEmptyFileCannotBeCreated) {
    directory.makeDirectory("log/inside");
    const auto created = files.createEmptyFile(directory / "log");
    ASSERT_FALSE(created);
    EXPECT_EQ(created.error().localizedDescription,
              "“log” couldn’t be created because it is a folder.");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()), 1);
}

TEST_F(LogFiles, TakeNoPathWithAZeroForTheShorterOne) {
    const auto path = directory.write("log", "kept");
    const auto withZero = path + std::string("\0more", 5);
    EXPECT_FALSE(files.exists(withZero));
    EXPECT_FALSE(files.open(withZero));
    EXPECT_EQ(files.removeLog(withZero).error().code, EINVAL);
    EXPECT_EQ(files.renameLog(withZero, directory / "to").error().code, EINVAL);
    EXPECT_EQ(files.renameLog(path, withZero).error().code, EINVAL);
    EXPECT_EQ(files.createEmptyFile(withZero).error().code, EINVAL);
    EXPECT_EQ(files.createDirectory(withZero).error().code, EINVAL);
    EXPECT_EQ(contentOf(path), "kept");
}

TEST_F(LogFiles, SeeABrokenLinkAsMissing) {
    fs::create_symlink(directory / "nowhere", directory / "link");
    EXPECT_FALSE(files.exists(directory / "link"));
    EXPECT_FALSE(files.exists(directory / "missing"));
    EXPECT_TRUE(files.exists(directory.path()));
}

TEST_F(LogFiles, CreateEmptyFilesFromManyThreadsAtOnce) {
    std::vector<std::future<void>> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.push_back(std::async(std::launch::async, [this] {
            for (int i = 0; i < 100; ++i) {
                EXPECT_TRUE(files.createEmptyFile(directory / "log"));
            }
        }));
    }
    threads.clear();
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()), 1);
}

TEST_F(LogFiles, LeaveAFileThatIsSetAsideItsNameUntilAnotherTakesThat) {
    const auto path = directory.write("log", "old");
    EXPECT_TRUE(files.setAside(path, directory / "older"));
    EXPECT_EQ(contentOf(path), "old");
    EXPECT_EQ(contentOf(directory / "older"), "old");
    EXPECT_TRUE(files.createEmptyFile(path));
    EXPECT_EQ(contentOf(path), "");
    EXPECT_EQ(contentOf(directory / "older"), "old");
    EXPECT_EQ(files.setAside(path, directory / "older").error().code, EEXIST);
}

TEST_F(LogFiles, MoveADirectoryThatIsSetAside) {
    directory.makeDirectory("log/inside");
    EXPECT_TRUE(files.setAside(directory / "log", directory / "older"));
    EXPECT_TRUE(fs::is_directory(directory / "older/inside"));
    EXPECT_FALSE(fs::exists(directory / "log"));
}

TEST_F(LogFiles, AreLockedByOneAtATime) {
    const std::vector<std::string> directories{directory.path(), directory.makeDirectory("b"),
                                               directory.path(), directory / "missing"};
    int users = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                const auto lock = files.lock(directories);
                ASSERT_NE(lock, nullptr);
                ASSERT_EQ(++users, 1);
                --users;
            }
        });
    }
}

TEST_F(LogFiles, AreNotLockedForEverByAProcessThatIsKilled) {
    const auto child = ::fork();
    if (child == 0) {
        const auto lock = files.lock({directory.path()});
        ::kill(::getpid(), SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_NE(files.lock({directory.path()}), nullptr);
}

TEST_F(LogFiles, AreFreeWhenTheLockIsGivenUpThoughAForkedProcessHasItsDescriptor) {
    std::array<int, 2> gate{};
    ASSERT_EQ(::pipe2(gate.data(), O_CLOEXEC), 0);
    auto lock = files.lock({directory.path()});
    const auto child = ::fork();
    if (child == 0) {
        char byte = 0;
        ::close(gate[1]);
        ::_exit(::read(gate[0], &byte, 1) == 0 ? 0 : 1);
    }
    lock.reset();
    EXPECT_NE(files.lock({directory.path()}), nullptr);
    ::close(gate[0]);
    ::close(gate[1]);
    ::waitpid(child, nullptr, 0);
}

TEST_F(LogFiles, AreGivenUpWhenSomebodyKeepsThemLocked) {
    const auto held = files.lock({directory.path()});
    EXPECT_EQ(files.lock({directory.path()}), nullptr);
}
