#include "platform/foundation/Timeout.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <type_traits>

namespace {

using qf::Timeout;
using std::chrono::seconds;
using namespace std::chrono_literals;

using Limits = std::numeric_limits<double>;

/// Whether a time-out can be made of a value of each type.
template <class... Types>
constexpr bool allAreTimeouts = (std::is_convertible_v<Types, Timeout> && ...);
template <class... Types>
constexpr bool someAreTimeouts = (std::is_convertible_v<Types, Timeout> || ...);

static_assert(allAreTimeouts<int, unsigned, short, long long, std::size_t, float, double, seconds>);
static_assert(!someAreTimeouts<bool, const bool, char, signed char, unsigned char, wchar_t, char8_t,
                               char16_t, char32_t>);

TEST(Timeout, CountsWholeSecondsOnly) {
    EXPECT_EQ(Timeout(5).wholeSeconds(), seconds(5));
    EXPECT_EQ(Timeout(0.9).wholeSeconds(), seconds(0));
    EXPECT_EQ(Timeout(1.0).wholeSeconds(), seconds(1));
    EXPECT_EQ(Timeout(2.999F).wholeSeconds(), seconds(2));
}

TEST(Timeout, TakesDurations) {
    EXPECT_EQ(Timeout(10s).wholeSeconds(), seconds(10));
    EXPECT_EQ(Timeout(1900ms).wholeSeconds(), seconds(1));
    EXPECT_EQ(Timeout(2min).wholeSeconds(), seconds(120));
}

class TimeoutWithoutTime : public testing::TestWithParam<double> {};

TEST_P(TimeoutWithoutTime, IsZero) {
    EXPECT_EQ(Timeout(GetParam()).wholeSeconds(), seconds(0));
}

INSTANTIATE_TEST_SUITE_P(NotAboveZero, TimeoutWithoutTime,
                         testing::Values(0.0, -0.0, -0.9, -5.0, -1e300, -Limits::infinity(),
                                         Limits::quiet_NaN(), Limits::denorm_min()));

class TimeoutWithoutEnd : public testing::TestWithParam<double> {};

TEST_P(TimeoutWithoutEnd, IsTheLongest) {
    EXPECT_EQ(Timeout(GetParam()).wholeSeconds(), Timeout::longest);
}

INSTANTIATE_TEST_SUITE_P(All, TimeoutWithoutEnd,
                         testing::Values(1e9, 1e10, 1e19, 1e300, Limits::max(),
                                         Limits::infinity()));

TEST(Timeout, CountsWhatIsBeyondTheLongestAsTheLongest) {
    EXPECT_EQ(Timeout(std::numeric_limits<unsigned long long>::max()).wholeSeconds(),
              Timeout::longest);
    EXPECT_EQ(Timeout(1e9 - 1).wholeSeconds(), Timeout::longest - seconds(1));
}

} // namespace
