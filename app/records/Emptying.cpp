#include "app/records/Emptying.h"

#include "app/Explanations.h"
#include "app/records/TrashedItems.h"
#include "app/records/WayBack.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "util/auth/QFAuthorization.h"

#include <algorithm>
#include <utility>

namespace records {

namespace path = qf::path;

namespace {

constexpr const char* changedInTrash =
    "It is in the Trash, but was changed there or is on a volume whose Trash is not searched.";
constexpr const char* onItsWay =
    "Putting it back may have been interrupted: put the run back first.";

/// Returns whether a step can have put something into the Trash.
bool usesTrash(const RecordedStep& step) {
    return step.action != PlanAction::removeAgent && (!step.end || step.end->taken != Taken::left);
}

/// Returns whether the very item that a step has put into the Trash is there, even if it is no
/// longer like it was, or is in a Trash that is not searched.
bool isStillThere(const RecordedStep& step) {
    return step.end && !step.end->place.empty() &&
           (isItemOf(step, step.end->place) || isDirectoryOf(step, step.end->place));
}

/// Sets the outcome for a step's item that is not found in the Trash.
void passOver(const RecordedStep& step, const TrashedItems& trash, ItemEmptied& item) {
    item.outcome = Emptied::failed;
    if (mayBeOnItsWay(step)) {
        item.reason = onItsWay;
    } else if (isStillThere(step) || trash.hasNamesake(step)) {
        item.reason = changedInTrash;
    } else {
        item.outcome = Emptied::gone;
    }
}

ItemEmptied trashViewOf(const RecordedStep& step, const TrashedItems& trash) {
    auto place = trash.find(step);
    if (!place && !mayBeOnItsWay(step)) {
        place = trash.findRemains(step);
    }
    ItemEmptied item{.path = step.path,
                     .place = place.value_or(std::string()),
                     .outcome = Emptied::waiting,
                     .reason = {}};
    if (!place) {
        passOver(step, trash, item);
    }
    return item;
}

/// Returns whether an item is no longer there. One that cannot be looked at is, if its directory
/// says so.
bool isGone(const std::string& place) {
    auto& disk = qf::service<qf::FileSystem>();
    if (disk.attributesOfItem(place)) {
        return false;
    }
    const auto names = disk.contentsOfDirectory(path::deletingLastComponent(place));
    return names && std::ranges::find(*names, path::lastComponent(place),
                                      &qf::DirectoryEntry::name) == names->end();
}

/// What fails once is tried again: on a volume without creation dates, the next run would not
/// recognise the rest of a folder.
qf::Result<void> removeWithoutRight(const std::string& place) {
    auto& disk = qf::service<qf::FileSystem>();
    auto removed = disk.removeItem(place);
    return removed || takesRight(removed.error()) ? removed : disk.removeItem(place);
}

} // namespace

const char* nameOf(Emptied emptied) {
    switch (emptied) {
    case Emptied::waiting:
        return "waiting";
    case Emptied::deleted:
        return "deleted";
    case Emptied::gone:
        return "gone";
    case Emptied::failed:
        return "failed";
    }
    return "";
}

std::vector<ItemEmptied> Emptying::preview(const std::vector<RunRecord>& runs) {
    const TrashedItems trash;
    std::vector<ItemEmptied> items;
    for (const auto& run : runs) {
        for (const auto& step : run.steps) {
            if (usesTrash(step)) {
                addOnce(items, trashViewOf(step, trash));
            }
        }
    }
    return items;
}

Undone<ItemEmptied> Emptying::perform(std::vector<RunRecord>& runs) {
    return undoneBy<ItemEmptied>([&](std::vector<ItemEmptied>& items) {
        progress_ = progressThrough(runs, usesTrash);
        for (auto& run : runs) {
            empty(run, items);
        }
    });
}

void Emptying::empty(RunRecord& run, std::vector<ItemEmptied>& items) {
    const TrashedItems trash;
    bool isWhole = true;
    for (const auto& step : run.steps) {
        if (!usesTrash(step)) {
            continue;
        }
        ++progress_.number;
        observer_.itemBegan(step.path, progress_);
        auto item = trashViewOf(step, trash);
        if (item.outcome == Emptied::waiting) {
            remove(step, trash, item);
        } else if (item.outcome == Emptied::gone) {
            forget(step);
        }
        isWhole = isWhole && item.outcome != Emptied::failed;
        addOutcome(items, std::move(item), Emptied::gone);
    }
    if (isWhole && !run.isClosed) {
        records_.close(run);
    }
}

void Emptying::remove(const RecordedStep& step, const TrashedItems& trash, ItemEmptied& item) {
    const auto held = HeldItem::hold(item.place);
    if (!held) {
        item.outcome = Emptied::failed;
        item.reason = held.error().localizedDescription;
        return;
    }
    if (!isItemOf(step, held->path()) && !isDirectoryOf(step, held->path())) {
        passOver(step, trash, item);
        return;
    }
    const auto removed = removeWithoutRight(held->path());
    std::optional<qf::AuthorizationStatus> right;
    if (!removed && takesRight(removed.error())) {
        right = removeWithRight(item.place);
    }
    if (removed || isGone(held->path())) {
        item.outcome = Emptied::deleted;
        qf::service<qf::Workspace>().forgetTrashed(held->path(), item.path);
        return;
    }
    item.outcome = Emptied::failed;
    item.reason = removed.error().localizedDescription;
    if (right) {
        item.reason += std::string(" ") + explanationOf(*right);
    }
}

/// Returns the platform's answer to the last request for the right.
std::optional<qf::AuthorizationStatus> Emptying::removeWithRight(const std::string& place) {
    if (refusal_) {
        return refusal_;
    }
    const auto tool = QFAuthorization::sharedController().startRemoving(place);
    if (tool.waitUntilExit) {
        tool.waitUntilExit();
    } else if (tool.right && *tool.right != qf::errAuthorizationSuccess) {
        refusal_ = tool.right;
    }
    return tool.right;
}

} // namespace records
