#include "app/records/RunRecorder.h"

#include "app/records/TrashedItems.h"
#include "tests/app/records/MachineOnDisk.h"

#include <sys/stat.h>

#include <algorithm>

using records::RecordedStep;
using records::RunRecorder;
using records::Taken;

namespace {

const PlanRow cacheRow(const std::string& path) {
    return {PlanAction::trash, path, {}};
}

/// File streams that note what is done with them, and can fail.
class NotingStreams : public qf::FileStreams {
public:
    explicit NotingStreams(qf::FileStreams& streams) : streams_(streams) {}

    std::vector<std::string> events;
    bool isFull = false;
    bool isBroken = false;

    qf::OpenedStream openForReading(const std::string& path) override {
        return streams_.openForReading(path);
    }
    qf::OpenedStream openForUpdating(const std::string& path, const qf::FileId& spared,
                                     std::uint64_t expectedSize) override {
        return streams_.openForUpdating(path, spared, expectedSize);
    }
    qf::OpenedStream openBeside(const std::string& path, const qf::FileId& spared,
                                std::uint64_t expectedSize) override {
        return streams_.openBeside(path, spared, expectedSize);
    }
    qf::OpenedStream openExisting(const std::string& path, qf::FileAccess access) override;

private:
    qf::FileStreams& streams_;
};

class NotingStream : public qf::FileStream {
public:
    NotingStream(std::unique_ptr<qf::FileStream> stream, NotingStreams& notes)
        : stream_(std::move(stream)), notes_(notes) {}

    std::size_t read(std::span<std::byte> buffer) override { return stream_->read(buffer); }
    std::size_t write(std::span<const std::byte> bytes) override {
        notes_.events.emplace_back("write");
        if (notes_.isFull) { // Room for a part, once.
            notes_.isFull = false;
            return stream_->write(bytes.first(bytes.size() / 2));
        }
        return stream_->write(bytes);
    }
    qf::Result<void, qf::SystemError> seek(std::uint64_t position) override {
        return stream_->seek(position);
    }
    std::uint64_t position() const override { return stream_->position(); }
    qf::Result<void, qf::SystemError> makeEmpty() override { return stream_->makeEmpty(); }
    void beginSync() override { stream_->beginSync(); }
    qf::Result<void, qf::SystemError> sync() override {
        notes_.events.emplace_back("sync");
        if (notes_.isBroken) {
            return qf::Unexpected(qf::SystemError{EIO});
        }
        return stream_->sync();
    }
    void dropCache() override { stream_->dropCache(); }
    bool isAtEnd() const override { return stream_->isAtEnd(); }
    int errorIndicator() const override { return stream_->errorIndicator(); }
    qf::FileId identity() const override { return stream_->identity(); }
    qf::Result<void, qf::SystemError> copyMetadata(const qf::FileStream& source) override {
        return stream_->copyMetadata(source);
    }
    qf::Result<void, qf::SystemError> takeName() override { return stream_->takeName(); }

private:
    std::unique_ptr<qf::FileStream> stream_;
    NotingStreams& notes_;
};

qf::OpenedStream NotingStreams::openExisting(const std::string& path, qf::FileAccess access) {
    auto stream = streams_.openExisting(path, access);
    if (!stream) {
        return stream;
    }
    return std::make_unique<NotingStream>(*std::move(stream), *this);
}

class RunRecorderTest : public MachineOnDisk {
protected:
    /// Returns the recorded step of an item; the test fails if there is none.
    RecordedStep stepOf(const std::string& path, unsigned number = 1) const {
        const auto steps = runs.read(number).steps;
        const auto found = std::ranges::find(steps, path, &RecordedStep::path);
        EXPECT_NE(found, steps.end()) << path;
        return found == steps.end() ? RecordedStep() : *found;
    }

