#include "platform/linux/files/FileStreams.h"

#include "platform/linux/files/FileSystem.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/AccessList.h"
#include "tests/support/Bytes.h"
#include "tests/support/CasePath.h"
#include "tests/support/Eventually.h"
#include "tests/support/NamedCase.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/fsuid.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr qf::FileId nothingSpared{};
constexpr std::uint64_t unknownSize = 0;

qf::native::FileStreams streams;

std::string readFrom(qf::FileStream& stream, std::size_t size) {
    std::string text(size, '\0');
    text.resize(stream.read(std::as_writable_bytes(std::span(text.data(), text.size()))));
    return text;
}

constexpr uid_t nobody = 65534;

/// Has this thread use files as another user, for a scope. Needs the superuser.
class ScopedFileUser {
public:
    explicit ScopedFileUser(uid_t user) { ::setfsuid(user); }
    ~ScopedFileUser() { ::setfsuid(::geteuid()); }
    ScopedFileUser(const ScopedFileUser&) = delete;
    ScopedFileUser& operator=(const ScopedFileUser&) = delete;
    ScopedFileUser(ScopedFileUser&&) = delete;
    ScopedFileUser& operator=(ScopedFileUser&&) = delete;
};

mode_t modeOf(const std::string& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

/// Returns the system's number for why a file could not be opened; 0 if it was opened.
int reasonFor(const qf::OpenedStream& stream) {
    return stream ? 0 : static_cast<int>(stream.error());
}

/// Returns the disk space of a file in bytes.
std::uint64_t roomOf(const std::string& path) {
    constexpr std::uint64_t blockSize = 512;
    struct stat status {};
    ::stat(path.c_str(), &status);
    return static_cast<std::uint64_t>(status.st_blocks) * blockSize;
}

bool isInMemory(const std::string& path) {
    struct statfs volume {};
    return ::statfs(path.c_str(), &volume) == 0 && volume.f_type == TMPFS_MAGIC;
}

/// Returns how many pages of a file the system holds in memory.
std::ptrdiff_t pagesInMemory(const std::string& path) {
    const auto size = fs::file_size(path);
    const auto pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const qf::native::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    void* const content = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.get(), 0);
    std::vector<unsigned char> pages((size + pageSize - 1) / pageSize);
    EXPECT_EQ(::mincore(content, size, pages.data()), 0);
    ::munmap(content, size);
    return std::ranges::count_if(pages, [](unsigned char page) { return (page & 1U) != 0; });
}

} // namespace

TEST(FileStreams, ReadsToTheEnd) {
    const TemporaryDirectory directory;
    const auto stream = streams.openForReading(directory.write("file", "content")).value();
    EXPECT_EQ(readFrom(*stream, 3), "con");
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(readFrom(*stream, 4), "tent");
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(readFrom(*stream, 4), "");
    EXPECT_TRUE(stream->isAtEnd());
    EXPECT_EQ(stream->errorIndicator(), 0);
}

TEST(FileStreams, OnceAtTheEndItStaysThereUntilASeek) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "abc");
    const auto stream = streams.openForReading(file).value();
    EXPECT_EQ(readFrom(*stream, 10), "abc");
    EXPECT_TRUE(stream->isAtEnd());
    std::ofstream(file, std::ios::app) << "def";
    EXPECT_EQ(readFrom(*stream, 10), "");
    ASSERT_TRUE(stream->seek(1));
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(readFrom(*stream, 10), "bcdef");
}

TEST(FileStreams, WhatIsWrittenIsInTheFileAtOnce) {
    const TemporaryDirectory directory;
    const auto stream =
        streams.openForUpdating(directory / "file", nothingSpared, unknownSize).value();
    EXPECT_EQ(stream->write(bytesOf("abc")), 3U);
    EXPECT_EQ(contentOf(directory / "file"), "abc");
    ASSERT_TRUE(stream->seek(1));
    EXPECT_EQ(readFrom(*stream, 2), "bc");
    EXPECT_EQ(stream->write(bytesOf("d")), 1U);
    EXPECT_EQ(contentOf(directory / "file"), "abcd");
}

