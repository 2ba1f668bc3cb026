#include "platform/linux/process/DescriptorStream.h"

#include <cerrno>
#include <utility>

namespace platform::native {

DescriptorStream::DescriptorStream(FileDescriptor descriptor)
    : std::istream(nullptr), buffer_(std::move(descriptor)) {
    rdbuf(&buffer_);
}

DescriptorStream::Buffer::int_type DescriptorStream::Buffer::underflow() {
    ssize_t size = 0;
    do {
        size = ::read(descriptor_.get(), bytes_.data(), bytes_.size());
    } while (size < 0 && errno == EINTR);
    if (size <= 0) {
        return traits_type::eof();
    }
    setg(bytes_.data(), bytes_.data(), bytes_.data() + size);
    return traits_type::to_int_type(bytes_.front());
}

} // namespace platform::native
