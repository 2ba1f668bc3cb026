#include "platform/terminal/LogConsole.h"

#include <syslog.h>

#include <algorithm>
#include <climits>

namespace qf::terminal {

void LogConsole::systemLog(std::string_view message) {
    const auto length = static_cast<int>(std::min<std::size_t>(message.size(), INT_MAX));
    ::syslog(LOG_USER | LOG_NOTICE, "%.*s", length, message.data());
}

void LogConsole::print(std::string_view text) {
    systemLog(text);
}

} // namespace qf::terminal
