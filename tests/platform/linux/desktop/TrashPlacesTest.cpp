#include "platform/linux/desktop/TrashPlaces.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/desktop/TrashPairs.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

using qf::native::FileDescriptor;
using qf::native::Mover;
using qf::native::trashinfoText;

TEST(ResolvedPath, OfTheRootDirectoryIsASlash) {
    const FileDescriptor root(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));

    EXPECT_EQ(qf::native::resolvedPath(root.get()), "/");
}

/// A kind of volume that Linux has on disks.
struct DiskVolume : NamedCase {
    const char* make; ///< The command that makes one in a file, which is its last argument.
    std::uintmax_t size;
};

constexpr std::uintmax_t mebibyte = 1U << 20U;
const DiskVolume ext4{{"Ext4"}, "mkfs.ext4 -q", 4 * mebibyte};
const DiskVolume xfs{{"Xfs"}, "mkfs.xfs -q", 320 * mebibyte};
const DiskVolume btrfs{{"Btrfs"}, "mkfs.btrfs -q", 128 * mebibyte};

/// A home, and another volume: a file system in a file, mounted while a command runs.
class TrashPlacesTest : public testing::Test {
protected:
    void SetUp() override { makeVolume(ext4); }

    void makeVolume(const DiskVolume& kind) {
        fs::resize_file(image_, kind.size);
        const auto made = run({"sh", "-c", std::string(kind.make) + " \"$0\"", image_});
        if (made.status != 0) {
            GTEST_SKIP() << "the volume can’t be made: " << made.output;
        }
        auto command = withImageOn(volume_, image_);
        command.emplace_back("true");
        if (const auto mounted = run(command); mounted.status != 0) {
            GTEST_SKIP() << "the volume can’t be mounted: " << mounted.output;
        }
    }

    /// Runs a shell script in the volume, as root; RECYCLE NAME trashes the item of this name in
    /// its directory "items".
    std::string onVolume(const std::string& script) const {
        auto command = withImageOn(volume_, image_);
        const auto recycle = "RECYCLE() { " + std::string(QF_CHILD) + " recycle \"" + volume_ +
                             "/items\" \"" + (home_ / ".Trash") + "\" \"$@\"; }\n";
        for (const auto& word : {std::string("sh"), std::string("-c"),
                                 "cd \"" + volume_ + "\"\n" + recycle + script}) {
            command.push_back(word);
        }
        return run(command, {"HOME=" + home_.path()}).output;
    }

    const std::string trash_ = ".Trash-" + std::to_string(::geteuid());
    TemporaryDirectory home_;
    std::string volume_ = home_.makeDirectory("volume");
    std::string image_ = home_.write("image");
};

