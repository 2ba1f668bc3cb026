#include "app/cli/Run.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace cli {

namespace {

constexpr const char* nothingRemoved = "Nothing was removed.";
constexpr const char* leftInPlace = "Left in place:";

} // namespace

void tell(const RunEnd& end, TextOutput& output) {
    if (end.status == ExitStatus::cancelled) {
        output.paragraph(nothingRemoved);
    }
    if (end.left.empty()) {
        return;
    }
    output.gap();
    output.paragraph(leftInPlace);
    for (const auto& left : end.left) {
        output.line(left.row.path);
        output.paragraph("    " + left.reason);
    }
}

Run::Run(const Options& options, Inventory& inventory, const RunObserver& observer)
    : inventory_(inventory), observer_(observer), report_(options),
      removeShared_(options.removeShared ? RemoveShared::yes : RemoveShared::no) {
}

void Run::prepare() {
    report_.prepare(document("running", {}));
}

const std::vector<InventoryRow>& Run::begin(RemoveShared removeShared) {
    removeShared_ = removeShared;
    hasBegun_ = true;
    before_ = inventory_.take(removeShared, report_.isWanted() ? Sizes::yes : Sizes::no);
    return before_;
}

RunEnd Run::finish() {
    if (!hasBegun_) {
        return {ExitStatus::cancelled, {}};
    }
    outcomes_ = outcomesOf(before_, observer_);
    std::vector<RowOutcome> left;
    std::ranges::copy_if(outcomes_, std::back_inserter(left), [](const RowOutcome& outcome) {
        return outcome.outcome == Outcome::left && outcome.row.state == ItemState::found;
    });
    result_ = left.empty() ? "complete" : "leftInPlace";
    return {left.empty() ? ExitStatus::complete : ExitStatus::leftInPlace, std::move(left)};
}

void Run::writeReport() {
    report_.write(document(result_, outcomes_));
}

std::string Run::document(const std::string& result,
                          const std::vector<RowOutcome>& outcomes) const {
    return report_.isWanted() ? reportAsJson(result, removeShared_, outcomes) : std::string();
}

} // namespace cli
