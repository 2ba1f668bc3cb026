// Interface files, as the terminal reads them: whatever the text, it has windows or is refused.
// Qt's own reader is left out: it falls over a layout of a class that it does not know, and reads
// only what is part of a program.

#include "tests/fuzz/Fuzzing.h"

#include "platform/foundation/Exception.h"
#include "platform/terminal/InterfaceFile.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        qf::terminal::windowsIn({.name = "fuzz.ui", .text = std::string(textOf(data, size))});
    } catch (const qf::Exception& exception) {
        demand(exception.name() == qf::exception_name::interfaceUnreadable);
    }
    return 0;
}
