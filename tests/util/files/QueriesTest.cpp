#include "tests/support/NamedCase.h"
#include "tests/util/files/FileManagerTest.h"

#include <cmath>
#include <limits>

namespace {

class FileQueries : public FileManagerTest {
protected:
    FileQueries() {
        fileSystem.files = {"/file"};
        fileSystem.directories = {{"/folder", Lines{}}, {"/Tool.app", Lines{}}};
        workspace.packages = {"/Tool.app"};
    }
};

struct Size : NamedCase {
    double size;
    const char* shown;
};

class ShownSize : public testing::TestWithParam<Size> {};

} // namespace

TEST_F(FileQueries, AnItemAtAPathExists) {
    EXPECT_TRUE(QFFileManager::fileExistsAtPath("/file"));
    EXPECT_TRUE(QFFileManager::fileExistsAtPath("/folder"));
    EXPECT_FALSE(QFFileManager::fileExistsAtPath("/missing"));
}

TEST_F(FileQueries, OnlyADirectoryIsADirectory) {
    EXPECT_TRUE(QFFileManager::isDirectoryAtPath("/folder"));
    EXPECT_FALSE(QFFileManager::isDirectoryAtPath("/file"));
    EXPECT_FALSE(QFFileManager::isDirectoryAtPath("/missing"));
}

TEST_F(FileQueries, ThePackageIsWhatTheDesktopTakesForOne) {
    EXPECT_TRUE(QFFileManager::isPackageAtPath("/Tool.app"));
    EXPECT_FALSE(QFFileManager::isPackageAtPath("/folder"));
}

TEST_F(FileQueries, DatesAreTheItemsOwn) {
    const auto moment = pauses.now();
    fileSystem.attributes["/file"] = {.modificationDate = moment,
                                      .creationDate = moment - std::chrono::hours(1)};
    EXPECT_EQ(QFFileManager::modificationDateForFile("/file"), moment);
    EXPECT_EQ(QFFileManager::creationDateForFile("/file"), moment - std::chrono::hours(1));
}

TEST_F(FileQueries, WhatIsMissingHasNoDates) {
    EXPECT_EQ(QFFileManager::modificationDateForFile("/missing"), std::nullopt);
    EXPECT_EQ(QFFileManager::creationDateForFile("/missing"), std::nullopt);
    EXPECT_NE(QFFileManager::modificationDateForFile("/file"), std::nullopt);
    EXPECT_EQ(QFFileManager::creationDateForFile("/file"),
              std::nullopt); // its volume stores no creation dates
}

TEST_F(FileQueries, TheLockedFlagIsTheItems) {
    fileSystem.attributes["/file"] = {.immutable = true};
    EXPECT_TRUE(QFFileManager::isFileLocked("/file"));
    EXPECT_FALSE(QFFileManager::isFileLocked("/folder"));
    EXPECT_FALSE(QFFileManager::isFileLocked("/missing"));
}

class FileQueriesOfAnyPath : public FileQueries, public testing::WithParamInterface<NamedText> {};

TEST_P(FileQueriesOfAnyPath, FindNothingOpenForWriting) {
    EXPECT_FALSE(QFFileManager::fileIsOpenForWriting(GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(All, FileQueriesOfAnyPath,
                         testing::Values(NamedText{{"File"}, "/file"},
                                         NamedText{{"Directory"}, "/folder"},
                                         NamedText{{"Missing"}, "/missing"},
                                         NamedText{{"Empty"}, ""}),
                         nameOfCase);

TEST_F(FileQueries, ADirectoriesSizeIsTheSumOfWhatIsBelowIt) {
    fileSystem.directories = {{"/folder", Lines{"ten", "sub", "unreadable"}},
                              {"/folder/sub", Lines{"five", "empty"}},
                              {"/folder/sub/empty", Lines{}},
                              {"/folder/unreadable", std::nullopt}};
    fileSystem.files = {"/folder/ten", "/folder/sub/five"};
    fileSystem.attributes["/folder/ten"] = {.size = 10};
    fileSystem.attributes["/folder/sub/five"] = {.size = 5};
    EXPECT_EQ(QFFileManager::fileSize("/folder"), 15U);
    EXPECT_EQ(QFFileManager::fileSize("/folder/ten"), 10U);
    EXPECT_EQ(QFFileManager::fileSize("/folder/sub/empty"), 0U);
    EXPECT_EQ(QFFileManager::fileSize("/folder/unreadable"), 0U);
    EXPECT_EQ(QFFileManager::fileSize("/missing"), 0U);
}

TEST_F(FileQueries, ASizeMayTakeAllItsBits) {
    fileSystem.attributes["/file"] = {.size = std::numeric_limits<std::uint64_t>::max()};
    EXPECT_EQ(QFFileManager::fileSize("/file"), std::numeric_limits<std::uint64_t>::max());
}

TEST_P(ShownSize, IsInBinarySteps) {
    EXPECT_EQ(QFFileManager::formatFileSize(GetParam().size), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    All, ShownSize,
    testing::Values(
        Size{{"Nothing"}, 0, "0 B"}, Size{{"Byte"}, 1, "1 B"},
        Size{{"BeforeTheKilobyte"}, 1023, "1023 B"}, Size{{"PartOfAByte"}, 1023.4, "1023 B"},
        Size{{"Kilobyte"}, 1024, "1.00 KB"}, Size{{"PartOfAKilobyte"}, 1536, "1.50 KB"},
        Size{{"BeforeTheMegabyte"}, 1048575, "1024.00 KB"}, Size{{"Megabyte"}, 1048576, "1.00 MB"},
        Size{{"BeforeTheGigabyte"}, 1073741823, "1024.00 MB"},
        Size{{"Gigabyte"}, 1073741824, "1.00 GB"},
        Size{{"BeforeTheTerabyte"}, 1099511627775, "1024.00 GB"},
        Size{{"Terabyte"}, 1099511627776, "1.00 TB"}, Size{{"Petabyte"}, 0x1p50, "1024.00 TB"},
        Size{{"Negative"}, -5, "-5 B"}, Size{{"NegativeKilobytes"}, -2048, "-2048 B"},
        Size{{"Infinity"}, std::numeric_limits<double>::infinity(), "inf TB"},
        Size{{"NoNumber"}, std::nan(""), "nan TB"}),
    nameOfCase);
