#pragma once

#include "platform/Console.h"

#include <mutex>

namespace qf::native {

/// The console on standard error, standard output and syslog. Output to a stream without a reader
/// or without space is lost and never ends the process.
class Console : public qf::Console {
public:
    void systemLog(std::string_view message) override;
    void print(std::string_view text) override;

private:
    std::mutex mutex_;
};

} // namespace qf::native
