#include "platform/linux/system/Clock.h"

namespace qf::native {

Date Clock::now() {
    return Date::clock::now();
}

std::tm Clock::localTime(Date moment) {
    const std::time_t seconds = Date::clock::to_time_t(moment);
    std::tm parts{};
    // Unlike std::localtime, localtime_r need not notice a changed time zone by itself.
    ::tzset();
    ::localtime_r(&seconds, &parts);
    return parts;
}

} // namespace qf::native
