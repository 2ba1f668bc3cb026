#pragma once

#include "platform/Services.h"

/// Leaves a port without an implementation for a scope.
template <class Port>
class ScopedAbsence {
public:
    ScopedAbsence() = default;
    ~ScopedAbsence() { qf::detail::slot<Port>() = former_; }
    ScopedAbsence(const ScopedAbsence&) = delete;
    ScopedAbsence& operator=(const ScopedAbsence&) = delete;
    ScopedAbsence(ScopedAbsence&&) = delete;
    ScopedAbsence& operator=(ScopedAbsence&&) = delete;

private:
    void* former_ = qf::detail::slot<Port>().exchange(nullptr);
};
