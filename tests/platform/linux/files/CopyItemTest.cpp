#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/AccessList.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/Sentence.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

bool makeNullDevice(const std::string& path) {
    return ::mknod(path.c_str(), S_IFCHR | 0600, ::makedev(1, 3)) == 0;
}

constexpr const char* noDevices = "no device can be made in temporary folders";

struct ItemToCopy : NamedCase {
    const char* item;
};

TEST(CopyItem, CopiesAFileWithAllThatIsKnownOfIt) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));

    ASSERT_EQ(sentence(fileSystem.copyItem(directory / "top/deep/long", directory / "copy")),
              "no error");

    EXPECT_EQ(description(directory / "copy"), description(directory / "top/deep/long"));
}

TEST(CopyItem, CopiesADirectoryWithAllThatIsInIt) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto before = description(directory / "top");

    ASSERT_EQ(sentence(fileSystem.copyItem((directory / "top") + "/", directory / "copy")),
              "no error");

    EXPECT_EQ(description(directory / "copy"), before);
    EXPECT_EQ(description(directory / "top"), before);
    EXPECT_EQ(statusOf(directory / "copy/plain").st_ino,
              statusOf(directory / "copy/deep/same as plain").st_ino);
    EXPECT_NE(statusOf(directory / "copy/plain").st_ino, statusOf(directory / "top/plain").st_ino);
    EXPECT_EQ(strangers(directory.path(), {"top", "copy"}), std::vector<std::string>{});
}

TEST(CopyItem, CopiesOntoAnotherVolume) {
    const MemoryDirectory volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));

    ASSERT_EQ(sentence(fileSystem.copyItem(directory / "top", volume / "copy")), "no error");

    ASSERT_EQ(sentence(fileSystem.copyItem(volume / "copy", directory / "back")), "no error");
    auto copied = description(volume / "copy");
    EXPECT_EQ(description(directory / "back"), copied);
    EXPECT_EQ(copied.size(), description(directory / "top").size());
}

TEST(CopyItem, CopiesALinkItself) {
    const TemporaryDirectory directory;
    directory.write("target", "kept");
    ASSERT_EQ(::symlink("target", (directory / "good").c_str()), 0);
    ASSERT_EQ(::symlink("missing", (directory / "broken").c_str()), 0);

    EXPECT_TRUE(fileSystem.copyItem(directory / "good", directory / "copy of good"));
    EXPECT_TRUE(fileSystem.copyItem(directory / "broken", directory / "copy of broken"));

    EXPECT_EQ(fs::read_symlink(directory / "copy of good"), "target");
    EXPECT_EQ(fs::read_symlink(directory / "copy of broken"), "missing");
}

class CopyItemOntoAnother : public testing::TestWithParam<ItemToCopy> {};

TEST_P(CopyItemOntoAnother, ReplacesNothing) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "new");
    directory.write("file", "old");
    directory.makeDirectory("folder");
    ASSERT_EQ(::symlink("missing", (directory / "broken").c_str()), 0);

    const auto copied = fileSystem.copyItem(source, directory / GetParam().item);

    ASSERT_FALSE(copied);
    EXPECT_EQ(copied.error().code, EEXIST);
    EXPECT_EQ(copied.error().localizedDescription,
              "“source” couldn’t be copied because an item with the same name already exists.");
    EXPECT_EQ(contentOf(directory / "file"), "old");
    EXPECT_EQ(contentOf(source), "new");
}

INSTANTIATE_TEST_SUITE_P(, CopyItemOntoAnother,
                         testing::Values(ItemToCopy{{"File"}, "file"},
                                         ItemToCopy{{"Directory"}, "folder"},
                                         ItemToCopy{{"BrokenLink"}, "broken"},
                                         ItemToCopy{{"Itself"}, "source"}),
                         nameOfCase);

TEST(CopyItem, KeepsOwnersModesAndTheBitsBeyondPermissions) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give files away";
    }
    const TemporaryDirectory directory;
    const auto tool = directory.write("top/tool", "run me");
    ASSERT_EQ(::chown(tool.c_str(), 65534, 65534), 0);
    ASSERT_EQ(::chmod(tool.c_str(), 06751), 0);
    ASSERT_EQ(::chmod((directory / "top").c_str(), 03711), 0);

    ASSERT_TRUE(fileSystem.copyItem(directory / "top", directory / "copy"));

    EXPECT_EQ(description(directory / "copy"), description(directory / "top"));
}

