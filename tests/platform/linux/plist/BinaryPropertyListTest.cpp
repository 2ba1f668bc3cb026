#include "platform/linux/plist/BinaryPropertyList.h"

#include "tests/platform/linux/plist/BinaryLists.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

using binary_lists::arrayOf;
using binary_lists::bigEndian;
using binary_lists::chainOf;
using binary_lists::listOf;
using binary_lists::trueObject;
using qf::native::BinaryPropertyList;

namespace {

bool unfolds(const std::string& bytes, std::size_t size = 10000, std::size_t levels = 10) {
    return BinaryPropertyList(bytes).unfoldsWithin({.size = size, .levels = levels});
}

/// A good list in which `bytes` replace those at a position in the trailer.
std::string withTrailer(std::size_t position, const std::string& bytes,
                        std::string list = listOf({arrayOf({1}), trueObject})) {
    constexpr std::size_t trailerSize = 32;
    return list.replace(list.size() - trailerSize + position, bytes.size(), bytes);
}

TEST(BinaryPropertyList, NestsAsDeepAsItsLevels) {
    EXPECT_TRUE(unfolds(chainOf(3, 1), 10000, 3));
    EXPECT_FALSE(unfolds(chainOf(4, 1), 10000, 3));
}

TEST(BinaryPropertyList, CountsTheLevelsOfAnObjectWhereverItIsReferredTo) {
    const auto pair = arrayOf({2, 1});
    EXPECT_TRUE(unfolds(listOf({pair, arrayOf({2}), arrayOf({3}), trueObject}), 10000, 3));
    EXPECT_FALSE(unfolds(listOf({pair, arrayOf({2}), arrayOf({3}), trueObject}), 10000, 2));
}

TEST(BinaryPropertyList, CountsAnObjectAsOftenAsItIsReferredTo) {
    EXPECT_TRUE(unfolds(chainOf(3, 2), 10000));
    EXPECT_FALSE(unfolds(chainOf(9, 2), 10000));
}

TEST(BinaryPropertyList, MayHoldNoMoreObjectsThanItsSizeHasRoomFor) {
    const std::vector<std::string> objects(10, trueObject);
    EXPECT_TRUE(unfolds(listOf(objects), 160));
    EXPECT_FALSE(unfolds(listOf(objects), 159));
}

TEST(BinaryPropertyList, NeverUnfoldsIntoItself) {
    EXPECT_FALSE(unfolds(listOf({arrayOf({0})})));
    EXPECT_FALSE(unfolds(listOf({arrayOf({1}), arrayOf({2}), arrayOf({1})})));
}

TEST(BinaryPropertyList, RefusesTextWithTheCharacterZero) {
    EXPECT_TRUE(unfolds(listOf({std::string("\x51") + "a"})));
    EXPECT_TRUE(unfolds(listOf({std::string("\x62\0a\1\0", 5)})));
    EXPECT_FALSE(unfolds(listOf({std::string("\x51\0", 2)})));
    EXPECT_FALSE(unfolds(listOf({std::string("\x62\0a\0\0", 5)})));
}

struct BadTrailer : NamedCase {
    std::size_t position;
    std::string bytes;
};

class BinaryPropertyListTrailer : public testing::TestWithParam<BadTrailer> {};

TEST_P(BinaryPropertyListTrailer, IsRefusedIfItDescribesNoTable) {
    ASSERT_TRUE(unfolds(withTrailer(0, "")));
    EXPECT_FALSE(unfolds(withTrailer(GetParam().position, GetParam().bytes)));
}

INSTANTIATE_TEST_SUITE_P(
    All, BinaryPropertyListTrailer,
    testing::Values(BadTrailer{{"NoWidthOfOffsets"}, 6, std::string(1, '\0')},
                    BadTrailer{{"TooWideOffsets"}, 6, "\x09"},
                    BadTrailer{{"NoWidthOfReferences"}, 7, std::string(1, '\0')},
                    BadTrailer{{"TooManyObjects"}, 8, std::string(8, '\xFF')},
                    BadTrailer{{"NoSuchRoot"}, 16, bigEndian(2, 8)},
                    BadTrailer{{"TableBeyondTheEnd"}, 24, std::string(8, '\xFF')}),
    nameOfCase);

TEST(BinaryPropertyList, IsRefusedWithoutATrailer) {
    EXPECT_FALSE(unfolds("bplist00"));
}

TEST(BinaryPropertyList, RefusesObjectsThatReachBeyondTheBytes) {
    EXPECT_FALSE(unfolds(listOf({arrayOf({2}), trueObject})));
    EXPECT_FALSE(unfolds(listOf({std::string("\xAF\x13") + std::string(8, '\xFF')})));
    EXPECT_FALSE(unfolds(listOf({std::string("\x4F\x14") + std::string(16, '\x01')})));
    EXPECT_FALSE(unfolds(listOf({"\x5E"})));
}

TEST(BinaryPropertyList, RefersToNoObjectBehindTheLast) {
    // Depending on the number, other memory is behind what is known of the objects.
    for (std::size_t count = 1; count <= 50; ++count) {
        std::vector<std::string> objects(count + 1, trueObject);
        objects.front() = arrayOf({count});
        const auto list = listOf(objects);

        EXPECT_TRUE(unfolds(list)) << count;
        EXPECT_FALSE(unfolds(withTrailer(8, bigEndian(count, 8), list))) << count;
    }
}

TEST(BinaryPropertyList, HoldsAnIdentifierOfOneByteMoreThanItsMarkerSays) {
    EXPECT_TRUE(unfolds(listOf({"\x80\x07"})));
    EXPECT_TRUE(unfolds(listOf({std::string("\x81\x07\x07")})));
    EXPECT_FALSE(unfolds(listOf({"\x81\x07"})));
}

TEST(BinaryPropertyList, RefusesAnObjectOfAnUnknownKind) {
    EXPECT_FALSE(unfolds(listOf({"\xC1"})));
}

} // namespace
