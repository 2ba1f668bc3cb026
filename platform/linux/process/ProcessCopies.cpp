#include "platform/linux/process/ProcessCopies.h"

#include <pthread.h>

#include <mutex>
#include <utility>
#include <vector>

namespace qf::native {

namespace {

struct Observer {
    std::function<void()> before;
    std::function<void()> inOriginal;
    std::function<void()> inCopy;
};

struct Observers {
    std::mutex mutex;
    std::vector<Observer> all;
};

/// Never destroyed: the process may be forked until it has ended.
Observers& observers() {
    static auto& only = *new Observers;
    return only;
}

/// No observer is added during a fork.
void tellBefore() {
    observers().mutex.lock();
    for (const auto& observer : observers().all) {
        observer.before();
    }
}

void tellOriginal() {
    for (const auto& observer : observers().all) {
        observer.inOriginal();
    }
    observers().mutex.unlock();
}

void tellCopy() {
    for (const auto& observer : observers().all) {
        observer.inCopy();
    }
    observers().mutex.unlock();
}

} // namespace

void ProcessCopies::observe(std::function<void()> before, std::function<void()> inOriginal,
                            std::function<void()> inCopy) {
    static const int registered = ::pthread_atfork(tellBefore, tellOriginal, tellCopy);
    static_cast<void>(registered);
    const std::lock_guard lock(observers().mutex);
    observers().all.push_back({std::move(before), std::move(inOriginal), std::move(inCopy)});
}

} // namespace qf::native