TEST(CopyItem, LetsNobodyElsesFileRunAsItsCopier) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give files away";
    }
    const TemporaryDirectory directory;
    const auto tool = directory.write("tool", "run me");
    ASSERT_EQ(::chmod(tool.c_str(), 06755), 0);
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);

    EXPECT_EQ(runChild({"copy", tool, directory / "copy"}, {}, asOrdinaryUser()).output, "ok\n");

    EXPECT_EQ(statusOf(directory / "copy").st_mode & 07777U, 0755U);
    EXPECT_EQ(statusOf(directory / "copy").st_uid, 65534U);
}

class CopyItemWithAccessControlList : public testing::TestWithParam<ItemToCopy> {};

TEST_P(CopyItemWithAccessControlList, KeepsIt) {
    // Version 2; the owner rw, user 65534 r, the group r, the mask r, others nothing.
    constexpr std::string_view list("\x02\0\0\0"
                                    "\x01\0\x06\0\xFF\xFF\xFF\xFF"
                                    "\x02\0\x04\0\xFE\xFF\0\0"
                                    "\x04\0\x04\0\xFF\xFF\xFF\xFF"
                                    "\x10\0\x04\0\xFF\xFF\xFF\xFF"
                                    "\x20\0\0\0\xFF\xFF\xFF\xFF",
                                    44);
    constexpr const char* attribute = "system.posix_acl_access";
    const TemporaryDirectory directory;
    directory.write("file");
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    const auto item = directory / GetParam().item;
    const auto copy = directory / "copy";
    if (::setxattr(item.c_str(), attribute, list.data(), list.size(), 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without access control lists";
    }

    ASSERT_TRUE(fileSystem.copyItem(item, copy));

    EXPECT_EQ(description(copy), description(item));
    EXPECT_EQ(::getxattr(copy.c_str(), attribute, nullptr, 0), 44);
}

INSTANTIATE_TEST_SUITE_P(, CopyItemWithAccessControlList,
                         testing::Values(ItemToCopy{{"File"}, "file"},
                                         ItemToCopy{{"Fifo"}, "fifo"}),
                         nameOfCase);

TEST(CopyItem, TakesNoAccessControlListFromTheDirectoryAround) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto around = directory.makeDirectory("around");
    if (::setxattr(around.c_str(), "system.posix_acl_default", listForNewItems.data(),
                   listForNewItems.size(), 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without access control lists";
    }

    ASSERT_EQ(::chmod((directory / "top/fifo").c_str(), 0664), 0);

    ASSERT_TRUE(fileSystem.copyItem(directory / "top", around + "/copy"));
    ASSERT_TRUE(fileSystem.copyItem(directory / "top/plain", around + "/plain"));
    ASSERT_TRUE(fileSystem.copyItem(directory / "top/fifo", around + "/fifo"));

    EXPECT_EQ(description(around + "/copy"), description(directory / "top"));
    for (const auto* name : {"/plain", "/fifo", "/copy/fifo"}) {
        EXPECT_EQ(::getxattr((around + name).c_str(), "system.posix_acl_access", nullptr, 0), -1)
            << name;
    }
}

TEST(CopyItem, KeepsManyAndLargeExtendedAttributes) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    const std::string large(1500, 'v');
    for (int i = 0; i < 40; ++i) {
        const auto name = "user.qf." + std::string(40, 'n') + std::to_string(i);
        if (::setxattr(file.c_str(), name.c_str(), "", 0, 0) != 0) {
            GTEST_SKIP() << "temporary folders are on a volume without extended attributes";
        }
    }
    ASSERT_EQ(::setxattr(file.c_str(), "user.qf.large", large.data(), large.size(), 0), 0);

    ASSERT_TRUE(fileSystem.copyItem(file, directory / "copy"));

    EXPECT_EQ(description(directory / "copy"), description(file));
}

TEST(CopyItem, KeepsHolesWhereTheyWere) {
    const MemoryDirectory directory;
    const auto file = directory / "sparse";
    constexpr std::uintmax_t size = 8ULL * 1024 * 1024 + 7;
    {
        std::ofstream stream(file, std::ios::binary);
        stream << "begin";
        stream.seekp(1024 * 1024 + 123) << "middle";
    }
    fs::resize_file(file, size);

    ASSERT_TRUE(fileSystem.copyItem(file, directory / "copy"));

    EXPECT_EQ(fs::file_size(directory / "copy"), size);
    EXPECT_TRUE(contentOf(directory / "copy") == contentOf(file));
    EXPECT_LE(statusOf(directory / "copy").st_blocks, statusOf(file).st_blocks + 1024);
}

