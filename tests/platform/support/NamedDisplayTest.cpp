#include "platform/support/NamedDisplay.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class NamedDisplayTest : public testing::TestWithParam<const char*> {
    const ScopedEnvironment display_{"DISPLAY", std::nullopt};
    const ScopedEnvironment waylandDisplay_{"WAYLAND_DISPLAY", std::nullopt};
    const ScopedEnvironment platform_{"QT_QPA_PLATFORM", std::nullopt};
};

TEST_P(NamedDisplayTest, IsNamedByEachVariableAlone) {
    EXPECT_FALSE(qf::isDisplayNamed());
    const ScopedEnvironment named(GetParam(), "1");

    EXPECT_TRUE(qf::isDisplayNamed());
}

TEST_P(NamedDisplayTest, IsNotNamedByAnEmptyVariable) {
    const ScopedEnvironment empty(GetParam(), "");

    EXPECT_FALSE(qf::isDisplayNamed());
}

INSTANTIATE_TEST_SUITE_P(, NamedDisplayTest,
                         testing::Values("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"),
                         [](const auto& variable) { return std::string(variable.param); });

} // namespace
