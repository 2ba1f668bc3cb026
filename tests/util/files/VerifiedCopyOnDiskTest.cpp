#include "platform/linux/files/Digests.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/PatternedText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/util/files/CopyObserver.h"
#include "util/files/QFFileManager.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>

namespace fs = std::filesystem;

namespace {

/// Real files whose dates are only remembered: a copy to a device must not change the device's.
class UndatedFileSystem : public platform::native::FileSystem {
public:
    struct Change {
        std::string path;
        platform::Date date;
        bool operator==(const Change&) const = default;
    };
    std::vector<Change> created;
    std::vector<Change> modified;

    platform::Result<void> setModificationDate(const std::string& path,
                                               platform::Date date) override {
        modified.push_back({path, date});
        return {};
    }
    platform::Result<void> setCreationDate(const std::string& path, platform::Date date) override {
        created.push_back({path, date});
        return {};
    }
};

class VerifiedCopyOnDisk : public DescribedMachine {
protected:
    static constexpr auto verified = VerificationType::sha256;

    TemporaryFolder folder;
    UndatedFileSystem onDisk;

    static bool copy(const std::string& source, const std::vector<std::string>& destinations,
                     VerificationType type = verified,
                     const std::shared_ptr<FileCopyDelegate>& delegate = nullptr) {
        return QFFileManager::copyFileWithProgress(source, destinations, type, delegate, {}, {});
    }

    static std::string cannotOpen(const std::string& path) {
        return "Error: Unable to open destination file " + path + ". Aborting copy process...";
    }

private:
    platform::native::FileStreams streams_;
    platform::native::Digests digests_;
    platform::ScopedService<platform::FileSystem> onDiskScope_{onDisk};
    platform::ScopedService<platform::FileStreams> streamsScope_{streams_};
    platform::ScopedService<platform::Digests> digestsScope_{digests_};
};

bool isDevice(const char* path) {
    return fs::is_character_file(path);
}

} // namespace

