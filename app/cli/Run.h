#pragma once

#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"
#include "app/cli/Report.h"
#include "app/cli/RunObserver.h"
#include "app/cli/TextOutput.h"

#include <string>
#include <vector>

namespace cli {

/// Records one run: what existed before it, and what became of that. Main thread only.
class Run {
public:
    /// The arguments must outlive this object. Throws as prepare() does if a relative report has no
    /// directory.
    Run(const Options& options, Inventory& inventory, const RunObserver& observer,
        TextOutput& output);

    /// Writes a report that the run is under way, if a report is wanted. Throws platform::Exception
    /// "QFReportUnwritable", whose reason says why, if that fails.
    void prepare();

    /// Records what exists where. Call it right before the run begins.
    void begin(RemoveShared removeShared);

    /// Looks at what became of the items, tells the person what was left in place, writes the
    /// report, and returns the status. Throws as prepare() does.
    ExitStatus finish();

private:
    void tellWhatWasLeft(const std::vector<RowOutcome>& left);
    void write(const std::string& result, const std::vector<RowOutcome>& outcomes);

    Inventory& inventory_;
    const RunObserver& observer_;
    TextOutput& output_;
    std::string report_;
    RemoveShared removeShared_;
    std::vector<InventoryRow> before_;
    bool hasBegun_ = false;
};

} // namespace cli
