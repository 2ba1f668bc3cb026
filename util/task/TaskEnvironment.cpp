#include "util/task/TaskEnvironment.h"

#include "platform/foundation/Exception.h"

namespace qf {

namespace {

constexpr const char* noDictionaryOfStrings =
    "the task's environment is not a dictionary of strings";

} // namespace

std::optional<std::map<std::string, std::string>> taskEnvironment(const Value& value) {
    if (value.isNone()) {
        return std::nullopt;
    }
    const auto* dictionary = value.as<Value::Dictionary>();
    if (dictionary == nullptr) {
        throw Exception(exception_name::invalidArgument, noDictionaryOfStrings);
    }
    std::map<std::string, std::string> environment;
    for (const auto& [name, content] : *dictionary) {
        const auto* text = content.as<std::string>();
        if (text == nullptr) {
            throw Exception(exception_name::invalidArgument, noDictionaryOfStrings);
        }
        environment.emplace(name, *text);
    }
    return environment;
}

} // namespace qf
