#include "app/records/Emptying.h"

#include "tests/app/records/MachineOnDisk.h"

#include <sys/stat.h>

namespace fs = std::filesystem;
using records::Emptied;
using records::Emptying;
using records::ItemEmptied;

namespace {

/// A Trash from which the user may not delete some items.
class ClosedFileSystem : public qf::native::FileSystem {
public:
    std::set<std::string> closed;
    int failure = EACCES;
    bool goesBlind = false; ///< Once an item could not be deleted, none can be looked at.
    std::string seenLate;   ///< Cannot be looked at the first time.
    std::string goesInTwo;  ///< Of this folder, the first attempt only deletes one file.
    int removals = 0;       ///< How often anything was to be deleted.
    std::function<void()> beforeHolding = [] {};

    qf::Result<std::unique_ptr<qf::HeldDirectory>>
    holdDirectory(const std::string& path, const std::vector<std::string>& links,
                  qf::MissingDirectories missing) override {
        if (path.ends_with("/.Trash")) {
            beforeHolding();
        }
        return FileSystem::holdDirectory(path, links, missing);
    }

    qf::Result<void> removeItem(const std::string& path) override {
        ++removals;
        const fs::path item(path);
        if (closed.contains(fs::canonical(item.parent_path()) / item.filename())) {
            isBlind_ = goesBlind;
            return qf::Unexpected(qf::native::posixError(qf::native::Errno(failure),
                                                         item.filename().string(), "removed"));
        }
        if (item.filename() == std::exchange(goesInTwo, std::string())) {
            fs::remove(item / "first");
            return qf::Unexpected(qf::native::posixError(qf::native::Errno(EIO),
                                                         item.filename().string(), "removed"));
        }
        return FileSystem::removeItem(path);
    }

    std::optional<qf::ItemAttributes> attributesOfItem(const std::string& path) override {
        if (isBlind_ || path == seenLate) {
            seenLate.clear();
            return std::nullopt;
        }
        return FileSystem::attributesOfItem(path);
    }

private:
    bool isBlind_ = false;
};

class EmptyingTest : public MachineOnDisk {
protected:
    std::vector<ItemEmptied> empty() {
        auto last = runs.lastUninstall();
        records::UndoObserver observer;
        return Emptying(runs, observer).perform(last).items;
    }

    std::string trashed(const std::string& name) const { return home / ("user/.Trash/" + name); }

    ClosedFileSystem closing;
    qf::ScopedService<qf::FileSystem> closingScope{closing};
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
    EXPECT_EQ(desktop.forgotten, Lines{"com.quillfen.Ospenth of " + items.front().path});
    EXPECT_TRUE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, HasANameForWhatBecameOfAnItem) {
    const std::vector<std::string> names{nameOf(Emptied::waiting), nameOf(Emptied::deleted),
                                         nameOf(Emptied::gone), nameOf(Emptied::failed)};

    EXPECT_EQ(names, (Lines{"waiting", "deleted", "gone", "failed"}));
}

TEST_F(EmptyingTest, TellsHowFarItIs) {
    write(cache("Ospenth"));
    write(cache("Dunmarl"));
    write(agent("Lunevar"));
    uninstall();
    auto last = runs.lastUninstall();
    NotingObserver observer;

    Emptying(runs, observer).perform(last);

    EXPECT_EQ(observer.notes, (Lines{"com.quillfen.Dunmarl 1/2", "com.quillfen.Ospenth 2/2"}));
}

TEST_F(EmptyingTest, LeavesNothingInTheTrashOfWhatAKilledOneHasDeleted) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::remove(trashed("com.quillfen.Ospenth"));

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_EQ(desktop.forgotten, Lines{"com.quillfen.Ospenth of " + item});
}

/// An item that a tool may have been killed with on its way back.
class EmptyingOnItsWay : public EmptyingTest {
protected:
    EmptyingOnItsWay() {
        uninstall();
        fs::remove(trashed("com.quillfen.Ospenth"));
        administrator.unfinishedMoves = {item};
    }

    const std::string item = write(cache("Ospenth"));
};

TEST_F(EmptyingOnItsWay, LeavesItToBePutBack) {
    const auto items = empty();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().outcome, Emptied::failed);
    EXPECT_EQ(items.front().reason,
              "Putting it back may have been interrupted: put the run back first.");
    EXPECT_TRUE(desktop.forgotten.empty());
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingOnItsWay, CallsItGoneWhenTheSuperuserWhoNeedsNoToolEmpties) {
    auto last = runs.lastUninstall();
    records::UndoObserver observer;
    account.userId = 0;

    EXPECT_EQ(Emptying(runs, observer).perform(last).items.front().outcome, Emptied::gone);
}

