#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/process/Child.h"

#include <map>
#include <memory>
#include <mutex>

namespace platform::native {

/// Takes the status of every child as soon as it has ended, on a thread of its own, so that none
/// stays a zombie because nobody asks for it. Children that the launcher did not launch are left
/// alone. Any thread may call every member.
class ChildReaper {
public:
    /// The process's only one; it and its thread live as long as the process. Throws
    /// platform::Exception "NSGenericException" when the system has no descriptor or thread left.
    static ChildReaper& shared();

    /// Keeps the child until it has ended.
    void watch(const std::shared_ptr<Child>& child);

    /// Leaves the child to a caller that waits for it, which spares a change of threads.
    void leave(const Child& child);

private:
    ChildReaper();
    [[noreturn]] void reapForEver();
    void reap(int descriptor);
    void forget(int descriptor);

    FileDescriptor events_;
    std::mutex mutex_;
    std::map<int, std::shared_ptr<Child>> children_;
};

} // namespace platform::native
