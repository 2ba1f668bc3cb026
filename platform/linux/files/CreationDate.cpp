#include "platform/linux/files/CreationDate.h"

#include <sys/xattr.h>

#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>

namespace platform::native {

namespace {

constexpr const char* dateAttribute = "user.qf.creationdate";

/// The length of the longest number: a sign and nineteen digits.
constexpr std::size_t longestNumber = 20;

} // namespace

std::optional<Date> storedCreationDate(const std::string& path, ItemKind kind) {
    if (kind != ItemKind::file && kind != ItemKind::directory) { // Other kinds cannot have one.
        return std::nullopt;
    }
    std::array<char, longestNumber> text{};
    const auto size = ::lgetxattr(path.c_str(), dateAttribute, text.data(), text.size());
    if (size <= 0) {
        return std::nullopt;
    }
    std::int64_t nanoseconds = 0;
    const char* end = text.data() + size;
    const auto [rest, error] = std::from_chars(text.data(), end, nanoseconds);
    return error == std::errc() && rest == end
               ? std::optional(Date(std::chrono::duration_cast<Date::duration>(
                     std::chrono::nanoseconds(nanoseconds))))
               : std::nullopt;
}

SystemResult<void> storeCreationDate(const std::string& path, Date date) {
    const auto nanoseconds =
        std::chrono::duration_cast<std::chrono::nanoseconds>(date.time_since_epoch()).count();
    const auto text = std::to_string(nanoseconds);
    return checked(::setxattr(path.c_str(), dateAttribute, text.data(), text.size(), 0));
}

} // namespace platform::native
