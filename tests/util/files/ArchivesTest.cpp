#include "tests/util/files/FileManagerTest.h"

namespace {

class Archives : public FileManagerTest {
protected:
    Archives() {
        fileSystem.directories = {{"/source", Lines{}}};
        fileSystem.files = {"/a.zip"};
    }

    /// Has the archiving tool make an item.
    void makeWhenRun(const std::string& path) {
        launcher.effect = [this, path] { fileSystem.files.insert(path); };
    }

    static std::vector<Lines> trashed(const std::string& name) {
        return {{"/", "/home/someone/.Trash", name}};
    }
};

} // namespace

TEST_F(Archives, PackingKeepsTheParentUnlessToldOtherwise) {
    makeWhenRun("/new.zip");
    EXPECT_TRUE(QFFileManager::compressFile("/source", "/new.zip"));
    EXPECT_FALSE(QFFileManager::compressFile("/source", "/other.zip", qf::IncludeParent::yes));
    EXPECT_EQ(launcher.runs,
              (Lines{"/usr/bin/ditto -ck --keepParent /source /new.zip", "waited",
                     "/usr/bin/ditto -ck --keepParent /source /other.zip", "waited"}));
}

TEST_F(Archives, PackingLeavesTheParentOutWhenTold) {
    makeWhenRun("/new.zip");
    EXPECT_TRUE(QFFileManager::compressFile("/source", "/new.zip", qf::IncludeParent::no));
    EXPECT_EQ(launcher.runs, (Lines{"/usr/bin/ditto -ck /source /new.zip", "waited"}));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Archives, PackingTrashesAFormerArchiveFirst) {
    launcher.effect = [this] { EXPECT_EQ(workspace.recycled, trashed("a.zip")); };
    EXPECT_TRUE(QFFileManager::compressFile("/source", "/a.zip"));
    EXPECT_EQ(launcher.runs.size(), 2U);
}

TEST_F(Archives, PackingMayAskForTheRightToTrashAFormerArchive) {
    workspace.errors["//a.zip"] = {.localizedDescription = "It is not yours."};
    QFFileManager::compressFile("/source", "/a.zip");
    EXPECT_EQ(services.tools(), Lines{"/bin/mv -f /a.zip /home/someone/.Trash/a.zip"});
}

TEST_F(Archives, PackingFailsWithoutAnArchiveAfterwards) {
    EXPECT_FALSE(QFFileManager::compressFile("/missing", "/new.zip"));
    launcher.failure = qf::Exception("NSInvalidArgumentException", "no tool");
    EXPECT_FALSE(QFFileManager::compressFile("/source", "/new.zip"));
}

TEST_F(Archives, PackingSaysWhyThereIsNoArchive) {
    const auto failure = [] {
        return QFFileManager::compressFileWithResult("/source", "/new.zip", qf::IncludeParent::no)
            .error();
    };
    launcher.terminationStatus = 2;
    EXPECT_EQ(failure().localizedDescription, "/usr/bin/ditto ended with status 2.");
    EXPECT_EQ(failure().code, 2);
    launcher.failure = qf::Exception("NSInvalidArgumentException", "no tool");
    EXPECT_EQ(failure().localizedDescription, "no tool");
    makeWhenRun("/new.zip");
    launcher.failure.reset();
    EXPECT_TRUE(
        QFFileManager::compressFileWithResult("/source", "/new.zip", qf::IncludeParent::no));
}

TEST_F(Archives, UnpackingSaysWhyThereIsNoDirectory) {
    launcher.terminationStatus = 1;
    EXPECT_EQ(
        QFFileManager::decompressFileWithResult("/a.zip", "/new").error().localizedDescription,
        "/usr/bin/ditto ended with status 1.");
}

TEST_F(Archives, UnpackingRunsTheTool) {
    makeWhenRun("/folder");
    EXPECT_TRUE(QFFileManager::decompressFile("/a.zip", "/folder"));
    EXPECT_EQ(launcher.runs, (Lines{"/usr/bin/ditto -xk /a.zip /folder", "waited"}));
    EXPECT_EQ(workspace.recycled.size(), 0U);
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(Archives, UnpackingRecyclesAFormerDirectoryFirst) {
    fileSystem.directories["/folder"] = Lines{"file"};
    launcher.effect = [this] { EXPECT_EQ(workspace.recycled, trashed("folder")); };
    EXPECT_TRUE(QFFileManager::decompressFile("/a.zip", "/folder"));
    EXPECT_EQ(launcher.runs.size(), 2U);
    EXPECT_EQ(fileSystem.changes, Lines{}); // nothing is unlocked
}

TEST_F(Archives, UnpackingAsksForNoRightWhenTheDirectoryCannotBeRecycled) {
    fileSystem.directories["/folder"] = Lines{"file"};
    workspace.errors["//folder"] = {.localizedDescription = "It is not yours."};
    EXPECT_TRUE(QFFileManager::decompressFile("/a.zip", "/folder"));
    EXPECT_EQ(services.calls.size(), 0U);
    EXPECT_EQ(launcher.runs.size(), 2U);
}

TEST_F(Archives, UnpackingFailsWithoutADirectoryAfterwards) {
    EXPECT_FALSE(QFFileManager::decompressFile("/missing.zip", "/folder"));
}
