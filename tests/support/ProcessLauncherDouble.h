#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/foundation/Exception.h"
#include "tests/support/FileSystemDoubles.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// Launches nothing, but records what was to be launched. Its children end when they are waited
/// for.
class RecordingProcessLauncher : public qf::ProcessLauncher {
public:
    /// Can launch the disk's tools.
    explicit RecordingProcessLauncher(const DescribedFileSystem& disk) : disk_(disk) {}

    /// Stand-ins of this machine for tools that do not exist.
    std::set<std::string> standIns;
    /// The tools that were run with their arguments, each as one line; if one was waited for, its
    /// end is recorded at its place in the order.
    std::vector<std::string> runs;
    /// Raised by the next launches.
    std::optional<qf::Exception> failure;
    /// The status that the tools end with.
    int terminationStatus = 0;
    /// Does what the tool would do.
    std::function<void()> effect = [] {};

    bool canLaunch(const std::string& path) override;
    std::shared_ptr<qf::Pipe> makePipe() override;
    std::vector<std::shared_ptr<qf::Pipe>> makePipes(std::size_t count) override;
    std::shared_ptr<qf::ChildProcess> launch(const qf::ProcessDescription& description) override;

private:
    const DescribedFileSystem& disk_;
};
