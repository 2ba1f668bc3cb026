#pragma once

#include "platform/PropertyLists.h"

namespace qf::native {

/// Property lists by libplist, which is given only bytes that are safe for it: see
/// isWithinLimits().
///
/// An integer from 2^63 on reads as the negative number of the same 64 bits. Dates outside the
/// years 1933 to 2068, objects, none, and text that is not UTF-8 or contains control characters
/// cannot be written: that is an Error, and nothing is written.
class PropertyLists : public qf::PropertyLists {
public:
    Value parse(std::string_view bytes) override;
    std::optional<std::string> xml(const Value& value) override;
    Result<void> writeAtomically(const Value& value, const std::string& path) override;
    Value read(const std::string& path) override;
};

} // namespace qf::native
