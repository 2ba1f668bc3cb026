#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A tool's arguments: a list of strings, or none, which counts as the empty list.
class TaskArguments {
public:
    /// The list as given; none is the empty one.
    TaskArguments(std::initializer_list<std::string> list) : list_(list) {}
    TaskArguments(std::vector<std::string> list) : list_(std::move(list)) {}
    TaskArguments(std::optional<std::vector<std::string>> list)
        : list_(std::move(list).value_or(std::vector<std::string>())) {}
    TaskArguments(std::nullopt_t /*none*/) {}

    /// The arguments, without the tool's own name.
    const std::vector<std::string>& list() const { return list_; }

private:
    std::vector<std::string> list_;
};