TEST_F(EmptyingOnItsWay, CallsItGoneOnceSomethingIsInItsPlace) {
    write(item, "another item");

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

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

TEST_F(EmptyingTest, DeletesWhatAKilledOneHasLeftOfAnApplication) {
    const auto application = home / "Applications/Ospenth.app";
    write(application + "/Contents/Info.plist",
          "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
          "<string>com.quillfen.ospenth</string></dict></plist>");
    write(application + "/Contents/MacOS/Ospenth");
    uninstall();
    fs::remove(trashed("Ospenth.app/Contents/Info.plist"));

    const auto items = empty();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().outcome, Emptied::deleted);
    EXPECT_FALSE(exists(trashed("Ospenth.app")));
    EXPECT_TRUE(runs.read(1).isClosed);
}

/// A folder that a killed run had begun to take.
class EmptyingAfterAKill : public EmptyingTest {
protected:
    EmptyingAfterAKill() {
        write(item + "/inside");
        fs::last_write_time(item, {});
        records::RunRecorder recorder(runs, jobs);
        recorder.begin(RemoveShared::no);
        recorder.rowBegan({PlanAction::trash, item, {}});
        recorder.itemBegan(item);
        write(trashed("com.quillfen.Ospenth") + "/more");
        desktop.formerPath = item;
    }

    const std::string item = cache("Ospenth");
};

TEST_F(EmptyingAfterAKill, DoesNotCallGoneWhatMayBeLeftOfTheFolder) {
    fs::remove_all(item);

    EXPECT_EQ(empty().front().outcome, Emptied::failed);

    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingAfterAKill, HasNothingToDoWithAnotherFolderWhileTheItemIsInItsPlace) {
    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_TRUE(exists(trashed("com.quillfen.Ospenth")));
}

/// A folder that was copied into the Trash, and of which a killed run has deleted a part.
class EmptyingTheRest : public EmptyingTest {
protected:
    EmptyingTheRest() {
        write(item + "/inside");
        write(item + "/more");
        fs::last_write_time(item, {}); // which no change keeps, however quick it is
        EXPECT_TRUE(fileSystem.copyItem(item, home / "copy"));
        lastWritten = fs::last_write_time(item);
        records::RunRecorder recorder(runs, jobs);
        recorder.begin(RemoveShared::no);
        recorder.rowBegan({PlanAction::trash, item, {}});
        recorder.itemBegan(item);
        fs::remove_all(item);
        fs::rename(home / "copy", place);
        recorder.itemEnded(item, {.outcome = qf::TrashOutcome::moved, .place = place});
        recorder.walkEnded();
        fs::remove(place + "/inside");
    }

    void expectToBeLeft(const std::string& reason) {
        const auto items = empty();

        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items.front().outcome, Emptied::failed);
        EXPECT_EQ(items.front().reason, reason);
        EXPECT_TRUE(exists(place + "/more"));
        EXPECT_FALSE(runs.read(1).isClosed);
    }

    static constexpr const char* changed =
        "It is in the Trash, but was changed there or is on a volume whose Trash is not searched.";

    const std::string item = cache("Ospenth");
    const std::string place = trashed("com.quillfen.Ospenth");
    fs::file_time_type lastWritten;
};

TEST_F(EmptyingTheRest, DeletesIt) {
    const auto items = empty();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().outcome, Emptied::deleted);
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(desktop.forgotten, Lines{"com.quillfen.Ospenth of " + item});
    EXPECT_TRUE(runs.read(1).isClosed);
}

TEST_F(EmptyingTheRest, ShowsItInThePreview) {
    const auto items = Emptying::preview(runs.lastUninstall());

    EXPECT_EQ(items.front().outcome, Emptied::waiting);
    EXPECT_EQ(items.front().place, place);
}

TEST_F(EmptyingTheRest, LeavesWhatAPutBackMayHaveLeft) {
    administrator.unfinishedMoves = {item};

    expectToBeLeft("Putting it back may have been interrupted: put the run back first.");
}

TEST_F(EmptyingTheRest, LeavesWhatIsInTheTrashWhileTheItemIsInItsPlace) {
    desktop.formerPath = item;
    fs::create_directory(item);
    fs::last_write_time(item, lastWritten);

    expectToBeLeft(changed);
}

