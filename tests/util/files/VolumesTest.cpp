#include "tests/util/files/FileManagerTest.h"

namespace {

class Volumes : public FileManagerTest {
protected:
    Volumes() { fileSystem.directories = {{"/Volumes/Data", Lines{}}}; }
};

class MountedVolumePath : public Volumes, public testing::WithParamInterface<std::string> {};
class MissingVolumePath : public Volumes, public testing::WithParamInterface<std::string> {};

} // namespace

TEST_P(MountedVolumePath, IsOnAMountedVolume) {
    EXPECT_TRUE(QFFileManager::isVolumeMountedForPath(GetParam()));
    EXPECT_TRUE(QFFileManager::isDriveMountedForPath(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Elsewhere, MountedVolumePath,
                         testing::Values("/Users/a", "/", "", "Volumes/Gone/x", "/volumes/Gone/x"));
INSTANTIATE_TEST_SUITE_P(DirectoryOfVolumes, MountedVolumePath,
                         testing::Values("/Volumes", "/Volumes/"));
INSTANTIATE_TEST_SUITE_P(ExistingDirectory, MountedVolumePath,
                         testing::Values("/Volumes/Data", "/Volumes/Data/",
                                         "/Volumes/Data/missing/x"));

TEST_P(MissingVolumePath, IsOnNoMountedVolume) {
    EXPECT_FALSE(QFFileManager::isVolumeMountedForPath(GetParam()));
    EXPECT_FALSE(QFFileManager::isDriveMountedForPath(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(MissingDirectory, MissingVolumePath,
                         testing::Values("/Volumes/Gone", "/Volumes/Gone/x", "/Volumes//Gone"));

TEST_F(Volumes, OnlyTheVolumeTestTakesADirectoryWhoseNameBeginsLikeThatOfVolumes) {
    EXPECT_FALSE(QFFileManager::isVolumeMountedForPath("/VolumesX/a"));
    EXPECT_TRUE(QFFileManager::isDriveMountedForPath("/VolumesX/a"));
    fileSystem.files = {"/VolumesX/a"};
    EXPECT_TRUE(QFFileManager::isVolumeMountedForPath("/VolumesX/a/b"));
}
