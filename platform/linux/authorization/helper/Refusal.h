#pragma once

#include "platform/linux/authorization/helper/HelperProtocol.h"

#include <string>

namespace qf::native::helper {

/// Why a request is refused, and what about it. Thrown.
struct Refusal {
    Status status = Status::startFailed;
    std::string about;
};

/// The refusal in words.
std::string sentence(const Refusal& refusal);

} // namespace qf::native::helper
