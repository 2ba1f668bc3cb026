#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/desktop/TrashPairs.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// A home directory of its own, and child processes that use its Trash.
class TrashContents : public testing::Test {
protected:
    std::string trashed(const std::string& name) const {
        auto place = run({"place-in-trash", items, trash, name}).output;
        place.pop_back();
        return place;
    }

    Outcome run(std::vector<std::string> arguments) const {
        return runChild(std::move(arguments), environment);
    }

    TemporaryDirectory home;
    std::string items = home.makeDirectory("items");
    std::string trash = home / ".Trash";
    std::string homeTrash = home / ".local/share/Trash";
    std::vector<std::string> environment{"HOME=" + home.path()};
};

} // namespace

TEST_F(TrashContents, TellWhereAnItemWasPut) {
    home.write("items/a.txt", "first");
    EXPECT_EQ(trashed("a.txt"), homeTrash + "/files/a.txt");
    home.write("items/a.txt", "second");
    EXPECT_EQ(trashed("a.txt"), homeTrash + "/files/a.2.txt");

    EXPECT_EQ(contentOf(homeTrash + "/files/a.2.txt"), "second");
}

TEST_F(TrashContents, TellWhereAnItemWasPutInATrashWithoutTrashinfos) {
    home.write(".Trash/a.txt");
    home.write("items/a.txt");

    EXPECT_EQ(trashed("a.txt"), trash + "/a 2.txt");
}

TEST_F(TrashContents, HaveThePathsThatTheItemsHad) {
    home.write("items/50% done\n.txt");
    const auto place = trashed("50% done\n.txt");

    EXPECT_EQ(run({"list-trash", trash}).output, place + " from " + items + "/50% done\n.txt\n");
}

TEST_F(TrashContents, HaveNoPathsWhereTheTrashHasNoTrashinfos) {
    home.write(".Trash/a.txt");

    EXPECT_EQ(run({"list-trash", trash}).output, trash + "/a.txt from \n");
}

TEST_F(TrashContents, AreListedOnceWhatAKilledProcessLeftIsTakenBack) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");
    fs::rename(place, items + "/a.txt"); // as by one that was killed before the trashinfo went

    EXPECT_EQ(run({"list-trash", trash}).output, "");

    EXPECT_TRUE(namesIn(homeTrash + "/info").empty());
}

TEST_F(TrashContents, AreNoneWhereAFileIsInPlaceOfTheDirectoryOfItems) {
    home.write(".local/share/Trash/files");

    const auto listed = run({"list-trash", trash});

    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.output, "");
}

TEST_F(TrashContents, OfALinkToElsewhereAreNotTheUsers) {
    home.write("elsewhere/a.txt");
    fs::create_symlink(home / "elsewhere", trash);

    EXPECT_EQ(run({"list-trash", trash}).output, "");
}

TEST_F(TrashContents, AreNotSeenInPartOnly) {
    if (::getuid() != 0) {
        GTEST_SKIP() << "only root can become a user whom permissions hold back";
    }
    home.write("items/a.txt");
    trashed("a.txt");
    ASSERT_EQ(::chmod((homeTrash + "/files").c_str(), 0300), 0);
    ASSERT_EQ(::chmod(home.path().c_str(), 0755), 0);

    EXPECT_EQ(runChild({"list-trash", trash}, environment,
                       {"setpriv", "--reuid=65534", "--clear-groups", "--inh-caps=-all", "--"})
                  .status,
              1);
}

TEST_F(TrashContents, GoBackWithNothingLeftInTheTrash) {
    home.write("items/folder/a.txt", "content");
    const auto place = trashed("folder");

    EXPECT_EQ(run({"put-back", place, items + "/folder"}).output, "ok\n");

    EXPECT_EQ(contentOf(items + "/folder/a.txt"), "content");
    EXPECT_TRUE(namesIn(homeTrash + "/files").empty());
    EXPECT_TRUE(namesIn(homeTrash + "/info").empty());
}

TEST_F(TrashContents, ReplaceNothing) {
    home.write("items/a.txt", "former");
    const auto place = trashed("a.txt");
    home.write("items/a.txt", "new");

    EXPECT_EQ(run({"put-back", place, items + "/a.txt"}).status, 1);

    EXPECT_EQ(contentOf(items + "/a.txt"), "new");
    EXPECT_EQ(contentOf(place), "former");
    EXPECT_TRUE(strayIn(homeTrash).empty());
}

