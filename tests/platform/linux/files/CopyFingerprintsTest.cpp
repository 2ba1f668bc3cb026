#include "platform/linux/files/CopyFingerprints.h"

#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <initializer_list>

using qf::native::CopyFingerprints;
using qf::native::placeBelow;
using qf::native::TreePlace;

namespace {

struct statx fileStatus() {
    struct statx status {};
    status.stx_dev_major = 8;
    status.stx_dev_minor = 1;
    status.stx_ino = 4711;
    status.stx_mode = S_IFREG | 0644;
    status.stx_size = 100;
    status.stx_mtime = {.tv_sec = 1'700'000'000, .tv_nsec = 5};
    return status;
}

struct statx directoryStatus() {
    auto status = fileStatus();
    status.stx_mode = S_IFDIR | 0755;
    return status;
}

bool isKnownAfter(const struct statx& added, void (*change)(struct statx&)) {
    CopyFingerprints fingerprints;
    fingerprints.add(added, TreePlace::top);
    fingerprints.close();
    auto changed = added;
    change(changed);
    return fingerprints.contains(changed);
}

TEST(CopyFingerprintsTest, KnowsWhatWasAdded) {
    EXPECT_TRUE(isKnownAfter(fileStatus(), [](struct statx&) {}));
}

TEST(CopyFingerprintsTest, KnowsNothingElse) {
    EXPECT_FALSE(isKnownAfter(fileStatus(), [](struct statx& file) { ++file.stx_ino; }));
    EXPECT_FALSE(isKnownAfter(fileStatus(), [](struct statx& file) { ++file.stx_dev_minor; }));
    EXPECT_FALSE(isKnownAfter(fileStatus(), [](struct statx& file) { ++file.stx_dev_major; }));
}

TEST(CopyFingerprintsTest, KnowsNoFileThatHasChanged) {
    EXPECT_FALSE(isKnownAfter(fileStatus(), [](struct statx& file) { ++file.stx_size; }));
    EXPECT_FALSE(isKnownAfter(fileStatus(), [](struct statx& file) { ++file.stx_mtime.tv_sec; }));
    EXPECT_FALSE(isKnownAfter(fileStatus(), [](struct statx& file) { ++file.stx_mtime.tv_nsec; }));
}

TEST(CopyFingerprintsTest, KnowsNoItemThatHasBecomeOfAnotherKind) {
    EXPECT_FALSE(
        isKnownAfter(fileStatus(), [](struct statx& file) { file.stx_mode = S_IFLNK | 0644; }));
}

TEST(CopyFingerprintsTest, KnowsAFileWhoseModeAloneHasChanged) {
    EXPECT_TRUE(
        isKnownAfter(fileStatus(), [](struct statx& file) { file.stx_mode = S_IFREG | 0600; }));
}

TEST(CopyFingerprintsTest, KnowsADirectoryThatIsBeingEmptied) {
    EXPECT_TRUE(isKnownAfter(directoryStatus(), [](struct statx& directory) {
        directory.stx_size = 0;
        ++directory.stx_mtime.tv_sec;
    }));
}

/// The fingerprint of a file in a directory, and a file of another number at its place.
class CopyFingerprintsByPlace : public testing::Test {
protected:
    CopyFingerprintsByPlace() {
        fingerprints_.add(fileStatus(), place_);
        fingerprints_.close();
        ++status_.stx_ino;
        ++status_.stx_dev_minor;
    }

    const TreePlace place_ = placeBelow(placeBelow(TreePlace::top, "directory"), "file");
    CopyFingerprints fingerprints_;
    struct statx status_ = fileStatus();
};

TEST_F(CopyFingerprintsByPlace, KnowAnItem) {
    EXPECT_TRUE(fingerprints_.containsAtPlace(status_, place_));
    EXPECT_FALSE(fingerprints_.containsAtPlace(status_, TreePlace::top));
    EXPECT_FALSE(fingerprints_.containsAtPlace(status_, placeBelow(TreePlace::top, "file")));
}

/// What has changed in an item.
using ItemChange = NamedValue<void (*)(struct statx&)>;

class CopyFingerprintsOfAChange : public CopyFingerprintsByPlace,
                                  public testing::WithParamInterface<ItemChange> {};

TEST_P(CopyFingerprintsOfAChange, KnowNoItemAtItsPlace) {
    GetParam().value(status_);
    EXPECT_FALSE(fingerprints_.containsAtPlace(status_, place_));
}

INSTANTIATE_TEST_SUITE_P(
    , CopyFingerprintsOfAChange,
    testing::Values(
        ItemChange{{"Size"}, [](struct statx& file) { ++file.stx_size; }},
        ItemChange{{"Seconds"}, [](struct statx& file) { ++file.stx_mtime.tv_sec; }},
        ItemChange{{"Nanoseconds"}, [](struct statx& file) { ++file.stx_mtime.tv_nsec; }},
        ItemChange{{"ToALink"}, [](struct statx& file) { file.stx_mode = S_IFLNK | 0644; }},
        ItemChange{{"ToADirectory"}, [](struct statx& file) { file.stx_mode = S_IFDIR | 0755; }}),
    nameOfCase);

TEST(CopyFingerprintsTest, TellsPlacesByAllNamesOnTheWay) {
    const auto a = placeBelow(TreePlace::top, "a");
    const auto b = placeBelow(TreePlace::top, "b");
    EXPECT_NE(a, TreePlace::top);
    EXPECT_NE(a, b);
    EXPECT_NE(placeBelow(a, "b"), placeBelow(b, "a"));
    EXPECT_NE(placeBelow(a, "a"), a);
    EXPECT_NE(placeBelow(a, "b"), placeBelow(TreePlace::top, "ab"));
}

TEST(CopyFingerprintsTest, KnowsEachOfMany) {
    CopyFingerprints fingerprints;
    auto status = fileStatus();
    for (int i = 0; i < 1000; ++i) {
        ++status.stx_ino;
        fingerprints.add(status, TreePlace::top);
    }
    fingerprints.close();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(fingerprints.contains(status));
        --status.stx_ino;
    }
    EXPECT_FALSE(fingerprints.contains(status));
}

} // namespace
