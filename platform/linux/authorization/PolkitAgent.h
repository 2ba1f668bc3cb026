#pragma once

#include <sys/types.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace qf::native {

/// Whether polkit runs on this machine, or the system bus could start it. Any thread may call it.
bool isPolkitAvailable();

/// What an agent does about a question of polkit's.
struct PolkitAnswer {
    enum class Kind {
        /// Give `password` as that of `user`, one of the administrators.
        password,
        /// Let the question go unanswered: polkit denies what was asked for.
        giveUp,
        /// Say that the person dismissed the question.
        dismiss,
    };
    Kind kind = Kind::giveUp;
    uid_t user = 0;
    /// Must outlive the agent, which makes no copy. A password is one line without zero bytes.
    const std::string* password = nullptr;
};

/// Returns the answer to a question that any of `administrators` may answer. `attempt` counts from
/// 1 and goes up when a password was wrong. Called on a thread of its own, and waited for.
using PolkitAnswerer =
    std::function<PolkitAnswer(const std::vector<uid_t>& administrators, int attempt)>;

/// What is to be allowed, and the process that asks polkit whether it is.
struct PolkitQuestion {
    std::string action;
    pid_t asker = 0;
};

/// Whether a question is to be answered. Called on the agent's thread.
using PolkitFilter = std::function<bool(const PolkitQuestion&)>;

/// Answers polkit's questions about one process, in place of the desktop's agent, from construction
/// to destruction. It has a thread of its own. The passwords are checked by PAM.
class PolkitAgent {
public:
    /// `process` is one of the user's own. What the filter turns away is refused at once, whatever
    /// else is being answered.
    PolkitAgent(pid_t process, PolkitAnswerer answerer, PolkitFilter filter);
    ~PolkitAgent();
    PolkitAgent(const PolkitAgent&) = delete;
    PolkitAgent& operator=(const PolkitAgent&) = delete;
    PolkitAgent(PolkitAgent&&) = delete;
    PolkitAgent& operator=(PolkitAgent&&) = delete;

    /// Whether polkit has accepted the agent; without that it does nothing.
    bool isRegistered() const { return registered_; }

private:
    struct Loop;

    void run(pid_t process, std::promise<bool>& registered);

    PolkitAnswerer answerer_;
    PolkitFilter filter_;
    std::unique_ptr<Loop> loop_;
    std::thread thread_;
    bool registered_ = false;
};

} // namespace qf::native
