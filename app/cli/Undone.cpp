#include "app/cli/Undone.h"

#include "app/cli/Document.h"
#include "platform/Language.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace cli {

namespace {

using records::Back;
using records::Emptied;
using records::RecordedStep;
using records::RunRecord;
using records::Taken;

constexpr auto occupied = qf::translatable("Reasons", "Something else is in its place.");
constexpr auto gone = qf::translatable("Reasons", "It is no longer in the Trash.");
constexpr const char* interrupted =
    "This run has finished one that was interrupted. --put-back undoes both. It had begun at ";
constexpr const char* notEverything = "Not everything could be ";
constexpr const char* noRun = "No run is recorded.\n";
constexpr std::size_t wordsWidth = 14;

std::string wordsFor(Back outcome) {
    switch (outcome) {
    case Back::waiting:
        return "in the Trash";
    case Back::back:
        return "back";
    case Back::inPlace:
        return "in its place";
    case Back::occupied:
        return "occupied";
    case Back::gone:
        return "gone";
    case Back::failed:
        return "not back";
    }
    return {};
}

std::string wordsFor(Emptied outcome) {
    switch (outcome) {
    case Emptied::waiting:
        return "in the Trash";
    case Emptied::deleted:
        return "deleted";
    case Emptied::gone:
        return "gone";
    case Emptied::failed:
        return "not deleted";
    }
    return {};
}

/// Returns why an item is not back if its outcome alone says that; else an empty string.
std::string reasonFor(Back outcome) {
    if (outcome == Back::occupied) {
        return qf::translated(occupied);
    }
    return outcome == Back::gone ? qf::translated(gone) : std::string();
}

std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 1, ' ');
}

std::string counted(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " item" : " items");
}

/// Returns the name of what became of a step's item, for programs and people.
const char* nameOf(const RecordedStep& step) {
    if (!step.end) {
        return "begun";
    }
    switch (step.end->taken) {
    case Taken::moved:
    case Taken::withRight:
        return "moved";
    case Taken::deleted:
        return "deleted";
    case Taken::left:
        return "left";
    }
    return "";
}

/// Returns the name of how a run ended.
const char* nameOf(const RunRecord& record) {
    if (record.isClosed) {
        return "undone";
    }
    if (!record.isComplete) {
        return "interrupted";
    }
    return *record.isComplete ? "complete" : "leftInPlace";
}

const char* wordsFor(const RunRecord& record) {
    if (record.isClosed) {
        return "put back or deleted";
    }
    if (!record.isComplete) {
        return "interrupted";
    }
    return *record.isComplete ? "complete" : "something left in place";
}

std::size_t countOfTaken(const RunRecord& record) {
    return static_cast<std::size_t>(
        std::ranges::count_if(record.steps, [](const RecordedStep& step) {
            return !step.end || step.end->taken != Taken::left;
        }));
}

std::string lineOf(const RunRecord& record) {
    return padded(std::to_string(record.number), 6) + record.date + "  " +
           counted(countOfTaken(record)) + ", " + wordsFor(record) + '\n';
}

Json summaryOf(const RunRecord& record) {
    return {{"run", record.number},
            {"date", record.date},
            {"removeShared", record.removeShared == RemoveShared::yes},
            {"result", nameOf(record)},
            {"items", countOfTaken(record)}};
}

Json json(const RecordedStep& step) {
    Json object = {{"action", ::nameOf(step.action)},
                   {"path", qf::text::validUtf8(step.path)},
                   {"outcome", nameOf(step)}};
    if (step.end && !step.end->place.empty()) {
        object["trashed"] = qf::text::validUtf8(step.end->place);
    }
    return object;
}

std::optional<RunRecord> lastRun(const records::RunRecords& runs) {
    const auto numbers = runs.numbers();
    return numbers.empty() ? std::nullopt : std::optional(runs.read(numbers.front()));
}

/// Calls `usable` with each record that can be used, and `unusable` with the number and the reason
/// of each other.
template <class Usable, class Unusable>
void forEach(const records::RunRecords& runs, Usable usable, Unusable unusable) {
    for (const auto number : runs.numbers()) {
        try {
            usable(runs.read(number));
        } catch (const qf::Exception& exception) {
            unusable(number, exception.reason());
        }
    }
}

Json documentOf(const std::string& result, const std::vector<UndoneItem>& items) {
    auto document = documentHead();
    document["result"] = result;
    document["items"] = Json::array();
    for (const auto& item : items) {
        Json object = {{"path", qf::text::validUtf8(item.path)}, {"outcome", item.outcome}};
        if (!item.place.empty()) {
            object["trashed"] = qf::text::validUtf8(item.place);
        }
        if (!item.reason.empty()) {
            object["reason"] = qf::text::validUtf8(item.reason);
        }
        document["items"].push_back(std::move(object));
    }
    return document;
}

