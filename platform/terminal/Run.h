#pragma once

#include "platform/terminal/CommandLine.h"
#include "platform/terminal/ExitStatus.h"
#include "platform/terminal/Observation.h"
#include "platform/terminal/Report.h"
#include "platform/terminal/Screen.h"

#include <string>
#include <vector>

namespace platform::terminal {

/// What is written down of one run: what stood where before it, and what became of that. Main
/// thread only.
class Run {
public:
    /// What it is given outlives it. Throws as prepare() does where a relative report has no
    /// folder.
    Run(const Options& options, Inventory& inventory, Observation& observation, Screen& screen);

    /// Writes a report that the run goes on. Throws platform::Exception "QFReportUnwritable", whose
    /// reason says why, when that cannot be done. Nothing is written where no report is wanted.
    void prepare();

    /// Takes down what stands where; the run is about to begin.
    void begin(SharedItems sharedItems);

    /// Looks at what became of it all, tells the person what was left in place, writes the report,
    /// and gives the status. Throws as prepare() does.
    ExitStatus finish();

private:
    void tellWhatWasLeft(const std::vector<RowOutcome>& left);
    void write(const std::string& result, const std::vector<RowOutcome>& outcomes);

    Inventory& inventory_;
    Observation& observation_;
    Screen& screen_;
    std::string report_;
    SharedItems sharedItems_;
    std::vector<InventoryRow> before_;
    bool hasBegun_ = false;
};

} // namespace platform::terminal
