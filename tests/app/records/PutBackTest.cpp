#include "app/records/PutBack.h"

#include "app/records/Emptying.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "tests/app/records/MachineOnDisk.h"
#include "tests/support/TreeDescription.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>

namespace fs = std::filesystem;
using records::Back;
using records::ItemBack;
using records::PutBack;

namespace {

/// Files of which one cannot be opened.
class UnreadableFile : public qf::native::FileStreams {
public:
    explicit UnreadableFile(std::string file) : file_(std::move(file)) {}

    qf::OpenedStream openExisting(const std::string& path, qf::FileAccess access) override {
        return fs::path(path).filename() == fs::path(file_).filename()
                   ? qf::Unexpected(qf::SystemError{EIO})
                   : FileStreams::openExisting(path, access);
    }

private:
    std::string file_;
};

class PutBackTest : public MachineOnDisk {
protected:
    /// Puts the last uninstall back.
    std::vector<ItemBack> putBack() {
        auto last = runs.lastUninstall();
        records::UndoObserver observer;
        return PutBack(runs, jobs, observer).perform(last).items;
    }

    /// Returns the result for an item; the test fails if there is none.
    static ItemBack resultOf(const std::vector<ItemBack>& items, const std::string& path) {
        const auto found = std::ranges::find(items, path, &ItemBack::path);
        EXPECT_NE(found, items.end()) << path;
        return found == items.end() ? ItemBack() : *found;
    }

    /// Returns the copy of a job's file that the first run has kept.
    std::string kept(const std::string& jobFile) const {
        return fs::path(runs.file(1)).replace_filename(records::RunRecords::keptFile(1, jobFile));
    }

    /// Leaves at an item what a process that is killed between copying it from the Trash and
    /// removing it there leaves.
    static void markAsMoved(const std::string& item) {
        const auto directory =
            qf::native::openDirectory(AT_FDCWD, fs::path(item).parent_path().string().c_str());
        const auto name = fs::path(item).filename().string();
        auto mark = qf::native::TemporaryItem::makeMark(directory->get(), name + '/' + name);
        ASSERT_TRUE(mark);
        mark->leave();
    }

    /// Has a run killed when it has copied a folder into the Trash, and another finish that.
    void takeInTwoRuns(const std::string& item) {
        write(item + "/inside");
        records::RunRecorder killed(runs, jobs);
        killed.begin(RemoveShared::no);
        killed.rowBegan({PlanAction::trash, item, {}});
        killed.itemBegan(item);
        const auto copy = home / "user/.Trash/com.quillfen.Dunmarl";
        ASSERT_TRUE(fileSystem.copyItem(item, copy));
        fs::remove(item + "/inside");
        records::RunRecorder finishing(runs, jobs);
        finishing.begin(RemoveShared::no);
        finishing.rowBegan({PlanAction::trash, item, {}});
        finishing.itemBegan(item);
        fs::remove(item);
        finishing.itemEnded(item, {.outcome = qf::TrashOutcome::moved, .place = copy});
        finishing.walkEnded();
    }

    static Lines trashOf(const TemporaryDirectory& home) {
        Lines names;
        for (const auto& entry : fs::directory_iterator(home / "user/.Trash")) {
            names.push_back(entry.path().filename());
        }
        return names;
    }
};

TEST_F(PutBackTest, ReturnsEveryItemToItsPlace) {
    const auto first = write(cache("Dunmarl") + "/inside", "first");
    const auto second = write(preferences("Ospenth"), "second");
    const auto before = fileSystem.attributesOfItem(second);
    uninstall();
    ASSERT_FALSE(exists(first) || exists(second));

    const auto items = putBack();

    EXPECT_EQ(items.size(), 2U);
    EXPECT_EQ(resultOf(items, second).outcome, Back::back);
    EXPECT_EQ(contentOf(first), "first");
    EXPECT_EQ(contentOf(second), "second");
    EXPECT_EQ(fileSystem.attributesOfItem(second)->id, before->id);
    EXPECT_EQ(fileSystem.attributesOfItem(second)->modificationDate, before->modificationDate);
    EXPECT_EQ(trashOf(home), Lines());
    EXPECT_TRUE(runs.read(1).isClosed);
}

TEST_F(PutBackTest, HasANameForWhatBecameOfAnItem) {
    const Lines names{nameOf(Back::waiting),  nameOf(Back::back), nameOf(Back::inPlace),
                      nameOf(Back::occupied), nameOf(Back::gone), nameOf(Back::failed)};

    EXPECT_EQ(names, (Lines{"waiting", "back", "inPlace", "occupied", "gone", "failed"}));
}

TEST_F(PutBackTest, TellsHowFarItIs) {
    write(cache("Ospenth"));
    uninstall();
    write(cache("Dunmarl"));
    write(agent("Lunevar"));
    uninstall();
    std::vector<records::RunRecord> both{runs.read(2), runs.read(1)};
    NotingObserver observer;

    PutBack(runs, jobs, observer).perform(both);

    EXPECT_EQ(observer.notes, (Lines{"com.quillfen.Dunmarl 1/3", "com.quillfen.Lunevar.plist 2/3",
                                     "com.quillfen.Ospenth 3/3"}));
}

TEST_F(PutBackTest, FindsDoneWhatIsDone) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    auto last = runs.lastUninstall();
    records::UndoObserver observer;
    PutBack(runs, jobs, observer).perform(last);

    const auto again = PutBack(runs, jobs, observer).perform(last).items;

