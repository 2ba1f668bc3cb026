#include "platform/foundation/Thread.h"

#include "platform/foundation/Exception.h"

#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace platform {

void detachNewThread(std::function<void()> body) {
    try {
        std::thread(std::move(body)).detach();
    } catch (const std::system_error& error) {
        throw Exception(exception_name::generic,
                        std::string("could not start a thread: ") + error.code().message());
    }
}

} // namespace platform
