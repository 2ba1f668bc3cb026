#pragma once

#include "platform/SystemInformation.h"

#include <utility>

namespace qf::native {

/// System information from os-release, the kernel and the program itself.
class SystemInformation : public qf::SystemInformation {
public:
    /// `version` is that of the running program.
    explicit SystemInformation(std::optional<std::string> version = {})
        : version_(std::move(version)) {}

    std::string globallyUniqueString() override;
    std::string operatingSystemVersion() override;
    std::string hostName() override;
    long processorCount() override;
    std::uint64_t physicalMemory() override;
    std::optional<std::string> executablePath() override;
    std::optional<std::string> bundleVersion() override { return version_; }

private:
    const std::optional<std::string> version_;
};

} // namespace qf::native
