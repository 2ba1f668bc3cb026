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

namespace qf {

/// A string of bytes that is not text.
struct Data {
    std::vector<std::byte> bytes; ///< In their order.
    bool operator==(const Data&) const = default;
};

/// A value whose type is known only at run time, as in a property list, a preference or a
/// dictionary of settings.
class Value {
public:
    /// Containers of values, and an object of the program's own.
    using Array = std::vector<Value>;
    using Dictionary = std::map<std::string, Value>;
    using Object = std::shared_ptr<void>;

    Value() = default;
    /// Makes a value with that content.
    template <std::same_as<bool> Boolean> // not a pointer, which would become one
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

    /// Returns whether it has no content, as after default construction.
    bool isNone() const { return std::holds_alternative<std::monostate>(content_); }

    /// Returns the content if it is a T, else null. T is one of bool, std::int64_t, double,
    /// std::string, Data, Date, Array, Dictionary, Object.
    template <class T>
    const T* as() const {
        return std::get_if<T>(&content_);
    }
    template <class T>
    T* as() {
        return std::get_if<T>(&content_);
    }

    /// Returns the value for a key of a dictionary; none if this is not a dictionary or has no such
    /// key.
    const Value& operator[](const std::string& key) const;

    bool operator==(const Value&) const = default;

private:
    std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Date, Array,
                 Dictionary, Object>
        content_;
};

} // namespace qf
