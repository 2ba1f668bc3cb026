#include "util/paths/QFLocalPaths.h"

#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Path.h"

#include <cstdlib>
#include <ctime>
#include <string_view>
#include <utility>

using platform::DirectoryKind;
using platform::DomainMask;

namespace {

constexpr unsigned superuserId = 0;
constexpr std::string_view superuserHome = "/var/root";
constexpr std::string_view privateSuperuserHome = "/private/var/root";
constexpr std::size_t privateSuperuserHomeCut = 16;

constexpr std::string_view randomAlphabet = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t temporaryNameSuffixLength = 8;

std::string underHomeOfProcess(std::string_view directory) {
    if (directory.starts_with(superuserHome)) {
        directory.remove_prefix(superuserHome.size());
    }
    if (directory.starts_with(privateSuperuserHome)) {
        directory.remove_prefix(privateSuperuserHomeCut);
    }
    return platform::path::appending(QFLocalPaths::userDirectory(), directory);
}

std::optional<std::string> directory(DirectoryKind kind, Domain domain) {
    return QFLocalPaths::pathForDirectory(kind, domain == Domain::user ? DomainMask::user
                                                                       : DomainMask::local);
}

std::optional<std::string> inLibrary(Domain domain, std::string_view name) {
    const auto library = QFLocalPaths::libraryDirectory(domain);
    if (!library) {
        return std::nullopt;
    }
    return platform::path::appending(*library, name);
}

} // namespace

std::optional<std::string> QFLocalPaths::pathForDirectory(DirectoryKind kind, DomainMask domain) {
    auto directories = platform::service<platform::SearchPaths>().directories(kind, domain);
    if (directories.empty()) {
        return std::nullopt;
    }
    if (domain == DomainMask::user &&
        platform::service<platform::UserAccount>().realUserId() == superuserId) {
        return underHomeOfProcess(directories.front());
    }
    return std::move(directories.front());
}

std::optional<std::string> QFLocalPaths::applicationDirectory(Domain domain) {
    return directory(DirectoryKind::application, domain);
}

std::optional<std::string> QFLocalPaths::adminApplicationDirectory(Domain domain) {
    return directory(DirectoryKind::adminApplication, domain);
}

std::optional<std::string> QFLocalPaths::documentDirectory(Domain domain) {
    return directory(DirectoryKind::document, domain);
}

std::optional<std::string> QFLocalPaths::libraryDirectory(Domain domain) {
    return directory(DirectoryKind::library, domain);
}

std::optional<std::string> QFLocalPaths::prefsDirectory(Domain domain) {
    return inLibrary(domain, "Preferences");
}

std::optional<std::string> QFLocalPaths::cacheDirectory(Domain domain) {
    return directory(DirectoryKind::caches, domain);
}

std::optional<std::string> QFLocalPaths::appSupportDirectory(Domain domain) {
    return directory(DirectoryKind::applicationSupport, domain);
}

std::optional<std::string> QFLocalPaths::logDirectory(Domain domain) {
    return inLibrary(domain, "Logs");
}

std::optional<std::string> QFLocalPaths::movieDirectory() {
    return directory(DirectoryKind::movies, Domain::user);
}

std::optional<std::string> QFLocalPaths::desktopDirectory() {
    return directory(DirectoryKind::desktop, Domain::user);
}

std::optional<std::string> QFLocalPaths::systemLibraryDirectory() {
    return pathForDirectory(DirectoryKind::library, DomainMask::system);
}

std::optional<std::string> QFLocalPaths::localDocumentationDirectory() {
    return directory(DirectoryKind::documentation, Domain::local);
}

std::string QFLocalPaths::userDirectory() {
    return platform::service<platform::UserAccount>().homeDirectory();
}

std::string QFLocalPaths::username() {
    return platform::service<platform::UserAccount>().loginName();
}

std::string QFLocalPaths::trashDirectory() {
    return platform::path::appending(userDirectory(), ".Trash");
}

std::optional<std::string> QFLocalPaths::darwinCacheDirectory() {
    return platform::service<platform::UserAccount>().cacheDirectory();
}

std::string QFLocalPaths::tempDirectory() {
    return platform::service<platform::UserAccount>().temporaryDirectory();
}

std::string QFLocalPaths::tempFile() {
    return platform::path::appending(tempDirectory(),
                                     uuid() + randomString(temporaryNameSuffixLength));
}

std::string QFLocalPaths::uuid() {
    return platform::service<platform::SystemInformation>().globallyUniqueString();
}

std::string QFLocalPaths::randomString(std::size_t length) {
    // The product of unsigned factors is truncated to 32 bits; a signed product could overflow.
    std::srand(static_cast<unsigned>(std::clock()) * static_cast<unsigned>(std::time(nullptr)));
    std::string result;
    result.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        result += randomAlphabet[static_cast<std::size_t>(std::rand()) % randomAlphabet.size()];
    }
    return result;
}

std::optional<std::string> QFLocalPaths::ensureTrailingSlash(std::optional<std::string> path) {
    if (path && !path->empty() && !path->ends_with('/')) {
        *path += '/';
    }
    return path;
}

std::optional<std::string> QFLocalPaths::stripTrailingSlash(std::optional<std::string> path) {
    if (path && path->size() >= 2 && path->ends_with('/')) {
        path->pop_back();
    }
    return path;
}
