#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>

namespace qf::native::helper {

/// What the kernel hands over along with a message.
template <class Passed>
inline constexpr int passedType = -1;
template <> // a descriptor
inline constexpr int passedType<int> = SCM_RIGHTS;
template <> // who has sent it
inline constexpr int passedType<ucred> = SCM_CREDENTIALS;

/// One message over a UNIX socket, with a descriptor or the sender's credentials. There is room for
/// that alone: whatever else comes along, the system drops.
template <class Passed>
class PassingMessage {
public:
    /// The bytes must outlive this.
    PassingMessage(void* bytes, std::size_t size) : bytes_{bytes, size} {
        message_.msg_iov = &bytes_;
        message_.msg_iovlen = 1;
    }
    PassingMessage(const PassingMessage&) = delete;
    PassingMessage& operator=(const PassingMessage&) = delete;
    PassingMessage(PassingMessage&&) = delete;
    PassingMessage& operator=(PassingMessage&&) = delete;
    ~PassingMessage() = default;

    /// As recvmsg().
    ssize_t receive(int socket, int flags) {
        message_.msg_control = control_.data();
        message_.msg_controllen = control_.size();
        const ssize_t size = ::recvmsg(socket, &message_, flags);
        isReceived_ = size >= 0;
        return size;
    }

    /// What came along, if it did.
    std::optional<Passed> passed() {
        const cmsghdr* header = isReceived_ ? CMSG_FIRSTHDR(&message_) : nullptr;
        if (header == nullptr || header->cmsg_level != SOL_SOCKET ||
            header->cmsg_type != passedType<Passed> ||
            header->cmsg_len != CMSG_LEN(sizeof(Passed))) {
            return std::nullopt;
        }
        Passed passed{};
        std::memcpy(&passed, CMSG_DATA(header), sizeof passed);
        return passed;
    }

    /// As sendmsg(). Without something to pass on, the bytes alone are sent.
    ssize_t send(int socket, const std::optional<Passed>& passed, int flags) {
        if (passed) {
            message_.msg_control = control_.data();
            message_.msg_controllen = control_.size();
            cmsghdr* header = CMSG_FIRSTHDR(&message_);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = passedType<Passed>;
            header->cmsg_len = CMSG_LEN(sizeof(Passed));
            std::memcpy(CMSG_DATA(header), &*passed, sizeof(Passed));
        }
        return ::sendmsg(socket, &message_, flags);
    }

private:
    iovec bytes_;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(Passed))> control_{};
    msghdr message_{};
    bool isReceived_ = false;
};

} // namespace qf::native::helper