    /// Returns what is recorded if another directory is in the Trash than the one that a step
    /// found, of the same date or of another one.
    std::optional<records::StepEnd> endAfterCopying(qf::TrashOutcome outcome, bool keepsDate) {
        const auto item = cache("Ospenth");
        write(item + "/inside");
        std::filesystem::create_directory(otherDirectory);
        std::filesystem::last_write_time(otherDirectory,
                                         keepsDate ? std::filesystem::last_write_time(item)
                                                   : std::filesystem::file_time_type());
        RunRecorder recorder(runs, jobs);
        recorder.begin(RemoveShared::no);
        recorder.rowBegan(cacheRow(item));
        recorder.itemBegan(item);
        std::filesystem::remove_all(item);
        recorder.itemEnded(item, {.outcome = outcome, .place = otherDirectory});
        return stepOf(item).end;
    }

    /// Returns which directory the other one is.
    std::optional<records::DirectoryIdentity> otherIdentity() {
        return records::identityOf(*fileSystem.attributesOfItem(otherDirectory));
    }

    const std::string otherDirectory = home / "user/.Trash/com.quillfen.Ospenth";
};

TEST_F(RunRecorderTest, KnowsAnItemBeforeItIsTaken) {
    const auto item = write(cache("Ospenth"));
    ASSERT_EQ(::chmod(item.c_str(), 0640), 0);
    const auto before = fileSystem.attributesOfItem(item);
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);

    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item);

    const auto step = stepOf(item);
    EXPECT_EQ(step.action, PlanAction::trash);
    EXPECT_EQ(step.subject, item);
    EXPECT_EQ(step.item.id, before->id);
    EXPECT_EQ(step.item.owner, before->owner);
    EXPECT_EQ(step.item.group, before->group);
    EXPECT_EQ(step.item.permissions, 0640U);
    EXPECT_EQ(step.item.size, before->size);
    EXPECT_EQ(step.item.modificationDate, before->modificationDate);
    EXPECT_EQ(step.item.creationDate, before->creationDate);
    EXPECT_FALSE(step.end);
}

TEST_F(RunRecorderTest, HasAStepOnTheDiskBeforeItIsTaken) {
    const auto item = write(cache("Ospenth"));
    NotingStreams streams(fileStreams);
    const qf::ScopedService<qf::FileStreams> scope(streams);
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    streams.events.clear();

    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item);

    EXPECT_EQ(streams.events, (Lines{"write", "sync"}));
}

TEST_F(RunRecorderTest, HasTheEndOfTheRunOnTheDisk) {
    NotingStreams streams(fileStreams);
    const qf::ScopedService<qf::FileStreams> scope(streams);
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    streams.events.clear();

    recorder.walkEnded();

    EXPECT_EQ(streams.events, (Lines{"write", "sync"}));
}

TEST_F(RunRecorderTest, TellsThatTheDiskDoesNotTakeTheRecord) {
    const auto item = write(cache("Ospenth"));
    NotingStreams streams(fileStreams);
    streams.isBroken = true;
    const qf::ScopedService<qf::FileStreams> scope(streams);
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);

    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item);

    EXPECT_EQ(recorder.failure(), "The disk does not take the record.");
}

TEST_F(RunRecorderTest, WritesNoMoreOnceTheDiskHasNotTakenTheRecord) {
    const auto first = write(cache("Dunmarl"));
    const auto second = write(cache("Ospenth"));
    NotingStreams streams(fileStreams);
    const qf::ScopedService<qf::FileStreams> scope(streams);
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    streams.isBroken = true;
    recorder.rowBegan(cacheRow(first));
    recorder.itemBegan(first);
    streams.isBroken = false;
    streams.events.clear();

    recorder.rowBegan(cacheRow(second));
    recorder.itemBegan(second);
    recorder.walkEnded();

    EXPECT_EQ(streams.events, Lines());
}

TEST_F(RunRecorderTest, WritesToNoFileThatIsSwappedInForItsOwn) {
    /// Swaps each new file for another name of a precious one.
    class SwappingFileSystem : public qf::native::FileSystem {
    public:
        explicit SwappingFileSystem(std::string file) : precious(std::move(file)) {}
        qf::Result<void> writeAtomicallyWith(const std::string& path, std::string_view content,
                                             unsigned permissions,
                                             const std::optional<qf::FileDate>& date) override {
            auto written = FileSystem::writeAtomicallyWith(path, content, permissions, date);
            std::filesystem::remove(path);
            std::filesystem::create_hard_link(precious, path);
            return written;
        }
        std::string precious;
    } swapping(write(home / "precious", "precious"));
    const qf::ScopedService<qf::FileSystem> scope(swapping);
    RunRecorder recorder(runs, jobs);

    recorder.begin(RemoveShared::no);
    recorder.walkEnded();

    EXPECT_TRUE(recorder.failure());
    EXPECT_EQ(contentOf(swapping.precious), "precious");
}