TEST_F(VerifiedCopyOnDisk, ThreeHundredDestinationsGetTheContentAndTheDates) {
    const auto content = patternedText(100'000);
    const auto source = folder.write("source", content);
    std::vector<std::string> destinations(300);
    std::ranges::generate(destinations, [this, number = 0]() mutable {
        return folder / ("new/" + std::to_string(number++));
    });
    CopyObserver observer;
    EXPECT_TRUE(copy(source, destinations, verified, observer.delegate()));
    for (const auto& destination : destinations) {
        EXPECT_TRUE(contentOf(destination) == content);
    }
    EXPECT_EQ(observer.record().failures.size(), 0U);
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
    platform::native::FileSystem dated;
    const platform::ScopedService<platform::FileSystem> scope(dated);
    const auto source = folder.write("source", "content");
    const platform::Date created{std::chrono::seconds(443'779'200)};
    const platform::Date modified{std::chrono::milliseconds(1'000'000'000'250)};
    if (const auto changed = dated.setCreationDate(source, created); !changed) {
        GTEST_SKIP() << folder.path() << ": " << changed.error().localizedDescription;
    }
    ASSERT_TRUE(dated.setModificationDate(source, modified));
    const auto former = folder.write("former", "longer than the source");
    fs::create_symlink(folder / "target", folder / "link");
    const std::vector<std::string> copies{folder / "new/copy", former, folder / "target"};
    EXPECT_TRUE(copy(source, {copies[0], copies[1], folder / "link"}));
    for (const auto& path : copies) {
        EXPECT_EQ(QFFileManager::creationDateForFile(path), created) << path;
        EXPECT_EQ(QFFileManager::modificationDateForFile(path), modified) << path;
    }
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(console.printed(), "");
}

TEST_F(VerifiedCopyOnDisk, TheCreationDateOfTheVolumeIsCopiedToo) {
    platform::native::FileSystem dated;
    const platform::ScopedService<platform::FileSystem> scope(dated);
    const auto source = folder.write("source", "content");
    const auto created = QFFileManager::creationDateForFile(source);
    if (!created || !dated.setCreationDate(folder.write("probe"), *created)) {
        GTEST_SKIP() << folder.path() << " keeps no creation dates";
    }
    EXPECT_TRUE(copy(source, {folder / "copy"}));
    EXPECT_EQ(QFFileManager::creationDateForFile(folder / "copy"), created);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyOnDisk, WhatStoodAtADestinationIsOverwritten) {
    const auto source = folder.write("source", "short");
    const auto longer = folder.write("longer", patternedText(200'000));
    fs::create_symlink(folder / "target", folder / "link");
    EXPECT_TRUE(copy(source, {longer, folder / "link"}));
    EXPECT_EQ(contentOf(longer), "short");
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(contentOf(folder / "target"), "short");
}

TEST_F(VerifiedCopyOnDisk, TheSameFileTwiceUnderTwoNamesIsWhole) {
    const auto content = patternedText(200'000);
    const auto source = folder.write("source", content);
    fs::create_hard_link(folder.write("copy", "former"), folder / "other name");
    for (const auto type : {VerificationType::none, verified}) {
        CopyObserver observer;
        EXPECT_TRUE(copy(source, {folder / "copy", folder / "copy", folder / "other name"}, type,
                         observer.delegate()));
        EXPECT_TRUE(contentOf(folder / "copy") == content);
        EXPECT_EQ(observer.record().failures.size(), 0U);
    }
}

TEST_F(VerifiedCopyOnDisk, TheSourceIsNeverDestroyed) {
    const auto source = folder.write("source", "precious");
    fs::create_hard_link(source, folder / "hard");
    fs::create_symlink(source, folder / "link");
    fs::create_directory_symlink(folder.path(), folder / "folder");
    Lines expected;
    for (const auto* name : {"source", "hard", "link", "folder/source"}) {
        for (const auto& from : {source, folder / "link"}) {
            EXPECT_FALSE(copy(from, {folder / "first", folder / name}));
            EXPECT_EQ(contentOf(source), "precious");
            EXPECT_EQ(contentOf(folder / "first"), "");
            expected.push_back(cannotOpen(folder / name));
        }
    }
    EXPECT_EQ(console.systemLogLines(), expected);
}

TEST_F(VerifiedCopyOnDisk, AFolderIsNoDestination) {
    const auto source = folder.write("source", "content");
    folder.makeFolder("folder");
    EXPECT_FALSE(copy(source, {folder / "folder"}));
    EXPECT_EQ(console.systemLogLines(), Lines{cannotOpen(folder / "folder")});
}

TEST_F(VerifiedCopyOnDisk, AFolderCannotBeCopied) {
    folder.makeFolder("folder");
    EXPECT_FALSE(copy(folder / "folder", {folder / "copy"}));
    EXPECT_EQ(loggedLines(), Lines{"Error reading file " + (folder / "folder") + " - aborting..."});
    EXPECT_EQ(contentOf(folder / "copy"), "");
}

TEST_F(VerifiedCopyOnDisk, APipeIsCopiedToItsEnd) {
    const auto pipe = folder / "pipe";
    const auto content = patternedText(150'000);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto writer = std::async(std::launch::async, [&] { std::ofstream(pipe) << content; });
    CopyObserver observer;
    EXPECT_TRUE(copy(pipe, {folder / "copy"}, verified, observer.delegate()));
    EXPECT_TRUE(contentOf(folder / "copy") == content);
    EXPECT_EQ(observer.record().failures.size(), 0U);
}

TEST_F(VerifiedCopyOnDisk, ALinkIsCopiedAsWhatItLeadsTo) {
    const auto source = folder.write("file", "content");
    fs::last_write_time(source, fs::last_write_time(source) - std::chrono::hours(1));
    fs::create_symlink("file", folder / "link");
    EXPECT_TRUE(copy(folder / "link", {folder / "copy"}));
    EXPECT_FALSE(fs::is_symlink(folder / "copy"));
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(contentOf(folder / "copy"), "content");
    const auto attributes = onDisk.attributesOfItem(source);
    EXPECT_EQ(onDisk.created.size(), attributes->creationDate ? 1U : 0U);
    ASSERT_EQ(onDisk.modified.size(), onDisk.created.size());
    for (const auto& change : onDisk.modified) {
        EXPECT_EQ(change,
                  (UndatedFileSystem::Change{folder / "copy", attributes->modificationDate}));
    }
}

TEST_F(VerifiedCopyOnDisk, ABrokenLinkIsAMissingSource) {
    fs::create_symlink(folder / "nowhere", folder / "link");
    EXPECT_FALSE(copy(folder / "link", {folder / "copy"}));
    EXPECT_EQ(console.systemLogLines(), Lines{"Error: File " + (folder / "link") +
                                              " doesn't exist. Aborting copy process..."});
}

TEST_F(VerifiedCopyOnDisk, AnEndlessDeviceIsCopiedUntilTheDelegateSaysNo) {
    if (!isDevice("/dev/zero") || !isDevice("/dev/null")) {
        GTEST_SKIP() << "this machine has no /dev/zero and /dev/null";
    }
    CopyObserver observer(false);
    EXPECT_FALSE(copy("/dev/zero", {"/dev/null"}, VerificationType::none, observer.delegate()));
    EXPECT_GE(observer.record().questions, 1);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyOnDisk, ADeviceWithoutRoomFailsItsVerification) {
    if (!isDevice("/dev/full")) {
        GTEST_SKIP() << "this machine has no /dev/full";
    }
    const auto content = patternedText(1000);
    const auto source = folder.write("source", content);
    CopyObserver observer;
    EXPECT_TRUE(copy(source, {"/dev/full", folder / "copy"}, verified, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(), Lines{"Error writing file /dev/full: 1"});
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/dev/full");
    EXPECT_TRUE(contentOf(folder / "copy") == content);
}

TEST_F(VerifiedCopyOnDisk, APipeAsDestinationCannotSeekAndIsReadBackAllTheSame) {
    const auto source = folder.write("source", "content");
    const auto pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    CopyObserver observer;
    EXPECT_TRUE(copy(source, {pipe}, verified, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error: unable to seek within file " + pipe, "cur pos: 0", "read size: 7",
                     "errno: " + std::to_string(ESPIPE), "err: 0"}));
    EXPECT_EQ(observer.record().failures.size(), 0U);
}

TEST_F(VerifiedCopyOnDisk, NamesMayHoldAnyBytes) {
    const auto source = folder.write("s\xFF\n%@", "content");
    EXPECT_TRUE(copy(source, {folder / "c\xFE\t%n"}));
    EXPECT_EQ(contentOf(folder / "c\xFE\t%n"), "content");
}
