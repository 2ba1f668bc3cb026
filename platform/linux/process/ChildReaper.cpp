#include "platform/linux/process/ChildReaper.h"

#include "platform/foundation/Thread.h"
#include "platform/linux/process/LaunchFailure.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>

namespace platform::native {

ChildReaper& ChildReaper::shared() {
    static auto& reaper = *new ChildReaper;
    return reaper;
}

ChildReaper::ChildReaper()
    : events_(aboveStandardStreams(FileDescriptor(::epoll_create1(EPOLL_CLOEXEC)))) {
    if (!events_) {
        throw resourceFailure(errno, "NSGenericException", "descriptor");
    }
    detachNewThread([this] { reapForEver(); });
}

void ChildReaper::watch(const std::shared_ptr<Child>& child) {
    const int descriptor = child->descriptor();
    const std::lock_guard lock(mutex_);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    // Where the system has no watch left, the child's owner alone takes its status.
    if (::epoll_ctl(events_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0) {
        children_.emplace(descriptor, child);
    }
}

void ChildReaper::reapForEver() {
    for (;;) {
        std::array<epoll_event, 16> ended{};
        const int count = ::epoll_wait(events_.get(), ended.data(), ended.size(), -1);
        for (int index = 0; index < count; ++index) {
            reap(ended[static_cast<std::size_t>(index)].data.fd);
        }
    }
}

void ChildReaper::reap(int descriptor) {
    const std::lock_guard lock(mutex_);
    const auto entry = children_.find(descriptor);
    if (entry != children_.end() && !entry->second->isRunning()) {
        forget(descriptor);
    }
}

void ChildReaper::leave(const Child& child) {
    const std::lock_guard lock(mutex_);
    if (children_.contains(child.descriptor())) {
        forget(child.descriptor());
    }
}

/// The caller holds the mutex.
void ChildReaper::forget(int descriptor) {
    ::epoll_ctl(events_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    children_.erase(descriptor);
}

} // namespace platform::native
