#include "platform/linux/files/Digests.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PatternedText.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/util/files/CopyObserver.h"
#include "util/files/QFFileManager.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// Real files whose dates are only remembered: a copy to a device must not change the device's.
class UndatedFileSystem : public qf::native::FileSystem {
public:
    struct Change {
        std::string path;
        qf::FileDate date;
        bool operator==(const Change&) const = default;
    };
    std::vector<Change> created;
    std::vector<Change> modified;

    qf::Result<void> setModificationDate(const std::string& path, qf::FileDate date) override {
        modified.push_back({path, date});
        return {};
    }
    qf::Result<void> setCreationDate(const std::string& path, qf::FileDate date) override {
        created.push_back({path, date});
        return {};
    }
};

class VerifiedCopyOnDisk : public DescribedMachine {
protected:
    static constexpr auto verified = qf::VerificationType::sha256;

    TemporaryDirectory directory;
    UndatedFileSystem onDisk;

    static bool copy(const std::string& source, const std::vector<std::string>& destinations,
                     qf::VerificationType type = verified,
                     const std::shared_ptr<qf::FileCopyDelegate>& delegate = nullptr) {
        return QFFileManager::copyFileWithProgress(source, destinations, type, delegate, {}, {});
    }

    static qf::FileCopyResult copyWithResult(const std::string& source,
                                             const std::vector<std::string>& destinations,
                                             const qf::FileCopyOptions& options) {
        return QFFileManager::copyFileWithResult(source, destinations, options, nullptr, {}, {});
    }

    /// Returns the names in the test's directory, hidden ones included.
    std::set<std::string> names() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    static std::string cannotOpen(const std::string& path) {
        return "Error: Unable to open destination file " + path + ". Aborting copy process...";
    }

private:
    qf::native::FileStreams streams_;
    qf::native::Digests digests_;
    qf::ScopedService<qf::FileSystem> onDiskScope_{onDisk};
    qf::ScopedService<qf::FileStreams> streamsScope_{streams_};
    qf::ScopedService<qf::Digests> digestsScope_{digests_};
};

bool isDevice(const char* path) {
    return fs::is_character_file(path);
}

} // namespace

TEST_F(VerifiedCopyOnDisk, ThreeHundredDestinationsGetTheContentAndTheDates) {
    const auto content = patternedText(100'000);
    const auto source = directory.write("source", content);
    std::vector<std::string> destinations(300);
    std::ranges::generate(destinations, [this, number = 0]() mutable {
        return directory / ("new/" + std::to_string(number++));
    });
    CopyObserver observer;
    // A verified copy would wait for the disk three hundred times.
    EXPECT_TRUE(copy(source, destinations, qf::VerificationType::none, observer.delegate()));
    for (const auto& destination : destinations) {
        EXPECT_TRUE(contentOf(destination) == content);
    }
    EXPECT_EQ(observer.record().finished.size(), 1U);
    const auto attributes = onDisk.attributesOfItem(source);
    if (attributes->creationDate) {
        EXPECT_EQ(onDisk.created.size(), 300U);
        EXPECT_EQ(onDisk.created.front(),
                  (UndatedFileSystem::Change{destinations.front(), *attributes->creationDate}));
        EXPECT_EQ(onDisk.modified.back(),
                  (UndatedFileSystem::Change{destinations.back(), attributes->modificationDate}));
    } else {
        EXPECT_EQ(onDisk.created.size() + onDisk.modified.size(), 0U);
    }
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyOnDisk, TheDatesAreOnTheDiskAndNothingIsLogged) {
    qf::native::FileSystem dated;
    const qf::ScopedService<qf::FileSystem> scope(dated);
    const auto source = directory.write("source", "content");
    const qf::Date created{std::chrono::seconds(443'779'200)};
    const qf::Date modified{std::chrono::milliseconds(1'000'000'000'250)};
    if (const auto changed = dated.setCreationDate(source, created); !changed) {
        GTEST_SKIP() << directory.path() << ": " << changed.error().localizedDescription;
    }
    ASSERT_TRUE(dated.setModificationDate(source, modified));
    const auto former = directory.write("former", "longer than the source");
    fs::create_symlink(directory / "target", directory / "link");
    const std::vector<std::string> copies{directory / "new/copy", former, directory / "target"};
    EXPECT_TRUE(copy(source, {copies[0], copies[1], directory / "link"}));
    for (const auto& path : copies) {
        EXPECT_EQ(QFFileManager::creationDateForFile(path), created) << path;
        EXPECT_EQ(QFFileManager::modificationDateForFile(path), modified) << path;
    }
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.printed(), "");
}

