#include "app/records/PutBack.h"

#include "app/Explanations.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/UserAccount.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/QFFileManager.h"

#include <algorithm>
#include <utility>

namespace path = platform::path;

namespace records {

namespace {

constexpr const char* linkInTheWay = "A link is in the way: ";
constexpr const char* contentUnknown = "Its content could not be read before it was deleted.";
constexpr const char* directoryMissing = "Its folder does not exist and could not be made.";

platform::FileSystem& fileSystem() {
    return platform::service<platform::FileSystem>();
}

bool isTaken(const std::string& itemPath) {
    return fileSystem().attributesOfItem(itemPath).has_value();
}

bool wasTaken(const RecordedStep& step) {
    return !step.end || step.end->taken != Taken::left;
}

bool isJobFile(const RecordedStep& step) {
    return step.action == PlanAction::removeAgent;
}

/// Returns the first link on the way to an item that was no link when the step was recorded; empty
/// if the way is as it was.
std::string linkOnTheWay(const RecordedStep& step) {
    std::string way;
    for (const auto& component : path::components(path::deletingLastComponent(step.path))) {
        way = path::appending(way, component);
        const auto item = fileSystem().attributesOfItem(way);
        const bool isLink = item && item->kind == platform::ItemKind::link;
        if (isLink && std::ranges::find(step.links, way) == step.links.end()) {
            return way;
        }
    }
    return {};
}

/// Returns what is seen of an item before anything is done.
ItemBack viewOf(const RecordedStep& step, const TrashedItems& trash) {
    ItemBack item{.path = step.path, .place = {}, .outcome = Back::waiting, .reason = {}};
    const auto there = fileSystem().attributesOfItem(step.path);
    if (!isJobFile(step)) {
        item.place = trash.find(step).value_or(std::string());
    }
    const bool canReturn = isJobFile(step) || !item.place.empty();
    if (there && isRecordedItem(*there, step.item)) {
        item.outcome = Back::inPlace;
    } else if (!canReturn) {
        item.outcome = Back::gone;
    } else if (there) {
        item.outcome = Back::occupied;
    }
    return item;
}

/// Makes the directory of an item if it is missing.
bool makeDirectoryOf(const std::string& itemPath) {
    const auto directory = path::deletingLastComponent(itemPath);
    return fileSystem().isDirectory(directory) ||
           QFFileManager::createDirectory(directory, ShouldAuth::yes);
}

void fail(ItemBack& item, const std::string& reason) {
    item.outcome = Back::failed;
    item.reason = reason;
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
                items.push_back(viewOf(step, trash));
            }
        }
    }
    return items;
}

std::vector<ItemBack> PutBack::perform(std::vector<RunRecord>& runs) {
    // Even without a run: looking at the Trash removes what a killed one has prepared there.
    const TrashedItems trash;
    std::vector<ItemBack> items;
    for (auto& run : runs) {
        bool isWhole = true;
        for (const auto& step : run.steps) {
            if (wasTaken(step)) {
                observer_.itemBegan(step.path);
                items.push_back(putBack(run.number, step, trash));
                const auto outcome = items.back().outcome;
                isWhole = isWhole && (outcome == Back::back || outcome == Back::inPlace);
            }
        }
        loadJobs(run);
        if (isWhole && !run.isClosed) {
            records_.close(run);
        }
    }
    return items;
}

ItemBack PutBack::putBack(unsigned run, const RecordedStep& step, const TrashedItems& trash) {
    auto item = viewOf(step, trash);
    if (item.outcome != Back::waiting) {
        return item;
    }
    if (const auto link = linkOnTheWay(step); !link.empty()) {
        fail(item, linkInTheWay + link);
    } else if (!makeDirectoryOf(step.path)) {
        fail(item, directoryMissing);
    } else if (isJobFile(step)) {
        writeJobFile(run, step, item);
    } else {
        move(step, item);
    }
    if (item.outcome == Back::back && step.item.immutable) {
        static_cast<void>(fileSystem().setImmutable(step.path, true));
    }
    return item;
}

void PutBack::move(const RecordedStep& step, ItemBack& item) {
    const auto moved = platform::service<platform::Workspace>().putBack(item.place, step.path);
    if (moved) {
        item.outcome = Back::back;
    } else if (isTaken(step.path)) {
        item.outcome = Back::occupied;
    } else if (platform::service<platform::UserAccount>().realUserId() == 0) {
        fail(item, moved.error().localizedDescription);
    } else {
        item.reason = moved.error().localizedDescription;
        moveWithRight(step, item);
    }
}

/// The tool that moves the item replaces nothing: it is the helper's own.
void PutBack::moveWithRight(const RecordedStep& step, ItemBack& item) {
    auto right = refusal_;
    if (!right) {
        const auto tool = QFAuthorization::sharedController().startMoving(item.place, step.path);
        right = tool.right;
        if (tool.waitUntilExit) {
            tool.waitUntilExit();
        } else if (right && *right != platform::errAuthorizationSuccess) {
            refusal_ = right;
        }
    }
    if (isTaken(step.path) && !isTaken(item.place)) {
        item.outcome = Back::back;
        item.reason.clear();
        platform::service<platform::Workspace>().forgetTrashed(item.place);
        return;
    }
    fail(item, right ? item.reason + " " + explanationOf(*right) : item.reason);
}

/// The file is made elsewhere with all that it had, and then moved to its place, which replaces
/// nothing.
void PutBack::writeJobFile(unsigned run, const RecordedStep& step, ItemBack& item) {
    if (!step.job->content) {
        fail(item, contentUnknown);
        return;
    }
    auto& files = fileSystem();
    const auto kept = records_.keptFile(run, step.path);
    const bool isKept = contentOfFile(kept) == step.job->content;
    const auto made = isKept ? platform::Result<void>() : makeJobFile(step);
    const auto moved =
        made ? files.moveItem(isKept ? kept : records_.unfinishedFile(), step.path) : made;
    if (moved) {
        item.outcome = Back::back;
    } else if (isTaken(step.path)) {
        item.outcome = Back::occupied;
    } else {
        fail(item, moved.error().localizedDescription);
    }
}

/// Makes a job's file as it was recorded, at the path of the unfinished file.
platform::Result<void> PutBack::makeJobFile(const RecordedStep& step) const {
    auto& files = fileSystem();
    const auto unfinished = records_.unfinishedFile();
    auto done = files.writeAtomically(unfinished, *step.job->content);
    done = done ? files.setPosixPermissions(unfinished, step.item.permissions) : std::move(done);
    return done ? files.setModificationDate(unfinished, step.item.modificationDate)
                : std::move(done);
}

/// Loads the jobs that were loaded before the run, once their programs are back.
void PutBack::loadJobs(const RunRecord& run) {
    std::optional<std::set<std::string>> loaded;
    for (const auto& step : run.steps) {
        if (!step.job || !step.job->isLoaded || step.job->content != contentOfFile(step.path)) {
            continue;
        }
        if (!loaded) {
            loaded = jobs_.loaded();
        }
        if (!loaded->contains(step.subject)) {
            jobs_.load(step.path);
        }
    }
}

} // namespace records
