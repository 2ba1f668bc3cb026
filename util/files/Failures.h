#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Result.h"

#include <string>
#include <utility>

namespace qf {

/// Returns the failure of an operation that this layer itself declines or gives up.
inline Unexpected<Error> fileFailure(std::string why, int code = 0) {
    return Unexpected(
        Error{.domain = "QFFileErrorDomain", .code = code, .localizedDescription = std::move(why)});
}

} // namespace qf
