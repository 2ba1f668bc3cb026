#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/Sentence.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <latch>
#include <thread>

namespace fs = std::filesystem;

namespace {

/// Simulates a file system that cannot refuse to replace an existing item.
const std::string withoutRefusal = "renameat2:1:" + std::to_string(EINVAL);

} // namespace

TEST(MoveItem, GivesEveryKindOfItemAnotherName) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    directory.makeDirectory("elsewhere");
    for (const auto* name : {"plain", "deep", "broken link", "fifo"}) {
        const auto before = description(directory / (std::string("top/") + name));

        EXPECT_TRUE(fileSystem.moveItem(directory / (std::string("top/") + name),
                                        directory / (std::string("elsewhere/new ") + name)));

        EXPECT_EQ(description(directory / (std::string("elsewhere/new ") + name)), before);
        EXPECT_FALSE(exists(directory / (std::string("top/") + name)));
    }
}

TEST(MoveItem, ReplacesNothing) {
    const TemporaryDirectory directory;
    const auto source = directory.write("source", "new");
    const auto sourceDirectory = directory.makeDirectory("source folder");
    directory.write("file", "old");
    directory.makeDirectory("empty");
    ASSERT_EQ(::symlink("missing", (directory / "broken").c_str()), 0);

    for (const auto& item : {source, sourceDirectory}) {
        for (const auto* name : {"file", "empty", "broken"}) {
            for (const auto& faults : {std::string(), otherVolume, withoutRefusal}) {
                const auto outcome = runChild({"move", item, directory / name}, withFaults(faults));
                EXPECT_TRUE(outcome.output.starts_with(
                    "17 “" + fs::path(item).filename().string() +
                    "” couldn’t be moved because an item with the same name already exists.\n"))
                    << outcome.output;
            }
        }
    }
    EXPECT_EQ(contentOf(source), "new");
    EXPECT_EQ(contentOf(directory / "file"), "old");
    EXPECT_TRUE(fs::is_empty(directory / "empty"));
    EXPECT_EQ(fs::read_symlink(directory / "broken"), "missing");
}

TEST(MoveItem, WorksWhereAVolumeCannotRefuseToReplace) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto noLinks = ",linkat:1:" + std::to_string(EPERM);
    for (const auto& faults : {withoutRefusal, withoutRefusal + noLinks}) {
        for (const auto* name : {"top/plain", "top/deep", "top/broken link", "top/fifo"}) {
            const auto before = description(directory / name);

            const auto there =
                runChild({"move", directory / name, directory / "new"}, withFaults(faults));
            EXPECT_TRUE(there.output.starts_with("ok\n")) << there.output;

            EXPECT_EQ(description(directory / "new"), before) << name;
            EXPECT_FALSE(exists(directory / name));
            ASSERT_TRUE(fileSystem.moveItem(directory / "new", directory / name));
        }
    }
    EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, MovesOntoAnotherVolumeAndBack) {
    const MemoryDirectory volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto before = description(directory / "top").size();
    for (const auto* name : {"top/plain", "top/broken link", "top/fifo", "top/empty"}) {
        ASSERT_EQ(sentence(fileSystem.moveItem(directory / name, volume / "item")), "no error");
        EXPECT_FALSE(exists(directory / name));
        ASSERT_EQ(sentence(fileSystem.moveItem(volume / "item", directory / name)), "no error");
        EXPECT_FALSE(exists(volume / "item"));
    }

    ASSERT_EQ(sentence(fileSystem.moveItem(directory / "top", volume / "top")), "no error");

    EXPECT_EQ(description(volume / "top").size(), before);
    EXPECT_EQ(strangers(directory.path(), {}), std::vector<std::string>{});
    EXPECT_EQ(strangers(volume.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, LosesNothingOfAnItemThatHasToBeCopied) {
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto before = description(directory / "top");

    EXPECT_EQ(
        runChild({"move", directory / "top", directory / "new"}, withFaults(otherVolume)).output,
        "ok\nfaults: 1\n");

    EXPECT_EQ(description(directory / "new"), before);
    EXPECT_EQ(strangers(directory.path(), {"new"}), std::vector<std::string>{});
}

TEST(MoveItem, MovesOutOfABindMountOfTheSameDevice) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto inner = directory.makeDirectory("inner");
    makeSampleTree(directory.makeDirectory("inner/top"));
    const auto before = description(inner + "/top");

    EXPECT_EQ(
        runChild({"move", inner + "/top", directory / "new"}, {}, withBindMount(inner)).output,
        "ok\n");

    EXPECT_EQ(description(directory / "new"), before);
    EXPECT_TRUE(fs::is_empty(inner));
}

TEST(MoveItem, CopiesNothingFromAVolumeThatIsReadOnly) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto inner = directory.makeDirectory("inner");
    directory.write("inner/file", "whole");

    EXPECT_EQ(runChild({"move", inner + "/file", directory / "new"}, {}, withBindMount(inner, "ro"))
                  .output,
              "30 “file” couldn’t be moved because the volume is read-only.\n");

    EXPECT_EQ(contentOf(inner + "/file"), "whole");
    EXPECT_EQ(strangers(directory.path(), {"inner"}), std::vector<std::string>{});
}

