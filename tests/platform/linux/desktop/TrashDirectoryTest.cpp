#include "platform/linux/desktop/TrashDirectory.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/desktop/TrashPairs.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <filesystem>
#include <fstream>
#include <future>
#include <tuple>

namespace fs = std::filesystem;

namespace {

using qf::native::findPlace;
using qf::native::Mover;
using qf::native::SystemResult;
using qf::native::TrashDirectory;
using qf::native::trashinfoText;

const std::vector<std::string> nothing;

/// A trash directory of its own, used in this process.
class TrashDirectoryTest : public testing::Test {
protected:
    SystemResult<std::string> take(const std::string& path) const {
        const auto place = findPlace(path);
        return opened().take({*place, path, path});
    }

    TrashDirectory opened() const { return *TrashDirectory::open(trash_); }

    std::string files(const std::string& name) const { return trash_ + "/files/" + name; }
    std::string info(const std::string& name) const {
        return trash_ + "/info/" + name + ".trashinfo";
    }

    /// Writes the trashinfo of an item that is not there.
    void claim(const std::string& name, Mover mover) const {
        directory_.write("Trash/info/" + name + ".trashinfo", trashinfoText("/a/" + name, mover));
    }

    TemporaryDirectory directory_;
    std::string trash_ = directory_.makeDirectory("Trash");
};

TEST_F(TrashDirectoryTest, TakesAnItemAndRecordsWhereItWas) {
    const auto item = directory_.write("a b.txt", "content");

    ASSERT_TRUE(take(item));

    EXPECT_EQ(contentOf(files("a b.txt")), "content");
    EXPECT_FALSE(exists(item));
    EXPECT_TRUE(
        contentOf(info("a b.txt"))
            .starts_with("[Trash Info]\nPath=" + (directory_ / "a%20b.txt") + "\nDeletionDate=2"));
    EXPECT_EQ(fs::status(info("a b.txt")).permissions(), fs::perms(0600));
}

TEST_F(TrashDirectoryTest, NumbersNamesakes) {
    for (const auto* content : {"first", "second", "third"}) {
        ASSERT_TRUE(take(directory_.write("a.txt", content)));
    }

    EXPECT_EQ(contentOf(files("a.txt")), "first");
    EXPECT_EQ(contentOf(files("a.2.txt")), "second");
    EXPECT_EQ(contentOf(files("a.3.txt")), "third");
    EXPECT_EQ(strayIn(trash_), nothing);
}

TEST_F(TrashDirectoryTest, ReplacesNeitherAnItemNorATrashinfoWithoutTheOther) {
    directory_.write("Trash/files/a.txt", "without a trashinfo");
    directory_.write("Trash/info/b.txt.trashinfo", "without an item");
    ASSERT_EQ(::symlink("missing", files("c.txt").c_str()), 0);

    for (const auto* name : {"a.txt", "b.txt", "c.txt"}) {
        ASSERT_TRUE(take(directory_.write(name, "mine")));
    }

    EXPECT_EQ(contentOf(files("a.txt")), "without a trashinfo");
    EXPECT_EQ(contentOf(info("b.txt")), "without an item");
    EXPECT_EQ(fs::read_symlink(files("c.txt")), "missing");
    for (const auto* name : {"a.2.txt", "b.2.txt", "c.2.txt"}) {
        EXPECT_EQ(contentOf(files(name)), "mine");
        EXPECT_TRUE(exists(info(name)));
    }
    EXPECT_FALSE(exists(info("a.txt")));
}

TEST_F(TrashDirectoryTest, RecordsNothingOfAnItemThatItCannotTake) {
    EXPECT_TRUE(failedWith(take(directory_ / "missing"), ENOENT));
    EXPECT_TRUE(failedWith(take(directory_.path()), EINVAL));

    EXPECT_EQ(namesIn(trash_ + "/info"), nothing);
}

TEST_F(TrashDirectoryTest, TakesTheItemsOfManyProcessesAtOnce) {
    constexpr int processes = 16;
    constexpr int items = 25;
    std::vector<std::future<Outcome>> running;
    for (int i = 0; i < processes; ++i) {
        const auto items_ = directory_.makeDirectory("items" + std::to_string(i));
        running.push_back(std::async(std::launch::async, [this, items_] {
            return runChild(
                {"recycle-namesakes", items_, directory_ / ".Trash", std::to_string(items)},
                {"XDG_DATA_HOME=" + directory_.path()});
        }));
    }
    for (auto& child : running) {
        EXPECT_EQ(child.get().output, "ok\n");
    }

    EXPECT_EQ(namesIn(trash_ + "/files").size(), std::size_t{processes * items});
    EXPECT_EQ(strayIn(trash_), nothing);
}

TEST_F(TrashDirectoryTest, NeverShowsATrashinfoThatIsNotWhole) {
    constexpr int items = 300;
    std::atomic<bool> done{false};
    fs::create_directory(trash_ + "/info");
    auto reader = std::async(std::launch::async, [&] {
        while (!done) {
            for (const auto& name : namesIn(trash_ + "/info")) {
                if (name.ends_with(".trashinfo") && fs::file_size(trash_ + "/info/" + name) == 0) {
                    return name;
                }
            }
        }
        return std::string();
    });

    for (int i = 0; i < items; ++i) {
        ASSERT_TRUE(take(directory_.write("item" + std::to_string(i))));
    }
    done = true;

    EXPECT_EQ(reader.get(), "");
}

TEST_F(TrashDirectoryTest, TakesBackTheNamesThatKilledProcessesClaimed) {
    static_cast<void>(opened());
    claim("moved by itself", Mover::self);
    claim("moved by others", Mover::administrator);
    fs::last_write_time(info("moved by others"),
                        fs::file_time_type::clock::now() - std::chrono::hours(25));

    opened().takeBackAbandoned();

    EXPECT_EQ(namesIn(trash_ + "/info"), nothing);
}

TEST_F(TrashDirectoryTest, KeepsTheClaimsOfThoseWhoMayStillMoveTheItem) {
    static_cast<void>(opened());
    claim("held", Mover::self);
    claim("moved by others", Mover::administrator);
    directory_.write("Trash/info/another program's.trashinfo", "[Trash Info]\nPath=/a\n");
    fs::last_write_time(info("held"), fs::file_time_type::clock::now() - std::chrono::hours(25));
    const int held = ::open(info("held").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);
    const auto before = namesIn(trash_ + "/info");

    opened().takeBackAbandoned();

    EXPECT_EQ(namesIn(trash_ + "/info"), before);
    ::close(held);
}

TEST_F(TrashDirectoryTest, KeepsTheTrashinfoOfEveryItem) {
    ASSERT_TRUE(take(directory_.write("a.txt")));

    opened().takeBackAbandoned();

    EXPECT_TRUE(exists(info("a.txt")));
}

TEST_F(TrashDirectoryTest, TakesBackThePartsOfCopiesThatKilledProcessesLeft) {
    static_cast<void>(opened());
    directory_.write("Trash/files/.qf-0123456789abcdef-1/part of a folder");
    directory_.write("Trash/files/.qf-0123456789abcdef-2", "part of a file");
    directory_.write("Trash/info/.qf-0123456789abcdef-1", "[Trash In");
    directory_.write("Trash/files/.qf-not ours");
    ASSERT_TRUE(take(directory_.write(".qf-0123456789abcdef-3", "a trashed item")));

    opened().takeBackAbandoned();

    EXPECT_EQ(namesIn(trash_ + "/files"),
              (std::vector<std::string>{".qf-0123456789abcdef-3", ".qf-not ours"}));
    EXPECT_EQ(namesIn(trash_ + "/info"),
              std::vector<std::string>{".qf-0123456789abcdef-3.trashinfo"});
}

TEST_F(TrashDirectoryTest, KeepsTheMarkOfAKilledMoveForADay) {
    static_cast<void>(opened());
    const auto today = directory_.write("Trash/files/.qf-mark-0123456789abcdef-1");
    const auto earlier = directory_.write("Trash/files/.qf-mark-0123456789abcdef-2");
    fs::last_write_time(earlier, fs::file_time_type::clock::now() - std::chrono::hours(25));

    opened().takeBackAbandoned();

    EXPECT_TRUE(exists(today));
    EXPECT_FALSE(exists(earlier));
}

TEST_F(TrashDirectoryTest, KeepsACopyThatSomebodyWorksOn) {
    static_cast<void>(opened());
    const auto copy = directory_.write("Trash/files/.qf-0123456789abcdef-1", "part");
    const int held = ::open(copy.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);

    opened().takeBackAbandoned();

    EXPECT_TRUE(exists(copy));
    ::close(held);
}

TEST_F(TrashDirectoryTest, ClaimsANameForTheToolThatMovesTheItem) {
    const auto end = TrashDirectory::claimForOthers(opened(), "a.txt", "/root's/a.txt");
    ASSERT_TRUE(end);
    EXPECT_TRUE(contentOf(info("a.txt")).starts_with("[Trash Info]\nPath=/root%27s/a.txt\n"));

    directory_.write("Trash/files/a.txt", "has come");
    (*end)();

    EXPECT_EQ(strayIn(trash_), nothing);
}

TEST_F(TrashDirectoryTest, TakesTheClaimBackIfTheToolMovedNothing) {
    const auto end = TrashDirectory::claimForOthers(opened(), "a.txt", "/a.txt");
    ASSERT_TRUE(end);

    (*end)();

    EXPECT_EQ(namesIn(trash_ + "/info"), nothing);
}

TEST_F(TrashDirectoryTest, TakesNoClaimBackThatIsAnotherProgramsByNow) {
    const auto end = TrashDirectory::claimForOthers(opened(), "a.txt", "/a.txt");
    ASSERT_TRUE(end);
    fs::rename(directory_.write("another program's"), info("a.txt"));

    (*end)();

    EXPECT_TRUE(exists(info("a.txt")));
}

TEST_F(TrashDirectoryTest, MovesAsideWhatTheToolWouldReplace) {
    ASSERT_TRUE(take(directory_.write("a.txt", "first")));
    const auto former = contentOf(info("a.txt"));
    ASSERT_EQ(::symlink("missing", files("link").c_str()), 0);

    ASSERT_TRUE(TrashDirectory::claimForOthers(opened(), "a.txt", "/second"));
    ASSERT_TRUE(TrashDirectory::claimForOthers(opened(), "link", "/third"));

    EXPECT_EQ(contentOf(files("a.2.txt")), "first");
    EXPECT_EQ(contentOf(info("a.2.txt")), former);
    EXPECT_EQ(fs::read_symlink(files("link.2")), "missing");
    EXPECT_FALSE(exists(files("a.txt")));
    EXPECT_TRUE(contentOf(info("a.txt")).starts_with("[Trash Info]\nPath=/second\n"));
}

TEST_F(TrashDirectoryTest, ClaimsTheNameOfATrashinfoWithoutItem) {
    directory_.write("Trash/info/a.txt.trashinfo", "another program's");

    ASSERT_TRUE(TrashDirectory::claimForOthers(opened(), "a.txt", "/mine"));

    EXPECT_TRUE(contentOf(info("a.txt")).starts_with("[Trash Info]\nPath=/mine\n"));
}

TEST_F(TrashDirectoryTest, DoesNotTakeANameFromAProcessThatIsAboutToUseIt) {
    static_cast<void>(opened());
    claim("a.txt", Mover::self);
    const int held = ::open(info("a.txt").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);

    EXPECT_FALSE(TrashDirectory::claimForOthers(opened(), "a.txt", "/mine"));

    EXPECT_TRUE(contentOf(info("a.txt")).starts_with("[Trash Info]\nPath=/a/a.txt\n"));
    ::close(held);
}

TEST_F(TrashDirectoryTest, IsNotOpenedThroughALinkOnAVolume) {
    ASSERT_EQ(::symlink("Trash", (directory_ / ".Trash-0").c_str()), 0);
    const int top = ::open(directory_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);

    EXPECT_FALSE(TrashDirectory::open(top, ".Trash-0"));

    EXPECT_EQ(namesIn(trash_), nothing);
    ::close(top);
}

/// A home with an item, and children whose system calls fail.
class TrashFaults : public testing::Test {
protected:
    void makeItem() {
        for (const auto& entry : fs::directory_iterator(home.path())) {
            fs::remove_all(entry.path());
        }
        fs::create_directory(home / "items");
        makeSampleTree(item);
        whole = description(item);
    }

