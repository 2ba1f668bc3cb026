#pragma once

#include "platform/Console.h"

#include <mutex>

namespace platform::native {

/// Standard error, standard output and syslog. A console that nobody reads any more, or that has no
/// room, loses what is said and never ends the process.
class Console : public platform::Console {
public:
    void systemLog(std::string_view message) override;
    void print(std::string_view text) override;

private:
    std::mutex mutex_;
};

} // namespace platform::native
