#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// A data directory of its own, and a child process that trashes into it.
class HomeTrashTest : public testing::Test {
protected:
    int moveToHomeTrash(const std::string& path) const {
        return runChild({"move-to-home-trash", path}, {"XDG_DATA_HOME=" + directory_.path()})
            .status;
    }

    std::string file(const std::string& name) const { return directory_ / ("Trash/files/" + name); }
    std::string info(const std::string& name) const {
        return directory_ / ("Trash/info/" + name + ".trashinfo");
    }
    std::string headOfInfo(const std::string& item) const {
        return "[Trash Info]\nPath=" + (directory_ / item) + "\n";
    }
    static std::string dateLine() { return "DeletionDate=2001-02-03T04:05:06\n"; }

    TemporaryDirectory directory_;
};

TEST_F(HomeTrashTest, TakesAnItemAndNotesWhereItWas) {
    const auto item = directory_.write("a b.txt", "content");

    ASSERT_EQ(moveToHomeTrash(item), 0);

    EXPECT_EQ(contentOf(file("a b.txt")), "content");
    EXPECT_FALSE(exists(item));
    const auto head = headOfInfo("a%20b.txt") + "DeletionDate=";
    EXPECT_EQ(contentOf(info("a b.txt")).substr(0, head.size()), head);
}

TEST_F(HomeTrashTest, IsForItsOwnerAlone) {
    ASSERT_EQ(moveToHomeTrash(directory_.write("a.txt")), 0);

    for (const auto* name : {"Trash", "Trash/files", "Trash/info"}) {
        EXPECT_EQ(fs::status(directory_ / name).permissions(), fs::perms(0700)) << name;
    }
    EXPECT_EQ(fs::status(info("a.txt")).permissions(), fs::perms(0600));
}

TEST_F(HomeTrashTest, NumbersNamesakes) {
    for (const auto* content : {"first", "second", "third"}) {
        ASSERT_EQ(moveToHomeTrash(directory_.write("a.txt", content)), 0);
    }

    EXPECT_EQ(contentOf(file("a.txt")), "first");
    EXPECT_EQ(contentOf(file("a.2.txt")), "second");
    EXPECT_EQ(contentOf(file("a.3.txt")), "third");
}

TEST_F(HomeTrashTest, ReplacesNoItemThatHasNoTrashinfo) {
    directory_.write("Trash/files/a.txt", "without a trashinfo");

    ASSERT_EQ(moveToHomeTrash(directory_.write("a.txt", "mine")), 0);

    EXPECT_EQ(contentOf(file("a.txt")), "without a trashinfo");
    EXPECT_EQ(contentOf(file("a.2.txt")), "mine");
    EXPECT_FALSE(exists(info("a.txt")));
}

TEST_F(HomeTrashTest, CutsANameThatLeavesNoRoomForItsTrashinfo) {
    const auto name = std::string(NAME_MAX - 4, 'x') + ".txt";
    for (const auto* content : {"first", "second"}) {
        ASSERT_EQ(moveToHomeTrash(directory_.write(name, content)), 0);
    }

    const auto cut = std::string(241, 'x') + ".txt";
    EXPECT_EQ(contentOf(file(cut)), "first");
    EXPECT_EQ(contentOf(file(std::string(239, 'x') + ".2.txt")), "second");
    EXPECT_TRUE(contentOf(info(cut)).starts_with(headOfInfo(name)));
}

TEST_F(HomeTrashTest, ReplacesTheTrashinfoThatAKilledProcessLeftForTheItem) {
    directory_.write("Trash/info/a.txt.trashinfo", headOfInfo("a.txt") + dateLine());

    ASSERT_EQ(moveToHomeTrash(directory_.write("a.txt", "mine")), 0);

    EXPECT_EQ(contentOf(file("a.txt")), "mine");
    EXPECT_EQ(contentOf(info("a.txt")).find(dateLine()), std::string::npos);
    EXPECT_FALSE(exists(info("a.2.txt")));
}

TEST_F(HomeTrashTest, KeepsATrashinfoThatSomebodyElseNeeds) {
    directory_.write("Trash/info/trashed.trashinfo", headOfInfo("trashed") + dateLine());
    directory_.write("Trash/files/trashed", "the item of the trashinfo");
    directory_.write("Trash/info/another's.trashinfo",
                     headOfInfo("elsewhere/another's") + dateLine());
    directory_.write("Trash/info/held.trashinfo", headOfInfo("held") + dateLine());
    const int held = ::open(info("held").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);

    for (const std::string name : {"trashed", "another's", "held"}) {
        const auto before = contentOf(info(name));
        EXPECT_EQ(moveToHomeTrash(directory_.write(name, "mine")), 0);
        EXPECT_EQ(contentOf(info(name)), before);
        EXPECT_EQ(contentOf(file(name + ".2")), "mine");
    }
    ::close(held);
}

TEST_F(HomeTrashTest, NotesNothingOfAnItemThatItCannotTake) {
    EXPECT_EQ(moveToHomeTrash(directory_ / "missing"), ENOENT);
    EXPECT_EQ(moveToHomeTrash(directory_.path()), EINVAL);

    EXPECT_TRUE(fs::is_empty(directory_ / "Trash/info"));
}

} // namespace
