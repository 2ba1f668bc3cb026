#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/linux/authorization/ScopedUndumpable.h"
#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <chrono>
#include <istream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qf::native {

/// The program's end of the connection to the privileged helper. Having one is the administrator's
/// right; letting it go gives the right up, while the tools that were started go on.
/// Any thread may call every member.
class HelperConnection {
public:
    /// Takes over a SOCK_SEQPACKET socket at whose other end a helper is, or will be. A helper that
    /// takes longer than `patience` to start a tool counts as gone.
    explicit HelperConnection(FileDescriptor socket,
                              std::chrono::milliseconds patience = std::chrono::minutes(1))
        : socket_(std::move(socket)), patience_(patience) {}

    /// Whether a helper answers. Without a time limit it waits for as long as somebody has the
    /// other end.
    bool handshake(std::optional<std::chrono::milliseconds> limit = std::nullopt);

    /// Whether the other end is still open.
    bool isOpen();

    /// Has the helper start a tool, whose output the stream reads, or give a file to root that is
    /// to have this content. errAuthorizationInternal when the helper is gone,
    /// errAuthorizationToolExecuteFailure when it refuses.
    AuthorizationResult<std::unique_ptr<std::istream>>
    start(const std::string& toolPath, const std::vector<std::string>& arguments,
          const std::optional<std::string>& content = std::nullopt);

private:
    struct Answer {
        helper::Reply reply;
        FileDescriptor output;
    };

    std::optional<Answer> ask(std::string_view message,
                              std::optional<std::chrono::milliseconds> limit);
    std::optional<Answer> receive();

    ScopedUndumpable undumpable_;
    std::mutex mutex_;
    FileDescriptor socket_;
    std::chrono::milliseconds patience_;
};

} // namespace qf::native
