#include "platform/linux/files/TemporaryItem.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

using qf::native::FileDescriptor;
using qf::native::TemporaryItem;

namespace {

class TemporaryItemTest : public testing::Test {
protected:
    auto make(mode_t mode = S_IFREG | 0600) {
        return TemporaryItem::make(top_.get(), "item", mode);
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    TemporaryDirectory directory_;
    FileDescriptor top_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(TemporaryItemTest, HasAHiddenNameUntilItIsRenamed) {
    auto item = make();
    ASSERT_TRUE(item);
    ASSERT_EQ(names().size(), 1U);
    EXPECT_TRUE(names().front().starts_with(".qf-"));

    ASSERT_TRUE(item->rename());

    EXPECT_EQ(names(), std::vector<std::string>{"item"});
}

TEST_F(TemporaryItemTest, IsDeletedUnlessItIsRenamed) {
    { ASSERT_TRUE(make()); }

    EXPECT_TRUE(names().empty());
}

TEST_F(TemporaryItemTest, IsNotWhatHasBeenGivenItsNameWhileItWasWorkedOn) {
    std::string name;
    {
        const auto item = make();
        name = names().front();
        ASSERT_EQ(::renameat(top_.get(), name.c_str(), top_.get(), "away"), 0);
        directory_.write(name, "precious");
    }
    EXPECT_EQ(contentOf(directory_ / name), "precious");
}

TEST_F(TemporaryItemTest, IsDeletedWithAllThatIsInIt) {
    {
        const auto item = make(S_IFDIR | 0700);
        ASSERT_TRUE(item);
        directory_.write(names().front() + "/inside/file");
        ::chmod((directory_ / names().front() + "/inside").c_str(), 0);
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(TemporaryItemTest, LeavesAloneWhatAnotherUserHasLeft) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make another user's files";
    }
    std::string name;
    {
        const auto item = make();
        name = names().front();
    }
    const auto theirs = directory_.write(name, "theirs");
    ASSERT_EQ(::chown(theirs.c_str(), 65534, 65534), 0);
    { ASSERT_TRUE(make()); }

    EXPECT_EQ(names(), std::vector<std::string>{name});
    EXPECT_EQ(contentOf(theirs), "theirs");
}

TEST_F(TemporaryItemTest, IsNoMarkThatIsADirectory) {
    std::string name;
    {
        const auto mark = TemporaryItem::makeMark(top_.get(), "item");
        name = names().front();
    }
    directory_.makeDirectory(name);
    directory_.write(name + "/inside");

    EXPECT_FALSE(TemporaryItem::adoptMark(top_.get(), "item"));

    EXPECT_TRUE(exists(directory_ / (name + "/inside")));
}

TEST_F(TemporaryItemTest, TakesOverTheMarkThatAKilledProcessHasLeft) {
    std::string name;
    {
        const auto mark = TemporaryItem::makeMark(top_.get(), "item");
        name = names().front();
    }
    EXPECT_FALSE(TemporaryItem::adoptMark(top_.get(), "item"));
    directory_.write(name);
    EXPECT_FALSE(TemporaryItem::adoptMark(top_.get(), "another"));
    {
        const auto mark = TemporaryItem::adoptMark(top_.get(), "item");
        ASSERT_TRUE(mark);
        EXPECT_EQ(names(), std::vector<std::string>{name});
        EXPECT_FALSE(TemporaryItem::adoptMark(top_.get(), "item"));
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(TemporaryItemTest, LeavesAMarkThatIsToBeTakenOverAgain) {
    auto mark = TemporaryItem::makeMark(top_.get(), "item");
    ASSERT_TRUE(mark);

    mark->leave();

    EXPECT_TRUE(TemporaryItem::adoptMark(top_.get(), "item"));
}

TEST_F(TemporaryItemTest, TakesOverNoMarkOfAnotherUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give files to others";
    }
    std::string name;
    {
        const auto mark = TemporaryItem::makeMark(top_.get(), "item");
        name = names().front();
    }
    ASSERT_EQ(::chown(directory_.write(name).c_str(), 65534, 65534), 0);

    EXPECT_FALSE(TemporaryItem::adoptMark(top_.get(), "item"));
}

TEST_F(TemporaryItemTest, TellsMarksFromItemsToBe) {
    const auto item = make();
    EXPECT_FALSE(TemporaryItem::isMark(names().front()));
    const TemporaryDirectory other;
    const FileDescriptor top(::open(other.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto mark = TemporaryItem::makeMark(top.get(), "item");
    ASSERT_TRUE(mark);

    EXPECT_TRUE(TemporaryItem::isMark(
        std::filesystem::directory_iterator(other.path())->path().filename()));
}

TEST_F(TemporaryItemTest, ReplacesNothingWhenItIsRenamed) {
    directory_.write("item", "former");
    {
        auto item = make();
        EXPECT_EQ(item->rename().error().number(), EEXIST);
    }
    EXPECT_EQ(names(), std::vector<std::string>{"item"});
    EXPECT_EQ(contentOf(directory_ / "item"), "former");
}

TEST_F(TemporaryItemTest, TakesThePlaceOfAnother) {
    directory_.write("item", "former");
    auto item = make();
    ASSERT_EQ(::write(item->item().get(), "new", 3), 3);

    ASSERT_TRUE(item->replace());

    EXPECT_EQ(contentOf(directory_ / "item"), "new");
}

TEST_F(TemporaryItemTest, IsDeletedAfterItsNameWasTakenBack) {
    {
        auto item = make();
        ASSERT_TRUE(item->rename());
        item->takeBack();
        EXPECT_FALSE(exists(directory_ / "item"));
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(TemporaryItemTest, LeavesAnotherItemItsNameWhenItTakesItsOwnBack) {
    auto item = make();
    ASSERT_TRUE(item->rename());
    ::unlink((directory_ / "item").c_str());
    directory_.write("item", "another");

    item->takeBack();

    EXPECT_EQ(contentOf(directory_ / "item"), "another");
}

TEST_F(TemporaryItemTest, DeletesWhatAKilledProcessLeft) {
    std::string abandoned;
    {
        auto item = make();
        abandoned = names().front();
        ASSERT_EQ(::linkat(top_.get(), abandoned.c_str(), top_.get(), "kept", 0), 0);
    }
    ASSERT_EQ(::rename((directory_ / "kept").c_str(), (directory_ / abandoned).c_str()), 0);

    const auto item = make();

    ASSERT_TRUE(item);
    EXPECT_EQ(names(), std::vector<std::string>{abandoned});
}

/// A directory's owner and mode, and whether an item in it that has the name of a temporary one is
/// kept.
struct DirectoryOfRemains : NamedCase {
    uid_t owner;
    mode_t mode;
    bool isKept;
};

class TemporaryItemOfRoot : public TemporaryItemTest,
                            public testing::WithParamInterface<DirectoryOfRemains> {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only the superuser can give directories to others";
        }
        if (::fchown(top_.get(), GetParam().owner, 0) != 0) {
            GTEST_SKIP() << "this superuser cannot give directories to others";
        }
        ASSERT_EQ(::fchmod(top_.get(), GetParam().mode), 0);
    }

    /// Makes and deletes an item, and returns the name that it had.
    std::string nameOfItem() {
        const auto item = make();
        return names().front();
    }
};

TEST_P(TemporaryItemOfRoot, IsNotWhatAnotherUserMayHaveGivenItsName) {
    const auto named = directory_.write(nameOfItem(), "precious");

    runChild({"remove-abandoned", directory_.path()});

    EXPECT_EQ(exists(named), GetParam().isKept);
}

TEST_P(TemporaryItemOfRoot, IsNotAnotherOneWhenItIsMade) {
    const auto named = directory_.write(nameOfItem(), "precious");

    const auto item = make();

    EXPECT_EQ(contentOf(named) == "precious", GetParam().isKept);
}

TEST_P(TemporaryItemOfRoot, IsDeletedWhereverAKilledProcessLeftIt) {
    if (GetParam().isKept && ::fsetxattr(top_.get(), "trusted.qf.test", "", 0, 0) != 0) {
        GTEST_SKIP() << "the temporary directory keeps no attributes of the superuser's";
    }
    auto item = make();
    ASSERT_TRUE(item);
    item->leave();

    runChild({"remove-abandoned", directory_.path()});

    EXPECT_TRUE(names().empty());
}

TEST_P(TemporaryItemOfRoot, IsAsItWasMadeOnceItHasItsName) {
    auto item = make();
    ASSERT_TRUE(item->rename());
    auto next = make();
    ASSERT_TRUE(next->replace());

    for (const auto* made : {&*item, &*next}) {
        EXPECT_EQ(::fgetxattr(made->item().get(), "trusted.qf.temporary", nullptr, 0), -1);
        EXPECT_TRUE(errno == ENODATA || errno == EOPNOTSUPP);
    }
}

INSTANTIATE_TEST_SUITE_P(
    , TemporaryItemOfRoot,
    testing::Values(DirectoryOfRemains{{"ItsOwn"}, 0, 0755, false},
                    DirectoryOfRemains{{"EverybodysButNotToRename"}, 0, 01777, false},
                    DirectoryOfRemains{{"AGroups"}, 0, 0770, true},
                    DirectoryOfRemains{{"Everybodys"}, 0, 0703, true},
                    DirectoryOfRemains{{"AnotherUsers"}, 65534, 0700, true},
                    DirectoryOfRemains{{"AnotherUsersToRename"}, 65534, 01777, true}),
    nameOfCase);

/// An event that makes an item older, or none, and whether the item is kept then.
struct AgeOfAnItem : NamedCase {
    const char* event;
    bool isKept;
};

class TemporaryItemWithoutLocks : public TemporaryItemTest,
                                  public testing::WithParamInterface<AgeOfAnItem> {};

TEST_P(TemporaryItemWithoutLocks, IsAbandonedOnceItIsOverADayOld) {
    const auto left = directory_.write(".qf-0123456789abcdef-1", "part of a copy");
    // A copy has the date of its source already.
    std::filesystem::last_write_time(left, std::filesystem::file_time_type::clock::now() -
                                               std::chrono::hours(1000));

    runChild({"remove-abandoned", directory_.path()},
             withFaults(GetParam().event + ("flock:1:" + std::to_string(ENOLCK))));

    EXPECT_EQ(exists(left), GetParam().isKept);
}

INSTANTIATE_TEST_SUITE_P(, TemporaryItemWithoutLocks,
                         testing::Values(AgeOfAnItem{{"New"}, "", true},
                                         AgeOfAnItem{{"MoreThanADay"}, "statx:1:age,", false}),
                         nameOfCase);

TEST_F(TemporaryItemTest, LeavesAloneWhatAnotherProcessWorksOn) {
    const auto first = make();
    const auto second = make();

    ASSERT_TRUE(second);
    EXPECT_EQ(names().size(), 2U);
}

} // namespace
