#include "platform/linux/system/SystemInformation.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Format.h"
#include "platform/linux/system/GLibOwners.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <glib.h>
#include <string_view>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>

namespace qf::native {

namespace {

/// The suffix that the kernel adds to the path of a program that was deleted or moved while it
/// runs.
constexpr std::string_view deletedMark = " (deleted)";

} // namespace

/// Returns a random UUID (RFC 4122, version 4).
std::string SystemInformation::globallyUniqueString() {
    std::array<std::uint8_t, 16> bytes{};
    if (::getentropy(bytes.data(), bytes.size()) != 0) {
        throw Exception(exception_name::generic, "the system returns no random numbers");
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
    std::string identifier;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const bool groupBegins = index == 4 || index == 6 || index == 8 || index == 10;
        identifier += qf::format(groupBegins ? "-%02X" : "%02X", bytes.at(index));
    }
    return identifier;
}

std::string SystemInformation::operatingSystemVersion() {
    const OwnedText name(g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME));
    if (name) {
        return name.get();
    }
    utsname kernel{};
    ::uname(&kernel);
    return qf::format("%@ %@", &kernel.sysname[0], &kernel.release[0]);
}

std::string SystemInformation::hostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

long SystemInformation::processorCount() {
    return std::max(::sysconf(_SC_NPROCESSORS_ONLN), 1L);
}

std::uint64_t SystemInformation::physicalMemory() {
    const auto pages = std::max(::sysconf(_SC_PHYS_PAGES), 0L);
    const auto pageSize = std::max(::sysconf(_SC_PAGESIZE), 0L);
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

std::optional<std::string> SystemInformation::executablePath() {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error).string();
    if (error) {
        return {};
    }
    if (path.ends_with(deletedMark) && !std::filesystem::exists(path, error)) {
        path.resize(path.size() - deletedMark.size());
    }
    return path;
}

} // namespace qf::native
