#pragma once

#include "platform/support/ApplicationCore.h"

#include <memory>

class QObject;

namespace platform::qt {

/// The application on Qt's event loop.
class Application final : public ApplicationCore {
public:
    /// The calling thread is the main thread from now on; the QApplication exists.
    Application();
    ~Application() override;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    Application(Application&&) = delete;
    Application& operator=(Application&&) = delete;

    /// Runs the event loop until the application terminates and gives the exit status. When the
    /// desktop ends the session instead, the observers of termination run all the same. Main thread
    /// only.
    int run();

    /// Lets go of Qt, whose QApplication may be destroyed after it: the event loop has ended for
    /// good. Main thread only.
    void end();

private:
    class Doorbell;

    void ring() override;
    void dispatchNextEvent(std::chrono::milliseconds deadline) override;
    void leaveEventLoop() override;

    std::unique_ptr<QObject> doorbell_;
};

} // namespace platform::qt
