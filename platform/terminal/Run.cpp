#include "platform/terminal/Run.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace platform::terminal {

namespace {

constexpr const char* nothingRemoved = "Nothing was removed.";
constexpr const char* leftInPlace = "Left in place:";

[[noreturn]] void throwUnwritable(const std::string& file, const std::string& why) {
    throw Exception("QFReportUnwritable", "cannot write the report " + file + ": " + why);
}

/// Where the report goes, whatever the working folder becomes; empty where none is wanted.
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

Run::Run(const Options& options, Inventory& inventory, Observation& observation, Screen& screen)
    : inventory_(inventory), observation_(observation), screen_(screen),
      report_(reportPath(options)),
      sharedItems_(options.removeShared ? SharedItems::go : SharedItems::stay) {
}

void Run::prepare() {
    const auto there = service<FileSystem>().attributesOfItem(report_);
    if (!report_.empty() && there && there->kind != ItemKind::file) {
        throwUnwritable(report_, "something stands there that is no file");
    }
    write("running", {});
}

void Run::begin(SharedItems sharedItems) {
    sharedItems_ = sharedItems;
    before_ = inventory_.take(sharedItems, report_.empty() ? Sizes::no : Sizes::yes);
    hasBegun_ = true;
}

ExitStatus Run::finish() {
    if (!hasBegun_) {
        screen_.paragraph(nothingRemoved);
        write("cancelled", {});
        return ExitStatus::cancelled;
    }
    observation_.waitForMovers();
    const auto outcomes = outcomesOf(before_, observation_);
    std::vector<RowOutcome> left;
    std::ranges::copy_if(outcomes, std::back_inserter(left), [](const RowOutcome& outcome) {
        return outcome.outcome == Outcome::left && outcome.row.state == ItemState::found;
    });
    tellWhatWasLeft(left);
    write(left.empty() ? "complete" : "leftInPlace", outcomes);
    return left.empty() ? ExitStatus::complete : ExitStatus::leftInPlace;
}

void Run::tellWhatWasLeft(const std::vector<RowOutcome>& left) {
    if (left.empty()) {
        return;
    }
    screen_.gap();
    screen_.paragraph(leftInPlace);
    for (const auto& [row, outcome, reason] : left) {
        screen_.line(row.path);
        screen_.paragraph("    " + reason);
    }
}

void Run::write(const std::string& result, const std::vector<RowOutcome>& outcomes) {
    if (report_.empty()) {
        return;
    }
    const auto error = service<FileSystem>().writeAtomically(
        report_, reportAsJson(result, sharedItems_, outcomes));
    if (error) {
        throwUnwritable(report_, error->localizedDescription);
    }
}

} // namespace platform::terminal