TEST(CopyItem, CopiesFilesLargerThanEveryBuffer) {
    const TemporaryDirectory directory;
    std::string content;
    for (int i = 0; content.size() < 3UL * 1024 * 1024; ++i) {
        content += std::to_string(i);
    }
    const auto file = directory.write("file", content);

    ASSERT_TRUE(fileSystem.copyItem(file, directory / "copy"));

    EXPECT_TRUE(contentOf(directory / "copy") == content);
}

TEST(CopyItem, ReadsWhatHasNoSizeToTheEnd) {
    const std::string kernelName = "/proc/sys/kernel/ostype";
    if (!fs::exists(kernelName)) {
        GTEST_SKIP() << "this machine has no " << kernelName;
    }
    const TemporaryDirectory directory;

    ASSERT_EQ(sentence(fileSystem.copyItem(kernelName, directory / "copy")), "no error");

    EXPECT_EQ(contentOf(directory / "copy"), "Linux\n");
}

TEST(CopyItem, CopiesSockets) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mknod((directory / "socket").c_str(), S_IFSOCK | 0600, 0), 0);

    ASSERT_TRUE(fileSystem.copyItem(directory / "socket", directory / "copy"));

    EXPECT_EQ(description(directory / "copy"), description(directory / "socket"));
}

TEST(CopyItem, CopiesDevices) {
    const TemporaryDirectory directory;
    if (!makeNullDevice(directory / "null")) {
        GTEST_SKIP() << noDevices;
    }

    ASSERT_TRUE(fileSystem.copyItem(directory / "null", directory / "copy"));

    EXPECT_EQ(description(directory / "copy"), description(directory / "null"));
    EXPECT_EQ(statusOf(directory / "copy").st_rdev, ::makedev(1, 3));
}

TEST(CopyItem, CopiesNoDeviceForAnOrdinaryUser) {
    const TemporaryDirectory directory;
    if (!makeNullDevice(directory / "null")) {
        GTEST_SKIP() << noDevices;
    }
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);

    EXPECT_EQ(
        runChild({"copy", directory / "null", directory / "mine"}, {}, asOrdinaryUser()).output,
        "1 “null” couldn’t be copied because you don’t have permission.\n");
}

TEST(CopyItem, NeedsFewDescriptorsForADeepTree) {
    const MemoryDirectory directory;
    makeDeepTree(directory / "top", 2000);
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(100);
        EXPECT_EQ(sentence(fileSystem.copyItem(directory / "top", directory / "copy")), "no error");
    }
    EXPECT_EQ(depthOf(directory / "copy"), 2000);
    EXPECT_TRUE(fileSystem.removeItem(directory / "top"));
    EXPECT_TRUE(fileSystem.removeItem(directory / "copy"));
}

/// A way to make a copy of a tree: a command of the child.
struct WayToCopy : NamedCase {
    const char* command;
    std::vector<std::string> environment;
    const char* output;
};

class CopiedHardLinks : public testing::TestWithParam<WayToCopy> {};

TEST_P(CopiedHardLinks, AreKeptAmongLinksAndPipes) {
    const TemporaryDirectory directory;
    directory.makeDirectory("top/inner");
    ASSERT_EQ(::symlink("target", (directory / "top/link").c_str()), 0);
    ASSERT_EQ(::mkfifo((directory / "top/pipe").c_str(), 0600), 0);
    ASSERT_EQ(::link((directory / "top/link").c_str(), (directory / "top/inner/link").c_str()), 0);
    ASSERT_EQ(::link((directory / "top/pipe").c_str(), (directory / "top/inner/pipe").c_str()), 0);
    const auto numberOf = [&directory](const std::string& name) {
        return statusOf(directory / name).st_ino;
    };

    EXPECT_EQ(runChild({GetParam().command, directory / "top", directory / "copy"},
                       GetParam().environment)
                  .output,
              GetParam().output);

    EXPECT_EQ(numberOf("copy/link"), numberOf("copy/inner/link"));
    EXPECT_EQ(numberOf("copy/pipe"), numberOf("copy/inner/pipe"));
    EXPECT_EQ(fs::read_symlink(directory / "copy/inner/link"), "target");
}

INSTANTIATE_TEST_SUITE_P(, CopiedHardLinks,
                         testing::Values(WayToCopy{{"ByCopying"}, "copy", {}, "ok\n"},
                                         WayToCopy{{"ByMovingOntoAnotherVolume"},
                                                   "move",
                                                   withFaults(otherVolume),
                                                   "ok\nfaults: 1\n"}),
                         nameOfCase);

