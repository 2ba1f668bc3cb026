#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// What the running program and its machine are. Any thread may call every member.
class SystemInformation {
public:
    static constexpr const char* portName = "SystemInformation";
    virtual ~SystemInformation() = default;

    /// A string that no other call on any machine has given or will give.
    virtual std::string globallyUniqueString() = 0;

    /// The operating system's name and version as a person would write them.
    virtual std::string operatingSystemVersion() = 0;

    /// The machine's name in its network; empty when it has none.
    virtual std::string hostName() = 0;

    /// How many processors the system has online.
    virtual long processorCount() = 0;

    /// The machine's memory in bytes.
    virtual std::uint64_t physicalMemory() = 0;

    /// The absolute path of the running program, or nothing when the system does not tell.
    virtual std::optional<std::string> executablePath() = 0;

    /// The running program's version, or nothing when it carries none.
    virtual std::optional<std::string> bundleVersion() = 0;
};

} // namespace platform
