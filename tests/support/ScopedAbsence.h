#pragma once

#include "platform/Services.h"

/// Removes the implementation of a port for a scope.
template <class Port>
class ScopedAbsence {
public:
    ScopedAbsence() = default;
    ~ScopedAbsence() { platform::detail::slot<Port>() = former_; }
    ScopedAbsence(const ScopedAbsence&) = delete;
    ScopedAbsence& operator=(const ScopedAbsence&) = delete;
    ScopedAbsence(ScopedAbsence&&) = delete;
    ScopedAbsence& operator=(ScopedAbsence&&) = delete;

private:
    void* former_ = platform::detail::slot<Port>().exchange(nullptr);
};
