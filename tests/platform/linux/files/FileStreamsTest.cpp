#include "platform/linux/files/FileStreams.h"

#include "tests/support/Bytes.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr platform::ItemIdentity nothingSpared{};
constexpr std::uint64_t unknownSize = 0;

platform::native::FileStreams streams;

std::string readFrom(platform::FileStream& stream, std::size_t size) {
    std::string text(size, '\0');
    text.resize(stream.read(std::as_writable_bytes(std::span(text.data(), text.size()))));
    return text;
}

/// How much room a file takes on its disk, in bytes.
std::uint64_t roomOf(const std::string& path) {
    constexpr std::uint64_t blockSize = 512;
    struct stat status {};
    ::stat(path.c_str(), &status);
    return static_cast<std::uint64_t>(status.st_blocks) * blockSize;
}

} // namespace

TEST(FileStreams, ReadsToTheEnd) {
    const TemporaryFolder folder;
    const auto stream = streams.openForReading(folder.write("file", "content"));
    EXPECT_EQ(readFrom(*stream, 3), "con");
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(readFrom(*stream, 4), "tent");
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(readFrom(*stream, 4), "");
    EXPECT_TRUE(stream->isAtEnd());
    EXPECT_EQ(stream->errorIndicator(), 0);
    EXPECT_EQ(stream->systemError(), 0);
}

TEST(FileStreams, OnceAtTheEndItStaysThereUntilASeek) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "abc");
    const auto stream = streams.openForReading(file);
    EXPECT_EQ(readFrom(*stream, 10), "abc");
    EXPECT_TRUE(stream->isAtEnd());
    std::ofstream(file, std::ios::app) << "def";
    EXPECT_EQ(readFrom(*stream, 10), "");
    ASSERT_TRUE(stream->seek(1));
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(readFrom(*stream, 10), "bcdef");
}

TEST(FileStreams, WhatIsWrittenIsInTheFileAtOnce) {
    const TemporaryFolder folder;
    const auto stream = streams.openForUpdating(folder / "file", nothingSpared, unknownSize);
    EXPECT_EQ(stream->write(bytesOf("abc")), 3U);
    EXPECT_EQ(contentOf(folder / "file"), "abc");
    ASSERT_TRUE(stream->seek(1));
    EXPECT_EQ(readFrom(*stream, 2), "bc");
    EXPECT_EQ(stream->write(bytesOf("d")), 1U);
    EXPECT_EQ(contentOf(folder / "file"), "abcd");
}

TEST(FileStreams, UpdatingEmptiesWhatIsThereAndKeepsItsIdentity) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "former content");
    fs::create_hard_link(file, folder / "other");
    const auto before = streams.openForReading(file)->identity();
    const auto stream = streams.openForUpdating(file, nothingSpared, unknownSize);
    EXPECT_EQ(contentOf(folder / "other"), "");
    EXPECT_EQ(stream->identity(), before);
}

TEST(FileStreams, TheSparedFileIsRefusedByEveryName) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "precious");
    fs::create_hard_link(file, folder / "hard");
    fs::create_symlink(file, folder / "link");
    fs::create_symlink("link", folder / "link of link");
    fs::create_directory_symlink(folder.path(), folder / "folder");
    const auto source = streams.openForReading(file);
    for (const auto* name : {"file", "hard", "link", "link of link", "folder/file", "./file"}) {
        EXPECT_EQ(streams.openForUpdating(folder / name, source->identity(), unknownSize), nullptr)
            << name;
        EXPECT_EQ(contentOf(file), "precious") << name;
    }
}

TEST(FileStreams, WhatCannotBeOpenedGivesNothing) {
    const TemporaryFolder folder;
    folder.makeFolder("folder");
    EXPECT_EQ(streams.openForReading(folder / "missing"), nullptr);
    EXPECT_EQ(streams.openForReading(""), nullptr);
    EXPECT_EQ(streams.openForUpdating(folder / "folder", nothingSpared, unknownSize), nullptr);
    EXPECT_EQ(streams.openForUpdating(folder / "missing/file", nothingSpared, unknownSize),
              nullptr);
    EXPECT_EQ(streams.openForUpdating("", nothingSpared, unknownSize), nullptr);
}

TEST(FileStreams, APathWithAZeroNamesNothing) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "precious");
    const auto path = file + std::string("\0.copy", 6);
    EXPECT_EQ(streams.openForReading(path), nullptr);
    EXPECT_EQ(streams.openForUpdating(path, nothingSpared, unknownSize), nullptr);
    EXPECT_EQ(contentOf(file), "precious");
}

