#pragma once

#include "platform/SystemInformation.h"

namespace platform::native {

/// What os-release, the kernel and the build tell.
class SystemInformation : public platform::SystemInformation {
public:
    std::string globallyUniqueString() override;
    std::string operatingSystemVersion() override;
    long processorCount() override;
    std::uint64_t physicalMemory() override;
    std::optional<std::string> executablePath() override;
    std::optional<std::string> bundleVersion() override;
};

} // namespace platform::native