TEST_F(RunRecorderTest, EndsTheRecordWhereItCannotGoOn) {
    class FailingJobs : public DescribedJobs {
    public:
        std::optional<std::set<std::string>> loaded() override { throw std::bad_alloc(); }
    } failing;
    const auto program = write(home / "Applications/Quillfen/Kelvane/Lunevar.app/program");
    const auto file = write(agent("Lunevar"));
    const auto item = write(cache("Ospenth"));
    RunRecorder recorder(runs, failing);

    uninstall(recorder);

    EXPECT_EQ(recorder.failure(), "The system has no memory left.");
    EXPECT_FALSE(exists(program) || exists(file) || exists(item));
    EXPECT_NO_THROW(stepOf(home / "Applications/Quillfen/Kelvane/Lunevar.app"));
    EXPECT_FALSE(runs.read(1).isComplete);
}

TEST_F(RunRecorderTest, FollowsNoLinkInPlaceOfItsDirectory) {
    const auto elsewhere = home.makeDirectory("elsewhere");
    home.makeDirectory("user/state/kelvane-uninstaller");
    ASSERT_EQ(::chmod(elsewhere.c_str(), 0755), 0);
    std::filesystem::create_symlink(elsewhere, home / "user/state/kelvane-uninstaller/runs");
    RunRecorder recorder(runs, jobs);

    recorder.begin(RemoveShared::no);

    EXPECT_TRUE(recorder.failure());
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
    EXPECT_EQ(fileSystem.attributesOfItem(elsewhere)->permissions, 0755U);
}

TEST_F(RunRecorderTest, FollowsALinkToTheDirectoryOfAllPrograms) {
    std::filesystem::create_symlink(home.makeDirectory("elsewhere"), home / "user/state");
    RunRecorder recorder(runs, jobs);

    recorder.begin(RemoveShared::no);

    EXPECT_FALSE(recorder.failure());
    EXPECT_TRUE(exists(home / "elsewhere/kelvane-uninstaller/runs/1.jsonl"));
}

TEST_F(RunRecorderTest, TellsWhereInTheTrashAnItemIs) {
    const auto item = write(cache("Ospenth"));

    uninstall();

    const auto end = stepOf(item).end;
    ASSERT_TRUE(end);
    EXPECT_EQ(end->taken, Taken::moved);
    EXPECT_EQ(end->place, home / "user/.Trash/com.quillfen.Ospenth");
    EXPECT_TRUE(exists(end->place));
}

TEST_F(RunRecorderTest, TellsWhatWasMovedWithTheRight) {
    const auto item = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};

    uninstall();

    const auto end = stepOf(item).end;
    ASSERT_TRUE(end);
    EXPECT_EQ(end->taken, Taken::withRight);
    EXPECT_EQ(end->place, home / "user/.Trash/com.quillfen.Ospenth.plist");
    EXPECT_EQ(runs.read(1).isComplete, true);
}

TEST_F(RunRecorderTest, TellsTheDateOfACopyOfWhichItFoundTheRest) {
    const auto end = endAfterCopying(qf::TrashOutcome::moved, false);

    EXPECT_EQ(end->copied, fileSystem.attributesOfItem(otherDirectory)->modificationDate);
    EXPECT_EQ(end->copy, otherIdentity());
}

/// What the administrator moves comes under a name of its own, be it the rest or the whole item.
TEST_F(RunRecorderTest, TakesNothingThatTheAdministratorMovedForACopy) {
    const auto end = endAfterCopying(qf::TrashOutcome::handedOver, false);

    EXPECT_FALSE(end->copied || end->copy);
}

TEST_F(RunRecorderTest, TellsWhichDirectoryACopyIs) {
    const auto end = endAfterCopying(qf::TrashOutcome::moved, true);

    EXPECT_TRUE(otherIdentity());
    EXPECT_EQ(end->copy, otherIdentity());
    EXPECT_FALSE(end->copied);
}

