#pragma once

#include "platform/Services.h"
#include "platform/foundation/Format.h"

#include <string_view>

namespace qf {

/// The program's output outside its windows and its own log. Text is written verbatim, never used
/// as a format. Any thread may call every member; lines of several threads never mix.
class Console {
public:
    static constexpr const char* portName = "Console";
    virtual ~Console() = default;

    /// Writes one line, with a line end added, to the system log: standard error, and the machine's
    /// system log where it has one.
    virtual void systemLog(std::string_view message) = 0;

    /// Writes text, with nothing added, to standard output at once.
    virtual void print(std::string_view text) = 0;
};

/// Fills a format as qf::format does and writes the result as one line to the system log.
/// Any thread may call it.
template <class... Arguments>
void systemLog(std::string_view text, const Arguments&... arguments) {
    service<Console>().systemLog(qf::format(text, arguments...));
}

} // namespace qf
