#include "platform/linux/process/DescriptorStream.h"

#include "tests/platform/linux/process/ForkedProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iterator>
#include <string>

using qf::native::DescriptorStream;
using qf::native::FileDescriptor;

namespace {

void put(const ForkedPipe& pipe, const std::string& text) {
    EXPECT_EQ(::write(pipe.writing.get(), text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
}

std::string rest(DescriptorStream& stream) {
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

TEST(DescriptorStream, ReadsMoreThanItsBufferHolds) {
    ForkedPipe pipe;
    const std::string text(10000, '\xFF');
    put(pipe, text);
    pipe.writing.reset();

    DescriptorStream stream(std::move(pipe.reading));

    EXPECT_EQ(rest(stream), text);
}

TEST(DescriptorStream, ReadsALineBeforeTheNextIsWritten) {
    ForkedPipe pipe;
    DescriptorStream stream(std::move(pipe.reading));
    std::string line;
    for (const std::string text : {"first", "second"}) {
        put(pipe, text + "\n");

        ASSERT_TRUE(std::getline(stream, line));

        EXPECT_EQ(line, text);
    }
}

TEST(DescriptorStream, EndsWhereItCannotRead) {
    const TemporaryDirectory directory;

    DescriptorStream stream(
        FileDescriptor(::open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));

    EXPECT_EQ(rest(stream), "");
}

TEST(DescriptorStream, ClosesTheDescriptor) {
    ForkedPipe pipe;
    const int descriptor = pipe.reading.get();
    {
        const DescriptorStream stream(std::move(pipe.reading));
        EXPECT_GE(::fcntl(descriptor, F_GETFD), 0);
    }
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

} // namespace