/// Volumes of each kind.
class TrashOfAVolume : public TrashPlacesTest, public testing::WithParamInterface<DiskVolume> {
protected:
    void SetUp() override { makeVolume(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Kinds, TrashOfAVolume, testing::Values(ext4, xfs, btrfs), nameOfCase);

TEST_P(TrashOfAVolume, TakesAnItemThatIsThere) {
    EXPECT_EQ(onVolume("mkdir -p items/sub; echo whole >'items/a b.txt'; RECYCLE 'a b.txt'; cat " +
                       trash_ + "/files/*; head -2 " + trash_ + "/info/*; stat -c %a " + trash_ +
                       " " + trash_ + "/files " + trash_ + "/info"),
              "ok\nwhole\n[Trash Info]\nPath=items/a%20b.txt\n700\n700\n700\n");
    EXPECT_EQ(namesIn(home_ / ".local/share/Trash/files"), std::vector<std::string>());
}

TEST_F(TrashPlacesTest, TakesBackWhatKilledProcessesLeftThere) {
    const auto claim = home_.write("claim", trashinfoText("items/killed", Mover::self));
    EXPECT_EQ(onVolume("mkdir -p items; echo >items/a; mkdir -m 700 " + trash_ + "; cd " + trash_ +
                       "; mkdir -m 700 files info; cp \"" + claim +
                       "\" info/killed.trashinfo; echo part >files/.qf-0123456789abcdef-1; "
                       "RECYCLE a; ls -A files info"),
              "ok\nfiles:\na\n\ninfo:\na.trashinfo\n");
}

TEST_F(TrashPlacesTest, IsEmptiedByOtherTools) {
    if (run({"trash-empty", "--version"}).status != 0) {
        GTEST_SKIP() << "trash-cli is not installed";
    }
    EXPECT_EQ(onVolume("mkdir -p items/folder; echo >items/a; RECYCLE a folder; trash-empty "
                       "--trash-dir \"$PWD/" +
                       trash_ + "\"; ls -A " + trash_ + "/files " + trash_ + "/info"),
              "ok\n" + trash_ + "/files:\n\n" + trash_ + "/info:\n");
}

TEST_F(TrashPlacesTest, TellsWhereTheItemIs) {
    EXPECT_EQ(onVolume("mkdir items; echo >items/a; " + std::string(QF_CHILD) +
                       " place-in-trash \"$PWD/items\" \"" + (home_ / ".Trash") + "\" a"),
              volume_ + "/" + trash_ + "/files/a\n");
}

TEST_F(TrashPlacesTest, ReplacesNoItemThatHasNoTrashinfoThere) {
    EXPECT_EQ(onVolume("mkdir -p items " + trash_ + "/files; echo theirs >" + trash_ +
                       "/files/a.txt; echo mine >items/a.txt; RECYCLE a.txt; cd " + trash_ +
                       "; cat files/a.txt files/a.2.txt; ls info"),
              "ok\ntheirs\nmine\na.2.txt.trashinfo\n");
}

TEST_F(TrashPlacesTest, UsesTheAdministratorsDirectoryIfItIsSticky) {
    const auto user = std::to_string(::geteuid());
    EXPECT_EQ(onVolume("mkdir -p items .Trash; chmod 1777 .Trash; echo whole >items/a; RECYCLE a; "
                       "cat .Trash/" +
                       user + "/files/a; ls -A"),
              "ok\nwhole\n.Trash\nitems\nlost+found\n");
}

TEST_F(TrashPlacesTest, UsesNoAdministratorsDirectoryThatOthersCouldChange) {
    EXPECT_EQ(onVolume("mkdir -p items .Trash; chmod 777 .Trash; echo whole >items/a; RECYCLE a; "
                       "cat " +
                       trash_ + "/files/a; ls -A .Trash"),
              "ok\nwhole\n");
    EXPECT_EQ(onVolume("rm -r .Trash " + trash_ + "; mkdir -p elsewhere; chmod 1777 elsewhere; " +
                       "ln -s elsewhere .Trash; echo whole >items/a; RECYCLE a; cat " + trash_ +
                       "/files/a; ls -A elsewhere"),
              "ok\nwhole\n");
}

TEST_F(TrashPlacesTest, TakesACopyHomeIfTheVolumeCanHaveNoTrash) {
    EXPECT_EQ(onVolume("mkdir -p items; echo in the way >" + trash_ +
                       "; echo whole >items/a; RECYCLE a; ls items"),
              "ok\n");
    EXPECT_EQ(contentOf(home_ / ".local/share/Trash/files/a"), "whole\n");
    EXPECT_NE(contentOf(home_ / ".local/share/Trash/info/a.trashinfo")
                  .find("Path=" + volume_ + "/items/a\n"),
              std::string::npos);
}

TEST_F(TrashPlacesTest, UsesNoTrashOfAnotherUser) {
    EXPECT_EQ(onVolume("mkdir -p items " + trash_ + "; chown 12345 " + trash_ +
                       "; echo whole >items/a; RECYCLE a; ls " + trash_),
              "ok\n");
    EXPECT_TRUE(exists(home_ / ".local/share/Trash/files/a"));
}

TEST_F(TrashPlacesTest, TakesNothingOnAFullVolume) {
    EXPECT_EQ(onVolume("mkdir -p items; mkdir -m 700 " + trash_ + " " + trash_ + "/files " +
                       trash_ +
                       "/info; echo whole >items/a; head -c 10M /dev/zero >fill 2>/dev/null; sync; "
                       "i=0; while echo >fill$i; do i=$((i+1)); done 2>/dev/null; "
                       "RECYCLE a; cat items/a; ls " +
                       trash_ + "/files " + trash_ + "/info"),
              "28 “a” couldn’t be moved to the Trash because the volume is full.\nwhole\n" +
                  trash_ + "/files:\n\n" + trash_ + "/info:\n");
}

// A copy of the volume's medium while it is mounted is what a power cut leaves.
TEST_P(TrashOfAVolume, HasNoItemWithoutItsTrashinfoAfterAPowerCut) {
    const auto cut = home_ / "cut";
    onVolume("mkdir items; sync");
    EXPECT_EQ(onVolume("for i in 1 2 3 4 5; do echo whole >items/$i; done; sync; "
                       "RECYCLE 1 2 3 4 5; cp \"" +
                       image_ + "\" \"" + cut + "\""),
              "ok\n");

    auto command = withImageOn(volume_, cut);
    for (const auto* word : {"sh", "-c"}) {
        command.emplace_back(word);
    }
    command.push_back("cd \"" + volume_ + "/" + trash_ +
                      "\"; for i in files/*; do head -1 info/${i#files/}.trashinfo; done");
    EXPECT_EQ(run(command).output, "[Trash Info]\n[Trash Info]\n[Trash Info]\n[Trash Info]\n"
                                   "[Trash Info]\n");
}

} // namespace