TEST(CopyItem, CopiesHardLinksAcrossADeepTree) {
    const MemoryDirectory directory;
    makeDeepTree(directory / "top", 60);
    std::string deepest = directory / "top";
    for (int level = 0; level < 60; ++level) {
        deepest += "/folder";
    }
    fs::create_hard_link(directory / "top/file", deepest + "/same as the first");
    fs::create_hard_link(deepest + "/../file", directory / "top/same as the last");

    ASSERT_TRUE(fileSystem.copyItem(directory / "top", directory / "copy"));

    EXPECT_EQ(description(directory / "copy"), description(directory / "top"));
}

TEST(CopyItem, CopiesAWideDirectory) {
    constexpr int count = 100000;
    const MemoryDirectory directory;
    ASSERT_EQ(::mkdir((directory / "top").c_str(), 0755), 0);
    const int top = ::open((directory / "top").c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(::mknodat(top, std::to_string(i).c_str(), S_IFREG | 0644, 0), 0);
    }
    ::close(top);

    ASSERT_TRUE(fileSystem.copyItem(directory / "top", directory / "copy"));

    EXPECT_EQ(fileSystem.contentsOfDirectory(directory / "copy")->size(), count);
    EXPECT_TRUE(fileSystem.removeItem(directory / "top"));
    EXPECT_TRUE(fileSystem.removeItem(directory / "copy"));
}

class CopyItemIntoItself : public testing::TestWithParam<ItemToCopy> {};