    EXPECT_EQ(resultOf(again, item).outcome, Back::inPlace);
    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(PutBackTest, ReplacesNothing) {
    const auto item = write(cache("Ospenth"), "former");
    uninstall();
    write(item, "new");

    const auto items = putBack();

    EXPECT_EQ(resultOf(items, item).outcome, Back::occupied);
    EXPECT_EQ(contentOf(item), "new");
    EXPECT_EQ(contentOf(home / "user/.Trash/com.quillfen.Ospenth"), "former");
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(PutBackTest, ReplacesNotEvenALinkThatLeadsNowhere) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::create_symlink(home / "nowhere", item);

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::occupied);

    EXPECT_TRUE(fs::is_symlink(item));
    EXPECT_FALSE(exists(home / "nowhere"));
}

TEST_F(PutBackTest, FollowsNoLinkThatWasPutInTheWay) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto caches = home / "user/Library/Caches";
    fs::remove_all(caches);
    fs::create_symlink(home.makeDirectory("elsewhere"), caches);

    const auto result = resultOf(putBack(), item);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_EQ(result.reason, "A link is in the way: " + caches);
    EXPECT_FALSE(exists(home / "elsewhere/com.quillfen.Ospenth"));
}

TEST_F(PutBackTest, FollowsALinkThatWasThereBefore) {
    home.makeDirectory("user/Library");
    fs::create_symlink(home.makeDirectory("elsewhere"), home / "user/Library/Caches");
    const auto item = write(cache("Ospenth"));
    uninstall();

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);

    EXPECT_TRUE(exists(home / "elsewhere/com.quillfen.Ospenth"));
}

TEST_F(PutBackTest, ReplacesNothingThatAppearsMeanwhile) {
    const auto item = write(cache("Ospenth"), "former");
    uninstall();
    desktop.beforePuttingBack = [&] { write(item, "new"); };

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::occupied);

    EXPECT_EQ(contentOf(item), "new");
    EXPECT_EQ(contentOf(home / "user/.Trash/com.quillfen.Ospenth"), "former");
}

TEST_F(PutBackTest, IsNotLedAstrayByALinkThatIsPutInTheWayMeanwhile) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto caches = home / "user/Library/Caches";
    const auto elsewhere = home.makeDirectory("elsewhere");
    desktop.beforePuttingBack = [&] {
        fs::rename(caches, home / "user/Library/Former");
        fs::create_symlink(elsewhere, caches);
    };

    putBack();

    EXPECT_TRUE(fs::is_empty(elsewhere));
    EXPECT_EQ(contentOf(home / "user/Library/Former/com.quillfen.Ospenth"), "content");
}

TEST_F(PutBackTest, MakesNoFolderBehindALinkThatWasPutInTheWay) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::remove_all(home / "user/Library");
    fs::create_symlink(home.makeDirectory("elsewhere"), home / "user/Library");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::failed);

    EXPECT_TRUE(fs::is_empty(home / "elsewhere"));
}

TEST_F(PutBackTest, TakesNothingFromBehindALinkInPlaceOfTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto precious = write(home / "precious/com.quillfen.Ospenth", "content");
    ASSERT_TRUE(fileSystem.setModificationDate(
        precious,
        fileSystem.attributesOfItem(home / "user/.Trash/com.quillfen.Ospenth")->modificationDate));
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

    EXPECT_EQ(PutBack(runs, jobs, swapping).perform(last).items.front().outcome, Back::failed);

    EXPECT_EQ(contentOf(precious), "content");
    EXPECT_FALSE(exists(item));
}

TEST_F(PutBackTest, MakesAJobsFileThroughNoLink) {
    const auto file = write(agent("Lunevar"), "the job");
    uninstall();
    const auto precious = write(home / "precious", "precious");
    const auto before = fileSystem.attributesOfItem(precious);
    fs::remove(kept(file));
    fs::create_symlink(precious, kept(file));
    fs::create_symlink(precious, fs::path(runs.file(1)).replace_filename(".new"));

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::back);

    EXPECT_EQ(contentOf(file), "the job");
    EXPECT_EQ(contentOf(precious), "precious");
    EXPECT_EQ(fileSystem.attributesOfItem(precious)->permissions, before->permissions);
    EXPECT_EQ(fileSystem.attributesOfItem(precious)->modificationDate, before->modificationDate);
}

TEST_F(PutBackTest, WritesToNoOtherFileInPlaceOfTheRecord) {
    write(cache("Ospenth"));
    uninstall();
    const auto precious = write(home / "precious", recordText());
    const auto before = contentOf(precious);
    desktop.beforePuttingBack = [&] {
        fs::remove(runs.file(1));
        fs::create_hard_link(precious, runs.file(1));
    };

    putBack();

    EXPECT_EQ(contentOf(precious), before);
}

TEST_F(PutBackTest, AsksForNoRightThatIsOfNoHelp) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    administrator.calls.clear();
    desktop.failure = ENOSPC;

    const auto result = resultOf(putBack(), item);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_EQ(result.reason,
              "“com.quillfen.Ospenth” couldn’t be put back because the volume is full.");
    EXPECT_EQ(result.cause, result.reason);
    EXPECT_TRUE(administrator.calls.empty());
    EXPECT_TRUE(exists(home / "user/.Trash/com.quillfen.Ospenth"));
}

