#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/Sentence.h"
#include "tests/support/TemporaryFolder.h"
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

/// The file system cannot refuse to replace what stands at the new name.
const std::string withoutRefusal = "renameat2:1:" + std::to_string(EINVAL);

} // namespace

TEST(MoveItem, GivesEveryKindOfItemAnotherName) {
    const TemporaryFolder folder;
    makeSampleTree(folder.makeFolder("top"));
    folder.makeFolder("elsewhere");
    for (const auto* name : {"plain", "deep", "broken link", "fifo"}) {
        const auto before = description(folder / (std::string("top/") + name));

        EXPECT_TRUE(fileSystem.moveItem(folder / (std::string("top/") + name),
                                        folder / (std::string("elsewhere/new ") + name)));

        EXPECT_EQ(description(folder / (std::string("elsewhere/new ") + name)), before);
        EXPECT_FALSE(stands(folder / (std::string("top/") + name)));
    }
}

TEST(MoveItem, ReplacesNothing) {
    const TemporaryFolder folder;
    const auto source = folder.write("source", "new");
    const auto sourceFolder = folder.makeFolder("source folder");
    folder.write("file", "old");
    folder.makeFolder("empty");
    ASSERT_EQ(::symlink("missing", (folder / "broken").c_str()), 0);

    for (const auto& item : {source, sourceFolder}) {
        for (const auto* name : {"file", "empty", "broken"}) {
            for (const auto& faults : {std::string(), otherVolume, withoutRefusal}) {
                const auto outcome = runChild({"move", item, folder / name}, withFaults(faults));
                EXPECT_TRUE(outcome.output.starts_with(
                    "17 “" + fs::path(item).filename().string() +
                    "” couldn’t be moved because an item with the same name already exists.\n"))
                    << outcome.output;
            }
        }
    }
    EXPECT_EQ(contentOf(source), "new");
    EXPECT_EQ(contentOf(folder / "file"), "old");
    EXPECT_TRUE(fs::is_empty(folder / "empty"));
    EXPECT_EQ(fs::read_symlink(folder / "broken"), "missing");
}

