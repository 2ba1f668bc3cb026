#pragma once

#include "app/UninstallPlan.h"
#include "app/records/RecordLines.h"
#include "platform/AuthorizationServices.h"
#include "platform/FileSystem.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace records {

/// What became of an item of a step.
enum class Taken {
    moved,     ///< into the Trash, by the user
    withRight, ///< into the Trash, with the administrator's right
    deleted,   ///< as a job's file is
    left,      ///< in place
};

/// Which directory it is, on a volume that keeps creation dates, whatever becomes of its contents.
struct DirectoryIdentity {
    qf::FileId id;
    qf::FileDate creationDate;

    bool operator==(const DirectoryIdentity&) const = default;
};

/// How a step ended.
struct StepEnd {
    Taken taken = Taken::left;
    std::string place; ///< In the Trash; empty if the item is not there.
    /// The modification date of the directory at that place, if it is the copy that a killed run
    /// had made, and the step only removed what was left of the original.
    std::optional<qf::FileDate> copied;
    /// The directory at that place, if it is a copy of the item.
    std::optional<DirectoryIdentity> copy;

    bool operator==(const StepEnd&) const = default;
};

/// A background job before it was removed.
struct RecordedJob {
    std::optional<std::string> content; ///< Of its file; no value if that could not be read.
    bool isLoaded = false;              ///< Or may be: the service manager did not tell.

    bool operator==(const RecordedJob&) const = default;
};

/// One item that a run has taken away, or was about to.
struct RecordedStep {
    PlanAction action{};            ///< Of the plan's row.
    std::string subject;            ///< Of the plan's row.
    std::string path;               ///< Where the item was.
    qf::ItemAttributes item;        ///< As they were before.
    std::vector<std::string> links; ///< The links on the way to the item.
    std::optional<RecordedJob> job; ///< Only for a row that removes a job.
    std::optional<StepEnd> end;     ///< Missing if that is not known, as after a kill.
};

/// What is known of one run of the uninstaller.
struct RunRecord {
    /// Counted from 1; a newer run has a higher number.
    unsigned number = 0;
    std::string date; ///< When the run began, in ISO 8601 format.
    RemoveShared removeShared = RemoveShared::no;
    std::vector<RecordedStep> steps;
    /// Whether nothing was left in place; no value if the run was killed.
    std::optional<bool> isComplete;
    /// Whether all that it took is back, or deleted for good.
    bool isClosed = false;
    /// Seals the next line.
    LineSeal seal;
    /// The identity of its file.
    qf::FileId file;
};

// The objects of a record's lines, in the order in which they are written.
Json headOf(const RunRecord& record);
Json beginningOf(const RecordedStep& step);
Json endOf(const RecordedStep& step);
Json endOfRun(bool isComplete);
Json closure();

/// Returns what a record says. Throws qf::Exception "QFRecordUnusable", whose reason begins
/// with the number of the line, if a line was edited or cut short, or says what no run of the plan
/// could have recorded: a record is no licence to touch other paths.
RunRecord parsedRecord(unsigned number, std::string_view text);

} // namespace records