TEST(FileStreams, AFileIsEmptiedOnlyOnRequestAndKeepsItsIdentity) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "former content");
    fs::create_hard_link(file, directory / "other");
    const auto before = streams.openForReading(file).value()->identity();
    const auto stream = streams.openForUpdating(file, nothingSpared, unknownSize).value();
    EXPECT_EQ(contentOf(directory / "other"), "former content");
    EXPECT_TRUE(stream->makeEmpty());
    EXPECT_EQ(contentOf(directory / "other"), "");
    EXPECT_EQ(stream->identity(), before);
}

TEST(FileStreams, APipeHasNothingToEmpty) {
    const TemporaryDirectory directory;
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(streams.openForUpdating(pipe, nothingSpared, unknownSize).value()->makeEmpty());
}

TEST(FileStreams, ThePositionIsThatOfTheNextByte) {
    const TemporaryDirectory directory;
    const auto stream =
        streams.openForUpdating(directory / "file", nothingSpared, unknownSize).value();
    EXPECT_EQ(stream->position(), 0U);
    stream->write(bytesOf("abcdef"));
    EXPECT_EQ(stream->position(), 6U);
    ASSERT_TRUE(stream->seek(1));
    EXPECT_EQ(stream->position(), 1U);
    readFrom(*stream, 3);
    EXPECT_EQ(stream->position(), 4U);
}

TEST(FileStreams, WhatIsWrittenThroughAndForgottenIsReadFromTheMedium) {
    const TemporaryDirectory directory;
    const auto content = std::string(100'000, 'x');
    const auto stream =
        streams.openForUpdating(directory / "file", nothingSpared, unknownSize).value();
    stream->write(bytesOf(content));
    stream->beginSync();
    EXPECT_TRUE(stream->sync());
    stream->dropCache();
    ASSERT_TRUE(stream->seek(0));
    EXPECT_EQ(readFrom(*stream, content.size() + 1), content);
}

TEST(FileStreams, NoPageStaysInMemoryOfWhatIsWrittenThroughAndForgotten) {
    const TemporaryDirectory directory;
    if (isInMemory(directory.path())) {
        GTEST_SKIP() << "the temporary directory is in memory, which is its only medium";
    }
    const auto file = directory / "file";
    const auto stream = streams.openForUpdating(file, nothingSpared, unknownSize).value();
    stream->write(bytesOf(std::string(1'000'000, 'x')));
    ASSERT_TRUE(stream->sync());
    ASSERT_GT(pagesInMemory(file), 0);

    // The system may keep pages that another processor has just had in hand.
    EXPECT_TRUE(eventually([&] {
        stream->dropCache();
        return pagesInMemory(file) == 0;
    }));
}

TEST(FileStreams, WhatHasNoMediumNeedsNoWritingThrough) {
    const TemporaryDirectory directory;
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto stream = streams.openForUpdating(pipe, nothingSpared, unknownSize).value();
    stream->write(bytesOf("abc"));
    EXPECT_TRUE(stream->sync());
}

TEST(FileStreams, TellsWhyAFileCannotBeEmptied) {
    const TemporaryDirectory directory;
    const auto stream = streams.openForReading(directory.write("file", "content")).value();
    EXPECT_EQ(stream->makeEmpty().error(), qf::SystemError{EINVAL}); // not open for writing
}

class NameOfTheSparedFile : public testing::TestWithParam<NamedText> {};

TEST_P(NameOfTheSparedFile, IsRefused) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "precious");
    fs::create_hard_link(file, directory / "hard");
    fs::create_symlink(file, directory / "link");
    fs::create_symlink("link", directory / "link of link");
    fs::create_directory_symlink(directory.path(), directory / "folder");
    const auto source = streams.openForReading(file).value();
    const auto path = directory / GetParam().value;
    EXPECT_EQ(reasonFor(streams.openForUpdating(path, source->identity(), unknownSize)), ETXTBSY);
    EXPECT_EQ(reasonFor(streams.openBeside(path, source->identity(), unknownSize)), ETXTBSY);
    EXPECT_EQ(contentOf(file), "precious");
}

INSTANTIATE_TEST_SUITE_P(
    , NameOfTheSparedFile,
    testing::Values(NamedText{{"Own"}, "file"}, NamedText{{"HardLink"}, "hard"},
                    NamedText{{"Link"}, "link"}, NamedText{{"LinkToALink"}, "link of link"},
                    NamedText{{"ThroughALink"}, "folder/file"}, NamedText{{"WithADot"}, "./file"}),
    nameOfCase);

