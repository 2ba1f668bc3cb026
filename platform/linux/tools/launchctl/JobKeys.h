#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qf::native::launchctl {

using Lines = std::vector<std::string>;

/// A job while its settings are turned into units: the lines of each section, and settings that
/// form a line only together.
struct Draft {
    std::string label;
    std::optional<std::string> program;
    std::vector<std::string> arguments;
    bool startsAtLoad = false;
    std::string stopTimeout;
    /// The destination of standard error. Unset, it would follow standard output into its file.
    std::string standardError;
    Lines service;
    Lines timer;
    Lines path;
};

/// A key of a job file, and how it is added to the draft; `apply` throws Unfit.
struct JobKey {
    std::string_view name;
    void (*apply)(const Value& value, Draft& draft);
};

/// Returns every key that a job may have. Others have no equivalent (Sockets, MachServices), or
/// none yet.
std::span<const JobKey> jobKeys();

} // namespace qf::native::launchctl
