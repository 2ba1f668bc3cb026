#include "platform/linux/posix/DirectoryReader.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <map>

using qf::ItemKind;
using qf::native::DirectoryReader;
using qf::native::itemKind;
using qf::native::opened;

namespace {

std::map<std::string, ItemKind> entriesOf(DirectoryReader& reader) {
    std::map<std::string, ItemKind> entries;
    for (auto entry = reader.next(); entry && *entry; entry = reader.next()) {
        entries[(*entry)->name] = (*entry)->kind;
    }
    return entries;
}

bool hidesKinds = false;

/// Has directories tell no kinds of their entries, as on some volumes, for a scope.
class HiddenKinds {
public:
    HiddenKinds() { hidesKinds = true; }
    ~HiddenKinds() { hidesKinds = false; }
    HiddenKinds(const HiddenKinds&) = delete;
    HiddenKinds& operator=(const HiddenKinds&) = delete;
    HiddenKinds(HiddenKinds&&) = delete;
    HiddenKinds& operator=(HiddenKinds&&) = delete;
};

DirectoryReader readerAt(const std::string& path) {
    return *DirectoryReader::of(*opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

TEST(DirectoryReaderTest, TellsEveryEntryExceptTheDirectoryAndTheOneAbove) {
    const TemporaryDirectory directory;
    directory.write("file");
    directory.makeDirectory("folder");
    ::symlink("nowhere", (directory / "link").c_str());
    ::mkfifo((directory / "fifo").c_str(), 0600);
    auto reader = readerAt(directory.path());

    EXPECT_EQ(entriesOf(reader), (std::map<std::string, ItemKind>{{"file", ItemKind::file},
                                                                  {"folder", ItemKind::directory},
                                                                  {"link", ItemKind::link},
                                                                  {"fifo", ItemKind::other}}));
}

TEST(DirectoryReaderTest, LooksAtEntriesOfWhichTheDirectoryTellsNoKind) {
    const TemporaryDirectory directory;
    directory.write("file");
    directory.makeDirectory("folder");
    ::symlink("folder", (directory / "link").c_str());
    auto reader = readerAt(directory.path());
    const HiddenKinds hidden;

    EXPECT_EQ(entriesOf(reader), (std::map<std::string, ItemKind>{{"file", ItemKind::file},
                                                                  {"folder", ItemKind::directory},
                                                                  {"link", ItemKind::link}}));
}

TEST(DirectoryReaderTest, TakesAnEntryForOtherThatIsGoneWhenItLooksAtIt) {
    const TemporaryDirectory directory;
    const std::array files{directory.write("one"), directory.write("other")};
    auto reader = readerAt(directory.path());
    const HiddenKinds hidden;
    // With the first, the system tells the second too.
    const auto first = reader.next();
    ASSERT_TRUE(first);
    for (const auto& file : files) {
        ::unlink(file.c_str());
    }

    const auto second = reader.next();

    ASSERT_TRUE(second && *second);
    EXPECT_EQ((*first)->kind, ItemKind::file);
    EXPECT_EQ((*second)->kind, ItemKind::other);
}

TEST(DirectoryReaderTest, TellsNothingAtTheEnd) {
    const TemporaryDirectory directory;
    auto reader = readerAt(directory.path());

    const auto end = reader.next();

    ASSERT_TRUE(end);
    EXPECT_FALSE(end->has_value());
}

TEST(DirectoryReaderTest, ReadsAgainFromTheStart) {
    const TemporaryDirectory directory;
    directory.write("first");
    auto reader = readerAt(directory.path());
    entriesOf(reader);
    directory.write("second");

    reader.rewind();

    EXPECT_EQ(entriesOf(reader).size(), 2U);
}

TEST(DirectoryReaderTest, CannotBeMadeOfAFile) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");

    const auto reader = DirectoryReader::of(*opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC)));

    ASSERT_FALSE(reader);
    EXPECT_EQ(reader.error().number(), ENOTDIR);
}

TEST(DirectoryReaderTest, LendsItsDescriptor) {
    const TemporaryDirectory directory;
    directory.write("file");
    const auto reader = readerAt(directory.path());

    EXPECT_EQ(::faccessat(reader.descriptor(), "file", F_OK, 0), 0);
}

TEST(DirectoryReaderTest, TakesDevicesAndSocketsForOther) {
    EXPECT_EQ(itemKind(S_IFCHR), ItemKind::other);
    EXPECT_EQ(itemKind(S_IFBLK), ItemKind::other);
    EXPECT_EQ(itemKind(S_IFSOCK), ItemKind::other);
}

} // namespace

extern "C" {
// The linker has the reader call these two: NOLINTBEGIN(bugprone-reserved-identifier)
dirent* __real_readdir(DIR* stream);
dirent* __wrap_readdir(DIR* stream) {
    auto* const entry = __real_readdir(stream);
    if (entry != nullptr && hidesKinds) {
        entry->d_type = DT_UNKNOWN;
    }
    return entry;
}
// NOLINTEND(bugprone-reserved-identifier)
}
