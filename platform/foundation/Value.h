#pragma once

#include "platform/foundation/Date.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

/// A string of bytes that is not text.
struct Data {
    std::vector<std::byte> bytes; ///< In their order.
    bool operator==(const Data&) const = default;
};

/// A value of a type that is known only when the program runs: what a property list, a preference
/// or a dictionary of settings holds.
class Value {
public:
    /// The types of content that are made of values, and an object of the program's own.
    using Array = std::vector<Value>;
    using Dictionary = std::map<std::string, Value>;
    using Object = std::shared_ptr<void>;

    Value() = default;
    /// A value of that content.
    template <std::same_as<bool> Boolean> // no pointer, which would become one
    Value(Boolean boolean) : content_(boolean) {}
    Value(int integer) : content_(std::int64_t{integer}) {}
    Value(std::int64_t integer) : content_(integer) {}
    Value(double real) : content_(real) {}
    Value(const char* text) : content_(std::string(text)) {}
    Value(std::string text) : content_(std::move(text)) {}
    Value(Data data) : content_(std::move(data)) {}
    Value(Date date) : content_(date) {}
    Value(Array array) : content_(std::move(array)) {}
    Value(Dictionary dictionary) : content_(std::move(dictionary)) {}
    Value(Object object) : content_(std::move(object)) {}

    /// Whether the value is none.
    bool isNone() const { return std::holds_alternative<std::monostate>(content_); }

    /// The content when it is a T, else null. T is one of bool, std::int64_t, double, std::string,
    /// Data, Date, Array, Dictionary, Object.
    template <class T>
    const T* as() const {
        return std::get_if<T>(&content_);
    }
    template <class T>
    T* as() {
        return std::get_if<T>(&content_);
    }

    /// The value under a key of a dictionary; none when this is no dictionary or has no such key.
    const Value& operator[](const std::string& key) const;

    bool operator==(const Value&) const = default;

private:
    std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Date, Array,
                 Dictionary, Object>
        content_;
};

} // namespace platform
