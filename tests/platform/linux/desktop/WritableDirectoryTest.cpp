#include "platform/linux/desktop/WritableDirectory.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/desktop/TrashPairs.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// An ordinary user's home with a directory that has no write permission.
class WritableDirectoryTest : public testing::Test {
protected:
    WritableDirectoryTest() { makeItem(); }
    ~WritableDirectoryTest() override {
        ::chmod(item_.c_str(), 0755);
        ::chmod(trashed_.c_str(), 0755);
    }
    WritableDirectoryTest(const WritableDirectoryTest&) = delete;
    WritableDirectoryTest& operator=(const WritableDirectoryTest&) = delete;
    WritableDirectoryTest(WritableDirectoryTest&&) = delete;
    WritableDirectoryTest& operator=(WritableDirectoryTest&&) = delete;

    void makeItem() {
        for (const auto& path : {item_, trashed_}) {
            ::chmod(path.c_str(), 0755);
        }
        fs::remove_all(home_ / "items");
        fs::remove_all(home_ / ".local");
        home_.write("items/folder/file", "content");
        ::chmod(item_.c_str(), 0555);
        const auto user = ::geteuid() == 0 ? 65534 : ::geteuid();
        for (const auto& path : {home_.path(), home_ / "items", item_, item_ + "/file"}) {
            static_cast<void>(::chown(path.c_str(), user, user));
        }
    }

    Outcome recycle(const std::string& faults) const {
        auto environment = withFaults(faults);
        environment.push_back("HOME=" + home_.path());
        return runChild({"recycle", home_ / "items", home_ / ".Trash", "folder"}, environment,
                        asOrdinaryUser());
    }

    TemporaryDirectory home_;
    std::string item_ = home_ / "items/folder";
    std::string trash_ = home_ / ".local/share/Trash";
    std::string trashed_ = trash_ + "/files/folder";
};

TEST_F(WritableDirectoryTest, LetsTheUserTrashIt) {
    EXPECT_EQ(recycle("").output, "ok\n");

    EXPECT_EQ(contentOf(trashed_ + "/file"), "content");
    EXPECT_EQ(fs::status(trashed_).permissions(), fs::perms(0555));
    EXPECT_EQ(strayIn(trash_), std::vector<std::string>());
}

TEST_F(WritableDirectoryTest, HasItsModeBackIfItCannotBeMoved) {
    const auto outcome = recycle("renameat2:3:" + std::to_string(EIO));

    EXPECT_TRUE(outcome.output.starts_with("5 “folder” couldn’t be moved")) << outcome.output;
    EXPECT_EQ(fs::status(item_).permissions(), fs::perms(0555));
    EXPECT_EQ(strayIn(trash_), std::vector<std::string>());
}

TEST_F(WritableDirectoryTest, HasItsModeBackThoughThatFailsOnce) {
    EXPECT_EQ(recycle("fchmodat:2:" + std::to_string(EIO)).output, "ok\nfaults: 1\n");

    EXPECT_EQ(fs::status(trashed_).permissions(), fs::perms(0555));
}

TEST_F(WritableDirectoryTest, IsLeftAloneWhereTheUserMayMoveNothing) {
    ASSERT_EQ(::chmod((home_ / "items").c_str(), 0555), 0);

    EXPECT_TRUE(recycle("").output.starts_with("13 "));

    EXPECT_EQ(fs::status(item_).permissions(), fs::perms(0555));
    ASSERT_EQ(::chmod((home_ / "items").c_str(), 0755), 0);
}

TEST_F(WritableDirectoryTest, IsNotMadeOfOneThatIsWritableAlready) {
    const auto place = qf::native::findPlace(home_.makeDirectory("writable"));
    const auto records = qf::native::findPlace(home_ / "items/record");
    ASSERT_TRUE(place && records);

    const auto made = qf::native::WritableDirectory::make(*place, home_ / "writable",
                                                          records->directory.get(), "writable");

    EXPECT_TRUE(failedWith(made, EACCES));
    EXPECT_EQ(strangers(home_ / "items", {"folder"}), std::vector<std::string>());
}

TEST_F(WritableDirectoryTest, HasItsModeBackAfterAKillOnceSomethingIsTrashed) {
    int count = 1;
    for (; recycle("any:" + std::to_string(count) + ":kill").status == -1; ++count) {
        home_.write("items/other");
        static_cast<void>(::chown((home_ / "items/other").c_str(), 65534, 65534));
        EXPECT_EQ(runChild({"recycle", home_ / "items", home_ / ".Trash", "other"},
                           {"HOME=" + home_.path()}, asOrdinaryUser())
                      .output,
                  "ok\n");

        const auto place = exists(item_) ? item_ : trashed_;
        EXPECT_EQ(fs::status(place).permissions(), fs::perms(0555)) << "call " << count;
        EXPECT_EQ(strayIn(trash_), std::vector<std::string>()) << "call " << count;
        makeItem();
    }
    EXPECT_GT(count, 10) << "there is hardly any call that could be the last";
}

} // namespace
