#include "platform/linux/posix/ItemPlace.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using qf::native::findPlace;

namespace {

TEST(ItemPlaceTest, OpensTheDirectoryOfAnItem) {
    const TemporaryDirectory directory;
    directory.write("item");

    const auto place = findPlace(directory / "item");

    ASSERT_TRUE(place);
    EXPECT_EQ(place->name, "item");
    EXPECT_EQ(::faccessat(place->directory.get(), "item", F_OK, 0), 0);
}

TEST(ItemPlaceTest, DoesNotLookAtTheItem) {
    const TemporaryDirectory directory;

    const auto place = findPlace(directory / "missing");

    ASSERT_TRUE(place);
    EXPECT_EQ(place->name, "missing");
}

TEST(ItemPlaceTest, FollowsLinksOnTheWay) {
    const TemporaryDirectory directory;
    directory.write("real/item");
    ::symlink("real", (directory / "link").c_str());

    const auto place = findPlace(directory / "link/item");

    ASSERT_TRUE(place);
    EXPECT_EQ(::faccessat(place->directory.get(), "item", F_OK, 0), 0);
}

TEST(ItemPlaceTest, PassesOverTrailingSlashes) {
    const TemporaryDirectory directory;

    const auto place = findPlace(directory / "item//");

    ASSERT_TRUE(place);
    EXPECT_EQ(place->name, "item");
}

TEST(ItemPlaceTest, TellsThatTheDirectoryIsMissing) {
    const TemporaryDirectory directory;

    EXPECT_EQ(findPlace(directory / "missing/item").error().number(), ENOENT);
}

class ItemPlaceInvalid : public testing::TestWithParam<const char*> {};

TEST_P(ItemPlaceInvalid, NamesNoEntryOfADirectory) {
    const auto place = findPlace(GetParam());

    ASSERT_FALSE(place);
    EXPECT_EQ(place.error().number(), EINVAL);
}

INSTANTIATE_TEST_SUITE_P(All, ItemPlaceInvalid,
                         testing::Values("", "relative", "/", "//", "/tmp/..", "/tmp/."));

} // namespace