TEST_F(PutBackTest, KeepsWhatIsDoneWhenItEndsEarly) {
    const auto first = write(cache("Dunmarl"));
    const auto second = write(cache("Ospenth"));
    uninstall();
    class EndingObserver : public records::UndoObserver {
    public:
        void itemBegan(const std::string& /*path*/, records::Progress /*progress*/) override {
            if (++count_ == 2) {
                throw std::bad_alloc();
            }
        }

    private:
        int count_ = 0;
    } ending;
    auto last = runs.lastUninstall();

    const auto undone = PutBack(runs, jobs, ending).perform(last);

    EXPECT_EQ(undone.failure, "The system has no memory left.");
    ASSERT_EQ(undone.items.size(), 1U);
    EXPECT_EQ(undone.items.front().outcome, Back::back);
    EXPECT_TRUE(exists(first));
    EXPECT_FALSE(exists(second));
    EXPECT_FALSE(runs.read(1).isClosed);
    EXPECT_EQ(resultOf(putBack(), second).outcome, Back::back);
}

TEST_F(PutBackTest, CallsNothingGoneFromATrashThatItCannotSee) {
    write(cache("Ospenth"));
    uninstall();
    desktop.isReadable = false;
    auto last = runs.lastUninstall();
    records::UndoObserver observer;

    const auto undone = PutBack(runs, jobs, observer).perform(last);

    EXPECT_EQ(undone.failure, "“Trash” couldn’t be read because too many files are open.");
    EXPECT_TRUE(undone.items.empty());
}

TEST_F(PutBackTest, SaysWhatIsNoLongerInTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::remove(home / "user/.Trash/com.quillfen.Ospenth");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
}

TEST_F(PutBackTest, TakesNoOtherItemOfTheSameNameFromTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::remove(home / "user/.Trash/com.quillfen.Ospenth");
    write(home / "user/.Trash/com.quillfen.Ospenth", "another item");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_FALSE(exists(item));
}

TEST_F(PutBackTest, TakesOnlyWhatCameFromThere) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    desktop.formerPath = cache("Dunmarl");
    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
    desktop.formerPath = item;

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);
}

TEST_F(PutBackTest, FindsAnItemByAnotherPathToItsFolder) {
    const auto item = write(cache("Ospenth"));
    fs::create_directory_symlink(home / "user", home / "volume");
    uninstall();
    desktop.formerPath = home / ("volume" + item.substr((home / "user").size()));
    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);
}

TEST_F(PutBackTest, FindsAnItemByAnotherPathToAFolderThatIsGone) {
    const auto item = write(cache("Ospenth"));
    fs::create_directory_symlink(home / "user", home / "volume");
    uninstall();
    fs::remove(fs::path(item).parent_path());
    desktop.formerPath = home / ("volume" + item.substr((home / "user").size()));
    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);
}

TEST_F(PutBackTest, TakesNoOtherItemOfTheSameSizeFromTheTrash) {
    const auto item = write(cache("Ospenth"), "content");
    uninstall();
    fs::remove(home / "user/.Trash/com.quillfen.Ospenth");
    write(home / "user/.Trash/com.quillfen.Ospenth", "CONTENT");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
}

TEST_F(PutBackTest, TakesNoOtherItemOfTheSameDateFromTheTrash) {
    const auto item = write(cache("Ospenth"), "content");
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";
    const auto date = fileSystem.attributesOfItem(place)->modificationDate;
    fs::remove(place);
    write(place, "another item");
    ASSERT_TRUE(fileSystem.setModificationDate(place, date));

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
}

TEST_F(PutBackTest, TakesNoFolderForAFileFromTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";
    const auto date = fileSystem.attributesOfItem(place)->modificationDate;
    fs::remove(place);
    fs::create_directory(place);
    ASSERT_TRUE(fileSystem.setModificationDate(place, date));

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
}

TEST_F(PutBackTest, TakesNothingOfAnotherNameFromTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";
    fs::rename(place, home / "user/.Trash/other");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
}

TEST_F(PutBackTest, SaysWhyAJobsFileThatCouldNotBeReadIsNotBack) {
    const auto file = write(agent("Lunevar"));
    constexpr std::uintmax_t tooLarge = (1U << 24U) + 1;
    fs::resize_file(file, tooLarge);
    uninstall();

    const auto result = resultOf(putBack(), file);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_EQ(result.reason, "Its content could not be read before it was deleted.");
}

TEST_F(PutBackTest, ClosesARecordOnce) {
    write(cache("Ospenth"));
    uninstall();
    putBack();
    const auto closed = recordText();

    putBack();

    EXPECT_EQ(recordText(), closed);
}

TEST_F(PutBackTest, TakesNothingFromOutsideTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::rename(home / "user/.Trash/com.quillfen.Ospenth", home / "user/com.quillfen.Ospenth");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_TRUE(exists(home / "user/com.quillfen.Ospenth"));
}

TEST_F(PutBackTest, MakesTheFolderOfAnItem) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::remove(home / "user/Library/Caches");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);

    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(PutBackTest, TakesNothingThatWasSwappedInForAnItemInTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";
    /// Swaps the item once the Trash was looked at, and that again before it is moved.
    class SwappingFileSystem : public qf::native::FileSystem {
    public:
        explicit SwappingFileSystem(std::string file) : place(std::move(file)) {}
        qf::Result<std::unique_ptr<qf::HeldDirectory>>
        holdDirectory(const std::string& path, const std::vector<std::string>& links,
                      qf::MissingDirectories missing) override {
            fs::remove(place);
            write(place, "another item");
            return FileSystem::holdDirectory(path, links, missing);
        }
        std::string place;
    } swapping(place);
    const qf::ScopedService<qf::FileSystem> scope(swapping);

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_FALSE(exists(item));
    EXPECT_EQ(contentOf(place), "another item");
}

/// Directories that only the administrator may make, and files that may be locked.
class ClosedDirectories : public qf::native::FileSystem {
public:
    std::string closed;
    std::string locked;
    std::vector<std::string> lockedAgain;

