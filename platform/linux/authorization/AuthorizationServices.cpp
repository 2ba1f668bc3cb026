#include "platform/linux/authorization/AuthorizationServices.h"

#include "platform/Console.h"
#include "platform/PasswordQuestion.h"
#include "platform/Services.h"
#include "platform/linux/authorization/PolkitAgent.h"
#include "platform/linux/authorization/ProcessSecrecy.h"
#include "platform/linux/authorization/ProcessStatus.h"
#include "platform/linux/process/ToolOverlay.h"
#include "platform/linux/system/UserAccount.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

namespace platform::native {

namespace {

constexpr std::string_view administratorRight = "system.privilege.admin";

const std::string* findValue(std::string_view name, const AuthorizationItemSet& items) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const auto& item) { return item.name == name; });
    return found == items.end() ? nullptr : &found->value;
}

/// What the agent answers: the password, once, if the user is an administrator.
PolkitAnswerer answererFor(uid_t user, const std::string& password) {
    return [user, &password](const std::vector<uid_t>& administrators, int attempt) {
        const bool isAdministrator =
            std::find(administrators.begin(), administrators.end(), user) != administrators.end();
        return isAdministrator && attempt == 1
                   ? PolkitAnswer{PolkitAnswer::Kind::password, user, &password}
                   : PolkitAnswer{};
    };
}

bool isOneLine(const std::string& text) {
    constexpr std::string_view ends("\n\0", 2);
    return text.find_first_of(ends) == std::string::npos;
}

/// Returns the user's login name, or the number of a user without one.
std::string userName(uid_t user) {
    const auto account = accountOf(user);
    return account ? account->name : std::to_string(user);
}

/// A password that is wiped from memory when it is replaced and at the end.
class Secret {
public:
    Secret() = default;
    ~Secret() { wipe(text_); }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    Secret(Secret&&) = delete;
    Secret& operator=(Secret&&) = delete;

    /// Takes the text over and wipes it where it was: a short one would stay there when moved.
    void replace(std::string& text) {
        wipe(text_);
        text_ = text;
        wipe(text);
    }
    const std::string& text() const { return text_; }

private:
    static void wipe(std::string& text) { ::explicit_bzero(text.data(), text.size()); }

    std::string text_;
};

/// Keeps what other programs complain about away from the terminal for a scope: PAM's helper says
/// there that a password was wrong, in words of its own.
class SilencedErrors {
public:
    SilencedErrors() : former_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        const FileDescriptor null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        if (former_ && null) {
            ::dup2(null.get(), STDERR_FILENO);
        }
    }
    ~SilencedErrors() {
        if (former_) {
            ::dup2(former_.get(), STDERR_FILENO);
        }
    }
    SilencedErrors(const SilencedErrors&) = delete;
    SilencedErrors& operator=(const SilencedErrors&) = delete;
    SilencedErrors(SilencedErrors&&) = delete;
    SilencedErrors& operator=(SilencedErrors&&) = delete;

private:
    FileDescriptor former_;
};

/// What the agent answers: whatever the person in front of the program does.
PolkitAnswerer answererFor(PasswordQuestion& question, Secret& secret) {
    return [&](const std::vector<uid_t>& users, int attempt) {
        std::vector<Administrator> administrators;
        administrators.reserve(users.size());
        for (const uid_t user : users) {
            administrators.push_back({user, userName(user)});
        }
        auto given = administrators.empty() ? std::nullopt : question.ask(administrators, attempt);
        if (!given || !isOneLine(given->password)) {
            return PolkitAnswer{.kind = PolkitAnswer::Kind::dismiss};
        }
        secret.replace(given->password);
        return PolkitAnswer{PolkitAnswer::Kind::password, given->administrator.userId,
                            &secret.text()};
    };
}

/// Whether pkexec asks for this when it is to start a helper: the action of an installation, or its
/// own. Any process of the user may ask polkit for anything on behalf of this one.
bool isHelpersAction(std::string_view action) {
    return action == "org.freedesktop.policykit.exec" ||
           (action.starts_with("com.quillfen.") && action.ends_with(".helper"));
}

