#pragma once

#include <ostream>
#include <string>
#include <tuple>

/// What cases of a parameterised test derive from: a name of letters and digits, which becomes part
/// of the test's name.
struct NamedCase {
    const char* name;
    friend std::ostream& operator<<(std::ostream& stream, const NamedCase& named) {
        return stream << named.name;
    }
};

/// A case that consists of one value.
template <typename Type>
struct NamedValue : NamedCase {
    Type value;
};

using NamedText = NamedValue<std::string>;

/// Names the tests of INSTANTIATE_TEST_SUITE_P after their cases.
inline constexpr auto nameOfCase = [](const auto& info) { return std::string(info.param.name); };

/// Names them after the cases that testing::Combine has put together.
inline constexpr auto nameOfCases = [](const auto& info) {
    return std::apply([](const auto&... named) { return (std::string() + ... + named.name); },
                      info.param);
};
