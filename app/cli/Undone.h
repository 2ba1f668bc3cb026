#pragma once

#include "app/cli/ExitStatus.h"
#include "app/cli/TextOutput.h"
#include "app/records/Emptying.h"
#include "app/records/PutBack.h"
#include "app/records/RunRecords.h"

#include <string>
#include <vector>

namespace cli {

/// What became of one item that was to be put back or deleted.
struct UndoneItem {
    std::string path;    ///< Where it belongs.
    std::string place;   ///< Where it was in the Trash; empty if it was not there.
    std::string outcome; ///< For programs.
    std::string words;   ///< The outcome for a person, in a word or two.
    bool isLeft = false; ///< Whether it was left where it was, or is lost.
    std::string reason;  ///< Why, in the user's words.
    std::string cause;   ///< The last part of the reason, which items may share.
};

/// What undoing runs came to, for lists and reports.
using Undone = records::Undone<UndoneItem>;

/// Return the results for lists and reports.
std::vector<UndoneItem> undone(const std::vector<records::ItemBack>& items);
std::vector<UndoneItem> undone(const std::vector<records::ItemEmptied>& items);
template <class Item>
Undone undone(const records::Undone<Item>& result) {
    return {undone(result.items), result.failure};
}

/// Returns `failed` if undoing ended early, `leftInPlace` if an item was left, else `complete`.
ExitStatus statusOf(const Undone& result);

/// Tells the person how many items were done, with `done` as their participle, which were left, and
/// why it ended early.
void tell(const Undone& result, const std::string& done, TextOutput& output);

/// Returns the items as lines for a person.
std::string itemsAsText(const std::vector<UndoneItem>& items);

/// Returns the items as a JSON document for programs. `result` is "preview", "running" or
/// "cancelled".
std::string itemsAsJson(const std::string& result, const std::vector<UndoneItem>& items);

/// Returns the same for what undoing came to. The result is "complete", "leftInPlace" or "failed",
/// the last with the reason.
std::string undoneAsJson(const Undone& result);

/// Returns all recorded runs, the newest first, for a person and as JSON; what is unusable is
/// listed with the reason.
std::string runsAsText(const records::RunRecords& runs);
std::string runsAsJson(const records::RunRecords& runs);

/// Returns what to tell a person after a run if the one before it was interrupted; empty if it was
/// not.
std::string interruptionBefore(const records::RunRecords& runs, unsigned number);

/// Returns what the newest run did, for a person and as JSON. Throws as RunRecords::read() does.
std::string lastRunAsText(const records::RunRecords& runs);
std::string lastRunAsJson(const records::RunRecords& runs);

} // namespace cli
