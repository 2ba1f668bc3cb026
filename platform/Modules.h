#pragma once

#include "platform/foundation/Result.h"

#include <string>

namespace qf {

/// Parts of the program that are files of their own, loaded only when they are needed. Any thread
/// may call every member.
class Modules {
public:
    static constexpr const char* portName = "Modules";
    virtual ~Modules() = default;

    /// The function of a module: moduleMain(), declared extern "C". The caller knows its real type,
    /// and casts it to that.
    using Function = void (*)();

    /// Loads the module of this name, unless it is loaded, and returns its function. The module
    /// uses the functions and objects that the program exports, and stays loaded until the process
    /// ends. It is a file in the program's directory (ProgramDescription::directory): nothing else,
    /// in particular not the environment, determines where it is. The error names the file and the
    /// cause.
    virtual Result<Function> function(const std::string& module) = 0;
};

} // namespace qf
