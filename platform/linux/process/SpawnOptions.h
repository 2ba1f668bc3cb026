#pragma once

#include <spawn.h>

namespace platform::native {

/// What posix_spawn is told about a child's descriptors and signals. Every member throws
/// platform::Exception "NSGenericException" when there is no memory left for it.
class SpawnOptions {
public:
    /// Begins with: all signals at their defaults and none blocked, a process group of its own.
    SpawnOptions();
    ~SpawnOptions();
    SpawnOptions(const SpawnOptions&) = delete;
    SpawnOptions& operator=(const SpawnOptions&) = delete;
    SpawnOptions(SpawnOptions&&) = delete;
    SpawnOptions& operator=(SpawnOptions&&) = delete;

    /// Has the child find `descriptor`, one of the program's, at the number `stream`.
    void connect(int descriptor, int stream);

    /// Leaves the child its three standard streams and no other descriptor.
    void closeOthers();

    const posix_spawn_file_actions_t* actions() const { return &actions_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace platform::native
