#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/desktop/TrashPairs.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <future>
#include <iterator>

namespace fs = std::filesystem;

namespace {

/// A home directory of its own, and a child process that trashes from it.
class Trash : public testing::Test {
protected:
    /// Makes a file in a directory whose path is longer than a system call takes, and returns
    /// the directory's.
    std::string writeFarBelow(const std::string& name) const {
        constexpr int levels = 20;
        std::string path = items;
        int directory = ::open(items.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < levels; ++level) {
            const std::string below(NAME_MAX, 'n');
            ::mkdirat(directory, below.c_str(), 0755);
            const int next = ::openat(directory, below.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            ::close(directory);
            directory = next;
            path += "/" + below;
        }
        ::close(::openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        ::close(directory);
        return path;
    }

    Outcome recycle(const std::string& name, const std::vector<std::string>& prefix = {}) {
        return runChild({"recycle", items, trash, name}, environment, prefix);
    }

    /// Announces and trashes the items of these names; a shell command runs in between, in the
    /// home trash.
    Outcome recycleAnnounced(const std::vector<std::string>& names,
                             const std::string& meanwhile = ":") {
        auto withCommand = environment;
        withCommand.push_back("QF_MEANWHILE=cd " + (home / ".local/share/Trash") +
                              " 2>/dev/null; " + meanwhile);
        std::vector<std::string> arguments{"recycle-announced", items, trash};
        arguments.insert(arguments.end(), names.begin(), names.end());
        return runChild(arguments, withCommand);
    }

    /// Runs the desktop's tool in a session of its own, which has the service for the Trash.
    Outcome gioTrash(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"dbus-run-session", "--", "gio", "trash"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command, environment);
    }

    std::string placeInTrash(const std::string& directory, const std::string& name) {
        return runChild({"place-in-trash", directory, trash, name}, environment).output;
    }

    std::string files(const std::string& name) const {
        return home / (".local/share/Trash/files/" + name);
    }
    std::string trashinfo(const std::string& name) const {
        return home / (".local/share/Trash/info/" + name + ".trashinfo");
    }

    TemporaryDirectory home;
    std::string items = home.makeDirectory("items");
    std::string trash = home / ".Trash";
    std::vector<std::string> environment{"HOME=" + home.path()};
};

const std::string noPermission =
    "couldn’t be moved to the Trash because you don’t have permission.";

TEST_F(Trash, BecomesALinkToTheDesktopsTrash) {
    home.write("items/a.txt", "content");

    EXPECT_EQ(recycle("a.txt").output, "ok\n");

    EXPECT_EQ(fs::read_symlink(trash).lexically_normal(), home / ".local/share/Trash/files");
    EXPECT_EQ(contentOf(trash + "/a.txt"), "content");
    EXPECT_FALSE(exists(items + "/a.txt"));
    EXPECT_NE(contentOf(trashinfo("a.txt")).find("Path=" + items + "/a.txt\n"), std::string::npos);
    EXPECT_EQ(fs::status(home / ".local/share/Trash").permissions(), fs::perms::owner_all);
}

TEST_F(Trash, IsMadeForItemsThatSomebodyElseMoves) {
    for (int round = 0; round < 2; ++round) { // the second finds it, the third its remains
        EXPECT_EQ(runChild({"make-trash", trash}, environment).status, 0);
    }
    EXPECT_EQ(fs::read_symlink(trash).lexically_normal(), home / ".local/share/Trash/files");
    fs::remove_all(home / ".local/share/Trash");
    EXPECT_EQ(runChild({"make-trash", trash}, environment).status, 0);
    for (const auto* directory : {"", "/files", "/info"}) {
        EXPECT_EQ(fs::status((home / ".local/share/Trash") + directory).permissions(),
                  fs::perms::owner_all);
    }
}

TEST_F(Trash, MakesNothingInPlaceOfWhatExistsThere) {
    home.write(".Trash/a.txt");
    EXPECT_EQ(runChild({"make-trash", trash}, environment).status, 0);
    EXPECT_TRUE(exists(trash + "/a.txt"));
    EXPECT_FALSE(exists(home / ".local"));
}

TEST_F(Trash, FollowsTheDataDirectory) {
    const TemporaryDirectory data;
    home.write("items/a.txt");
    environment.push_back("XDG_DATA_HOME=" + data.path());

    EXPECT_EQ(recycle("a.txt").output, "ok\n");

    EXPECT_TRUE(exists(data / "Trash/files/a.txt"));
    EXPECT_TRUE(exists(trash + "/a.txt"));
}

TEST_F(Trash, IsSeenByTheDesktopsOwnTool) {
    home.write("items/Dunmarl.app/Contents/Info.plist");
    ASSERT_EQ(recycle("Dunmarl.app").output, "ok\n");

    const auto listed = gioTrash({"--list"});
    if (listed.status != 0) {
        GTEST_SKIP() << "this machine has no trash:/// for gio: " << listed.output;
    }
    // The daemons say more when the session ends.
    const auto line = "\ntrash:///Dunmarl.app\t" + items + "/Dunmarl.app\n";
    EXPECT_NE(('\n' + listed.output).find(line), std::string::npos) << listed.output;
    const auto restored = gioTrash({"--restore", "trash:///Dunmarl.app"});
    EXPECT_TRUE(exists(items + "/Dunmarl.app/Contents/Info.plist")) << restored.output;
}

TEST_F(Trash, IsListedRestoredAndEmptiedByOtherTools) {
    if (run({"trash-list", "--version"}, environment).status != 0) {
        GTEST_SKIP() << "trash-cli is not installed";
    }
    const std::string longName(240, 'x');
    const std::vector<std::string> names{"a b.txt", "100%\xC3\xA9", longName};
    for (const auto& name : names) {
        home.write("items/" + name, name);
        ASSERT_EQ(recycle(name).output, "ok\n");
    }

    const auto listed = run({"trash-list"}, environment).output;
    for (const auto& name : names) {
        EXPECT_NE(listed.find(items + "/" + name + "\n"), std::string::npos) << listed;
    }
    run({"sh", "-c", "echo 0 | trash-restore \"$0\"", items + "/a b.txt"}, environment);
    EXPECT_EQ(contentOf(items + "/a b.txt"), "a b.txt");
    EXPECT_FALSE(exists(trashinfo("a b.txt")));

    run({"trash-empty"}, environment);
    EXPECT_EQ(namesIn(home / ".local/share/Trash/files"), std::vector<std::string>());
    EXPECT_EQ(namesIn(home / ".local/share/Trash/info"), std::vector<std::string>());
}

/// A directory, relative to the home.
struct DirectoryOfTheHome : NamedCase {
    const char* directory;
};

class TrashedAlready : public Trash, public testing::WithParamInterface<DirectoryOfTheHome> {};

TEST_P(TrashedAlready, IsKept) {
    home.write("items/a.txt", "content");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    const auto before = contentOf(trashinfo("a.txt"));

    EXPECT_EQ(
        runChild({"recycle", home / GetParam().directory, trash, "a.txt"}, environment).output,
        "ok\n");

    EXPECT_EQ(contentOf(files("a.txt")), "content");
    EXPECT_EQ(contentOf(trashinfo("a.txt")), before);
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(, TrashedAlready,
                         testing::Values(DirectoryOfTheHome{{"ThroughTheLink"}, ".Trash"},
                                         DirectoryOfTheHome{{"WhereTheLinkLeads"},
                                                            ".local/share/Trash/files"}),
                         nameOfCase);

TEST_F(Trash, TellsTheNameThatAnItemGot) {
    for (const auto* name : {"a.txt", "a.2.txt"}) {
        home.write("items/a.txt");
        EXPECT_EQ(placeInTrash(items, "a.txt"), files(name) + "\n");
    }
}

TEST_F(Trash, TellsWhereAnItemIsThatIsInItAlready) {
    home.write("items/a.txt");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");

    EXPECT_EQ(placeInTrash(trash, "a.txt"), files("a.txt") + "\n");
}

TEST_F(Trash, TellsTheNameThatAnItemGotInARealDirectory) {
    home.makeDirectory(".Trash");
    for (const auto* name : {"/a.txt", "/a 2.txt"}) {
        home.write("items/a.txt");
        EXPECT_EQ(placeInTrash(items, "a.txt"), trash + name + "\n");
    }
    EXPECT_EQ(placeInTrash(trash, "a.txt"), trash + "/a.txt\n");
}

TEST_F(Trash, HasTheTrashinfosOfAnnouncedItemsBeforeTheFirstComes) {
    home.write("items/a.txt");
    home.write("items/b.txt");

    const auto outcome = recycleAnnounced({"a.txt", "b.txt"}, "ls files info");

    EXPECT_EQ(outcome.output, "files:\n\ninfo:\na.txt.trashinfo\nb.txt.trashinfo\nok\n");
    EXPECT_TRUE(exists(files("a.txt")));
    EXPECT_TRUE(exists(files("b.txt")));
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, NumbersAnAnnouncedNamesake) {
    home.write("items/a.txt", "first");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    home.write("items/a.txt", "second");

    ASSERT_EQ(recycleAnnounced({"a.txt"}).output, "ok\n");

    EXPECT_EQ(contentOf(files("a.txt")), "first");
    EXPECT_EQ(contentOf(files("a.2.txt")), "second");
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, ReplacesNothingThatCameAfterTheAnnouncement) {
    home.write("items/a.txt", "mine");

    ASSERT_EQ(recycleAnnounced({"a.txt"}, "echo theirs >files/a.txt").output, "ok\n");

    EXPECT_EQ(contentOf(files("a.txt")), "theirs\n");
    EXPECT_EQ(contentOf(files("a.2.txt")), "mine");
    EXPECT_FALSE(exists(trashinfo("a.txt")));
    EXPECT_NE(contentOf(trashinfo("a.2.txt")).find("Path=" + items + "/a.txt\n"),
              std::string::npos);
}

/// A shell command that deletes a trashinfo from inside the home trash.
struct TrashinfoDeletion : NamedCase {
    const char* command;
};

class TrashinfoDeletedAfterTheAnnouncement : public Trash,
                                             public testing::WithParamInterface<TrashinfoDeletion> {
};

TEST_P(TrashinfoDeletedAfterTheAnnouncement, IsWrittenAgain) {
    home.write("items/a.txt");

    ASSERT_EQ(recycleAnnounced({"a.txt"}, GetParam().command).output, "ok\n");

    EXPECT_TRUE(exists(files("a.txt")));
    EXPECT_TRUE(exists(trashinfo("a.txt")));
}

INSTANTIATE_TEST_SUITE_P(, TrashinfoDeletedAfterTheAnnouncement,
                         testing::Values(TrashinfoDeletion{{"Alone"}, "rm info/a.txt.trashinfo"},
                                         TrashinfoDeletion{{"WithItsDirectory"}, "rm -r info"},
                                         TrashinfoDeletion{{"WithTheTrash"}, "rm -r ../Trash"}),
                         nameOfCase);

TEST_F(Trash, KeepsNoTrashinfoOfAnAnnouncedItemThatDidNotCome) {
    home.write("items/a.txt");
    home.write("items/b.txt");

    const auto outcome = recycleAnnounced({"a.txt", "b.txt"}, "rm " + items + "/a.txt");

    EXPECT_EQ(outcome.output,
              "2 “a.txt” couldn’t be moved to the Trash because it doesn’t exist.\n");
    EXPECT_TRUE(fs::is_empty(home / ".local/share/Trash/info"));
}

TEST_F(Trash, PreparesNothingForWhatIsMissingOrInItAlready) {
    home.write("items/a.txt");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    items = trash;

    EXPECT_EQ(recycleAnnounced({"a.txt", "missing"}, "ls info").output,
              "a.txt.trashinfo\n2 “missing” couldn’t be moved to the Trash because it doesn’t "
              "exist.\n");

    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, TakesMoreAnnouncedItemsThanItPreparesAtATime) {
    std::vector<std::string> names;
    for (int i = 0; i < 300; ++i) {
        names.push_back("item" + std::to_string(i));
        home.write("items/" + names.back());
    }

    EXPECT_EQ(recycleAnnounced(names, "ls info | wc -l").output, "128\nok\n");

    EXPECT_EQ(namesIn(home / ".local/share/Trash/files").size(), names.size());
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, PreparesNothingInARealDirectory) {
    home.write("items/a.txt");
    home.makeDirectory(".Trash");

    EXPECT_EQ(recycleAnnounced({"a.txt"}).output, "ok\n");

    EXPECT_TRUE(exists(trash + "/a.txt"));
    EXPECT_FALSE(exists(home / ".local"));
}

class TrashDeletedBetweenTwoItems : public Trash,
                                    public testing::WithParamInterface<DirectoryOfTheHome> {};

TEST_P(TrashDeletedBetweenTwoItems, IsMadeAgain) {
    home.write("items/a");
    home.write("items/c");

    EXPECT_EQ(
        runChild({"recycle-around", items, trash, home / GetParam().directory}, environment).output,
        "ok\n");

    EXPECT_TRUE(exists(files("c")));
    EXPECT_TRUE(exists(trashinfo("c")));
}

INSTANTIATE_TEST_SUITE_P(, TrashDeletedBetweenTwoItems,
                         testing::Values(DirectoryOfTheHome{{"Whole"}, ".local/share/Trash"},
                                         DirectoryOfTheHome{{"Files"}, ".local/share/Trash/files"},
                                         DirectoryOfTheHome{{"Trashinfos"},
                                                            ".local/share/Trash/info"}),
                         nameOfCase);

TEST_F(Trash, TakesAPartOfAFolderThatIsInIt) {
    home.write("items/folder/a.txt", "content");
    ASSERT_EQ(recycle("folder").output, "ok\n");

    EXPECT_EQ(runChild({"recycle", trash + "/folder", trash, "a.txt"}, environment).output, "ok\n");

    EXPECT_EQ(contentOf(files("a.txt")), "content");
}

TEST_F(Trash, IsStillUsableOnceTheDataDirectoryDiffers) {
    home.write("items/a.txt");
    home.write("items/b.txt");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    environment.push_back("XDG_DATA_HOME=" + (home / "data"));

    EXPECT_EQ(recycle("b.txt").output, "ok\n");

    EXPECT_TRUE(exists(trash + "/b.txt"));
    EXPECT_TRUE(exists(home / "data/Trash/info/b.txt.trashinfo"));
    EXPECT_TRUE(exists(files("a.txt")));
}

/// A Trash that is the link to the desktop's, or a real directory.
struct KindOfTrash : NamedCase {
    bool isLink;
};

class TrashOfEitherKind : public Trash, public testing::WithParamInterface<KindOfTrash> {
protected:
    void SetUp() override {
        if (const auto reason = whyNoMounts(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        if (!GetParam().isLink) {
            fs::create_directory(trash);
        }
    }

    std::string volume = home.makeDirectory("items/folder/inner/volume");
};

TEST_P(TrashOfEitherKind, TakesNoFolderWithAVolumeMountedInside) {
    EXPECT_EQ(
        recycle("folder", withMountOn(volume, "size=64k")).output,
        "16 “folder” couldn’t be moved to the Trash because a volume is mounted inside it.\n");

    EXPECT_TRUE(exists(volume));
}

INSTANTIATE_TEST_SUITE_P(, TrashOfEitherKind,
                         testing::Values(KindOfTrash{{"Link"}, true},
                                         KindOfTrash{{"RealDirectory"}, false}),
                         nameOfCase);

TEST_P(TrashOfEitherKind, LetsNoOtherMeansMoveAFolderWithAVolumeMountedInside) {
    EXPECT_EQ(
        runChild({"move-trashed", items + "/folder", trash + "/folder"}, environment,
                 withMountOn(volume, "size=64k"))
            .output,
        "16 “folder” couldn’t be moved to the Trash because a volume is mounted inside it.\n");

    EXPECT_TRUE(exists(volume));
}

TEST_F(Trash, TakesNoFolderWithAVolumeMountedWhereNoPathReaches) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto directory = writeFarBelow("a.txt");

    EXPECT_EQ(
        runChild({"recycle-far-mount", directory, trash}, environment).output,
        "16 “folder” couldn’t be moved to the Trash because a volume is mounted inside it.\n");
}

TEST_F(Trash, TakesNoFolderWhileItCannotReadWhatIsMounted) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto volume = home.makeDirectory("items/folder/inner/volume");
    const std::string unknown = "it can’t be determined whether a volume is mounted inside it";
    int unknownTimes = 0;
    // Descriptors run out at each step in turn; the fewest do not let the program start.
    for (int most = 4; most < 16; ++most) {
        auto command = withMountOn(volume, "size=64k");
        command.push_back("prlimit");
        command.push_back("--nofile=" + std::to_string(most));
        const auto outcome = recycle("folder", command);
        EXPECT_NE(outcome.status, 0) << most << " descriptors: " << outcome.output;
        EXPECT_TRUE(exists(volume)) << most << " descriptors";
        unknownTimes += outcome.output.find(unknown) != std::string::npos ? 1 : 0;
    }
    EXPECT_GE(unknownTimes, 1);
}

TEST_F(Trash, ThatIsARealDirectoryTakesNoMountedVolume) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto volume = home.makeDirectory("items/folder/inner/volume");
    fs::create_directory(trash);

    EXPECT_EQ(runChild({"recycle", items + "/folder/inner", trash, "volume"}, environment,
                       withMountOn(volume, "size=64k"))
                  .status,
              1);
}

TEST_F(Trash, TakesManyItemsOfOneName) {
    constexpr int count = 500;

    EXPECT_EQ(
        runChild({"recycle-namesakes", items, trash, std::to_string(count)}, environment).output,
        "ok\n");

    for (const auto* name : {"namesake", "namesake.2", "namesake.500"}) {
        EXPECT_TRUE(exists(files(name))) << name;
        EXPECT_TRUE(exists(trashinfo(name))) << name;
    }
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, IsNotOpenedAgainForEachItem) {
    constexpr int count = 50;
    // Its directories are made if they are missing, whenever it is opened.
    auto faulty = withFaults("mkdirat:" + std::to_string(count) + ":kill");
    faulty.insert(faulty.end(), environment.begin(), environment.end());

    EXPECT_EQ(runChild({"recycle-namesakes", items, trash, std::to_string(count)}, faulty).output,
              "ok\n");
}

TEST_F(Trash, ThatIsARealDirectoryTakesTheItemsOfManyProcessesAtOnce) {
    home.makeDirectory(".Trash");
    constexpr int processes = 16;
    constexpr int count = 25;
    std::vector<std::future<Outcome>> running;
    for (int i = 0; i < processes; ++i) {
        const auto own = home.makeDirectory("items" + std::to_string(i));
        running.push_back(std::async(std::launch::async, [this, own] {
            return runChild({"recycle-namesakes", own, trash, std::to_string(count)}, environment);
        }));
    }
    for (auto& child : running) {
        EXPECT_EQ(child.get().output, "ok\n");
    }

    using Directory = fs::directory_iterator;
    EXPECT_EQ(std::distance(Directory(trash), Directory()), processes * count);
}

TEST_F(Trash, RecordsWhatTheAdministratorsToolMoves) {
    const auto item = home.write("items/a.txt", "content");
    ASSERT_EQ(runChild({"make-trash", trash}, environment).status, 0);

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/a_20231231235959.txt"}, environment).status,
              0);

