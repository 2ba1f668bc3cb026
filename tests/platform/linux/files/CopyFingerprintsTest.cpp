#include "platform/linux/files/CopyFingerprints.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using platform::native::CopyFingerprints;

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
    fingerprints.add(added);
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

TEST(CopyFingerprintsTest, KnowsEachOfMany) {
    CopyFingerprints fingerprints;
    auto status = fileStatus();
    for (int i = 0; i < 1000; ++i) {
        ++status.stx_ino;
        fingerprints.add(status);
    }
    fingerprints.close();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(fingerprints.contains(status));
        --status.stx_ino;
    }
    EXPECT_FALSE(fingerprints.contains(status));
}

} // namespace
