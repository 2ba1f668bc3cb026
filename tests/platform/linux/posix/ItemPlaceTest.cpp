#include "platform/linux/posix/ItemPlace.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using platform::native::findPlace;

namespace {

TEST(ItemPlaceTest, OpensTheFolderOfAnItem) {
    const TemporaryFolder folder;
    folder.write("item");

    const auto place = findPlace(folder / "item");

    ASSERT_TRUE(place);
    EXPECT_EQ(place->name, "item");
    EXPECT_EQ(::faccessat(place->folder.get(), "item", F_OK, 0), 0);
}

TEST(ItemPlaceTest, DoesNotLookAtTheItem) {
    const TemporaryFolder folder;

    const auto place = findPlace(folder / "missing");

    ASSERT_TRUE(place);
    EXPECT_EQ(place->name, "missing");
}

TEST(ItemPlaceTest, FollowsLinksOnTheWay) {
    const TemporaryFolder folder;
    folder.write("real/item");
    ::symlink("real", (folder / "link").c_str());

    const auto place = findPlace(folder / "link/item");

    ASSERT_TRUE(place);
    EXPECT_EQ(::faccessat(place->folder.get(), "item", F_OK, 0), 0);
}

TEST(ItemPlaceTest, PassesOverTrailingSlashes) {
    const TemporaryFolder folder;

    const auto place = findPlace(folder / "item//");

    ASSERT_TRUE(place);
    EXPECT_EQ(place->name, "item");
}

TEST(ItemPlaceTest, TellsThatTheFolderIsMissing) {
    const TemporaryFolder folder;

    EXPECT_EQ(findPlace(folder / "missing/item").error().number(), ENOENT);
}

class ItemPlaceInvalid : public testing::TestWithParam<const char*> {};

TEST_P(ItemPlaceInvalid, NamesNoEntryOfAFolder) {
    const auto place = findPlace(GetParam());

    ASSERT_FALSE(place);
    EXPECT_EQ(place.error().number(), EINVAL);
}

INSTANTIATE_TEST_SUITE_P(All, ItemPlaceInvalid,
                         testing::Values("", "relative", "/", "//", "/tmp/..", "/tmp/."));

} // namespace
