#pragma once

#include "platform/foundation/Value.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// An object whose operations a caller names when the program runs.
///
/// An operation is named by its selector, such as "toolPrinted:runner:object:", and takes as many
/// arguments as its selector has colons. An argument that is an object of the program's own
/// travels as a Value::Object, bytes as Data, and one that is left unset as the none Value.
class Delegate {
public:
    Delegate() = default;
    virtual ~Delegate() = default;
    Delegate(const Delegate&) = delete;
    Delegate& operator=(const Delegate&) = delete;
    Delegate(Delegate&&) = delete;
    Delegate& operator=(Delegate&&) = delete;

    /// Whether the object has the operation.
    virtual bool respondsTo(const std::string& selector) const = 0;

    /// Runs the operation on the caller's thread. May throw platform::Exception. Called only for a
    /// selector that respondsTo answers, with argumentCount(selector) arguments.
    virtual void perform(const std::string& selector, const std::vector<Value>& arguments) = 0;
};

/// How many arguments the operation of this name takes.
inline std::size_t argumentCount(std::string_view selector) {
    return static_cast<std::size_t>(std::ranges::count(selector, ':'));
}

} // namespace platform