TEST_F(EmptyingTheRest, DeletesNoFolderThatWasPutThereInItsPlace) {
    desktop.formerPath = item;
    fs::rename(place, home / "aside");
    write(place + "/more");

    expectToBeLeft(changed);
}

TEST_F(EmptyingTheRest, DeletesNothingThatCameFromElsewhere) {
    desktop.formerPath = cache("Dunmarl");

    expectToBeLeft(changed);
}

TEST_F(EmptyingTheRest, DeletesItThoughTheUsersNameForTheTrashIsALink) {
    fs::rename(home / "user/.Trash", home / "user/Trash");
    fs::create_directory_symlink("Trash", home / "user/.Trash");

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);

    EXPECT_FALSE(exists(home / "user/Trash/com.quillfen.Ospenth"));
}

TEST_F(EmptyingTheRest, DeletesWhatWasPutIntoItToo) {
    write(place + "/new");

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);

    EXPECT_FALSE(exists(place));
}

TEST_F(EmptyingTheRest, DeletesItThoughItCannotBeLookedAtTheFirstTime) {
    closing.seenLate = place;

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);
}

TEST_F(EmptyingTheRest, IsNotGoneWhereAnotherTrashIsSearched) {
    account.home = home.makeDirectory("other");

    expectToBeLeft(changed);
}

TEST_F(EmptyingTheRest, DeletesNoFolderThatIsSwappedInForIt) {
    desktop.formerPath = item;
    closing.beforeHolding = [&] {
        fs::rename(place, home / "aside");
        write(place + "/more");
    };

    expectToBeLeft(changed);
}

TEST_F(EmptyingTest, CallsAFileGoneThoughAnotherFromItsPathIsInTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::remove(trashed("com.quillfen.Ospenth"));
    write(trashed("com.quillfen.Ospenth"), "another item");
    desktop.formerPath = item;

    EXPECT_EQ(empty().front().outcome, Emptied::gone);
}

TEST_F(EmptyingTest, DoesNotCallACopiedFileGoneWhereAnotherTrashIsSearched) {
    write(cache("Ospenth"));
    uninstall();
    const auto place = trashed("com.quillfen.Ospenth");
    ASSERT_TRUE(fileSystem.copyItem(place, home / "copy"));
    fs::rename(home / "copy", place);
    account.home = home.makeDirectory("other");

    EXPECT_EQ(empty().front().outcome, Emptied::failed);

    EXPECT_TRUE(exists(place));
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, DoesNotCallGoneWhatMayBeLeftOfACopiedFolder) {
    const auto item = write(cache("Ospenth") + "/inside");
    uninstall();
    const auto place = trashed("com.quillfen.Ospenth");
    fs::remove_all(place);
    fs::create_directory(place); // with another identity and date
    desktop.formerPath = cache("Ospenth");

    EXPECT_EQ(empty().front().outcome, Emptied::failed);

    EXPECT_TRUE(exists(place));
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, DeletesNothingThatWasPutBack) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::rename(trashed("com.quillfen.Ospenth"), item);

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_TRUE(exists(item));
}

TEST_F(EmptyingTest, DeletesNothingThatAKilledRunHadOnlyBegunToTake) {
    const auto item = write(cache("Ospenth"));
    records::RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan({PlanAction::trash, item, {}});
    recorder.itemBegan(item);

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(EmptyingTest, SaysNothingOfWhatTheRunLeftInPlace) {
    write(cache("Dunmarl"));
    const auto left = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    administrator.rightsStatus = qf::errAuthorizationCanceled;
    uninstall();

    const auto items = empty();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().path, cache("Dunmarl"));
    EXPECT_EQ(contentOf(left), "content");
    EXPECT_TRUE(runs.read(1).isClosed);
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

TEST_F(EmptyingTest, DeletesWhatIsLeftAfterAFailure) {
    write(cache("Ospenth") + "/first");
    write(cache("Ospenth") + "/second");
    uninstall();
    closing.goesInTwo = "com.quillfen.Ospenth";

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);

    EXPECT_FALSE(exists(trashed("com.quillfen.Ospenth")));
}

TEST_F(EmptyingTest, TriesOnceWhatTakesTheRight) {
    write(cache("Ospenth"));
    uninstall();
    closing.closed = {trashed("com.quillfen.Ospenth")};
    closing.removals = 0;

    empty();

    EXPECT_EQ(closing.removals, 1);
}

TEST_F(EmptyingTest, DeletesWhatItCannotLookAtTheFirstTime) {
    write(preferences("Ospenth"));
    uninstall();
    closing.seenLate = trashed("com.quillfen.Ospenth.plist");

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);
}

