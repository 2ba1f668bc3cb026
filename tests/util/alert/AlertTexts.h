#pragma once

#include <optional>

inline constexpr const char* message = "Message";
inline constexpr auto none = std::nullopt;