TEST(FileStreams, AFileBesideIsDeletedUnlessItTookItsName) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "former");
    streams.openBeside(file, nothingSpared, unknownSize).value()->write(bytesOf("new"));
    EXPECT_EQ(contentOf(file), "former");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 1);
    const auto stream = streams.openBeside(file, nothingSpared, unknownSize).value();
    stream->write(bytesOf("new"));
    EXPECT_TRUE(stream->takeName());
    EXPECT_EQ(contentOf(file), "new");
}

class ItemThatIsNoFile : public testing::TestWithParam<NamedText> {};

TEST_P(ItemThatIsNoFile, HasNothingFilledBesideIt) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory / "pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", directory / "link");
    directory.makeDirectory("directory");
    EXPECT_EQ(
        reasonFor(streams.openBeside(directory / GetParam().value, nothingSpared, unknownSize)),
        EINVAL);
}

INSTANTIATE_TEST_SUITE_P(, ItemThatIsNoFile,
                         testing::Values(NamedText{{"Pipe"}, "pipe"},
                                         NamedText{{"LinkToAPipe"}, "link"},
                                         NamedText{{"Directory"}, "directory"}),
                         nameOfCase);

class PathInAMissingDirectory : public testing::TestWithParam<NamedText> {};

TEST_P(PathInAMissingDirectory, HasNothingFilled) {
    const TemporaryDirectory directory;
    const auto path = casePath(directory, GetParam().value);
    EXPECT_EQ(reasonFor(streams.openBeside(path, nothingSpared, unknownSize)), ENOENT);
}

INSTANTIATE_TEST_SUITE_P(, PathInAMissingDirectory,
                         testing::Values(NamedText{{"File"}, "DIR/missing/file"},
                                         NamedText{{"Empty"}, ""}),
                         nameOfCase);

TEST(FileStreams, WhatAKilledProcessFilledBesideIsSwept) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "former");
    runChild({"fill", file, "new"}, withFaults("renameat:1:kill"));
    EXPECT_EQ(contentOf(file), "former");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 2);
    qf::native::FileSystem().removeAbandonedCopies(directory.path());
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 1);
}

TEST(FileStreams, AFileBesideIsOnItsMediumBeforeItGetsTheName) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "former");
    EXPECT_TRUE(runChild({"fill", file, "new"}, withFaults("fdatasync:1:5"))
                    .output.starts_with("not named\n"));
    EXPECT_EQ(contentOf(file), "former");
}

TEST(FileStreams, ANameThatIsNotDurableIsAFailure) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "former");
    EXPECT_TRUE(
        runChild({"fill", file, "new"}, withFaults("fsync:1:5")).output.starts_with("not named\n"));
}

TEST(FileStreams, AFileBesideHasTheModeOfTheFormerOne) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "former");
    ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
    const auto stream = streams.openBeside(file, nothingSpared, unknownSize).value();
    EXPECT_TRUE(stream->takeName());
    EXPECT_EQ(modeOf(file), 0600U);
}

TEST(FileStreams, MetadataIsCopiedAgainToAFileThatMayNotBeWritten) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "content");
    const auto copy = directory.write("copy", "");
    ASSERT_EQ(::setxattr(source.c_str(), "user.note", "mine", 4, 0), 0);
    ASSERT_EQ(::chmod(source.c_str(), 0444), 0);
    for (const auto& path : {directory.path(), source, copy}) {
        ASSERT_EQ(::chown(path.c_str(), nobody, nobody), 0);
    }
    const ScopedFileUser user(nobody);
    const auto from = streams.openForReading(source).value();
    const auto to = streams.openForUpdating(copy, nothingSpared, unknownSize).value();
    EXPECT_TRUE(to->copyMetadata(*from));
    EXPECT_TRUE(to->copyMetadata(*from));
    EXPECT_EQ(modeOf(copy), 0444U);
}

TEST(FileStreams, MetadataIncludesNoAccessControlListOfTheDirectoryAround) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "content");
    ASSERT_EQ(::chmod(source.c_str(), 0640), 0);

    const auto around = directory.makeDirectory("around");
    if (::setxattr(around.c_str(), "system.posix_acl_default", listForNewItems.data(),
                   listForNewItems.size(), 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without access control lists";
    }
    const auto from = streams.openForReading(source).value();
    const auto to = streams.openForUpdating(around + "/copy", nothingSpared, unknownSize).value();
    EXPECT_TRUE(to->copyMetadata(*from));
    EXPECT_EQ(::getxattr((around + "/copy").c_str(), "system.posix_acl_access", nullptr, 0), -1);
    EXPECT_EQ(modeOf(around + "/copy"), 0640U);
}

