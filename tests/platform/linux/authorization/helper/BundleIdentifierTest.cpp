// The identifier of an application, in property lists of any bytes.

#include "platform/linux/authorization/helper/BundleIdentifier.h"

#include "tests/platform/linux/authorization/helper/InformationLists.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

using qf::native::helper::identifierIn;
using namespace std::string_literals;

TEST(BundleIdentifier, IsReadFromListsOfBothKinds) {
    EXPECT_EQ(identifierIn(listWith("com.example.Player")), "com.example.Player");
    EXPECT_EQ(identifierIn(binaryListWith("com.example.Player")), "com.example.Player");
}

TEST(BundleIdentifier, IsThatOfTheOutermostObject) {
    constexpr char key = 1;
    EXPECT_EQ(identifierIn(binaryListWith("com.example.Player", key)), "");
}

TEST(BundleIdentifier, IsReadWherePlacesAndReferencesHaveOtherSizes) {
    constexpr char placeSize = 2;
    EXPECT_EQ(identifierIn(binaryListWith("com.example.Player", 0, placeSize)),
              "com.example.Player");
}

TEST(BundleIdentifier, IsNotReadInACommentWithoutAnEnd) {
    EXPECT_EQ(identifierIn("<plist><!-- <dict><key>CFBundleIdentifier</key><string>x</string>"),
              "");
}

class BundleIdentifierInAList : public testing::TestWithParam<NamedText> {};

TEST_P(BundleIdentifierInAList, SurvivesEveryCutAndEveryChangedByteOfAList) {
    const std::string& list = GetParam().value;
    for (std::size_t length = 0; length < list.size(); ++length) {
        EXPECT_NE(identifierIn(list.substr(0, length)), "inner");
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = list;
            changed[length] = static_cast<char>(byte);
            EXPECT_LE(identifierIn(changed).size(), list.size());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, BundleIdentifierInAList,
                         testing::Values(NamedText{{"OfText"}, listWith("com.example.Player")},
                                         NamedText{{"Binary"},
                                                   binaryListWith("com.example.Player")}),
                         nameOfCase);

// A dictionary of 2^63 entries whose references have no bytes is a list of 80 bytes.
class BundleIdentifierInACountlessList : public testing::TestWithParam<NamedText> {};

TEST_P(BundleIdentifierInACountlessList, IsNotLookedForWithoutEnd) {
    const std::string countless = "\xdf\x13\x7f"s + std::string(7, '\xff');
    const std::string place(1, static_cast<char>(sizeof "bplist00" - 1));
    const std::string trailer = std::string(6, '\0') + GetParam().value + std::string(23, '\0') +
                                static_cast<char>(place[0] + static_cast<char>(countless.size()));
    EXPECT_EQ(identifierIn("bplist00" + countless + place + trailer), "");
}

// The bytes of a place, and of a reference.
INSTANTIATE_TEST_SUITE_P(, BundleIdentifierInACountlessList,
                         testing::Values(NamedText{{"NoReferences"}, "\x01\x00"s},
                                         NamedText{{"NoPlaces"}, "\x00\x01"s},
                                         NamedText{{"Neither"}, "\x00\x00"s},
                                         NamedText{{"LargeReferences"}, "\x01\x09"s}),
                         nameOfCase);