/// Returns the name of how undoing ended.
const char* nameOf(ExitStatus status) {
    switch (status) {
    case ExitStatus::complete:
        return "complete";
    case ExitStatus::leftInPlace:
        return "leftInPlace";
    default:
        return "failed";
    }
}

} // namespace

std::vector<UndoneItem> undone(const std::vector<records::ItemBack>& items) {
    std::vector<UndoneItem> all;
    all.reserve(items.size());
    for (const auto& item : items) {
        const bool isLeft = item.outcome == Back::occupied || item.outcome == Back::gone ||
                            item.outcome == Back::failed;
        const auto reason = reasonFor(item.outcome);
        all.push_back({item.path, item.place, records::nameOf(item.outcome), wordsFor(item.outcome),
                       isLeft, reason.empty() ? item.reason : reason,
                       reason.empty() ? item.cause : reason});
    }
    return all;
}

std::vector<UndoneItem> undone(const std::vector<records::ItemEmptied>& items) {
    std::vector<UndoneItem> all;
    all.reserve(items.size());
    for (const auto& item : items) {
        all.push_back({item.path, item.place, records::nameOf(item.outcome), wordsFor(item.outcome),
                       item.outcome == Emptied::failed, item.reason, item.reason});
    }
    return all;
}

ExitStatus statusOf(const Undone& result) {
    if (!result.failure.empty()) {
        return ExitStatus::failed;
    }
    return std::ranges::any_of(result.items, &UndoneItem::isLeft) ? ExitStatus::leftInPlace
                                                                  : ExitStatus::complete;
}

void tell(const Undone& result, const std::string& done, TextOutput& output) {
    const auto& items = result.items;
    const auto count =
        static_cast<std::size_t>(std::ranges::count(items, false, &UndoneItem::isLeft));
    output.paragraph(counted(count) + ' ' + done + '.');
    if (!result.failure.empty()) {
        output.paragraph(notEverything + done + ": " + result.failure);
    }
    if (count == items.size()) {
        return;
    }
    output.gap();
    output.paragraph("Not " + done + ':');
    for (const auto& item : items) {
        if (item.isLeft) {
            output.line(item.path);
            output.paragraph("    " + item.reason);
        }
    }
}

std::string itemsAsText(const std::vector<UndoneItem>& items) {
    std::string text;
    for (const auto& item : items) {
        text += padded(item.words, wordsWidth) + qf::text::printable(item.path) + '\n';
    }
    return text + '\n' + counted(items.size()) + '\n';
}

std::string itemsAsJson(const std::string& result, const std::vector<UndoneItem>& items) {
    return written(documentOf(result, items));
}

std::string undoneAsJson(const Undone& result) {
    auto document = documentOf(nameOf(statusOf(result)), result.items);
    if (!result.failure.empty()) {
        document["reason"] = qf::text::validUtf8(result.failure);
    }
    return written(document);
}

std::string runsAsText(const records::RunRecords& runs) {
    std::string text;
    forEach(
        runs, [&](const RunRecord& record) { text += lineOf(record); },
        [&](unsigned number, const std::string& reason) {
            text += padded(std::to_string(number), 6) + qf::text::printable(reason) + '\n';
        });
    return text.empty() ? noRun : text;
}

std::string runsAsJson(const records::RunRecords& runs) {
    auto document = documentHead();
    document["runs"] = Json::array();
    forEach(
        runs, [&](const RunRecord& record) { document["runs"].push_back(summaryOf(record)); },
        [&](unsigned number, const std::string& reason) {
            document["runs"].push_back(
                {{"run", number}, {"result", "unusable"}, {"reason", qf::text::validUtf8(reason)}});
        });
    return written(document);
}

std::string interruptionBefore(const records::RunRecords& runs, unsigned number) {
    try {
        const auto numbers = runs.numbers();
        const auto before = std::ranges::find_if(numbers, [&](unsigned it) { return it < number; });
        if (before == numbers.end()) {
            return {};
        }
        const auto record = runs.read(*before);
        return record.isComplete || record.isClosed ? std::string() : interrupted + record.date;
    } catch (const qf::Exception&) {
        return {};
    }
}

std::string lastRunAsText(const records::RunRecords& runs) {
    const auto record = lastRun(runs);
    if (!record) {
        return noRun;
    }
    auto text = lineOf(*record) + '\n';
    for (const auto& step : record->steps) {
        text += padded(nameOf(step), wordsWidth) + qf::text::printable(step.path) + '\n';
        if (step.end && !step.end->place.empty()) {
            text += padded("", wordsWidth) + "to " + qf::text::printable(step.end->place) + '\n';
        }
    }
    return text;
}

std::string lastRunAsJson(const records::RunRecords& runs) {
    auto document = documentHead();
    const auto record = lastRun(runs);
    document["last"] = record ? summaryOf(*record) : Json();
    document["items"] = Json::array();
    if (record) {
        for (const auto& step : record->steps) {
            document["items"].push_back(json(step));
        }
    }
    return written(document);
}

} // namespace cli