TEST_F(VerifiedCopyOnDisk, TheCreationDateOfTheVolumeIsCopiedToo) {
    qf::native::FileSystem dated;
    const qf::ScopedService<qf::FileSystem> scope(dated);
    const auto source = directory.write("source", "content");
    const auto created = QFFileManager::creationDateForFile(source);
    if (!created || !dated.setCreationDate(directory.write("probe"), *created)) {
        GTEST_SKIP() << directory.path() << " keeps no creation dates";
    }
    EXPECT_TRUE(copy(source, {directory / "copy"}));
    EXPECT_EQ(QFFileManager::creationDateForFile(directory / "copy"), created);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyOnDisk, WhatStoodAtADestinationIsOverwritten) {
    const auto source = directory.write("source", "short");
    const auto longer = directory.write("longer", patternedText(200'000));
    fs::create_symlink(directory / "target", directory / "link");
    EXPECT_TRUE(copy(source, {longer, directory / "link"}));
    EXPECT_EQ(contentOf(longer), "short");
    EXPECT_TRUE(fs::is_symlink(directory / "link"));
    EXPECT_EQ(contentOf(directory / "target"), "short");
}

class VerifiedCopyOnDiskOfAType
    : public VerifiedCopyOnDisk,
      public testing::WithParamInterface<NamedValue<qf::VerificationType>> {};

TEST_P(VerifiedCopyOnDiskOfAType, TheSameFileTwiceUnderTwoNamesIsWhole) {
    const auto content = patternedText(200'000);
    const auto source = directory.write("source", content);
    fs::create_hard_link(directory.write("copy", "former"), directory / "other name");
    CopyObserver observer;
    EXPECT_TRUE(copy(source, {directory / "copy", directory / "copy", directory / "other name"},
                     GetParam().value, observer.delegate()));
    EXPECT_TRUE(contentOf(directory / "copy") == content);
    EXPECT_EQ(observer.record().failures.size(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , VerifiedCopyOnDiskOfAType,
    testing::Values(NamedValue<qf::VerificationType>{{"NotVerified"}, qf::VerificationType::none},
                    NamedValue<qf::VerificationType>{{"Verified"}, qf::VerificationType::sha256}),
    nameOfCase);

/// A name of the source as it is copied, and as it is a destination.
class VerifiedCopyOntoItsSource
    : public VerifiedCopyOnDisk,
      public testing::WithParamInterface<std::tuple<NamedText, NamedText>> {};

TEST_P(VerifiedCopyOntoItsSource, NeverDestroysIt) {
    const auto& [from, name] = GetParam();
    const auto source = directory.write("source", "precious");
    fs::create_hard_link(source, directory / "hard");
    fs::create_symlink(source, directory / "link");
    fs::create_directory_symlink(directory.path(), directory / "folder");
    EXPECT_FALSE(copy(directory / from.value, {directory / "first", directory / name.value}));
    EXPECT_EQ(contentOf(source), "precious");
    EXPECT_EQ(contentOf(directory / "first"), "");
    EXPECT_EQ(console.systemLogLines(), Lines{cannotOpen(directory / name.value)});
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyOntoItsSource,
                         testing::Combine(testing::Values(NamedText{{"FromItself"}, "source"},
                                                          NamedText{{"FromALink"}, "link"}),
                                          testing::Values(NamedText{{"ToItself"}, "source"},
                                                          NamedText{{"ToAHardLink"}, "hard"},
                                                          NamedText{{"ToALink"}, "link"},
                                                          NamedText{{"ThroughALink"},
                                                                    "folder/source"})),
                         nameOfCases);

TEST_F(VerifiedCopyOnDisk, ADirectoryIsNoDestination) {
    const auto source = directory.write("source", "content");
    directory.makeDirectory("folder");
    EXPECT_FALSE(copy(source, {directory / "folder"}));
    EXPECT_EQ(console.systemLogLines(), Lines{cannotOpen(directory / "folder")});
}

TEST_F(VerifiedCopyOnDisk, ADirectoryCannotBeCopied) {
    directory.makeDirectory("folder");
    EXPECT_FALSE(copy(directory / "folder", {directory / "copy"}));
    EXPECT_EQ(loggedLines(),
              Lines{"Error reading file " + (directory / "folder") + " - aborting..."});
    EXPECT_EQ(contentOf(directory / "copy"), "");
}

TEST_F(VerifiedCopyOnDisk, APipeIsCopiedToItsEnd) {
    const auto pipe = directory / "pipe";
    const auto content = patternedText(150'000);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto writer = std::async(std::launch::async, [&] { std::ofstream(pipe) << content; });
    CopyObserver observer;
    EXPECT_TRUE(copy(pipe, {directory / "copy"}, verified, observer.delegate()));
    EXPECT_TRUE(contentOf(directory / "copy") == content);
    EXPECT_EQ(observer.record().failures.size(), 0U);
}

TEST_F(VerifiedCopyOnDisk, ALinkIsCopiedAsWhatItLeadsTo) {
    const auto source = directory.write("file", "content");
    fs::last_write_time(source, fs::last_write_time(source) - std::chrono::hours(1));
    fs::create_symlink("file", directory / "link");
    EXPECT_TRUE(copy(directory / "link", {directory / "copy"}));
    EXPECT_FALSE(fs::is_symlink(directory / "copy"));
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(contentOf(directory / "copy"), "content");
    const auto attributes = onDisk.attributesOfItem(source);
    EXPECT_EQ(onDisk.created.size(), attributes->creationDate ? 1U : 0U);
    ASSERT_EQ(onDisk.modified.size(), onDisk.created.size());
    for (const auto& change : onDisk.modified) {
        EXPECT_EQ(change,
                  (UndatedFileSystem::Change{directory / "copy", attributes->modificationDate}));
    }
}

TEST_F(VerifiedCopyOnDisk, ABrokenLinkIsAMissingSource) {
    fs::create_symlink(directory / "nowhere", directory / "link");
    EXPECT_FALSE(copy(directory / "link", {directory / "copy"}));
    EXPECT_EQ(console.systemLogLines(), Lines{"Error: File " + (directory / "link") +
                                              " doesn't exist. Aborting copy process..."});
}

TEST_F(VerifiedCopyOnDisk, AnEndlessDeviceIsCopiedUntilTheDelegateSaysNo) {
    if (!isDevice("/dev/zero") || !isDevice("/dev/null")) {
        GTEST_SKIP() << "this machine has no /dev/zero and /dev/null";
    }
    CopyObserver observer(false);
    EXPECT_FALSE(copy("/dev/zero", {"/dev/null"}, qf::VerificationType::none, observer.delegate()));
    EXPECT_GE(observer.record().questions, 1);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyOnDisk, ADeviceWithoutRoomFailsItsVerification) {
    if (!isDevice("/dev/full")) {
        GTEST_SKIP() << "this machine has no /dev/full";
    }
    const auto content = patternedText(1000);
    const auto source = directory.write("source", content);
    CopyObserver observer;
    EXPECT_TRUE(copy(source, {"/dev/full", directory / "copy"}, verified, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(), Lines{"Error writing file /dev/full: 1"});
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/dev/full");
    EXPECT_TRUE(contentOf(directory / "copy") == content);
}

TEST_F(VerifiedCopyOnDisk, APipeAsDestinationCannotSeekAndIsReadBackAllTheSame) {
    const auto source = directory.write("source", "content");
    const auto pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    CopyObserver observer;
    EXPECT_TRUE(copy(source, {pipe}, verified, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error: unable to seek within file " + pipe, "cur pos: 0", "read size: 7",
                     "errno: " + std::to_string(ESPIPE), "err: 0"}));
    EXPECT_EQ(observer.record().failures.size(), 0U);
}

TEST_F(VerifiedCopyOnDisk, PathsMayBeOfAnyLength) {
    qf::native::FileSystem dated;
    const qf::ScopedService<qf::FileSystem> scope(dated);
    const auto source = directory.write("source", "abc");
    const qf::Date modified{std::chrono::seconds(1'000'000'000)};
    ASSERT_TRUE(dated.setModificationDate(source, modified));
    std::string deep = directory.path();
    while (deep.size() < 5000) {
        deep += '/' + std::string(200, 'd');
    }
    EXPECT_TRUE(copy(source, {deep + "/copy"}));
    EXPECT_TRUE(copy(deep + "/copy", {directory / "back", deep + "/again"}));
    EXPECT_EQ(contentOf(directory / "back"), "abc");
    EXPECT_EQ(QFFileManager::md5HashForFile(deep + "/again"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(QFFileManager::modificationDateForFile(deep + "/again"), modified);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyOnDisk, APathWithAZeroByteIsRefused) {
    const auto source = directory.write("source", "abc");
    const auto other = directory.write("other", "precious");
    const auto zero = std::string("\0.tmp", 5);
    EXPECT_FALSE(copy(source + zero, {directory / "copy"}));
    EXPECT_FALSE(copy(source, {other + zero}));
    EXPECT_EQ(contentOf(other), "precious");
    EXPECT_EQ(QFFileManager::md5HashForFile(source + zero), std::nullopt);
}

class VerifiedCopyOfADate : public VerifiedCopyOnDisk,
                            public testing::WithParamInterface<NamedValue<qf::FileDate>> {};

TEST_P(VerifiedCopyOfADate, KeepsIt) {
    const qf::FileDate date = GetParam().value;
    qf::native::FileSystem dated;
    const qf::ScopedService<qf::FileSystem> scope(dated);
    const auto source = directory.write("source", "abc");
    ASSERT_TRUE(dated.setModificationDate(source, date));
    if (dated.attributesOfItem(source)->modificationDate != date) {
        GTEST_SKIP() << "the file system of " << directory.path() << " keeps no such date";
    }
    EXPECT_TRUE(copy(source, {directory / "copy"}));
    EXPECT_EQ(dated.attributesOfItem(directory / "copy")->modificationDate, date);
}

INSTANTIATE_TEST_SUITE_P(
    , VerifiedCopyOfADate,
    testing::Values(NamedValue<qf::FileDate>{{"In2286"}, qf::FileDate({10'000'000'000, 0})},
                    NamedValue<qf::FileDate>{{"In1906"}, qf::FileDate({-2'000'000'000, 0})}),
    nameOfCase);

TEST_F(VerifiedCopyOnDisk, ACopyReadFromItsMediumIsWhole) {
    const auto content = patternedText(200'000);
    const auto source = directory.write("source", content);
    const auto result = QFFileManager::copyFileWithResult(
        source, {directory / "copy"},
        {.verificationType = verified, .fromMedium = qf::FromMedium::yes}, nullptr, {}, {});
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.outcomes, std::vector{qf::FileCopyOutcome::copied});
    EXPECT_TRUE(contentOf(directory / "copy") == content);
}

TEST_F(VerifiedCopyOnDisk, ACopyFilledAsideHasTheDateOfItsSourceAndNotOfTheFormerOne) {
    const qf::FileDate date(std::timespec{1'000'000'000, 0});
    qf::native::FileSystem dated;
    const qf::ScopedService<qf::FileSystem> scope(dated);
    const auto source = directory.write("source", "abc");
    const auto former = directory.write("copy", "former");
    ASSERT_TRUE(dated.setModificationDate(source, date));
    EXPECT_TRUE(copyWithResult(source, {former}, {.filling = qf::Filling::aside}).succeeded);
    EXPECT_EQ(dated.attributesOfItem(former)->modificationDate, date);
}

TEST_F(VerifiedCopyOnDisk, ACopyFilledAsideReplacesTheFormerOneWhole) {
    const auto content = patternedText(200'000);
    const auto source = directory.write("source", content);
    const auto former = directory.write("copy", "former");
    fs::create_hard_link(former, directory / "other name");
    const auto result = copyWithResult(
        source, {former}, {.verificationType = verified, .filling = qf::Filling::aside});
    EXPECT_EQ(result.outcomes, std::vector{qf::FileCopyOutcome::copied});
    EXPECT_TRUE(contentOf(former) == content);
    EXPECT_EQ(contentOf(directory / "other name"), "former");
    EXPECT_EQ(names(), (std::set<std::string>{"copy", "other name", "source"}));
}

TEST_F(VerifiedCopyOnDisk, ACopyThatFailsAsideLeavesNothingBehind) {
    const auto source = directory.write("source", "content");
    const auto former = directory.write("copy", "former");
    const auto unreachable = directory.makeDirectory("directory");
    EXPECT_FALSE(
        copyWithResult(source, {former, unreachable}, {.filling = qf::Filling::aside}).succeeded);
    EXPECT_EQ(contentOf(former), "former");
    EXPECT_EQ(names(), (std::set<std::string>{"copy", "directory", "source"}));
}

class VerifiedCopyAside : public VerifiedCopyOnDisk,
                          public testing::WithParamInterface<NamedText> {};

TEST_P(VerifiedCopyAside, NeverReplacesTheSource) {
    const auto source = directory.write("source", "content");
    fs::create_symlink("source", directory / "link");
    EXPECT_FALSE(
        copyWithResult(source, {directory / GetParam().value}, {.filling = qf::Filling::aside})
            .succeeded);
    EXPECT_TRUE(fs::is_symlink(directory / "link"));
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyAside,
                         testing::Values(NamedText{{"ByItsName"}, "source"},
                                         NamedText{{"ByALink"}, "link"}),
                         nameOfCase);

class VerifiedCopyWithMetadata : public VerifiedCopyOnDisk,
                                 public testing::WithParamInterface<NamedValue<qf::Filling>> {};

TEST_P(VerifiedCopyWithMetadata, KeepsThemIfThatIsAskedFor) {
    const auto source = directory.write("source", "content");
    ASSERT_EQ(::chmod(source.c_str(), 06710), 0);
    ASSERT_EQ(::setxattr(source.c_str(), "user.note", "mine", 4, 0), 0);
    const auto path = directory / "copy";
    EXPECT_TRUE(copyWithResult(source, {path},
                               {.filling = GetParam().value, .keepMetadata = qf::KeepMetadata::yes})
                    .succeeded);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 06710U);
    std::array<char, 8> note{};
    EXPECT_EQ(::getxattr(path.c_str(), "user.note", note.data(), note.size()), 4);
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyWithMetadata,
                         testing::Values(NamedValue<qf::Filling>{{"InPlace"}, qf::Filling::inPlace},
                                         NamedValue<qf::Filling>{{"Aside"}, qf::Filling::aside}),
                         nameOfCase);

TEST_F(VerifiedCopyOnDisk, ACopyKeepsNothingUnasked) {
    const auto source = directory.write("source", "content");
    ASSERT_EQ(::setxattr(source.c_str(), "user.note", "mine", 4, 0), 0);
    EXPECT_TRUE(copyWithResult(source, {directory / "copy"}, {}).succeeded);
    EXPECT_LT(::getxattr((directory / "copy").c_str(), "user.note", nullptr, 0), 0);
}

TEST_F(VerifiedCopyOnDisk, NamesMayHoldAnyBytes) {
    const auto source = directory.write("s\xFF\n%@", "content");
    EXPECT_TRUE(copy(source, {directory / "c\xFE\t%n"}));
    EXPECT_EQ(contentOf(directory / "c\xFE\t%n"), "content");
}
