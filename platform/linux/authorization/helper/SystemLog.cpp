#include "platform/linux/authorization/helper/SystemLog.h"

#include <syslog.h>

#include <string>

namespace qf::native::helper {

namespace {

/// Bytes that no terminal and no log reader can mistake for anything else, as many as fit.
std::string printable(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7f && character != '\\') {
            result += character;
        } else {
            result += {'\\', 'x', digits[byte >> 4U], digits[byte & 0xfU]};
        }
        if (result.size() > longestLogLine) {
            return result + "...";
        }
    }
    return result;
}

} // namespace

void openLog() {
    ::openlog("qf-helper", LOG_PID | LOG_NDELAY, LOG_AUTHPRIV);
}

void log(std::string_view line) {
    ::syslog(LOG_NOTICE, "%s", printable(line).c_str());
}

} // namespace qf::native::helper
