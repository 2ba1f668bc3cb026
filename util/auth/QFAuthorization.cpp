#include "util/auth/QFAuthorization.h"

#include "platform/Console.h"
#include "platform/Services.h"
#include "platform/UserAccount.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"

#include <mutex>
#include <string_view>

using qf::AuthorizationFlags;
using qf::AuthorizationItemSet;
using qf::AuthorizationRef;
using qf::errAuthorizationSuccess;
using qf::kAuthorizationFlagDefaults;
using qf::kAuthorizationFlagExtendRights;
using qf::kAuthorizationFlagInteractionAllowed;
using qf::kAuthorizationFlagPreAuthorize;

namespace {

constexpr std::string_view unableToAuthorize = "Unable to authorize";
constexpr std::string_view rightNotGranted = "The administrator’s right was not granted.";
constexpr std::string_view nameOrPasswordMissing = "The user’s name or password is missing.";
constexpr std::string_view unableToCreateAuthRef = "Unable to create authRef - error %d";
constexpr std::string_view invalidCredentials =
    "Authorization failed. Invalid username or password";

constexpr AuthorizationFlags interactiveFlags = kAuthorizationFlagInteractionAllowed +
                                                kAuthorizationFlagExtendRights +
                                                kAuthorizationFlagPreAuthorize;
constexpr AuthorizationFlags credentialFlags =
    kAuthorizationFlagExtendRights + kAuthorizationFlagPreAuthorize;

qf::Unexpected<qf::Error> noRight(int code, std::string_view why) {
    return qf::Unexpected(qf::Error{.domain = QFAuthorization::errorDomain,
                                    .code = code,
                                    .localizedDescription = std::string(why)});
}

std::mutex classLock;
QFAuthorization* controller = nullptr;

qf::AuthorizationServices& authorizationServices() {
    return qf::service<qf::AuthorizationServices>();
}

qf::AuthorizationRights administratorRight() {
    return {"system.privilege.admin"};
}

/// A user name and password in the form that a handle takes. Wiped from memory at the scope's end.
class Credentials {
public:
    Credentials(const std::string& user, const std::string& password) {
        items_[0].name = "username";
        items_[0].value = user;
        items_[1].name = "password";
        items_[1].value = password;
    }
    ~Credentials() {
        for (auto& item : items_) {
            for (volatile char& byte : item.value) {
                byte = 0;
            }
        }
    }
    Credentials(const Credentials&) = delete;
    Credentials& operator=(const Credentials&) = delete;
    Credentials(Credentials&&) = delete;
    Credentials& operator=(Credentials&&) = delete;

    const AuthorizationItemSet& items() const { return items_; }

private:
    // A vector that grew would leave a copy behind.
    AuthorizationItemSet items_ = AuthorizationItemSet(2);
};

} // namespace

QFAuthorization& QFAuthorization::sharedController() {
    return sharedController(qf::UserInterface::yes);
}

QFAuthorization& QFAuthorization::sharedController(qf::UserInterface userInterface) {
    const std::lock_guard lock(classLock);
    if (controller == nullptr) {
        controller = new QFAuthorization;
        controller->init(userInterface);
    }
    return *controller;
}

QFAuthorization* QFAuthorization::allocWithZone() {
    const std::lock_guard lock(classLock);
    if (controller != nullptr) {
        return nullptr;
    }
    controller = new QFAuthorization;
    return controller;
}

QFAuthorization& QFAuthorization::init() {
    return init(qf::UserInterface::yes);
}

QFAuthorization& QFAuthorization::initWithoutGUI() {
    return init(qf::UserInterface::no);
}

QFAuthorization& QFAuthorization::init(qf::UserInterface userInterface) {
    hasGUI_ = userInterface == qf::UserInterface::yes;
    authRef_ = AuthorizationRef::none;
    const auto inherited =
        authorizationServices().copyPrivilegedReference(kAuthorizationFlagDefaults);
    if (inherited) {
        authRef_ = *inherited;
    }
    if (!isSuperuser()) {
        userDirectory_ = QFLocalPaths::userDirectory();
    }
    return *this;
}

