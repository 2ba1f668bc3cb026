#include "app/records/Emptying.h"

#include "app/Explanations.h"
#include "app/records/TrashedItems.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "util/auth/QFAuthorization.h"

#include <utility>

namespace records {

namespace {

/// Returns whether a step can have put something into the Trash.
bool usesTrash(const RecordedStep& step) {
    return step.action != PlanAction::removeAgent && (!step.end || step.end->taken != Taken::left);
}

ItemEmptied trashViewOf(const RecordedStep& step, const TrashedItems& trash) {
    auto place = trash.find(step);
    const auto outcome = place ? Emptied::waiting : Emptied::gone;
    return {.path = step.path,
            .place = std::move(place).value_or(std::string()),
            .outcome = outcome,
            .reason = {}};
}

bool isInTrash(const std::string& place) {
    return platform::service<platform::FileSystem>().attributesOfItem(place).has_value();
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
                items.push_back(trashViewOf(step, trash));
            }
        }
    }
    return items;
}

std::vector<ItemEmptied> Emptying::perform(std::vector<RunRecord>& runs) {
    std::vector<ItemEmptied> items;
    for (auto& run : runs) {
        const TrashedItems trash;
        bool isWhole = true;
        for (const auto& step : run.steps) {
            if (!usesTrash(step)) {
                continue;
            }
            observer_.itemBegan(step.path);
            auto item = trashViewOf(step, trash);
            if (item.outcome == Emptied::waiting) {
                remove(item);
            }
            isWhole = isWhole && item.outcome != Emptied::failed;
            items.push_back(std::move(item));
        }
        if (isWhole && !run.isClosed) {
            records_.close(run);
        }
    }
    return items;
}

void Emptying::remove(ItemEmptied& item) {
    const auto removed = platform::service<platform::FileSystem>().removeItem(item.place);
    auto right = refusal_;
    if (!removed && !right) {
        const auto tool = QFAuthorization::sharedController().startRemoving(item.place);
        right = tool.right;
        if (tool.waitUntilExit) {
            tool.waitUntilExit();
        } else if (right && *right != platform::errAuthorizationSuccess) {
            refusal_ = right;
        }
    }
    if (!isInTrash(item.place)) {
        item.outcome = Emptied::deleted;
        platform::service<platform::Workspace>().forgetTrashed(item.place);
        return;
    }
    item.outcome = Emptied::failed;
    item.reason = removed ? std::string() : removed.error().localizedDescription;
    if (right) {
        item.reason += std::string(" ") + explanationOf(*right);
    }
}

} // namespace records