TEST_P(CopyItemIntoItself, CopiesNothing) {
    const TemporaryDirectory directory;
    directory.write("top/inner/file");

    const auto copied = fileSystem.copyItem(directory / "top", directory / GetParam().item);

    ASSERT_FALSE(copied);
    EXPECT_EQ(copied.error().localizedDescription,
              "“top” couldn’t be copied because it can’t be put inside itself.");
    EXPECT_EQ(strangers(directory / "top", {"inner"}), std::vector<std::string>{});
    EXPECT_EQ(strangers(directory / "top/inner", {"file"}), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(, CopyItemIntoItself,
                         testing::Values(ItemToCopy{{"AtItsTop"}, "top/copy"},
                                         ItemToCopy{{"FurtherBelow"}, "top/inner/copy"}),
                         nameOfCase);

/// A path that cannot be copied or copied to; "DIR" is the directory of the test.
struct UncopyablePath : NamedCase {
    std::string path;
    std::string newPath;
    std::string sentence;
};

class CopyItemWithABadPath : public testing::TestWithParam<UncopyablePath> {};

TEST_P(CopyItemWithABadPath, TellsWhatIsWrong) {
    const TemporaryDirectory directory;
    directory.write("file");
    ASSERT_EQ(::symlink("loop", (directory / "loop").c_str()), 0);

    EXPECT_EQ(sentence(fileSystem.copyItem(casePath(directory, GetParam().path),
                                           casePath(directory, GetParam().newPath))),
              GetParam().sentence);
    EXPECT_EQ(strangers(directory.path(), {"file", "loop"}), std::vector<std::string>{});
}

std::string missingPathOf(std::size_t length) {
    std::string path = "DIR";
    while (path.size() < length) {
        path += "/component";
    }
    return path;
}

const std::string uncopyableName(256, 'n');

INSTANTIATE_TEST_SUITE_P(
    , CopyItemWithABadPath,
    testing::Values(
        UncopyablePath{{"Missing"},
                       "DIR/missing",
                       "DIR/new",
                       "“missing” couldn’t be copied because it doesn’t exist."},
        UncopyablePath{
            {"Empty"}, "", "DIR/new", "“” couldn’t be copied because the system doesn’t allow it."},
        UncopyablePath{{"Relative"},
                       "file",
                       "DIR/new",
                       "“file” couldn’t be copied because the system doesn’t allow it."},
        UncopyablePath{{"ToEmpty"},
                       "DIR/file",
                       "",
                       "“file” couldn’t be copied because the system doesn’t allow it."},
        UncopyablePath{{"ToRelative"},
                       "DIR/file",
                       "new",
                       "“file” couldn’t be copied because the system doesn’t allow it."},
        UncopyablePath{{"IntoMissing"},
                       "DIR/file",
                       "DIR/missing/new",
                       "“file” couldn’t be copied because the folder “missing” doesn’t exist."},
        UncopyablePath{{"IntoItself"},
                       "DIR/file",
                       "DIR/file/new",
                       "“file” couldn’t be copied because a part of its path isn’t a folder."},
        UncopyablePath{{"BelowAFile"},
                       "DIR/file/inner",
                       "DIR/new",
                       "“inner” couldn’t be copied because a part of its path isn’t a folder."},
        UncopyablePath{{"LongPath"},
                       missingPathOf(5000),
                       "DIR/new",
                       "“component” couldn’t be copied because it doesn’t exist."},
        UncopyablePath{{"ToLongPath"},
                       "DIR/file",
                       missingPathOf(5000),
                       "“file” couldn’t be copied because the folder “component” doesn’t exist."},
        UncopyablePath{{"Zero"},
                       std::string("DIR/file\0.tmp", 13),
                       "DIR/new",
                       "“file\\x00.tmp” couldn’t be copied because the system doesn’t allow it."},
        UncopyablePath{{"ToZero"},
                       "DIR/file",
                       std::string("DIR/new\0.tmp", 12),
                       "“file” couldn’t be copied because the system doesn’t allow it."},
        UncopyablePath{{"LongName"},
                       "DIR/" + uncopyableName,
                       "DIR/new",
                       "“" + uncopyableName + "” couldn’t be copied because its name is too long."},
        UncopyablePath{{"ToLongName"},
                       "DIR/file",
                       "DIR/" + uncopyableName,
                       "“file” couldn’t be copied because its name is too long."},
        UncopyablePath{{"Loop"},
                       "DIR/loop/inner",
                       "DIR/new",
                       "“inner” couldn’t be copied because its path leads through too many links."},
        UncopyablePath{{"IntoLoop"},
                       "DIR/file",
                       "DIR/loop/new",
                       "“file” couldn’t be copied because its path leads through too many links."}),
    nameOfCase);

TEST(CopyItem, RefusesTheRootDirectory) {
    if (const auto reason = whyNotWithoutWriting(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;

    EXPECT_EQ(runChild({"without-writing", "copy", "/", directory / "new"}).output,
              "22 “/” couldn’t be copied because the system doesn’t allow it.\n");
}

TEST(CopyItem, LeavesNothingOfACopyThatFails) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto closed = directory.write("top/deep/closed/secret");
    ASSERT_EQ(::chmod(closed.c_str(), 0), 0);
    ASSERT_EQ(::chmod((directory / "top/deep/closed").c_str(), 0555), 0);
    ASSERT_EQ(::chmod((directory / "top/deep/closed/read only").c_str(), 0444), 0);
    const auto destination = directory.makeDirectory("destination");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod((directory / "top/fifo").c_str(), 0644), 0);
    ASSERT_EQ(::chmod(destination.c_str(), 0777), 0);

    EXPECT_EQ(
        runChild({"copy", directory / "top", destination + "/copy"}, {}, asOrdinaryUser()).output,
        "13 “secret” couldn’t be copied because you don’t have permission.\n");

    EXPECT_TRUE(fs::is_empty(destination));
    ASSERT_EQ(::chmod((directory / "top/deep/closed").c_str(), 0755), 0);
}

// As one does that took it for abandoned before it was locked.
TEST(CopyItem, LeavesItsFirstNameToAnotherProcessThatHasLockedIt) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");

    EXPECT_EQ(runChild({"copy", file, directory / "copy"},
                       withFaults(failing("flock:1", EWOULDBLOCK) + ',' +
                                  failing("flock:2", EWOULDBLOCK)))
                  .output,
              "ok\nfaults: 2\n");

    EXPECT_EQ(contentOf(directory / "copy"), "content");
    EXPECT_EQ(strangers(directory.path(), {"file", "copy"}).size(), 1U);
}

// As one has that took it for abandoned as soon as it was there.
TEST(CopyItem, MakesAnotherDirectoryInsteadOfOneThatAnotherProcessHasDeleted) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::symlink("target", (directory / "link").c_str()), 0);

    // The first two are the directories around the link and around its copy.
    EXPECT_EQ(runChild({"copy", directory / "link", directory / "copy"},
                       withFaults(failing("openat:3", ENOENT)))
                  .output,
              "ok\nfaults: 1\n");

    EXPECT_EQ(fs::read_symlink(directory / "copy"), "target");
    EXPECT_EQ(strangers(directory.path(), {"link", "copy"}), std::vector<std::string>());
}

