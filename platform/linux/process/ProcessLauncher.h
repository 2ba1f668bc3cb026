#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/posix/FileDescriptor.h"

namespace platform::native {

/// Launches children with posix_spawn, whose cost does not grow with the program's memory.
class ProcessLauncher : public platform::ProcessLauncher {
public:
    /// A program that was started with the signal of ended children ignored, as some shells can do,
    /// would never learn a status: the signal is set to its default, which changes nothing else.
    ProcessLauncher();

    std::shared_ptr<platform::Pipe> makePipe() override;
    std::vector<std::shared_ptr<platform::Pipe>> makePipes(std::size_t count) override;
    std::shared_ptr<ChildProcess> launch(const ProcessDescription& description) override;

private:
    FileDescriptor nullDevice_;
};

} // namespace platform::native