TEST(MoveItem, WorksWhereAVolumeCannotRefuseToReplace) {
    const TemporaryFolder folder;
    makeSampleTree(folder.makeFolder("top"));
    const auto noLinks = ",linkat:1:" + std::to_string(EPERM);
    for (const auto& faults : {withoutRefusal, withoutRefusal + noLinks}) {
        for (const auto* name : {"top/plain", "top/deep", "top/broken link", "top/fifo"}) {
            const auto before = description(folder / name);

            const auto there =
                runChild({"move", folder / name, folder / "new"}, withFaults(faults));
            EXPECT_TRUE(there.output.starts_with("ok\n")) << there.output;

            EXPECT_EQ(description(folder / "new"), before) << name;
            EXPECT_FALSE(stands(folder / name));
            ASSERT_TRUE(fileSystem.moveItem(folder / "new", folder / name));
        }
    }
    EXPECT_EQ(strangers(folder.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, MovesOntoAnotherVolumeAndBack) {
    const MemoryFolder volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryFolder folder;
    makeSampleTree(folder.makeFolder("top"));
    const auto before = description(folder / "top").size();
    for (const auto* name : {"top/plain", "top/broken link", "top/fifo", "top/empty"}) {
        ASSERT_EQ(sentence(fileSystem.moveItem(folder / name, volume / "item")), "no error");
        EXPECT_FALSE(stands(folder / name));
        ASSERT_EQ(sentence(fileSystem.moveItem(volume / "item", folder / name)), "no error");
        EXPECT_FALSE(stands(volume / "item"));
    }

    ASSERT_EQ(sentence(fileSystem.moveItem(folder / "top", volume / "top")), "no error");

    EXPECT_EQ(description(volume / "top").size(), before);
    EXPECT_EQ(strangers(folder.path(), {}), std::vector<std::string>{});
    EXPECT_EQ(strangers(volume.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, LosesNothingOfAnItemThatHasToBeCopied) {
    const TemporaryFolder folder;
    makeSampleTree(folder.makeFolder("top"));
    const auto before = description(folder / "top");

    EXPECT_EQ(runChild({"move", folder / "top", folder / "new"}, withFaults(otherVolume)).output,
              "ok\nfaults: 1\n");

    EXPECT_EQ(description(folder / "new"), before);
    EXPECT_EQ(strangers(folder.path(), {"new"}), std::vector<std::string>{});
}

TEST(MoveItem, MovesOutOfABindMountOfTheSameDevice) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    const auto inner = folder.makeFolder("inner");
    makeSampleTree(folder.makeFolder("inner/top"));
    const auto before = description(inner + "/top");

    EXPECT_EQ(runChild({"move", inner + "/top", folder / "new"}, {}, withBindMount(inner)).output,
              "ok\n");

    EXPECT_EQ(description(folder / "new"), before);
    EXPECT_TRUE(fs::is_empty(inner));
}

TEST(MoveItem, CopiesNothingFromAVolumeThatIsReadOnly) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    const auto inner = folder.makeFolder("inner");
    folder.write("inner/file", "whole");

    EXPECT_EQ(
        runChild({"move", inner + "/file", folder / "new"}, {}, withBindMount(inner, "ro")).output,
        "30 “file” couldn’t be moved because the volume is read-only.\n");

    EXPECT_EQ(contentOf(inner + "/file"), "whole");
    EXPECT_EQ(strangers(folder.path(), {"inner"}), std::vector<std::string>{});
}

TEST(MoveItem, LeavesWholeWhatHoldsAMountedVolume) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    folder.write("top/file", "whole");
    const auto inner = folder.makeFolder("top/inner");

    const auto outcome = runChild({"move", folder / "top", folder / "new"}, withFaults(otherVolume),
                                  withBindMount(inner));

    EXPECT_EQ(outcome.output, "16 “inner” couldn’t be moved because it is in use.\nfaults: 1\n");
    EXPECT_EQ(contentOf(folder / "top/file"), "whole");
    EXPECT_EQ(strangers(folder.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, LeavesWholeWhatCouldNotBeTakenAwayAfterwards) {
    const TemporaryFolder folder;
    folder.write("top/closed/file", "whole");
    folder.makeFolder("destination");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((folder / "top").c_str(), 0777), 0);
    ASSERT_EQ(::chmod((folder / "destination").c_str(), 0777), 0);
    ASSERT_EQ(::chmod((folder / "top/closed").c_str(), 0555), 0);

    EXPECT_EQ(runChild({"move", folder / "top", folder / "destination/new"},
                       withFaults(otherVolume), asOrdinaryUser())
                  .output,
              "13 “closed” couldn’t be moved because you don’t have permission.\nfaults: 1\n");

    EXPECT_EQ(contentOf(folder / "top/closed/file"), "whole");
    EXPECT_TRUE(fs::is_empty(folder / "destination"));
    ASSERT_EQ(::chmod((folder / "top/closed").c_str(), 0755), 0);
}

TEST(MoveItem, LeavesOthersFilesInASharedFolderAlone) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make another user's files";
    }
    const TemporaryFolder folder;
    folder.write("shared/file", "whole");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((folder / "shared").c_str(), 01777), 0);

    for (const auto& faults : {std::string(), otherVolume}) {
        const auto outcome = runChild({"move", folder / "shared/file", folder / "new"},
                                      withFaults(faults), asOrdinaryUser());
        EXPECT_TRUE(outcome.output.starts_with(
            "1 “file” couldn’t be moved because you don’t have permission.\n"))
            << outcome.output;
    }
    EXPECT_EQ(contentOf(folder / "shared/file"), "whole");
    EXPECT_FALSE(stands(folder / "new"));
}

TEST(MoveItem, LeavesWholeWhatAFullVolumeCannotTake) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryFolder folder;
    folder.write("top/small", "small");
    folder.write("top/large", std::string(300000, 'x'));
    const auto before = description(folder / "top");
    const auto volume = folder.makeFolder("volume");
    auto command = withMountOn(volume, "size=128k");
    const std::vector<std::string> listing{"sh", "-c", R"("$@"; ls -A "$0")", volume};
    command.insert(command.end(), listing.begin(), listing.end());

    EXPECT_EQ(runChild({"move", folder / "top", volume + "/new"}, {}, command).output,
              "28 “large” couldn’t be moved because the volume is full.\n");

    EXPECT_EQ(description(folder / "top"), before);
}

TEST(MoveItem, MovesNoFolderIntoItself) {
    const TemporaryFolder folder;
    folder.makeFolder("top/inner");

    const auto moved = fileSystem.moveItem(folder / "top", folder / "top/inner/new");

    ASSERT_FALSE(moved);
    EXPECT_EQ(moved.error().localizedDescription,
              "“top” couldn’t be moved because it can’t be put inside itself.");
    EXPECT_TRUE(fs::is_empty(folder / "top/inner"));
}

