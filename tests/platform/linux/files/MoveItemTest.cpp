#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/Sentence.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
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

TEST(MoveItem, KnowsItsCopyOnAVolumeWhoseNumbersDoNotLast) {
    const TemporaryDirectory directory;
    const auto top = directory / "top";
    makeSampleTree(directory.makeDirectory("top"));
    const auto before = description(top);

    EXPECT_EQ(
        runChild({"move", top, directory / "new"}, withFaults(otherVolume + ",syncfs:1:renumber"))
            .output,
        "ok\nfaults: 2\n");
    EXPECT_EQ(description(directory / "new"), before);
    EXPECT_EQ(runChild({"move", directory / "new/plain", directory / "plain"},
                       withFaults(otherVolume + ",fsync:1:renumber"))
                  .output,
              "ok\nfaults: 2\n");
    EXPECT_EQ(contentOf(directory / "plain"), "plain content");
    EXPECT_EQ(strangers(directory.path(), {"new", "plain"}), std::vector<std::string>{});
}

TEST(MoveItem, MovesOffAnOverlayThatHasForgottenItsNumbers) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto upper = directory.makeDirectory("upper");
    const auto merged = directory.makeDirectory("merged");
    makeSampleTree(directory.makeDirectory("lower/top"));
    const auto before = description(directory / "lower/top");
    auto command = withMountOn(upper, "size=8m");
    const std::vector<std::string> overlay{
        "sh",
        "-c",
        R"(mkdir "$1/upper" "$1/work" && mount -t overlay none -o \
           "lowerdir=$2,upperdir=$1/upper,workdir=$1/work" "$3" && shift 3 && exec "$@")",
        "sh",
        upper,
        directory / "lower",
        merged};
    command.insert(command.end(), overlay.begin(), overlay.end());
    auto probe = command;
    probe.emplace_back("true");
    if (const auto outcome = run(probe); outcome.status != 0) {
        GTEST_SKIP() << "no overlay can be mounted: " << outcome.output;
    }

    EXPECT_EQ(runChild({"move", merged + "/top", directory / "new"}, withFaults("syncfs:1:forget"),
                       command)
                  .output,
              "ok\nfaults: 1\n");

    EXPECT_EQ(description(directory / "new"), before);
}

TEST(MoveItem, KeepsASourceWhoseCopyDiffers) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");

    EXPECT_EQ(
        runChild({"move", file, directory / "new"}, withFaults(otherVolume + ",pwrite:1:alter"))
            .output,
        "5 “file” couldn’t be moved because the volume reports a fault.\nfaults: 2\n");

    EXPECT_EQ(contentOf(file), "content");
    EXPECT_EQ(strangers(directory.path(), {"file"}), std::vector<std::string>{});
}

TEST(MoveItem, KeepsASourceThatChangesWhileItIsCopied) {
    for (const auto* change : {"append", "touch"}) {
        const TemporaryDirectory directory;
        const auto file = directory.write("top/file", "content");

        // Its content is copied by then, and not yet compared.
        EXPECT_EQ(runChild({"move", directory / "top", directory / "new"},
                           withFaults(otherVolume + ",futimens:1:" + change, file))
                      .output,
                  "11 “file” couldn’t be moved because another program is changing it.\n"
                  "faults: 2\n");

        EXPECT_TRUE(contentOf(file).starts_with("content"));
        EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
    }
}

TEST(MoveItem, KeepsWhatHasChangedOfASourceOnceItIsCopied) {
    for (const auto* change : {"append", "touch"}) {
        const TemporaryDirectory directory;
        const auto file = directory.write("top/file", "content");

        EXPECT_EQ(runChild({"move", directory / "top", directory / "new"},
                           withFaults(otherVolume + ",syncfs:1:" + change, file))
                      .output,
                  "11 “file” couldn’t be moved because another program is changing it.\n"
                  "faults: 2\n");

        EXPECT_TRUE(contentOf(file).starts_with("content"));
        EXPECT_EQ(contentOf(directory / "new/file"), "content");
    }
}