TEST_F(RunRecorderTest, TellsWhichDirectoryACopyOfTheAdministratorsIs) {
    const auto end = endAfterCopying(qf::TrashOutcome::handedOver, true);

    EXPECT_EQ(end->copy, otherIdentity());
}

TEST_F(RunRecorderTest, CallsNoDirectoryACopyThatWasMoved) {
    const auto item = cache("Ospenth");
    write(item + "/inside");

    uninstall();

    EXPECT_EQ(stepOf(item).end->taken, Taken::moved);
    EXPECT_FALSE(stepOf(item).end->copy);
}

TEST_F(RunRecorderTest, KnowsNoCopyWhereNothingIsInTheTrash) {
    const auto item = cache("Ospenth");
    write(item + "/inside");
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item);
    std::filesystem::remove_all(item);

    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::moved, .place = otherDirectory});

    EXPECT_EQ(stepOf(item).end->place, otherDirectory);
    EXPECT_FALSE(stepOf(item).end->copied || stepOf(item).end->copy);
}

TEST_F(RunRecorderTest, MissesNoStepOfAnItemThatWasNotTaken) {
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(cache("Ospenth")));

    recorder.itemEnded(cache("Ospenth"), {.outcome = qf::TrashOutcome::absent});

    EXPECT_FALSE(recorder.failure());
}

TEST_F(RunRecorderTest, TellsWhenTheRunBegan) {
    const auto before = records::timestamp(qf::now());
    uninstall();

    EXPECT_GE(runs.read(1).date, before);
    EXPECT_LE(runs.read(1).date, records::timestamp(qf::now()));
}

TEST_F(RunRecorderTest, TellsWhatWasLeftInPlace) {
    const auto item = write(preferences("Ospenth"));
    desktop.closed = {home / "Library/Preferences"};
    administrator.rightsStatus = qf::errAuthorizationCanceled;

    uninstall();

    EXPECT_EQ(stepOf(item).end->taken, Taken::left);
    EXPECT_EQ(runs.read(1).isComplete, false);
}

TEST_F(RunRecorderTest, BelievesNoToolThatSaysItHasMovedAnItem) {
    const auto item = write(cache("Ospenth"));
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item);

    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::handedOver, .place = "/trash/item"});
    recorder.walkEnded();

    EXPECT_EQ(stepOf(item).end->taken, Taken::left);
    EXPECT_EQ(runs.read(1).isComplete, false);
}

TEST_F(RunRecorderTest, AsksOnceWhichJobsAreLoaded) {
    write(agent("Lunevar"));
    write(agent("Dunmarl"));
    write(agent("SoftwareUpdate"));
    class CountingJobs : public DescribedJobs {
    public:
        int asked = 0;
        std::optional<std::set<std::string>> loaded() override {
            ++asked;
            return DescribedJobs::loaded();
        }
    } counting;
    RunRecorder recorder(runs, counting);

    uninstall(recorder);

    EXPECT_GT(std::ranges::count_if(runs.read(1).steps,
                                    [](const RecordedStep& step) { return step.job.has_value(); }),
              1);
    EXPECT_EQ(counting.asked, 1);
}

TEST_F(RunRecorderTest, SaysNothingOfItemsThatDoNotExist) {
    uninstall();

    EXPECT_TRUE(runs.read(1).steps.empty());
    EXPECT_EQ(runs.read(1).isComplete, true);
}

TEST_F(RunRecorderTest, HasAJobsFileAndWhetherItWasLoadedBeforeItIsRemoved) {
    const auto file = write(agent("Lunevar"), std::string("content of \xFF the job", 20));
    jobs.labels = {"com.quillfen.Lunevar"};
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);

    recorder.rowBegan({PlanAction::removeAgent, "com.quillfen.Lunevar", {}});

    const auto step = stepOf(file);
    ASSERT_TRUE(step.job);
    EXPECT_EQ(step.job->content, std::string("content of \xFF the job", 20));
    EXPECT_TRUE(step.job->isLoaded);
    EXPECT_FALSE(step.end);
}

