#include "platform/linux/authorization/RightRequests.h"

#include "platform/Console.h"
#include "platform/PasswordQuestion.h"
#include "platform/Services.h"
#include "platform/linux/authorization/PolkitAnswers.h"
#include "platform/linux/authorization/ProcessStatus.h"
#include "platform/linux/authorization/ScopedUndumpable.h"
#include "platform/linux/authorization/SilencedErrors.h"
#include "platform/linux/system/UserAccount.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace qf::native {

namespace {

const std::string* findValue(std::string_view name, const AuthorizationItemSet& items) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const auto& item) { return item.name == name; });
    return found == items.end() ? nullptr : &found->value;
}

/// Whether another process traces this one; logged. Asked when no more processes can begin to.
bool isTraced() {
    const pid_t tracer = tracerOfThisProcess();
    if (tracer != 0) {
        systemLog("No administrator is asked, because process %d traces this one", tracer);
    }
    return tracer != 0;
}

} // namespace

StartedHelper RightRequests::ask() {
    std::promise<StartedHelper> answer;
    {
        std::unique_lock lock(mutex_);
        if (refusal_) {
            return Unexpected(*refusal_);
        }
        if (question_.valid()) {
            const auto question = question_;
            lock.unlock();
            return question.get();
        }
        question_ = answer.get_future().share();
    }
    auto started = askAlone();
    const std::lock_guard answering(mutex_);
    question_ = {};
    answer.set_value(started);
    return started;
}

StartedHelper RightRequests::askAlone() {
    const std::lock_guard obtaining(obtaining_);
    const ScopedUndumpable undumpable;
    if (isTraced()) {
        return Unexpected(errAuthorizationDenied);
    }
    if (!isPolkitAvailable()) {
        return Unexpected(errAuthorizationInternal);
    }
    auto* question = installedService<PasswordQuestion>();
    auto started = question == nullptr ? startHelper(paths_) : startAsking(*question);
    rememberRefusal(started);
    return started;
}

void RightRequests::rememberRefusal(const StartedHelper& started) {
    if (asking_ == Asking::once && !started && started.error() != errAuthorizationInternal) {
        const std::lock_guard lock(mutex_);
        refusal_ = started.error();
    }
}

/// Has the program itself ask.
StartedHelper RightRequests::startAsking(PasswordQuestion& question) {
    Secret secret;
    bool isAnswered = false;
    auto started = startWithAgent([&](const std::vector<uid_t>& administrators, int attempt) {
        auto answer = answerByAsking(question, secret)(administrators, attempt);
        isAnswered = isAnswered || answer.kind == PolkitAnswer::Kind::password;
        return answer;
    });
    if (isAnswered && !started && started.error() != errAuthorizationInternal) {
        return Unexpected(errAuthorizationWrongPassword);
    }
    return started;
}

/// Starts a helper, with an agent for this process that answers polkit's question.
StartedHelper RightRequests::startWithAgent(PolkitAnswerer answerer) {
    const SilencedErrors silenced;
    try {
        const PolkitAgent agent(::getpid(), std::move(answerer), isForHelper);
        return agent.isRegistered() ? startHelper(paths_) : Unexpected(errAuthorizationDenied);
    } catch (const std::system_error&) { // no thread left
        return Unexpected(errAuthorizationInternal);
    }
}

StartedHelper RightRequests::authorize(const AuthorizationItemSet& credentials) {
    const std::string* name = findValue("username", credentials);
    const std::string* password = findValue("password", credentials);
    const auto account = name == nullptr ? std::nullopt : accountNamed(*name);
    if (!account || password == nullptr || !isOneLine(*password)) {
        return Unexpected(errAuthorizationDenied);
    }
    const std::lock_guard obtaining(obtaining_);
    const ScopedUndumpable undumpable;
    if (isTraced()) {
        return Unexpected(errAuthorizationDenied);
    }
    return isPolkitAvailable() ? startWithAgent(answerWith(account->userId, *password))
                               : Unexpected(errAuthorizationInternal);
}

} // namespace qf::native