    EXPECT_EQ(contentOf(files("a_20231231235959.txt")), "content");
    EXPECT_NE(
        contentOf(trashinfo("a_20231231235959.txt")).find("Path=" + item + "\nDeletionDate=2"),
        std::string::npos);
}

TEST_F(Trash, RecordsNothingThatTheAdministratorsToolDidNotMove) {
    const auto item = home.write("items/a.txt", "content");
    ASSERT_EQ(runChild({"make-trash", trash}, environment).status, 0);

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/a.txt", "not"}, environment).status, 0);

    EXPECT_TRUE(exists(item));
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, LosesNoBrokenLinkToTheAdministratorsTool) {
    const auto item = home.write("items/a.txt", "content");
    ASSERT_EQ(::symlink("missing", (items + "/link").c_str()), 0);
    fs::rename(items + "/link", items + "/b.txt");
    ASSERT_EQ(recycle("b.txt").output, "ok\n");

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/b.txt"}, environment).status, 0);

    EXPECT_EQ(contentOf(files("b.txt")), "content");
    EXPECT_EQ(fs::read_symlink(files("b.2.txt")), "missing");
    EXPECT_NE(contentOf(trashinfo("b.txt")).find("Path=" + item + "\n"), std::string::npos);
    EXPECT_NE(contentOf(trashinfo("b.2.txt")).find("Path=" + items + "/b.txt\n"),
              std::string::npos);
}

TEST_F(Trash, RecordsNoNameForAnItemThatCannotGetItWhenTheAdministratorsToolComes) {
    home.write("items/a.txt", "former");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    const auto item = home.write("items/a.txt", "content");
    // The first is that of the trashinfo.
    auto faulty = withFaults("renameat2:2:" + std::to_string(EIO));
    faulty.insert(faulty.end(), environment.begin(), environment.end());

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/a.txt"}, faulty).output, "faults: 1\n");

    EXPECT_EQ(contentOf(files("a.txt")), "content");
    EXPECT_FALSE(exists(trashinfo("a.2.txt")));
}

TEST_F(Trash, RecordsWhatTheAdministratorsToolMovesUnderTheNameOfAnAnnouncedItem) {
    home.write("items/namesake", "own");
    home.makeDirectory("others");
    const auto other = home.write("others/namesake", "other");

    EXPECT_EQ(runChild({"move-trashed-beside-namesake", items, trash, other, trash + "/namesake"},
                       environment)
                  .output,
              "ok\n");

    EXPECT_EQ(contentOf(files("namesake")), "other");
    EXPECT_NE(contentOf(trashinfo("namesake")).find("Path=" + other + "\n"), std::string::npos);
    EXPECT_EQ(contentOf(files("namesake.2")), "own");
    EXPECT_NE(contentOf(trashinfo("namesake.2")).find("Path=" + items + "/namesake\n"),
              std::string::npos);
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

TEST_F(Trash, ThatIsARealDirectoryLetsTheAdministratorsToolMoveWithoutRecord) {
    home.makeDirectory(".Trash");
    const auto item = home.write("items/a.txt", "content");

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/a.txt"}, environment).status, 0);

    EXPECT_EQ(contentOf(trash + "/a.txt"), "content");
    EXPECT_FALSE(exists(home / ".local"));
}

TEST_F(Trash, ThatIsARealDirectoryLosesNoBrokenLinkToTheAdministratorsTool) {
    home.makeDirectory(".Trash");
    const auto item = home.write("items/a.txt", "content");
    ASSERT_EQ(::symlink("missing", (trash + "/a.txt").c_str()), 0);

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/a.txt"}, environment).status, 0);

    EXPECT_EQ(contentOf(trash + "/a.txt"), "content");
    EXPECT_EQ(fs::read_symlink(trash + "/a 2.txt"), "missing");
}

TEST_F(Trash, OfAnotherUserLosesNoBrokenLinkToTheAdministratorsTool) {
    const TemporaryDirectory theirs;
    const auto item = home.write("items/a.txt", "content");
    const auto link = theirs.makeDirectory(".Trash") + "/a.txt";
    ASSERT_EQ(::symlink("missing", link.c_str()), 0);

    EXPECT_EQ(runChild({"move-trashed", item, link}, environment).status, 0);

    EXPECT_EQ(contentOf(link), "content");
    EXPECT_EQ(fs::read_symlink(theirs / ".Trash/a 2.txt"), "missing");
}

TEST_F(Trash, ThatIsMissingLeavesTheFailureToTheAdministratorsTool) {
    const auto item = home.write("items/a.txt", "content");

    EXPECT_EQ(runChild({"move-trashed", item, home / "missing/a.txt"}, environment).status, ENOENT);

    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(Trash, OfAnotherUserGetsNoTrashinfoOfTheSuperusers) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give a Trash to another user";
    }
    const auto item = home.write("items/a.txt", "content");
    ASSERT_EQ(runChild({"make-trash", trash}, environment).status, 0);
    ASSERT_EQ(::chown((home / ".local/share/Trash").c_str(), 65534, 65534), 0);

    EXPECT_EQ(runChild({"move-trashed", item, trash + "/a.txt"}, environment).status, 0);

    EXPECT_EQ(contentOf(files("a.txt")), "content");
    EXPECT_FALSE(exists(trashinfo("a.txt")));
}

TEST_F(Trash, GivesNamesakesNamesOfTheirOwn) {
    for (const auto* content : {"first", "second", "third"}) {
        home.write("items/a.txt", content);
        ASSERT_EQ(recycle("a.txt").output, "ok\n");
    }

    EXPECT_EQ(contentOf(files("a.txt")), "first");
    EXPECT_EQ(contentOf(files("a.2.txt")), "second");
    EXPECT_EQ(contentOf(files("a.3.txt")), "third");
}

TEST_F(Trash, LosesNoItemThatSomebodyElsePutThere) {
    home.write("items/a.txt", "mine");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    home.write(".local/share/Trash/files/a.2.txt", "without a trashinfo");
    home.write(".local/share/Trash/files/b.txt", "without a trashinfo, too");

    home.write("items/a.txt", "mine as well");
    home.write("items/b.txt", "mine again");
    ASSERT_EQ(recycle("a.txt").output, "ok\n");
    ASSERT_EQ(recycle("b.txt").output, "ok\n");

    EXPECT_EQ(contentOf(files("a.txt")), "mine");
    EXPECT_EQ(contentOf(files("a.2.txt")), "without a trashinfo");
    EXPECT_EQ(contentOf(files("a.3.txt")), "mine as well");
    EXPECT_EQ(contentOf(files("b.txt")), "without a trashinfo, too");
    EXPECT_EQ(contentOf(files("b.2.txt")), "mine again");
}

TEST_F(Trash, TakesALinkItself) {
    const auto target = home.write("target/file", "kept");
    ASSERT_EQ(::symlink((home / "target").c_str(), (items + "/link").c_str()), 0);
    ASSERT_EQ(::symlink("missing", (items + "/broken").c_str()), 0);

    EXPECT_EQ(recycle("link").output, "ok\n");
    EXPECT_EQ(recycle("broken").output, "ok\n");

    EXPECT_EQ(contentOf(target), "kept");
    EXPECT_EQ(fs::read_symlink(files("link")), home / "target");
    EXPECT_EQ(fs::read_symlink(files("broken")), "missing");
}

TEST_F(Trash, TakesNamesThatAreNoText) {
    home.write("items/no\xFFtext%\n", "content");

    EXPECT_EQ(recycle("no\xFFtext%\n").output, "ok\n");

    EXPECT_EQ(contentOf(files("no\xFFtext%\n")), "content");
    EXPECT_NE(contentOf(trashinfo("no\xFFtext%\n")).find("/no%FFtext%25%0A\n"), std::string::npos);
}

TEST_F(Trash, TakesTheLongestNames) {
    const std::string name = std::string(251, 'x') + ".txt";
    const std::string cut = std::string(239, 'x') + ".2.txt";
    for (const auto* content : {"first", "second"}) {
        home.write("items/" + name, content);
        EXPECT_EQ(recycle(name).output, "ok\n");
    }

    EXPECT_EQ(contentOf(files(std::string(241, 'x') + ".txt")), "first");
    EXPECT_EQ(contentOf(files(cut)), "second");
    EXPECT_NE(contentOf(trashinfo(cut)).find("Path=" + items + '/' + name + "\nDeletionDate=2"),
              std::string::npos);
    EXPECT_FALSE(exists(items + '/' + name));
}

TEST_F(Trash, WritesTheNoteOfANameThatLeavesLittleRoomForIt) {
    const std::string name(240, 'x');
    home.write("items/" + name, "content");

    EXPECT_EQ(recycle(name).output, "ok\n");

    EXPECT_EQ(contentOf(files(name)), "content");
    EXPECT_NE(contentOf(trashinfo(name)).find("Path=" + items + '/' + name + "\nDeletionDate=2"),
              std::string::npos);
}

TEST_F(Trash, TakesLongNamesThatAreNoText) {
    const std::string name(255, '\xFF');
    home.write("items/" + name, "content");
    home.write("items/" + std::string(130, 'x') + '.' + std::string(124, 'y'), "long extension");

    EXPECT_EQ(recycle(name).output, "ok\n");
    EXPECT_EQ(recycle(std::string(130, 'x') + '.' + std::string(124, 'y')).output, "ok\n");

    EXPECT_EQ(contentOf(files(std::string(245, '\xFF'))), "content");
    EXPECT_NE(contentOf(trashinfo(std::string(245, '\xFF'))).find("/%FF%FF"), std::string::npos);
    EXPECT_EQ(contentOf(files(std::string(120, 'x') + '.' + std::string(124, 'y'))),
              "long extension");
}

TEST_F(Trash, TakesWhatNoSystemCallReachesByItsPath) {
    const auto directory = writeFarBelow("a.txt");

    EXPECT_EQ(runChild({"recycle", directory, trash, "a.txt"}, environment).output, "ok\n");
    EXPECT_NE(runChild({"recycle", directory, trash, "a.txt"}, environment).output, "ok\n");

    EXPECT_TRUE(exists(files("a.txt")));
    EXPECT_NE(contentOf(trashinfo("a.txt")).find("Path=" + directory + "/a.txt\n"),
              std::string::npos);
}

TEST_F(Trash, ThatIsARealDirectoryTakesWhatNoSystemCallReachesByItsPath) {
    home.makeDirectory(".Trash");
    const auto directory = writeFarBelow("a.txt");

    EXPECT_EQ(runChild({"recycle", directory, trash, "a.txt"}, environment).output, "ok\n");

    EXPECT_TRUE(exists(trash + "/a.txt"));
}

TEST_F(Trash, IsMadeAgainWhereItsLinkLeadsToNothing) {
    home.write("items/a.txt");
    ASSERT_EQ(::symlink((home / ".local/share/Trash/files").c_str(), trash.c_str()), 0);

    EXPECT_EQ(recycle("a.txt").output, "ok\n");

    EXPECT_TRUE(exists(files("a.txt")));
}

TEST_F(Trash, ThatIsARealDirectoryIsUsedAsItIs) {
    home.makeDirectory(".Trash");
    for (const auto* content : {"first", "second"}) {
        home.write("items/a.txt", content);
        ASSERT_EQ(recycle("a.txt").output, "ok\n");
    }

    EXPECT_EQ(contentOf(trash + "/a.txt"), "first");
    EXPECT_EQ(contentOf(trash + "/a 2.txt"), "second");
    EXPECT_FALSE(exists(home / ".local"));
}

TEST_F(Trash, ThatIsARealDirectoryTakesTheLongestNames) {
    const std::string name = std::string(251, 'x') + ".txt";
    home.makeDirectory(".Trash");
    home.write(".Trash/" + name, "first");
    home.write("items/" + name, "second");

    EXPECT_EQ(recycle(name).output, "ok\n");

    EXPECT_EQ(contentOf(trash + "/" + name), "first");
    EXPECT_EQ(contentOf(trash + "/" + std::string(249, 'x') + " 2.txt"), "second");
}

TEST_F(Trash, ThatIsAFileTakesNothing) {
    home.write(".Trash", "not a folder");
    home.write("items/a.txt", "whole");

    EXPECT_EQ(recycle("a.txt").output,
              "20 “a.txt” couldn’t be moved to the Trash because the Trash is a file.\n");

    EXPECT_EQ(contentOf(items + "/a.txt"), "whole");
    EXPECT_EQ(contentOf(trash), "not a folder");
}

TEST_F(Trash, ThatLeadsElsewhereTakesNothing) {
    ASSERT_EQ(::symlink(home.makeDirectory("elsewhere").c_str(), trash.c_str()), 0);
    home.write("items/a.txt", "whole");

    const auto outcome = recycle("a.txt");

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("because the Trash is a link that leads elsewhere."),
              std::string::npos);
    EXPECT_EQ(contentOf(items + "/a.txt"), "whole");
    EXPECT_TRUE(fs::is_empty(home / "elsewhere"));
}

