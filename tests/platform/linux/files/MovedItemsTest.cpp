#include "platform/linux/files/MovedItems.h"

#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

using qf::native::changedMeanwhile;
using qf::native::CopyFingerprints;
using qf::native::FileDescriptor;
using qf::native::MovedItems;
using qf::native::placeBelow;
using qf::native::statusOfEntry;
using qf::native::SystemResult;
using qf::native::TreePlace;

namespace {

/// A tree "tree" and its copy "copy", each with the items that a test makes.
class MovedItemsTest : public testing::Test {
protected:
    struct statx statusOf(const std::string& name) const {
        return *statusOfEntry(parent(name).get(), lastName(name));
    }

    /// The outcome for an item of the tree: "a/b" is "tree/a/b".
    SystemResult<void> check(const std::string& name, const struct statx& status) {
        return MovedItems(top_.get(), "copy", fingerprints_)
            .check(parent(name).get(), lastName(name), status, [&] {
                MovedItems::Names names;
                for (std::string_view rest = name; !rest.empty();) {
                    names.emplace_back(rest.substr(0, rest.find('/')));
                    rest.remove_prefix(std::min(rest.size(), names.back().size() + 1));
                }
                return names;
            });
    }
    SystemResult<void> check(const std::string& name) { return check(name, statusOf(name)); }

    /// The same after the volume has given the item another number.
    SystemResult<void> checkRenumbered(const std::string& name) {
        auto status = statusOf(name);
        ++status.stx_ino;
        return check(name, status);
    }

    void makeBoth(const std::string& name, const std::string& content) const {
        directory_.write("tree/" + name, content);
        directory_.write("copy/" + name, content);
    }

    /// Takes the fingerprint of "file", as this process does when it copies.
    void takeFingerprint() {
        own_.add(statusOf("file"), placeBelow(TreePlace::top, "file"));
        own_.close();
        fingerprints_ = &own_;
    }

    TemporaryDirectory directory_;
    const CopyFingerprints* fingerprints_ = nullptr;

private:
    FileDescriptor parent(const std::string& name) const {
        const auto path = directory_ / (name.empty() ? "" : "tree/" + name);
        return FileDescriptor(::open(path.substr(0, path.rfind('/')).c_str(), O_PATH | O_CLOEXEC));
    }
    static std::string lastName(const std::string& name) {
        return name.empty() ? "tree" : name.substr(name.rfind('/') + 1);
    }

    FileDescriptor top_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    CopyFingerprints own_;
};

TEST_F(MovedItemsTest, KnowsACopiedItemByItsFingerprintAlone) {
    directory_.write("tree/file", "content");
    takeFingerprint();

    EXPECT_TRUE(check("file"));
}

TEST_F(MovedItemsTest, ComparesAnItemThatHasAnotherNumber) {
    makeBoth("file", "content");
    takeFingerprint();

    EXPECT_TRUE(checkRenumbered("file"));

    directory_.write("copy/file", "CONTENT");
    EXPECT_EQ(checkRenumbered("file").error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, RefusesAnItemThatHasChangedSinceItWasCopied) {
    makeBoth("file", "content");
    takeFingerprint();
    auto status = statusOf("file");
    ++status.stx_mtime.tv_nsec;

    EXPECT_EQ(check("file", status).error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, RefusesAnItemThatWasNotCopied) {
    makeBoth("file", "content");
    takeFingerprint();
    makeBoth("new", "content");

    EXPECT_EQ(check("new").error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, ComparesEverythingOfACopyByAnotherProcess) {
    makeBoth("file", "content");
    makeBoth("a/b/file", "content");
    makeBoth("different", "content");
    directory_.write("copy/different", "CONTENT");
    makeBoth("longer", "content");
    directory_.write("copy/longer", "content and more");
    directory_.write("tree/missing");
    directory_.write("tree/c/missing");

    EXPECT_TRUE(check(""));
    EXPECT_TRUE(check("file"));
    EXPECT_TRUE(check("a"));
    EXPECT_TRUE(check("a/b"));
    EXPECT_TRUE(check("a/b/file"));
    EXPECT_EQ(check("different").error(), changedMeanwhile);
    EXPECT_EQ(check("longer").error(), changedMeanwhile);
    EXPECT_EQ(check("missing").error(), changedMeanwhile);
    EXPECT_EQ(check("c/missing").error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, RefusesAFileThatChangesWhileItIsCompared) {
    makeBoth("file", "content");
    auto status = statusOf("file");
    --status.stx_mtime.tv_sec;

    EXPECT_EQ(check("file", status).error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, ComparesTheTargetsOfLinks) {
    makeBoth("file", "");
    ::symlink("target", (directory_ / "tree/same").c_str());
    ::symlink("target", (directory_ / "copy/same").c_str());
    ::symlink("target", (directory_ / "tree/other").c_str());
    ::symlink("another", (directory_ / "copy/other").c_str());

    EXPECT_TRUE(check("same"));
    EXPECT_EQ(check("other").error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, ComparesTheNumbersOfDevices) {
    const auto makeDevice = [&](const std::string& name, unsigned number) {
        return ::mknod((directory_ / name).c_str(), S_IFCHR | 0600, ::makedev(1, number)) == 0;
    };
    directory_.makeDirectory("tree");
    directory_.makeDirectory("copy");
    if (!makeDevice("tree/same", 3)) {
        GTEST_SKIP() << "only the superuser can make devices";
    }
    makeDevice("copy/same", 3);
    makeDevice("tree/other", 3);
    makeDevice("copy/other", 5);

    EXPECT_TRUE(check("same"));
    EXPECT_EQ(check("other").error(), changedMeanwhile);
}

TEST_F(MovedItemsTest, RefusesAnItemOfAnotherKind) {
    directory_.write("tree/file");
    directory_.makeDirectory("copy/file");
    ::mkfifo((directory_ / "tree/fifo").c_str(), 0600);
    ::mkfifo((directory_ / "copy/fifo").c_str(), 0600);

    EXPECT_EQ(check("file").error(), changedMeanwhile);
    EXPECT_TRUE(check("fifo"));
}

TEST_F(MovedItemsTest, FollowsNoLinkToTheCopy) {
    makeBoth("a/file", "content");
    ASSERT_EQ(::rename((directory_ / "copy/a").c_str(), (directory_ / "copy/b").c_str()), 0);
    ::symlink("b", (directory_ / "copy/a").c_str());

    EXPECT_EQ(check("a/file").error(), changedMeanwhile);
}

} // namespace
