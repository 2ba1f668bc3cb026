#include "util/task/TaskEnvironment.h"

#include "platform/foundation/Exception.h"

namespace {

constexpr const char* noDictionaryOfStrings =
    "the task's environment is not a dictionary of strings";

} // namespace

std::optional<std::map<std::string, std::string>> taskEnvironment(const platform::Value& value) {
    if (value.isNone()) {
        return std::nullopt;
    }
    const auto* dictionary = value.as<platform::Value::Dictionary>();
    if (dictionary == nullptr) {
        throw platform::Exception(platform::exception_name::invalidArgument, noDictionaryOfStrings);
    }
    std::map<std::string, std::string> environment;
    for (const auto& [name, content] : *dictionary) {
        const auto* text = content.as<std::string>();
        if (text == nullptr) {
            throw platform::Exception(platform::exception_name::invalidArgument,
                                      noDictionaryOfStrings);
        }
        environment.emplace(name, *text);
    }
    return environment;
}
