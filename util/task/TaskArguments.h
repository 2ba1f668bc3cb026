#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// One of a tool's arguments: one text. Two texts in braces are never taken for the two ends of
/// one.
class TaskArgument {
public:
    /// Takes whatever becomes a string without a cast.
    template <std::convertible_to<std::string> Text>
    TaskArgument(Text&& text) : text_(std::forward<Text>(text)) {}

    /// The text, as it was given.
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// A tool's arguments: a list of strings, or none, which counts as the empty list.
class TaskArguments {
public:
    /// The list as given; none is the empty one.
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

    /// The arguments, without the tool's own name.
    const std::vector<std::string>& list() const { return list_; }

private:
    std::vector<std::string> list_;
};
