#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
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

} // namespace

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

TEST(CopyItem, ReplacesNothing) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "new");
    directory.write("file", "old");
    directory.makeDirectory("folder");
    ASSERT_EQ(::symlink("missing", (directory / "broken").c_str()), 0);

    for (const auto* name : {"file", "folder", "broken", "source"}) {
        const auto copied = fileSystem.copyItem(source, directory / name);
        ASSERT_FALSE(copied) << name;
        EXPECT_EQ(copied.error().code, EEXIST);
        EXPECT_EQ(copied.error().localizedDescription,
                  "“source” couldn’t be copied because an item with the same name already exists.");
    }
    EXPECT_EQ(contentOf(directory / "file"), "old");
    EXPECT_EQ(contentOf(source), "new");
}

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

TEST(CopyItem, KeepsAccessControlLists) {
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
    const auto file = directory.write("file");
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    for (const auto* name : {"file", "fifo"}) {
        const auto copy = directory / (std::string("copy of ") + name);
        if (::setxattr((directory / name).c_str(), attribute, list.data(), list.size(), 0) != 0) {
            GTEST_SKIP() << "temporary folders are on a volume without access control lists";
        }

        ASSERT_TRUE(fileSystem.copyItem(directory / name, copy));

        EXPECT_EQ(description(copy), description(directory / name));
        EXPECT_EQ(::getxattr(copy.c_str(), attribute, nullptr, 0), 44);
    }
}

TEST(CopyItem, TakesNoAccessControlListFromTheDirectoryAround) {
    const TemporaryDirectory directory;
    constexpr std::string_view list("\x02\0\0\0"
                                    "\x01\0\x07\0\xFF\xFF\xFF\xFF"
                                    "\x02\0\x07\0\xFE\xFF\0\0"
                                    "\x04\0\x05\0\xFF\xFF\xFF\xFF"
                                    "\x10\0\x07\0\xFF\xFF\xFF\xFF"
                                    "\x20\0\x05\0\xFF\xFF\xFF\xFF",
                                    44);
    makeSampleTree(directory.makeDirectory("top"));
    const auto around = directory.makeDirectory("around");
    if (::setxattr(around.c_str(), "system.posix_acl_default", list.data(), list.size(), 0) != 0) {
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

TEST(CopyItem, KeepsHardLinksAmongLinksAndPipes) {
    const TemporaryDirectory directory;
    directory.makeDirectory("top/inner");
    ASSERT_EQ(::symlink("target", (directory / "top/link").c_str()), 0);
    ASSERT_EQ(::mkfifo((directory / "top/pipe").c_str(), 0600), 0);
    ASSERT_EQ(::link((directory / "top/link").c_str(), (directory / "top/inner/link").c_str()), 0);
    ASSERT_EQ(::link((directory / "top/pipe").c_str(), (directory / "top/inner/pipe").c_str()), 0);
    const auto numberOf = [&directory](const std::string& name) {
        struct stat status {};
        EXPECT_EQ(::lstat((directory / name).c_str(), &status), 0) << name;
        return status.st_ino;
    };

    ASSERT_TRUE(fileSystem.copyItem(directory / "top", directory / "copy"));
    EXPECT_EQ(
        runChild({"move", directory / "top", directory / "moved"}, withFaults(otherVolume)).output,
        "ok\nfaults: 1\n");

    for (const std::string copy : {"copy", "moved"}) {
        EXPECT_EQ(numberOf(copy + "/link"), numberOf(copy + "/inner/link"));
        EXPECT_EQ(numberOf(copy + "/pipe"), numberOf(copy + "/inner/pipe"));
        EXPECT_EQ(fs::read_symlink(directory / (copy + "/inner/link")), "target");
    }
}

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

TEST(CopyItem, CopiesNoDirectoryIntoItself) {
    const TemporaryDirectory directory;
    directory.write("top/inner/file");

    for (const auto* place : {"top/copy", "top/inner/copy"}) {
        const auto copied = fileSystem.copyItem(directory / "top", directory / place);
        ASSERT_FALSE(copied);
        EXPECT_EQ(copied.error().localizedDescription,
                  "“top” couldn’t be copied because it can’t be put inside itself.");
    }
    EXPECT_EQ(strangers(directory / "top", {"inner"}), std::vector<std::string>{});
    EXPECT_EQ(strangers(directory / "top/inner", {"file"}), std::vector<std::string>{});
}

TEST(CopyItem, TellsWhatIsWrongWithAPath) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    ASSERT_EQ(::symlink("loop", (directory / "loop").c_str()), 0);
    std::string longPath = directory.path();
    while (longPath.size() < 5000) {
        longPath += "/component";
    }
    const std::string longName(256, 'n');
    struct Case {
        std::string path;
        std::string newPath;
        std::string sentence;
    };
    const std::vector<Case> cases{
        {directory / "missing", directory / "new",
         "“missing” couldn’t be copied because it doesn’t exist."},
        {"", directory / "new", "“” couldn’t be copied because the system doesn’t allow it."},
        {"file", directory / "new",
         "“file” couldn’t be copied because the system doesn’t allow it."},
        {file, "", "“file” couldn’t be copied because the system doesn’t allow it."},
        {file, "new", "“file” couldn’t be copied because the system doesn’t allow it."},
        {file, directory / "missing/new",
         "“file” couldn’t be copied because the folder “missing” doesn’t exist."},
        {file, file + "/new",
         "“file” couldn’t be copied because a part of its path isn’t a folder."},
        {file + "/inner", directory / "new",
         "“inner” couldn’t be copied because a part of its path isn’t a folder."},
        {longPath, directory / "new", "“component” couldn’t be copied because it doesn’t exist."},
        {file, longPath, "“file” couldn’t be copied because the folder “component” doesn’t exist."},
        {file + std::string("\0.tmp", 5), directory / "new",
         "“file\\x00.tmp” couldn’t be copied because the system doesn’t allow it."},
        {file, directory / std::string("new\0.tmp", 8),
         "“file” couldn’t be copied because the system doesn’t allow it."},
        {directory / longName, directory / "new",
         "“" + longName + "” couldn’t be copied because its name is too long."},
        {file, directory / longName, "“file” couldn’t be copied because its name is too long."},
        {directory / "loop/inner", directory / "new",
         "“inner” couldn’t be copied because its path leads through too many links."},
        {file, directory / "loop/new",
         "“file” couldn’t be copied because its path leads through too many links."},
    };
    for (const auto& [path, newPath, expected] : cases) {
        EXPECT_EQ(sentence(fileSystem.copyItem(path, newPath)), expected);
    }
    EXPECT_EQ(strangers(directory.path(), {"file", "loop"}), std::vector<std::string>{});
}

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

TEST(CopyItem, LeavesNothingOfAFileBeyondTheLimitOnSizes) {
    const TemporaryDirectory directory;
    const std::vector<std::string> withLimit{"sh", "-c", R"(ulimit -f 100 && exec "$@")", "sh"};
    for (const std::size_t size : {100'000U, 1'000'000U}) {
        directory.write("file", std::string(size, 'x'));

        EXPECT_EQ(runChild({"copy", directory / "file", directory / "new"}, {}, withLimit).output,
                  "27 “file” couldn’t be copied because it is too large.\n");

        EXPECT_EQ(strangers(directory.path(), {"file"}), std::vector<std::string>{});
    }
}

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
