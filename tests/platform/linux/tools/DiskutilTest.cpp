#include "platform/linux/plist/PropertyLists.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;
using qf::Value;

namespace {

using Words = std::vector<std::string>;

constexpr const char* diskutilUsage = "usage: diskutil info -plist MOUNTPOINT\n";

Outcome diskutil(Words words) {
    words.insert(words.begin(), QF_DISKUTIL);
    return run(words);
}

Value parsed(const std::string& text) {
    return qf::native::PropertyLists().parse(text);
}

/// Runs a script in a private mount namespace with the directory as "$1" and the tool as "$2".
Outcome inNamespace(const std::string& script, const TemporaryDirectory& directory) {
    return run({"unshare", "-m", "sh", "-ec", script, "sh", directory.path(), QF_DISKUTIL});
}

/// Returns the part of `text` between two marks that are on lines of their own.
std::string between(const std::string& text, const std::string& from, const std::string& to) {
    const auto begin = text.find(from + "\n");
    const auto end = text.find(to + "\n");
    return begin == std::string::npos || end == std::string::npos
               ? ""
               : text.substr(begin + from.size() + 1, end - begin - from.size() - 1);
}

} // namespace

class DiskutilMisuse : public testing::TestWithParam<Words> {};

TEST_P(DiskutilMisuse, TellsTheUsage) {
    const auto outcome = diskutil(GetParam());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, diskutilUsage);
}

INSTANTIATE_TEST_SUITE_P(All, DiskutilMisuse,
                         testing::ValuesIn(std::vector<Words>{{},
                                                              {"info"},
                                                              {"info", "/"},
                                                              {"info", "-plist"},
                                                              {"info", "-plist", "/", "/"},
                                                              {"list", "-plist", "/"},
                                                              {"--help"}}));

class DiskutilOfNoMountPoint : public testing::TestWithParam<NamedText> {};

TEST_P(DiskutilOfNoMountPoint, IsRefused) {
    const TemporaryDirectory directory;
    directory.write("file");
    const auto path = casePath(directory, GetParam().value);
    const auto outcome = diskutil({"info", "-plist", path});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "diskutil: “" + path +
                                  "” couldn’t be described because no local volume is mounted "
                                  "there.\n");
}

INSTANTIATE_TEST_SUITE_P(, DiskutilOfNoMountPoint,
                         testing::Values(NamedText{{"Directory"}, "DIR"},
                                         NamedText{{"File"}, "DIR/file"},
                                         NamedText{{"NotLocal"}, "/proc"}),
                         nameOfCase);

TEST(Diskutil, RefusesWhatIsMissing) {
    const TemporaryDirectory directory;
    EXPECT_EQ(diskutil({"info", "-plist", directory / "missing"}).output,
              "diskutil: “" + (directory / "missing") +
                  "” couldn’t be described because it doesn’t exist.\n");
    EXPECT_EQ(diskutil({"info", "-plist", ""}).status, 1);
}

TEST(Diskutil, DescribesAVolumeOfMemory) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto mountPoint = directory.makeDirectory("My Data & <more>");
    auto command = withMountOn(mountPoint, "size=1m,ro");
    command.insert(command.end(), {QF_DISKUTIL, "info", "-plist", mountPoint + "/"});
    const auto outcome = run(command);
    ASSERT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(parsed(outcome.output), Value(Value::Dictionary{{"MountPoint", mountPoint},
                                                              {"VolumeName", "My Data & <more>"},
                                                              {"FilesystemType", "tmpfs"},
                                                              {"FilesystemName", "tmpfs"},
                                                              {"TotalSize", 1'048'576},
                                                              {"FreeSpace", 1'048'576},
                                                              {"VolumeAllocationBlockSize", 4096},
                                                              {"WritableVolume", false},
                                                              {"ReadOnly", true}}));
}

/// A volume on a device, as the program and other tools describe it.
class DiskutilOnADevice : public testing::Test {
protected:
    void SetUp() override {
        const auto probe =
            run({"sh", "-c", "command -v mkfs.ext4 && ls -d /sys/dev/block && losetup -f"});
        if (const auto reason = whyNoMounts(); !reason.empty() || probe.status != 0) {
            GTEST_SKIP() << "no loop device, its description by the kernel or mkfs.ext4: " << reason
                         << probe.output;
        }
        const auto outcome = inNamespace(R"sh(
            truncate -s 8M "$1/image"
            mkfs.ext4 -q -L 'My Label' "$1/image"
            mkdir "$1/disk"
            mount -o loop "$1/image" "$1/disk"
            dd if=/dev/zero of="$1/disk/file" bs=1024 count=100 status=none
            sync -f "$1/disk/file"
            echo plist; "$2" info -plist "$1/disk"
            echo findmnt; findmnt -bnro SOURCE,FSTYPE,LABEL,UUID "$1/disk"
            echo lsblk; lsblk -bdnro NAME,SIZE,RM,RO,LOG-SEC "$(findmnt -no SOURCE "$1/disk")"
            echo stat; stat -f -c '%b %f %S' "$1/disk"
            echo end)sh",
                                         directory);
        ASSERT_EQ(outcome.status, 0) << outcome.output;
        info = parsed(between(outcome.output, "plist", "findmnt"));
        findmnt.str(between(outcome.output, "findmnt", "lsblk"));
        lsblk.str(between(outcome.output, "lsblk", "stat"));
        stat.str(between(outcome.output, "stat", "end"));
    }

    TemporaryDirectory directory;
    Value info;
    std::istringstream findmnt;
    std::istringstream lsblk;
    std::istringstream stat;
};

