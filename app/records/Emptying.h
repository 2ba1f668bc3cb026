#pragma once

#include "app/records/RunRecords.h"
#include "app/records/TrashedItems.h"
#include "app/records/Undoing.h"
#include "platform/AuthorizationServices.h"

#include <optional>
#include <string>
#include <vector>

namespace records {

/// What became of an item that was to be deleted from the Trash.
enum class Emptied {
    waiting, ///< it is in the Trash
    deleted, ///< for good
    gone,    ///< it was no longer in the Trash
    failed,  ///< it, or a part of it, is still in the Trash, or on its way back
};

/// Returns the name of that, as it is spelled in Emptied, for reports.
const char* nameOf(Emptied emptied);

/// The result for one item of a run.
struct ItemEmptied {
    std::string path;  ///< Where the item was before the run.
    std::string place; ///< Where it was in the Trash; empty if it was not there.
    Emptied outcome{};
    std::string reason; ///< Why it failed, in the user's words.
};

/// Deletes from the Trash what runs have put there, and nothing else. Any one thread at a time;
/// never the main thread, because the user may be asked for the administrator's right: once at
/// most, and only if an item needs it.
class Emptying {
public:
    /// Both must outlive this object.
    Emptying(const RunRecords& records, UndoObserver& observer)
        : records_(records), observer_(observer) {}

    /// Returns what would become of every item of the runs. Changes nothing. Throws as
    /// TrashedItems() does.
    static std::vector<ItemEmptied> preview(const std::vector<RunRecord>& runs);

    /// Deletes the items of the runs, and returns what became of each. Closes the record of a run
    /// of which nothing can be put back any more. No exception leaves it.
    Undone<ItemEmptied> perform(std::vector<RunRecord>& runs);

private:
    void empty(RunRecord& run, std::vector<ItemEmptied>& items);
    void remove(const RecordedStep& step, const TrashedItems& trash, ItemEmptied& item);
    std::optional<qf::AuthorizationStatus> removeWithRight(const std::string& place);

    const RunRecords& records_;
    UndoObserver& observer_;
    Progress progress_;
    /// Why the right is not asked for again.
    std::optional<qf::AuthorizationStatus> refusal_;
};

} // namespace records
