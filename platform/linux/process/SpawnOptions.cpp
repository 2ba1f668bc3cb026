#include "platform/linux/process/SpawnOptions.h"

#include "platform/linux/process/LaunchFailure.h"

#include <unistd.h>

#include <csignal>

namespace qf::native {

namespace {

/// Throws unless a function returned 0; else it returned its error number.
void requireMemory(int returned) {
    if (const auto result = checkedNumber(returned); !result) {
        throw resourceFailure(result.error(), exception_name::generic,
                              "memory for another process");
    }
}

constexpr short signalFlags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;

} // namespace

SpawnOptions::SpawnOptions() {
    requireMemory(::posix_spawn_file_actions_init(&actions_));
    requireMemory(::posix_spawnattr_init(&attributes_));
    sigset_t signals;
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setflags(&attributes_, signalFlags | POSIX_SPAWN_SETPGROUP);
}

SpawnOptions::~SpawnOptions() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
}

void SpawnOptions::connect(int descriptor, int stream) {
    requireMemory(::posix_spawn_file_actions_adddup2(&actions_, descriptor, stream));
}

/// The first process of a session may not be given a group: it has one already.
void SpawnOptions::beginSession() {
    ::posix_spawnattr_setflags(&attributes_, signalFlags | POSIX_SPAWN_SETSID);
}

void SpawnOptions::closeOthers() {
    requireMemory(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
}

} // namespace qf::native
