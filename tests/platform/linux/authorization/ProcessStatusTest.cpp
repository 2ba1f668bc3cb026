#include "platform/linux/authorization/ProcessStatus.h"

#include "tests/support/Tracer.h"

using qf::native::parentOf;
using qf::native::tracerOfThisProcess;

TEST(ProcessStatus, TellsAProcesssParent) {
    EXPECT_EQ(parentOf(::getpid()), ::getppid());
    const Tracer child;
    EXPECT_EQ(parentOf(child.process()), ::getpid());
}

TEST(ProcessStatus, TellsNoParentOfAProcessThatDoesNotExist) {
    EXPECT_EQ(parentOf(0), 0);
    EXPECT_EQ(parentOf(-1), 0);
}

TEST(ProcessStatus, TellsWhoTracesThisProcess) {
    EXPECT_EQ(tracerOfThisProcess(), 0);
    {
        const Tracer tracer;
        if (!tracer.isAttached()) {
            GTEST_SKIP() << "this machine lets no process trace its parent";
        }
        EXPECT_EQ(tracerOfThisProcess(), tracer.process());
    }
    EXPECT_EQ(tracerOfThisProcess(), 0);
}