TEST_F(Trash, TakesNothingThatIsNotThere) {
    EXPECT_EQ(recycle("missing").output,
              "2 “missing” couldn’t be moved to the Trash because it doesn’t exist.\n");
    EXPECT_FALSE(exists(trash));
}

struct NoEntry : NamedCase {
    const char* path;
};

class TrashOfNoEntry : public Trash, public testing::WithParamInterface<NoEntry> {};

TEST_P(TrashOfNoEntry, TakesNothing) {
    home.write("items/sub/a.txt");

    EXPECT_EQ(recycle(GetParam().path).status, 1);

    EXPECT_TRUE(exists(items + "/sub/a.txt"));
}

INSTANTIATE_TEST_SUITE_P(, TrashOfNoEntry,
                         testing::Values(NoEntry{{"Empty"}, ""}, NoEntry{{"DirectoryItself"}, "."},
                                         NoEntry{{"Parent"}, ".."},
                                         NoEntry{{"FurtherBelow"}, "sub/a.txt"}),
                         nameOfCase);

TEST_F(Trash, TakesNotItself) {
    home.makeDirectory(".Trash");

    const auto outcome = runChild({"recycle", home.path(), trash, ".Trash"}, environment);

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("because it is the Trash itself."), std::string::npos);
}

TEST_F(Trash, LeavesWholeWhatTheUserMayNotMove) {
    home.write("items/a\xFF.txt", "whole");
    ASSERT_EQ(::chmod(home.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(items.c_str(), 0555), 0);

    const auto outcome = recycle("a\xFF.txt", asOrdinaryUser());

    EXPECT_EQ(outcome.output, "13 “a\\xFF.txt” " + noPermission + "\n");
    EXPECT_EQ(contentOf(items + "/a\xFF.txt"), "whole");
    EXPECT_FALSE(exists(trashinfo("a\xFF.txt")));
    ASSERT_EQ(::chmod(items.c_str(), 0755), 0);
}

TEST_F(Trash, LeavesWholeWhatAnUnwritableTrashCannotTake) {
    home.write("items/a.txt", "whole");
    home.makeDirectory(".Trash");
    ASSERT_EQ(::chmod(home.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(items.c_str(), 0777), 0);
    ASSERT_EQ(::chmod(trash.c_str(), 0555), 0);

    EXPECT_EQ(recycle("a.txt", asOrdinaryUser()).output, "13 “a.txt” " + noPermission + "\n");

    EXPECT_EQ(contentOf(items + "/a.txt"), "whole");
}

TEST_F(Trash, ThatCannotBeMadeTakesNothing) {
    home.write("items/a.txt", "whole");
    ASSERT_EQ(::chmod(home.path().c_str(), 0555), 0);

    const auto outcome = recycle("a.txt", asOrdinaryUser());

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("the Trash can’t be used: you don’t have permission."),
              std::string::npos);
    EXPECT_EQ(contentOf(items + "/a.txt"), "whole");
    ASSERT_EQ(::chmod(home.path().c_str(), 0755), 0);
}

TEST_F(Trash, ThatIsARealDirectoryOnAnotherVolumeTakesACopy) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    home.makeDirectory(".Trash");
    home.write("items/Dunmarl.app/Contents/Info.plist", "whole");
    auto command = withMountOn(trash, "size=1m");
    const std::vector<std::string> listing{"sh", "-c", R"("$@"; cat "$0"/*/Contents/Info.plist)",
                                           trash};
    command.insert(command.end(), listing.begin(), listing.end());

    EXPECT_EQ(recycle("Dunmarl.app", command).output, "ok\nwhole");

    EXPECT_TRUE(fs::is_empty(items));
}

