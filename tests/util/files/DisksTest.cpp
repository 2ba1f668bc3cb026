#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "platform/linux/process/ToolOverlay.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/files/QFFileManager.h"

#include <sys/stat.h>

#include <chrono>

namespace {

class MountedVolumes : public DescribedMachine {
protected:
    MountedVolumes() { workspace.volumes = {"/", "/Volumes/Data", "/Volumes/Data/Inner", "/home"}; }
};

/// The real launcher with a disk utility that a test writes.
class DiskInformation : public DescribedMachine {
protected:
    DiskInformation() : overlay_(qf::native::setToolOverlay(directory.path())) {}
    ~DiskInformation() override { qf::native::setToolOverlay(overlay_); }

    void writeTool(const std::string& script) const {
        ::chmod(directory.write("usr/sbin/diskutil", "#!/bin/sh\n" + script).c_str(), S_IRWXU);
    }

    TemporaryDirectory directory;

private:
    std::string overlay_;
    qf::native::ProcessLauncher processes_;
    qf::native::PropertyLists propertyLists_;
    qf::ScopedService<qf::ProcessLauncher> processesScope_{processes_};
    qf::ScopedService<qf::PropertyLists> propertyListsScope_{propertyLists_};
};

constexpr const char* description = R"(cat << end
<plist version="1.0"><dict><key>arguments</key><string>$*</string>
<key>TotalSize</key><integer>12345678901234</integer></dict></plist>
end
)";

} // namespace

TEST_F(MountedVolumes, ThePathOfAVolumeAndWhatIsInItAreOnThatVolume) {
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes/Data"), "/Volumes/Data");
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes/Data/x"), "/Volumes/Data");
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/home/a"), "/home");
}

TEST_F(MountedVolumes, ANameThatOnlyBeginsAsAVolumesIsNotOnIt) {
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes/DataX/x"), std::nullopt);
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/homestead"), "/");
}

TEST_F(MountedVolumes, WhatIsOnNoOtherVolumeIsOnTheFirstOne) {
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Users/a"), "/");
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/"), "/");
    EXPECT_EQ(QFFileManager::volumeMountPointForPath(""), "/");
}

TEST_F(MountedVolumes, AVolumeThatIsNotMountedIsNotListed) {
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes/Gone/x"), std::nullopt);
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes"), std::nullopt);
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/VolumesX"), std::nullopt);
}

TEST_F(MountedVolumes, TheFirstOfSeveralInTheSystemsOrderCounts) {
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes/Data/Inner/x"), "/Volumes/Data");
    workspace.volumes = {"/Volumes/Data/Inner", "/Volumes/Data"};
    EXPECT_EQ(QFFileManager::volumeMountPointForPath("/Volumes/Data/Inner/x"),
              "/Volumes/Data/Inner");
}

TEST_F(DiskInformation, IsWhatTheDiskUtilitySays) {
    writeTool(description);
    const auto info = QFFileManager::infoForDiskAtMountpoint("/Volumes/My Data");
    EXPECT_EQ(info["arguments"], qf::Value("info -plist /Volumes/My Data"));
    EXPECT_EQ(info["TotalSize"], qf::Value(std::int64_t{12'345'678'901'234}));
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(DiskInformation, IsNoneWhenNothingIsSaid) {
    writeTool("exit 0\n");
    EXPECT_TRUE(QFFileManager::infoForDiskAtMountpoint("/").isNone());
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(DiskInformation, IsNoneWithoutTheDiskUtility) {
    EXPECT_TRUE(QFFileManager::infoForDiskAtMountpoint("/").isNone());
    EXPECT_EQ(loggedLines(), (Lines{"Error: /usr/sbin/diskutil is not executable"}));
}

TEST_F(DiskInformation, ThatIsNoPropertyListIsToldToTheConsole) {
    writeTool("echo Could not find disk >&2; exit 1\n");
    EXPECT_TRUE(QFFileManager::infoForDiskAtMountpoint("/nowhere").isNone());
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error converting diskutil output: The data couldn’t be read because it isn’t "
                     "a property list."}));
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(DiskInformation, IsNoneWhenTheDiskUtilityTakesMoreThanFiveSeconds) {
    auto& mainLoop = MainLoop::shared();
    const qf::ScopedService<qf::Application> scope(mainLoop);
    const int before = mainLoop.performed();
    writeTool("exec sleep 600\n");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(QFFileManager::infoForDiskAtMountpoint("/").isNone());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    mainLoop.waitUntilPerformed(before + 1);
    EXPECT_EQ(loggedLines(), (Lines{"Task /usr/sbin/diskutil timed out. Terminating..."}));
    EXPECT_EQ(console.systemLogLines(), Lines{});
}
