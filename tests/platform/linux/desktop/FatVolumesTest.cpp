#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// A kind of volume without owners, modes, links and lasting inode numbers.
struct FatVolume : NamedCase {
    const char* make;  ///< The command that makes one in a file, which is its last argument.
    const char* mount; ///< The command that mounts a file on a directory.
};

/// A home, and a FAT volume that is mounted while a script runs.
class FatVolumes : public testing::TestWithParam<FatVolume> {
protected:
    void SetUp() override {
        fs::resize_file(image_, 16U << 20U);
        const auto made = run({"sh", "-c", std::string(GetParam().make) + " \"$0\"", image_});
        if (made.status != 0) {
            GTEST_SKIP() << "the volume can’t be made: " << made.output;
        }
        const auto probe = onVolume("true");
        if (probe.status != 0) {
            GTEST_SKIP() << "the volume can’t be mounted: " << probe.output;
        }
    }

    /// Runs a shell script in the volume, as root; "$child" does what the tests' child does.
    Outcome onVolume(const std::string& script) const {
        const auto mount = std::string(GetParam().mount) + R"( "$1" "$2" || exit
            child=$3; volume=$2; cd "$2"; )";
        return run({"unshare", "-m", "sh", "-c",
                    mount + script + R"(; status=$?; cd /; umount "$volume"; exit $status)", "sh",
                    image_, volume_, QF_CHILD},
                   {"HOME=" + home_.path()});
    }

    TemporaryDirectory home_;
    std::string volume_ = home_.makeDirectory("volume");
    std::string image_ = home_.write("image");
};

TEST_P(FatVolumes, HaveATrashOfTheirOwn) {
    const auto trash = ".Trash-" + std::to_string(::geteuid());
    EXPECT_EQ(onVolume(R"(mkdir items; for name in first second; do echo $name >items/a.txt
                          "$child" recycle "$volume/items" "$HOME/.Trash" a.txt; done
                          cat )" +
                       trash + "/files/a.txt " + trash + "/files/a.2.txt; grep -h ^Path " + trash +
                       "/info/*; ls -A items " + trash + "/files " + trash + "/info")
                  .output,
              "ok\nok\nfirst\nsecond\nPath=items/a.txt\nPath=items/a.txt\n" + trash +
                  "/files:\na.2.txt\na.txt\n\n" + trash +
                  "/info:\na.2.txt.trashinfo\na.txt.trashinfo\n\nitems:\n");
}

TEST_P(FatVolumes, TakeATreeAndReturnIt) {
    std::string forgetting = "env"; // The volume numbers its items anew when they are forgotten.
    for (const auto& variable : withFaults("syncfs:1:forget")) {
        forgetting += " '" + variable + "'";
    }
    EXPECT_EQ(onVolume("forgetting() { " + forgetting + R"( "$@"; }
                          mkdir -p "$HOME/tree/sub"
                          for name in a b sub/c; do echo $name >"$HOME/tree/$name"; done
                          "$child" move "$HOME/tree" "$volume/tree"; ls -A "$HOME"
                          forgetting "$child" move "$volume/tree" "$HOME/back"
                          ls -A "$volume"; cd "$HOME/back"; cat a b sub/c)")
                  .output,
              "ok\nimage\nvolume\nok\nfaults: 1\na\nb\nsub/c\n");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FatVolumes,
    testing::Values(FatVolume{{"Vfat"}, "mkfs.vfat", "mount -t vfat -o loop"},
                    FatVolume{{"ExfatByFuse"}, "mkfs.exfat", "mount -t exfat-fuse -o loop"}),
    nameOfCase);

} // namespace
