#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/process/Child.h"

#include <map>
#include <memory>
#include <mutex>

namespace qf::native {

/// Reaps every launched child as soon as it has ended, on its own thread, so that none stays a
/// zombie because nobody waits for it. Children that the launcher did not launch are left alone.
/// Any thread may call every member.
class ChildReaper {
    using Children = std::map<const Child*, std::shared_ptr<Child>>;

public:
    /// Returns the process's only reaper, which, like its thread, lives as long as the process.
    /// Throws qf::Exception "NSGenericException" if the system has no descriptor or thread
    /// left.
    static ChildReaper& shared();

    /// The storage for a child. It is allocated before the child begins, when a failure is
    /// harmless.
    using Place = Children::node_type;
    static Place placeFor(const std::shared_ptr<Child>& child);

    /// Keeps the child, which has begun, until it has ended. Never fails.
    void watch(Place place);

    /// Leaves the child to a caller that waits for it, which saves a thread switch.
    void leave(const Child& child);

private:
    ChildReaper();
    [[noreturn]] void reapForEver();
    void waitForAnEnd();
    void reapWatched();
    void reapUnwatched();
    int pauseBetweenLooks();
    void forget(const Child* child);

    FileDescriptor events_;
    FileDescriptor wake_;
    std::mutex mutex_;
    Children watched_;
    /// Children whose end the system does not report; they are polled.
    Children unwatched_;
};

} // namespace qf::native