class TrashOnAFullVolume : public Trash, public testing::WithParamInterface<DirectoryOfTheHome> {};

TEST_P(TrashOnAFullVolume, TakesNothing) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto directory = home.makeDirectory(GetParam().directory);
    home.write("items/a.txt", std::string(200000, 'x'));

    const auto outcome = recycle("a.txt", withMountOn(directory, "size=100k"));

    EXPECT_TRUE(outcome.output.starts_with(
        "28 “a.txt” couldn’t be moved to the Trash because the volume is full.\n"))
        << outcome.output;
    EXPECT_EQ(contentOf(items + "/a.txt").size(), 200000U);
}

INSTANTIATE_TEST_SUITE_P(, TrashOnAFullVolume,
                         testing::Values(DirectoryOfTheHome{{"RealDirectory"}, ".Trash"},
                                         DirectoryOfTheHome{{"Link"}, ".local"}),
                         nameOfCase);

TEST_F(Trash, TakesACopyOfWhatABindMountKeepsFromIt) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    for (const auto* content : {"first", "second"}) {
        home.write("items/Dunmarl.app/Contents/Info.plist", content);
        EXPECT_EQ(recycle("Dunmarl.app", withBindMount(items)).output, "ok\n");
    }

    EXPECT_EQ(contentOf(files("Dunmarl.app/Contents/Info.plist")), "first");
    EXPECT_EQ(contentOf(files("Dunmarl.2.app/Contents/Info.plist")), "second");
    EXPECT_NE(contentOf(trashinfo("Dunmarl.2.app")).find("Path=" + items + "/Dunmarl.app\n"),
              std::string::npos);
    EXPECT_TRUE(fs::is_empty(items));
}