/// Whether another process traces this one, which would have the right as well; logged. Asked when
/// no more processes can begin to.
bool isTraced() {
    const pid_t tracer = tracerOfThisProcess();
    if (tracer != 0) {
        systemLog("No administrator is asked, because process %d traces this one", tracer);
    }
    return tracer != 0;
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
                                                            const AuthorizationItemSet& rights,
                                                            const AuthorizationItemSet& environment,
                                                            AuthorizationFlags flags) {
    const auto held = find(ref);
    if (!held) {
        return Unexpected(errAuthorizationInvalidRef);
    }
    const bool isKnown = std::all_of(rights.begin(), rights.end(), [](const auto& right) {
        return right.name == administratorRight;
    });
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
    auto started = mayAsk ? askUser() : authorize(environment);
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

/// Has the desktop ask, unless it is asking already.
StartedHelper AuthorizationServices::askUser() {
    std::promise<StartedHelper> answer;
    {
        std::unique_lock lock(mutex_);
        if (question_.valid()) {
            const auto question = question_;
            lock.unlock();
            return question.get();
        }
        question_ = answer.get_future().share();
    }
    StartedHelper started = Unexpected(errAuthorizationInternal);
    {
        const std::lock_guard obtaining(obtaining_);
        const ProcessSecrecy secrecy;
        if (isTraced()) {
            started = Unexpected(errAuthorizationDenied);
        } else if (isPolkitAvailable()) {
            auto* question = installedService<PasswordQuestion>();
            started = question == nullptr ? startHelper(paths_) : startAsking(*question);
        }
    }
    const std::lock_guard lock(mutex_);
    question_ = {};
    answer.set_value(started);
    return started;
}

/// Has the program itself ask.
StartedHelper AuthorizationServices::startAsking(PasswordQuestion& question) {
    Secret secret;
    return startWithAgent(answererFor(question, secret));
}

/// Starts a helper, with an agent for this process that answers polkit's question.
StartedHelper AuthorizationServices::startWithAgent(PolkitAnswerer answerer) {
    const SilencedErrors silenced;
    try {
        const PolkitAgent agent(
            ::getpid(), std::move(answerer), [](const PolkitQuestion& question) {
                return isHelpersAction(question.action) && parentOf(question.asker) == ::getpid();
            });
        return agent.isRegistered() ? startHelper(paths_) : Unexpected(errAuthorizationDenied);
    } catch (const std::system_error&) { // no thread left
        return Unexpected(errAuthorizationInternal);
    }
}

StartedHelper AuthorizationServices::authorize(const AuthorizationItemSet& credentials) {
    const std::string* name = findValue("username", credentials);
    const std::string* password = findValue("password", credentials);
    const auto account = name == nullptr ? std::nullopt : accountNamed(*name);
    if (!account || password == nullptr || !isOneLine(*password)) {
        return Unexpected(errAuthorizationDenied);
    }
    const std::lock_guard obtaining(obtaining_);
    const ProcessSecrecy secrecy;
    if (isTraced()) {
        return Unexpected(errAuthorizationDenied);
    }
    return isPolkitAvailable() ? startWithAgent(answererFor(account->userId, *password))
                               : Unexpected(errAuthorizationInternal);
}

bool AuthorizationServices::holdsRights(AuthorizationRef ref) {
    const auto held = find(ref);
    return held && *held && (*held)->isOpen();
}

/// A handle that is replaced by another may never be freed; its helper is not to go on for it.
void AuthorizationServices::giveUpAll() {
    std::vector<Connection> connections;
    const std::lock_guard lock(mutex_);
    for (auto& [ref, connection] : handles_) {
        connections.push_back(std::exchange(connection, nullptr));
    }
}

void AuthorizationServices::free(AuthorizationRef ref, AuthorizationFlags /*flags*/) {
    Connection connection;
    const std::lock_guard lock(mutex_);
    if (const auto handle = handles_.find(ref); handle != handles_.end()) {
        connection.swap(handle->second);
        handles_.erase(handle);
    }
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

} // namespace platform::native
