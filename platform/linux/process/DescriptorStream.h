#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <array>
#include <istream>
#include <streambuf>

namespace qf::native {

/// A stream that reads a descriptor, which it owns. A read error counts as the end.
class DescriptorStream : public std::istream {
public:
    explicit DescriptorStream(FileDescriptor descriptor);

private:
    class Buffer : public std::streambuf {
    public:
        explicit Buffer(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

    protected:
        int_type underflow() override;

    private:
        FileDescriptor descriptor_;
        std::array<char, 4096> bytes_{};
    };

    Buffer buffer_;
};

} // namespace qf::native
