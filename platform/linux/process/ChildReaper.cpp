#include "platform/linux/process/ChildReaper.h"

#include "platform/foundation/Thread.h"
#include "platform/linux/process/LaunchFailure.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <array>
#include <cstdint>
#include <utility>

namespace qf::native {

namespace {

FileDescriptor required(int descriptor) {
    auto result = openedAboveStandardStreams(descriptor);
    if (!result) {
        throw resourceFailure(result.error(), exception_name::generic, "descriptor");
    }
    return *std::move(result);
}

} // namespace

ChildReaper& ChildReaper::shared() {
    static auto& reaper = *new ChildReaper;
    return reaper;
}

ChildReaper::ChildReaper()
    : events_(required(::epoll_create1(EPOLL_CLOEXEC))),
      wake_(required(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
    detachNewThread([this] { reapForEver(); });
}

ChildReaper::Place ChildReaper::placeFor(const std::shared_ptr<Child>& child) {
    Children one{{child.get(), child}};
    return one.extract(one.begin());
}

void ChildReaper::watch(Place place) {
    const std::lock_guard lock(mutex_);
    Child& child = *place.mapped();
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = &child;
    // Fails too for a child without a descriptor.
    if (::epoll_ctl(events_.get(), EPOLL_CTL_ADD, child.descriptor(), &event) == 0) {
        watched_.insert(std::move(place));
        return;
    }
    unwatched_.insert(std::move(place));
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake_.get(), &one, sizeof one)); // Full: the thread is awake already.
}

void ChildReaper::reapForEver() {
    for (;;) {
        waitForAnEnd();
        reapWatched();
        reapUnwatched();
    }
}

void ChildReaper::waitForAnEnd() {
    std::array waiting{pollfd{events_.get(), POLLIN, 0}, pollfd{wake_.get(), POLLIN, 0}};
    ::poll(waiting.data(), waiting.size(), pauseBetweenLooks());
    std::uint64_t count = 0;
    static_cast<void>(::read(wake_.get(), &count, sizeof count)); // Nothing: another woke it.
}

/// In milliseconds; negative while there is nothing to poll.
int ChildReaper::pauseBetweenLooks() {
    constexpr int pause = 50;
    const std::lock_guard lock(mutex_);
    return unwatched_.empty() ? -1 : pause;
}

void ChildReaper::reapWatched() {
    std::array<epoll_event, 16> ended{};
    const int count = ::epoll_wait(events_.get(), ended.data(), ended.size(), 0);
    for (int index = 0; index < count; ++index) {
        const std::lock_guard lock(mutex_);
        const auto* child =
            static_cast<const Child*>(ended[static_cast<std::size_t>(index)].data.ptr);
        const auto entry = watched_.find(child);
        if (entry != watched_.end() && !entry->second->isRunning()) {
            forget(child);
        }
    }
}

void ChildReaper::reapUnwatched() {
    const std::lock_guard lock(mutex_);
    std::erase_if(unwatched_, [](const auto& entry) { return !entry.second->isRunning(); });
}

void ChildReaper::leave(const Child& child) {
    const std::lock_guard lock(mutex_);
    if (watched_.contains(&child)) {
        forget(&child);
    }
    unwatched_.erase(&child);
}

/// The caller must hold the mutex.
void ChildReaper::forget(const Child* child) {
    ::epoll_ctl(events_.get(), EPOLL_CTL_DEL, child->descriptor(), nullptr);
    watched_.erase(child);
}

} // namespace qf::native
