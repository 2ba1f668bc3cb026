#pragma once

#include "platform/foundation/Value.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qf {

/// An object whose operations callers select by name at run time.
///
/// An operation is named by its selector, such as "toolPrinted:runner:object:", and takes as many
/// arguments as its selector has colons. An object of the program's own is passed as a
/// Value::Object, bytes as Data, and an unset argument as the none Value.
class Delegate {
public:
    Delegate() = default;
    virtual ~Delegate() = default;
    Delegate(const Delegate&) = delete;
    Delegate& operator=(const Delegate&) = delete;
    Delegate(Delegate&&) = delete;
    Delegate& operator=(Delegate&&) = delete;

    /// Returns whether the object has the operation.
    virtual bool respondsTo(const std::string& selector) const = 0;

    /// Runs the operation on the caller's thread. May throw qf::Exception. Called only for a
    /// selector that respondsTo accepts, with argumentCount(selector) arguments.
    virtual void perform(const std::string& selector, const std::vector<Value>& arguments) = 0;
};

/// Returns the number of arguments that the operation of this name takes.
inline std::size_t argumentCount(std::string_view selector) {
    return static_cast<std::size_t>(std::ranges::count(selector, ':'));
}

} // namespace qf
