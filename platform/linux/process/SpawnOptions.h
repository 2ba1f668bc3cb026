#pragma once

#include <spawn.h>

namespace qf::native {

/// The options of posix_spawn for a child's descriptors and signals. Every member throws
/// qf::Exception "NSGenericException" if there is not enough memory.
class SpawnOptions {
public:
    /// Starts with all signals at their default actions, none blocked, and a new process group.
    SpawnOptions();
    ~SpawnOptions();
    SpawnOptions(const SpawnOptions&) = delete;
    SpawnOptions& operator=(const SpawnOptions&) = delete;
    SpawnOptions(SpawnOptions&&) = delete;
    SpawnOptions& operator=(SpawnOptions&&) = delete;

    /// Connects `descriptor`, one of the program's, to the child's descriptor number `stream`.
    void connect(int descriptor, int stream);

    /// Begins a new session, which has no terminal, with a process group of the same number.
    void beginSession();

    /// Leaves the child its three standard streams and no other descriptor.
    void closeOthers();

    const posix_spawn_file_actions_t* actions() const { return &actions_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace qf::native
