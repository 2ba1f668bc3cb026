#include "platform/linux/process/RunDescriptors.h"

#include "platform/foundation/Exception.h"
#include "tests/platform/linux/process/SleepingThread.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScopedLimit.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <future>
#include <string>

using qf::native::FileDescriptor;
using qf::native::RunDescriptor;
using qf::native::RunDescriptors;

namespace {

/// A descriptor, the first that is free.
FileDescriptor nullDevice() {
    return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

class RunDescriptorsTest : public testing::Test {
protected:
    RunDescriptors descriptors_{std::chrono::minutes(1)};
};

TEST_F(RunDescriptorsTest, OpenAPipeThatNoChildInherits) {
    const auto ends = RunDescriptors::openPipe();
    EXPECT_EQ(::write(ends[1].get(), "x", 1), 1);

    char byte = 0;
    EXPECT_EQ(::read(ends[0].get(), &byte, 1), 1);

    EXPECT_EQ(byte, 'x');
    for (const auto& end : ends) {
        EXPECT_EQ(::fcntl(end.get(), F_GETFD), FD_CLOEXEC);
    }
}

TEST_F(RunDescriptorsTest, OpenAllPipesOrNone) {
    const auto before = openDescriptors();
    std::string name;
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(static_cast<rlim_t>(nullDevice().get()) + 3);
        try {
            descriptors_.openPipes(2);
        } catch (const qf::Exception& exception) {
            name = exception.name();
        }
    }
    EXPECT_EQ(name, "NSFileHandleOperationException");
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RunDescriptorsTest, WaitUntilARunHasGivenSomeBack) {
    auto first = nullDevice();
    auto second = nullDevice();
    descriptors_.opened();
    const ScopedLimit<RLIMIT_NOFILE> limit(static_cast<rlim_t>(second.get()) + 33);
    std::promise<long> thread;
    auto opening = std::async(std::launch::async, [&] {
        thread.set_value(::gettid());
        return descriptors_.openPipes(1).size();
    });
    // The looks at the thread need a descriptor too, which is among those that are kept for others.
    EXPECT_TRUE(isAsleep(thread.get_future().get()));

    first.reset();
    second.reset();
    descriptors_.closed();

    EXPECT_EQ(opening.get(), 1U);
}

TEST_F(RunDescriptorsTest, CloseWhatARunHolds) {
    RunDescriptor held(nullDevice());
    const int former = held.get();
    held = RunDescriptor(nullDevice());
    EXPECT_EQ(::fcntl(former, F_GETFD), -1);

    const int descriptor = held.get();
    held.reset();

    EXPECT_FALSE(held);
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

} // namespace
