// What the uninstaller's privileged helper serves: only the items of the plan's table.

#include "app/PlanTable.h"
#include "platform/linux/authorization/helper/Terms.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace qf::native::helper {

namespace {

using Kind = PlannedItems::Kind;

/// Returns the directory of a base on this system.
constexpr std::string_view directoryOf(PlanBase base) {
    switch (base) {
    case PlanBase::none:
        break;
    case PlanBase::applicationsLocal:
        return "/Applications";
    case PlanBase::appSupportUser:
        return "~/Library/Application Support";
    case PlanBase::cachesUser:
        return "~/Library/Caches";
    case PlanBase::prefsUser:
        return "~/Library/Preferences";
    case PlanBase::prefsLocal:
        return "/Library/Preferences";
    case PlanBase::libraryLocal:
        return "/Library";
    case PlanBase::libraryUser:
        return "~/Library";
    }
    return "";
}

constexpr bool namesItems(const PlanStep& step) {
    return step.action != PlanAction::kill;
}

constexpr PlannedItems itemsOf(const PlanStep& step) {
    switch (step.action) {
    case PlanAction::trashBundle:
        return {Kind::application, "", step.prefix, step.names, step.suffix};
    case PlanAction::removeAgent:
        return {Kind::job, "~/Library/LaunchAgents", step.prefix, step.names, ".plist"};
    case PlanAction::trashMatching:
        return {Kind::beginning, "/Library/Receipts", step.prefix, step.names, step.suffix};
    case PlanAction::trash:
    case PlanAction::kill:
        break;
    }
    return {Kind::item, directoryOf(step.base), step.prefix, step.names, step.suffix};
}

constexpr auto plannedItems = [] {
    constexpr auto count = std::ranges::count_if(plan_table::steps, namesItems);
    std::array<PlannedItems, count> items;
    auto next = items.begin();
    for (const auto& step : plan_table::steps) {
        if (namesItems(step)) {
            *next++ = itemsOf(step);
        }
    }
    return items;
}();

} // namespace

const Terms terms{.patience = std::chrono::minutes(5), .plan = plannedItems};

} // namespace qf::native::helper
