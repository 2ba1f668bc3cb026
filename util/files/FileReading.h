#pragma once

#include "platform/Digests.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/GlobalQueue.h"
#include "util/log/QFException.h"

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// Shared by the verified copy and the digests of files.
namespace qf::filereading {

/// How many bytes a file is read at a time.
inline constexpr std::size_t chunkSize = 65536;

struct FreeMemory {
    void operator()(std::byte* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<std::byte[], FreeMemory>;

/// Returns an uninitialised buffer for one chunk, so that a small file does not pay for the whole
/// chunk; null if no memory is left.
inline Buffer makeBuffer() {
    return Buffer(static_cast<std::byte*>(std::malloc(chunkSize)));
}

/// Returns the digest of the data that a context was fed, in lowercase hexadecimal digits.
std::string digestText(const DigestContext& context);

/// Calls an operation of a delegate. Logs and swallows an exception of any type that it throws.
template <class Call>
void callDelegate(std::string_view operation, const Call& call) {
    try {
        call();
    } catch (const Exception& exception) {
        QFException::logException(exception, operation);
    } catch (const std::exception& exception) {
        QFException::logException({exception_name::generic, exception.what()}, operation);
    } catch (...) {
        QFException::logException({exception_name::generic, QFException::unknownReason}, operation);
    }
}

/// Does the same on the global concurrent queue; `call` must own what it uses.
template <class Call>
void callDelegateLater(std::string_view operation, Call call) {
    callDelegate(operation, [&] {
        dispatchAsync([operation, call = std::move(call)] { callDelegate(operation, call); });
    });
}

} // namespace qf::filereading