TEST_F(RunRecorderTest, TakesAJobForLoadedIfTheServiceManagerDoesNotTell) {
    const auto file = write(agent("Lunevar"));
    jobs.labels = std::nullopt;

    uninstall();

    EXPECT_TRUE(stepOf(file).job->isLoaded);
}

TEST_F(RunRecorderTest, TellsThatTheAttributesOfAJobsFileAreNotKept) {
    class NotCopying : public qf::native::FileSystem {
    public:
        qf::Result<void> copyItem(const std::string& /*path*/,
                                  const std::string& /*newPath*/) override {
            return qf::Unexpected(
                qf::Error{.domain = {}, .code = 1, .localizedDescription = "full"});
        }
    } notCopying;
    const auto file = write(agent("Lunevar"), "content");
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    const qf::ScopedService<qf::FileSystem> scope(notCopying);

    recorder.rowBegan({PlanAction::removeAgent, "com.quillfen.Lunevar", {}});

    EXPECT_EQ(recorder.failure(), "full");
    EXPECT_EQ(stepOf(file).job->content, "content");
}

TEST_F(RunRecorderTest, TellsThatThereIsNowhereToKeepAJobsFile) {
    const auto file = write(agent("Lunevar"), "content");
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    std::filesystem::remove_all(home / "user/state");

    recorder.rowBegan({PlanAction::removeAgent, "com.quillfen.Lunevar", {}});

    EXPECT_TRUE(recorder.failure());
    EXPECT_FALSE(exists(home / "user/state"));
    EXPECT_EQ(contentOf(file), "content");
}

TEST_F(RunRecorderTest, HasTheContentOfAJobsFileFromTheCopyIfItCannotBeRead) {
    class SpoilingFileSystem : public qf::native::FileSystem {
    public:
        qf::Result<void> copyItem(const std::string& path, const std::string& newPath) override {
            auto copied = FileSystem::copyItem(path, newPath);
            std::filesystem::remove(path);
            std::filesystem::create_directory(path); // which is no readable file
            return copied;
        }
    } spoiling;
    const auto file = write(agent("Lunevar"), "content");
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    const qf::ScopedService<qf::FileSystem> scope(spoiling);

    recorder.rowBegan({PlanAction::removeAgent, "com.quillfen.Lunevar", {}});

    EXPECT_EQ(stepOf(file).job->content, "content");
    EXPECT_FALSE(recorder.failure());
}

TEST_F(RunRecorderTest, TellsThatAJobsFileCouldNotBeRead) {
    write(agent("Lunevar") + "/directory", "in place of the file");
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);

    recorder.rowBegan({PlanAction::removeAgent, "com.quillfen.Lunevar", {}});

    EXPECT_EQ(recorder.failure(), "A background job's file could not be read.");
}

TEST_F(RunRecorderTest, TellsThatAJobsFileCouldNotBeLookedAt) {
    class Unseeing : public qf::native::FileSystem {
    public:
        bool exists(const std::string& /*path*/) override { return false; }
    } unseeing;
    write(agent("Lunevar"), "content");
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    const qf::ScopedService<qf::FileSystem> scope(unseeing);

    recorder.rowBegan({PlanAction::removeAgent, "com.quillfen.Lunevar", {}});

    EXPECT_EQ(recorder.failure(), "A background job's file could not be read.");
}

TEST_F(RunRecorderTest, SaysNothingOfAJobsFileThatIsALinkToNothing) {
    const auto file = agent("Lunevar");
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::filesystem::create_symlink("nowhere", file);

    uninstall();

    EXPECT_TRUE(runs.read(1).steps.empty());
}

TEST_F(RunRecorderTest, DoesNotTellOfAJobsFileThatMayStillBeRemovedHowItEnded) {
    const auto file = write(agent("Lunevar"), "content");
    const PlanRow row{PlanAction::removeAgent, "com.quillfen.Lunevar", {}};
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(row);

    recorder.rowEnded(row);
    std::filesystem::remove(file); // as a tool with the right does
    recorder.walkEnded();

    EXPECT_FALSE(stepOf(file).end);
}