TEST(MoveItem, LeavesWholeWhatHoldsAMountedVolume) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    directory.write("top/file", "whole");
    const auto inner = directory.makeDirectory("top/inner");

    const auto outcome = runChild({"move", directory / "top", directory / "new"},
                                  withFaults(otherVolume), withBindMount(inner));

    EXPECT_EQ(outcome.output, "16 “inner” couldn’t be moved because it is in use.\nfaults: 1\n");
    EXPECT_EQ(contentOf(directory / "top/file"), "whole");
    EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, LeavesWholeWhatCouldNotBeTakenAwayAfterwards) {
    const TemporaryDirectory directory;
    directory.write("top/closed/file", "whole");
    directory.makeDirectory("destination");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "top").c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "destination").c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "top/closed").c_str(), 0555), 0);

    EXPECT_EQ(runChild({"move", directory / "top", directory / "destination/new"},
                       withFaults(otherVolume), asOrdinaryUser())
                  .output,
              "13 “closed” couldn’t be moved because you don’t have permission.\nfaults: 1\n");

    EXPECT_EQ(contentOf(directory / "top/closed/file"), "whole");
    EXPECT_TRUE(fs::is_empty(directory / "destination"));
    ASSERT_EQ(::chmod((directory / "top/closed").c_str(), 0755), 0);
}

TEST(MoveItem, LeavesOthersFilesInASharedDirectoryAlone) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make another user's files";
    }
    const TemporaryDirectory directory;
    directory.write("shared/file", "whole");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "shared").c_str(), 01777), 0);

    for (const auto& faults : {std::string(), otherVolume}) {
        const auto outcome = runChild({"move", directory / "shared/file", directory / "new"},
                                      withFaults(faults), asOrdinaryUser());
        EXPECT_TRUE(outcome.output.starts_with(
            "1 “file” couldn’t be moved because you don’t have permission.\n"))
            << outcome.output;
    }
    EXPECT_EQ(contentOf(directory / "shared/file"), "whole");
    EXPECT_FALSE(exists(directory / "new"));
}

TEST(MoveItem, LeavesWholeWhatAFullVolumeCannotTake) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    directory.write("top/small", "small");
    directory.write("top/large", std::string(300000, 'x'));
    const auto before = description(directory / "top");
    const auto volume = directory.makeDirectory("volume");
    auto command = withMountOn(volume, "size=128k");
    const std::vector<std::string> listing{"sh", "-c", R"("$@"; ls -A "$0")", volume};
    command.insert(command.end(), listing.begin(), listing.end());

    EXPECT_EQ(runChild({"move", directory / "top", volume + "/new"}, {}, command).output,
              "28 “large” couldn’t be moved because the volume is full.\n");

    EXPECT_EQ(description(directory / "top"), before);
}

TEST(MoveItem, MovesNoDirectoryIntoItself) {
    const TemporaryDirectory directory;
    directory.makeDirectory("top/inner");

    const auto moved = fileSystem.moveItem(directory / "top", directory / "top/inner/new");

    ASSERT_FALSE(moved);
    EXPECT_EQ(moved.error().localizedDescription,
              "“top” couldn’t be moved because it can’t be put inside itself.");
    EXPECT_TRUE(fs::is_empty(directory / "top/inner"));
}

TEST(MoveItem, TellsOfANameThatTheVolumeDoesNotAllow) {
    const TemporaryDirectory directory;
    directory.write("top/inner/file", "whole");
    directory.write("top/plain", "whole");
    directory.write("plain", "whole");
    ASSERT_EQ(::symlink("missing", (directory / "link").c_str()), 0);
    const auto refusal = [](const std::string& call) {
        return ',' + call + std::to_string(EINVAL);
    };
    struct Case {
        std::string item;
        std::string faults;
        std::string failedEntry;
    };
    const auto noRename = refusal("linkat:1:"); // the fallback is tried, too
    const std::vector<Case> cases{
        {"plain", withoutRefusal + noRename, "plain"},
        {"plain", otherVolume + refusal("renameat2:1:") + noRename, "plain"},
        {"link", otherVolume + refusal("symlinkat:1:"), "link"},
        {"top", otherVolume + refusal("mkdirat:2:"), "inner"},
    };
    for (const auto& [item, faults, failedEntry] : cases) {
        const auto outcome =
            runChild({"move", directory / item, directory / "new"}, withFaults(faults));
        EXPECT_TRUE(outcome.output.starts_with(
            "84 “" + failedEntry +
            "” couldn’t be moved because the volume doesn’t allow its name.\n"))
            << outcome.output;
        EXPECT_TRUE(exists(directory / item));
    }
    EXPECT_EQ(strangers(directory.path(), {"link", "plain", "top"}), std::vector<std::string>{});
}

