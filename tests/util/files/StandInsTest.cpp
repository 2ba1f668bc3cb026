// The file manager with this machine's own stand-ins for the system's tools.

#include "platform/linux/desktop/Workspace.h"
#include "platform/linux/files/FileSystem.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/process/ProcessLauncher.h"
#include "platform/linux/process/ToolOverlay.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"
#include "util/files/QFFileManager.h"
#include "util/task/QFTaskEx.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

constexpr const char* attribute = "user.com.apple.progress.fractionCompleted";

class StandIns : public DescribedMachine {
protected:
    StandIns() : overlay_(qf::native::setToolOverlay(QF_TOOLS)) {}
    ~StandIns() override { qf::native::setToolOverlay(overlay_); }

    std::string progress() const {
        std::array<char, 64> value{};
        const auto size = ::getxattr(file.c_str(), attribute, value.data(), value.size());
        return size < 0 ? "none" : std::string(value.data(), static_cast<std::size_t>(size));
    }

    TemporaryDirectory directory;
    std::string file = directory.write("file", "content");

private:
    std::string overlay_;
    qf::native::FileSystem onDisk_;
    qf::native::ProcessLauncher processes_;
    qf::native::PropertyLists propertyLists_;
    qf::native::Workspace desktop_{account, searchPaths, propertyLists_};
    qf::ScopedService<qf::FileSystem> onDiskScope_{onDisk_};
    qf::ScopedService<qf::ProcessLauncher> processesScope_{processes_};
    qf::ScopedService<qf::PropertyLists> propertyListsScope_{propertyLists_};
    qf::ScopedService<qf::Workspace> desktopScope_{desktop_};
};

} // namespace

class StandInsByPath : public StandIns, public testing::WithParamInterface<NamedText> {};

TEST_P(StandInsByPath, CanBeLaunched) {
    EXPECT_TRUE(qf::service<qf::ProcessLauncher>().canLaunch(GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(, StandInsByPath,
                         testing::Values(NamedText{{"Ditto"}, "/usr/bin/ditto"},
                                         NamedText{{"Xattr"}, "/usr/bin/xattr"},
                                         NamedText{{"Diskutil"}, "/usr/sbin/diskutil"},
                                         NamedText{{"Chown"}, "/usr/sbin/chown"}),
                         nameOfCase);

TEST_F(StandIns, SetAndRemoveProgress) {
    if (::setxattr(file.c_str(), "user.test", "", 0, 0) != 0) {
        GTEST_SKIP() << "no extended attributes in " << directory.path() << ": "
                     << std::strerror(errno);
    }
    QFFileManager::setFinderProgress(0.5F, file);
    EXPECT_EQ(progress(), "0.500");
    QFFileManager::setFinderProgress(0.25F, file);
    EXPECT_EQ(progress(), "0.250");
    QFFileManager::removeFinderProgressForFile(file);
    EXPECT_EQ(progress(), "none");
    QFFileManager::removeFinderProgressForFile(file);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(StandIns, ShowProgressByTheCreationDate) {
    if (::setxattr(file.c_str(), "user.test", "", 0, 0) != 0) {
        GTEST_SKIP() << "no extended attributes in " << directory.path() << ": "
                     << std::strerror(errno);
    }
    const qf::Date modified{std::chrono::seconds(1'000'000'000)};
    ASSERT_TRUE(QFFileManager::setModificationDate(modified, file));
    QFFileManager::setFinderProgress(0.5F, file);
    const auto created = QFFileManager::creationDateForFile(file);
    ASSERT_TRUE(created);
    EXPECT_EQ(qf::description(*created), "1984-01-24 08:00:00 +0000");
    EXPECT_EQ(QFFileManager::modificationDateForFile(file), modified);
    QFFileManager::removeFinderProgressForFile(file);
    EXPECT_EQ(QFFileManager::creationDateForFile(file), modified);
    EXPECT_EQ(QFFileManager::modificationDateForFile(file), modified);
}

TEST_F(StandIns, LabelFiles) {
    if (::setxattr(file.c_str(), "user.test", "", 0, 0) != 0) {
        GTEST_SKIP() << "no extended attributes in " << directory.path() << ": "
                     << std::strerror(errno);
    }
    EXPECT_EQ(QFFileManager::finderColorForPath(file), std::nullopt);
    QFFileManager::setFinderColorIndex(6, file);
    EXPECT_EQ(QFFileManager::finderColorIndexForPath(file), 6);
    EXPECT_EQ(QFFileManager::finderColorForPath(file),
              (qf::CalibratedColor{.hue = 0.0083, .saturation = 0.54, .brightness = 1.0}));
    QFFileManager::setFinderColorIndex(0, file);
    EXPECT_EQ(QFFileManager::finderColorIndexForPath(file), 0);
}

TEST_F(StandIns, DescribeTheVolumeOfAFile) {
    const auto mountPoint = QFFileManager::volumeMountPointForPath(file);
    ASSERT_TRUE(mountPoint);
    const auto info = QFFileManager::infoForDiskAtMountpoint(*mountPoint);
    if (info.isNone()) {
        GTEST_SKIP() << *mountPoint << " is no local volume on this machine";
    }
    EXPECT_EQ(info["MountPoint"], qf::Value(*mountPoint));
    EXPECT_GT(*info["TotalSize"].as<std::int64_t>(), 0);
}

TEST_F(StandIns, HaveNoDescriptionOfADirectory) {
    EXPECT_TRUE(QFFileManager::infoForDiskAtMountpoint(directory.path()).isNone());
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error converting diskutil output: The data couldn’t be read because it isn’t "
                     "a property list."}));
}

TEST_F(StandIns, PackAndUnpack) {
    directory.write("src/file", "content");
    EXPECT_TRUE(QFTaskEx::runTask("/usr/bin/ditto",
                                  {"-ck", "--keepParent", directory / "src", directory / "a.zip"}));
    EXPECT_TRUE(
        QFTaskEx::runTask("/usr/bin/ditto", {"-xk", directory / "a.zip", directory / "out"}));
    EXPECT_EQ(contentOf(directory / "out/src/file"), "content");
}

TEST_F(StandIns, ChangeOwners) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give a file away";
    }
    EXPECT_EQ(QFTaskEx::terminationCodeFromTask("/usr/sbin/chown", {"65534:65534", file}), 0);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 65534U);
    EXPECT_EQ(status.st_gid, 65534U);
}
