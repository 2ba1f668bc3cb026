#pragma once

#include "platform/Console.h"

namespace platform::terminal {

/// The console while a person reads the terminal: what is for the log goes to the machine's system
/// log alone, for there the person is told how it ended, and not of every step on the way.
class LogConsole final : public platform::Console {
public:
    void systemLog(std::string_view message) override;
    void print(std::string_view text) override;
};

} // namespace platform::terminal