TEST_F(RunRecorderTest, IsNotCompleteWhereAJobsFileStays) {
    write(agent("Lunevar"), "content");
    const PlanRow row{PlanAction::removeAgent, "com.quillfen.Lunevar", {}};
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(row);

    recorder.rowEnded(row);
    recorder.walkEnded();

    EXPECT_EQ(runs.read(1).isComplete, false);
}

TEST_F(RunRecorderTest, TellsThatAnItemWentWhoseStepCouldNotBeRecorded) {
    const auto item = home / "user/Library/Caches/com.quillfen.Ospenth";
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item); // as if its directory could not be searched for a moment

    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::moved, .place = "/trash/item"});

    EXPECT_EQ(recorder.failure(), "An item could not be looked at before it was moved.");
}

TEST_F(RunRecorderTest, IsNotCompleteWhereAnItemStaysWhoseStepCouldNotBeRecorded) {
    const auto item = home / "user/Library/Caches/com.quillfen.Ospenth";
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item); // as if its directory could not be searched for a moment
    write(item);

    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::failed});
    recorder.walkEnded();

    EXPECT_EQ(runs.read(1).isComplete, false);
}

TEST_F(RunRecorderTest, TellsThatAnItemWentThatWasThereButCouldNotBeLookedAt) {
    class Blind : public qf::native::FileSystem {
    public:
        std::optional<qf::ItemAttributes> attributesOfItem(const std::string& /*path*/) override {
            return std::nullopt;
        }
    } blind;
    const auto item = write(cache("Ospenth"));
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(item));
    {
        const qf::ScopedService<qf::FileSystem> scope(blind);
        recorder.itemBegan(item);
    }
    std::filesystem::remove(item);

    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::moved, .place = "/trash/item"});

    EXPECT_EQ(recorder.failure(), "An item could not be looked at before it was moved.");
    EXPECT_TRUE(runs.read(1).steps.empty());
}

TEST_F(RunRecorderTest, DoesNotTellThatAnItemWasLeftThatIsGone) {
    const auto item = write(cache("Ospenth"));
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(item));
    recorder.itemBegan(item);
    std::filesystem::remove(item);

    recorder.itemEnded(item, {.outcome = qf::TrashOutcome::failed});
    recorder.walkEnded();

    EXPECT_FALSE(stepOf(item).end);
}

TEST_F(RunRecorderTest, TellsThatAJobsFileWasDeleted) {
    const auto file = write(agent("Lunevar"));

    uninstall();

    EXPECT_EQ(stepOf(file).end->taken, Taken::deleted);
    EXPECT_FALSE(stepOf(file).job->isLoaded);
    EXPECT_EQ(runs.read(1).steps.size(), 1U);
}

TEST_F(RunRecorderTest, TellsOfLinksOnTheWay) {
    const auto real = home.makeDirectory("elsewhere");
    home.makeDirectory("user/Library");
    std::filesystem::create_symlink(real, home / "user/Library/Caches");
    const auto item = write(cache("Ospenth"));

    uninstall();

    EXPECT_EQ(stepOf(item).links, Lines{home / "user/Library/Caches"});
}

TEST_F(RunRecorderTest, CountsRunsAndKeepsThemFromOthers) {
    uninstall();
    uninstall();

    EXPECT_EQ(runs.numbers(), (std::vector{2U, 1U}));
    struct stat file {};
    struct stat directory {};
    ASSERT_EQ(::stat(runs.file(2).c_str(), &file), 0);
    ASSERT_EQ(::stat((home / "user/state/kelvane-uninstaller/runs").c_str(), &directory), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0600U);
    EXPECT_EQ(directory.st_mode & 07777U, 0700U);
}

TEST_F(RunRecorderTest, ReadsNoRecordsThroughALinkInTheirPlace) {
    uninstall();
    const std::filesystem::path records = home / "user/state/kelvane-uninstaller/runs";
    const auto moved = home / "moved";
    std::filesystem::rename(records, moved);
    std::filesystem::create_directory_symlink(moved, records);

    EXPECT_THROW(runs.numbers(), qf::Exception);
    EXPECT_THROW(runs.read(1), qf::Exception);
}