TEST(FileStreams, WhatDoesNotGetAllMetadataIsClosedToOthers) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "content");
    ASSERT_EQ(::setxattr(source.c_str(), "user.note", "mine", 4, 0), 0);
    runChild({"fill", directory / "copy", "new", source}, withFaults("fsetxattr:1:28"));
    EXPECT_EQ(modeOf(directory / "copy"), 0600U);
}

TEST(FileStreams, ADeviceGetsNoMetadata) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "content");
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(::chmod(source.c_str(), 0644), 0);
    const auto from = streams.openForReading(source).value();
    const auto to = streams.openForUpdating(pipe, nothingSpared, unknownSize).value();
    EXPECT_TRUE(to->copyMetadata(*from));
    EXPECT_EQ(modeOf(pipe), 0600U);
}

TEST(FileStreams, TellsWhyAFileCannotBeRead) {
    const TemporaryDirectory directory;
    EXPECT_EQ(reasonFor(streams.openForReading(directory / "missing")), ENOENT);
    EXPECT_EQ(reasonFor(streams.openForReading("")), ENOENT);
    EXPECT_EQ(reasonFor(streams.openForReading(directory.write("file") + "/below")), ENOTDIR);
}

TEST(FileStreams, TellsWhyAFileCannotBeUpdated) {
    const TemporaryDirectory directory;
    const auto reasonToUpdate = [](const std::string& path) {
        return reasonFor(streams.openForUpdating(path, nothingSpared, unknownSize));
    };
    EXPECT_EQ(reasonToUpdate(directory.makeDirectory("folder")), EISDIR);
    EXPECT_EQ(reasonToUpdate(directory / "missing/file"), ENOENT);
    EXPECT_EQ(reasonToUpdate(""), ENOENT);
}

TEST(FileStreams, APathWithAZeroNamesNothing) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "precious");
    const auto path = file + std::string("\0.copy", 6);
    EXPECT_EQ(reasonFor(streams.openForReading(path)), EINVAL);
    EXPECT_EQ(reasonFor(streams.openForUpdating(path, nothingSpared, unknownSize)), EINVAL);
    EXPECT_EQ(reasonFor(streams.openBeside(path, nothingSpared, unknownSize)), EINVAL);
    EXPECT_EQ(reasonFor(streams.openExisting(path, qf::FileAccess::reading)), EINVAL);
    EXPECT_EQ(contentOf(file), "precious");
}

TEST(FileStreams, ADirectoryOpensAndCannotBeRead) {
    const TemporaryDirectory directory;
    const auto stream = streams.openForReading(directory.path()).value();
    EXPECT_EQ(readFrom(*stream, 10), "");
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(stream->errorIndicator(), 1);
}

TEST(FileStreams, APipeIsReadUntilTheBufferIsFull) {
    const TemporaryDirectory directory;
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto writer = std::async(std::launch::async, [&pipe] {
        std::ofstream file(pipe);
        for (const auto* piece : {"one ", "two ", "three"}) {
            file << piece << std::flush;
        }
    });
    const auto stream = streams.openForReading(pipe).value();
    EXPECT_EQ(readFrom(*stream, 8), "one two ");
    EXPECT_EQ(readFrom(*stream, 8), "three");
    EXPECT_TRUE(stream->isAtEnd());
}

TEST(FileStreams, APipeCannotBeSought) {
    const TemporaryDirectory directory;
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto stream = streams.openForUpdating(pipe, nothingSpared, unknownSize).value();
    EXPECT_EQ(stream->write(bytesOf("abc")), 3U);
    const auto sought = stream->seek(0);
    ASSERT_FALSE(sought);
    EXPECT_EQ(sought.error(), qf::SystemError{ESPIPE});
    EXPECT_EQ(stream->errorIndicator(), 0);
    EXPECT_EQ(readFrom(*stream, 3), "abc");
}

TEST(FileStreams, PositionsGoBeyondFourGibibytes) {
    constexpr std::uint64_t position = 5'368'709'120;
    const TemporaryDirectory directory;
    const auto stream =
        streams.openForUpdating(directory / "sparse", nothingSpared, unknownSize).value();
    ASSERT_TRUE(stream->seek(position));
    EXPECT_EQ(stream->write(bytesOf("abc")), 3U);
    ASSERT_TRUE(stream->seek(position + 1));
    EXPECT_EQ(readFrom(*stream, 10), "bc");
    EXPECT_EQ(fs::file_size(directory / "sparse"), position + 3);
}

