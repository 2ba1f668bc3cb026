#pragma once

#include <chrono>
#include <functional>

namespace qf {

class Window;

/// Whether a call to the main thread returns at once or when the work is done.
enum class Wait { no, untilDone };

/// The running application: its main thread, which is the user-interface thread, and its
/// termination.
class Application {
public:
    static constexpr const char* portName = "Application";
    virtual ~Application() = default;

    /// Returns whether the caller is on the main thread. Any thread.
    virtual bool isMainThread() = 0;

    /// Runs `work` on the main thread's event loop, in the order of the calls. With Wait::untilDone
    /// it returns when the work is done; called on the main thread itself, it then runs the work at
    /// once. Once the event loop has ended for good, work is dropped and a waiting caller on
    /// another thread never returns, because the process is ending; nor does the caller whose work
    /// terminated it. An exception from the work is rethrown to the waiting caller; when nobody
    /// waits it ends the process, as any uncaught exception does. Any thread.
    virtual void performOnMainThread(std::function<void()> work, Wait wait) = 0;

    /// Dispatches the next event, waiting at most `deadline` for one. Main thread only.
    virtual void handleNextEvent(std::chrono::milliseconds deadline) = 0;

    /// Runs the termination observers in the order in which they were added, then ends the event
    /// loop, so that the program exits with status 0. Returns, unless it is called while
    /// handleNextEvent dispatches: then it ends the process itself. Main thread only.
    virtual void terminate() = 0;

    /// Registers `observer` to be called once, on the main thread, when the application terminates.
    /// Returns the number to pass to removeTerminationObserver. Any thread.
    virtual int addTerminationObserver(std::function<void()> observer) = 0;
    virtual void removeTerminationObserver(int observer) = 0;

    /// Returns the application's main window while it is on the screen, else another of the
    /// interface's windows that is, to which an alert can be attached, else null. It lives as long
    /// as the application. Main thread only.
    virtual Window* mainWindow() = 0;
};

} // namespace qf
