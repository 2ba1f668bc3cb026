#include "app/records/PutBack.h"

#include "app/Explanations.h"
#include "app/records/WayBack.h"
#include "platform/Language.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "util/auth/QFAuthorization.h"

#include <algorithm>
#include <utility>

namespace path = qf::path;

namespace records {

namespace {

constexpr auto linkInTheWay = qf::translatable("Reasons", "A link is in the way: %1");
constexpr auto contentUnknown =
    qf::translatable("Reasons", "Its content could not be read before it was deleted.");
constexpr auto keptUnreadable =
    qf::translatable("Reasons", "The copy of it that was kept cannot be read.");

qf::FileSystem& fileSystem() {
    return qf::service<qf::FileSystem>();
}

bool wasTaken(const RecordedStep& step) {
    return !step.end || step.end->taken != Taken::left;
}

bool isJobFile(const RecordedStep& step) {
    return step.action == PlanAction::removeAgent;
}

/// Returns what is seen of an item before anything is done.
ItemBack viewOf(const RecordedStep& step, const TrashedItems& trash) {
    ItemBack item{
        .path = step.path, .place = {}, .outcome = Back::waiting, .reason = {}, .cause = {}};
    if (!isJobFile(step)) {
        item.place = trash.find(step).value_or(std::string());
    }
    const bool canReturn = isJobFile(step) || !item.place.empty();
    if (isItemOf(step, step.path)) {
        item.outcome = Back::inPlace;
    } else if (!canReturn && !mayBeOnItsWay(step)) {
        item.outcome = Back::gone;
    } else if (isTaken(step.path)) {
        item.outcome = Back::occupied;
    }
    return item;
}

/// Returns whether an item waits that is in neither of its places.
bool isOnItsWay(const RecordedStep& step, const ItemBack& item) {
    return item.outcome == Back::waiting && item.place.empty() && !isJobFile(step);
}

void fail(ItemBack& item, const std::string& reason) {
    item.outcome = Back::failed;
    item.reason = reason;
    item.cause = reason;
}

} // namespace

const char* nameOf(Back back) {
    switch (back) {
    case Back::waiting:
        return "waiting";
    case Back::back:
        return "back";
    case Back::inPlace:
        return "inPlace";
    case Back::occupied:
        return "occupied";
    case Back::gone:
        return "gone";
    case Back::failed:
        return "failed";
    }
    return "";
}

std::vector<ItemBack> PutBack::preview(const std::vector<RunRecord>& runs) {
    const TrashedItems trash;
    std::vector<ItemBack> items;
    for (const auto& run : runs) {
        for (const auto& step : run.steps) {
            if (wasTaken(step)) {
                addOnce(items, viewOf(step, trash));
            }
        }
    }
    return items;
}

Undone<ItemBack> PutBack::perform(std::vector<RunRecord>& runs) {
    return undoneBy<ItemBack>([&](std::vector<ItemBack>& items) {
        // Even without a run: looking at the Trash removes what a killed one has prepared there.
        const TrashedItems trash;
        progress_ = progressThrough(runs, wasTaken);
        std::vector<RunRecord*> whole;
        for (auto& run : runs) {
            if (putBack(run, trash, items)) {
                whole.push_back(&run);
            }
        }
        // A job's program may have been taken by another run.
        for (const auto& run : runs) {
            loadJobs(run);
        }
        for (auto* run : whole) {
            if (!run->isClosed) {
                records_.close(*run);
            }
        }
    });
}

/// Returns whether all that the run took is in place.
bool PutBack::putBack(const RunRecord& run, const TrashedItems& trash,
                      std::vector<ItemBack>& items) {
    bool isWhole = true;
    for (const auto& step : run.steps) {
        if (wasTaken(step)) {
            ++progress_.number;
            observer_.itemBegan(step.path, progress_);
            auto item = putBack(run.number, step, trash);
            const auto outcome = item.outcome;
            addOutcome(items, std::move(item), Back::inPlace);
            isWhole = isWhole && (outcome == Back::back || outcome == Back::inPlace);
        }
    }
    return isWhole;
}

ItemBack PutBack::putBack(unsigned run, const RecordedStep& step, const TrashedItems& trash) {
    auto item = viewOf(step, trash);
    if (item.outcome == Back::inPlace) {
        finishMove(step, item.place.empty() ? trash.findRest(step) : item.place);
    } else if (isOnItsWay(step, item)) {
        finishMoveWithRight(step, item);
    }
    if (item.outcome != Back::waiting) {
        if (item.place.empty()) {
            forget(step);
        }
        return item;
    }
    const auto directory = holdDirectoryOf(step);
    const auto itemPath =
        directory ? path::appending((*directory)->path(), path::lastComponent(step.path))
                  : std::string();
    if (const auto link = directory ? std::string() : linkOnTheWay(step); !link.empty()) {
        fail(item, qf::translated(linkInTheWay, link));
    } else if (!isJobFile(step)) {
        move(step, directory, item);
    } else if (directory) {
        writeJobFile(run, step, itemPath, item);
    } else {
        fail(item, directory.error().localizedDescription);
    }
    if (item.outcome == Back::back && step.item.immutable && directory) {
        static_cast<void>(fileSystem().setImmutable(itemPath, true));
    }
    return item;
}

/// Holds the directory that a step's item was in, and makes it if it is missing. Follows no link
/// that was not there before.
PutBack::Directory PutBack::holdDirectoryOf(const RecordedStep& step) {
    const auto directory = path::deletingLastComponent(step.path);
    auto held = fileSystem().holdDirectory(directory, step.links, qf::MissingDirectories::create);
    if (held || refusal_ || !takesRight(held.error()) || isSuperuser() ||
        !QFAuthorization::sharedController().authCreateDir(directory)) {
        return held;
    }
    auto made = fileSystem().holdDirectory(directory, step.links, qf::MissingDirectories::fail);
    return made ? std::move(made) : std::move(held);
}

/// Removes what is left of an item that was copied to its place, if its move was killed in between.
/// The platform knows that; nothing else is removed.
void PutBack::finishMove(const RecordedStep& step, const std::optional<std::string>& place) {
    if (!place) {
        return;
    }
    const auto held = HeldItem::hold(*place);
    const auto directory = fileSystem().holdDirectory(path::deletingLastComponent(step.path),
                                                      step.links, qf::MissingDirectories::fail);
    if (held && directory) {
        qf::service<qf::Workspace>().finishPutBack(
            held->path(), path::appending((*directory)->path(), path::lastComponent(step.path)));
    }
}

void PutBack::move(const RecordedStep& step, const Directory& directory, ItemBack& item) {
    const auto held = HeldItem::hold(item.place);
    if (!held) {
        fail(item, held.error().localizedDescription);
        return;
    }
    if (!isItemOf(step, held->path())) {
        item.outcome = Back::gone;
        return;
    }
    const auto moved =
        directory ? qf::service<qf::Workspace>().putBack(
                        held->path(),
                        path::appending((*directory)->path(), path::lastComponent(step.path)))
                  : qf::Unexpected(directory.error());
    if (moved) {
        item.outcome = Back::back;
    } else if (isItemOf(step, step.path)) { // It was copied, and could not be removed.
        fail(item, moved.error().localizedDescription);
    } else if (isTaken(step.path)) {
        item.outcome = Back::occupied;
    } else {
        fail(item, moved.error().localizedDescription);
        if (takesRight(moved.error()) && !isSuperuser()) {
            moveWithRight(step, item);
        }
    }
}

/// Has a move finished that was killed between the Trash and the place. If that finds nothing to
/// move, the item is gone.
void PutBack::finishMoveWithRight(const RecordedStep& step, ItemBack& item) {
    if (!refusal_) {
        startMoving(step, step.end->place);
    }
    if (isItemOf(step, step.path)) {
        item.outcome = Back::back;
    } else if (refusal_) {
        fail(item, explanationOf(*refusal_));
    } else {
        item.outcome = Back::gone;
    }
}

/// The tool that moves the item replaces nothing: it is the helper's own.
void PutBack::moveWithRight(const RecordedStep& step, ItemBack& item) {
    const auto right = refusal_ ? refusal_ : startMoving(step, item.place);
    if (isItemOf(step, step.path) && !isTaken(item.place)) {
        item.outcome = Back::back;
        item.reason.clear();
        item.cause.clear();
        qf::service<qf::Workspace>().forgetTrashed(item.place, step.path);
    } else if (right) {
        item.cause = explanationOf(*right);
        item.reason += " " + item.cause;
    }
}

/// Returns the platform's answer to the last request for the right, once the tool has ended.
std::optional<qf::AuthorizationStatus> PutBack::startMoving(const RecordedStep& step,
                                                            const std::string& place) {
    const auto tool = QFAuthorization::sharedController().startMoving(place, step.path);
    if (tool.waitUntilExit) {
        tool.waitUntilExit();
    } else if (tool.right && *tool.right != qf::errAuthorizationSuccess &&
               *tool.right != qf::errAuthorizationToolExecuteFailure) { // which is the item's
        refusal_ = tool.right;
    }
    return tool.right;
}

/// The file is made elsewhere with all that it had, and then moved to its place, which replaces
/// nothing.
void PutBack::writeJobFile(unsigned run, const RecordedStep& step, const std::string& itemPath,
                           ItemBack& item) {
    if (!step.job->content) {
        fail(item, qf::translated(contentUnknown));
        return;
    }
    const auto records = records_.hold(qf::MissingDirectories::fail);
    if (!records) {
        fail(item, records.error().localizedDescription);
        return;
    }
    auto made = path::appending((*records)->path(), RunRecords::keptFile(run, step.path));
    auto done = qf::Result<void>();
    const auto kept = contentOfFile(made);
    if (!kept && isFile(made)) { // It may have more than the record, such as an access list.
        fail(item, qf::translated(keptUnreadable));
        return;
    }
    if (kept != step.job->content) {
        made = path::appending((*records)->path(), RunRecords::unfinishedFile);
        done = fileSystem().writeAtomicallyWith(made, *step.job->content, step.item.permissions,
                                                step.item.modificationDate);
    }
    done = done ? fileSystem().moveItem(made, itemPath) : std::move(done);
    if (done) {
        item.outcome = Back::back;
    } else if (isTaken(itemPath)) {
        item.outcome = Back::occupied;
    } else {
        fail(item, done.error().localizedDescription);
    }
}

/// Loads the jobs that were loaded before the run, once their programs are back. A tool that was
/// killed is asked once more.
void PutBack::loadJobs(const RunRecord& run) {
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        for (const auto& file : unloadedJobs(run)) {
            jobs_.load(file);
        }
    }
}

/// Returns the files that are back of jobs that were loaded before the run and are not now.
std::vector<std::string> PutBack::unloadedJobs(const RunRecord& run) {
    std::vector<std::string> files;
    std::optional<std::set<std::string>> loaded;
    for (const auto& step : run.steps) {
        if (!step.job || !step.job->isLoaded || step.job->content != contentOfFile(step.path)) {
            continue;
        }
        if (!loaded) {
            loaded = jobs_.loaded().value_or(std::set<std::string>());
        }
        if (!loaded->contains(step.subject)) {
            files.push_back(step.path);
        }
    }
    return files;
}

} // namespace records
