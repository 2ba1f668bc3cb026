#include "platform/qt/StartUpFailure.h"

#include "platform/foundation/Text.h"
#include "platform/qt/Identity.h"

#include <cstdlib>
#include <iostream>

namespace platform::qt {

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

void reportStartUpFailure(std::string_view reason) {
    std::cerr << applicationName() + ": " + text::printable(reason) + '\n' << std::flush;
}

bool isDisplayNamed() {
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM");
}

} // namespace platform::qt
