#include "platform/linux/files/FileSystem.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <tuple>

namespace {

using Entries = std::vector<qf::DirectoryEntry>;
using qf::ItemKind;

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

/// Returns why this machine's temporary directory cannot hold an immutable file; empty if it can.
std::string whyNoFlags(const TemporaryDirectory& directory) {
    using qf::native::FileDescriptor;
    const FileDescriptor probe(::open(directory.write("probe").c_str(), O_RDONLY | O_CLOEXEC));
    int flags = 0;
    const bool isKnown = ::ioctl(probe.get(), FS_IOC_GETFLAGS, &flags) == 0;
    int locked = flags | FS_IMMUTABLE_FL;
    if (!isKnown || ::ioctl(probe.get(), FS_IOC_SETFLAGS, &locked) != 0) {
        return "no immutable flag can be set here: " + std::string(std::strerror(errno));
    }
    ::ioctl(probe.get(), FS_IOC_SETFLAGS, &flags);
    return "";
}

constexpr qf::Date someDate{std::chrono::nanoseconds(1000000000123456789)};

constexpr const char* noExtendedAttributes =
    "temporary folders are on a volume without extended attributes";

/// Returns why temporary directories cannot store creation dates; empty if they can.
std::string whyNoCreationDates() {
    const TemporaryDirectory directory;
    const auto changed = fileSystem.setCreationDate(directory.write("probe"), someDate);
    return !changed && changed.error().code == EOPNOTSUPP ? noExtendedAttributes : "";
}

/// An item of a test's directory, or a path that may begin with "DIR" for this directory.
struct ItemOnDisk : NamedCase {
    const char* item;
};

TEST(FileSystem, SeesWhatALinkLeadsTo) {
    const TemporaryDirectory directory;
    makeLink(directory.write("file"), directory / "good");
    makeLink(directory / "missing", directory / "broken");
    makeLink(directory / "loop", directory / "loop");

    EXPECT_TRUE(fileSystem.exists(directory / "file"));
    EXPECT_TRUE(fileSystem.exists(directory / "good"));
    EXPECT_FALSE(fileSystem.exists(directory / "broken"));
    EXPECT_FALSE(fileSystem.exists(directory / "loop"));
    EXPECT_FALSE(fileSystem.exists(directory / "file/below"));
}

TEST(FileSystem, RemovesTheCopiesThatKilledProcessesLeft) {
    const TemporaryDirectory directory;
    directory.write(".qf-0123456789abcdef-1/part of a folder");
    directory.write(".qf-0123456789abcdef-2", "part of a file");
    directory.write(".qf-mark-0123456789abcdef-1");
    directory.write(".qf-not ours");
    directory.write("sub/.qf-0123456789abcdef-1");
    const auto copy = directory.write(".qf-0123456789abcdef-3", "in work");
    const qf::native::FileDescriptor held(::open(copy.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(held.get(), LOCK_EX | LOCK_NB), 0);

    fileSystem.removeAbandonedCopies(directory.path());
    fileSystem.removeAbandonedCopies(directory / "missing");

    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.path())) {
        left.push_back(entry.path().lexically_relative(directory.path()));
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left,
              (std::vector<std::string>{".qf-0123456789abcdef-3", ".qf-mark-0123456789abcdef-1",
                                        ".qf-not ours", "sub", "sub/.qf-0123456789abcdef-1"}));
}

