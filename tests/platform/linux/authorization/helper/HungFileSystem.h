#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>

/// A mounted file system that tells of its only file that it exists, and answers nothing else. Who
/// asks it for more waits until this has gone, and cannot even be killed.
class HungFileSystem {
public:
    /// Look at isMounted() afterwards.
    explicit HungFileSystem(const std::string& directory) : directory_(directory) {
        const std::string device = "/dev/fuse";
        constexpr unsigned int major = 10;
        constexpr unsigned int minor = 229;
        ::mknod(device.c_str(), S_IFCHR | 0600, ::makedev(major, minor));
        device_ = qf::native::FileDescriptor(::open(device.c_str(), O_RDWR | O_CLOEXEC));
        const std::string options = "fd=" + std::to_string(device_.get()) +
                                    ",rootmode=40755,user_id=0,group_id=0,allow_other";
        isMounted_ = device_ && ::mount("hung", directory.c_str(), "fuse", MS_NODEV | MS_NOSUID,
                                        options.c_str()) == 0;
        if (isMounted_) {
            server_ = std::thread([this] { serve(); });
        }
    }
    ~HungFileSystem() {
        if (isMounted_) {
            EXPECT_EQ(::umount2(directory_.c_str(), MNT_FORCE | MNT_DETACH), 0);
            server_.join();
        }
    }
    HungFileSystem(const HungFileSystem&) = delete;
    HungFileSystem& operator=(const HungFileSystem&) = delete;
    HungFileSystem(HungFileSystem&&) = delete;
    HungFileSystem& operator=(HungFileSystem&&) = delete;

    bool isMounted() const { return isMounted_; }
    std::string file() const { return directory_ + "/file"; }

private:
    static constexpr std::uint64_t fileNumber = 2;
    static constexpr std::uint64_t forLong = 3600;

    void serve() const {
        std::array<char, 256UL * 1024> request{};
        while (::read(device_.get(), request.data(), request.size()) > 0) {
            fuse_in_header header{};
            std::memcpy(&header, request.data(), sizeof header);
            answer(header, request.data() + sizeof header);
        }
    }

    void answer(const fuse_in_header& header, const char* name) const {
        if (header.opcode == FUSE_INIT) {
            fuse_init_out agreed{};
            agreed.major = FUSE_KERNEL_VERSION;
            agreed.minor = FUSE_KERNEL_MINOR_VERSION;
            agreed.max_write = 4096;
            send(header, agreed);
        } else if (header.opcode == FUSE_GETATTR) {
            fuse_attr_out attributes{};
            attributes.attr_valid = forLong;
            attributes.attr = attributesOf(header.nodeid);
            send(header, attributes);
        } else if (header.opcode == FUSE_LOOKUP && std::string_view(name) == "file") {
            fuse_entry_out entry{};
            entry.nodeid = fileNumber;
            entry.entry_valid = entry.attr_valid = forLong;
            entry.attr = attributesOf(fileNumber);
            send(header, entry);
        }
    }

    static fuse_attr attributesOf(std::uint64_t number) {
        fuse_attr attributes{};
        attributes.ino = number;
        attributes.mode = number == fileNumber ? S_IFREG | 0644U : S_IFDIR | 0755U;
        attributes.size = number == fileNumber ? 1 : 0;
        attributes.nlink = 1;
        return attributes;
    }

    template <class Body>
    void send(const fuse_in_header& header, const Body& body) const {
        std::array<char, sizeof(fuse_out_header) + sizeof body> reply{};
        const fuse_out_header head{sizeof reply, 0, header.unique};
        std::memcpy(reply.data(), &head, sizeof head);
        std::memcpy(reply.data() + sizeof head, &body, sizeof body);
        EXPECT_EQ(::write(device_.get(), reply.data(), reply.size()), sizeof reply);
    }

    const std::string directory_;
    qf::native::FileDescriptor device_;
    bool isMounted_ = false;
    std::thread server_;
};
