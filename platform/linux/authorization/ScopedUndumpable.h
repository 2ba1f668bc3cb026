#pragma once

namespace qf::native {

/// Keeps this process's memory and descriptors to itself for a scope: no core dump is written, and
/// no other process of the same user can look into it or take a descriptor out of it. Scopes may
/// overlap, on any threads. What any user may read about a process stays readable, so that polkit
/// still learns whose process it is.
class ScopedUndumpable {
public:
    ScopedUndumpable();
    ~ScopedUndumpable();
    ScopedUndumpable(const ScopedUndumpable&) = delete;
    ScopedUndumpable& operator=(const ScopedUndumpable&) = delete;
    ScopedUndumpable(ScopedUndumpable&&) = delete;
    ScopedUndumpable& operator=(ScopedUndumpable&&) = delete;
};

} // namespace qf::native
