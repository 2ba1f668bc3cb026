#include "platform/linux/desktop/Volumes.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

namespace {

using Lines = std::vector<std::string>;

/// Makes the child list the volumes after `script` has mounted something in a private namespace;
/// "$1" is the directory.
class Volumes : public testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = whyNoMounts(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
    }

    /// Returns the volumes in the directory, without the directory's path.
    Lines volumesAfter(const std::string& script) const {
        const auto outcome = runChild({"volumes"}, {},
                                      {"unshare", "-m", "sh", "-ec",
                                       script + "\nshift\nexec \"$@\"", "sh", directory.path()});
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        Lines volumes;
        for (std::size_t begin = 0; begin < outcome.output.size();) {
            const auto end = outcome.output.find('\0', begin);
            const auto path = outcome.output.substr(begin, end - begin);
            if (path.starts_with(directory.path() + "/")) {
                volumes.push_back(path.substr(directory.path().size() + 1));
            }
            begin = end + 1;
        }
        return volumes;
    }

    TemporaryDirectory directory;
};

} // namespace

TEST_F(Volumes, AreWhatIsMounted) {
    EXPECT_EQ(volumesAfter(""), Lines{});
    EXPECT_EQ(volumesAfter(R"sh(mkdir "$1/b" "$1/a"
                                mount -t tmpfs none "$1/b"
                                mount -t tmpfs none "$1/a")sh"),
              (Lines{"b", "a"}));
}

TEST_F(Volumes, HaveNamesOfAnyBytes) {
    EXPECT_EQ(volumesAfter(R"sh(name="$1/$(printf 'a b\tc\\d#\n\377ü')"
                                mkdir "$name"
                                mount -t tmpfs none "$name")sh"),
              (Lines{"a b\tc\\d#\n\xFFü"}));
}

TEST_F(Volumes, AreNotWhatShowsTheKernelOnly) {
    EXPECT_EQ(volumesAfter(R"sh(mkdir "$1/a" "$1/b" "$1/c"
                                mount -t proc none "$1/a"
                                mount -t sysfs none "$1/b"
                                mount -t devpts none "$1/c")sh"),
              Lines{});
}

TEST_F(Volumes, AreNotThoseOfOtherMachines) {
    // The shell becomes the child, whose mount table it replaces.
    EXPECT_EQ(volumesAfter(R"sh(for type in nfs nfs4 cifs fuse.sshfs ext4; do
                                    mkdir "$1/$type"
                                    echo "1 0 0:1 / $1/$type rw - $type host:/a rw"
                                done >"$1/table"
                                mount --bind "$1/table" /proc/$$/mountinfo)sh"),
              Lines{"ext4"});
}

TEST_F(Volumes, AreNotSingleFiles) {
    EXPECT_EQ(volumesAfter(R"sh(touch "$1/file"
                                mount --bind /etc/passwd "$1/file")sh"),
              Lines{});
}

TEST_F(Volumes, AreListedOnceWithWhatIsVisible) {
    EXPECT_EQ(volumesAfter(R"sh(mkdir "$1/a" "$1/b"
                                mount -t tmpfs none "$1/a"
                                mount -t tmpfs none "$1/a"
                                mount -t tmpfs none "$1/b"
                                mount -t proc none "$1/b")sh"),
              (Lines{"a"}));
}

TEST_F(Volumes, OnADeviceAreListed) {
    const auto probe = run({"sh", "-c", "command -v mkfs.ext4 && losetup -f"});
    if (probe.status != 0) {
        GTEST_SKIP() << "no loop device or mkfs.ext4: " << probe.output;
    }
    EXPECT_EQ(volumesAfter(R"sh(mkdir "$1/disk"
                                truncate -s 4M "$1/image"
                                mkfs.ext4 -q "$1/image"
                                mount -o loop "$1/image" "$1/disk")sh"),
              (Lines{"disk"}));
}

TEST(VolumesHere, HaveTheRootWithItsDevice) {
    const auto volumes = qf::native::mountedLocalVolumes();
    struct stat status {};
    ASSERT_EQ(::stat("/", &status), 0);
    const auto root = std::find_if(volumes.begin(), volumes.end(),
                                   [](const auto& volume) { return volume.mountPoint == "/"; });
    if (root == volumes.end()) {
        GTEST_SKIP() << "the root of this machine is no local volume";
    }
    EXPECT_EQ(root->device, status.st_dev);
    EXPECT_EQ(run({"findmnt", "-no", "FSTYPE", "/"}).output, root->type + "\n");
}
