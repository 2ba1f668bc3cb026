// Requests to the privileged helper: whatever the bytes, the parser stays within them, and what it
// takes for a request says the same when it is written again.

#include "platform/linux/authorization/helper/HelperProtocol.h"

#include <cstdlib>

using namespace platform::native::helper;

// NOLINTNEXTLINE(readability-identifier-naming): libFuzzer's name
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string message(data, data + size);
    Request request;
    if (parseRequest(message, request) != Status::started) {
        return 0;
    }
    const std::vector<std::string> arguments(request.arguments.begin(), request.arguments.end());
    const auto content = request.content ? std::optional(std::string(*request.content))
                                         : std::optional<std::string>();
    if (request.tool.empty() ||
        encodeRequest(std::string(request.tool), arguments, content) != message) {
        std::abort();
    }
    return 0;
}
