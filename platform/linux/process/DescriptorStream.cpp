#include "platform/linux/process/DescriptorStream.h"

#include "platform/linux/posix/SystemCall.h"

#include <utility>

namespace qf::native {

DescriptorStream::DescriptorStream(FileDescriptor descriptor)
    : std::istream(nullptr), buffer_(std::move(descriptor)) {
    rdbuf(&buffer_);
}

DescriptorStream::Buffer::int_type DescriptorStream::Buffer::underflow() {
    const auto size =
        retryOnEintr([this] { return ::read(descriptor_.get(), bytes_.data(), bytes_.size()); });
    if (size <= 0) {
        return traits_type::eof();
    }
    setg(bytes_.data(), bytes_.data(), bytes_.data() + size);
    return traits_type::to_int_type(bytes_.front());
}

} // namespace qf::native
