#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/posix/FileDescriptor.h"

namespace qf::native {

/// Launches children with posix_spawn, whose cost does not grow with the program's memory.
class ProcessLauncher : public qf::ProcessLauncher {
public:
    /// Resets SIGCHLD to its default action: a program that was started with the signal ignored, as
    /// some shells do, would never learn a child's status.
    ProcessLauncher();

    bool canLaunch(const std::string& path) override;
    std::shared_ptr<qf::Pipe> makePipe() override;
    std::vector<std::shared_ptr<qf::Pipe>> makePipes(std::size_t count) override;
    std::shared_ptr<ChildProcess> launch(const ProcessDescription& description) override;

private:
    FileDescriptor nullDevice_;
};

} // namespace qf::native
