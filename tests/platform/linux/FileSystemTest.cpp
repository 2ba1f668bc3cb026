#include "platform/linux/FileSystem.h"

#include "platform/linux/ToolOverlay.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

using Entries = std::vector<platform::DirectoryEntry>;
using platform::ItemKind;

platform::native::FileSystem fileSystem;

void makeLink(const std::string& target, const std::string& link) {
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
}

/// Clears an immutable flag that a failed test would leave behind.
class Unlock {
public:
    explicit Unlock(std::string path) : path_(std::move(path)) {}
    ~Unlock() { static_cast<void>(fileSystem.setImmutable(path_, false)); }
    Unlock(const Unlock&) = delete;
    Unlock& operator=(const Unlock&) = delete;
    Unlock(Unlock&&) = delete;
    Unlock& operator=(Unlock&&) = delete;

private:
    std::string path_;
};

/// Why this machine's temporary folder cannot hold an immutable file; empty when it can.
std::string whyNoFlags(const TemporaryFolder& folder) {
    const auto probe = folder.write("probe");
    const Unlock unlock(probe);
    const auto error = fileSystem.setImmutable(probe, true);
    return error ? "no immutable flag can be set here: " + error->localizedDescription : "";
}

} // namespace

TEST(FileSystem, SeesWhatALinkLeadsTo) {
    const TemporaryFolder folder;
    makeLink(folder.write("file"), folder / "good");
    makeLink(folder / "missing", folder / "broken");
    makeLink(folder / "loop", folder / "loop");

    EXPECT_TRUE(fileSystem.exists(folder / "file"));
    EXPECT_TRUE(fileSystem.exists(folder / "good"));
    EXPECT_FALSE(fileSystem.exists(folder / "broken"));
    EXPECT_FALSE(fileSystem.exists(folder / "loop"));
    EXPECT_FALSE(fileSystem.exists(folder / "file/below"));
}

TEST(FileSystem, TellsFoldersFromFiles) {
    const TemporaryFolder folder;
    makeLink(folder.makeFolder("real"), folder / "link");

    EXPECT_TRUE(fileSystem.isDirectory(folder / "real"));
    EXPECT_TRUE(fileSystem.isDirectory(folder / "link"));
    EXPECT_FALSE(fileSystem.isDirectory(folder.write("file")));
    EXPECT_FALSE(fileSystem.isDirectory(folder / "missing"));
}

TEST(FileSystem, TellsWhatCanBeRun) {
    const TemporaryFolder folder;
    const auto file = folder.write("tool");
    EXPECT_FALSE(fileSystem.isExecutable(file));

    ASSERT_EQ(::chmod(file.c_str(), 0755), 0);

    EXPECT_TRUE(fileSystem.isExecutable(file));
    EXPECT_TRUE(fileSystem.isExecutable(folder.path()));
    EXPECT_FALSE(fileSystem.isExecutable(folder / "missing"));
}

TEST(FileSystem, TestsTheStandInOfATool) {
    const TemporaryFolder overlay;
    ASSERT_EQ(::chmod(overlay.write("bin/qf-no-such-tool").c_str(), 0755), 0);
    EXPECT_FALSE(fileSystem.isExecutable("/bin/qf-no-such-tool"));

    const auto former = platform::native::setToolOverlay(overlay.path());
    EXPECT_TRUE(fileSystem.isExecutable("/bin/qf-no-such-tool"));
    platform::native::setToolOverlay(former);
}

