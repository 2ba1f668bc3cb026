#include "platform/linux/authorization/HelperConnection.h"

#include "platform/linux/authorization/helper/PassingMessage.h"
#include "platform/linux/posix/SystemCall.h"
#include "platform/linux/process/DescriptorStream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace qf::native {

namespace {

bool waitForAnswer(int socket, std::optional<std::chrono::milliseconds> limit) {
    pollfd answer{socket, POLLIN, 0};
    int ready = 0;
    do {
        ready = ::poll(&answer, 1, limit ? static_cast<int>(limit->count()) : -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace

bool HelperConnection::handshake(std::optional<std::chrono::milliseconds> limit) {
    const std::lock_guard lock(mutex_);
    const auto answer = ask(helper::areYouThere, limit);
    return answer && answer->reply.status == helper::Status::ready;
}

bool HelperConnection::isOpen() {
    const std::lock_guard lock(mutex_);
    char byte = 0;
    return ::recv(socket_.get(), &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) < 0 &&
           (errno == EAGAIN || errno == EINTR);
}

AuthorizationResult<std::unique_ptr<std::istream>>
HelperConnection::start(const std::string& toolPath, const std::vector<std::string>& arguments,
                        const std::optional<std::string>& content) {
    const auto message = helper::encodeRequest(toolPath, arguments, content);
    if (!message || toolPath.empty()) {
        return Unexpected(errAuthorizationToolExecuteFailure);
    }
    const std::lock_guard lock(mutex_);
    // A tool whose output could not be received is not started in the first place.
    if (!FileDescriptor(::fcntl(socket_.get(), F_DUPFD_CLOEXEC, 0))) {
        return Unexpected(errAuthorizationToolExecuteFailure);
    }
    auto answer = ask(*message, patience_);
    if (!answer) {
        // A late answer would be taken for that to the next request.
        ::shutdown(socket_.get(), SHUT_RDWR);
        return Unexpected(errAuthorizationInternal);
    }
    if (answer->reply.status != helper::Status::started || !answer->output) {
        return Unexpected(errAuthorizationToolExecuteFailure);
    }
    return std::make_unique<DescriptorStream>(std::move(answer->output));
}

/// The answer to one message, none when the helper is gone. The caller holds the mutex.
std::optional<HelperConnection::Answer>
HelperConnection::ask(std::string_view message, std::optional<std::chrono::milliseconds> limit) {
    ssize_t sent = 0;
    do {
        sent = ::send(socket_.get(), message.data(), message.size(), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0 || !waitForAnswer(socket_.get(), limit)) {
        return std::nullopt;
    }
    return receive();
}

std::optional<HelperConnection::Answer> HelperConnection::receive() {
    Answer answer;
    helper::PassingMessage<int> message(&answer.reply, sizeof answer.reply);
    const ssize_t size =
        retryOnEintr([&] { return message.receive(socket_.get(), MSG_CMSG_CLOEXEC); });
    answer.output = FileDescriptor(message.passed().value_or(-1));
    const bool isReply =
        size == sizeof answer.reply && answer.reply.signature == helper::Reply{}.signature;
    return isReply ? std::optional(std::move(answer)) : std::nullopt;
}

} // namespace qf::native
