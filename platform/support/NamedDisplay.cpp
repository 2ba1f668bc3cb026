#include "platform/support/NamedDisplay.h"

#include <cstdlib>

namespace qf {

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

bool isDisplayNamed() {
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM");
}

} // namespace qf
