// What a killed process of the helper leaves, when the next one comes.

#include "platform/linux/authorization/helper/AbandonedStages.h"

#include "platform/linux/authorization/helper/Move.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"
#include "tests/platform/linux/authorization/helper/StageHarness.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <utility>

using qf::native::FileDescriptor;
using qf::native::helper::AbandonedStage;
using qf::native::helper::Item;
using qf::native::helper::Move;
using qf::native::helper::openItem;
using qf::native::helper::Place;
using qf::native::helper::Refusal;
using qf::native::helper::removeAbandonedStages;
using qf::native::helper::Stage;
using qf::native::helper::StageFor;
using qf::native::helper::Status;
using qf::native::helper::Tool;
using qf::native::helper::walk;

class HelperAbandonedStages : public StageTest {
protected:
    void removeAll() {
        auto way = walk("/bin/rm");
        const Tool remover{"/bin/rm", std::move(way->end)};
        removeAbandonedStages(parent(), remover);
    }
};

TEST_F(HelperAbandonedStages, GoWithTheCopiesInThem) {
    abandonStage(usersDirectory(), StageFor::copies, [](const Stage& stage) {
        ::mkdirat(stage.directory().descriptor.get(), "copy", 0700);
        ::mkdirat(stage.directory().descriptor.get(), "copy/inner", 0700);
    });
    ASSERT_EQ(itemsLeft(), 1);

    removeAll();

    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperAbandonedStages, GoWhenNothingIsInThem) {
    abandonStage(usersDirectory(), StageFor::items, [](const Stage&) {});
    ASSERT_EQ(itemsLeft(), 1);

    removeAll();

    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperAbandonedStages, StayWithWhatWasRenamedIntoThem) {
    abandonStage(usersDirectory(), StageFor::items, [](const Stage& stage) {
        ::mkdirat(stage.directory().descriptor.get(), "item", 0700);
    });

    removeAll();

    EXPECT_TRUE(isInWhatIsLeft("item"));
}

TEST_F(HelperAbandonedStages, AreNotThoseOfAProcessThatIsAtWork) {
    const Item directory = parent();
    const Stage stage(directory, StageFor::copies);
    ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "copy", 0700), 0);

    removeAll();

    EXPECT_TRUE(openItem(stage.directory().descriptor.get(), "copy"));
}

TEST_F(HelperAbandonedStages, AreNotDirectoriesThatOnlyHaveSuchAName) {
    const std::string users = makeDirectory(usersDirectory() + "/.qf-helper-1");
    ASSERT_EQ(::chmod(users.c_str(), 0755), 0);
    const std::string roots = makeDirectory(usersDirectory() + "/.qf-helper-2");
    ASSERT_EQ(::chmod(roots.c_str(), 0700), 0);
    makeFile(roots + "/file");

    removeAll();

    EXPECT_TRUE(exists(users));
    EXPECT_TRUE(exists(roots + "/file"));
}

/// What a process leaves that is killed between the two renames of an item from a user's directory
/// to one of root's.
class HelperAbandonedItem : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        if (!IsSkipped()) {
            makeDirectory(users, servedUser);
            makeDirectory(folder);
            makeFile(item, servedUser);
            makeFile(other, servedUser);
        }
    }

    static Place placeOf(const std::string& path) {
        const std::filesystem::path itself(path);
        const std::string name = itself.filename();
        auto directory = *openItem(AT_FDCWD, itself.parent_path());
        auto there = qf::native::helper::findItem(directory.descriptor.get(), name);
        return {path, std::move(directory), name, std::move(there)};
    }

    static std::optional<AbandonedStage> find(Place& source, const std::string& destination) {
        return qf::native::helper::findAbandonedItem(source, placeOf(destination));
    }
    bool isFound() const {
        auto source = placeOf(item);
        return find(source, destination).has_value();
    }

    /// The stage that was left.
    std::string stage() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().filename().string().starts_with(qf::native::helper::stagePrefix)) {
                return entry.path();
            }
        }
        return "";
    }

    const std::string users = sandbox::rootsDirectory + "/user";
    const std::string folder = sandbox::rootsDirectory + "/folder";
    const std::string item = users + "/item 2";
    const std::string other = users + "/other";
    const std::string destination = folder + "/item";
};

TEST_F(HelperAbandonedItem, IsFoundForTheMoveThatWasBegun) {
    const auto identity = openItem(AT_FDCWD, item)->identity();
    abandonItem(folder, item, "item");
    auto source = placeOf(item);

    const auto found = find(source, destination);

    ASSERT_TRUE(found);
    EXPECT_EQ(folder + "/" + found->name, stage());
    EXPECT_EQ(source.item->identity(), identity);
}

TEST_F(HelperAbandonedItem, IsFoundAmongOtherStages) {
    const std::string third = makeFile(users + "/third");
    abandonItem(folder, other, "other");
    abandonItem(folder, item, "item");
    abandonItem(folder, third, "third");

    EXPECT_TRUE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotWhatWasSwappedInForIt) {
    abandonStage(folder, StageFor::items, [&](const Stage& stage) {
        stage.expect(*openItem(AT_FDCWD, item), "item");
        std::filesystem::rename(other, item);
        ::renameat(AT_FDCWD, item.c_str(), stage.directory().descriptor.get(), "item 2");
    });

    EXPECT_FALSE(isFound());
    EXPECT_TRUE(exists(stage() + "/item 2"));
}

