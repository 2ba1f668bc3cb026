#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Result.h"

namespace qf {

/// Who carried out an operation that succeeded.
enum class DoneBy {
    user,          ///< the current user: it is done
    administrator, ///< a tool with the administrator's right, which was started to do it
};

/// The result of an operation on a file. The error of one that failed is that of the current user's
/// own attempt, whether or not the administrator's right was requested afterwards.
using FileResult = Result<DoneBy>;

/// Returns the result of an operation that the current user could not carry out.
inline FileResult byAdministrator(bool isStarted, const Error& own) {
    return isStarted ? FileResult(DoneBy::administrator) : Unexpected(own);
}

} // namespace qf
