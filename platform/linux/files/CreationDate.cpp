#include "platform/linux/files/CreationDate.h"

#include "platform/linux/posix/LongPath.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>

namespace qf::native {

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
    const auto size = byName(path, [&text](const char* name) {
        return ::lgetxattr(name, dateAttribute, text.data(), text.size());
    });
    if (!size || *size == 0) {
        return std::nullopt;
    }
    std::int64_t nanoseconds = 0;
    const char* end = text.data() + *size;
    const auto [rest, error] = std::from_chars(text.data(), end, nanoseconds);
    return error == std::errc() && rest == end
               ? std::optional(Date(std::chrono::duration_cast<Date::duration>(
                     std::chrono::nanoseconds(nanoseconds))))
               : std::nullopt;
}

SystemResult<void> storeCreationDate(const std::string& path, FileDate date) {
    const auto nearest = date.nearestDate();
    if (FileDate(nearest) != date) {
        return Unexpected(Errno(EOVERFLOW));
    }
    const auto text = std::to_string(std::chrono::nanoseconds(nearest.time_since_epoch()).count());
    const auto set = byName(path, [&text](const char* name) {
        return ::setxattr(name, dateAttribute, text.data(), text.size(), 0);
    });
    return set ? SystemResult<void>() : Unexpected(set.error());
}

} // namespace qf::native