TEST_F(RunRecorderTest, CountsNoFileThatIsNamedOtherwise) {
    uninstall();
    const std::filesystem::path records = runs.file(1);
    for (const char* number : {"0", "01", "-1", "1x", "one"}) {
        write(records.parent_path() / (number + records.extension().string()));
    }

    EXPECT_EQ(runs.numbers(), std::vector{1U});
}

/// A disk on which one step of making a record fails.
class FailingDisk : public qf::native::FileSystem {
public:
    bool writes = true;
    bool names = true;

    qf::Result<void> writeAtomicallyWith(const std::string& path, std::string_view content,
                                         unsigned permissions,
                                         const std::optional<qf::FileDate>& date) override {
        return writes ? FileSystem::writeAtomicallyWith(path, content, permissions, date)
                      : full("written");
    }
    qf::Result<void> moveItem(const std::string& path, const std::string& newPath) override {
        return names ? FileSystem::moveItem(path, newPath) : full("named");
    }

private:
    static qf::Unexpected<qf::Error> full(const std::string& what) {
        return qf::Unexpected(
            qf::Error{.domain = {}, .code = ENOSPC, .localizedDescription = "not " + what});
    }
};

TEST_F(RunRecorderTest, TellsWhyARecordCannotBeMade) {
    FailingDisk disk;
    const qf::ScopedService<qf::FileSystem> scope(disk);
    const auto failureOfOne = [&] {
        RunRecorder recorder(runs, jobs);
        recorder.begin(RemoveShared::no);
        return recorder.failure();
    };

    disk.writes = false;
    EXPECT_EQ(failureOfOne(), "not written");
    disk.writes = true;
    disk.names = false;
    EXPECT_EQ(failureOfOne(), "not named");
    EXPECT_TRUE(runs.numbers().empty());
}

TEST_F(RunRecorderTest, HasNoNumberForARecordThatCouldNotBeNamed) {
    FailingDisk disk;
    disk.names = false;
    const qf::ScopedService<qf::FileSystem> scope(disk);
    RunRecorder recorder(runs, jobs);

    recorder.begin(RemoveShared::no);

    EXPECT_EQ(recorder.number(), 0U);
}

TEST_F(RunRecorderTest, ClosesNoRecordThatIsGone) {
    uninstall();
    auto record = runs.read(1);
    std::filesystem::remove_all(home / "user/state");

    runs.close(record);

    EXPECT_FALSE(record.isClosed);
    EXPECT_FALSE(exists(home / "user/state"));
}

TEST_F(RunRecorderTest, TellsThatThereIsNoRecordToRead) {
    try {
        runs.read(7);
        FAIL();
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.reason(), "there is no record " + runs.file(7) + " that can be read");
    }
}

TEST_F(RunRecorderTest, KnowsTheNumberOfItsRun) {
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);

    EXPECT_EQ(recorder.number(), 1U);
}

TEST_F(RunRecorderTest, DoesNotDisturbARunThatItCannotRecord) {
    write(home / "user/state/kelvane-uninstaller", "a file in the way");
    const auto item = write(cache("Ospenth"));
    RunRecorder recorder(runs, jobs);

    uninstall(recorder);

    EXPECT_FALSE(exists(item));
    EXPECT_TRUE(recorder.failure());
}

TEST_F(RunRecorderTest, LeavesAReadableRecordWhenTheDiskIsFull) {
    const auto first = write(cache("Dunmarl"));
    const auto second = write(cache("Ospenth"));
    NotingStreams streams(fileStreams);
    const qf::ScopedService<qf::FileStreams> scope(streams);
    RunRecorder recorder(runs, jobs);
    recorder.begin(RemoveShared::no);
    recorder.rowBegan(cacheRow(first));
    recorder.itemBegan(first);
    streams.isFull = true;

    recorder.itemEnded(first, {.outcome = qf::TrashOutcome::moved});
    recorder.rowBegan(cacheRow(second));
    recorder.itemBegan(second);
    recorder.walkEnded();

    EXPECT_TRUE(recorder.failure());
    const auto record = runs.read(1);
    ASSERT_EQ(record.steps.size(), 1U);
    EXPECT_EQ(record.steps.front().path, first);
    EXPECT_FALSE(record.steps.front().end);
    EXPECT_EQ(record.isComplete, std::nullopt);
}

} // namespace