TEST(MoveItem, TellsOfNamesThatTheVolumeTakesForOne) {
    const TemporaryDirectory directory;
    directory.write("top/inner/file", "whole");
    const auto before = description(directory / "top");
    const auto nameIsTaken = ",mkdirat:2:" + std::to_string(EEXIST);

    const auto outcome = runChild({"move", directory / "top", directory / "new"},
                                  withFaults(otherVolume + nameIsTaken));

    EXPECT_TRUE(outcome.output.starts_with("76 “inner” couldn’t be moved because the volume "
                                           "doesn’t tell its name from another one.\n"))
        << outcome.output;
    EXPECT_EQ(description(directory / "top"), before);
    EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, TellsWhatIsWrongWithAPath) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file");
    ASSERT_EQ(::symlink("loop", (directory / "loop").c_str()), 0);
    const std::string longName(256, 'n');
    const auto longPath = directory / std::string(5000, '/') + std::string(5000, 'x');
    struct Case {
        std::string path;
        std::string newPath;
        std::string why;
    };
    const std::vector<Case> cases{
        {directory / "missing", directory / "new", "it doesn’t exist"},
        {"", directory / "new", "the system doesn’t allow it"},
        {"file", directory / "new", "the system doesn’t allow it"},
        {file, "", "the system doesn’t allow it"},
        {file, "new", "the system doesn’t allow it"},
        {file, directory / "..", "the system doesn’t allow it"},
        {file, directory / "missing/new", "it doesn’t exist"},
        {file, file + "/new", "a part of its path isn’t a folder"},
        {longPath, directory / "new", "its name is too long"},
        {file, longPath, "its name is too long"},
        {directory / longName, directory / "new", "its name is too long"},
        {file, directory / longName, "its name is too long"},
        {directory / "loop/inner", directory / "new", "its path leads through too many links"},
    };
    for (const auto& [path, newPath, why] : cases) {
        EXPECT_TRUE(sentence(fileSystem.moveItem(path, newPath))
                        .ends_with("couldn’t be moved because " + why + "."))
            << path << " to " << newPath << ": " << sentence(fileSystem.moveItem(path, newPath));
    }
    EXPECT_EQ(strangers(directory.path(), {"file", "loop"}), std::vector<std::string>{});
}

TEST(MoveItem, LetsOneOfTwoCallersMoveAnItem) {
    const TemporaryDirectory directory;
    for (int round = 0; round < 200; ++round) {
        const auto item = directory.write("item", "content");
        std::atomic<int> successes = 0;
        const auto work = [&](const std::string& place) {
            successes += fileSystem.moveItem(item, place) ? 1 : 0;
        };
        std::thread other(work, directory / "left");
        work(directory / "right");
        other.join();
        EXPECT_EQ(successes, 1);
        EXPECT_EQ(exists(directory / "left") ? 1 : 0, exists(directory / "right") ? 0 : 1);
        fs::remove(directory / "left");
        fs::remove(directory / "right");
    }
}

TEST(MoveItem, DeletesNothingThatItHasNotCopied) {
    const MemoryDirectory volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryDirectory directory;
    constexpr int rounds = 40;
    for (int round = 0; round < rounds; ++round) {
        const auto top = directory / ("top" + std::to_string(round));
        const auto moved = volume / ("top" + std::to_string(round));
        for (int i = 0; i < 200; ++i) {
            directory.write("top" + std::to_string(round) + '/' + std::to_string(i), "old");
        }
        std::vector<std::string> added;
        std::latch begun(1);
        std::atomic<bool> done = false;
        std::thread writer([&] {
            for (int i = 0; !done; ++i) {
                const auto name = "/added" + std::to_string(i);
                const int file = ::open((top + name).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
                if (file < 0) {
                    break;
                }
                ::close(file);
                added.push_back(name);
                if (i == 0) {
                    begun.count_down();
                }
            }
        });
        begun.wait();
        static_cast<void>(fileSystem.moveItem(top, moved));
        done = true;
        writer.join();
        for (const auto& name : added) {
            EXPECT_TRUE(exists(top + name) || exists(moved + name)) << name;
        }
        static_cast<void>(fileSystem.removeItem(top));
        static_cast<void>(fileSystem.removeItem(moved));
    }
}