TEST_F(Trash, TakesNothingThatItIsInside) {
    const auto outcome = runChild({"recycle", fs::path(home.path()).parent_path().string(), trash,
                                   fs::path(home.path()).filename().string()},
                                  environment);

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("couldn’t be moved to the Trash because"), std::string::npos);
    EXPECT_TRUE(exists(items));
}

TEST_F(Trash, TakesACopyOfWhatIsOnAVolumeWithoutTrash) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const std::vector<std::string> onMemory{
        "unshare",
        "-m",
        "sh",
        "-c",
        R"(mount -t tmpfs none "$1" && echo whole >"$1/a.txt" && folder=$1 && shift && "$@"
           ls -A "$folder")",
        "sh",
        items};

    const auto outcome = recycle("a.txt", onMemory);

    EXPECT_EQ(outcome.output, "ok\n");
    EXPECT_EQ(contentOf(files("a.txt")), "whole\n");
    EXPECT_NE(contentOf(trashinfo("a.txt")).find("Path=" + items + "/a.txt\n"), std::string::npos);
}

TEST_F(Trash, LeavesWholeWhatIsOnAReadOnlyVolume) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    home.write("items/a.txt", "whole");

    const auto outcome = recycle("a.txt", withBindMount(items, "ro"));

    EXPECT_TRUE(outcome.output.starts_with(
        "30 “a.txt” couldn’t be moved to the Trash because the volume is read-only.\n"))
        << outcome.output;
    EXPECT_EQ(contentOf(items + "/a.txt"), "whole");
    EXPECT_FALSE(exists(trashinfo("a.txt")));
}

} // namespace
