#include "tests/util/files/FileManagerTest.h"

namespace {

class Volumes : public FileManagerTest {
protected:
    Volumes() { fileSystem.directories = {{"/Volumes/Data", Lines{}}}; }
};

} // namespace

TEST_F(Volumes, APathElsewhereIsOnAMountedVolume) {
    for (const auto* path : {"/Users/a", "/", "", "Volumes/Gone/x", "/volumes/Gone/x"}) {
        EXPECT_TRUE(QFFileManager::isVolumeMountedForPath(path)) << path;
        EXPECT_TRUE(QFFileManager::isDriveMountedForPath(path)) << path;
    }
}

TEST_F(Volumes, TheDirectoryOfVolumesIsAlwaysThere) {
    for (const auto* path : {"/Volumes", "/Volumes/"}) {
        EXPECT_TRUE(QFFileManager::isVolumeMountedForPath(path)) << path;
        EXPECT_TRUE(QFFileManager::isDriveMountedForPath(path)) << path;
    }
}

TEST_F(Volumes, AVolumeIsMountedWhenItsDirectoryExists) {
    for (const auto* path : {"/Volumes/Data", "/Volumes/Data/", "/Volumes/Data/missing/x"}) {
        EXPECT_TRUE(QFFileManager::isVolumeMountedForPath(path)) << path;
        EXPECT_TRUE(QFFileManager::isDriveMountedForPath(path)) << path;
    }
    for (const auto* path : {"/Volumes/Gone", "/Volumes/Gone/x", "/Volumes//Gone"}) {
        EXPECT_FALSE(QFFileManager::isVolumeMountedForPath(path)) << path;
        EXPECT_FALSE(QFFileManager::isDriveMountedForPath(path)) << path;
    }
}

TEST_F(Volumes, OnlyTheVolumeTestTakesADirectoryWhoseNameBeginsLikeThatOfVolumes) {
    EXPECT_FALSE(QFFileManager::isVolumeMountedForPath("/VolumesX/a"));
    EXPECT_TRUE(QFFileManager::isDriveMountedForPath("/VolumesX/a"));
    fileSystem.files = {"/VolumesX/a"};
    EXPECT_TRUE(QFFileManager::isVolumeMountedForPath("/VolumesX/a/b"));
}
