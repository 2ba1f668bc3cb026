#pragma once

#include "platform/foundation/Result.h"
#include "platform/foundation/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// Property lists: XML (PropertyList-1.0.dtd) and binary ("bplist00").
/// Any thread may call every member.
class PropertyLists {
public:
    static constexpr const char* portName = "PropertyLists";
    virtual ~PropertyLists() = default;

    /// Reads a property list of either form. None when the bytes are no property list, or when
    /// they are larger (16 MiB) or nested deeper (512 levels) than one is ever meant to be.
    virtual Value parse(std::string_view bytes) = 0;

    /// Writes `value`, a dictionary or an array of property-list values, in XML form to a file
    /// atomically: the file holds all of it or what it held before.
    virtual Result<void> writeAtomically(const Value& value, const std::string& path) = 0;

    /// Reads the property list in a file. None when there is no such file, when it is no regular
    /// file, or as for parse.
    virtual Value read(const std::string& path) = 0;
};

} // namespace platform
