#pragma once

#include "app/records/Jobs.h"
#include "app/records/RunRecords.h"
#include "app/records/TrashedItems.h"
#include "app/records/Undoing.h"
#include "platform/AuthorizationServices.h"
#include "platform/FileSystem.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace records {

/// What became of an item that was to be put back.
enum class Back {
    waiting,  ///< it can be put back, and was not yet
    back,     ///< it is in its place again
    inPlace,  ///< it was in its place already
    occupied, ///< something else is in its place
    gone,     ///< it is no longer in the Trash
    failed,   ///< it is where it was
};

/// Returns the name of that, as it is spelled in Back, for reports.
const char* nameOf(Back back);

/// The result for one item of a run.
struct ItemBack {
    std::string path;  ///< Where the item belongs.
    std::string place; ///< Where it was in the Trash; empty if it was not there.
    Back outcome{};
    std::string reason; ///< Why it failed, in the user's words.
    std::string cause;  ///< The last part of the reason, which items may share.
};

/// Puts back what runs took away: the items from the Trash, the files of background jobs, and the
/// jobs. What is done already is found done, so that it can be repeated at any time. Nothing is
/// ever replaced, and no link that was put in the way is followed.
///
/// Any one thread at a time; never the main thread, because the user may be asked for the
/// administrator's right: once at most, and only if an item needs it.
class PutBack {
public:
    /// All must outlive this object.
    PutBack(const RunRecords& records, Jobs& jobs, UndoObserver& observer)
        : records_(records), jobs_(jobs), observer_(observer) {}

    /// Returns what would become of every item of the runs, newest run first. Changes nothing.
    /// Throws as TrashedItems() does.
    static std::vector<ItemBack> preview(const std::vector<RunRecord>& runs);

    /// Puts the items of the runs back, newest run first, and returns what became of each. Closes
    /// the record of a run of which everything is in its place. No exception leaves it.
    Undone<ItemBack> perform(std::vector<RunRecord>& runs);

private:
    bool putBack(const RunRecord& run, const TrashedItems& trash, std::vector<ItemBack>& items);
    ItemBack putBack(unsigned run, const RecordedStep& step, const TrashedItems& trash);
    using Directory = qf::Result<std::unique_ptr<qf::HeldDirectory>>;

    Directory holdDirectoryOf(const RecordedStep& step);
    void finishMove(const RecordedStep& step, const std::optional<std::string>& place);
    void move(const RecordedStep& step, const Directory& directory, ItemBack& item);
    void moveWithRight(const RecordedStep& step, ItemBack& item);
    void finishMoveWithRight(const RecordedStep& step, ItemBack& item);
    std::optional<qf::AuthorizationStatus> startMoving(const RecordedStep& step,
                                                       const std::string& place);
    void writeJobFile(unsigned run, const RecordedStep& step, const std::string& path,
                      ItemBack& item);
    void loadJobs(const RunRecord& run);
    std::vector<std::string> unloadedJobs(const RunRecord& run);

    const RunRecords& records_;
    Jobs& jobs_;
    UndoObserver& observer_;
    Progress progress_;
    /// Why the right is not asked for again.
    std::optional<qf::AuthorizationStatus> refusal_;
};

} // namespace records