TEST(MoveItem, TellsOfANameThatTheVolumeDoesNotAllow) {
    const TemporaryFolder folder;
    folder.write("top/inner/file", "whole");
    folder.write("top/plain", "whole");
    folder.write("plain", "whole");
    ASSERT_EQ(::symlink("missing", (folder / "link").c_str()), 0);
    const auto refusal = [](const std::string& call) {
        return ',' + call + std::to_string(EINVAL);
    };
    struct Case {
        std::string item;
        std::string faults;
        std::string failedEntry;
    };
    const auto noRename = refusal("linkat:1:"); // that other way is tried, too
    const std::vector<Case> cases{
        {"plain", withoutRefusal + noRename, "plain"},
        {"plain", otherVolume + refusal("renameat2:1:") + noRename, "plain"},
        {"link", otherVolume + refusal("symlinkat:1:"), "link"},
        {"top", otherVolume + refusal("mkdirat:2:"), "inner"},
    };
    for (const auto& [item, faults, failedEntry] : cases) {
        const auto outcome = runChild({"move", folder / item, folder / "new"}, withFaults(faults));
        EXPECT_TRUE(outcome.output.starts_with(
            "84 “" + failedEntry +
            "” couldn’t be moved because the volume doesn’t allow its name.\n"))
            << outcome.output;
        EXPECT_TRUE(stands(folder / item));
    }
    EXPECT_EQ(strangers(folder.path(), {"link", "plain", "top"}), std::vector<std::string>{});
}

TEST(MoveItem, TellsOfNamesThatTheVolumeTakesForOne) {
    const TemporaryFolder folder;
    folder.write("top/inner/file", "whole");
    const auto before = description(folder / "top");
    const auto nameIsTaken = ",mkdirat:2:" + std::to_string(EEXIST);

    const auto outcome =
        runChild({"move", folder / "top", folder / "new"}, withFaults(otherVolume + nameIsTaken));

    EXPECT_TRUE(outcome.output.starts_with("76 “inner” couldn’t be moved because the volume "
                                           "doesn’t tell its name from another one.\n"))
        << outcome.output;
    EXPECT_EQ(description(folder / "top"), before);
    EXPECT_EQ(strangers(folder.path(), {"top"}), std::vector<std::string>{});
}

TEST(MoveItem, TellsWhatIsWrongWithAPath) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    ASSERT_EQ(::symlink("loop", (folder / "loop").c_str()), 0);
    const std::string longName(256, 'n');
    const auto longPath = folder / std::string(5000, '/') + std::string(5000, 'x');
    struct Case {
        std::string path;
        std::string newPath;
        std::string why;
    };
    const std::vector<Case> cases{
        {folder / "missing", folder / "new", "it doesn’t exist"},
        {"", folder / "new", "the system doesn’t allow it"},
        {"file", folder / "new", "the system doesn’t allow it"},
        {file, "", "the system doesn’t allow it"},
        {file, "new", "the system doesn’t allow it"},
        {file, folder / "..", "the system doesn’t allow it"},
        {file, folder / "missing/new", "it doesn’t exist"},
        {file, file + "/new", "a part of its path isn’t a folder"},
        {longPath, folder / "new", "its name is too long"},
        {file, longPath, "its name is too long"},
        {folder / longName, folder / "new", "its name is too long"},
        {file, folder / longName, "its name is too long"},
        {folder / "loop/inner", folder / "new", "its path leads through too many links"},
    };
    for (const auto& [path, newPath, why] : cases) {
        EXPECT_TRUE(sentence(fileSystem.moveItem(path, newPath))
                        .ends_with("couldn’t be moved because " + why + "."))
            << path << " to " << newPath << ": " << sentence(fileSystem.moveItem(path, newPath));
    }
    EXPECT_EQ(strangers(folder.path(), {"file", "loop"}), std::vector<std::string>{});
}

TEST(MoveItem, LetsOneOfTwoCallersMoveAnItem) {
    const TemporaryFolder folder;
    for (int round = 0; round < 200; ++round) {
        const auto item = folder.write("item", "content");
        std::atomic<int> successes = 0;
        const auto work = [&](const std::string& place) {
            successes += fileSystem.moveItem(item, place) ? 1 : 0;
        };
        std::thread other(work, folder / "left");
        work(folder / "right");
        other.join();
        EXPECT_EQ(successes, 1);
        EXPECT_EQ(stands(folder / "left") ? 1 : 0, stands(folder / "right") ? 0 : 1);
        fs::remove(folder / "left");
        fs::remove(folder / "right");
    }
}

TEST(MoveItem, DeletesNothingThatItHasNotCopied) {
    const MemoryFolder volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryFolder folder;
    constexpr int rounds = 40;
    for (int round = 0; round < rounds; ++round) {
        const auto top = folder / ("top" + std::to_string(round));
        const auto moved = volume / ("top" + std::to_string(round));
        for (int i = 0; i < 200; ++i) {
            folder.write("top" + std::to_string(round) + '/' + std::to_string(i), "old");
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
            EXPECT_TRUE(stands(top + name) || stands(moved + name)) << name;
        }
        static_cast<void>(fileSystem.removeItem(top));
        static_cast<void>(fileSystem.removeItem(moved));
    }
}
