#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/linux/process/RunDescriptors.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace platform::native {

/// A pipe that the system made; neither end reaches a child by itself.
class Pipe : public platform::Pipe {
public:
    /// A pipe of which these are the ends. Throws as ProcessLauncher::makePipe.
    explicit Pipe(PipeEnds ends);

    bool appendAvailable(std::vector<std::byte>& bytes) override;
    void stopWaiting() override;
    void closeReadEnd() override;

    /// The ends, for the launcher alone, which closes the one that it gave to the child.
    int readEnd() const { return readEnd_.get(); }
    int writeEnd() const { return writeEnd_.get(); }
    void closeWriteEnd() { writeEnd_.reset(); }

private:
    std::size_t readAvailable(std::span<std::byte> buffer);
    void prepareReading();
    void waitUntilReadable();
    void wakeReader();

    RunDescriptor readEnd_;
    RunDescriptor writeEnd_;
    bool prepared_ = false;
    bool enlarged_ = false;
    std::atomic<bool> closed_{false};
    std::atomic<bool> stopsWaiting_{false};
    /// Set before a reader looks at the two above for the last time, and until it has waited.
    std::atomic<bool> readerWaits_{false};
    /// Held by a reader for as long as it reads or waits, so that the read end is closed only when
    /// nobody uses it.
    std::mutex reading_;
};

} // namespace platform::native
