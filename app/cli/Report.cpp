#include "app/cli/Report.h"

#include "app/cli/Document.h"
#include "app/cli/RunObserver.h"
#include "platform/FileSystem.h"
#include "platform/Language.h"
#include "platform/Services.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>

namespace cli {

namespace {

constexpr auto movedButBack = qf::translatable(
    "Reasons", "It was moved to the Trash, but there is an item at its path again.");
constexpr auto unexplained = qf::translatable("Reasons", "It could not be removed.");

const char* nameOf(ItemState state) {
    switch (state) {
    case ItemState::none:
        return "none";
    case ItemState::absent:
        return "absent";
    case ItemState::found:
        return "found";
    case ItemState::repeated:
        return "repeated";
    }
    return "";
}

const char* nameOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::signalled:
        return "signalled";
    case Outcome::moved:
        return "moved";
    case Outcome::deleted:
        return "deleted";
    case Outcome::absent:
        return "absent";
    case Outcome::left:
        return "left";
    }
    return "";
}

RowOutcome leftBecause(const InventoryRow& row, const std::string& reason,
                       const std::string& cause) {
    return {.row = row, .outcome = Outcome::left, .trashed = {}, .reason = reason, .cause = cause};
}

RowOutcome leftBecause(const InventoryRow& row, const std::string& reason) {
    return leftBecause(row, reason, reason);
}

RowOutcome left(const InventoryRow& row, const RunObserver& observer) {
    if (observer.wasMoved(row.path)) {
        return leftBecause(row, qf::translated(movedButBack));
    }
    const auto reason = observer.whyNotMoved(row.path);
    if (reason.empty()) {
        return leftBecause(row, qf::translated(unexplained));
    }
    return leftBecause(row, reason, observer.lastCause(row.path));
}

RowOutcome outcomeOf(const InventoryRow& row, const RunObserver& observer) {
    if (row.state == ItemState::none) {
        return {.row = row, .outcome = Outcome::signalled};
    }
    if (row.state == ItemState::absent) {
        return {.row = row, .outcome = Outcome::absent};
    }
    if (qf::service<qf::FileSystem>().exists(row.path)) {
        return left(row, observer);
    }
    if (row.state == ItemState::repeated) {
        return {.row = row, .outcome = Outcome::absent};
    }
    if (row.action == PlanAction::removeAgent || observer.wasDeleted(row.path)) {
        return {.row = row, .outcome = Outcome::deleted};
    }
    return {.row = row, .outcome = Outcome::moved, .trashed = observer.placeInTrash(row.path)};
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::string padded(const std::string& text, std::size_t width, bool toTheRight) {
    const std::string gap(width > text.size() ? width - text.size() : 0, ' ');
    return toTheRight ? gap + text : text + gap;
}

std::string lineOf(const InventoryRow& row) {
    constexpr std::size_t stateWidth = 8;
    constexpr std::size_t sizeWidth = 9;
    const bool isFound = row.state == ItemState::found;
    const auto what = row.state == ItemState::none ? joined(row.running)
                      : row.path.empty()
                          ? row.subject + (row.names.empty() ? "" : ": " + joined(row.names))
                          : row.path;
    return padded(row.state == ItemState::none ? "stop" : nameOf(row.state), stateWidth, false) +
           padded(isFound ? readableSize(row.size) : "", sizeWidth, true) + "  " +
           qf::text::printable(what) + '\n';
}

/// Returns the head of a document about a run.
Json frame(RemoveShared removeShared) {
    auto document = documentHead();
    document["removeShared"] = removeShared == RemoveShared::yes;
    return document;
}

Json json(const InventoryRow& row) {
    Json object = {{"action", nameOf(row.action)}, {"subject", qf::text::validUtf8(row.subject)}};
    if (!row.names.empty()) {
        object["names"] = row.names;
    }
    if (!row.path.empty()) {
        object["path"] = qf::text::validUtf8(row.path);
    }
    return object;
}

} // namespace

std::vector<RowOutcome> outcomesOf(const std::vector<InventoryRow>& before,
                                   const RunObserver& observer) {
    std::vector<RowOutcome> outcomes;
    outcomes.reserve(before.size());
    for (const auto& row : before) {
        outcomes.push_back(outcomeOf(row, observer));
    }
    return outcomes;
}

std::uint64_t totalSize(const std::vector<InventoryRow>& rows) {
    return std::transform_reduce(rows.begin(), rows.end(), std::uint64_t{0}, std::plus<>(),
                                 [](const InventoryRow& row) { return row.size; });
}

std::string readableSize(std::uint64_t size) {
    constexpr std::array units = {"B", "kB", "MB", "GB", "TB", "PB"};
    constexpr double step = 1000;
    auto value = static_cast<double>(size);
    std::size_t unit = 0;
    while (value >= step && unit + 1 < units.size()) {
        value /= step;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text.data();
}

std::string listAsText(const std::vector<InventoryRow>& rows) {
    std::string text;
    for (const auto& row : rows) {
        if (row.state != ItemState::none || !row.running.empty()) {
            text += lineOf(row);
        }
    }
    const auto found = std::ranges::count(rows, ItemState::found, &InventoryRow::state);
    return text + '\n' + std::to_string(found) + (found == 1 ? " item" : " items") + " found, " +
           readableSize(totalSize(rows)) + '\n';
}

std::string listAsJson(const std::vector<InventoryRow>& rows, RemoveShared removeShared) {
    auto document = frame(removeShared);
    document["found"] = std::ranges::count(rows, ItemState::found, &InventoryRow::state);
    document["size"] = totalSize(rows);
    document["rows"] = Json::array();
    for (const auto& row : rows) {
        auto object = json(row);
        object["state"] = nameOf(row.state);
        if (row.state == ItemState::found) {
            object["size"] = row.size;
        }
        if (row.state == ItemState::none) {
            object["running"] = row.running;
        }
        document["rows"].push_back(std::move(object));
    }
    return written(document);
}

std::string reportAsJson(const std::string& result, RemoveShared removeShared,
                         const std::vector<RowOutcome>& outcomes) {
    auto document = frame(removeShared);
    document["result"] = result;
    document["rows"] = Json::array();
    for (const auto& [row, outcome, trashed, reason, cause] : outcomes) {
        auto object = json(row);
        object["outcome"] = nameOf(outcome);
        if (row.state == ItemState::found) {
            object["size"] = row.size;
        }
        if (!trashed.empty()) {
            object["trashed"] = qf::text::validUtf8(trashed);
        }
        if (outcome == Outcome::left) {
            object["reason"] = qf::text::validUtf8(reason);
        }
        document["rows"].push_back(std::move(object));
    }
    return written(document);
}

} // namespace cli
