#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/platform/linux/files/FileSystemOnDisk.h"
#include "tests/support/CasePath.h"
#include "tests/support/NamedCase.h"
#include "tests/support/Sentence.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <latch>
#include <thread>
#include <tuple>

namespace fs = std::filesystem;

namespace {

/// Simulates a file system that cannot refuse to replace an existing item.
const std::string withoutRefusal = "renameat2:1:" + std::to_string(EINVAL);

struct ItemToMove : NamedCase {
    const char* item;
};

struct MoveFaults : NamedCase {
    std::string faults;
};

constexpr std::array kindsOfItems{
    ItemToMove{{"File"}, "plain"},
    ItemToMove{{"Directory"}, "deep"},
    ItemToMove{{"BrokenLink"}, "broken link"},
    ItemToMove{{"Fifo"}, "fifo"},
};

class MoveItemKind : public testing::TestWithParam<ItemToMove> {};

TEST_P(MoveItemKind, GetsAnotherName) {
    const std::string item = GetParam().item;
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    directory.makeDirectory("elsewhere");
    const auto before = description(directory / ("top/" + item));

    EXPECT_TRUE(
        fileSystem.moveItem(directory / ("top/" + item), directory / ("elsewhere/new " + item)));

    EXPECT_EQ(description(directory / ("elsewhere/new " + item)), before);
    EXPECT_FALSE(exists(directory / ("top/" + item)));
}

INSTANTIATE_TEST_SUITE_P(, MoveItemKind, testing::ValuesIn(kindsOfItems), nameOfCase);

class MoveItemOntoAnother
    : public testing::TestWithParam<std::tuple<ItemToMove, ItemToMove, MoveFaults>> {};

TEST_P(MoveItemOntoAnother, ReplacesNothing) {
    const auto& [source, other, volume] = GetParam();
    const TemporaryDirectory directory;
    directory.write("source", "new");
    directory.makeDirectory("source folder");
    directory.write("file", "old");
    directory.makeDirectory("empty");
    ASSERT_EQ(::symlink("missing", (directory / "broken").c_str()), 0);

    const auto outcome = runChild({"move", directory / source.item, directory / other.item},
                                  withFaults(volume.faults));

    EXPECT_TRUE(outcome.output.starts_with(
        "17 “" + std::string(source.item) +
        "” couldn’t be moved because an item with the same name already exists.\n"))
        << outcome.output;
    EXPECT_EQ(contentOf(directory / "source"), "new");
    EXPECT_TRUE(fs::is_empty(directory / "source folder"));
    EXPECT_EQ(contentOf(directory / "file"), "old");
    EXPECT_TRUE(fs::is_empty(directory / "empty"));
    EXPECT_EQ(fs::read_symlink(directory / "broken"), "missing");
}

INSTANTIATE_TEST_SUITE_P(
    , MoveItemOntoAnother,
    testing::Combine(
        testing::Values(ItemToMove{{"File"}, "source"}, ItemToMove{{"Directory"}, "source folder"}),
        testing::Values(ItemToMove{{"OntoAFile"}, "file"},
                        ItemToMove{{"OntoAnEmptyDirectory"}, "empty"},
                        ItemToMove{{"OntoABrokenLink"}, "broken"}),
        testing::Values(MoveFaults{{"Here"}, ""}, MoveFaults{{"OnAnotherVolume"}, otherVolume},
                        MoveFaults{{"WithoutRefusal"}, withoutRefusal},
                        MoveFaults{{"WithoutLinks"},
                                   withoutRefusal + ',' + failing("linkat:1", EPERM)})),
    nameOfCases);

class MoveItemWithoutRefusal : public testing::TestWithParam<std::tuple<ItemToMove, MoveFaults>> {};

TEST_P(MoveItemWithoutRefusal, WorksAllTheSame) {
    const auto& [moved, volume] = GetParam();
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto item = directory / ("top/" + std::string(moved.item));
    const auto before = description(item);

    const auto there = runChild({"move", item, directory / "new"}, withFaults(volume.faults));
    EXPECT_TRUE(there.output.starts_with("ok\n")) << there.output;

    EXPECT_EQ(description(directory / "new"), before);
    EXPECT_FALSE(exists(item));
    ASSERT_TRUE(fileSystem.moveItem(directory / "new", item));
    EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(, MoveItemWithoutRefusal,
                         testing::Combine(testing::ValuesIn(kindsOfItems),
                                          testing::Values(MoveFaults{{"WithLinks"}, withoutRefusal},
                                                          MoveFaults{
                                                              {"WithoutLinks"},
                                                              withoutRefusal + ',' +
                                                                  failing("linkat:1", EPERM)})),
                         nameOfCases);

class MoveItemBetweenVolumes : public testing::TestWithParam<ItemToMove> {};

TEST_P(MoveItemBetweenVolumes, MovesItThereAndBack) {
    const MemoryDirectory volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto item = directory / GetParam().item;
    const auto before = description(directory / "top").size();

    ASSERT_EQ(sentence(fileSystem.moveItem(item, volume / "item")), "no error");
    EXPECT_FALSE(exists(item));
    ASSERT_EQ(sentence(fileSystem.moveItem(volume / "item", item)), "no error");
    EXPECT_FALSE(exists(volume / "item"));

    EXPECT_EQ(description(directory / "top").size(), before);
    EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
    EXPECT_EQ(strangers(volume.path(), {}), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(, MoveItemBetweenVolumes,
                         testing::Values(ItemToMove{{"File"}, "top/plain"},
                                         ItemToMove{{"BrokenLink"}, "top/broken link"},
                                         ItemToMove{{"Fifo"}, "top/fifo"},
                                         ItemToMove{{"EmptyDirectory"}, "top/empty"}),
                         nameOfCase);

TEST(MoveItem, MovesATreeOntoAnotherVolume) {
    const MemoryDirectory volume;
    if (!volume.whyNoOtherVolume().empty()) {
        GTEST_SKIP() << volume.whyNoOtherVolume();
    }
    const TemporaryDirectory directory;
    makeSampleTree(directory.makeDirectory("top"));
    const auto before = description(directory / "top").size();

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

/// A change that another program makes to the source: an event of the faults.
struct ChangeOfSource : NamedCase {
    const char* event;
};

class MoveItemOfAChangingSource : public testing::TestWithParam<ChangeOfSource> {};

TEST_P(MoveItemOfAChangingSource, KeepsWhatChangesWhileItIsCopied) {
    const TemporaryDirectory directory;
    const auto file = directory.write("top/file", "content");

    // Its content is copied by then, and not yet compared.
    EXPECT_EQ(runChild({"move", directory / "top", directory / "new"},
                       withFaults(otherVolume + ",futimens:1:" + GetParam().event, file))
                  .output,
              "11 “file” couldn’t be moved because another program is changing it.\n"
              "faults: 2\n");

    EXPECT_TRUE(contentOf(file).starts_with("content"));
    EXPECT_EQ(strangers(directory.path(), {"top"}), std::vector<std::string>{});
}

TEST_P(MoveItemOfAChangingSource, KeepsWhatHasChangedOnceItIsCopied) {
    const TemporaryDirectory directory;
    const auto file = directory.write("top/file", "content");

    EXPECT_EQ(runChild({"move", directory / "top", directory / "new"},
                       withFaults(otherVolume + ",syncfs:1:" + GetParam().event, file))
                  .output,
              "11 “file” couldn’t be moved because another program is changing it.\n"
              "faults: 2\n");

    EXPECT_TRUE(contentOf(file).starts_with("content"));
    EXPECT_EQ(contentOf(directory / "new/file"), "content");
}

INSTANTIATE_TEST_SUITE_P(, MoveItemOfAChangingSource,
                         testing::Values(ChangeOfSource{{"Append"}, "append"},
                                         ChangeOfSource{{"Touch"}, "touch"}),
                         nameOfCase);

struct UndurableCopy : NamedCase {
    const char* item;
    const char* failingCall;
};

class MoveItemWhoseCopyIsNotDurable : public testing::TestWithParam<UndurableCopy> {};

TEST_P(MoveItemWhoseCopyIsNotDurable, RemovesNoSource) {
    const std::string item = GetParam().item;
    const TemporaryDirectory directory;
    directory.write("file", "content");
    directory.write("top/file", "content");
    ASSERT_EQ(::symlink("target", (directory / "link").c_str()), 0);

    EXPECT_EQ(runChild({"move", directory / item, directory / "new"},
                       withFaults(otherVolume + ',' + failing(GetParam().failingCall, EIO)))
                  .output,
              "5 “" + item +
                  "” couldn’t be moved because the volume reports a fault.\nfaults: 2\n");

    EXPECT_EQ(strangers(directory.path(), {"file", "top", "link"}), std::vector<std::string>{});
    EXPECT_EQ(contentOf(directory / "file") + contentOf(directory / "top/file"), "contentcontent");
    EXPECT_TRUE(exists(directory / "link"));
}

INSTANTIATE_TEST_SUITE_P(, MoveItemWhoseCopyIsNotDurable,
                         testing::Values(UndurableCopy{{"ContentOfAFile"}, "file", "fsync:1"},
                                         UndurableCopy{{"DirectoryOfAFile"}, "file", "fsync:2"},
                                         UndurableCopy{{"Tree"}, "top", "syncfs:1"},
                                         UndurableCopy{{"DirectoryOfATree"}, "top", "fsync:1"},
                                         UndurableCopy{{"DirectoryOfALink"}, "link", "fsync:1"}),
                         nameOfCase);

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

TEST(MoveItem, TriesOnceMoreToRemoveWhatItHasCopied) {
    const TemporaryDirectory directory;
    directory.write("top/a", "a");
    directory.write("top/b", "b");

    EXPECT_EQ(runChild({"move", directory / "top", directory / "new"},
                       withFaults(otherVolume + ",unlinkat:2:" + std::to_string(EIO)))
                  .output,
              "ok\nfaults: 2\n");

    EXPECT_EQ(strangers(directory.path(), {"new"}), std::vector<std::string>{});
    EXPECT_EQ(contentOf(directory / "new/a"), "a");
    EXPECT_EQ(contentOf(directory / "new/b"), "b");
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

TEST(MoveItem, LosesNoAttributeOfAUsersThatMayNotBeSet) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");
    if (::setxattr(file.c_str(), "user.qf.test", "value", 5, 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without extended attributes";
    }

    const auto outcome =
        runChild({"move", file, directory / "new"},
                 withFaults(otherVolume + ",fsetxattr:1:" + std::to_string(EPERM)));

    EXPECT_TRUE(outcome.output.starts_with("1 “file” couldn’t be moved")) << outcome.output;
    EXPECT_EQ(strangers(directory.path(), {"file"}), std::vector<std::string>{});
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

TEST(MoveItem, DoesWithoutAttributesThatTheVolumeDoesNotKnow) {
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "content");
    if (::setxattr(file.c_str(), "user.name", "value", 5, 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without extended attributes";
    }

    EXPECT_EQ(runChild({"move", file, directory / "new"},
                       withFaults(otherVolume + ",fsetxattr:1:" + std::to_string(EOPNOTSUPP)))
                  .output,
              "ok\nfaults: 2\n");

    EXPECT_EQ(contentOf(directory / "new"), "content");
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

TEST(MoveItem, TellsThatTheDestinationMayNotBeEntered) {
    const TemporaryDirectory directory;
    directory.write("top/file", "whole");
    const auto closed = directory.makeDirectory("closed");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "top").c_str(), 0777), 0);
    ASSERT_EQ(::chmod(closed.c_str(), 0600), 0);

    const auto outcome = runChild({"move", directory / "top", closed + "/new"},
                                  withFaults(otherVolume), asOrdinaryUser());

    EXPECT_TRUE(outcome.output.starts_with("13 ")) << outcome.output;
    EXPECT_EQ(contentOf(directory / "top/file"), "whole");
}

class MoveItemOutOfASharedDirectory : public testing::TestWithParam<MoveFaults> {};

TEST_P(MoveItemOutOfASharedDirectory, LeavesOthersFilesAlone) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make another user's files";
    }
    const TemporaryDirectory directory;
    directory.write("shared/file", "whole");
    ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((directory / "shared").c_str(), 01777), 0);

    const auto outcome = runChild({"move", directory / "shared/file", directory / "new"},
                                  withFaults(GetParam().faults), asOrdinaryUser());

    EXPECT_TRUE(outcome.output.starts_with(
        "1 “file” couldn’t be moved because you don’t have permission.\n"))
        << outcome.output;
    EXPECT_EQ(contentOf(directory / "shared/file"), "whole");
    EXPECT_FALSE(exists(directory / "new"));
}

INSTANTIATE_TEST_SUITE_P(, MoveItemOutOfASharedDirectory,
                         testing::Values(MoveFaults{{"Here"}, ""},
                                         MoveFaults{{"OntoAnotherVolume"}, otherVolume}),
                         nameOfCase);

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

struct ForbiddenName : NamedCase {
    const char* item;
    std::string faults;
    const char* failedEntry;
};

class MoveItemToAForbiddenName : public testing::TestWithParam<ForbiddenName> {};

TEST_P(MoveItemToAForbiddenName, NamesTheEntry) {
    const std::string item = GetParam().item;
    const TemporaryDirectory directory;
    directory.write("top/inner/file", "whole");
    directory.write("top/plain", "whole");
    directory.write("plain", "whole");
    ASSERT_EQ(::symlink("missing", (directory / "link").c_str()), 0);

    const auto outcome =
        runChild({"move", directory / item, directory / "new"}, withFaults(GetParam().faults));

    EXPECT_TRUE(outcome.output.starts_with(
        "84 “" + std::string(GetParam().failedEntry) +
        "” couldn’t be moved because the volume doesn’t allow its name.\n"))
        << outcome.output;
    EXPECT_TRUE(exists(directory / item));
    EXPECT_EQ(strangers(directory.path(), {"link", "plain", "top"}), std::vector<std::string>{});
}

// Where a rename fails, linking is tried too.
INSTANTIATE_TEST_SUITE_P(
    , MoveItemToAForbiddenName,
    testing::Values(
        ForbiddenName{
            {"RenamedFile"}, "plain", withoutRefusal + ',' + failing("linkat:1", EINVAL), "plain"},
        ForbiddenName{{"CopiedFile"},
                      "plain",
                      otherVolume + ',' + failing("renameat2:1", EINVAL) + ',' +
                          failing("linkat:1", EINVAL),
                      "plain"},
        ForbiddenName{
            {"CopiedLink"}, "link", otherVolume + ',' + failing("symlinkat:1", EINVAL), "link"},
        ForbiddenName{
            {"EntryOfATree"}, "top", otherVolume + ',' + failing("mkdirat:2", EINVAL), "inner"}),
    nameOfCase);

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

/// A path that cannot be moved or moved to; "DIR" is the directory of the test.
struct UnmovablePath : NamedCase {
    std::string path;
    std::string newPath;
    const char* why;
};

class MoveItemWithABadPath : public testing::TestWithParam<UnmovablePath> {};

TEST_P(MoveItemWithABadPath, TellsWhatIsWrong) {
    const TemporaryDirectory directory;
    directory.write("file");
    ASSERT_EQ(::symlink("loop", (directory / "loop").c_str()), 0);

    const auto told = sentence(fileSystem.moveItem(casePath(directory, GetParam().path),
                                                   casePath(directory, GetParam().newPath)));

    EXPECT_TRUE(told.ends_with("couldn’t be moved because " + std::string(GetParam().why) + "."))
        << told;
    EXPECT_EQ(strangers(directory.path(), {"file", "loop"}), std::vector<std::string>{});
}

const std::string unmovableName = "DIR/" + std::string(256, 'n');
const std::string unmovableLongPath = "DIR/" + std::string(5000, '/') + std::string(5000, 'x');
constexpr const char* notAllowed = "the system doesn’t allow it";

INSTANTIATE_TEST_SUITE_P(
    , MoveItemWithABadPath,
    testing::Values(
        UnmovablePath{{"Missing"}, "DIR/missing", "DIR/new", "it doesn’t exist"},
        UnmovablePath{{"Zero"}, std::string("DIR/file\0.tmp", 13), "DIR/new", notAllowed},
        UnmovablePath{{"ToZero"}, "DIR/file", std::string("DIR/new\0.tmp", 12), notAllowed},
        UnmovablePath{{"Empty"}, "", "DIR/new", notAllowed},
        UnmovablePath{{"Relative"}, "file", "DIR/new", notAllowed},
        UnmovablePath{{"ToEmpty"}, "DIR/file", "", notAllowed},
        UnmovablePath{{"ToRelative"}, "DIR/file", "new", notAllowed},
        UnmovablePath{{"ToParent"}, "DIR/file", "DIR/..", notAllowed},
        UnmovablePath{
            {"IntoMissing"}, "DIR/file", "DIR/missing/new", "the folder “missing” doesn’t exist"},
        UnmovablePath{
            {"IntoItself"}, "DIR/file", "DIR/file/new", "a part of its path isn’t a folder"},
        UnmovablePath{{"LongPath"}, unmovableLongPath, "DIR/new", "its name is too long"},
        UnmovablePath{{"ToLongPath"}, "DIR/file", unmovableLongPath, "its name is too long"},
        UnmovablePath{{"LongName"}, unmovableName, "DIR/new", "its name is too long"},
        UnmovablePath{{"ToLongName"}, "DIR/file", unmovableName, "its name is too long"},
        UnmovablePath{
            {"Loop"}, "DIR/loop/inner", "DIR/new", "its path leads through too many links"}),
    nameOfCase);

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

} // namespace
