#include "platform/linux/authorization/helper/Session.h"

#include "platform/linux/authorization/helper/Activity.h"
#include "platform/linux/authorization/helper/Change.h"
#include "platform/linux/authorization/helper/Move.h"
#include "platform/linux/authorization/helper/PassingMessage.h"
#include "platform/linux/authorization/helper/PlanCheck.h"
#include "platform/linux/authorization/helper/SystemLog.h"
#include "platform/linux/authorization/helper/Terms.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <optional>
#include <utility>
#include <variant>

namespace qf::native::helper {

namespace {

/// What carries a task out in its own process. Each tells whether it is done, and throws a Refusal
/// when it cannot be begun.
struct Performer {
    FileDescriptor& report;
    const FileDescriptor& turns;

    bool operator()(const Command& command) const {
        throw startFailure(becomeTool(command.tool, command.arguments));
    }
    bool operator()(const Removal& removal) const {
        std::vector<std::string> arguments = removal.options;
        arguments.emplace_back("--");
        for (const auto& place : removal.places) {
            arguments.push_back(heldPath(place.directory, place.name));
        }
        throw startFailure(becomeTool(removal.remover, arguments));
    }
    bool operator()(const Move& move) const { return carryOut(move, report, turns); }
    bool operator()(const Copy& copy) const { return carryOut(copy, report); }
    bool operator()(const Change& change) const {
        change.make(change);
        return true;
    }
    bool operator()(const Directories& directories) const {
        makeDirectories(directories);
        return true;
    }
    bool operator()(Nothing) const { return true; }
};

/// Carries a task out, and tells the helper when it cannot be begun.
[[noreturn]] void runInChild(const Task& task, FileDescriptor report, const FileDescriptor& turns) {
    try {
        ::_exit(std::visit(Performer{report, turns}, task) ? EXIT_SUCCESS : EXIT_FAILURE);
    } catch (const Refusal& refusal) {
        reportFailure(report, refusal);
    } catch (const std::bad_alloc&) {
        reportFailure(report, startFailure(Errno(ENOMEM)));
    }
}

/// Whether the program can still be talked to; one that leaves replies unread cannot.
bool send(Reply reply, const FileDescriptor& output) {
    PassingMessage<int> message(&reply, sizeof reply);
    const auto passed = output ? std::optional(output.get()) : std::nullopt;
    return message.send(STDIN_FILENO, passed, MSG_NOSIGNAL | MSG_DONTWAIT) == sizeof reply;
}

struct Message {
    /// The length of one that is too long is its own. Nothing has come when it is not above 0.
    ssize_t size = 0;
    ucred sender{};
};

/// Takes the next message. Descriptors that come with it are dropped.
Message receive(std::string& buffer) {
    PassingMessage<ucred> message(buffer.data(), buffer.size());
    const ssize_t size = message.receive(STDIN_FILENO, MSG_DONTWAIT | MSG_TRUNC);
    return {size, message.passed().value_or(ucred{})};
}

} // namespace

Session::Session(uid_t user, Peer peer)
    : user_(user), peer_(std::move(peer)), staying_(user),
      null_(::open("/dev/null", O_RDWR | O_CLOEXEC)),
      patience_(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK)),
      turns_(::memfd_create("turns", MFD_CLOEXEC)), toolErrors_(makePipe(O_NONBLOCK)),
      message_(maximumRequestSize + 1, '\0') {
    constexpr int yes = 1;
    if (!null_ || !patience_ || !turns_ ||
        ::setsockopt(STDIN_FILENO, SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes) != 0) {
        throw Refusal{Status::startFailed, "/dev/null, a timer, memory or the connection"};
    }
    startWaiting();
    ::fcntl(toolErrors_.writeEnd.get(), F_SETFL, 0); // the tools' end waits
}

void Session::serve() {
    while (isConnected_ || !children_.empty() || !outputs_.empty()) {
        waitForEvents();
        reap();
    }
    logToolErrors();
    if (!errorLine_.empty()) {
        log(errorLine_);
    }
}

