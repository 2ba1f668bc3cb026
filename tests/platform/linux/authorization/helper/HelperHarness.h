#pragma once

#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The user whom the helper serves; there need not be an account.
inline constexpr uid_t servedUser = 12345;

/// Where the tests of the helper take place: a mount namespace of the test program's own, in which
/// nothing but these directories, all empty and in memory, can be written to. The accounts there
/// are root, and "served" with the home directory servedHome.
namespace sandbox {
/// Only root may write here.
inline const std::string rootsDirectory = "/mnt";
/// Everybody may write here, as in every /tmp. On another file system than rootsDirectory.
inline const std::string everybodysDirectory = "/tmp";
/// A directory with the account's home directory and nothing else. It is not made.
inline const std::string servedHome = "/tmp/homes/served";

/// Why the tests cannot take place; empty when they can.
const std::string& obstacle();
} // namespace sandbox

/// Skips a test where there is no sandbox.
class HelperTest : public testing::Test {
protected:
    void SetUp() override;

    /// The directory of user files, owned by the served user.
    std::string usersDirectory();
    /// Makes a directory or a file with some content, owned by `owner`, and returns its path.
    static std::string makeDirectory(const std::string& path, uid_t owner = 0, mode_t mode = 0755);
    static std::string makeFile(const std::string& path, uid_t owner = 0, mode_t mode = 0644);
    static std::string makeLink(const std::string& target, const std::string& path, uid_t owner);
    /// Copies the stand-in for chown out of the build tree, and returns the path of the copy.
    static std::string copyChown(const std::string& path);
    static bool exists(const std::string& path);
};

/// The helpers with terms of their own: the utility layer's, one that does not wait for long for a
/// request, and one that is for a plan.
enum class HelperKind { general, impatient, planned };

/// How a helper is started in a test.
struct HelperSetup {
    HelperKind kind = HelperKind::general;
    /// The user who makes the connection.
    uid_t peer = servedUser;
    /// What PKEXEC_UID says; nothing when it is not set.
    std::optional<std::string> invoker = std::to_string(servedUser);
    /// The user as whom the helper runs.
    uid_t runsAs = 0;
    int socketType = SOCK_SEQPACKET;
    /// Whether another process than the one that starts it makes the connection.
    bool isMadeByAnother = false;
    bool hasConnection = true;
    /// The limits that it inherits, by what they limit.
    std::vector<std::pair<__rlimit_resource, rlim_t>> limits = {};
    /// The rights that what it makes is not to have.
    mode_t mask = 022;
    /// The time zone that its environment names, if any.
    const char* timeZone = nullptr;
    /// A descriptor that it inherits beside its connection; -1 for none.
    int leftDescriptor = -1;
    /// Whether a timer runs that ends who does not expect it.
    bool hasTimer = false;
    /// How much it leaves the processor to others, and is to be ended before others.
    int niceness = 0;
    int memoryPenalty = 0;
    /// Whether it is to end with the thread that starts it.
    bool endsWithThread = false;
    /// Whether the system makes it another process when it asks.
    bool mayFork = true;
    /// Whether the system has the memory to look at a path.
    bool mayLook = true;
    /// Why the system sets no extended attributes; 0 if it sets them.
    int attributeFailure = 0;
    /// Why the system tells nothing of the volume that an open item is on; 0 if it does.
    int volumeFailure = 0;
    /// Why the system renames nothing to a name that is to be free; 0 if it does.
    int renamingFailure = 0;
};

/// A helper of a test's own, with the test as its client.
class TestedHelper {
public:
    explicit TestedHelper(const HelperSetup& setup = {});
    ~TestedHelper();
    TestedHelper(const TestedHelper&) = delete;
    TestedHelper& operator=(const TestedHelper&) = delete;
    TestedHelper(TestedHelper&&) = delete;
    TestedHelper& operator=(TestedHelper&&) = delete;

    struct Answer {
        /// Nothing when the helper has gone.
        std::optional<qf::native::helper::Status> status;
        qf::native::FileDescriptor output;
    };

    /// Has a tool started and returns the answer at once.
    Answer start(const std::string& tool, const std::vector<std::string>& arguments = {});

    /// Has a tool started, waits until its output ends, and returns it; if the tool is not started,
    /// the text "refused".
    std::string outputOf(const std::string& tool, const std::vector<std::string>& arguments = {});

    /// Has a tool started, waits for its end, and returns the helper's answer.
    qf::native::helper::Status run(const std::string& tool,
                                   const std::vector<std::string>& arguments);

    /// Sends bytes as one message and returns the answer to it.
    Answer send(std::string_view message);
    void sendWithDescriptor(std::string_view message, int descriptor) const;
    Answer receive();

    int connection() const { return connection_.get(); }
    void disconnect() { connection_.reset(); }
    pid_t process() const { return process_; }
    bool isRunning();
    /// Waits for the helper's end and returns its exit status.
    int waitForEnd();

    /// The next line that the helper gives the system log, without what the log adds; waits for it,
    /// and returns nothing if none comes for long.
    std::string nextLogLine();
    bool hasLogLine();
    /// What the log added to the last line that was returned: a kind, a date and a name.
    const std::string& logLinesHead() const { return logLinesHead_; }

private:
    /// The two ends of a new connection.
    std::pair<qf::native::FileDescriptor, qf::native::FileDescriptor>
    connect(const HelperSetup& setup);
    /// Takes the lines that the log has, for as long as it waits the helper does.
    void takeLogLines();
    [[noreturn]] static void become(const HelperSetup& setup, int input);

    qf::native::FileDescriptor log_;
    std::deque<std::string> logLines_;
    std::string logLinesHead_;
    qf::native::FileDescriptor connection_;
    pid_t maker_ = -1;
    pid_t process_ = -1;
    std::optional<int> exitStatus_;
    /// Whether it has served anybody; then it must end with success.
    bool hasAnswered_ = false;
};

/// Some of the times that a thread opens an item only to look at it, which fail.
struct FailingLooks {
    int first = 1;
    int count = 1;
    int number = ENOENT; ///< As if another process had just taken the item away.
};

/// Does some work in a thread of its own in which looks fail.
void runWithFailingLooks(const FailingLooks& failing, const std::function<void()>& work);

/// Does some work in a process of its own, and returns the status that this ends with, -1 if it
/// ends otherwise.
int statusOfProcess(const std::function<int()>& work);

/// Has the system fail to tell this process where the data (SEEK_DATA) or the holes (SEEK_HOLE) of
/// files are, for this reason, and returns whether it will.
bool forbidSeeks(int whence, int number);

/// Has a system call of this process fail from now on, for this reason, and returns whether it
/// will.
bool forbid(std::uint32_t call, int number);

/// Returns all that is read from a descriptor up to its end.
std::string readAll(int descriptor);