TEST(FileStreams, AFullFileTakesWhatFitsAndSaysSo) {
    const TemporaryDirectory directory;
    const auto stream =
        streams.openForUpdating(directory / "file", nothingSpared, unknownSize).value();
    const ScopedLimit<RLIMIT_FSIZE> limit(10);
    EXPECT_EQ(stream->write(bytesOf("123456")), 6U);
    EXPECT_EQ(stream->write(bytesOf("789abc")), 4U);
    EXPECT_EQ(stream->errorIndicator(), 1);
    EXPECT_EQ(contentOf(directory / "file"), "123456789a");
}

TEST(FileStreams, ADeviceWithoutRoomTakesNothing) {
    const auto stream = streams.openForUpdating("/dev/full", nothingSpared, unknownSize);
    if (!stream) {
        GTEST_SKIP() << "this machine has no /dev/full to write to";
    }
    EXPECT_EQ((*stream)->write(bytesOf("abc")), 0U);
    EXPECT_EQ((*stream)->errorIndicator(), 1);
}

TEST(FileStreams, RoomForALargeFileIsFoundAheadAndGivenBackWhenTheFileEndsEarly) {
    constexpr std::uint64_t expected = 8'388'608;
    const TemporaryDirectory directory;
    const auto file = directory / "file";
    const auto content = std::string(65536, 'x');
    {
        const auto stream = streams.openForUpdating(file, nothingSpared, expected).value();
        ASSERT_EQ(stream->write(bytesOf(content)), content.size());
        if (roomOf(file) < expected) {
            GTEST_SKIP() << "the file system of " << directory.path() << " finds no room ahead";
        }
        EXPECT_EQ(fs::file_size(file), content.size());
    }
    EXPECT_LT(roomOf(file), expected / 2);
    EXPECT_EQ(contentOf(file), content);
}

TEST(FileStreams, AFileMayBecomeLargerThanExpected) {
    constexpr std::uint64_t expected = 1'048'576;
    const TemporaryDirectory directory;
    const auto content = std::string(expected + 1, 'x');
    streams.openForUpdating(directory / "file", nothingSpared, expected)
        .value()
        ->write(bytesOf(content));
    EXPECT_EQ(contentOf(directory / "file"), content);
}

TEST(FileStreams, TheEndOfTheStreamClosesTheFile) {
    const TemporaryDirectory directory;
    const auto before = openDescriptors();
    {
        const auto stream =
            streams.openForUpdating(directory / "file", nothingSpared, unknownSize).value();
        EXPECT_EQ(openDescriptors(), before + 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(FileStreams, OpenAnExistingFileForBoth) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");

    const auto stream = streams.openExisting(file, qf::FileAccess::updating);

    ASSERT_TRUE(stream);
    EXPECT_EQ(readFrom(**stream, 20), "content");
    EXPECT_EQ((*stream)->write(std::as_bytes(std::span("more", 4))), 4U);
    EXPECT_EQ(contentOf(file), "contentmore");
}

TEST(FileStreams, OpenAnExistingFileThatMayOnlyBeRead) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");

    const auto stream = streams.openExisting(file, qf::FileAccess::reading);

    ASSERT_TRUE(stream);
    EXPECT_EQ(readFrom(**stream, 20), "content");
    EXPECT_EQ((*stream)->write(std::as_bytes(std::span("more", 4))), 0U);
}

TEST(FileStreams, OpenNothingInPlaceOfAnExistingFile) {
    const TemporaryDirectory directory;
    directory.write("file");
    fs::create_symlink(directory / "file", directory / "link");
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    const auto reasonToOpen = [](const std::string& path) {
        return reasonFor(streams.openExisting(path, qf::FileAccess::reading));
    };

    EXPECT_EQ(reasonToOpen(directory / "link"), ELOOP);
    EXPECT_EQ(reasonToOpen(directory / "missing"), ENOENT);
    EXPECT_EQ(reasonToOpen(directory / "fifo"), EINVAL);
    EXPECT_EQ(reasonToOpen(directory.path()), EINVAL);
    EXPECT_FALSE(exists(directory / "missing"));
}