    qf::Result<std::unique_ptr<qf::HeldDirectory>>
    holdDirectory(const std::string& path, const std::vector<std::string>& links,
                  qf::MissingDirectories missing) override {
        if (path == closed && !exists(path)) {
            return qf::Unexpected(
                qf::native::posixError(qf::native::Errno(EACCES), path, "opened"));
        }
        return FileSystem::holdDirectory(path, links, missing);
    }
    std::optional<qf::ItemAttributes> attributesOfItem(const std::string& path) override {
        auto item = FileSystem::attributesOfItem(path);
        if (item && path == locked) {
            item->immutable = true;
        }
        return item;
    }
    qf::Result<void> setImmutable(const std::string& path, bool immutable) override {
        if (immutable) {
            const fs::path item(path);
            lockedAgain.push_back(fs::canonical(item.parent_path()) / item.filename());
        }
        return {};
    }
};

TEST_F(PutBackTest, LocksWhatWasLocked) {
    ClosedDirectories directories;
    const qf::ScopedService<qf::FileSystem> scope(directories);
    const auto item = write(cache("Ospenth"));
    write(cache("Dunmarl"));
    directories.locked = item;
    uninstall();
    directories.locked.clear();

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);

    EXPECT_EQ(directories.lockedAgain, Lines{item});
}

TEST_F(PutBackTest, MakesAFolderWithTheRightWhereTheUserMayNot) {
    ClosedDirectories directories;
    const qf::ScopedService<qf::FileSystem> scope(directories);
    const auto item = write(preferences("Ospenth"));
    uninstall();
    fs::remove(home / "Library/Preferences");
    directories.closed = home / "Library/Preferences";
    administrator.calls.clear();

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);

    EXPECT_EQ(administrator.tools(), Lines{"/bin/mkdir -p " + directories.closed});
    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(PutBackTest, AsksForNoRightAsRoot) {
    ClosedDirectories directories;
    const qf::ScopedService<qf::FileSystem> scope(directories);
    const auto first = write(preferences("Ospenth"));
    const auto second = write(cache("Ospenth"));
    uninstall();
    fs::remove(home / "Library/Preferences");
    directories.closed = home / "Library/Preferences";
    desktop.failure = EACCES;
    administrator.calls.clear();
    launcher.runs.clear();
    auto last = runs.lastUninstall();
    records::UndoObserver observer;
    account.userId = 0;

    const auto items = PutBack(runs, jobs, observer).perform(last).items;

    EXPECT_EQ(resultOf(items, first).outcome, Back::failed);
    EXPECT_EQ(resultOf(items, second).outcome, Back::failed);
    EXPECT_TRUE(administrator.calls.empty());
    EXPECT_TRUE(launcher.runs.empty());
}

TEST_F(PutBackTest, WaitsForTheToolThatMovesAnItem) {
    const auto item = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    uninstall();
    administrator.isLate = true;

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);
}

TEST_F(PutBackTest, MovesWithTheRightWhatTheUserMayNot) {
    const auto item = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth.plist";

    const auto result = resultOf(putBack(), item);

    EXPECT_EQ(result.outcome, Back::back);
    EXPECT_EQ(result.reason, "");
    EXPECT_EQ(result.cause, "");
    EXPECT_EQ(administrator.tools().back(), "/bin/mv -f " + place + " " + item);
    EXPECT_EQ(desktop.forgotten, Lines{"com.quillfen.Ospenth.plist of " + item});
    EXPECT_EQ(contentOf(item), "content");
}

TEST_F(PutBackTest, DoesNotCallBackWhatTheAdministratorOnlyCopied) {
    const auto item = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth.plist";
    administrator.beforeTool = [&] {
        fs::copy_file(place, item);
        fs::last_write_time(item, fs::last_write_time(place));
        fs::create_hard_link(place, place + " 2"); // the tool moves one of two names
        fs::rename(place + " 2", home / "moved");
    };
    administrator.executeStatus = qf::errAuthorizationToolExecuteFailure;

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::failed);

    EXPECT_TRUE(exists(place));
}

TEST_F(PutBackTest, FinishesNoMoveOfAnItemBehindALinkThatIsNew) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";
    fs::rename(home / "user/Library/Caches", home / "user/elsewhere");
    fs::create_directory_symlink(home / "user/elsewhere", home / "user/Library/Caches");
    fs::copy_file(place, item);
    fs::last_write_time(item, fs::last_write_time(place));
    markAsMoved(home / "user/elsewhere/com.quillfen.Ospenth");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    EXPECT_TRUE(exists(place));
}

TEST_F(PutBackTest, AsksForTheRightOnlyOnce) {
    const auto first = write(preferences("Dunmarl"));
    const auto second = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    uninstall();
    QFAuthorization::sharedController().dealloc();
    administrator.calls.clear();
    administrator.rightsStatus = qf::errAuthorizationCanceled;

    const auto items = putBack();

    for (const auto& item : {first, second}) {
        EXPECT_EQ(resultOf(items, item).outcome, Back::failed);
        EXPECT_TRUE(resultOf(items, item)
                        .reason.ends_with(" It takes an administrator's password to move it."));
        EXPECT_EQ(resultOf(items, item).cause, "It takes an administrator's password to move it.");
    }
    EXPECT_EQ(std::ranges::count(administrator.calls, "copyRights", &AuthorizationCall::operation),
              1);
}

TEST_F(PutBackTest, LeavesNothingInTheTrashOfWhatAKilledOneHasMoved) {
    const auto item = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    uninstall();
    fs::rename(home / "user/.Trash/com.quillfen.Ospenth.plist", item);

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    EXPECT_EQ(desktop.forgotten, Lines{"com.quillfen.Ospenth.plist of " + item});
}

