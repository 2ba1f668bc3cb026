#include "app/start/TerminalUser.h"

#include "platform/foundation/Exception.h"

#include <iostream>

namespace start {

void print(const std::string& text) {
    std::cout << text << std::flush;
    if (!std::cout) {
        throw qf::Exception("QFListUnwritable", "cannot write the list");
    }
}

} // namespace start