TEST(FileSystem, ListsEveryNameInAFolder) {
    const TemporaryFolder folder;
    folder.write("a");
    folder.write(".hidden");
    folder.write("Icon\r");
    folder.write("no\xFFtext");
    folder.makeFolder("sub");
    makeLink(folder / "missing", folder / "broken");
    makeLink(folder.path(), folder / "self");

    auto entries = fileSystem.contentsOfDirectory(folder / "self");

    ASSERT_TRUE(entries);
    std::sort(entries->begin(), entries->end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    EXPECT_EQ(*entries, (Entries{{".hidden", ItemKind::file},
                                 {"Icon\r", ItemKind::file},
                                 {"a", ItemKind::file},
                                 {"broken", ItemKind::link},
                                 {"no\xFFtext", ItemKind::file},
                                 {"self", ItemKind::link},
                                 {"sub", ItemKind::folder}}));
}

TEST(FileSystem, HasNoListForWhatIsNoReadableFolder) {
    const TemporaryFolder folder;

    EXPECT_EQ(fileSystem.contentsOfDirectory(folder / "missing"), std::nullopt);
    EXPECT_EQ(fileSystem.contentsOfDirectory(folder.write("file")), std::nullopt);
    EXPECT_EQ(fileSystem.contentsOfDirectory(folder.makeFolder("empty")), Entries{});
}

TEST(FileSystem, ListsSizesOfAllButFolders) {
    const TemporaryFolder folder;
    folder.write("a", "12345");
    folder.makeFolder("sub");
    makeLink("missing", folder / "broken");

    auto entries = fileSystem.contentsOfDirectoryWithSizes(folder.path());

    ASSERT_TRUE(entries);
    std::sort(entries->begin(), entries->end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    EXPECT_EQ(*entries, (Entries{{"a", ItemKind::file, 5},
                                 {"broken", ItemKind::link, 7},
                                 {"sub", ItemKind::folder, std::nullopt}}));
    EXPECT_EQ(fileSystem.contentsOfDirectoryWithSizes(folder / "missing"), std::nullopt);
    EXPECT_EQ(fileSystem.contentsOfDirectoryWithSizes(folder / "a"), std::nullopt);
}

TEST(FileSystem, TellsItemsFromOneAnother) {
    const TemporaryFolder folder;
    const auto first = folder.makeFolder("first");
    const auto second = folder.makeFolder("second");
    makeLink(first, folder / "link");
    makeLink(folder / "missing", folder / "broken");

    EXPECT_EQ(fileSystem.identityOfItem(folder / "link"), fileSystem.identityOfItem(first));
    EXPECT_EQ(fileSystem.identityOfItem(first + "/../first"), fileSystem.identityOfItem(first));
    EXPECT_NE(fileSystem.identityOfItem(first), fileSystem.identityOfItem(second));
    EXPECT_EQ(fileSystem.identityOfItem(folder / "broken"), std::nullopt);
}

TEST(FileSystem, UnlocksWhatIsNotLockedWithoutPrivilegeOrPermission) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    makeLink(folder / "missing", folder / "broken");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);

    for (const auto* name : {"file", "broken", "fifo", ""}) {
        const auto outcome = runChild({"unlock", folder / name}, {}, asOrdinaryUser());
        EXPECT_EQ(outcome.output, "ok\n") << name;
    }
}

TEST(FileSystem, UnlocksNothingWhereNothingStands) {
    const TemporaryFolder folder;

    const auto error = fileSystem.setImmutable(folder / "missing.txt", false);

    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, ENOENT);
    EXPECT_EQ(error->localizedDescription,
              "“missing.txt” couldn’t be unlocked because it doesn’t exist.");
}

TEST(FileSystem, LocksAndUnlocksAFileAndAFolder) {
    const TemporaryFolder folder;
    if (const auto reason = whyNoFlags(folder); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    for (const auto& item : {folder.write("file"), folder.makeFolder("folder")}) {
        const Unlock unlock(item);
        ASSERT_FALSE(fileSystem.setImmutable(item, true));
        EXPECT_NE(::rename(item.c_str(), (folder / "moved").c_str()), 0);

        ASSERT_FALSE(fileSystem.setImmutable(item, false));
        EXPECT_EQ(::rename(item.c_str(), (folder / "moved").c_str()), 0);
        ASSERT_FALSE(fileSystem.removeItem(folder / "moved"));
    }
}

TEST(FileSystem, LocksALinkItselfNever) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    makeLink(file, folder / "link");

    const auto error = fileSystem.setImmutable(folder / "link", true);

    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, EOPNOTSUPP);
    EXPECT_EQ(::rename(file.c_str(), (folder / "moved").c_str()), 0);
}

TEST(FileSystem, LeavesALockedFileToThosePrivileged) {
    const TemporaryFolder folder;
    if (const auto reason = whyNoFlags(folder); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto file = folder.write("file");
    const Unlock unlock(file);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_FALSE(fileSystem.setImmutable(file, true));

    EXPECT_EQ(runChild({"unlock", file}, {}, asOrdinaryUser()).output,
              "1 “file” couldn’t be unlocked because you don’t have permission.\n");
}

TEST(FileSystem, CountsAFileWithoutFlagsAsUnlocked) {
    if (!fileSystem.exists("/proc/self/status")) {
        GTEST_SKIP() << "no /proc";
    }
    EXPECT_FALSE(fileSystem.setImmutable("/proc/self/status", false));

    const auto error = fileSystem.setImmutable("/proc/self/status", true);

    ASSERT_TRUE(error);
    EXPECT_EQ(error->localizedDescription,
              "“status” couldn’t be locked because the volume doesn’t support it.");
}
