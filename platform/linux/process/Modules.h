#pragma once

#include "platform/Modules.h"

namespace platform::native {

/// Shared objects in the installation's directory, named "MODULE.so".
class Modules final : public platform::Modules {
public:
    Result<Function> function(const std::string& module) override;
};

} // namespace platform::native
