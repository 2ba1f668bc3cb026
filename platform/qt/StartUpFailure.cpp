#include "platform/qt/StartUpFailure.h"

#include "platform/foundation/Text.h"
#include "platform/support/ApplicationName.h"

#include <iostream>

namespace qf::qt {

void reportStartUpFailure(std::string_view reason) {
    std::cerr << applicationName() + ": " + text::printable(reason) + '\n' << std::flush;
}

} // namespace qf::qt