/// A folder of an ordinary user's that may not be written, and children that run as that user.
class TrashOfAnUnwritableFolder : public TrashContents {
protected:
    void SetUp() override {
        if (::getuid() != 0) {
            GTEST_SKIP() << "only root can become a user whom permissions hold back";
        }
        home.write("items/closed/data/file");
        for (const auto* part : {"", "items", "items/closed", "items/closed/data"}) {
            ASSERT_EQ(::chown((home / part).c_str(), nobody, nobody), 0);
        }
        ASSERT_EQ(::chmod(folder.c_str(), 0555), 0);
    }

    Outcome runAsNobody(const std::vector<std::string>& arguments,
                        std::vector<std::string> faults = {}) const {
        faults.push_back("HOME=" + home.path());
        return runChild(arguments, faults,
                        {"setpriv", "--reuid=65534", "--clear-groups", "--inh-caps=-all", "--"});
    }

    static unsigned modeOf(const std::string& path) {
        return static_cast<unsigned>(fs::status(path).permissions());
    }

    static constexpr uid_t nobody = 65534;
    const std::vector<std::string> trashing{"place-in-trash", items, trash, "closed"};
    std::string folder = items + "/closed";
    std::string place = homeTrash + "/files/closed";
    /// A file of a folder that was copied cannot be removed; that is tried twice.
    const std::string stays = "unlinkat:4:" + std::to_string(EIO);
};

TEST_F(TrashOfAnUnwritableFolder, KeepsItsMode) {
    EXPECT_EQ(runAsNobody(trashing).output, place + '\n');
    EXPECT_EQ(modeOf(place), 0555U);

    EXPECT_EQ(runAsNobody({"put-back", place, folder}).output, "ok\n");
    EXPECT_EQ(modeOf(folder), 0555U);

    EXPECT_TRUE(namesIn(homeTrash + "/info").empty());
}

TEST_F(TrashOfAnUnwritableFolder, KeepsTheModeOfACopyToo) {
    // The folder is copied after a first attempt without permission, and its file stays.
    const auto ontoOther = "renameat2:2:" + std::to_string(EXDEV) + ',';
    runAsNobody(trashing, withFaults(ontoOther + ontoOther + stays + ',' + stays));

    EXPECT_TRUE(exists(place + "/data/file"));
    EXPECT_EQ(modeOf(place), 0555U);
    EXPECT_TRUE(exists(folder + "/data/file"));
    EXPECT_EQ(modeOf(folder), 0555U);
}

TEST_F(TrashOfAnUnwritableFolder, KeepsTheModeOfAnotherFolderThatIsInItsPlace) {
    runAsNobody(trashing);
    fs::create_directory(folder);
    ASSERT_EQ(::chown(folder.c_str(), nobody, nobody), 0);
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);

    // As if the other folder came just after the first attempt, which had no permission.
    runAsNobody({"put-back", place, folder}, withFaults("renameat2:1:" + std::to_string(EACCES)));

    EXPECT_EQ(modeOf(folder), 0755U);
    EXPECT_EQ(modeOf(place), 0555U);
}

TEST_F(TrashOfAnUnwritableFolder, KeepsTheModeOfACopyThatIsPutBack) {
    runAsNobody(trashing);
    runAsNobody({"put-back", place, folder},
                withFaults(otherVolume + ',' + otherVolume + ',' + stays + ',' + stays));

    EXPECT_TRUE(exists(place + "/data/file"));
    EXPECT_EQ(modeOf(place), 0555U);
    EXPECT_TRUE(exists(folder + "/data/file"));
    EXPECT_EQ(modeOf(folder), 0555U);
}

