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
    using Children = std::map<const Child*, std::shared_ptr<Child>>;

public:
    /// The process's only one; it and its thread live as long as the process. Throws
    /// platform::Exception "NSGenericException" when the system has no descriptor or thread left.
    static ChildReaper& shared();

    /// What keeps a child. It is made before the child begins, when a failure harms nobody.
    using Place = Children::node_type;
    static Place placeFor(const std::shared_ptr<Child>& child);

    /// Keeps the child, which has begun, until it has ended. Cannot fail.
    void watch(Place place);

    /// Leaves the child to a caller that waits for it, which spares a change of threads.
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
    /// Those of which the system does not tell when they end; they are looked at now and then.
    Children unwatched_;
};

} // namespace platform::native