void Session::waitForEvents() {
    const bool isWaiting = isConnected_ || !children_.empty();
    std::vector<pollfd> events{{isConnected_ ? STDIN_FILENO : -1, POLLIN, 0},
                               {isConnected_ ? peer_.descriptor() : -1, POLLIN, 0},
                               {isWaiting ? patience_.get() : -1, POLLIN, 0},
                               {toolErrors_.readEnd.get(), POLLIN, 0}};
    const std::size_t others = events.size();
    for (const auto& output : outputs_) {
        events.push_back(output.isFull ? pollfd{output.toProgram.get(), POLLOUT, 0}
                                       : pollfd{output.fromTool.get(), POLLIN, 0});
    }
    sigset_t none; // a child's end interrupts this wait, and nothing else
    ::sigemptyset(&none);
    if (::ppoll(events.data(), events.size(), nullptr, &none) < 0) {
        return;
    }
    for (std::size_t index = 0; index < outputs_.size(); ++index) {
        if (events[others + index].revents != 0) {
            pass(outputs_[index]);
        }
    }
    std::erase_if(outputs_, [](const Output& output) { return !output.fromTool; });
    if (events[3].revents != 0) {
        logToolErrors();
    }
    if (events[1].revents != 0) {
        disconnect();
    } else if (events[0].revents != 0) {
        answerNextRequest();
    } else if (events[2].revents != 0) {
        endWaiting();
    }
}

/// Starts the time anew in which the program must ask something, or a child move on.
void Session::startWaiting() {
    using namespace std::chrono;
    const auto whole = duration_cast<seconds>(terms.patience);
    const itimerspec time{{}, {whole.count(), nanoseconds(terms.patience - whole).count()}};
    ::timerfd_settime(patience_.get(), 0, &time, nullptr);
}

/// A program that waits for its tools is not to ask meanwhile.
void Session::endWaiting() {
    if (children_.empty()) {
        disconnect();
        return;
    }
    if (haveChildrenHung()) {
        endHungChildren();
    }
    startWaiting();
}

/// Whether the children that work on files have hung since this was asked before.
bool Session::haveChildrenHung() {
    std::vector<Activities> activities;
    for (auto& child : children_) {
        if (child.onlyWorksOnFiles) {
            std::string before = std::exchange(child.activity, activityOf(child.process));
            activities.push_back({std::move(before), child.activity});
        }
    }
    return haveHung(activities);
}

/// Others have turns of their own from now on: who is killed may keep its turn until the file
/// system answers.
void Session::endHungChildren() {
    std::vector<pid_t> hung;
    for (const auto& child : children_) {
        if (child.onlyWorksOnFiles) {
            hung.push_back(child.process);
        }
    }
    for (const pid_t child : hung) {
        log("given up, because a file system does not answer: process " + std::to_string(child));
        giveUp(child);
    }
    if (FileDescriptor turns(::memfd_create("turns", MFD_CLOEXEC)); turns) {
        turns_ = std::move(turns);
    }
}

/// Kills a child and what it has started. It may not end before its system call does, so it is not
/// waited for; it does nothing more.
void Session::giveUp(pid_t child) {
    ::kill(-child, SIGKILL);
    std::erase_if(children_, [=](const Child& other) { return other.process == child; });
    std::erase_if(outputs_, [=](const Output& output) { return output.tool == child; });
}

/// Ends the right: whoever has the other end has nothing more of it.
void Session::disconnect() {
    isConnected_ = false;
    ::dup2(null_.get(), STDIN_FILENO);
}

void Session::reap() {
    for (pid_t ended = 0; (ended = ::waitpid(-1, nullptr, WNOHANG)) > 0;) {
        std::erase_if(children_, [=](const Child& child) { return child.process == ended; });
        startWaiting();
    }
}

