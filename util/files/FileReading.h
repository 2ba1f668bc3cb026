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

/// What the verified copy and the digests of files have in common.
namespace filereading {

/// How many bytes a file is read at a time.
inline constexpr std::size_t chunkSize = 65536;

struct FreeMemory {
    void operator()(std::byte* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<std::byte[], FreeMemory>;

/// A buffer for one chunk, of no content, so that a small file does not pay for the whole chunk;
/// null when no memory is left.
inline Buffer makeBuffer() {
    return Buffer(static_cast<std::byte*>(std::malloc(chunkSize)));
}

/// The digest of what a context was fed, in lowercase hexadecimal digits.
std::string digestText(const platform::DigestContext& context);

/// Calls an operation of a delegate. What it raises is logged and goes no further.
template <class Call>
void callDelegate(std::string_view operation, const Call& call) {
    try {
        call();
    } catch (const platform::Exception& exception) {
        QFException::logException(exception, operation);
    } catch (const std::exception& exception) {
        QFException::logException({platform::exception_name::generic, exception.what()}, operation);
    }
}

/// The same on the global concurrent queue; the call owns what it uses.
template <class Call>
void callDelegateLater(std::string_view operation, Call call) {
    callDelegate(operation, [&] {
        platform::dispatchAsync(
            [operation, call = std::move(call)] { callDelegate(operation, call); });
    });
}

} // namespace filereading
