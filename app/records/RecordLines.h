#pragma once

#include "platform/Language.h"
#include "platform/foundation/Date.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace records {

using Json = nlohmann::ordered_json;

/// The lines of a record. Each holds a JSON object and ends with a check of itself and of all lines
/// before it, so that an edited one is noticed. Not shared between threads.
class LineSeal {
public:
    /// Returns the next line, with its line end.
    std::string sealed(const Json& object);

    /// Returns the object of the next line, which has no line end. Throws qf::Exception
    /// "QFRecordUnusable" unless the line is as sealed() has made it.
    Json opened(std::string_view line);

private:
    std::uint64_t check_ = 0;
};

/// Throw qf::Exception "QFRecordUnusable" with this reason.
[[noreturn]] void throwUnusable(const std::string& reason);
template <class... Values>
[[noreturn]] void throwUnusable(const qf::Translatable& reason, const Values&... values) {
    throwUnusable(qf::translated(reason, values...));
}

/// Returns any bytes as JSON: as a string if they are UTF-8, else as hexadecimal digits in an
/// object.
Json jsonOf(const std::string& bytes);

/// Returns the bytes that jsonOf() was called with. Throws as opened() does.
std::string bytesOf(const Json& json);

/// Returns a date in ISO 8601 format, in UTC.
std::string timestamp(qf::Date date);

} // namespace records
