#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace qf::native::helper {

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// A pipe that no tool has by itself. Throws a Refusal.
Pipe makePipe(int flags);

/// The refusal of what the system does not do; its text is the number.
Refusal startFailure(Errno error);

/// Throws the startFailure of an operation that failed.
template <class T>
void requireSuccess(const SystemResult<T>& result) {
    if (!result) {
        throw startFailure(result.error());
    }
}

/// Has the kernel kill this process, a child, when its parent is gone. What works on files is not
/// to go on when nobody can be told of it any more. Ends it if the parent is gone already.
void endWithParent(pid_t parent);

/// Takes that back, where ending would leave more behind than going on.
void outliveParent();

/// What a tool finds at its start: a session without terminal, signals at their defaults.
void leaveTheHelperBehind(int input, int output, int errors);

/// Replaces this process by a tool. Returns only when that fails: the reason.
Errno becomeTool(const Tool& tool, const std::vector<std::string>& arguments);

/// Replaces this process by a tool, or ends it.
[[noreturn]] void becomeToolOrEnd(const Tool& tool,
                                  const std::vector<std::string>& arguments) noexcept;

/// Says to hasStarted, in the child, why its tool does not run, and ends. The tool itself never has
/// `report`.
[[noreturn]] void reportFailure(const FileDescriptor& report, const Refusal& refusal);

/// Waits until a child's tool runs or will not; in that case it throws a Refusal about `path`.
/// Returns false when neither is so within the limit.
bool hasStarted(Pipe& report, const std::string& path, std::chrono::milliseconds limit);

} // namespace qf::native::helper
