#include "util/files/QFFileManager.h"

#include "platform/linux/files/Digests.h"
#include "platform/linux/files/FileStreams.h"
#include "tests/support/Bytes.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/FileStreamDoubles.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/util/files/CopyObserver.h"
#include "tests/util/files/NoMemory.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <future>
#include <latch>
#include <stdexcept>

namespace {

constexpr std::uint64_t interval = 52'428'800;
constexpr const char* file = "/file";

/// The operations of one algorithm, and their name.
struct ChecksumAlgorithm : NamedCase {
    std::optional<std::string> (*hash)(const std::string&);
    std::optional<std::string> (*hashWithDelegate)(const std::string&,
                                                   const std::shared_ptr<qf::ChecksumDelegate>&);
    std::string operation;
};

const std::array algorithms{
    ChecksumAlgorithm{
        {"Md5"}, QFFileManager::md5HashForFile, QFFileManager::md5HashForFile, "md5HashForFile"},
    ChecksumAlgorithm{{"Sha1"},
                      QFFileManager::sha1HashForFile,
                      QFFileManager::sha1HashForFile,
                      "sha1HashForFile"},
    ChecksumAlgorithm{{"Sha256"},
                      QFFileManager::sha256HashForFile,
                      QFFileManager::sha256HashForFile,
                      "sha256HashForFile"},
    ChecksumAlgorithm{{"Sha512"},
                      QFFileManager::sha512HashForFile,
                      QFFileManager::sha512HashForFile,
                      "sha512HashForFile"}};

/// Counts the questions that a digest's delegate is asked.
class Questions {
public:
    explicit Questions(bool answer = true) : delegate_(std::make_shared<qf::ChecksumDelegate>()) {
        delegate_->checksumShouldContinue = [count = count_, answer,
                                             token = released_.token()](const std::string& path) {
            EXPECT_EQ(path, file);
            ++*count;
            return answer;
        };
    }

    const std::shared_ptr<qf::ChecksumDelegate>& delegate() const { return delegate_; }

    /// Returns how many there were, once those under way are answered.
    int count() {
        delegate_.reset();
        released_.wait();
        return *count_;
    }

private:
    Release released_;
    std::shared_ptr<std::atomic<int>> count_ = std::make_shared<std::atomic<int>>(0);
    std::shared_ptr<qf::ChecksumDelegate> delegate_;
};

class Checksums : public DescribedMachine {
protected:
    DescribedFileStreams streams;

    DescribedFile& describe(std::uint64_t size) {
        return streams.files[file] = {.bottomless = size};
    }

private:
    qf::native::Digests digests_;
    qf::ScopedService<qf::Digests> digestsScope_{digests_};
    qf::ScopedService<qf::FileStreams> streamsScope_{streams};
};

class EveryChecksum : public Checksums, public testing::WithParamInterface<ChecksumAlgorithm> {};

struct SizeInChecksums : NamedCase {
    std::uint64_t size;
    int questions;
};

class EveryChecksumOfASize
    : public Checksums,
      public testing::WithParamInterface<std::tuple<ChecksumAlgorithm, SizeInChecksums>> {};

class ChecksumsOnDisk : public Checksums {
protected:
    TemporaryDirectory directory;

private:
    qf::native::FileStreams onDisk_;
    qf::ScopedService<qf::FileStreams> onDiskScope_{onDisk_};
};

} // namespace