TEST_F(EmptyingTest, DoesNotCallDeletedWhatItCannotLookAt) {
    write(preferences("Ospenth"));
    uninstall();
    closing.closed = {trashed("com.quillfen.Ospenth.plist")};
    closing.goesBlind = true;
    administrator.rightsStatus = qf::errAuthorizationCanceled;

    EXPECT_EQ(empty().front().outcome, Emptied::failed);
}

TEST_F(EmptyingTest, AsksForNoRightThatIsOfNoHelp) {
    write(cache("Ospenth"));
    uninstall();
    administrator.calls.clear();
    closing.closed = {trashed("com.quillfen.Ospenth")};
    closing.failure = EROFS;

    const auto items = empty();

    EXPECT_EQ(items.front().outcome, Emptied::failed);
    EXPECT_EQ(items.front().reason,
              "“com.quillfen.Ospenth” couldn’t be removed because the volume is read-only.");
    EXPECT_TRUE(administrator.calls.empty());
}

TEST_F(EmptyingTest, DeletesNothingBehindALinkInPlaceOfTheTrash) {
    write(cache("Ospenth"));
    uninstall();
    const auto precious = write(home / "precious/com.quillfen.Ospenth", "content");
    ASSERT_TRUE(fileSystem.setModificationDate(
        precious, fileSystem.attributesOfItem(trashed("com.quillfen.Ospenth"))->modificationDate));
    /// Swaps the Trash for a link once it was looked at.
    class Swapping : public records::UndoObserver {
    public:
        explicit Swapping(const TemporaryDirectory& home) : home_(home) {}
        void itemBegan(const std::string& /*path*/, records::Progress /*progress*/) override {
            fs::rename(home_ / "user/.Trash", home_ / "user/former");
            fs::create_symlink(home_ / "precious", home_ / "user/.Trash");
        }

    private:
        const TemporaryDirectory& home_;
    } swapping(home);
    auto last = runs.lastUninstall();

    const auto items = Emptying(runs, swapping).perform(last).items;

    EXPECT_EQ(items.front().outcome, Emptied::failed);
    EXPECT_NE(items.front().reason, "");
    EXPECT_EQ(contentOf(precious), "content");
}

TEST_F(EmptyingTest, CallsNothingGoneFromATrashThatItCannotSee) {
    write(cache("Ospenth"));
    uninstall();
    desktop.isReadable = false;
    auto last = runs.lastUninstall();
    records::UndoObserver observer;

    EXPECT_NE(Emptying(runs, observer).perform(last).failure, "");

    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, NamesNoFileOfAJob) {
    write(agent("Lunevar"));
    uninstall();

    EXPECT_TRUE(empty().empty());
}

TEST_F(EmptyingTest, WaitsForTheToolThatDeletesAnItem) {
    write(preferences("Ospenth"));
    uninstall();
    closing.closed = {trashed("com.quillfen.Ospenth.plist")};
    administrator.isLate = true;

    EXPECT_EQ(empty().front().outcome, Emptied::deleted);
}

TEST_F(EmptyingTest, DeletesNothingThatWasSwappedInForAnItem) {
    write(cache("Ospenth"));
    uninstall();
    closing.beforeHolding = [&] {
        fs::remove(trashed("com.quillfen.Ospenth"));
        write(trashed("com.quillfen.Ospenth"), "another item");
    };

    EXPECT_EQ(empty().front().outcome, Emptied::gone);

    EXPECT_EQ(contentOf(trashed("com.quillfen.Ospenth")), "another item");
}

TEST_F(EmptyingTest, SaysWhyItEndedEarly) {
    write(cache("Ospenth"));
    uninstall();
    class EndingObserver : public records::UndoObserver {
    public:
        void itemBegan(const std::string& /*path*/, records::Progress /*progress*/) override {
            throw qf::Exception("QFTest", "It cannot go on.");
        }
    } ending;
    auto last = runs.lastUninstall();

    EXPECT_EQ(Emptying(runs, ending).perform(last).failure, "It cannot go on.");

    EXPECT_TRUE(exists(trashed("com.quillfen.Ospenth")));
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(EmptyingTest, AsksForTheRightOnlyOnce) {
    write(cache("Dunmarl"));
    write(cache("Ospenth"));
    uninstall();
    closing.closed = {trashed("com.quillfen.Dunmarl"), trashed("com.quillfen.Ospenth")};
    administrator.rightsStatus = qf::errAuthorizationCanceled;

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
