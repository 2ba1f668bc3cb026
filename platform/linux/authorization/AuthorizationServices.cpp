#include "platform/linux/authorization/AuthorizationServices.h"

#include "platform/foundation/Path.h"
#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/process/ToolOverlay.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace qf::native {

namespace {

constexpr std::string_view administratorRight = "system.privilege.admin";

/// Whether an entry of a directory is one of those in which the helper has items for a moment.
bool isStage(int directory, const std::string& name) {
    if (!name.starts_with(helper::stagePrefix)) {
        return false;
    }
    const auto status = statusOfEntry(directory, name);
    return status && S_ISDIR(status->stx_mode) && status->stx_uid == 0;
}

} // namespace

AuthorizationRef AuthorizationServices::add(Connection connection) {
    const std::lock_guard lock(mutex_);
    const AuthorizationRef ref{++lastHandle_};
    handles_.emplace(ref, std::move(connection));
    return ref;
}

std::optional<AuthorizationServices::Connection> AuthorizationServices::find(AuthorizationRef ref) {
    const std::lock_guard lock(mutex_);
    const auto handle = handles_.find(ref);
    return handle == handles_.end() ? std::nullopt : std::optional(handle->second);
}

AuthorizationResult<AuthorizationRef>
AuthorizationServices::create(const AuthorizationItemSet& /*environment*/,
                              AuthorizationFlags /*flags*/) {
    return add(nullptr);
}

AuthorizationResult<void> AuthorizationServices::copyRights(AuthorizationRef ref,
                                                            const AuthorizationRights& rights,
                                                            const AuthorizationItemSet& environment,
                                                            AuthorizationFlags flags) {
    const auto held = find(ref);
    if (!held) {
        return Unexpected(errAuthorizationInvalidRef);
    }
    const bool isKnown = std::all_of(rights.begin(), rights.end(),
                                     [](const auto& right) { return right == administratorRight; });
    if (isKnown && *held && (*held)->isOpen()) {
        return {};
    }
    if (!isKnown || (flags & kAuthorizationFlagExtendRights) == 0) {
        return Unexpected(errAuthorizationDenied);
    }
    const bool mayAsk = (flags & kAuthorizationFlagInteractionAllowed) != 0;
    if (!mayAsk) {
        giveUpAll();
    }
    auto started = mayAsk ? requests_.ask() : requests_.authorize(environment);
    if (!started) {
        return Unexpected(started.error());
    }
    const std::lock_guard lock(mutex_);
    const auto handle = handles_.find(ref);
    if (handle == handles_.end()) {
        return Unexpected(errAuthorizationInvalidRef);
    }
    handle->second.swap(*started);
    return {};
}

bool AuthorizationServices::holdsRights(AuthorizationRef ref) {
    const auto held = find(ref);
    return held && *held && (*held)->isOpen();
}

/// A handle that is replaced by another may never be freed; its helper is not to go on for it.
void AuthorizationServices::giveUpAll() {
    const std::lock_guard lock(mutex_);
    for (auto& [ref, connection] : handles_) {
        connection.reset();
    }
}

void AuthorizationServices::free(AuthorizationRef ref, AuthorizationFlags /*flags*/) {
    const std::lock_guard lock(mutex_);
    handles_.erase(ref);
}

AuthorizationResult<AuthorizationRef>
AuthorizationServices::copyPrivilegedReference(AuthorizationFlags /*flags*/) {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(inheritedIsTaken_, true)) {
            return Unexpected(errAuthorizationInternal);
        }
    }
    auto inherited = inheritedHelper();
    if (!inherited) {
        return Unexpected(errAuthorizationInternal);
    }
    return add(*std::move(inherited));
}

/// The helper leaves the item in a closed directory beside its new place.
bool AuthorizationServices::mayHaveUnfinishedMove(const std::string& path) {
    auto directory = opened(
        ::open(path::deletingLastComponent(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto status = directory ? statusOf(directory->get()) : Unexpected(directory.error());
    if (!status || status->stx_uid != 0) {
        return false;
    }
    auto reader = DirectoryReader::of(*std::move(directory));
    auto entry = reader ? reader->next() : Unexpected(reader.error());
    for (; entry && *entry; entry = reader->next()) {
        if (isStage(reader->descriptor(), (*entry)->name)) {
            return true;
        }
    }
    return false;
}

AuthorizationResult<std::unique_ptr<std::istream>> AuthorizationServices::executeWithPrivileges(
    AuthorizationRef ref, const std::string& toolPath, AuthorizationFlags /*options*/,
    const std::vector<std::string>& arguments, const std::optional<std::string>& content) {
    const auto held = find(ref);
    if (!held) {
        return Unexpected(errAuthorizationInvalidRef);
    }
    if (!*held) {
        return Unexpected(errAuthorizationDenied);
    }
    return (*held)->start(resolveTool(toolPath), arguments, content);
}

} // namespace qf::native
