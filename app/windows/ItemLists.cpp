#include "app/windows/ItemLists.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <algorithm>

namespace start {

namespace {

using platform::qt::ItemsDescription;
using platform::qt::ItemsSection;
using platform::qt::ListedItem;

constexpr const char* plannedTitle = "Items to Remove";
constexpr const char* nothingPlanned = "Nothing of the suite was found.";
constexpr const char* programs = "Closed if they are running";
constexpr const char* trashed = "Moved to the Trash";
constexpr const char* jobs = "Background jobs, stopped and deleted";
constexpr const char* needsPassword = "needs a password";

constexpr const char* leftTitle = "Items Left in Place";
constexpr const char* leftMessage = "These items could not be removed. They are whole, where they "
                                    "were.";

constexpr const char* putBackTitle = "Put Back";
constexpr const char* allPutBack = "Kelvane is back in its place.";
constexpr const char* somePutBack =
    "Not everything could be put back. What failed is where it was.";
constexpr const char* inPlaceAgain = "Back in their places";
constexpr const char* endedEarly = "Not everything could be put back: ";
constexpr const char* nothingToPutBack = "There is nothing to put back.";

constexpr const char* notRecordedTitle = "Run Not Recorded";
constexpr const char* notRecordedMessage =
    "The items are in the Trash, but not all of them can be put back by this program: ";

bool isMovableByUser(const std::string& path) {
    return platform::service<platform::FileSystem>().isWritable(
        platform::path::deletingLastComponent(path));
}

ListedItem listed(const InventoryRow& row) {
    const auto size = cli::readableSize(row.size);
    return {row.path, isMovableByUser(row.path) ? size : size + ", " + needsPassword};
}

void addUnlessEmpty(std::vector<ItemsSection>& sections, ItemsSection section) {
    if (!section.items.empty()) {
        sections.push_back(std::move(section));
    }
}

/// Adds an item to the section with this heading.
void add(std::vector<ItemsSection>& sections, const std::string& heading, const std::string& path) {
    auto section = std::ranges::find(sections, heading, &ItemsSection::heading);
    if (section == sections.end()) {
        section = sections.insert(section, ItemsSection{heading, {}});
    }
    section->items.push_back({path, {}});
}

std::string summaryOf(const std::vector<InventoryRow>& rows) {
    const auto found = std::ranges::count(rows, ItemState::found, &InventoryRow::state);
    if (found == 0) {
        return nothingPlanned;
    }
    return std::to_string(found) + (found == 1 ? " item, " : " items, ") +
           cli::readableSize(cli::totalSize(rows)) +
           ". Nothing is removed before you press Uninstall.";
}

} // namespace

ItemsDescription plannedItems(const std::vector<InventoryRow>& rows) {
    ItemsSection stopped{programs, {}};
    ItemsSection moved{trashed, {}};
    ItemsSection deleted{jobs, {}};
    for (const auto& row : rows) {
        if (row.action == PlanAction::kill) {
            for (const auto& name : row.names) {
                stopped.items.push_back({name, {}});
            }
        } else if (row.state == ItemState::found) {
            auto& section = row.action == PlanAction::removeAgent ? deleted : moved;
            section.items.push_back(listed(row));
        }
    }
    ItemsDescription description{.title = plannedTitle, .message = summaryOf(rows), .sections = {}};
    addUnlessEmpty(description.sections, std::move(moved));
    addUnlessEmpty(description.sections, std::move(deleted));
    addUnlessEmpty(description.sections, std::move(stopped));
    return description;
}

ItemsDescription itemsLeft(const std::vector<cli::RowOutcome>& left) {
    ItemsDescription description{
        .title = leftTitle, .message = leftMessage, .sections = {}, .canTryAgain = true};
    for (const auto& item : left) {
        add(description.sections, item.cause, item.row.path);
    }
    return description;
}

ItemsDescription itemsPutBack(const cli::Undone& result) {
    ItemsDescription description{.title = putBackTitle, .message = allPutBack, .sections = {}};
    if (!result.failure.empty()) {
        description.message = endedEarly + result.failure;
    } else if (result.items.empty()) {
        description.message = nothingToPutBack;
    } else if (cli::statusOf(result) != cli::ExitStatus::complete) {
        description.message = somePutBack;
    }
    for (const auto& item : result.items) {
        add(description.sections, item.isLeft ? item.reason : inPlaceAgain, item.path);
    }
    return description;
}

ItemsDescription notRecorded(const std::string& reason) {
    return {.title = notRecordedTitle, .message = notRecordedMessage + reason, .sections = {}};
}

} // namespace start
