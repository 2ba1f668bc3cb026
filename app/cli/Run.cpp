#include "app/cli/Run.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

namespace cli {

namespace {

constexpr const char* nothingRemoved = "Nothing was removed.";
constexpr const char* leftInPlace = "Left in place:";

[[noreturn]] void throwUnwritable(const std::string& file, const std::string& why) {
    throw platform::Exception("QFReportUnwritable", "cannot write the report " + file + ": " + why);
}

/// Returns the report's absolute path, so that the working directory may change; empty if no report
/// is wanted.
std::string reportPath(const Options& options) {
    if (!options.report) {
        return {};
    }
    std::error_code error;
    auto path = std::filesystem::absolute(*options.report, error);
    if (error) {
        throwUnwritable(*options.report, "the working folder does not exist");
    }
    return path.string();
}

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
    : inventory_(inventory), observer_(observer), report_(reportPath(options)),
      removeShared_(options.removeShared ? RemoveShared::yes : RemoveShared::no) {
}

void Run::prepare() {
    const auto there = platform::service<platform::FileSystem>().attributesOfItem(report_);
    if (!report_.empty() && there && there->kind != platform::ItemKind::file) {
        throwUnwritable(report_, "the path leads to something other than a file");
    }
    write("running", {});
}

const std::vector<InventoryRow>& Run::begin(RemoveShared removeShared) {
    removeShared_ = removeShared;
    hasBegun_ = true;
    before_ = inventory_.take(removeShared, report_.empty() ? Sizes::no : Sizes::yes);
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
    write(result_, outcomes_);
}

void Run::write(const std::string& result, const std::vector<RowOutcome>& outcomes) {
    if (report_.empty()) {
        return;
    }
    const auto written = platform::service<platform::FileSystem>().writeAtomically(
        report_, reportAsJson(result, removeShared_, outcomes));
    if (!written) {
        throwUnwritable(report_, written.error().localizedDescription);
    }
}

} // namespace cli
