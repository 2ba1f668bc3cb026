#pragma once

#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"
#include "app/cli/Report.h"
#include "app/cli/ReportFile.h"
#include "app/cli/RunObserver.h"
#include "app/cli/TextOutput.h"

#include <string>
#include <vector>

namespace cli {

/// How a run ended, and the items that it left in place.
struct RunEnd {
    ExitStatus status;
    std::vector<RowOutcome> left;
};

/// Tells the person that nothing was removed, or what was left in place; nothing of a complete run.
void tell(const RunEnd& end, TextOutput& output);

/// Records one run: what existed before it, and what became of that. One thread at a time.
class Run {
public:
    /// The arguments must outlive this object. Throws as prepare() does if a relative report has no
    /// directory.
    Run(const Options& options, Inventory& inventory, const RunObserver& observer);

    /// Writes a report that the run is under way, if a report is wanted. Throws qf::Exception
    /// "QFReportUnwritable", whose reason says why, if that fails.
    void prepare();

    /// Records what exists where, and returns it. Call it right before the run begins.
    const std::vector<InventoryRow>& begin(RemoveShared removeShared);

    /// Looks at what became of the items.
    RunEnd finish();

    /// Writes the report of the run, which has finished, if one is wanted. Throws as prepare()
    /// does.
    void writeReport();

private:
    std::string document(const std::string& result, const std::vector<RowOutcome>& outcomes) const;

    Inventory& inventory_;
    const RunObserver& observer_;
    ReportFile report_;
    RemoveShared removeShared_;
    std::vector<InventoryRow> before_;
    std::vector<RowOutcome> outcomes_;
    std::string result_ = "cancelled";
    bool hasBegun_ = false;
};

} // namespace cli