TEST(CopyItem, LeavesNothingOnAVolumeThatIsFull) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    directory.write("top/small", "small");
    directory.write("top/large", std::string(300000, 'x'));
    const auto volume = directory.makeDirectory("volume");
    auto command = withMountOn(volume, "size=128k");
    const std::vector<std::string> listing{"sh", "-c", R"("$@"; ls -A "$0")", volume};
    command.insert(command.end(), listing.begin(), listing.end());

    EXPECT_EQ(runChild({"copy", directory / "top", volume + "/copy"}, {}, command).output,
              "28 “large” couldn’t be copied because the volume is full.\n");
}

struct SizeBeyondTheLimit : NamedCase {
    std::size_t size;
};

class CopyItemBeyondTheLimitOnSizes : public testing::TestWithParam<SizeBeyondTheLimit> {};

TEST_P(CopyItemBeyondTheLimitOnSizes, LeavesNothing) {
    const TemporaryDirectory directory;
    const std::vector<std::string> withLimit{"sh", "-c", R"(ulimit -f 100 && exec "$@")", "sh"};
    directory.write("file", std::string(GetParam().size, 'x'));

    EXPECT_EQ(runChild({"copy", directory / "file", directory / "new"}, {}, withLimit).output,
              "27 “file” couldn’t be copied because it is too large.\n");

    EXPECT_EQ(strangers(directory.path(), {"file"}), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(, CopyItemBeyondTheLimitOnSizes,
                         testing::Values(SizeBeyondTheLimit{{"Little"}, 100'000},
                                         SizeBeyondTheLimit{{"Far"}, 1'000'000}),
                         nameOfCase);

TEST(CopyItem, WritesNothingToAReadOnlyVolume) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    const auto volume = directory.makeDirectory("volume");

    EXPECT_EQ(runChild({"copy", file, volume + "/copy"}, {}, withMountOn(volume, "ro")).output,
              "30 “file” couldn’t be copied because the volume is read-only.\n");
}

TEST(CopyItem, LeavesOneCopyWhereTwoCopyAtOnce) {
    const MemoryDirectory directory;
    makeSampleTree(directory / "top");
    for (int round = 0; round < 50; ++round) {
        const auto copy = directory / ("copy" + std::to_string(round));
        std::atomic<int> successes = 0;
        const auto work = [&] {
            const auto copied = fileSystem.copyItem(directory / "top", copy);
            successes += copied ? 1 : 0;
            EXPECT_TRUE(copied || copied.error().code == EEXIST) << sentence(copied);
        };
        std::thread other(work);
        work();
        other.join();
        EXPECT_EQ(successes, 1);
        EXPECT_EQ(description(copy), description(directory / "top"));
    }
    std::vector<std::string> known{"top"};
    for (int round = 0; round < 50; ++round) {
        known.push_back("copy" + std::to_string(round));
    }
    EXPECT_EQ(strangers(directory.path(), known), std::vector<std::string>{});
}

TEST(CopyItem, IsNotLedOutsideByDirectoriesThatTurnIntoLinks) {
    constexpr int rounds = 300;
    const MemoryDirectory directory;
    fs::create_directories(directory / "victim/deep");
    fs::create_directories(directory / "top/swapped/deep");
    std::ofstream(directory / "victim/precious") << "secret";
    std::ofstream(directory / "victim/deep/precious") << "secret";
    ASSERT_EQ(::symlink((directory / "victim").c_str(), (directory / "link").c_str()), 0);
    std::atomic<bool> done = false;
    std::atomic<int> swaps = 0;
    std::thread swapper([&] {
        while (!done) {
            ::renameat2(AT_FDCWD, (directory / "link").c_str(), AT_FDCWD,
                        (directory / "top/swapped").c_str(), RENAME_EXCHANGE);
            ++swaps;
            swaps.notify_one();
        }
    });
    for (int round = 0; round < rounds; ++round) {
        swaps.wait(swaps);
        const auto copied = fileSystem.copyItem(directory / "top", directory / "copy");
        const auto swapped = directory / "copy/swapped";
        if (copied && !fs::is_symlink(swapped)) {
            EXPECT_EQ(strangers(swapped, {"deep"}), std::vector<std::string>{});
            EXPECT_TRUE(fs::is_empty(swapped + "/deep"));
        }
        EXPECT_TRUE(copied || copied.error().code == EAGAIN) << sentence(copied);
        fs::remove_all(directory / "copy");
    }
    done = true;
    swapper.join();
    EXPECT_EQ(strangers(directory.path(), {"victim", "top", "link"}), std::vector<std::string>{});
}

} // namespace
