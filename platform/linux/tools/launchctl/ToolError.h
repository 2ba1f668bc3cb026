#pragma once

#include <stdexcept>

namespace platform::native::launchctl {

/// Why a command was not carried out.
class ToolError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace platform::native::launchctl