    Outcome recycle(const std::string& faults, const std::string& command = "recycle") const {
        auto environment = withFaults(faults);
        environment.push_back("HOME=" + home.path());
        return runChild({command, home / "items", home / ".Trash", "item"}, environment);
    }

    /// Returns the items in the Trash that have no trashinfo; hidden parts of copies need none.
    std::vector<std::string> itemsWithoutTrashinfo() const {
        auto stray = strayIn(trash);
        std::erase_if(stray, [](const auto& what) {
            return !what.starts_with("item ") || what.starts_with("item .qf-");
        });
        return stray;
    }

    /// Trashes an item of the same name, and returns what is wrong in the Trash then.
    std::vector<std::string> strayAfterTheNextRun() const {
        fs::create_directories(item);
        EXPECT_EQ(recycle("").output, "ok\n");
        auto stray = strayIn(trash);
        // That run renames the item, so it finishes no move between volumes.
        std::erase_if(stray, [](const auto& what) { return what.starts_with("item .qf-mark-"); });
        return stray;
    }

    /// Nothing is stray after a success, nor once a run has followed a failure.
    void expectNoneStray(bool moved) const {
        EXPECT_EQ(itemsWithoutTrashinfo(), nothing);
        EXPECT_EQ(moved ? strayIn(trash) : strayAfterTheNextRun(), nothing);
    }

