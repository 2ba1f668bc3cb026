#pragma once

#include "platform/foundation/Value.h"

#include <plist/plist.h>

#include <clocale>
#include <memory>
#include <optional>
#include <string>

namespace qf::native {

struct FreePropertyListNode {
    void operator()(void* node) const { plist_free(node); }
};

/// Owns a libplist node with all its contents, or null.
using PropertyListNode = std::unique_ptr<void, FreePropertyListNode>;

/// Returns the value of a node; none for a null node or one without a counterpart. The node must be
/// nested no deeper than isWithinLimits() allows.
Value valueOf(plist_t node);

/// Returns a new node for a value; null if the value, or one inside it, has no counterpart, or if
/// it is nested deeper than isWithinLimits() allows.
PropertyListNode nodeOf(const Value& value);

/// Returns the XML form of a value; nullopt if nodeOf() returns null.
std::optional<std::string> xmlOf(const Value& value);

/// Makes this thread read and write numbers with a decimal point while it lives, whatever the
/// user's language, as libplist requires.
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

} // namespace qf::native
