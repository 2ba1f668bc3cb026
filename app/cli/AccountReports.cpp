#include "app/cli/AccountReports.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace cli {

namespace {

constexpr const char* noReport = "it has written no report of a run";
constexpr const char* notAllDeleted = "not all that was moved to the Trash could be deleted";
constexpr const char* outcomeKey = "outcome";

constexpr std::array textKeys = {"action", "subject", "path", outcomeKey, "trashed", "reason"};

/// Parses without exceptions, and no deeper than a report is: arrays within arrays would take more
/// memory than their text.
Json parsed(const std::string& text) {
    constexpr int deepest = 4;
    bool isTooDeep = false;
    auto json = Json::parse(
        text,
        [&](int depth, Json::parse_event_t, Json&) {
            isTooDeep = isTooDeep || depth > deepest;
            return !isTooDeep;
        },
        false);
    return isTooDeep ? Json() : json;
}

bool isListOfTexts(const Json& value) {
    return value.is_array() &&
           std::ranges::all_of(value, [](const Json& element) { return element.is_string(); });
}

/// Returns whether a row may have this value.
bool isOfARow(const std::string& key, const Json& value) {
    if (key == "size") {
        return value.is_number_unsigned();
    }
    if (key == "names") {
        return isListOfTexts(value);
    }
    return std::ranges::find(textKeys, key) != textKeys.end() && value.is_string();
}

/// Returns the value with the control characters of its texts made visible: some programs show them
/// on root's terminal as they are.
Json printable(const Json& value) {
    if (value.is_string()) {
        return qf::text::printable(value.get<std::string>());
    }
    Json copy = value;
    for (auto& element : copy) {
        if (element.is_string()) {
            element = qf::text::printable(element.get<std::string>());
        }
    }
    return copy;
}

/// Returns a copy of a row; null if it is not one.
Json copiedRow(const Json& row) {
    Json copy;
    if (row.is_object() && row.contains(outcomeKey)) {
        for (const auto& [key, value] : row.items()) {
            if (!isOfARow(key, value)) {
                return {};
            }
            copy[key] = printable(value);
        }
    }
    return copy;
}

const char* resultNameOf(const AccountResult& account) {
    if (!account.status) {
        return "passedOver";
    }
    switch (*account.status) {
    case ExitStatus::complete:
        return "complete";
    case ExitStatus::leftInPlace:
        return "leftInPlace";
    default:
        return "failed";
    }
}

/// Copies the rows. Returns false if they are no report's.
bool takeRows(const Json& rows, AccountResult& result) {
    for (const auto& row : rows) {
        auto copy = copiedRow(row);
        if (copy.is_null()) {
            return false;
        }
        if (copy[outcomeKey] == "moved" || copy[outcomeKey] == "deleted") {
            ++result.removedCount;
        } else if (copy[outcomeKey] == "left") {
            ++result.leftCount;
        }
        result.rows.push_back(std::move(copy));
    }
    return true;
}

bool takeDocument(const Json& document, int status, AccountResult& result) {
    if (!document.is_object() || !document.contains("result") || !document.contains("rows") ||
        !document["rows"].is_array()) {
        return false;
    }
    const bool isComplete = document["result"] == "complete";
    if (status == static_cast<int>(ExitStatus::complete) && isComplete) {
        result.status = ExitStatus::complete;
    } else if (status == static_cast<int>(ExitStatus::leftInPlace) &&
               (isComplete || document["result"] == "leftInPlace")) {
        // Complete with this status: not all that was moved could be deleted.
        result.status = ExitStatus::leftInPlace;
    } else if (status == static_cast<int>(ExitStatus::failed) &&
               (isComplete || document["result"] == "leftInPlace")) {
        result.status = ExitStatus::failed;
        result.reason = notAllDeleted;
    } else {
        return false;
    }
    return takeRows(document["rows"], result);
}

std::string counted(std::size_t count, const char* what) {
    return std::to_string(count) + (count == 1 ? " item " : " items ") + what;
}

} // namespace

void takeReport(const std::string& report, int status, AccountResult& result) {
    AccountResult taken{.user = result.user, .home = result.home, .status = {}};
    if (takeDocument(parsed(report), status, taken)) {
        result = std::move(taken);
    } else {
        result.status = ExitStatus::failed;
        result.reason = noReport;
    }
}

ExitStatus statusOf(const std::vector<AccountResult>& accounts) {
    for (const auto worst : {ExitStatus::failed, ExitStatus::leftInPlace}) {
        if (std::ranges::find(accounts, worst, &AccountResult::status) != accounts.end()) {
            return worst;
        }
    }
    return ExitStatus::complete;
}

std::string lineOf(const AccountResult& account) {
    const auto line = account.user + ": ";
    if (!account.status) {
        return line + "passed over: " + account.reason;
    }
    if (*account.status == ExitStatus::failed) {
        return line + "failed: " + account.reason;
    }
    auto removed = line + counted(account.removedCount, "removed");
    if (*account.status == ExitStatus::complete) {
        return removed;
    }
    return removed + ", " +
           (account.leftCount == 0 ? std::string("not all of them deleted")
                                   : counted(account.leftCount, "left in place"));
}

std::string accountsAsJson(const std::vector<AccountResult>& accounts, bool removeShared,
                           bool isRunning) {
    auto document = documentHead();
    document["removeShared"] = removeShared;
    document["result"] = isRunning
                             ? "running"
                             : resultNameOf({.user = {}, .home = {}, .status = statusOf(accounts)});
    document["accounts"] = Json::array();
    for (const auto& account : accounts) {
        Json object = {{"user", qf::text::validUtf8(account.user)},
                       {"home", qf::text::validUtf8(account.home)},
                       {"result", resultNameOf(account)}};
        if (!account.reason.empty()) {
            object["reason"] = qf::text::printable(account.reason);
        }
        object["rows"] = account.rows;
        document["accounts"].push_back(std::move(object));
    }
    return written(document);
}

} // namespace cli
