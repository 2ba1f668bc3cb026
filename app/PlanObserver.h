#pragma once

#include "util/files/TrashResult.h"

#include <string>

struct PlanRow;

/// Is notified while the plan is walked. Every member is called on the walk's thread, which
/// continues when it returns, and does nothing unless overridden.
class PlanObserver {
public:
    PlanObserver() = default;
    virtual ~PlanObserver() = default;
    PlanObserver(const PlanObserver&) = delete;
    PlanObserver& operator=(const PlanObserver&) = delete;
    PlanObserver(PlanObserver&&) = delete;
    PlanObserver& operator=(PlanObserver&&) = delete;

    virtual void rowBegan(const PlanRow& /*row*/) {}

    /// The item at the absolute path is about to be trashed.
    virtual void itemBegan(const std::string& /*path*/) {}
    virtual void itemEnded(const std::string& /*path*/, const qf::TrashResult& /*result*/) {}

    /// The row is done, even if an exception ended it.
    virtual void rowEnded(const PlanRow& /*row*/) {}

    /// The last row is done.
    virtual void walkEnded() {}
};
