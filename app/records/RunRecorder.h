#pragma once

#include "app/PlanObserver.h"
#include "app/records/Jobs.h"
#include "app/records/RunRecords.h"

#include <optional>
#include <set>
#include <string>

namespace records {

/// Records a run while it is under way: each step before it is taken, on the disk by then, and its
/// result afterwards. A failure to record never disturbs the run: from then on, nothing is
/// recorded.
///
/// The walk's thread calls it during the run, any one thread when the run has ended.
class RunRecorder final : public PlanObserver {
public:
    /// Both must outlive this object.
    RunRecorder(const RunRecords& records, Jobs& jobs) : records_(records), jobs_(jobs) {}

    /// Begins the record. To be called before the first row.
    void begin(RemoveShared removeShared);

    void rowBegan(const PlanRow& row) override;
    void itemBegan(const std::string& path) override;
    /// To be called when a tool that moves the item has ended.
    void itemEnded(const std::string& path, const qf::TrashResult& result) override;
    void rowEnded(const PlanRow& row) override;
    /// To be called for an item that existed before the run and was no item of any row, because a
    /// directory could not be read, for example. The run is not complete if it is still there.
    void itemMissed(const std::string& path);
    void walkEnded() override;

    /// Returns the number of the record; 0 if there is none.
    unsigned number() const { return record_.number; }

    /// Returns why the run, or the rest of it, is not recorded, in the user's words; no value if it
    /// is.
    const std::optional<std::string>& failure() const { return failure_; }

private:
    template <class Work>
    void record(Work work);
    void beginJobStep(const std::string& label);
    void beginStep(const std::string& path, std::optional<RecordedJob> job);
    std::optional<std::string> keep(const std::string& file);
    void endStep(const std::string& path, StepEnd end);
    void append(const Json& line);
    void sync();
    bool isLastStep(const std::string& path) const;
    bool isLoaded(const std::string& label);

    const RunRecords& records_;
    Jobs& jobs_;
    RunRecord record_;
    std::optional<RecordFile> file_;
    std::optional<std::string> failure_;
    std::optional<PlanRow> row_;
    bool isComplete_ = true;
    bool hasAskedForJobs_ = false;
    /// The labels of the jobs that were loaded when the first was to be removed; no value if that
    /// is not known.
    std::optional<std::set<std::string>> loadedJobs_;
};

} // namespace records