TEST(FileStreams, AFolderOpensAndCannotBeRead) {
    const TemporaryFolder folder;
    const auto stream = streams.openForReading(folder.path());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(readFrom(*stream, 10), "");
    EXPECT_FALSE(stream->isAtEnd());
    EXPECT_EQ(stream->errorIndicator(), 1);
    EXPECT_EQ(stream->systemError(), EISDIR);
}

TEST(FileStreams, APipeIsReadUntilTheBufferIsFull) {
    const TemporaryFolder folder;
    const auto pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto writer = std::async(std::launch::async, [&pipe] {
        std::ofstream file(pipe);
        for (const auto* piece : {"one ", "two ", "three"}) {
            file << piece << std::flush;
        }
    });
    const auto stream = streams.openForReading(pipe);
    EXPECT_EQ(readFrom(*stream, 8), "one two ");
    EXPECT_EQ(readFrom(*stream, 8), "three");
    EXPECT_TRUE(stream->isAtEnd());
}

TEST(FileStreams, APipeCannotBeSought) {
    const TemporaryFolder folder;
    const auto pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto stream = streams.openForUpdating(pipe, nothingSpared, unknownSize);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->write(bytesOf("abc")), 3U);
    EXPECT_FALSE(stream->seek(0));
    EXPECT_EQ(stream->systemError(), ESPIPE);
    EXPECT_EQ(stream->errorIndicator(), 0);
    EXPECT_EQ(readFrom(*stream, 3), "abc");
}

TEST(FileStreams, PositionsGoBeyondFourGibibytes) {
    constexpr std::uint64_t position = 5'368'709'120;
    const TemporaryFolder folder;
    const auto stream = streams.openForUpdating(folder / "sparse", nothingSpared, unknownSize);
    ASSERT_TRUE(stream->seek(position));
    EXPECT_EQ(stream->write(bytesOf("abc")), 3U);
    ASSERT_TRUE(stream->seek(position + 1));
    EXPECT_EQ(readFrom(*stream, 10), "bc");
    EXPECT_EQ(fs::file_size(folder / "sparse"), position + 3);
}

TEST(FileStreams, AFullFileTakesWhatFitsAndSaysSo) {
    const TemporaryFolder folder;
    const auto stream = streams.openForUpdating(folder / "file", nothingSpared, unknownSize);
    const ScopedLimit<RLIMIT_FSIZE> limit(10);
    EXPECT_EQ(stream->write(bytesOf("123456")), 6U);
    EXPECT_EQ(stream->write(bytesOf("789abc")), 4U);
    EXPECT_EQ(stream->errorIndicator(), 1);
    EXPECT_EQ(stream->systemError(), EFBIG);
    EXPECT_EQ(contentOf(folder / "file"), "123456789a");
}

TEST(FileStreams, ADeviceWithoutRoomTakesNothing) {
    const auto stream = streams.openForUpdating("/dev/full", nothingSpared, unknownSize);
    if (stream == nullptr) {
        GTEST_SKIP() << "this machine has no /dev/full to write to";
    }
    EXPECT_EQ(stream->write(bytesOf("abc")), 0U);
    EXPECT_EQ(stream->systemError(), ENOSPC);
    EXPECT_EQ(stream->errorIndicator(), 1);
}

TEST(FileStreams, RoomForALargeFileIsFoundAheadAndGivenBackWhenTheFileEndsEarly) {
    constexpr std::uint64_t expected = 8'388'608;
    const TemporaryFolder folder;
    const auto file = folder / "file";
    const auto content = std::string(65536, 'x');
    {
        const auto stream = streams.openForUpdating(file, nothingSpared, expected);
        ASSERT_EQ(stream->write(bytesOf(content)), content.size());
        if (roomOf(file) < expected) {
            GTEST_SKIP() << "the file system of " << folder.path() << " finds no room ahead";
        }
        EXPECT_EQ(fs::file_size(file), content.size());
    }
    EXPECT_LT(roomOf(file), expected / 2);
    EXPECT_EQ(contentOf(file), content);
}

TEST(FileStreams, AFileMayBecomeLargerThanExpected) {
    constexpr std::uint64_t expected = 1'048'576;
    const TemporaryFolder folder;
    const auto content = std::string(expected + 1, 'x');
    streams.openForUpdating(folder / "file", nothingSpared, expected)->write(bytesOf(content));
    EXPECT_EQ(contentOf(folder / "file"), content);
}

TEST(FileStreams, TheEndOfTheStreamClosesTheFile) {
    const TemporaryFolder folder;
    const auto before = openDescriptors();
    {
        const auto stream = streams.openForUpdating(folder / "file", nothingSpared, unknownSize);
        EXPECT_EQ(openDescriptors(), before + 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}
