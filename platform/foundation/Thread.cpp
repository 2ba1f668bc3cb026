#include "platform/foundation/Thread.h"

#include <thread>
#include <utility>

namespace qf {

void detachNewThread(std::function<void()> body) {
    try {
        std::thread(std::move(body)).detach();
    } catch (const std::system_error& error) {
        throw NoThreadLeft(error.code());
    }
}

} // namespace qf
