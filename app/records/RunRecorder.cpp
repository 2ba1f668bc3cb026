#include "app/records/RunRecorder.h"

#include "app/Explanations.h"
#include "app/records/Links.h"
#include "app/records/TrashedItems.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/Language.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <algorithm>
#include <utility>

namespace records {

namespace {

constexpr auto diskFailed = qf::translatable("Reasons", "The disk does not take the record.");
constexpr auto itemUnread =
    qf::translatable("Reasons", "An item could not be looked at before it was moved.");
constexpr auto jobUnread =
    qf::translatable("Reasons", "A background job's file could not be read.");

/// Returns whether a run finds an item at the path: not if it is a link that leads nowhere.
bool isThere(const std::string& path) {
    return qf::service<qf::FileSystem>().exists(path);
}

/// Returns how a step ended whose item is gone; no value if nobody knows where it went.
std::optional<StepEnd> endAfter(const qf::TrashResult& result) {
    switch (result.outcome) {
    case qf::TrashOutcome::moved:
        return StepEnd{.taken = Taken::moved, .place = result.place, .copied = {}, .copy = {}};
    case qf::TrashOutcome::handedOver:
        return StepEnd{.taken = Taken::withRight, .place = result.place, .copied = {}, .copy = {}};
    case qf::TrashOutcome::absent:
    case qf::TrashOutcome::failed:
        break;
    }
    return std::nullopt;
}

/// Adds what tells the directory in the Trash from others, if it is a copy of the one that the step
/// found. If its date is another one, a killed run had made it, and what was left of the original
/// has a date of its own, because its entries were being removed.
void describeCopy(const RecordedStep& step, StepEnd& end) {
    if (end.place.empty() || step.item.kind != qf::ItemKind::directory) {
        return;
    }
    const auto item = qf::service<qf::FileSystem>().attributesOfItem(end.place);
    if (!item || item->kind != qf::ItemKind::directory) {
        return;
    }
    const bool hasDate = isRecordedItem(*item, step.item);
    if (!hasDate && end.taken == Taken::moved) {
        end.copied = item->modificationDate;
    }
    if ((hasDate || end.copied) && identityOf(*item) != identityOf(step.item)) {
        end.copy = identityOf(*item);
    }
}

} // namespace

/// Does what records something. What it throws, when memory runs out for example, ends the record
/// where it is, and nothing else.
template <class Work>
void RunRecorder::record(Work work) {
    try {
        work();
    } catch (const std::exception& exception) {
        file_.reset();
        failure_ = explanationOf(exception);
    }
}

void RunRecorder::begin(RemoveShared removeShared) {
    record([&] {
        record_.date = timestamp(qf::now());
        record_.removeShared = removeShared;
        auto created = records_.create(record_);
        if (created) {
            file_ = *std::move(created);
        } else {
            failure_ = std::move(created).error();
        }
    });
}

void RunRecorder::rowBegan(const PlanRow& row) {
    record([&] {
        row_ = row;
        if (row.action == PlanAction::removeAgent) {
            beginJobStep(row.subject);
        }
    });
}

void RunRecorder::itemBegan(const std::string& path) {
    record([&] { beginStep(path, std::nullopt); });
}

void RunRecorder::itemEnded(const std::string& path, const qf::TrashResult& result) {
    record([&] {
        const auto isTaken = endAfter(result).has_value();
        if (isTaken && file_ && !isLastStep(path)) {
            failure_ = qf::translated(itemUnread); // There was an item all the same.
        }
        isComplete_ = isComplete_ && !isThere(path); // It may have no step that could be left.
        if (const auto end = isThere(path) ? StepEnd() : endAfter(result)) {
            endStep(path, *end);
        }
    });
}

void RunRecorder::rowEnded(const PlanRow& row) {
    record([&] {
        const auto file =
            row.action == PlanAction::removeAgent ? jobFile(row.subject) : std::nullopt;
        // A file that exists may still be removed with the right: its step has no end then.
        if (file && !isThere(*file)) {
            endStep(*file, {.taken = Taken::deleted, .place = {}, .copied = {}, .copy = {}});
        }
    });
}

void RunRecorder::itemMissed(const std::string& path) {
    record([&] { isComplete_ = isComplete_ && !isThere(path); });
}

void RunRecorder::walkEnded() {
    record([&] {
        // A job's file may have stayed in a step that has no end.
        const bool isAnyLeft =
            std::any_of(record_.steps.begin(), record_.steps.end(),
                        [](const auto& step) { return !step.end && isThere(step.path); });
        append(endOfRun(isComplete_ && !isAnyLeft));
        sync();
    });
}

/// Records that a job is about to be removed, if its file exists.
void RunRecorder::beginJobStep(const std::string& label) {
    const auto file = jobFile(label);
    if (!file || !file_) {
        return;
    }
    if (isThere(*file)) {
        auto content = keep(*file);
        if (!content) {
            failure_ = qf::translated(jobUnread);
        }
        beginStep(*file, RecordedJob{.content = std::move(content), .isLoaded = isLoaded(label)});
    }
    // Its removal may see a file that could not be looked at here.
    if (!isLastStep(*file) && isFile(*file)) {
        failure_ = qf::translated(jobUnread);
    }
}

/// Records a step that is about to be taken, if there is an item to take.
void RunRecorder::beginStep(const std::string& path, std::optional<RecordedJob> job) {
    if (!row_ || !file_ || !isThere(path)) {
        return;
    }
    const auto item = qf::service<qf::FileSystem>().attributesOfItem(path);
    if (!item) {
        return;
    }
    record_.steps.push_back({.action = row_->action,
                             .subject = row_->subject,
                             .path = path,
                             .item = *item,
                             .links = linksTo(path),
                             .job = std::move(job),
                             .end = {}});
    append(beginningOf(record_.steps.back()));
    sync();
}

/// Keeps a copy of a job's file, and returns what is in it; no value if it cannot be read. Without
/// the copy the record still has the content, but neither the access list nor other attributes.
std::optional<std::string> RunRecorder::keep(const std::string& file) {
    const auto directory = records_.hold(qf::MissingDirectories::fail);
    if (!directory) {
        failure_ = directory.error().localizedDescription;
        return contentOfFile(file);
    }
    const auto copy =
        qf::path::appending((*directory)->path(), RunRecords::keptFile(record_.number, file));
    if (const auto copied = qf::service<qf::FileSystem>().copyItem(file, copy); !copied) {
        failure_ = copied.error().localizedDescription;
    }
    auto content = contentOfFile(file);
    return content ? content : contentOfFile(copy);
}

/// Returns whether the last step that was recorded is about this item.
bool RunRecorder::isLastStep(const std::string& path) const {
    return !record_.steps.empty() && record_.steps.back().path == path;
}

void RunRecorder::endStep(const std::string& path, StepEnd end) {
    if (!isLastStep(path) || record_.steps.back().end) {
        return;
    }
    isComplete_ = isComplete_ && end.taken != Taken::left;
    auto& step = record_.steps.back();
    describeCopy(step, end);
    step.end = std::move(end);
    append(endOf(step));
}

void RunRecorder::append(const Json& line) {
    if (file_ && !file_->append(record_.seal.sealed(line))) {
        failure_ = qf::translated(diskFailed);
        file_.reset();
    }
}

void RunRecorder::sync() {
    if (file_ && !file_->sync()) {
        failure_ = qf::translated(diskFailed);
        file_.reset();
    }
}

/// Returns whether a job is loaded. If that is not known it counts as loaded, as every file in its
/// directory is at the next login.
bool RunRecorder::isLoaded(const std::string& label) {
    if (!hasAskedForJobs_) {
        loadedJobs_ = jobs_.loaded();
        hasAskedForJobs_ = true;
    }
    return !loadedJobs_ || loadedJobs_->contains(label);
}

} // namespace records