TEST_F(Checksums, AContextReturnsItsDigestAndStaysAsItWas) {
    qf::MD5Context md5;
    qf::SHA1Context sha1;
    qf::SHA256Context sha256;
    qf::SHA512Context sha512;
    md5.update(bytesOf("abc"));
    sha1.update(bytesOf("abc"));
    sha256.update(bytesOf("abc"));
    sha512.update(bytesOf("abc"));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(QFFileManager::md5HashWithContext(md5), "900150983cd24fb0d6963f7d28e17f72");
        EXPECT_EQ(QFFileManager::sha1HashWithContext(sha1),
                  "a9993e364706816aba3e25717850c26c9cd0d89d");
        EXPECT_EQ(QFFileManager::sha256HashWithContext(sha256),
                  "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
        EXPECT_EQ(QFFileManager::sha512HashWithContext(sha512),
                  "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                  "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
    }
    sha256.update(bytesOf("dbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"));
    EXPECT_EQ(QFFileManager::sha256HashWithContext(sha256),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_F(Checksums, TheDigestOfAFile) {
    streams.files[file] = {.content = "abc"};
    EXPECT_EQ(QFFileManager::md5HashForFile(file), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(QFFileManager::sha1HashForFile(file), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(QFFileManager::sha256HashForFile(file),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(QFFileManager::sha512HashForFile(file),
              "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
              "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(Checksums, AnEmptyFileHasTheDigestOfNothing) {
    streams.files[file] = {};
    EXPECT_EQ(QFFileManager::md5HashForFile(file), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(QFFileManager::sha1HashForFile(file), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(QFFileManager::sha512HashForFile(file),
              "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
              "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e");
}

TEST_P(EveryChecksum, OfAMissingFileIsMissingInTheSystemLogOnly) {
    EXPECT_EQ(GetParam().hash("/missing"), std::nullopt);
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: Unable to open destination file /missing. Aborting hash "
                    "verification..."});
    EXPECT_EQ(console.printed(), "");
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_P(EveryChecksum, TellsAReadErrorInTheLogAndOnStandardOutput) {
    describe(200'000).readableBytes = 100'000;
    EXPECT_EQ(GetParam().hash(file), std::nullopt);
    EXPECT_EQ(loggedLines(), Lines{"Error reading file /file - aborting..."});
    EXPECT_EQ(console.printed(), "Error reading file /file - aborting...\n");
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(streams.events, (Lines{"open /file", "close /file"}));
}

TEST_P(EveryChecksum, ClosesTheFileWithoutMemory) {
    describe(10);
    {
        const NoMemory none;
        EXPECT_EQ(GetParam().hash(file), std::nullopt);
    }
    EXPECT_EQ(loggedLines(), Lines{"Error reading file /file - out of memory"});
    EXPECT_EQ(streams.events.back(), "close /file");
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_P(EveryChecksum, ThatTheMachineDoesNotAllowIsLoggedAndMissing) {
    describe(10);
    const ForbiddenDigests forbidden;
    EXPECT_EQ(GetParam().hash(file), std::nullopt);
    EXPECT_EQ(loggedLines(), Lines{"Exception in " + GetParam().operation +
                                   ":delegate:. QFDigestUnavailable - not here."});
    EXPECT_EQ(streams.events.back(), "close /file");
}

TEST_P(EveryChecksumOfASize, AsksTheDelegateAtEvery50MiBExactly) {
    const auto& [algorithm, size] = GetParam();
    describe(size.size);
    Questions questions;
    EXPECT_NE(algorithm.hashWithDelegate(file, questions.delegate()), std::nullopt);
    EXPECT_EQ(questions.count(), size.questions);
    EXPECT_EQ(loggedLines(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(
    , EveryChecksumOfASize,
    testing::Combine(testing::ValuesIn(algorithms),
                     testing::Values(SizeInChecksums{{"AnInterval"}, interval, 1},
                                     SizeInChecksums{{"LessThanAnInterval"}, interval - 1, 0},
                                     SizeInChecksums{{"MoreThanAnInterval"}, interval + 1, 1},
                                     SizeInChecksums{{"TwoIntervals"}, 2 * interval, 2})),
    nameOfCases);

TEST_F(Checksums, AfterAShortReadTheDelegateIsNotAskedAnyMore) {
    describe(2 * interval);
    std::size_t last = 0;
    std::uint64_t end = 0;
    streams.files[file].arriving = [&](std::uint64_t position, std::size_t size) {
        last = position == 65536 ? 1 : size;
        end = position + last;
        return end <= 3 * interval / 2 ? last : 0;
    };
    Questions questions;
    EXPECT_EQ(QFFileManager::md5HashForFile(file, questions.delegate()), std::nullopt);
    EXPECT_GT(end, interval);
    EXPECT_EQ(questions.count(), 0);
}

TEST_P(EveryChecksum, IsStoppedByADelegateAtTheNextCheckAndLogsNothing) {
    describe(DescribedFile::unlimited);
    Questions questions(false);
    EXPECT_EQ(GetParam().hashWithDelegate(file, questions.delegate()), std::nullopt);
    EXPECT_GE(questions.count(), 1);
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(streams.events.back(), "close /file");
}

INSTANTIATE_TEST_SUITE_P(, EveryChecksum, testing::ValuesIn(algorithms), nameOfCase);

TEST_F(Checksums, ADelegateWithoutTheOperationIsNotAsked) {
    describe(interval);
    Release released;
    EXPECT_NE(QFFileManager::md5HashForFile(file, released.silent<qf::ChecksumDelegate>()),
              std::nullopt);
    released.wait();
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Checksums, AnAnswerMayComeWhenNobodyWaitsForItAnyMore) {
    describe(interval);
    const auto open = std::make_shared<std::latch>(1);
    Release released;
    auto delegate = std::make_shared<qf::ChecksumDelegate>();
    delegate->checksumShouldContinue = [open, token = released.token()](const std::string&) {
        open->wait();
        return false;
    };
    EXPECT_NE(QFFileManager::md5HashForFile(file, delegate), std::nullopt);
    delegate.reset();
    open->count_down();
    released.wait();
}

TEST_F(Checksums, WhatADelegateRaisesIsLoggedAndChangesNothing) {
    describe(interval);
    Release released;
    auto delegate = std::make_shared<qf::ChecksumDelegate>();
    delegate->checksumShouldContinue = [token = released.token()](const std::string&) -> bool {
        throw qf::Exception("SomeException", "it went wrong");
    };
    EXPECT_NE(QFFileManager::md5HashForFile(file, delegate), std::nullopt);
    delegate.reset();
    released.wait();
    EXPECT_EQ(loggedLines(),
              Lines{"Exception in checksumShouldContinue:. SomeException - it went wrong."});
}

TEST_F(Checksums, ANameThatLooksLikeAFormatStaysUnchanged) {
    EXPECT_EQ(QFFileManager::md5HashForFile("/100%@ %n%s"), std::nullopt);
    EXPECT_EQ(console.systemLogLines(), Lines{"Error: Unable to open destination file "
                                              "/100%@ %n%s. Aborting hash verification..."});
}

TEST_F(ChecksumsOnDisk, TheDigestOfAFileIsThatOfItsContent) {
    const auto path = directory.write("file", std::string(1'000'000, 'a'));
    EXPECT_EQ(QFFileManager::md5HashForFile(path), "7707d6ae4e027c70eea2a935c2296f21");
    EXPECT_EQ(QFFileManager::sha1HashForFile(path), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    EXPECT_EQ(QFFileManager::sha512HashForFile(path),
              "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
              "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b");
}

TEST_F(ChecksumsOnDisk, ADirectoryCannotBeRead) {
    EXPECT_EQ(QFFileManager::md5HashForFile(directory.path()), std::nullopt);
    EXPECT_EQ(loggedLines(), Lines{"Error reading file " + directory.path() + " - aborting..."});
}

TEST_F(ChecksumsOnDisk, APipeIsReadToItsEnd) {
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto writer = std::async(std::launch::async, [&pipe] { std::ofstream(pipe) << "abc"; });
    EXPECT_EQ(QFFileManager::md5HashForFile(pipe), "900150983cd24fb0d6963f7d28e17f72");
}
