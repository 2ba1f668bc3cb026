#include "app/records/Emptying.h"

#include "tests/app/records/RecordedMachine.h"

#include <sys/stat.h>

namespace fs = std::filesystem;
using records::Emptied;
using records::Emptying;
using records::ItemEmptied;

namespace {

/// A Trash from which the user may not delete some items.
class ClosedFileSystem : public platform::native::FileSystem {
public:
    std::set<std::string> closed;

    platform::Result<void> removeItem(const std::string& path) override {
        if (closed.contains(path)) {
            return platform::Unexpected(
                platform::native::posixError(platform::native::Errno(EACCES), path, "removed"));
        }
        return FileSystem::removeItem(path);
    }
};

class EmptyingTest : public RecordedMachine {
protected:
    std::vector<ItemEmptied> empty() {
        auto last = runs.lastUninstall();
        records::UndoObserver observer;
        return Emptying(runs, observer).perform(last);
    }

    std::string trashed(const std::string& name) const { return home / ("user/.Trash/" + name); }

    ClosedFileSystem closing;
    platform::ScopedService<platform::FileSystem> closingScope{closing};
};

TEST_F(EmptyingTest, DeletesWhatTheRunTrashedAndNothingElse) {
    write(cache("Ospenth") + "/inside");
    write(trashed("letter.txt"));
    uninstall();

    const auto items = empty();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().path, cache("Ospenth"));
    EXPECT_EQ(items.front().outcome, Emptied::deleted);
    EXPECT_FALSE(exists(trashed("com.quillfen.Ospenth")));
    EXPECT_TRUE(exists(trashed("letter.txt")));
    EXPECT_TRUE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, LeavesAnotherItemThatHasTheName) {
    write(cache("Ospenth"));
    uninstall();
    fs::remove(trashed("com.quillfen.Ospenth"));
    write(trashed("com.quillfen.Ospenth"), "another item");

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_TRUE(exists(trashed("com.quillfen.Ospenth")));
}

TEST_F(EmptyingTest, DeletesNothingThatWasPutBack) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::rename(trashed("com.quillfen.Ospenth"), item);

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_TRUE(exists(item));
}

TEST_F(EmptyingTest, DeletesWithTheRightWhatTheUserMayNot) {
    write(preferences("Ospenth"));
    uninstall();
    closing.closed = {trashed("com.quillfen.Ospenth.plist")};

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);

    EXPECT_EQ(administrator.tools().back(),
              "/bin/rm -Rdf " + trashed("com.quillfen.Ospenth.plist"));
    EXPECT_FALSE(exists(trashed("com.quillfen.Ospenth.plist")));
}

TEST_F(EmptyingTest, AsksForTheRightOnlyOnce) {
    write(cache("Dunmarl"));
    write(cache("Ospenth"));
    uninstall();
    closing.closed = {trashed("com.quillfen.Dunmarl"), trashed("com.quillfen.Ospenth")};
    administrator.rightsStatus = platform::errAuthorizationCanceled;

    const auto items = empty();

    for (const auto& item : items) {
        EXPECT_EQ(item.outcome, Emptied::failed);
        EXPECT_TRUE(item.reason.ends_with(" It takes an administrator's password to move it."));
    }
    EXPECT_EQ(std::ranges::count(administrator.calls, "copyRights", &AuthorizationCall::operation),
              1);
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, PreviewChangesNothing) {
    write(cache("Ospenth"));
    uninstall();

    const auto items = Emptying::preview(runs.lastUninstall());

    EXPECT_EQ(items.front().outcome, Emptied::waiting);
    EXPECT_EQ(items.front().place, trashed("com.quillfen.Ospenth"));
    EXPECT_TRUE(exists(trashed("com.quillfen.Ospenth")));
}

} // namespace
