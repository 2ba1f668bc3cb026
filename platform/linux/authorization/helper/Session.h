#pragma once

#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "platform/linux/authorization/helper/Peer.h"
#include "platform/linux/authorization/helper/ProtectedItems.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/ToolStart.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace qf::native::helper {

/// Answers the requests that arrive on standard input until the program is gone, or asks nothing
/// for long, or another process speaks in its place; and until the last tool has ended. What waits
/// for a file system that does not answer for long is killed, and not waited for.
class Session {
public:
    /// Throws a Refusal.
    Session(uid_t user, Peer peer);

    void serve();

private:
    /// The output of one tool on its way to the program. It goes through the helper so that a
    /// program that has stopped reading, or has ended, does not stop the tool.
    struct Output {
        FileDescriptor fromTool;
        FileDescriptor toProgram;
        pid_t tool;
        bool isFull = false;
    };

    /// A process that carries a request out.
    struct Child {
        pid_t process;
        /// Whether all that it waits for is file systems. A tool may wait for anything.
        bool onlyWorksOnFiles;
        /// What it had done at the end of the last waiting.
        std::string activity = {};
    };

    void waitForEvents();
    void startWaiting();
    void endWaiting();
    void disconnect();
    void reap();
    bool haveChildrenHung();
    void endHungChildren();
    void giveUp(pid_t child);
    void pass(Output& output);
    void logToolErrors();
    void answerNextRequest();
    Status refuse(const Refusal& refusal) const;
    Status run(std::string_view message, FileDescriptor& output);
    FileDescriptor start(const Request& request);

    const uid_t user_;
    const Peer peer_;
    ProtectedItems staying_;
    FileDescriptor null_;
    /// Readable when nothing has been asked, and no child has ended, for long.
    FileDescriptor patience_;
    /// What children lock that take turns.
    FileDescriptor turns_;
    Pipe toolErrors_;
    std::string errorLine_;
    std::string message_;
    std::vector<Output> outputs_;
    std::vector<Child> children_;
    bool isConnected_ = true;
};

} // namespace qf::native::helper