TEST_F(TrashOfAnUnwritableFolder, KeepsItsModeWherePuttingItBackIsFinishedAfterAKill) {
    bool isKilled = true;
    int call = 1;
    for (; isKilled; ++call) {
        runAsNobody(trashing);
        isKilled = runAsNobody({"put-back", place, folder},
                               withFaults(otherVolume + ',' + otherVolume +
                                          ",unlinkat:" + std::to_string(call) + ":kill"))
                       .status == -1;

        runAsNobody({"list-trash", trash});
        runAsNobody({exists(folder) ? "finish-put-back" : "put-back", place, folder});

        EXPECT_EQ(modeOf(folder), 0555U) << "call " << call;
        EXPECT_FALSE(exists(place)) << "call " << call;
    }
    EXPECT_GT(call, 6) << "what has no permission, a file, two folders, and then nothing";
}

TEST_F(TrashContents, LeaveNoMarkBesideTheItemIfThatCannotBeRemovedAtOnce) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");

    // The first call removes the item from the Trash, the second one the mark.
    const auto outcome =
        runChild({"put-back", place, items + "/a.txt"},
                 withFaults(otherVolume + ",unlinkat:2:" + std::to_string(EACCES)));

    EXPECT_EQ(outcome.output, "ok\nfaults: 2\n");
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(namesIn(items), std::vector<std::string>{"a.txt"});
}

TEST_F(TrashContents, LeaveNothingOfAPutBackThatIsFinishedAfterAKill) {
    bool isKilled = true;
    int call = 1;
    for (; isKilled; ++call) {
        home.write("items/folder/first");
        home.write("items/folder/second");
        const auto place = trashed("folder");
        isKilled = runChild({"put-back", place, items + "/folder"},
                            withFaults(otherVolume + ",unlinkat:" + std::to_string(call) + ":kill"))
                       .status == -1;

        EXPECT_EQ(run({"finish-put-back", place, items + "/folder"}).status, 0);

        run({"forget-trashed", place, items + "/folder"});
        EXPECT_EQ(namesIn(items), std::vector<std::string>{"folder"}) << "call " << call;
        EXPECT_TRUE(namesIn(homeTrash + "/info").empty()) << "call " << call;
        EXPECT_EQ(namesIn(items + "/folder").size(), 2U) << "call " << call;
        EXPECT_FALSE(exists(place)) << "call " << call;
        fs::remove_all(items + "/folder");
    }
    EXPECT_GT(call, 5) << "two files, the folder and the mark go, and then nothing";
}

TEST_F(TrashContents, StayWhereNoPutBackWasKilled) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");
    fs::copy_file(place, items + "/a.txt");
    fs::last_write_time(items + "/a.txt", fs::last_write_time(place));

    EXPECT_EQ(run({"finish-put-back", place, items + "/a.txt"}).status, 0);

    EXPECT_TRUE(exists(place));
    EXPECT_EQ(namesIn(homeTrash + "/info").size(), 1U);
}

TEST_F(TrashContents, StayWhereAPutBackIsFinishedThatMovedNothing) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");

    EXPECT_EQ(run({"finish-put-back", place, items + "/a.txt"}).status, 0);

    EXPECT_TRUE(exists(place));
    EXPECT_FALSE(exists(items + "/a.txt"));
}

TEST_F(TrashContents, AreForgottenOnlyWhenTheyCameFromThere) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");
    fs::remove(place);

    EXPECT_EQ(run({"forget-trashed", place, items + "/b.txt"}).status, 0);

    EXPECT_TRUE(exists(homeTrash + "/info/a.txt.trashinfo"));
}

TEST_F(TrashContents, AreForgottenThroughNoLink) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");
    fs::remove(place);
    fs::rename(homeTrash + "/info", home / "elsewhere");
    fs::create_symlink(home / "elsewhere", homeTrash + "/info");

    EXPECT_EQ(run({"forget-trashed", place, items + "/a.txt"}).status, 0);

    EXPECT_TRUE(exists(home / "elsewhere/a.txt.trashinfo"));
}

TEST_F(TrashContents, AreForgottenOnlyWhenTheyAreGone) {
    home.write("items/a.txt");
    const auto place = trashed("a.txt");
    EXPECT_EQ(run({"forget-trashed", place, items + "/a.txt"}).status, 0);
    EXPECT_TRUE(strayIn(homeTrash).empty());
    EXPECT_TRUE(exists(place));
    fs::remove(place);

    EXPECT_EQ(run({"forget-trashed", place, items + "/a.txt"}).status, 0);

    EXPECT_TRUE(namesIn(homeTrash + "/info").empty());
}
