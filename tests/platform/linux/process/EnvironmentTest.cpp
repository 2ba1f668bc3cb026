#include "platform/linux/process/Environment.h"

#include "tests/platform/linux/process/SleepingThread.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <future>
#include <optional>

using qf::native::Environment;

namespace {

constexpr const char* variable = "QF_ENVIRONMENT_TEST";

std::optional<std::string> valueOfVariable() {
    const char* value = std::getenv(variable);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

class EnvironmentTest : public testing::Test {
protected:
    void TearDown() override { ::unsetenv(variable); }

    /// Has another thread change the environment while this one holds it still: returns whether
    /// the change waits.
    static bool waitsWhileHeld(const std::function<void()>& change) {
        std::promise<long> thread;
        std::future<void> changing;
        const auto still = Environment::holdStill();
        changing = std::async(std::launch::async, [&] {
            thread.set_value(::gettid());
            change();
        });
        return isAsleep(thread.get_future().get());
    }
};

TEST_F(EnvironmentTest, TakesAValueInPlaceOfTheFormer) {
    Environment::set(variable, "former");
    Environment::set(variable, "value");

    EXPECT_EQ(valueOfVariable(), "value");
}

TEST_F(EnvironmentTest, LosesAVariable) {
    Environment::set(variable, "value");
    Environment::remove(variable);
    Environment::remove(variable);

    EXPECT_EQ(valueOfVariable(), std::nullopt);
}

TEST_F(EnvironmentTest, IsNotChangedWhileSomebodyHoldsItStill) {
    EXPECT_TRUE(waitsWhileHeld([] { Environment::set(variable, "value"); }));
    EXPECT_EQ(valueOfVariable(), "value");

    EXPECT_TRUE(waitsWhileHeld([] { Environment::remove(variable); }));
    EXPECT_EQ(valueOfVariable(), std::nullopt);
}

TEST_F(EnvironmentTest, IsHeldStillByManyAtOnce) {
    const auto still = Environment::holdStill();

    std::async(std::launch::async, [] { static_cast<void>(Environment::holdStill()); }).get();
}

} // namespace