void Session::pass(Output& output) {
    constexpr std::size_t most = 64UL * 1024;
    const int target = output.toProgram ? output.toProgram.get() : null_.get();
    const bool wasFull = std::exchange(output.isFull, false);
    const ssize_t size =
        ::splice(output.fromTool.get(), nullptr, target, nullptr, most, SPLICE_F_NONBLOCK);
    if (size > 0 || (size < 0 && errno == EINTR)) {
        return;
    }
    if (size < 0 && errno == EPIPE) {
        output.toProgram.reset();
    } else if (size < 0 && errno == EAGAIN) {
        output.isFull = !wasFull;
    } else {
        output.fromTool.reset();
    }
}

/// Writes what the tools say to the system log, one entry a line.
void Session::logToolErrors() {
    std::array<char, 64UL * 1024> bytes{}; // all that a pipe holds
    const ssize_t size = ::read(toolErrors_.readEnd.get(), bytes.data(), bytes.size());
    errorLine_.append(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = errorLine_.find('\n', begin)) != std::string::npos;) {
        log(errorLine_.substr(begin, end - begin));
        begin = end + 1;
    }
    errorLine_.erase(0, begin);
    if (errorLine_.size() > longestLogLine) {
        log(std::exchange(errorLine_, {}));
    }
}

void Session::answerNextRequest() {
    const auto [size, sender] = receive(message_);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (size > 0 && !peer_.hasSent(sender)) {
        log("another process than the program has spoken: " + std::to_string(sender.pid));
    }
    if (size <= 0 || !peer_.hasSent(sender)) {
        disconnect();
        return;
    }
    FileDescriptor output;
    Reply reply;
    try {
        const auto length = static_cast<std::size_t>(size);
        reply.status = length > message_.size()
                           ? refuse({Status::requestTooLarge, std::to_string(length)})
                           : run({message_.data(), length}, output);
    } catch (const Refusal& refusal) {
        reply.status = refuse(refusal);
    } catch (const std::bad_alloc&) {
        reply.status = refuse({Status::startFailed, "memory"});
    }
    startWaiting();
    if (!send(reply, output)) {
        disconnect();
    }
}

Status Session::refuse(const Refusal& refusal) const {
    log("refused a request of user " + std::to_string(user_) + ": " + sentence(refusal));
    return refusal.status;
}

Status Session::run(std::string_view message, FileDescriptor& output) {
    Request request;
    const Status status = parseRequest(message, request);
    if (status == Status::started) {
        output = start(request);
    } else if (status != Status::ready) {
        throw Refusal{status, std::to_string(message.size()) + " bytes"};
    }
    return status;
}

/// Starts what a request asks for and returns the program's end of its output.
FileDescriptor Session::start(const Request& request) {
    const std::string path(request.tool);
    auto task = prepare(request, staying_);
    if (terms.plan) {
        requirePlanned(task, *terms.plan, user_);
    }
    Pipe fromTool = makePipe(0);
    Pipe toProgram = makePipe(0);
    Pipe report = makePipe(0);
    children_.reserve(children_.size() + 1);
    const bool onlyWorksOnFiles = !std::holds_alternative<Command>(task);
    const pid_t helper = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) {
        throw Refusal{Status::startFailed, path + ": " + std::to_string(errno)};
    }
    if (child == 0) {
        if (onlyWorksOnFiles) {
            endWithParent(helper);
        }
        leaveTheHelperBehind(null_.get(), fromTool.writeEnd.get(), toolErrors_.writeEnd.get());
        fromTool = {};
        toProgram = {};
        toolErrors_ = {}; // or a tool would wait for a reader that has gone
        outputs_.clear();
        runInChild(task, std::move(report.writeEnd), turns_);
    }
    children_.push_back({child, onlyWorksOnFiles});
    if (!hasStarted(report, path, terms.patience)) {
        giveUp(child);
        throw Refusal{Status::startFailed, path + ": a file system does not answer"};
    }
    outputs_.push_back({std::move(fromTool.readEnd), std::move(toProgram.writeEnd), child});
    return std::move(toProgram.readEnd);
}

} // namespace qf::native::helper
