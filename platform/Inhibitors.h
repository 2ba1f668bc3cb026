#pragma once

#include <memory>
#include <string>

namespace qf {

/// Holds something off while it exists.
class Inhibition {
public:
    Inhibition() = default;
    virtual ~Inhibition() = default;
    Inhibition(const Inhibition&) = delete;
    Inhibition& operator=(const Inhibition&) = delete;
    Inhibition(Inhibition&&) = delete;
    Inhibition& operator=(Inhibition&&) = delete;
};

/// What the machine may be kept from while work is under way. Any thread may call every member.
class Inhibitors {
public:
    static constexpr const char* portName = "Inhibitors";
    virtual ~Inhibitors() = default;

    /// Keeps the machine from being shut down and put to sleep until the inhibition is destroyed or
    /// the process ends. `who` and `why` are for people whom the system asks to wait, such as
    /// "Player" and "Burning a disc". Returns null if the system does not allow it or has no means.
    virtual std::unique_ptr<Inhibition> inhibitShutdown(const std::string& who,
                                                        const std::string& why) = 0;
};

} // namespace qf
