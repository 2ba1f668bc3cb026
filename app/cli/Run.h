#pragma once

#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"
#include "app/cli/Report.h"
#include "app/cli/RunObserver.h"
#include "app/cli/TextOutput.h"

#include <string>
#include <vector>

namespace cli {

/// What is written down of one run: what stood where before it, and what became of that. Main
/// thread only.
class Run {
public:
    /// What it is given outlives it. Throws as prepare() does where a relative report has no
    /// directory.
    Run(const Options& options, Inventory& inventory, const RunObserver& observer,
        TextOutput& output);

    /// Writes a report that the run goes on. Throws platform::Exception "QFReportUnwritable", whose
    /// reason says why, when that cannot be done. Nothing is written where no report is wanted.
    void prepare();

    /// Takes down what stands where; the run is about to begin.
    void begin(RemoveShared removeShared);

    /// Looks at what became of it all, tells the person what was left in place, writes the report,
    /// and gives the status. Throws as prepare() does.
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