    static std::string any(int count, const std::string& what) {
        return "any:" + std::to_string(count) + ':' + what;
    }

    /// A move to another volume has too many calls to try each.
    static int strideAfter(const std::string& before) { return before.empty() ? 1 : 5; }

    MemoryDirectory home;
    std::string item = home / "items/item";
    std::string trash = home / ".local/share/Trash";
    std::vector<std::string> whole;
};

/// A fault that comes before the others, with a comma behind it; or empty.
struct FormerFault : NamedCase {
    std::string fault;
};

const FormerFault onOneVolume{{"OnOneVolume"}, ""};

/// Makes the rename of the item fail as if it led to another volume; the first is that of the
/// trashinfo.
const FormerFault ontoAnotherVolume{{"OntoAnotherVolume"},
                                    "renameat2:2:" + std::to_string(EXDEV) + ','};

struct FailureNumber : NamedCase {
    int number;
};

class TrashFaultsOfEveryCall
    : public TrashFaults,
      public testing::WithParamInterface<std::tuple<FailureNumber, FormerFault>> {};

TEST_P(TrashFaultsOfEveryCall, LeaveTheItemWholeAndNoClaimBehind) {
    const auto number = std::get<FailureNumber>(GetParam()).number;
    const auto& before = std::get<FormerFault>(GetParam()).fault;
    const auto* expected = before.empty() ? "faults: 1" : "faults: 2";
    for (int count = 1;; count += strideAfter(before)) {
        makeItem();
        const auto outcome = recycle(before + any(count, std::to_string(number)));
        const bool moved = outcome.output.starts_with("ok\n");
        const auto there = description(trash + "/files/item");
        EXPECT_TRUE(moved ? there.size() == whole.size()
                          : description(item) == whole || there == whole)
            << outcome.output;
        expectNoneStray(moved);
        ASSERT_FALSE(HasFailure()) << "call " << count << ": " << outcome.output;
        if (outcome.output.find(expected) == std::string::npos && count > 20) {
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, TrashFaultsOfEveryCall,
                         testing::Combine(testing::Values(FailureNumber{{"NoSpace"}, ENOSPC},
                                                          FailureNumber{{"NoPermission"}, EACCES}),
                                          testing::Values(onOneVolume, ontoAnotherVolume)),
                         nameOfCases);

class TrashFaultsOfAKill : public TrashFaults, public testing::WithParamInterface<FormerFault> {};

TEST_P(TrashFaultsOfAKill, AreGoneAfterTheNextRun) {
    const auto& before = GetParam().fault;
    int count = 1;
    for (makeItem(); recycle(before + any(count, "kill")).status == -1;
         count += strideAfter(before)) {
        const bool isWhole =
            description(item) == whole || description(trash + "/files/item") == whole;
        EXPECT_TRUE(isWhole) << "call " << count;
        EXPECT_EQ(itemsWithoutTrashinfo(), nothing) << "call " << count;

        EXPECT_EQ(strayAfterTheNextRun(), nothing) << "call " << count;
        makeItem();
    }
    EXPECT_GT(count, 10) << "there is hardly any call that could be the last";
}

INSTANTIATE_TEST_SUITE_P(, TrashFaultsOfAKill, testing::Values(onOneVolume, ontoAnotherVolume),
                         nameOfCase);

TEST_F(TrashFaults, OfAKillBetweenVolumesAreFinishedByTheNextRun) {
    makeItem();
    const auto otherVolume = "renameat2:2:" + std::to_string(EXDEV);
    EXPECT_EQ(recycle(otherVolume + ",unlinkat:3:kill").status, -1);
    ASSERT_TRUE(exists(item));
    ASSERT_NE(description(item), whole);

    EXPECT_EQ(recycle("").output, "ok\n");

    EXPECT_FALSE(exists(item));
    EXPECT_EQ(namesIn(trash + "/files"), std::vector<std::string>{"item"});
    EXPECT_EQ(namesIn(trash + "/info"), std::vector<std::string>{"item.trashinfo"});
    EXPECT_EQ(description(trash + "/files/item"), whole);
}

TEST_F(TrashFaults, OfARunThatCannotFinishAKilledMoveLeaveThatToALaterOne) {
    makeItem();
    const auto otherVolume = "renameat2:2:" + std::to_string(EXDEV);
    ASSERT_EQ(recycle(otherVolume + ",unlinkat:3:kill").status, -1);
    const auto rest = description(item);
    // The rest can neither be removed nor, by the name after the next, be moved.
    const auto failing = ":" + std::to_string(EIO);
    EXPECT_NE(recycle("unlinkat:1" + failing + ",renameat2:3" + failing).output, "ok\n");
    ASSERT_EQ(description(item), rest);

    EXPECT_EQ(recycle("").output, "ok\n");

    EXPECT_FALSE(exists(item));
    EXPECT_EQ(namesIn(trash + "/files"), std::vector<std::string>{"item"});
    EXPECT_EQ(description(trash + "/files/item"), whole);
}

TEST_F(TrashFaults, OfTheRemovalAfterACopyLeaveTheCopyItsTrashinfo) {
    fs::create_directory(home / "items");
    std::ofstream(item) << "whole";
    const auto removal = failing("unlinkat:1", EIO);

    const auto outcome = recycle(failing("renameat2:2", EXDEV) + ',' + removal + ',' + removal);

    EXPECT_TRUE(outcome.output.starts_with("5 ")) << outcome.output;
    EXPECT_EQ(contentOf(trash + "/files/item"), "whole");
    EXPECT_EQ(itemsWithoutTrashinfo(), nothing);
}

TEST_F(TrashFaults, OfTheDiskLetNoItemComeWithoutItsTrashinfo) {
    makeItem();

    const auto outcome = recycle("sync_file_range:2:" + std::to_string(EIO));

    EXPECT_TRUE(outcome.output.starts_with("5 ")) << outcome.output;
    EXPECT_EQ(description(item), whole);
    EXPECT_EQ(strayIn(trash), nothing);
}

class TrashFaultsOfAVolumeThatSendsNoParts : public TrashFaults,
                                             public testing::WithParamInterface<FailureNumber> {};

TEST_P(TrashFaultsOfAVolumeThatSendsNoParts, HaveTheTrashinfoSyncedInstead) {
    makeItem();
    const auto unable = "sync_file_range:2:" + std::to_string(GetParam().number);

    EXPECT_TRUE(recycle(unable + ",fsync:1:" + std::to_string(EIO)).output.starts_with("5 "));
    EXPECT_TRUE(recycle(unable).output.starts_with("ok\n"));
}

INSTANTIATE_TEST_SUITE_P(, TrashFaultsOfAVolumeThatSendsNoParts,
                         testing::Values(FailureNumber{{"NoSuchCall"}, ENOSYS},
                                         FailureNumber{{"NoSuchFlags"}, EINVAL},
                                         FailureNumber{{"NoSuchFile"}, ESPIPE}),
                         nameOfCase);

TEST_F(TrashFaults, LeaveAnAnnouncedItemWholeAndNoClaimBehind) {
    for (int count = 1;; ++count) {
        makeItem();
        const auto outcome = recycle(any(count, std::to_string(ENOSPC)), "recycle-announced");
        const bool moved = outcome.output.starts_with("ok\n");
        // It gets a number if its own trashinfo could not be examined.
        const auto there = namesIn(trash + "/files");
        EXPECT_EQ(there.size(), moved ? 1U : 0U) << "call " << count;
        EXPECT_EQ(description(moved ? trash + "/files/" + there.front() : item), whole)
            << "call " << count;
        expectNoneStray(moved);
        if (outcome.output.find("faults: 1") == std::string::npos && count > 20) {
            break;
        }
        ASSERT_FALSE(HasFailure()) << "call " << count << ": " << outcome.output;
    }
}

TEST_F(TrashFaults, OfAKillAfterAnAnnouncementAreGoneAfterTheNextRun) {
    int count = 1;
    for (makeItem(); recycle(any(count, "kill"), "recycle-announced").status == -1; ++count) {
        EXPECT_EQ(description(exists(item) ? item : trash + "/files/item"), whole)
            << "call " << count;
        fs::create_directories(item);

        EXPECT_EQ(recycle("").output, "ok\n");

        EXPECT_EQ(strayIn(trash), nothing) << "call " << count;
        makeItem();
    }
    EXPECT_GT(count, 10) << "there is hardly any call that could be the last";
}

TEST_F(TrashFaults, OfTheSearchForANumberAreFewForManyNamesakes) {
    constexpr int items = 500;
    constexpr int mostChecksOfEach = 40;
    auto environment =
        withFaults("faccessat:" + std::to_string(items * mostChecksOfEach) + ":kill");
    environment.push_back("HOME=" + home.path());
    fs::create_directory(home / "items");

    EXPECT_EQ(
        runChild({"recycle-namesakes", home / "items", home / ".Trash", std::to_string(items)},
                 environment)
            .output,
        "ok\n");
}

TEST_F(TrashFaults, OfASearchForANameThatOthersKeepTakingEndIt) {
    makeItem();

    const auto outcome = recycle("renameat2:1:occupy");

    EXPECT_TRUE(outcome.output.starts_with(std::to_string(EEXIST) + ' ')) << outcome.output;
    EXPECT_EQ(description(item), whole);
}

struct AgeOfAName : NamedCase {
    std::chrono::hours age;
    bool isKept;
};

class TrashFaultsOfLocks : public TrashFaults, public testing::WithParamInterface<AgeOfAName> {};

TEST_P(TrashFaultsOfLocks, LeaveAbandonedNamesToTheirAge) {
    makeItem();
    const TemporaryDirectory notes;
    fs::create_directories(trash + "/info");
    const auto claimed = trash + "/info/x.trashinfo";
    fs::copy_file(notes.write("x", trashinfoText("/x", Mover::self)), claimed);
    fs::last_write_time(claimed, fs::file_time_type::clock::now() - GetParam().age);

    EXPECT_TRUE(recycle("flock:1:" + std::to_string(ENOLCK)).output.starts_with("ok\n"));

    EXPECT_EQ(exists(claimed), GetParam().isKept);
}

INSTANTIATE_TEST_SUITE_P(, TrashFaultsOfLocks,
                         testing::Values(AgeOfAName{{"AnHour"}, std::chrono::hours(1), true},
                                         AgeOfAName{
                                             {"MoreThanADay"}, std::chrono::hours(25), false}),
                         nameOfCase);

} // namespace