/// An item that a tool was killed with on its way from the Trash to its place.
class PutBackOnItsWay : public PutBackTest {
protected:
    PutBackOnItsWay() {
        desktop.closed = {home / "Library/Preferences"};
        uninstall();
        fs::rename(place, hidden);
        QFAuthorization::sharedController().dealloc();
        administrator.calls.clear();
        launcher.runs.clear();
    }
    /// Has the helper find the item when it is asked to move it once more.
    void letTheHelperFindIt() {
        administrator.unfinishedMoves = {item};
        administrator.beforeTool = [&] { fs::rename(hidden, place); };
    }
    std::ptrdiff_t questions() const {
        return std::ranges::count(administrator.calls, "copyRights", &AuthorizationCall::operation);
    }

    const std::string item = write(preferences("Dunmarl"));
    const std::string place = home / "user/.Trash/com.quillfen.Dunmarl.plist";
    const std::string hidden = home / "hidden";
};

TEST_F(PutBackOnItsWay, IsAskedForOnceMore) {
    letTheHelperFindIt();

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);

    EXPECT_EQ(administrator.tools(), Lines{"/bin/mv -f " + place + " " + item});
    EXPECT_EQ(contentOf(item), "content");
    EXPECT_EQ(desktop.forgotten, Lines{"com.quillfen.Dunmarl.plist of " + item});
    EXPECT_TRUE(runs.read(1).isClosed);
}

TEST_F(PutBackOnItsWay, WaitsUntilItIsAskedFor) {
    EXPECT_EQ(PutBack::preview(runs.lastUninstall()).front().outcome, Back::gone);
    letTheHelperFindIt();

    EXPECT_EQ(PutBack::preview(runs.lastUninstall()).front().outcome, Back::waiting);

    EXPECT_TRUE(administrator.calls.empty());
}

TEST_F(PutBackOnItsWay, IsGoneWithoutAQuestionWhereNoToolCanHaveBeenKilled) {
    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_TRUE(administrator.calls.empty());
}

TEST_F(PutBackOnItsWay, IsGoneWhenTheHelperDoesNotFindIt) {
    administrator.unfinishedMoves = {item};
    administrator.executeStatus = qf::errAuthorizationToolExecuteFailure;

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_EQ(questions(), 1);
}

TEST_F(PutBackOnItsWay, DoesNotKeepOthersFromTheirPlacesWhenTheHelperDoesNotFindIt) {
    fs::rename(hidden, item);
    const auto other = write(preferences("Ospenth"), "other");
    uninstall();
    fs::remove(place);
    administrator.unfinishedMoves = {item};
    administrator.nextExecuteStatuses = {qf::errAuthorizationToolExecuteFailure};

    const auto items = putBack();

    EXPECT_EQ(resultOf(items, item).outcome, Back::gone);
    EXPECT_EQ(resultOf(items, other).outcome, Back::back);
}

TEST_F(PutBackOnItsWay, IsNotBackWhenTheRightIsRefused) {
    letTheHelperFindIt();
    administrator.rightsStatus = qf::errAuthorizationCanceled;

    const auto result = resultOf(putBack(), item);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_EQ(result.reason, "It takes an administrator's password to move it.");
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(PutBackOnItsWay, IsNotTakenForWhatElseComes) {
    administrator.unfinishedMoves = {item};
    administrator.beforeTool = [&] { write(place, "another item"); };

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);
}

TEST_F(PutBackOnItsWay, IsNotAskedForWhereSomethingElseIs) {
    letTheHelperFindIt();
    write(item, "another item");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_TRUE(administrator.calls.empty());
}

TEST_F(PutBackOnItsWay, IsNotAskedForByWayOfALinkThatWasPutThere) {
    letTheHelperFindIt();
    fs::rename(home / "Library/Preferences", home / "Library/Former");
    fs::create_directory_symlink(home / "Library/Former", home / "Library/Preferences");

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::gone);

    EXPECT_TRUE(administrator.calls.empty());
}

TEST_F(PutBackOnItsWay, IsNotAskedForByRoot) {
    letTheHelperFindIt();
    auto last = runs.lastUninstall();
    records::UndoObserver observer;
    account.userId = 0;

    EXPECT_EQ(PutBack::preview(last).front().outcome, Back::gone);
    EXPECT_EQ(PutBack(runs, jobs, observer).perform(last).items.front().outcome, Back::gone);

    EXPECT_TRUE(administrator.calls.empty());
    EXPECT_TRUE(launcher.runs.empty());
}

TEST_F(PutBackTest, GoesOnAfterOneThatFails) {
    const auto first = write(cache("Dunmarl"));
    const auto second = write(cache("Ospenth"));
    uninstall();
    write(first, "new");

    EXPECT_EQ(resultOf(putBack(), second).outcome, Back::back);
}

TEST_F(PutBackTest, WritesAJobsFileAgainAndLoadsItsJob) {
    const auto file = write(agent("Lunevar"), "the job");
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    const auto before = fileSystem.attributesOfItem(file);
    jobs.labels = {"com.quillfen.Lunevar"};
    uninstall();
    ASSERT_FALSE(exists(file));
    jobs.labels->clear();

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::back);

    EXPECT_EQ(contentOf(file), "the job");
    EXPECT_EQ(fileSystem.attributesOfItem(file)->permissions, 0640U);
    EXPECT_EQ(fileSystem.attributesOfItem(file)->modificationDate, before->modificationDate);
    EXPECT_EQ(jobs.files, Lines{file});
}

