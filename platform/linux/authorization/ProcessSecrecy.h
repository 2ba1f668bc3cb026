#pragma once

namespace platform::native {

/// Keeps this process's memory and descriptors to itself for a scope: no core dump is written, and
/// no other process of the same user can look into it or take a descriptor out of it. Scopes may
/// overlap, on any threads. What any user may read about a process stays readable, so that polkit
/// still learns whose process it is.
class ProcessSecrecy {
public:
    ProcessSecrecy();
    ~ProcessSecrecy();
    ProcessSecrecy(const ProcessSecrecy&) = delete;
    ProcessSecrecy& operator=(const ProcessSecrecy&) = delete;
    ProcessSecrecy(ProcessSecrecy&&) = delete;
    ProcessSecrecy& operator=(ProcessSecrecy&&) = delete;
};

} // namespace platform::native