TEST(FileSystem, FollowsPathsOfAnyLength) {
    const TemporaryDirectory directory;
    const auto file = directory.write("real/file");
    makeLink(directory / "real", directory / "link");
    std::string detour;
    while (detour.size() < 10'000) {
        detour += "/../real/.";
    }

    EXPECT_TRUE(fileSystem.exists(directory / "link" + detour + "/file"));
    EXPECT_TRUE(fileSystem.isDirectory(directory / "real" + detour + std::string(10'000, '/')));
    EXPECT_TRUE(fileSystem.isDirectory(std::string(10'000, '/')));
    EXPECT_EQ(fileSystem.contentsOfDirectory(directory / "link" + detour),
              (Entries{{"file", ItemKind::file}}));
    EXPECT_EQ(fileSystem.destinationOfSymbolicLink(directory / "real" + detour + "/../link"),
              directory / "real");
    EXPECT_FALSE(fileSystem.exists(directory / "missing" + detour));
    EXPECT_FALSE(fileSystem.exists(file + detour));
    EXPECT_FALSE(fileSystem.exists(directory / "link" + detour + "/" + std::string(10'000, 'n')));
    EXPECT_EQ(fileSystem.removeItem(directory / "real" + detour + "/missing").error().code, ENOENT);
    EXPECT_TRUE(fileSystem.removeItem(directory / "real" + detour + "/file"));
    EXPECT_FALSE(fileSystem.exists(file));
}

TEST(FileSystem, TellsDirectoriesFromFiles) {
    const TemporaryDirectory directory;
    makeLink(directory.makeDirectory("real"), directory / "link");

    EXPECT_TRUE(fileSystem.isDirectory(directory / "real"));
    EXPECT_TRUE(fileSystem.isDirectory(directory / "link"));
    EXPECT_FALSE(fileSystem.isDirectory(directory.write("file")));
    EXPECT_FALSE(fileSystem.isDirectory(directory / "missing"));
}

TEST(FileSystem, ListsEveryNameInADirectory) {
    const TemporaryDirectory directory;
    directory.write("a");
    directory.write(".hidden");
    directory.write("Icon\r");
    directory.write("no\xFFtext");
    directory.makeDirectory("sub");
    makeLink(directory / "missing", directory / "broken");
    makeLink(directory.path(), directory / "self");

    auto entries = fileSystem.contentsOfDirectory(directory / "self");

    ASSERT_TRUE(entries);
    std::sort(entries->begin(), entries->end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    EXPECT_EQ(*entries, (Entries{{".hidden", ItemKind::file},
                                 {"Icon\r", ItemKind::file},
                                 {"a", ItemKind::file},
                                 {"broken", ItemKind::link},
                                 {"no\xFFtext", ItemKind::file},
                                 {"self", ItemKind::link},
                                 {"sub", ItemKind::directory}}));
}

TEST(FileSystem, HasNoListForWhatIsNoReadableDirectory) {
    const TemporaryDirectory directory;

    EXPECT_EQ(fileSystem.contentsOfDirectory(directory / "missing"), std::nullopt);
    EXPECT_EQ(fileSystem.contentsOfDirectory(directory.write("file")), std::nullopt);
    EXPECT_EQ(fileSystem.contentsOfDirectory(directory.makeDirectory("empty")), Entries{});
}

TEST(FileSystem, ListsSizesOfAllButDirectories) {
    const TemporaryDirectory directory;
    directory.write("a", "12345");
    directory.makeDirectory("sub");
    makeLink("missing", directory / "broken");

    auto entries = fileSystem.contentsOfDirectoryWithSizes(directory.path());

    ASSERT_TRUE(entries);
    std::sort(entries->begin(), entries->end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    EXPECT_EQ(*entries, (Entries{{"a", ItemKind::file, 5},
                                 {"broken", ItemKind::link, 7},
                                 {"sub", ItemKind::directory, std::nullopt}}));
    EXPECT_EQ(fileSystem.contentsOfDirectoryWithSizes(directory / "missing"), std::nullopt);
    EXPECT_EQ(fileSystem.contentsOfDirectoryWithSizes(directory / "a"), std::nullopt);
}

TEST(FileSystem, TellsItemsFromOneAnother) {
    const TemporaryDirectory directory;
    const auto first = directory.makeDirectory("first");
    const auto second = directory.makeDirectory("second");
    makeLink(first, directory / "link");
    makeLink(directory / "missing", directory / "broken");

    EXPECT_EQ(fileSystem.fileIdOfItem(directory / "link"), fileSystem.fileIdOfItem(first));
    EXPECT_EQ(fileSystem.fileIdOfItem(first + "/../first"), fileSystem.fileIdOfItem(first));
    EXPECT_NE(fileSystem.fileIdOfItem(first), fileSystem.fileIdOfItem(second));
    EXPECT_EQ(fileSystem.fileIdOfItem(directory / "broken"), std::nullopt);
}

class FileSystemUnlocked : public testing::TestWithParam<ItemOnDisk> {};

TEST_P(FileSystemUnlocked, IsUnlockedWithoutPrivilegeOrPermission) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    makeLink(directory / "missing", directory / "broken");
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);

    EXPECT_EQ(runChild({"unlock", directory / GetParam().item}, {}, asOrdinaryUser()).output,
              "ok\n");
}

INSTANTIATE_TEST_SUITE_P(, FileSystemUnlocked,
                         testing::Values(ItemOnDisk{{"File"}, "file"},
                                         ItemOnDisk{{"BrokenLink"}, "broken"},
                                         ItemOnDisk{{"Fifo"}, "fifo"},
                                         ItemOnDisk{{"Directory"}, ""}),
                         nameOfCase);

TEST(FileSystem, UnlocksNothingIfNothingExists) {
    const TemporaryDirectory directory;

    const auto changed = fileSystem.setImmutable(directory / "missing.txt", false);

    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error().code, ENOENT);
    EXPECT_EQ(changed.error().localizedDescription,
              "“missing.txt” couldn’t be unlocked because it doesn’t exist.");
}

class FileSystemLocked : public testing::TestWithParam<ItemOnDisk> {};

TEST_P(FileSystemLocked, StaysWhereItIsUntilItIsUnlocked) {
    const TemporaryDirectory directory;
    if (const auto reason = whyNoFlags(directory); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    directory.write("file");
    directory.makeDirectory("folder");
    const auto item = directory / GetParam().item;
    const Unlock unlock(item);

    ASSERT_TRUE(fileSystem.setImmutable(item, true));
    EXPECT_NE(::rename(item.c_str(), (directory / "moved").c_str()), 0);

    ASSERT_TRUE(fileSystem.setImmutable(item, false));
    EXPECT_EQ(::rename(item.c_str(), (directory / "moved").c_str()), 0);
    ASSERT_TRUE(fileSystem.removeItem(directory / "moved"));
}

INSTANTIATE_TEST_SUITE_P(, FileSystemLocked,
                         testing::Values(ItemOnDisk{{"File"}, "file"},
                                         ItemOnDisk{{"Directory"}, "folder"}),
                         nameOfCase);

TEST(FileSystem, LocksALinkItselfNever) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    makeLink(file, directory / "link");

    const auto changed = fileSystem.setImmutable(directory / "link", true);

    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error().code, EOPNOTSUPP);
    EXPECT_EQ(::rename(file.c_str(), (directory / "moved").c_str()), 0);
}

TEST(FileSystem, LeavesALockedFileToThosePrivileged) {
    const TemporaryDirectory directory;
    if (const auto reason = whyNoFlags(directory); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto file = directory.write("file");
    const Unlock unlock(file);
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
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

TEST(FileSystem, MakesADirectoryWithThoseOnTheWay) {
    const TemporaryDirectory directory;

    EXPECT_TRUE(fileSystem.createDirectory(directory / "one/two/three"));
    EXPECT_TRUE(fileSystem.createDirectory((directory / "one/no\xFFtext") + "//"));

    EXPECT_TRUE(fileSystem.isDirectory(directory / "one/two/three"));
    EXPECT_TRUE(fileSystem.isDirectory(directory / "one/no\xFFtext"));
}

class FileSystemMadeDirectory : public testing::TestWithParam<ItemOnDisk> {};

TEST_P(FileSystemMadeDirectory, IsTakenForMade) {
    const TemporaryDirectory directory;
    makeLink(directory.makeDirectory("real"), directory / "link");

    EXPECT_TRUE(fileSystem.createDirectory(casePath(directory, GetParam().item)));
}

INSTANTIATE_TEST_SUITE_P(, FileSystemMadeDirectory,
                         testing::Values(ItemOnDisk{{"Directory"}, "DIR/real"},
                                         ItemOnDisk{{"Link"}, "DIR/link"},
                                         ItemOnDisk{{"DirectoryAround"}, "DIR"},
                                         ItemOnDisk{{"Root"}, "/"}),
                         nameOfCase);

TEST(FileSystem, TakesADirectoryOfTheSuperusersForMadeForAnOrdinaryUser) {
    EXPECT_EQ(runChild({"create", "/tmp"}, {}, asOrdinaryUser()).output, "ok\n");
}

/// The path of a directory that cannot be made; "DIR" is the directory of the test.
struct UncreatablePath : NamedCase {
    std::string path;
    std::string sentence;
};

class FileSystemUnmadeDirectory : public testing::TestWithParam<UncreatablePath> {};

TEST_P(FileSystemUnmadeDirectory, IsToldWithTheReason) {
    const TemporaryDirectory directory;
    directory.write("file");
    makeLink("missing", directory / "broken");
    makeLink("loop", directory / "loop");

    const auto created = fileSystem.createDirectory(casePath(directory, GetParam().path));

    ASSERT_FALSE(created);
    EXPECT_EQ(created.error().localizedDescription, GetParam().sentence);
    EXPECT_FALSE(fileSystem.exists(directory / "zero"));
}

const std::string nameThatIsTooLong(256, 'n');

INSTANTIATE_TEST_SUITE_P(
    , FileSystemUnmadeDirectory,
    testing::Values(
        UncreatablePath{
            {"File"},
            "DIR/file",
            "“file” couldn’t be created because an item with the same name already exists."},
        UncreatablePath{
            {"BrokenLink"},
            "DIR/broken",
            "“broken” couldn’t be created because an item with the same name already exists."},
        UncreatablePath{{"BelowAFile"},
                        "DIR/file/new",
                        "“new” couldn’t be created because a part of its path isn’t a folder."},
        UncreatablePath{{"BelowALoop"},
                        "DIR/loop/new",
                        "“new” couldn’t be created because its path leads through too many links."},
        UncreatablePath{{"LongName"},
                        "DIR/" + nameThatIsTooLong,
                        "“" + nameThatIsTooLong +
                            "” couldn’t be created because its name is too long."},
        UncreatablePath{{"Relative"},
                        "relative",
                        "“relative” couldn’t be created because the system doesn’t allow it."},
        UncreatablePath{{"Zero"},
                        std::string("DIR/zero\0.tmp", 13),
                        "“zero\\x00.tmp” couldn’t be created because the system doesn’t allow it."},
        UncreatablePath{
            {"Empty"}, "", "“” couldn’t be created because the system doesn’t allow it."},
        UncreatablePath{
            {"InProc"}, "/proc/new", "“new” couldn’t be created because it doesn’t exist."}),
    nameOfCase);

TEST(FileSystem, MakesADirectoryHoweverLongItsPathIs) {
    const TemporaryDirectory directory;
    std::string longPath = directory.path();
    while (longPath.size() < 5000) {
        longPath += "/component";
    }

    EXPECT_TRUE(fileSystem.createDirectory(longPath));

    EXPECT_TRUE(fileSystem.isDirectory(longPath));
    EXPECT_TRUE(fileSystem.createDirectory(longPath));
}

TEST(FileSystem, MakesNoDirectoryWithoutPermission) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::chmod(directory.path().c_str(), 0555), 0);

    EXPECT_EQ(runChild({"create", directory / "new/inner"}, {}, asOrdinaryUser()).output,
              "13 “inner” couldn’t be created because you don’t have permission.\n");

    EXPECT_FALSE(fileSystem.exists(directory / "new"));
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
}

TEST(FileSystem, MakesOneDirectoryForManyCallers) {
    const TemporaryDirectory directory;
    for (int round = 0; round < 200; ++round) {
        const auto path = directory / (std::to_string(round) + "/two/three");
        qf::Result<void> others;
        std::thread other([&] { others = fileSystem.createDirectory(path); });
        EXPECT_TRUE(fileSystem.createDirectory(path));
        other.join();
        EXPECT_TRUE(others);
        EXPECT_TRUE(fileSystem.isDirectory(path));
    }
}

TEST(FileSystem, WritesAFileAtOnceOrNotAtAll) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "old content");
    makeLink(file, directory / "link");
    const std::string content("new\0content", 11);

    EXPECT_TRUE(fileSystem.writeAtomically(file, content));
    EXPECT_TRUE(fileSystem.writeAtomically(directory / "new", ""));
    EXPECT_TRUE(fileSystem.writeAtomically(directory / "link", "in the link's place"));

    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(contentOf(directory / "new"), "");
    EXPECT_EQ(contentOf(directory / "link"), "in the link's place");
    EXPECT_EQ(fileSystem.contentsOfDirectory(directory.path())->size(), 3U);
}

TEST(FileSystem, WritesAFileWithItsModeAndDate) {
    const TemporaryDirectory directory;
    const qf::FileDate date({.tv_sec = 1'000'000'000, .tv_nsec = 5});

    EXPECT_TRUE(fileSystem.writeAtomicallyWith(directory / "dated", "content", 04640, date));
    EXPECT_TRUE(fileSystem.writeAtomicallyWith(directory / "undated", "content", 0600, {}));

    const auto dated = fileSystem.attributesOfItem(directory / "dated");
    EXPECT_EQ(dated->permissions, 04640U);
    EXPECT_EQ(dated->modificationDate, date);
    EXPECT_EQ(contentOf(directory / "dated"), "content");
    EXPECT_EQ(fileSystem.attributesOfItem(directory / "undated")->permissions, 0600U);
}

TEST(FileSystem, HoldsADirectoryWhateverBecomesOfItsName) {
    const TemporaryDirectory directory;
    const auto folder = directory.makeDirectory("folder");
    const auto held = fileSystem.holdDirectory(folder, {}, qf::MissingDirectories::fail);
    ASSERT_TRUE(held);
    std::filesystem::rename(folder, directory / "renamed");
    makeLink(directory.makeDirectory("other"), folder);

    EXPECT_TRUE(fileSystem.writeAtomically((*held)->path() + "/file", "content"));

    EXPECT_EQ(contentOf(directory / "renamed/file"), "content");
    EXPECT_TRUE(std::filesystem::is_empty(directory / "other"));
}

TEST(FileSystem, SaysWhyADirectoryIsNotHeld) {
    const TemporaryDirectory directory;

    const auto held =
        fileSystem.holdDirectory(directory / "folder", {}, qf::MissingDirectories::fail);

    ASSERT_FALSE(held);
    EXPECT_EQ(held.error().localizedDescription,
              "“folder” couldn’t be opened because it doesn’t exist.");
    EXPECT_TRUE(fileSystem.holdDirectory(directory / "folder", {}, qf::MissingDirectories::create));
}

/// The path of a file that cannot be written; "DIR" is the directory of the test.
struct UnwritablePath : NamedCase {
    std::string path;
    int number;
};

class FileSystemUnwrittenFile : public testing::TestWithParam<UnwritablePath> {};

TEST_P(FileSystemUnwrittenFile, LeavesWhatWasThere) {
    const TemporaryDirectory directory;
    directory.makeDirectory("folder");

    const auto written =
        fileSystem.writeAtomically(casePath(directory, GetParam().path), "content");

    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, GetParam().number);
    EXPECT_EQ(fileSystem.contentsOfDirectory(directory.path())->size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    , FileSystemUnwrittenFile,
    testing::Values(UnwritablePath{{"Directory"}, "DIR/folder", EISDIR},
                    UnwritablePath{{"InMissing"}, "DIR/missing/file", ENOENT},
                    UnwritablePath{{"LongName"}, "DIR/" + nameThatIsTooLong, ENAMETOOLONG},
                    UnwritablePath{{"Relative"}, "relative", EINVAL},
                    UnwritablePath{{"Empty"}, "", EINVAL}),
    nameOfCase);

TEST(FileSystem, LeavesWhatStoodThereWhereAFileWouldExceedTheLimitOnSizes) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "old");

    EXPECT_EQ(runChild({"write", file, std::string(100'000, 'x')}, {},
                       {"sh", "-c", R"(ulimit -f 100 && exec "$@")", "sh"})
                  .output,
              "27 “file” couldn’t be saved because it is too large.\n");

    EXPECT_EQ(contentOf(file), "old");
    EXPECT_EQ(fileSystem.contentsOfDirectory(directory.path())->size(), 1U);
}

TEST(FileSystem, TellsWhoseAnItemIsAndWhich) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    const auto link = directory / "link";
    ASSERT_EQ(::symlink(file.c_str(), link.c_str()), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);

    const auto attributes = fileSystem.attributesOfItem(file);

    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->owner, status.st_uid);
    EXPECT_EQ(attributes->group, status.st_gid);
    EXPECT_EQ(attributes->permissions, 0640U);
    EXPECT_EQ(attributes->id, fileSystem.fileIdOfItem(file));
    EXPECT_NE(fileSystem.attributesOfItem(link)->id, attributes->id);
}

TEST(FileSystem, TellsWhenAnItemWasMade) {
    const TemporaryDirectory directory;
    const auto before = std::chrono::system_clock::now() - std::chrono::seconds(1);

    const auto attributes = fileSystem.attributesOfItem(directory.write("file"));

    ASSERT_TRUE(attributes);
    if (!attributes->creationDate) {
        GTEST_SKIP() << "temporary folders are on a volume without birth times";
    }
    EXPECT_GE(*attributes->creationDate, before);
}

TEST(FileSystem, TellsNoDateWhereTheVolumeHasNoBirthTimes) {
    struct statx status {};
    if (::statx(AT_FDCWD, "/proc/self/status", 0, STATX_BTIME, &status) != 0 ||
        (status.stx_mask & STATX_BTIME) != 0) {
        GTEST_SKIP() << "this machine has no /proc without birth times";
    }
    EXPECT_EQ(fileSystem.attributesOfItem("/proc/self/status")->creationDate, std::nullopt);
}

struct DateToSet : NamedCase {
    qf::Date date;
};

class FileSystemCreationDate : public testing::TestWithParam<std::tuple<ItemOnDisk, DateToSet>> {};

TEST_P(FileSystemCreationDate, IsKept) {
    if (const auto reason = whyNoCreationDates(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto& [named, set] = GetParam();
    const TemporaryDirectory directory;
    directory.write("file");
    directory.makeDirectory("folder");
    const auto item = directory / named.item;

    EXPECT_TRUE(fileSystem.setCreationDate(item, set.date));

    EXPECT_EQ(fileSystem.attributesOfItem(item)->creationDate, set.date);
}

INSTANTIATE_TEST_SUITE_P(
    , FileSystemCreationDate,
    testing::Combine(
        testing::Values(ItemOnDisk{{"OfAFile"}, "file"}, ItemOnDisk{{"OfADirectory"}, "folder"}),
        testing::Values(DateToSet{{"InOurTime"}, someDate},
                        DateToSet{{"AtTheEpoch"}, qf::Date(std::chrono::nanoseconds(0))},
                        DateToSet{{"BeforeTheEpoch"}, qf::Date(std::chrono::nanoseconds(-1))},
                        DateToSet{{"Earliest"}, qf::Date::min()},
                        DateToSet{{"Latest"}, qf::Date::max()})),
    nameOfCases);

TEST(FileSystem, SetsTheCreationDateOfWhatALinkLeadsTo) {
    if (const auto reason = whyNoCreationDates(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    makeLink(file, directory / "link");

    EXPECT_TRUE(fileSystem.setCreationDate(directory / "link", someDate));

    EXPECT_EQ(fileSystem.attributesOfItem(file)->creationDate, someDate);
    EXPECT_NE(fileSystem.attributesOfItem(directory / "link")->creationDate, someDate);
}

TEST(FileSystem, GivesACopyTheCreationDateThatWasSet) {
    if (const auto reason = whyNoCreationDates(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    ASSERT_TRUE(fileSystem.setCreationDate(directory.makeDirectory("folder"), someDate));

    EXPECT_TRUE(fileSystem.copyItem(directory / "folder", directory / "copy"));

    EXPECT_EQ(fileSystem.attributesOfItem(directory / "copy")->creationDate, someDate);
}

/// Stores a text in the extended attribute that holds a creation date.
bool storeDateText(const std::string& path, std::string_view text) {
    return ::setxattr(path.c_str(), "user.qf.creationdate", text.data(), text.size(), 0) == 0;
}

TEST(FileSystem, StoresTheCreationDateAsDocumented) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    if (!storeDateText(file, "1000000000123456789")) {
        GTEST_SKIP() << noExtendedAttributes;
    }

    EXPECT_EQ(fileSystem.attributesOfItem(file)->creationDate,
              qf::Date(std::chrono::nanoseconds(1000000000123456789)));
}

struct NoStoredDate : NamedCase {
    const char* text;
};

class FileSystemNoStoredDate : public testing::TestWithParam<NoStoredDate> {};

TEST_P(FileSystemNoStoredDate, LeavesTheDateOfBirth) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    const auto birth = fileSystem.attributesOfItem(file)->creationDate;
    if (!storeDateText(file, "1000000000123456789")) {
        GTEST_SKIP() << noExtendedAttributes;
    }

    ASSERT_TRUE(storeDateText(file, GetParam().text));

    EXPECT_EQ(fileSystem.attributesOfItem(file)->creationDate, birth);
}

INSTANTIATE_TEST_SUITE_P(
    , FileSystemNoStoredDate,
    testing::Values(NoStoredDate{{"Empty"}, ""}, NoStoredDate{{"Minus"}, "-"},
                    NoStoredDate{{"PlusSign"}, "+1"}, NoStoredDate{{"SpaceBefore"}, " 1"},
                    NoStoredDate{{"SpaceAfter"}, "1 "}, NoStoredDate{{"Fraction"}, "1.5"},
                    NoStoredDate{{"Letter"}, "x"},
                    NoStoredDate{{"TwentyDigits"}, "99999999999999999999"},
                    NoStoredDate{{"MoreDigits"}, "1000000000000000000000000000000"}),
    nameOfCase);

TEST(FileSystem, TellsWhyACreationDateCannotBeSet) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);

    const auto missing = fileSystem.setCreationDate(directory / "missing", qf::Date());
    const auto fifo = fileSystem.setCreationDate(directory / "fifo", qf::Date());

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().localizedDescription,
              "“missing” couldn’t be changed because it doesn’t exist.");
    ASSERT_FALSE(fifo);
    EXPECT_TRUE(
        fifo.error().localizedDescription.starts_with("“fifo” couldn’t be changed because "))
        << fifo.error().localizedDescription;
}

} // namespace
