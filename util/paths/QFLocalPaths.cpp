#include "util/paths/QFLocalPaths.h"

#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Path.h"

#include <cstdlib>
#include <ctime>
#include <string_view>
#include <utility>

using qf::DirectoryKind;
using qf::DomainMask;

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
    return qf::path::appending(QFLocalPaths::userDirectory(), directory);
}

std::optional<std::string> directory(DirectoryKind kind, qf::Domain domain) {
    return QFLocalPaths::pathForDirectory(kind, domain == qf::Domain::user ? DomainMask::user
                                                                           : DomainMask::local);
}

std::optional<std::string> inLibrary(qf::Domain domain, std::string_view name) {
    const auto library = QFLocalPaths::libraryDirectory(domain);
    if (!library) {
        return std::nullopt;
    }
    return qf::path::appending(*library, name);
}

} // namespace

std::optional<std::string> QFLocalPaths::pathForDirectory(DirectoryKind kind, DomainMask domain) {
    auto directories = qf::service<qf::SearchPaths>().directories(kind, domain);
    if (directories.empty()) {
        return std::nullopt;
    }
    if (domain == DomainMask::user && qf::service<qf::UserAccount>().realUserId() == superuserId) {
        return underHomeOfProcess(directories.front());
    }
    return std::move(directories.front());
}

std::optional<std::string> QFLocalPaths::applicationDirectory(qf::Domain domain) {
    return directory(DirectoryKind::application, domain);
}

std::optional<std::string> QFLocalPaths::adminApplicationDirectory(qf::Domain domain) {
    return directory(DirectoryKind::adminApplication, domain);
}

std::optional<std::string> QFLocalPaths::documentDirectory(qf::Domain domain) {
    return directory(DirectoryKind::document, domain);
}

std::optional<std::string> QFLocalPaths::libraryDirectory(qf::Domain domain) {
    return directory(DirectoryKind::library, domain);
}

std::optional<std::string> QFLocalPaths::prefsDirectory(qf::Domain domain) {
    return inLibrary(domain, "Preferences");
}

std::optional<std::string> QFLocalPaths::cacheDirectory(qf::Domain domain) {
    return directory(DirectoryKind::caches, domain);
}

std::optional<std::string> QFLocalPaths::appSupportDirectory(qf::Domain domain) {
    return directory(DirectoryKind::applicationSupport, domain);
}

std::optional<std::string> QFLocalPaths::logDirectory(qf::Domain domain) {
    return inLibrary(domain, "Logs");
}

std::optional<std::string> QFLocalPaths::movieDirectory() {
    return directory(DirectoryKind::movies, qf::Domain::user);
}

std::optional<std::string> QFLocalPaths::desktopDirectory() {
    return directory(DirectoryKind::desktop, qf::Domain::user);
}

std::optional<std::string> QFLocalPaths::systemLibraryDirectory() {
    return pathForDirectory(DirectoryKind::library, DomainMask::system);
}

std::optional<std::string> QFLocalPaths::localDocumentationDirectory() {
    return directory(DirectoryKind::documentation, qf::Domain::local);
}

std::string QFLocalPaths::userDirectory() {
    return qf::service<qf::UserAccount>().homeDirectory();
}

std::string QFLocalPaths::username() {
    return qf::service<qf::UserAccount>().loginName();
}

std::string QFLocalPaths::trashDirectory() {
    return qf::path::appending(userDirectory(), ".Trash");
}

std::optional<std::string> QFLocalPaths::darwinCacheDirectory() {
    return qf::service<qf::UserAccount>().cacheDirectory();
}

std::string QFLocalPaths::tempDirectory() {
    return qf::service<qf::UserAccount>().temporaryDirectory();
}

std::string QFLocalPaths::tempFile() {
    return qf::path::appending(tempDirectory(), uuid() + randomString(temporaryNameSuffixLength));
}

std::string QFLocalPaths::uuid() {
    return qf::service<qf::SystemInformation>().globallyUniqueString();
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
