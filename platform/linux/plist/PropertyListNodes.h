#pragma once

#include "platform/foundation/Value.h"

#include <plist/plist.h>

#include <clocale>
#include <memory>
#include <optional>
#include <string>

namespace platform::native {

struct FreePropertyListNode {
    void operator()(void* node) const { plist_free(node); }
};

/// Owns a libplist node with all that it holds; null for none.
using PropertyListNode = std::unique_ptr<void, FreePropertyListNode>;

/// The value of a node; none for a null node and for what has no counterpart. The node is nested no
/// deeper than isWithinLimits() allows.
Value valueOf(plist_t node);

/// A new node for a value; null when the value, or one that it holds, has no counterpart, and when
/// it is nested deeper than isWithinLimits() allows.
PropertyListNode nodeOf(const Value& value);

/// The XML form of a value, nothing when nodeOf() gives none.
std::optional<std::string> xmlOf(const Value& value);

/// While it lives, this thread reads and writes numbers with a decimal point, whatever the user's
/// language, as libplist needs it.
class NumbersWithPoint {
public:
    NumbersWithPoint();
    ~NumbersWithPoint();
    NumbersWithPoint(const NumbersWithPoint&) = delete;
    NumbersWithPoint& operator=(const NumbersWithPoint&) = delete;
    NumbersWithPoint(NumbersWithPoint&&) = delete;
    NumbersWithPoint& operator=(NumbersWithPoint&&) = delete;

private:
    locale_t former_;
};

} // namespace platform::native
