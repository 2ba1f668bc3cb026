#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qf {

/// Facts about the running program and its machine. Any thread may call every member.
class SystemInformation {
public:
    static constexpr const char* portName = "SystemInformation";
    virtual ~SystemInformation() = default;

    /// Returns a string that no other call on any machine has returned or will return.
    virtual std::string globallyUniqueString() = 0;

    /// Returns the operating system's name and version as a person would write them.
    virtual std::string operatingSystemVersion() = 0;

    /// Returns the machine's network name; empty if it has none.
    virtual std::string hostName() = 0;

    /// Returns the number of processors online.
    virtual long processorCount() = 0;

    /// Returns the machine's memory in bytes.
    virtual std::uint64_t physicalMemory() = 0;

    /// Returns the absolute path of the running program, or nullopt if the system does not report
    /// it.
    virtual std::optional<std::string> executablePath() = 0;

    /// Returns the running program's version, or nullopt if it has none.
    virtual std::optional<std::string> bundleVersion() = 0;
};

} // namespace qf
