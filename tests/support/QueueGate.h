#pragma once

#include "platform/foundation/OperationQueue.h"

#include <latch>
#include <memory>

/// An operation that keeps a queue busy from the gate's construction until it is opened, at the
/// latest by its destructor.
class QueueGate {
public:
    explicit QueueGate(qf::OperationQueue& queue) {
        queue.addOperation([latches = latches_] {
            latches->reached.count_down();
            latches->open.wait();
        });
        latches_->reached.wait();
    }
    ~QueueGate() { open(); }
    QueueGate(const QueueGate&) = delete;
    QueueGate& operator=(const QueueGate&) = delete;
    QueueGate(QueueGate&&) = delete;
    QueueGate& operator=(QueueGate&&) = delete;

    void open() {
        if (!latches_->open.try_wait()) {
            latches_->open.count_down();
        }
    }

private:
    struct Latches {
        std::latch reached{1};
        std::latch open{1};
    };
    std::shared_ptr<Latches> latches_ = std::make_shared<Latches>();
};
