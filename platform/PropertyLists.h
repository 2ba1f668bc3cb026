#pragma once

#include "platform/foundation/Result.h"
#include "platform/foundation/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace qf {

/// Property lists: XML (PropertyList-1.0.dtd) and binary ("bplist00").
/// Any thread may call every member.
class PropertyLists {
public:
    static constexpr const char* portName = "PropertyLists";
    virtual ~PropertyLists() = default;

    /// Parses a property list of either form. Returns none if the bytes are not a property list,
    /// are larger than 16 MiB, or are nested deeper than 512 levels.
    virtual Value parse(std::string_view bytes) = 0;

    /// Returns `value`, a dictionary or an array of property-list values, in XML form. Returns no
    /// value if it is something else, or holds what a property list cannot express.
    virtual std::optional<std::string> xml(const Value& value) = 0;

    /// Atomically writes xml(value) to a file: the file holds all of it or what it held before.
    virtual Result<void> writeAtomically(const Value& value, const std::string& path) = 0;

    /// Reads the property list in a file. Returns none if the file does not exist or is not a
    /// regular file, and as parse does.
    virtual Value read(const std::string& path) = 0;
};

} // namespace qf