TEST_F(HelperAbandonedItem, IsNotOneThatWasToHaveAnotherName) {
    abandonItem(folder, item, "item 3");

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotOneThatWasToHaveALongerName) {
    abandonItem(folder, item, "item.plist");

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotOneThatHadAnotherName) {
    std::filesystem::rename(item, other);
    abandonItem(folder, other, "item");

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotInAStageThatTellsNothingOfIt) {
    abandonStage(folder, StageFor::items, [&](const Stage& stage) {
        ::renameat(AT_FDCWD, item.c_str(), stage.directory().descriptor.get(), "item 2");
    });

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotInADirectoryThatOthersMayEnter) {
    abandonItem(folder, item, "item");
    ASSERT_EQ(::chmod(stage().c_str(), 0755), 0);

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotInADirectoryOfAUsers) {
    abandonItem(folder, item, "item");
    ASSERT_EQ(::chown(stage().c_str(), servedUser, 0), 0);

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotInADirectoryOfAnotherName) {
    abandonItem(folder, item, "item");
    std::filesystem::rename(stage(), folder + "/.former");

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotThatOfAProcessThatIsAtWork) {
    const Item parent = *openItem(AT_FDCWD, folder);
    const Stage stage(parent, StageFor::items);
    stage.expect(*openItem(AT_FDCWD, item), "item");
    const int staged = stage.directory().descriptor.get();
    ASSERT_EQ(::renameat(AT_FDCWD, item.c_str(), staged, "item 2"), 0);

    EXPECT_FALSE(isFound());

    ASSERT_EQ(::renameat(staged, "item 2", AT_FDCWD, item.c_str()), 0);
}

TEST_F(HelperAbandonedItem, IsTakenByOneProcess) {
    abandonItem(folder, item, "item");
    auto source = placeOf(item);
    const auto found = find(source, destination);

    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotLookedForWhereSomethingIsInOneOfThePlaces) {
    abandonItem(folder, item, "item");
    makeFile(item);
    EXPECT_FALSE(isFound());
    std::filesystem::rename(item, destination);
    EXPECT_FALSE(isFound());
}

TEST_F(HelperAbandonedItem, IsNotLookedForInADirectoryOfAUsers) {
    abandonItem(folder, item, "item");
    std::filesystem::rename(stage(), users + "/.qf-helper-1");
    auto source = placeOf(item);

    EXPECT_FALSE(find(source, users + "/item"));
}

TEST_F(HelperAbandonedItem, IsNotLookedForTwiceInAStageWithNothingInIt) {
    std::filesystem::remove(item);
    abandonStage(folder, StageFor::items, [](const Stage&) {});

    EXPECT_FALSE(isFound());

    EXPECT_EQ(stage(), "");
}

TEST_F(HelperAbandonedItem, ReplacesNothingThatHasComeMeanwhile) {
    abandonItem(folder, item, "item");
    auto source = placeOf(item);
    auto target = placeOf(destination);
    auto found = qf::native::helper::findAbandonedItem(source, target);
    ASSERT_TRUE(found);
    makeFile(destination);
    auto way = walk("/bin/rm");
    const Move move{{std::move(source), std::move(target), {"/bin/rm", std::move(way->end)}},
                    std::move(found)};
    FileDescriptor report;

    EXPECT_THROW(carryOut(move, report, FileDescriptor()), Refusal);

    EXPECT_EQ(contentOf(destination), "content of " + destination);
    EXPECT_EQ(contentOf(stage() + "/item 2"), "content of " + item);
}

TEST_F(HelperAbandonedItem, IsNoneWhereSomethingCannotBeLookedAtForWantOfMemory) {
    int look = 0;
    for (bool isRefused = true; isRefused;) {
        auto way = walk("/bin/rm");
        const Move move{{placeOf(item), placeOf(destination), {"/bin/rm", std::move(way->end)}}};
        runWithFailingLooks({.first = ++look, .number = ENOMEM}, [&] {
            FileDescriptor report;
            try {
                EXPECT_TRUE(carryOut(move, report, FileDescriptor()));
                isRefused = false;
            } catch (const Refusal&) {
                EXPECT_TRUE(exists(item)) << "look " << look;
                EXPECT_EQ(stage(), "") << "look " << look;
            }
        });
    }
    EXPECT_EQ(contentOf(destination), "content of " + item);
    EXPECT_GT(look, 2) << "there is hardly any look that could fail";
}

TEST_F(HelperAbandonedItem, IsPutInItsPlaceAndNothingElseIsLeft) {
    abandonItem(folder, item, "item");

    EXPECT_EQ(TestedHelper().run("/bin/mv", {"-f", item, destination}), Status::started);

    EXPECT_EQ(contentOf(destination), "content of " + item);
    EXPECT_EQ(stage(), "");
}

TEST_F(HelperAbandonedItem, StaysWhereTheMoveOfNothingIsRefused) {
    abandonItem(folder, item, "item 3");

    EXPECT_EQ(TestedHelper().run("/bin/mv", {"-f", item, destination}), Status::itemUnreachable);

    EXPECT_FALSE(exists(destination));
    EXPECT_TRUE(exists(stage() + "/item 2"));
}
