#include "platform/foundation/Thread.h"

#include "platform/foundation/Exception.h"
#include "tests/support/NoThreadsLeft.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <thread>

using qf::detachNewThread;

TEST(Thread, RunsTheBodyOnAnotherThread) {
    const auto thread = std::make_shared<std::promise<std::thread::id>>();
    auto id = thread->get_future();
    detachNewThread([thread] { thread->set_value(std::this_thread::get_id()); });
    EXPECT_NE(id.get(), std::this_thread::get_id());
}

TEST(Thread, RaisesWhenTheSystemHasNoneLeft) {
    const NoThreadsLeft none;
    try {
        detachNewThread([] {});
        FAIL() << "a thread was started";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.name(), "NSGenericException");
        EXPECT_EQ(exception.reason(), "could not start a thread: Resource temporarily unavailable");
    }
}
