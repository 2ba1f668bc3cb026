#pragma once

#include "platform/Modules.h"

#include <string>
#include <utility>

namespace qf::native {

/// Shared objects in one directory, named "MODULE.so".
class Modules final : public qf::Modules {
public:
    /// The directory is an absolute path, or empty if it is unknown: then there are no modules.
    explicit Modules(std::string directory) : directory_(std::move(directory)) {}

    Result<Function> function(const std::string& module) override;

private:
    const std::string directory_;
};

} // namespace qf::native
