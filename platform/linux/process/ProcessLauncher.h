#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/posix/FileDescriptor.h"

namespace platform::native {

/// Launches children with posix_spawn, whose cost does not grow with the program's memory.
class ProcessLauncher : public platform::ProcessLauncher {
public:
    /// Resets SIGCHLD to its default action: a program that was started with the signal ignored, as
    /// some shells do, would never learn a child's status.
    ProcessLauncher();

    bool canLaunch(const std::string& path) override;
    std::shared_ptr<platform::Pipe> makePipe() override;
    std::vector<std::shared_ptr<platform::Pipe>> makePipes(std::size_t count) override;
    std::shared_ptr<ChildProcess> launch(const ProcessDescription& description) override;

private:
    FileDescriptor nullDevice_;
};

} // namespace platform::native
