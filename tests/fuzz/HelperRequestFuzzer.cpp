// Requests to the privileged helper: whatever the bytes, the parser stays within them, and what it
// takes for a request says the same when it is written again.

#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "tests/fuzz/Fuzzing.h"

using namespace qf::native::helper;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string message(textOf(data, size));
    Request request;
    if (parseRequest(message, request) != Status::started) {
        return 0;
    }
    const std::vector<std::string> arguments(request.arguments.begin(), request.arguments.end());
    const auto content = request.content ? std::optional(std::string(*request.content))
                                         : std::optional<std::string>();
    demand(!request.tool.empty());
    demand(encodeRequest(std::string(request.tool), arguments, content) == message);
    return 0;
}