/// Something happens before a file is moved to its place, or that fails.
class HinderedMoves : public qf::native::FileSystem {
public:
    std::function<void()> beforeMoving = [] {};
    bool fails = false;

    qf::Result<void> moveItem(const std::string& path, const std::string& newPath) override {
        beforeMoving();
        return fails ? qf::Unexpected(qf::native::posixError(
                           qf::native::Errno(EIO), fs::path(newPath).filename().string(), "moved"))
                     : FileSystem::moveItem(path, newPath);
    }
};

TEST_F(PutBackTest, ReplacesNoJobsFileThatAppearsMeanwhile) {
    const auto file = write(agent("Lunevar"), "the job");
    uninstall();
    HinderedMoves moves;
    moves.beforeMoving = [&] { write(file, "another job"); };
    const qf::ScopedService<qf::FileSystem> scope(moves);

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::occupied);

    EXPECT_EQ(contentOf(file), "another job");
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(PutBackTest, SaysWhyAJobsFileCouldNotBeMovedToItsPlace) {
    const auto file = write(agent("Lunevar"), "the job");
    uninstall();
    HinderedMoves moves;
    moves.fails = true;
    const qf::ScopedService<qf::FileSystem> scope(moves);

    const auto result = resultOf(putBack(), file);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_NE(result.reason, "");
    EXPECT_FALSE(exists(file));
    EXPECT_FALSE(runs.read(1).isClosed);
}

TEST_F(PutBackTest, SaysWhyTheFolderOfAJobsFileCannotBeUsed) {
    const auto file = write(agent("Lunevar"), "the job");
    uninstall();
    const auto folder = fs::path(file).parent_path();
    fs::remove(folder);
    write(folder, "a file in its place");

    const auto result = resultOf(putBack(), file);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_NE(result.reason, "");
    EXPECT_EQ(contentOf(folder), "a file in its place");
}

TEST_F(PutBackTest, MakesNoJobsFileWithoutItsRecords) {
    const auto file = write(agent("Lunevar"), "the job");
    uninstall();
    auto last = runs.lastUninstall();
    fs::remove_all(home / "user/state");
    records::UndoObserver observer;

    const auto result = resultOf(PutBack(runs, jobs, observer).perform(last).items, file);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_NE(result.reason, "");
    EXPECT_FALSE(exists(file));
    EXPECT_FALSE(exists(home / "user/state"));
}

TEST_F(PutBackTest, KeepsTheAttributesOfAJobsFile) {
    const auto file = write(agent("Lunevar"));
    if (::setxattr(file.c_str(), "user.kelvane", "x", 1, 0) != 0) {
        GTEST_SKIP() << "temporary folders are on a volume without extended attributes";
    }
    uninstall();

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::back);

    char value = 0;
    EXPECT_EQ(::getxattr(file.c_str(), "user.kelvane", &value, 1), 1);
    EXPECT_EQ(value, 'x');
}

TEST_F(PutBackTest, WritesAJobsFileFromTheRecordWhereTheCopyHasChanged) {
    const auto file = write(agent("Lunevar"), "the job");
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    const auto before = fileSystem.attributesOfItem(file);
    uninstall();
    write(kept(file), "something else");

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::back);

    EXPECT_EQ(contentOf(file), "the job");
    EXPECT_EQ(fileSystem.attributesOfItem(file)->permissions, 0640U);
    EXPECT_EQ(fileSystem.attributesOfItem(file)->modificationDate, before->modificationDate);
}

TEST_F(PutBackTest, LoadsNoJobThatWasNotLoaded) {
    const auto file = write(agent("Lunevar"));
    uninstall();

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::back);

    EXPECT_EQ(jobs.files, Lines());
}

TEST_F(PutBackTest, LoadsNoJobTwice) {
    write(agent("Lunevar"));
    jobs.labels = {"com.quillfen.Lunevar"};
    uninstall();

    putBack();

    EXPECT_EQ(jobs.files, Lines());
}

TEST_F(PutBackTest, LoadsNoJobOfAnotherFileInItsPlace) {
    const auto file = write(agent("Lunevar"));
    jobs.labels = {"com.quillfen.Lunevar"};
    uninstall();
    jobs.labels->clear();
    write(file, "another job");

    EXPECT_EQ(resultOf(putBack(), file).outcome, Back::occupied);

    EXPECT_EQ(contentOf(file), "another job");
    EXPECT_EQ(jobs.files, Lines());
}

TEST_F(PutBackTest, LoadsAJobOnceMoreThatWasNotLoaded) {
    const auto file = write(agent("Lunevar"));
    jobs.labels = {"com.quillfen.Lunevar"};
    uninstall();
    jobs.labels->clear();
    jobs.failures = 1;

    putBack();

    EXPECT_EQ(jobs.files, (Lines{file, file}));
    EXPECT_EQ(jobs.labels, std::set<std::string>{"com.quillfen.Lunevar"});
}

/// Jobs that note whether their program is there when they are loaded.
class CheckingJobs : public DescribedJobs {
public:
    explicit CheckingJobs(std::string wanted) : program(std::move(wanted)) {}
    void load(const std::string& file) override {
        DescribedJobs::load(file);
        wasProgramThere.push_back(exists(program));
    }
    std::string program;
    std::vector<bool> wasProgramThere;
};

TEST_F(PutBackTest, LoadsAJobOnceItsProgramIsBack) {
    const auto program = write(home / "Applications/Quillfen/Kelvane/Lunevar.app/program");
    const auto file = write(agent("Lunevar"));
    jobs.labels = {"com.quillfen.Lunevar"};
    uninstall();
    CheckingJobs checking(program);
    write(file); // as if the job's file was back already
    auto last = runs.lastUninstall();
    records::UndoObserver observer;

    PutBack(runs, checking, observer).perform(last);

    EXPECT_EQ(checking.wasProgramThere, std::vector{true});
}

