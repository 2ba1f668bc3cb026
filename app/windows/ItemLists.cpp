#include "app/windows/ItemLists.h"

#include "platform/FileSystem.h"
#include "platform/Language.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <algorithm>

namespace start {

namespace {

using qf::qt::ItemsDescription;
using qf::qt::ItemsSection;
using qf::qt::ListedItem;

constexpr auto plannedTitle = qf::translatable("Lists", "Items to Remove");
constexpr auto nothingPlanned = qf::translatable("Lists", "Nothing of the suite was found.");
constexpr auto programs = qf::translatable("Lists", "Running programs, closed");
constexpr auto trashed = qf::translatable("Lists", "Moved to the Trash");
constexpr auto jobs = qf::translatable("Lists", "Background jobs, stopped and deleted");
constexpr auto needsPassword = qf::translatable("Lists", "%1, needs a password");
constexpr auto onePlanned =
    qf::translatable("Lists", "%1 item, %2. Nothing is removed before you press Uninstall.");
constexpr auto manyPlanned =
    qf::translatable("Lists", "%1 items, %2. Nothing is removed before you press Uninstall.");
//: Between the whole number and the decimals of a size.
constexpr auto decimalSign = qf::translatable("Lists", ".");

constexpr auto leftTitle = qf::translatable("Lists", "Items Left in Place");
constexpr auto leftMessage =
    qf::translatable("Lists", "These items could not be removed. They are whole, where they were.");

constexpr auto putBackTitle = qf::translatable("Lists", "Put Back");
constexpr auto allPutBack = qf::translatable("Lists", "Kelvane is back in its place.");
constexpr auto somePutBack =
    qf::translatable("Lists", "Not everything could be put back. What failed is where it was.");
constexpr auto inPlaceAgain = qf::translatable("Lists", "Back in their places");
constexpr auto endedEarly = qf::translatable("Lists", "Not everything could be put back: %1");
constexpr auto nothingToPutBack = qf::translatable("Lists", "There is nothing to put back.");

constexpr auto notRecordedTitle = qf::translatable("Lists", "Run Not Recorded");
constexpr auto notRecordedMessage = qf::translatable(
    "Lists", "The items are in the Trash, but not all of them can be put back by this program: %1");

bool isMovableByUser(const std::string& path) {
    return qf::service<qf::FileSystem>().isWritable(qf::path::deletingLastComponent(path));
}

/// Returns a size with the decimal sign of the person's language.
std::string shownSize(std::uint64_t size) {
    auto text = cli::readableSize(size);
    if (const auto sign = text.find('.'); sign != std::string::npos) {
        text.replace(sign, 1, qf::translated(decimalSign));
    }
    return text;
}

ListedItem listed(const InventoryRow& row) {
    const auto size = shownSize(row.size);
    return {row.path, isMovableByUser(row.path) ? size : qf::translated(needsPassword, size)};
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
        return qf::translated(nothingPlanned);
    }
    return qf::translated(found == 1 ? onePlanned : manyPlanned, std::to_string(found),
                          shownSize(cli::totalSize(rows)));
}

} // namespace

ItemsDescription plannedItems(const std::vector<InventoryRow>& rows) {
    ItemsSection stopped{qf::translated(programs), {}};
    ItemsSection moved{qf::translated(trashed), {}};
    ItemsSection deleted{qf::translated(jobs), {}};
    for (const auto& row : rows) {
        if (row.action == PlanAction::kill) {
            for (const auto& name : row.running) {
                stopped.items.push_back({name, {}});
            }
        } else if (row.state == ItemState::found) {
            auto& section = row.action == PlanAction::removeAgent ? deleted : moved;
            section.items.push_back(listed(row));
        }
    }
    ItemsDescription description{
        .title = qf::translated(plannedTitle), .message = summaryOf(rows), .sections = {}};
    addUnlessEmpty(description.sections, std::move(moved));
    addUnlessEmpty(description.sections, std::move(deleted));
    addUnlessEmpty(description.sections, std::move(stopped));
    return description;
}

ItemsDescription itemsLeft(const std::vector<cli::RowOutcome>& left) {
    ItemsDescription description{.title = qf::translated(leftTitle),
                                 .message = qf::translated(leftMessage),
                                 .sections = {},
                                 .canTryAgain = true};
    for (const auto& item : left) {
        add(description.sections, item.cause, item.row.path);
    }
    return description;
}

ItemsDescription itemsPutBack(const cli::Undone& result) {
    ItemsDescription description{.title = qf::translated(putBackTitle),
                                 .message = qf::translated(allPutBack),
                                 .sections = {}};
    if (!result.failure.empty()) {
        description.message = qf::translated(endedEarly, result.failure);
    } else if (result.items.empty()) {
        description.message = qf::translated(nothingToPutBack);
    } else if (cli::statusOf(result) != cli::ExitStatus::complete) {
        description.message = qf::translated(somePutBack);
    }
    for (const auto& item : result.items) {
        add(description.sections, item.isLeft ? item.cause : qf::translated(inPlaceAgain),
            item.path);
    }
    return description;
}

ItemsDescription notRecorded(const std::string& reason) {
    return {.title = qf::translated(notRecordedTitle),
            .message = qf::translated(notRecordedMessage, reason),
            .sections = {}};
}

} // namespace start
