#pragma once

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/helper/Command.h"

#include <string>

namespace platform::native::helper {

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// No child's tool has its ends. Throws a Refusal.
Pipe makePipe(int flags);

/// Where a child says that it failed before its tool ran. The tool itself never has it.
[[noreturn]] void failToStart(const FileDescriptor& report);

/// Replaces this process by the tool, which has the command's folders open.
[[noreturn]] void becomeTool(const Command& command, const FileDescriptor& report);

/// What a tool finds at its start: a session without terminal, signals at their defaults.
void leaveTheHelperBehind(int input, int output, int errors);

/// Waits until the tool runs, or throws.
void awaitStart(Pipe& report, const std::string& path);

} // namespace platform::native::helper
