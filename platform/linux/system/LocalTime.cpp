#include "platform/linux/system/LocalTime.h"

#include <ctime>

namespace platform::native {

std::tm LocalTime::now() {
    const std::time_t moment = std::time(nullptr);
    std::tm parts{};
    // Unlike std::localtime, localtime_r need not notice a changed time zone by itself.
    ::tzset();
    ::localtime_r(&moment, &parts);
    return parts;
}

} // namespace platform::native
