#include "platform/foundation/Path.h"
#include "tests/support/ScopedLimit.h"
#include "tests/util/files/OnDiskTest.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <functional>
#include <thread>

namespace fs = std::filesystem;

namespace {

constexpr int levels = 2000;
constexpr int entries = 100'000;

void* call(void* work) {
    (*static_cast<std::function<void()>*>(work))();
    return nullptr;
}

/// Does something on a thread with little stack.
void runOnSmallStack(std::function<void()> work) {
    constexpr std::size_t stack = 256UL * 1024;
    pthread_attr_t attributes{};
    ASSERT_EQ(::pthread_attr_init(&attributes), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&attributes, stack), 0);
    pthread_t thread{};
    ASSERT_EQ(::pthread_create(&thread, &attributes, call, &work), 0);
    ::pthread_join(thread, nullptr);
    ::pthread_attr_destroy(&attributes);
}

/// Trees that are larger than any that a person makes.
class TreesOnDisk : public OnDiskTest {
protected:
    TreesOnDisk() : top(directory.makeDirectory("top")) {}
    /// The directory itself is then removed in little time.
    ~TreesOnDisk() override { static_cast<void>(onDisk.removeItem(top)); }

    /// Makes a chain of directories with the same name, with a file in the last one.
    void makeDeepTree(const std::string& file, const std::string& name = "d") const {
        int parent = ::open(top.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < levels; ++level) {
            ASSERT_EQ(::mkdirat(parent, name.c_str(), 0755), 0);
            const int child = ::openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            ::close(parent);
            parent = child;
        }
        if (!file.empty()) {
            const int made = ::openat(parent, file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            ASSERT_EQ(::write(made, "12345", 5), 5);
            ::close(made);
        }
        ::close(parent);
    }

    /// Returns the deepest directory of a chain of those with the long name.
    std::string pathOfTheLastDirectory() const {
        std::string path = top;
        for (int level = 0; level < levels; ++level) {
            path += "/" + longName;
        }
        return path;
    }

    /// Makes a directory of as many files of one byte each.
    void makeWideDirectory() const {
        const int parent = ::open(top.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        for (int entry = 0; entry < entries; ++entry) {
            const int made = ::openat(parent, (std::to_string(entry) + ".txt").c_str(),
                                      O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            ASSERT_GE(made, 0);
            ASSERT_EQ(::ftruncate(made, 1), 0);
            ::close(made);
        }
        ::close(parent);
    }

    const std::string top;
    const std::string longName = std::string(NAME_MAX, 'n');
};

} // namespace

TEST_F(TreesOnDisk, DepthCostsNeitherStackNorDescriptors) {
    makeDeepTree("a.txt");
    const ScopedLimit<RLIMIT_NOFILE> limit(32);
    runOnSmallStack([this] {
        EXPECT_EQ(QFFileManager::fileSize(top), 5U);
        EXPECT_FALSE(QFFileManager::isFolderEmpty(top));
        QFFileManager::unlockFolder(top);
        EXPECT_EQ(QFFileManager::trashFilesNamed("a", top), Lines{});
        const auto trashed = QFFileManager::trashFilesOfType("TXT", top);
        ASSERT_EQ(trashed.size(), 1U);
        EXPECT_EQ(trashed[0].size(), top.size() + 2UL * levels + std::string("/a.txt").size());
    });
    EXPECT_EQ(workspace.recycled.size(), 1U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TreesOnDisk, ADeepTreeOfDirectoriesAloneIsRemovedAsEmpty) {
    makeDeepTree("");
    const ScopedLimit<RLIMIT_NOFILE> limit(100);
    runOnSmallStack([this] { EXPECT_TRUE(QFFileManager::removeFolderIfEmpty(top)); });
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_FALSE(fs::exists(top));
}

TEST_F(TreesOnDisk, NoPathIsTooLongForWhatIsInADirectoryToCount) {
    makeDeepTree("a.txt", longName);
    EXPECT_FALSE(QFFileManager::removeFolderIfEmpty(top));
    EXPECT_EQ(QFFileManager::fileSize(top), 5U);
    const auto file = pathOfTheLastDirectory() + "/a.txt";
    EXPECT_EQ(QFFileManager::trashFilesNamed("a.txt", top), Lines{file});
    EXPECT_EQ(workspace.recycled.size(), 1U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TreesOnDisk, AFileThatNoPathOfTheSystemsReachesIsOneLikeAnyOther) {
    makeDeepTree("a.txt", longName);
    const auto file = pathOfTheLastDirectory() + "/a.txt";
    EXPECT_TRUE(QFFileManager::fileExistsAtPath(file));
    EXPECT_FALSE(QFFileManager::isDirectoryAtPath(file));
    EXPECT_FALSE(QFFileManager::isSymbolicLinkAtPath(file));
    EXPECT_EQ(QFFileManager::fileSize(file), 5U);
    EXPECT_TRUE(QFFileManager::setModificationDate(pauses.now(), file));
    EXPECT_EQ(QFFileManager::modificationDateForFile(file), pauses.now());
    QFFileManager::setPosixPermissions(0600, file);
    EXPECT_FALSE(QFFileManager::fileExistsAtPath(file + "/below"));
    EXPECT_FALSE(QFFileManager::fileExistsAtPath(pathOfTheLastDirectory() + "/missing"));
    EXPECT_TRUE(QFFileManager::moveFile(file, directory / "a.txt", qf::ShouldAuth::no));
    EXPECT_EQ(contentOf(directory / "a.txt"), "12345");
    EXPECT_EQ(fs::status(directory / "a.txt").permissions(), fs::perms(0600));
    EXPECT_TRUE(QFFileManager::copyFile(directory / "a.txt", file, qf::ShouldAuth::no));
    EXPECT_TRUE(QFFileManager::removeFile(file, qf::ShouldAuth::no));
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_TRUE(QFFileManager::removeFolderIfEmpty(top));
    EXPECT_FALSE(fs::exists(top));
}

TEST_F(TreesOnDisk, AWideDirectoryIsReadInOneGo) {
    makeWideDirectory();
    EXPECT_EQ(QFFileManager::fileSize(top), static_cast<std::uint64_t>(entries));
    EXPECT_FALSE(QFFileManager::isFolderEmpty(top));
    EXPECT_EQ(QFFileManager::filesMatchingWildcardPath("9999*.txt", top).size(), 11U);
    EXPECT_EQ(QFFileManager::trashFilesNamed("99999.txt", top), Lines{top + "/99999.txt"});
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", top).size(),
              static_cast<std::size_t>(entries));
    EXPECT_EQ(onDisk.looks["sizes"], 1);
    EXPECT_EQ(onDisk.looks["contents"], 4);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TreesOnDisk, AWideTreeOfEmptyDirectoriesIsEmpty) {
    const int parent = ::open(top.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    constexpr int directories = 1000;
    for (int entry = 0; entry < directories; ++entry) {
        ASSERT_EQ(::mkdirat(parent, std::to_string(entry).c_str(), 0755), 0);
    }
    ::close(parent);
    EXPECT_TRUE(QFFileManager::isFolderEmpty(top));
    EXPECT_EQ(onDisk.looks, (std::map<std::string, int>{{"contents", directories + 1}}));
}

// Links that lead back. If they were followed, the number of paths through two of them would double
// with every level, and no walk would end.

TEST_F(TreesOnDisk, LinksThatLeadUpwardsAreNotFollowed) {
    directory.write("top/a.txt", "123");
    directory.write("top/sub/b.txt", "45");
    fs::create_symlink(".", top + "/here.txt");
    fs::create_symlink("..", top + "/sub/up");
    fs::create_symlink(top, top + "/sub/top.txt");
    fs::create_symlink("../sub", top + "/sub/self");
    EXPECT_EQ(QFFileManager::fileSize(top), 5U);
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", top).size(), 2U);
    EXPECT_EQ(QFFileManager::trashFilesNamed("top.txt", top), Lines{});
    QFFileManager::unlockFolder(top);
    EXPECT_FALSE(QFFileManager::isFolderEmpty(top));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(TreesOnDisk, DirectoriesThatLeadToOneAnotherAreWalkedOnceEachWay) {
    directory.write("top/x/a.txt", "1");
    directory.write("top/y/b.txt", "22");
    for (const auto* name : {"1", "2", "3"}) {
        fs::create_symlink("../y", top + "/x/to y " + name);
        fs::create_symlink("../x", top + "/y/to x " + name);
    }
    // Each directory, and three times the other one below it.
    EXPECT_EQ(QFFileManager::fileSize(top), (1U + 3 * 2U) + (2U + 3 * 1U));
    EXPECT_EQ(QFFileManager::fileSize(top + "/x/to y 1"), 2U + 3 * 1U);
}

TEST_F(TreesOnDisk, ADirectoryWithALinkBackIsNotEmpty) {
    fs::create_symlink(".", top + "/here");
    EXPECT_FALSE(QFFileManager::removeFolderIfEmpty(top));
    EXPECT_TRUE(fs::is_symlink(top + "/here"));
}

TEST_F(TreesOnDisk, TheWalkMayBeginAtALink) {
    directory.write("top/a.txt", "123");
    fs::create_symlink(top, directory / "link");
    fs::create_symlink(directory / "link", top + "/back");
    EXPECT_EQ(QFFileManager::fileSize(directory / "link"), 3U);
    EXPECT_EQ(QFFileManager::trashFilesOfType("txt", directory / "link/"),
              Lines{directory / "link/a.txt"});
}

// Others at work at the same time.

TEST_F(TreesOnDisk, ItemsThatVanishDuringAWalkAreNoFailure) {
    for (int name = 0; name < 200; ++name) {
        directory.write("top/" + std::to_string(name) + "/file.txt", "1");
    }
    std::thread other([this] {
        for (int name = 0; name < 200; ++name) {
            fs::remove_all(top + "/" + std::to_string(name));
        }
    });
    EXPECT_LE(QFFileManager::fileSize(top), 200U);
    QFFileManager::isFolderEmpty(top);
    QFFileManager::filesMatchingWildcardPath("*/*.txt", top);
    QFFileManager::unlockFolder(top);
    other.join();
    EXPECT_TRUE(QFFileManager::isFolderEmpty(top));
    EXPECT_EQ(QFFileManager::fileSize(top), 0U);
}

TEST_F(TreesOnDisk, TwoCallersRemoveTheSameItems) {
    for (int name = 0; name < 100; ++name) {
        directory.write("top/" + std::to_string(name) + "/file");
    }
    const auto removeAll = [this] {
        for (int name = 0; name < 100; ++name) {
            QFFileManager::removeFile(top + "/" + std::to_string(name), qf::ShouldAuth::no);
        }
    };
    std::thread first(removeAll);
    std::thread second(removeAll);
    first.join();
    second.join();
    EXPECT_TRUE(fs::is_empty(top));
}

TEST_F(TreesOnDisk, TwoCallersMoveToTheSamePlaceAndOneWins) {
    for (int round = 0; round < 50; ++round) {
        const auto name = std::to_string(round);
        const std::string sources[] = {directory.write("top/a" + name, "a"),
                                       directory.write("top/b" + name, "b")};
        const auto destination = top + "/to" + name;
        bool moved[] = {false, false};
        std::thread other([&] {
            moved[1] = QFFileManager::moveFile(sources[1], destination, qf::ShouldAuth::no);
        });
        moved[0] = QFFileManager::moveFile(sources[0], destination, qf::ShouldAuth::no);
        other.join();
        EXPECT_NE(moved[0], moved[1]);
        EXPECT_EQ(contentOf(destination), moved[0] ? "a" : "b");
        EXPECT_EQ(contentOf(sources[moved[0] ? 1 : 0]), moved[0] ? "b" : "a");
    }
}

TEST_F(TreesOnDisk, TwoCallersMakeTheSameDirectories) {
    const auto path = top + "/a/b/c/d";
    bool made = false;
    std::thread other([&] { made = QFFileManager::createDirectory(path, qf::ShouldAuth::no); });
    EXPECT_TRUE(QFFileManager::createDirectory(path, qf::ShouldAuth::no));
    other.join();
    EXPECT_TRUE(made);
}