TEST(MoveItem, RemovesNoSourceWhoseCopyIsNotDurable) {
    struct Case {
        std::string item;
        std::string fault;
    };
    const auto failing = [](const std::string& call) { return call + std::to_string(EIO); };
    for (const auto& [item, fault] :
         std::vector<Case>{{"file", failing("fsync:1:")}, // of the content
                           {"file", failing("fsync:2:")}, // of the directory
                           {"top", failing("syncfs:1:")},
                           {"top", failing("fsync:1:")},
                           {"link", failing("fsync:1:")}}) {
        const TemporaryDirectory directory;
        directory.write("file", "content");
        directory.write("top/file", "content");
        ASSERT_EQ(::symlink("target", (directory / "link").c_str()), 0);

        EXPECT_EQ(runChild({"move", directory / item, directory / "new"},
                           withFaults(otherVolume + ',' + fault))
                      .output,
                  "5 “" + item +
                      "” couldn’t be moved because the volume reports a fault.\nfaults: 2\n");

        EXPECT_EQ(strangers(directory.path(), {"file", "top", "link"}), std::vector<std::string>{});
        EXPECT_EQ(contentOf(directory / "file") + contentOf(directory / "top/file"),
                  "contentcontent");
        EXPECT_TRUE(exists(directory / "link"));
    }
}

TEST(MoveItem, FinishesAMoveThatWasKilledAndNoOther) {
    const TemporaryDirectory directory;
    directory.write("top/a", "a");
    directory.write("top/b", "b");
    const auto move = [&](const std::string& more) {
        return runChild({"move", directory / "top", directory / "new"},
                        withFaults(otherVolume + more));
    };
    const std::string taken = "17 “top” couldn’t be moved because an item with the same name "
                              "already exists.\nfaults: 1\n";

    EXPECT_EQ(move(",unlinkat:2:kill").status, -1);
    EXPECT_EQ(strangers(directory / "top", {}).size(), 1U);
    EXPECT_EQ(move("").output, "ok\nfaults: 1\n");
    EXPECT_EQ(strangers(directory.path(), {"new"}), std::vector<std::string>{});

    // A whole copy alone does not show that it was made by a move.
    directory.write("top/a", "a");
    EXPECT_EQ(move("").output, taken);
    EXPECT_EQ(contentOf(directory / "top/a"), "a");
}

TEST(MoveItem, FinishesAKilledMoveAfterAbandonedCopiesAreRemoved) {
    const TemporaryDirectory directory;
    directory.write("top/a", "a");
    directory.write("top/b", "b");
    const auto move = [&](const std::string& more) {
        return runChild({"move", directory / "top", directory / "new"},
                        withFaults(otherVolume + more));
    };
    EXPECT_EQ(move(",unlinkat:2:kill").status, -1);

    fileSystem.removeAbandonedCopies(directory.path());

    EXPECT_EQ(move("").output, "ok\nfaults: 1\n");
    EXPECT_EQ(strangers(directory.path(), {"new"}), std::vector<std::string>{});
}

TEST(MoveItem, FinishesNoKilledMoveOfWhatIsNotInTheCopy) {
    const TemporaryDirectory directory;
    directory.write("top/a", "a");
    directory.write("top/b", "b");
    const auto move = [&](const std::string& more) {
        return runChild({"move", directory / "top", directory / "new"},
                        withFaults(otherVolume + more));
    };
    EXPECT_EQ(move(",unlinkat:1:kill").status, -1);
    directory.write("top/c", "new");

    EXPECT_EQ(move("").output, "17 “top” couldn’t be moved because an item with the same name "
                               "already exists.\nfaults: 1\n");

    for (const auto* name : {"a", "b", "c"}) {
        EXPECT_TRUE(exists(directory / (std::string("top/") + name))) << name;
    }
}

TEST(MoveItem, TellsOfAttributesThatTheVolumeCannotHold) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");
    if (::setxattr(file.c_str(), "user.qf.test", "value", 5, 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without extended attributes";
    }

    EXPECT_EQ(runChild({"move", file, directory / "new"},
                       withFaults(otherVolume + ",fsetxattr:1:" + std::to_string(ENOSPC)))
                  .output,
              "7 “file” couldn’t be moved because the volume can’t hold its attributes.\n"
              "faults: 2\n");

    EXPECT_EQ(strangers(directory.path(), {"file"}), std::vector<std::string>{});
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
        {file + std::string("\0.tmp", 5), directory / "new", "the system doesn’t allow it"},
        {file, directory / std::string("new\0.tmp", 8), "the system doesn’t allow it"},
        {"", directory / "new", "the system doesn’t allow it"},
        {"file", directory / "new", "the system doesn’t allow it"},
        {file, "", "the system doesn’t allow it"},
        {file, "new", "the system doesn’t allow it"},
        {file, directory / "..", "the system doesn’t allow it"},
        {file, directory / "missing/new", "the folder “missing” doesn’t exist"},
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
