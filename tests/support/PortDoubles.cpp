#include "tests/support/PortDoubles.h"

void RecordingConsole::systemLog(std::string_view message) {
    const std::lock_guard lock(mutex_);
    systemLog_.emplace_back(message);
}

void RecordingConsole::print(std::string_view text) {
    const std::lock_guard lock(mutex_);
    printed_ += text;
}

std::vector<std::string> RecordingConsole::systemLogLines() const {
    const std::lock_guard lock(mutex_);
    return systemLog_;
}

std::string RecordingConsole::printed() const {
    const std::lock_guard lock(mutex_);
    return printed_;
}

unsigned FakeAccount::realUserId() {
    return userId;
}

std::string FakeAccount::homeDirectory() {
    return home;
}

std::optional<std::string> FakeAccount::otherOwnerOfHome() {
    return homeOwner;
}

std::string FakeAccount::loginName() {
    return login;
}

std::string FakeAccount::temporaryDirectory() {
    return temporary;
}

std::optional<std::string> FakeAccount::cacheDirectory() {
    return cache;
}

std::string FakeAccount::stateDirectory() {
    return state;
}

std::unique_ptr<qf::Inhibition> CountingInhibitors::inhibitShutdown(const std::string& /*who*/,
                                                                    const std::string& /*why*/) {
    struct Counted : qf::Inhibition {
        explicit Counted(int& counter) : count(counter) { ++count; }
        ~Counted() override { --count; }
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
        Counted(Counted&&) = delete;
        Counted& operator=(Counted&&) = delete;
        int& count;
    };
    return std::make_unique<Counted>(count);
}

std::vector<std::string> FakeSearchPaths::directories(qf::DirectoryKind kind,
                                                      qf::DomainMask domain) {
    const auto found = lists.find({kind, domain});
    return found == lists.end() ? std::vector<std::string>() : found->second;
}