void QFAuthorization::dealloc() {
    const std::lock_guard lock(classLock);
    controller = nullptr;
    delete this;
}

QFAuthorization::~QFAuthorization() {
    authEnd();
}

bool QFAuthorization::isSuperuser() {
    return qf::service<qf::UserAccount>().realUserId() == 0;
}

bool QFAuthorization::isAuthorized() const {
    const AuthorizationRef held = authRef_;
    return isSuperuser() ||
           (held != AuthorizationRef::none && authorizationServices().holdsRights(held));
}

bool QFAuthorization::canAuthorize() const {
    return hasGUI_ || isSuperuser();
}

bool QFAuthorization::authStart() {
    return authStartWithResult().ok();
}

qf::Result<void> QFAuthorization::authStartWithResult() {
    const auto answer = obtainRight();
    if (answer == errAuthorizationSuccess) {
        return {};
    }
    return qf::Unexpected(withoutRight(answer));
}

// Without an answer, nobody may be asked.
qf::Error QFAuthorization::withoutRight(const std::optional<qf::AuthorizationStatus>& answer) {
    return noRight(answer.value_or(notAuthorized), answer ? rightNotGranted : unableToAuthorize)
        .error();
}

// Returns no value if nobody may be asked.
std::optional<qf::AuthorizationStatus> QFAuthorization::obtainRight() {
    // A caller that arrives while the question is on the screen waits for its answer instead of
    // asking again.
    const std::lock_guard lock(starting_);
    if (isAuthorized()) {
        return errAuthorizationSuccess;
    }
    // A right that the platform has taken back is given up before another is requested.
    authEnd();
    if (!hasGUI_) {
        qf::systemLog(unableToAuthorize);
        return std::nullopt;
    }
    auto& services = authorizationServices();
    const auto created = services.create({}, kAuthorizationFlagDefaults);
    if (!created) {
        return created.error();
    }
    const auto granted = services.copyRights(*created, administratorRight(), {}, interactiveFlags);
    if (!granted) {
        services.free(*created, kAuthorizationFlagDefaults);
        return granted.error();
    }
    authRef_ = *created;
    return errAuthorizationSuccess;
}

bool QFAuthorization::authStartWithUser(const std::optional<std::string>& user,
                                        const std::optional<std::string>& password) {
    return authStartWithUserWithResult(user, password).ok();
}

qf::Result<void>
QFAuthorization::authStartWithUserWithResult(const std::optional<std::string>& user,
                                             const std::optional<std::string>& password) {
    if (isSuperuser()) {
        return {};
    }
    if (!user || !password) {
        return noRight(notAuthorized, nameOrPasswordMissing);
    }
    const Credentials credentials(*user, *password);
    auto& services = authorizationServices();
    const auto created = services.create(credentials.items(), kAuthorizationFlagDefaults);
    if (!created) {
        qf::systemLog(unableToCreateAuthRef, created.error());
        authRef_ = AuthorizationRef::none;
        return noRight(created.error(), rightNotGranted);
    }
    const auto granted =
        services.copyRights(*created, administratorRight(), credentials.items(), credentialFlags);
    if (granted) {
        authRef_ = *created;
        return {};
    }
    authRef_ = AuthorizationRef::none;
    services.free(*created, kAuthorizationFlagDefaults);
    qf::systemLog(invalidCredentials);
    QFLog::appendLog(invalidCredentials);
    return noRight(granted.error(), invalidCredentials);
}

void QFAuthorization::authEnd() {
    const AuthorizationRef held = authRef_.exchange(AuthorizationRef::none);
    if (held != AuthorizationRef::none && !isSuperuser()) {
        authorizationServices().free(held, kAuthorizationFlagDefaults);
    }
}