TEST_F(PutBackTest, UndoesARunThatWasKilledWithTheOneThatFinishedIt) {
    const auto first = write(cache("Dunmarl"));
    const auto second = write(cache("Ospenth"));
    records::RunRecorder killed(runs, jobs);
    killed.begin(RemoveShared::no);
    killed.rowBegan({PlanAction::trash, first, {}});
    killed.itemBegan(first);
    ASSERT_TRUE(desktop.recycle(home / "user/Library/Caches", home / "user/.Trash",
                                "com.quillfen.Dunmarl"));
    uninstall();

    const auto items = putBack();

    EXPECT_EQ(resultOf(items, first).outcome, Back::back);
    EXPECT_EQ(resultOf(items, second).outcome, Back::back);
    EXPECT_EQ(items.front().path, second) << "the newest run comes first";
    EXPECT_TRUE(runs.read(1).isClosed && runs.read(2).isClosed);
}

TEST_F(PutBackTest, LoadsAJobOnceItsProgramIsBackThatAKilledRunTook) {
    const auto program = write(cache("Lunevar"));
    write(agent("Lunevar"));
    jobs.labels = {"com.quillfen.Lunevar"};
    records::RunRecorder killed(runs, jobs);
    killed.begin(RemoveShared::no);
    killed.rowBegan({PlanAction::trash, program, {}});
    killed.itemBegan(program);
    ASSERT_TRUE(desktop.recycle(home / "user/Library/Caches", home / "user/.Trash",
                                "com.quillfen.Lunevar"));
    uninstall();
    CheckingJobs checking(program);
    auto last = runs.lastUninstall();
    records::UndoObserver observer;

    PutBack(runs, checking, observer).perform(last);

    EXPECT_EQ(checking.wasProgramThere, std::vector{true});
}

TEST_F(PutBackTest, CountsAnItemOnceOfWhichTwoRunsHaveRecords) {
    takeInTwoRuns(cache("Dunmarl"));

    const auto last = runs.lastUninstall();
    ASSERT_EQ(last.size(), 2U);
    EXPECT_EQ(PutBack::preview(last).size(), 1U);
    EXPECT_EQ(records::Emptying::preview(last).size(), 1U);

    const auto items = putBack();
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().outcome, Back::back);
}

TEST_F(PutBackTest, CountsAnItemOnceThatFailsForBothRuns) {
    takeInTwoRuns(cache("Dunmarl"));
    write(cache("Dunmarl"), "something else");

    const auto items = putBack();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().outcome, Back::occupied);
}

TEST_F(PutBackTest, FindsTheCopyOfWhichTheLastRunTookOnlyTheRest) {
    const auto item = cache("Dunmarl");
    takeInTwoRuns(item);

    auto last = runs.lastUninstall();
    for (const auto& result : putBack()) {
        EXPECT_TRUE(result.outcome == Back::back || result.outcome == Back::inPlace)
            << nameOf(result.outcome);
    }

    EXPECT_TRUE(exists(item + "/inside"));
    EXPECT_TRUE(runs.read(1).isClosed && runs.read(2).isClosed);

    // As if the first had been killed before it could close the records.
    records::UndoObserver observer;
    for (const auto& result : PutBack(runs, jobs, observer).perform(last).items) {
        EXPECT_EQ(result.outcome, Back::inPlace);
    }
}

TEST_F(PutBackTest, PrefersAnItemToARestOfItThatFollowedIntoTheTrash) {
    const auto inside = write(cache("Dunmarl") + "/inside");
    const auto item = cache("Dunmarl");
    desktop.formerPath = item;
    const auto rest = home / "user/.Trash/a rest";
    records::RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan({PlanAction::trash, item, {}});
    recorder.itemBegan(item);
    ASSERT_TRUE(fileSystem.copyItem(item, home / "user/.Trash/com.quillfen.Dunmarl"));
    fs::remove(inside);
    ASSERT_TRUE(fileSystem.copyItem(item, rest));
    fs::remove(item);
    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::handedOver, .place = rest});
    recorder.walkEnded();

    putBack();

    EXPECT_TRUE(exists(inside));
    EXPECT_TRUE(exists(rest));
}

TEST_F(PutBackTest, LeavesAKilledRunAloneThatIsBackAlready) {
    const auto item = write(cache("Dunmarl"));
    records::RunRecorder killed(runs, jobs);
    killed.begin(RemoveShared::no);
    killed.rowBegan({PlanAction::trash, item, {}});
    killed.itemBegan(item);
    putBack();
    ASSERT_TRUE(runs.read(1).isClosed);
    uninstall();

    const auto last = runs.lastUninstall();

    ASSERT_EQ(last.size(), 1U);
    EXPECT_EQ(last.front().number, 2U);
}

TEST_F(PutBackTest, FindsInPlaceWhatAKilledRunHadNotTakenYet) {
    const auto item = write(cache("Dunmarl"));
    records::RunRecorder killed(runs, jobs);
    killed.begin(RemoveShared::no);
    killed.rowBegan({PlanAction::trash, item, {}});
    killed.itemBegan(item);

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);
}

TEST_F(PutBackTest, LeavesAnOlderCompleteRunAlone) {
    const auto item = write(cache("Dunmarl"));
    uninstall();
    write(cache("Ospenth"));
    uninstall();

    putBack();
    putBack();

    EXPECT_FALSE(exists(item));
}

