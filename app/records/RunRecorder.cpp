#include "app/records/RunRecorder.h"

#include "app/Explanations.h"
#include "app/records/Links.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <utility>

namespace records {

namespace {

constexpr const char* diskFailed = "The disk does not take the record.";

/// Returns whether a run finds an item at the path: not if it is a link that leads nowhere.
bool isThere(const std::string& path) {
    return platform::service<platform::FileSystem>().exists(path);
}

StepEnd endAfter(const TrashResult& result) {
    switch (result.outcome) {
    case TrashOutcome::moved:
        return {.taken = Taken::moved, .place = result.place};
    case TrashOutcome::handedOver:
        return {.taken = Taken::withRight, .place = result.place};
    case TrashOutcome::absent:
    case TrashOutcome::failed:
        break;
    }
    return {};
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
        record_.date = timestamp(platform::now());
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

void RunRecorder::itemEnded(const std::string& path, const TrashResult& result) {
    record([&] { endStep(path, isThere(path) ? StepEnd() : endAfter(result)); });
}

void RunRecorder::rowEnded(const PlanRow& row) {
    record([&] {
        const auto file =
            row.action == PlanAction::removeAgent ? jobFile(row.subject) : std::nullopt;
        if (file) {
            endStep(*file, {.taken = isThere(*file) ? Taken::left : Taken::deleted, .place = {}});
        }
    });
}

void RunRecorder::walkEnded() {
    record([&] {
        append(endOfRun(isComplete_));
        sync();
    });
}

/// Records that a job is about to be removed, if its file exists.
void RunRecorder::beginJobStep(const std::string& label) {
    const auto file = jobFile(label);
    if (file && file_ && isThere(*file)) {
        keep(*file);
        beginStep(*file, RecordedJob{.content = contentOfFile(*file), .isLoaded = isLoaded(label)});
    }
}

/// Records a step that is about to be taken, if there is an item to take.
void RunRecorder::beginStep(const std::string& path, std::optional<RecordedJob> job) {
    if (!row_ || !file_ || !isThere(path)) {
        return;
    }
    const auto item = platform::service<platform::FileSystem>().attributesOfItem(path);
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

/// Keeps a copy of a job's file. A failure is ignored: the record still has the content.
void RunRecorder::keep(const std::string& file) const {
    if (const auto directory = records_.hold(platform::MissingDirectories::fail)) {
        static_cast<void>(platform::service<platform::FileSystem>().copyItem(
            file, platform::path::appending((*directory)->path(),
                                            RunRecords::keptFile(record_.number, file))));
    }
}

void RunRecorder::endStep(const std::string& path, StepEnd end) {
    if (record_.steps.empty() || record_.steps.back().path != path || record_.steps.back().end) {
        return;
    }
    isComplete_ = isComplete_ && end.taken != Taken::left;
    record_.steps.back().end = std::move(end);
    append(endOf(record_.steps.back()));
}

void RunRecorder::append(const Json& line) {
    if (file_ && !file_->append(record_.seal.sealed(line))) {
        failure_ = diskFailed;
        file_.reset();
    }
}

void RunRecorder::sync() {
    if (file_ && !file_->sync()) {
        failure_ = diskFailed;
        file_.reset();
    }
}

bool RunRecorder::isLoaded(const std::string& label) {
    if (!loadedJobs_) {
        loadedJobs_ = jobs_.loaded();
    }
    return loadedJobs_->contains(label);
}

} // namespace records
