#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>

/// A bus that takes connections and never says anything.
class SilentBus {
public:
    SilentBus() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(&address.sun_path[0], sizeof address.sun_path - 1);
        EXPECT_EQ(
            ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(socket_.get(), 1), 0);
    }

    std::string address() const { return "unix:path=" + path_; }

private:
    TemporaryDirectory directory_;
    std::string path_ = directory_ / "bus";
    qf::native::FileDescriptor socket_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};
