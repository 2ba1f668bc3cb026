#pragma once

#include "platform/Console.h"

namespace qf::terminal {

/// The console while a user reads the terminal: log lines go to the machine's system log alone,
/// because the terminal shows the outcome and not every step.
class LogConsole final : public qf::Console {
public:
    void systemLog(std::string_view message) override;
    void print(std::string_view text) override;
};

} // namespace qf::terminal
