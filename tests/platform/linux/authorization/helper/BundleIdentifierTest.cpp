// The identifier of an application, in property lists of any bytes.

#include "platform/linux/authorization/helper/BundleIdentifier.h"

#include "tests/platform/linux/authorization/helper/InformationLists.h"

#include <gtest/gtest.h>

using platform::native::helper::identifierIn;

TEST(BundleIdentifier, IsReadFromListsOfBothKinds) {
    EXPECT_EQ(identifierIn(listWith("com.example.Player")), "com.example.Player");
    EXPECT_EQ(identifierIn(binaryListWith("com.example.Player")), "com.example.Player");
}

TEST(BundleIdentifier, SurvivesEveryCutAndEveryChangedByteOfAList) {
    for (const auto& list :
         {listWith("com.example.Player"), binaryListWith("com.example.Player")}) {
        for (std::size_t length = 0; length < list.size(); ++length) {
            EXPECT_NE(identifierIn(list.substr(0, length)), "inner");
            for (int byte = 0; byte < 256; ++byte) {
                std::string changed = list;
                changed[length] = static_cast<char>(byte);
                EXPECT_LE(identifierIn(changed).size(), list.size());
            }
        }
    }
}

// A dictionary of 2^63 entries whose references have no bytes is a list of 80 bytes.
TEST(BundleIdentifier, IsNotLookedForWithoutEnd) {
    using namespace std::string_literals;
    const std::string countless = "\xdf\x13\x7f"s + std::string(7, '\xff');
    const std::string place(1, static_cast<char>(sizeof "bplist00" - 1));
    const auto trailerWith = [&](char placeSize, char referenceSize) {
        return std::string(6, '\0') + placeSize + referenceSize + std::string(23, '\0') +
               static_cast<char>(place[0] + static_cast<char>(countless.size()));
    };
    for (const auto& sizes : {"\x01\x00"s, "\x00\x01"s, "\x00\x00"s, "\x01\x09"s}) {
        EXPECT_EQ(identifierIn("bplist00" + countless + place + trailerWith(sizes[0], sizes[1])),
                  "");
    }
}
