#pragma once

#include "util/files/TrashResult.h"

#include <string>

struct PlanRow;

/// Is told what a walk of the plan does, while it does it. Every member is called on the walk's
/// thread, which goes on when it returns, and does nothing unless overridden.
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
    virtual void itemEnded(const std::string& /*path*/, const TrashResult& /*result*/) {}

    /// The row is done, also when an exception ended it.
    virtual void rowEnded(const PlanRow& /*row*/) {}
};
