#include "platform/support/ApplicationName.h"

#include "platform/foundation/Path.h"

namespace qf {

namespace {

/// Never destroyed: detached threads may still report something.
std::string& name() {
    static auto& name = *new std::string;
    return name;
}

} // namespace

void nameApplication(const char* const* arguments) {
    name() = path::lastComponent(*arguments == nullptr ? "" : *arguments);
}

const std::string& applicationName() {
    return name();
}

} // namespace qf
