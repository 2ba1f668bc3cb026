#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qf {

/// One of a tool's arguments. Prevents two strings in braces from being taken as the two ends of
/// one string.
class TaskArgument {
public:
    /// Accepts everything that converts to a string implicitly, except a null pointer.
    template <std::convertible_to<std::string> Text>
    requires(!std::same_as<std::remove_cvref_t<Text>, std::nullptr_t>)
        // An argument itself does not convert to a string.
        // NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
        TaskArgument(Text&& text)
        : text_(std::forward<Text>(text)) {}

    /// Returns the text unchanged.
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// A tool's arguments: a list of strings; no list counts as an empty one.
class TaskArguments {
public:
    /// Takes a list as it is; no list is an empty one.
    TaskArguments(std::initializer_list<TaskArgument> list) {
        list_.reserve(list.size());
        for (const auto& argument : list) {
            list_.push_back(argument.text());
        }
    }
    TaskArguments(std::vector<std::string> list) : list_(std::move(list)) {}
    TaskArguments(std::optional<std::vector<std::string>> list)
        : list_(std::move(list).value_or(std::vector<std::string>())) {}
    TaskArguments(std::nullopt_t /*none*/) {}

    /// Returns the arguments, without the tool's own name.
    const std::vector<std::string>& list() const { return list_; }

private:
    std::vector<std::string> list_;
};

} // namespace qf
