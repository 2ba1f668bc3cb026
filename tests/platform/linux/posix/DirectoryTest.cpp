#include "platform/linux/posix/Directory.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <map>

using platform::ItemKind;
using platform::native::Directory;
using platform::native::itemKind;
using platform::native::opened;

namespace {

std::map<std::string, ItemKind> entriesOf(Directory& directory) {
    std::map<std::string, ItemKind> entries;
    for (auto entry = directory.next(); entry && *entry; entry = directory.next()) {
        entries[(*entry)->name] = (*entry)->kind;
    }
    return entries;
}

Directory directoryAt(const std::string& path) {
    return *Directory::of(*opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

TEST(DirectoryTest, TellsEveryEntryExceptTheFolderAndTheOneAbove) {
    const TemporaryFolder folder;
    folder.write("file");
    folder.makeFolder("folder");
    ::symlink("nowhere", (folder / "link").c_str());
    ::mkfifo((folder / "fifo").c_str(), 0600);
    auto directory = directoryAt(folder.path());

    EXPECT_EQ(entriesOf(directory), (std::map<std::string, ItemKind>{{"file", ItemKind::file},
                                                                     {"folder", ItemKind::folder},
                                                                     {"link", ItemKind::link},
                                                                     {"fifo", ItemKind::other}}));
}

TEST(DirectoryTest, TellsNothingAtTheEnd) {
    const TemporaryFolder folder;
    auto directory = directoryAt(folder.path());

    const auto end = directory.next();

    ASSERT_TRUE(end);
    EXPECT_FALSE(end->has_value());
}

TEST(DirectoryTest, ReadsAgainFromTheStart) {
    const TemporaryFolder folder;
    folder.write("first");
    auto directory = directoryAt(folder.path());
    entriesOf(directory);
    folder.write("second");

    directory.rewind();

    EXPECT_EQ(entriesOf(directory).size(), 2U);
}

TEST(DirectoryTest, CannotBeMadeOfAFile) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");

    const auto directory = Directory::of(*opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC)));

    ASSERT_FALSE(directory);
    EXPECT_EQ(directory.error().number(), ENOTDIR);
}

TEST(DirectoryTest, LendsItsDescriptor) {
    const TemporaryFolder folder;
    folder.write("file");
    const auto directory = directoryAt(folder.path());

    EXPECT_EQ(::faccessat(directory.descriptor(), "file", F_OK, 0), 0);
}

TEST(DirectoryTest, TakesDevicesAndSocketsForOther) {
    EXPECT_EQ(itemKind(S_IFCHR), ItemKind::other);
    EXPECT_EQ(itemKind(S_IFBLK), ItemKind::other);
    EXPECT_EQ(itemKind(S_IFSOCK), ItemKind::other);
}

} // namespace
