#include "platform/linux/files/FileSystem.h"

#include "platform/linux/process/ToolOverlay.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace {

using Entries = std::vector<platform::DirectoryEntry>;
using platform::ItemKind;

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
    const auto changed = fileSystem.setImmutable(probe, true);
    return !changed ? "no immutable flag can be set here: " + changed.error().localizedDescription
                    : "";
}

constexpr platform::Date someDate{std::chrono::nanoseconds(1000000000123456789)};

/// Why no creation date can be kept in temporary folders; empty when one can.
std::string whyNoCreationDates() {
    const TemporaryFolder folder;
    const auto changed = fileSystem.setCreationDate(folder.write("probe"), someDate);
    return !changed && changed.error().code == EOPNOTSUPP
               ? "temporary folders are on a volume without extended attributes"
               : "";
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

TEST(FileSystem, FollowsPathsOfAnyLength) {
    const TemporaryFolder folder;
    const auto file = folder.write("real/file");
    makeLink(folder / "real", folder / "link");
    std::string detour;
    while (detour.size() < 10'000) {
        detour += "/../real/.";
    }

    EXPECT_TRUE(fileSystem.exists(folder / "link" + detour + "/file"));
    EXPECT_TRUE(fileSystem.isDirectory(folder / "real" + detour + std::string(10'000, '/')));
    EXPECT_TRUE(fileSystem.isDirectory(std::string(10'000, '/')));
    EXPECT_EQ(fileSystem.contentsOfDirectory(folder / "link" + detour),
              (Entries{{"file", ItemKind::file}}));
    EXPECT_EQ(fileSystem.destinationOfSymbolicLink(folder / "real" + detour + "/../link"),
              folder / "real");
    EXPECT_FALSE(fileSystem.exists(folder / "missing" + detour));
    EXPECT_FALSE(fileSystem.exists(file + detour));
    EXPECT_FALSE(fileSystem.exists(folder / "link" + detour + "/" + std::string(10'000, 'n')));
    EXPECT_EQ(fileSystem.removeItem(folder / "real" + detour + "/missing").error().code, ENOENT);
    EXPECT_TRUE(fileSystem.removeItem(folder / "real" + detour + "/file"));
    EXPECT_FALSE(fileSystem.exists(file));
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

    const auto changed = fileSystem.setImmutable(folder / "missing.txt", false);

    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error().code, ENOENT);
    EXPECT_EQ(changed.error().localizedDescription,
              "“missing.txt” couldn’t be unlocked because it doesn’t exist.");
}

TEST(FileSystem, LocksAndUnlocksAFileAndAFolder) {
    const TemporaryFolder folder;
    if (const auto reason = whyNoFlags(folder); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    for (const auto& item : {folder.write("file"), folder.makeFolder("folder")}) {
        const Unlock unlock(item);
        ASSERT_TRUE(fileSystem.setImmutable(item, true));
        EXPECT_NE(::rename(item.c_str(), (folder / "moved").c_str()), 0);

        ASSERT_TRUE(fileSystem.setImmutable(item, false));
        EXPECT_EQ(::rename(item.c_str(), (folder / "moved").c_str()), 0);
        ASSERT_TRUE(fileSystem.removeItem(folder / "moved"));
    }
}

TEST(FileSystem, LocksALinkItselfNever) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    makeLink(file, folder / "link");

    const auto changed = fileSystem.setImmutable(folder / "link", true);

    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error().code, EOPNOTSUPP);
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
    ASSERT_TRUE(fileSystem.setImmutable(file, true));

    EXPECT_EQ(runChild({"unlock", file}, {}, asOrdinaryUser()).output,
              "1 “file” couldn’t be unlocked because you don’t have permission.\n");
}

TEST(FileSystem, CountsAFileWithoutFlagsAsUnlocked) {
    if (!fileSystem.exists("/proc/self/status")) {
        GTEST_SKIP() << "no /proc";
    }
    EXPECT_TRUE(fileSystem.setImmutable("/proc/self/status", false));

    const auto changed = fileSystem.setImmutable("/proc/self/status", true);

    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error().localizedDescription,
              "“status” couldn’t be locked because the volume doesn’t support it.");
}

TEST(FileSystem, MakesAFolderWithThoseOnTheWay) {
    const TemporaryFolder folder;

    EXPECT_TRUE(fileSystem.createDirectory(folder / "one/two/three"));
    EXPECT_TRUE(fileSystem.createDirectory((folder / "one/no\xFFtext") + "//"));

    EXPECT_TRUE(fileSystem.isDirectory(folder / "one/two/three"));
    EXPECT_TRUE(fileSystem.isDirectory(folder / "one/no\xFFtext"));
}

TEST(FileSystem, TakesAFolderThatIsThereForMade) {
    const TemporaryFolder folder;
    makeLink(folder.makeFolder("real"), folder / "link");

    for (const auto& path : {folder / "real", folder / "link", folder.path(), std::string("/")}) {
        EXPECT_TRUE(fileSystem.createDirectory(path)) << path;
    }
    EXPECT_EQ(runChild({"create", "/tmp"}, {}, asOrdinaryUser()).output, "ok\n");
}

TEST(FileSystem, TellsWhyAFolderCannotBeMade) {
    const TemporaryFolder folder;
    folder.write("file");
    makeLink("missing", folder / "broken");
    makeLink("loop", folder / "loop");
    const std::string longName(256, 'n');
    std::string longPath = folder.path();
    while (longPath.size() < 5000) {
        longPath += "/component";
    }
    const std::vector<std::pair<std::string, std::string>> cases{
        {folder / "file", "“file” couldn’t be created because an item with the same name already "
                          "exists."},
        {folder / "broken", "“broken” couldn’t be created because an item with the same name "
                            "already exists."},
        {folder / "file/new",
         "“new” couldn’t be created because a part of its path isn’t a folder."},
        {folder / "loop/new",
         "“new” couldn’t be created because its path leads through too many links."},
        {folder / longName, "“" + longName + "” couldn’t be created because its name is too long."},
        {longPath, "“component” couldn’t be created because its name is too long."},
        {"relative", "“relative” couldn’t be created because the system doesn’t allow it."},
        {"", "“” couldn’t be created because the system doesn’t allow it."},
        {"/proc/new", "“new” couldn’t be created because it doesn’t exist."},
    };
    for (const auto& [path, sentence] : cases) {
        const auto created = fileSystem.createDirectory(path);
        ASSERT_FALSE(created) << path;
        EXPECT_EQ(created.error().localizedDescription, sentence);
    }
    EXPECT_FALSE(fileSystem.exists(folder / "component"));
}

TEST(FileSystem, MakesNoFolderWithoutPermission) {
    const TemporaryFolder folder;
    ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);

    EXPECT_EQ(runChild({"create", folder / "new/inner"}, {}, asOrdinaryUser()).output,
              "13 “inner” couldn’t be created because you don’t have permission.\n");

    EXPECT_FALSE(fileSystem.exists(folder / "new"));
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
}

TEST(FileSystem, MakesOneFolderForManyCallers) {
    const TemporaryFolder folder;
    for (int round = 0; round < 200; ++round) {
        const auto path = folder / (std::to_string(round) + "/two/three");
        platform::Result<void> others;
        std::thread other([&] { others = fileSystem.createDirectory(path); });
        EXPECT_TRUE(fileSystem.createDirectory(path));
        other.join();
        EXPECT_TRUE(others);
        EXPECT_TRUE(fileSystem.isDirectory(path));
    }
}

TEST(FileSystem, WritesAFileAtOnceOrNotAtAll) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "old content");
    makeLink(file, folder / "link");
    const std::string content("new\0content", 11);

    EXPECT_TRUE(fileSystem.writeAtomically(file, content));
    EXPECT_TRUE(fileSystem.writeAtomically(folder / "new", ""));
    EXPECT_TRUE(fileSystem.writeAtomically(folder / "link", "in the link's place"));

    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(contentOf(folder / "new"), "");
    EXPECT_EQ(contentOf(folder / "link"), "in the link's place");
    EXPECT_EQ(fileSystem.contentsOfDirectory(folder.path())->size(), 3U);
}

TEST(FileSystem, LeavesWhatStoodThereWhereAFileCannotBeWritten) {
    const TemporaryFolder folder;
    folder.makeFolder("folder");
    const std::string longName(256, 'n');
    const std::vector<std::pair<std::string, int>> cases{
        {folder / "folder", EISDIR},
        {folder / "missing/file", ENOENT},
        {folder / longName, ENAMETOOLONG},
        {"relative", EINVAL},
        {"", EINVAL},
    };
    for (const auto& [path, number] : cases) {
        const auto written = fileSystem.writeAtomically(path, "content");
        ASSERT_FALSE(written) << path;
        EXPECT_EQ(written.error().code, number) << path;
    }
    EXPECT_EQ(fileSystem.contentsOfDirectory(folder.path())->size(), 1U);
}

TEST(FileSystem, LeavesWhatStoodThereWhereAFileWouldExceedTheLimitOnSizes) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "old");

    EXPECT_EQ(runChild({"write", file, std::string(100'000, 'x')}, {},
                       {"sh", "-c", R"(ulimit -f 100 && exec "$@")", "sh"})
                  .output,
              "27 “file” couldn’t be saved because it is too large.\n");

    EXPECT_EQ(contentOf(file), "old");
    EXPECT_EQ(fileSystem.contentsOfDirectory(folder.path())->size(), 1U);
}

TEST(FileSystem, TellsWhenAnItemWasMade) {
    const TemporaryFolder folder;
    const auto before = std::chrono::system_clock::now() - std::chrono::seconds(1);

    const auto attributes = fileSystem.attributesOfItem(folder.write("file"));

    ASSERT_TRUE(attributes);
    if (!attributes->creationDate) {
        GTEST_SKIP() << "temporary folders are on a volume without birth times";
    }
    EXPECT_GE(*attributes->creationDate, before);
}

TEST(FileSystem, KeepsTheCreationDateThatWasSet) {
    using namespace std::chrono_literals;
    if (const auto reason = whyNoCreationDates(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    for (const auto& item : {folder.write("file"), folder.makeFolder("folder")}) {
        for (const auto date : {someDate, platform::Date(0ns), platform::Date(-1ns),
                                platform::Date::min(), platform::Date::max()}) {
            EXPECT_TRUE(fileSystem.setCreationDate(item, date));
            EXPECT_EQ(fileSystem.attributesOfItem(item)->creationDate, date);
        }
    }
}

TEST(FileSystem, SetsTheCreationDateOfWhatALinkLeadsTo) {
    if (const auto reason = whyNoCreationDates(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    makeLink(file, folder / "link");

    EXPECT_TRUE(fileSystem.setCreationDate(folder / "link", someDate));

    EXPECT_EQ(fileSystem.attributesOfItem(file)->creationDate, someDate);
    EXPECT_NE(fileSystem.attributesOfItem(folder / "link")->creationDate, someDate);
}

TEST(FileSystem, GivesACopyTheCreationDateThatWasSet) {
    if (const auto reason = whyNoCreationDates(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    ASSERT_TRUE(fileSystem.setCreationDate(folder.makeFolder("folder"), someDate));

    EXPECT_TRUE(fileSystem.copyItem(folder / "folder", folder / "copy"));

    EXPECT_EQ(fileSystem.attributesOfItem(folder / "copy")->creationDate, someDate);
}

TEST(FileSystem, StoresTheCreationDateAsDocumented) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    const auto birth = fileSystem.attributesOfItem(file)->creationDate;
    constexpr const char* attribute = "user.qf.creationdate";
    const auto store = [&file](std::string_view text) {
        return ::setxattr(file.c_str(), attribute, text.data(), text.size(), 0) == 0;
    };
    if (!store("1000000000123456789")) {
        GTEST_SKIP() << "temporary folders are on a volume without extended attributes";
    }
    EXPECT_EQ(fileSystem.attributesOfItem(file)->creationDate,
              platform::Date(std::chrono::nanoseconds(1000000000123456789)));

    for (const auto* text : {"", "-", "+1", " 1", "1 ", "1.5", "x", "99999999999999999999",
                             "1000000000000000000000000000000"}) {
        ASSERT_TRUE(store(text));
        EXPECT_EQ(fileSystem.attributesOfItem(file)->creationDate, birth) << text;
    }
}

TEST(FileSystem, TellsWhyACreationDateCannotBeSet) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);

    const auto missing = fileSystem.setCreationDate(folder / "missing", platform::Date());
    const auto fifo = fileSystem.setCreationDate(folder / "fifo", platform::Date());

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().localizedDescription,
              "“missing” couldn’t be changed because it doesn’t exist.");
    ASSERT_FALSE(fifo);
    EXPECT_TRUE(
        fifo.error().localizedDescription.starts_with("“fifo” couldn’t be changed because "))
        << fifo.error().localizedDescription;
}