TEST_F(DiskutilOnADevice, DescribesItsFileSystem) {
    std::string source;
    std::string type;
    std::string label;
    std::string uuid;
    findmnt >> source >> type >> label >> uuid;
    EXPECT_EQ(info["DeviceNode"], Value(source));
    EXPECT_EQ(info["FilesystemType"], Value(type));
    EXPECT_EQ(label, R"(My\x20Label)");
    EXPECT_EQ(info["VolumeName"], Value("My Label"));
    EXPECT_EQ(info["VolumeUUID"], Value(uuid));
}

TEST_F(DiskutilOnADevice, DescribesTheDevice) {
    std::string name;
    std::int64_t size = 0;
    int removable = 0;
    int readOnly = 0;
    std::int64_t blockSize = 0;
    lsblk >> name >> size >> removable >> readOnly >> blockSize;
    EXPECT_EQ(info["DeviceIdentifier"], Value(name));
    EXPECT_EQ(info["ParentWholeDisk"], Value(name));
    EXPECT_EQ(info["WholeDisk"], Value(true));
    EXPECT_EQ(info["Size"], Value(size));
    EXPECT_EQ(size, 8 * 1024 * 1024);
    EXPECT_EQ(info["RemovableMedia"], Value(removable != 0));
    EXPECT_EQ(info["Ejectable"], Value(removable != 0));
    EXPECT_EQ(info["WritableMedia"], Value(readOnly == 0));
    EXPECT_EQ(info["DeviceBlockSize"], Value(blockSize));
    EXPECT_EQ(info["Internal"], Value(false));
}

TEST_F(DiskutilOnADevice, DescribesItsRoom) {
    std::int64_t blocks = 0;
    std::int64_t freeBlocks = 0;
    std::int64_t fragment = 0;
    stat >> blocks >> freeBlocks >> fragment;
    EXPECT_EQ(info["TotalSize"], Value(blocks * fragment));
    EXPECT_EQ(info["FreeSpace"], Value(freeBlocks * fragment));
    EXPECT_EQ(info["VolumeAllocationBlockSize"], Value(fragment));
    EXPECT_EQ(info["WritableVolume"], Value(true));
    EXPECT_EQ(info["MountPoint"], Value(directory / "disk"));
}

/// A volume of memory that passes for one on a device, which the test describes in the kernel's
/// place.
class DiskutilOnADescribedDevice : public testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = whyNoMounts(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
    }

    /// Returns the description of the volume on the device at this place below /sys/devices. The
    /// system names the volume's source so.
    Value infoOf(const std::string& device, const std::string& source = "none") const {
        const auto outcome = inNamespace("device=" + device + " source=" + source + R"sh(
            mkdir "$1/disk"
            mount -t tmpfs "$source" "$1/disk"
            number=$(mountpoint -d "$1/disk")
            mount -t tmpfs none /sys
            mkdir -p "/sys/devices/$device" /sys/dev/block
            ln -s "../../devices/$device" "/sys/dev/block/$number"
            mount -t tmpfs none /dev
            mkdir -p /dev/disk/by-label
            : > /dev/sdx
            ln -s ../../sdx '/dev/disk/by-label/My\x20Label'
            "$2" info -plist "$1/disk")sh",
                                         directory);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        return parsed(outcome.output);
    }

private:
    TemporaryDirectory directory;
};

struct Attachment : NamedCase {
    const char* device;
    bool isInternal;
};

class DiskutilOnAnAttachedDevice : public DiskutilOnADescribedDevice,
                                   public testing::WithParamInterface<Attachment> {};

TEST_P(DiskutilOnAnAttachedDevice, TellsWhetherItIsBuiltIn) {
    EXPECT_EQ(infoOf(GetParam().device)["Internal"], Value(GetParam().isInternal));
}

INSTANTIATE_TEST_SUITE_P(
    , DiskutilOnAnAttachedDevice,
    testing::Values(Attachment{{"Inside"}, "pci0000:00/ata1/block/sdx", true},
                    Attachment{{"ByUsb"}, "pci0000:00/usb1/1-1/block/sdx", false},
                    Attachment{{"ByFireWire"}, "pci0000:00/fw0/fw0.0/block/sdx", false}),
    nameOfCase);

TEST_F(DiskutilOnADescribedDevice, HasTheNameThatTheSystemGivesItWithoutItsEscapes) {
    EXPECT_EQ(infoOf("pci0000:00/ata1/block/sdx")["VolumeName"], Value("My Label"));
}

TEST_F(DiskutilOnADescribedDevice, IsKnownByItsNumberIfItsSourceIsNoDevice) {
    EXPECT_EQ(infoOf("pci0000:00/ata1/block/sdx", "/usr")["DeviceIdentifier"], Value("sdx"));
}

TEST(Diskutil, DescribesTheVolumeThatTheMachineRunsFrom) {
    const auto outcome = diskutil({"info", "-plist", "/"});
    if (outcome.status != 0) {
        GTEST_SKIP() << "the root of this machine is no local volume: " << outcome.output;
    }
    const auto info = parsed(outcome.output);
    struct statvfs status {};
    ASSERT_EQ(::statvfs("/", &status), 0);
    EXPECT_EQ(info["MountPoint"], Value("/"));
    EXPECT_EQ(info["TotalSize"],
              Value(static_cast<std::int64_t>(status.f_blocks * status.f_frsize)));
    EXPECT_EQ(run({"findmnt", "-no", "FSTYPE", "/"}).output,
              *info["FilesystemType"].as<std::string>() + "\n");
    if (const auto* device = info["DeviceIdentifier"].as<std::string>()) {
        EXPECT_TRUE(fs::exists("/sys/class/block/" + *device)) << *device;
        std::int64_t sectors = 0;
        std::ifstream("/sys/class/block/" + *device + "/size") >> sectors;
        EXPECT_EQ(info["Size"], Value(sectors * 512));
    }
}