TEST_F(PutBackTest, PassesOverARunThatFoundNothing) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    uninstall();

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::back);
}

TEST_F(PutBackTest, SaysNothingOfWhatTheRunLeftInPlace) {
    const auto left = write(preferences("Ospenth"));
    const auto taken = write(cache("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    administrator.rightsStatus = qf::errAuthorizationCanceled;
    uninstall();
    ASSERT_TRUE(exists(left));

    const auto items = putBack();

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items.front().path, taken);
}

TEST_F(PutBackTest, RemovesWhatAKilledOneHasCopied) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    ASSERT_TRUE(fileSystem.copyItem(home / "user/.Trash/com.quillfen.Ospenth", item));
    markAsMoved(item);

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    EXPECT_EQ(trashOf(home), Lines());
    EXPECT_TRUE(exists(item));
}

TEST_F(PutBackTest, RemovesTheRestOfAFolderThatAKilledOneHasCopied) {
    const auto item = cache("Ospenth");
    write(item + "/first");
    write(item + "/second");
    uninstall();
    const auto rest = home / "user/.Trash/com.quillfen.Ospenth";
    ASSERT_TRUE(fileSystem.copyItem(rest, item));
    markAsMoved(item);
    fs::remove(rest + "/first"); // The folder has another date now.

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    EXPECT_EQ(trashOf(home), Lines());
    EXPECT_TRUE(exists(item + "/first"));
}

TEST_F(PutBackTest, LeavesAnotherItemInTheTrashThatHasTheNameOfOneThatAKilledOneHasMoved) {
    const auto item = cache("Ospenth");
    write(item + "/first");
    uninstall();
    const auto place = home / "user/.Trash/com.quillfen.Ospenth";
    fs::rename(place, item);
    markAsMoved(item);
    fs::create_directory(place);
    desktop.formerPath = home / "user/Documents/com.quillfen.Ospenth";

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    EXPECT_TRUE(exists(place));
}

TEST_F(PutBackTest, RemovesTheMarkThatAKilledOneHasLeftAlone) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    fs::rename(home / "user/.Trash/com.quillfen.Ospenth", item);
    markAsMoved(item);

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    const auto folder = fs::path(item).parent_path();
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
}

TEST_F(PutBackTest, LeavesTheTwinOfAnItemThatIsInPlaceInTheTrash) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto twin = home / "user/.Trash/com.quillfen.Ospenth";
    fs::copy_file(twin, item);
    fs::last_write_time(item, fs::last_write_time(twin));

    EXPECT_EQ(resultOf(putBack(), item).outcome, Back::inPlace);

    EXPECT_EQ(trashOf(home), Lines{"com.quillfen.Ospenth"});
}

TEST_F(PutBackTest, SaysWhyACopiedItemIsStillInTheTrashToo) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    const auto twin = home / "user/.Trash/com.quillfen.Ospenth";
    desktop.failure = EIO;
    desktop.beforePuttingBack = [&] {
        fs::copy_file(twin, item);
        fs::last_write_time(item, fs::last_write_time(twin));
    };

    const auto result = resultOf(putBack(), item);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_NE(result.reason.find("com.quillfen.Ospenth"), std::string::npos) << result.reason;
}

TEST_F(PutBackTest, MakesNoJobFileAnewWhoseKeptCopyCannotBeRead) {
    const auto file = write(agent("Lunevar"));
    uninstall();
    UnreadableFile streams(kept(file));
    const qf::ScopedService<qf::FileStreams> streamsScope(streams);

    const auto result = resultOf(putBack(), file);

    EXPECT_EQ(result.outcome, Back::failed);
    EXPECT_EQ(result.reason, "The copy of it that was kept cannot be read.");
    EXPECT_FALSE(exists(file));
}

TEST_F(PutBackTest, PreviewTellsWhatIsOccupied) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    write(item, "new");

    EXPECT_EQ(resultOf(PutBack::preview(runs.lastUninstall()), item).outcome, Back::occupied);
}

TEST_F(PutBackTest, PreviewChangesNothing) {
    const auto item = write(cache("Ospenth"));
    uninstall();

    const auto items = PutBack::preview(runs.lastUninstall());

    EXPECT_EQ(resultOf(items, item).outcome, Back::waiting);
    EXPECT_EQ(resultOf(items, item).place, home / "user/.Trash/com.quillfen.Ospenth");
    EXPECT_FALSE(exists(item));
}

class ApplicationBackTest : public PutBackTest {
protected:
    /// Makes an application that is installed in an unusual place.
    std::string makeApplication() const {
        const auto application = home / "Applications/Tools/Ospenth.app";
        write(application + "/Contents/Info.plist",
              "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
              "<string>com.quillfen.ospenth</string></dict></plist>");
        return application;
    }
};

TEST_F(ApplicationBackTest, ReturnsToWhereverItWas) {
    const auto application = makeApplication();
    uninstall();
    ASSERT_FALSE(exists(application));

    EXPECT_EQ(resultOf(putBack(), application).outcome, Back::back);
}

TEST_F(ApplicationBackTest, IsOnlyTheOneWithTheRowsIdentifier) {
    const auto application = makeApplication();
    uninstall();
    const auto place = home / "user/.Trash/Ospenth.app";
    const auto date = fileSystem.attributesOfItem(place)->modificationDate;
    write(place + "/Contents/Info.plist",
          "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
          "<string>com.example.other</string></dict></plist>");
    ASSERT_TRUE(fileSystem.setModificationDate(place, date));

    EXPECT_EQ(resultOf(putBack(), application).outcome, Back::gone);
}

} // namespace
